#pragma once
// CCriticalSectionEx: the library's lock. A Win32 critical section with a count of the entries
// currently held, kept with interlocked operations so that Await() and the destructor can read
// it without entering.
#include <windows.h>
#include "Export.h"

class VESKON_API CCriticalSectionEx
{
public:
    CCriticalSectionEx();
    ~CCriticalSectionEx() noexcept;
    CCriticalSectionEx(const CCriticalSectionEx&) = delete;
    CCriticalSectionEx& operator=(const CCriticalSectionEx&) = delete;

    // Enters (blocking), then returns the count of entries held, this one included.
    // The name is accepted for diagnostics and not used.
    long Enter(const wchar_t* name);
    // Leaves once and returns the remaining count; with nothing held it returns the count
    // unchanged and leaves nothing.
    long Leave();
    // Returns with the section entered exactly once by this thread. While this thread already
    // holds it, gives the holding back and pumps messages for 10 ms between attempts, so that a
    // handler run from the pump can finish what it holds. The caller must Leave().
    void Await();

private:
    CRITICAL_SECTION m_section;
    volatile LONG m_count;
    wchar_t m_name[64];  // kept for diagnostics; no operation fills it
};
