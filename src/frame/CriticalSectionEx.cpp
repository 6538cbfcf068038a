#include "frame/CriticalSectionEx.h"
#include "system/Win32.h"

CCriticalSectionEx::CCriticalSectionEx() : m_count(0), m_name{}
{
    InitializeCriticalSection(&m_section);
}

CCriticalSectionEx::~CCriticalSectionEx() noexcept
{
    // Whoever still holds the section must get the chance to finish before it goes.
    while (InterlockedCompareExchange(&m_count, 0, 0) > 0)
        CWin32::EmptyMessages(nullptr, 10);
    DeleteCriticalSection(&m_section);
}

long CCriticalSectionEx::Enter(const wchar_t* /*name*/)
{
    EnterCriticalSection(&m_section);
    return InterlockedIncrement(&m_count);
}

long CCriticalSectionEx::Leave()
{
    LONG count = InterlockedCompareExchange(&m_count, 0, 0);
    if (count < 1)
        return count;
    count = InterlockedDecrement(&m_count);
    LeaveCriticalSection(&m_section);
    return count;
}

void CCriticalSectionEx::Await()
{
    for (;;)
    {
        if (Enter(L"Await") < 2)
            return;
        Leave();
        CWin32::EmptyMessages(nullptr, 10);
    }
}
