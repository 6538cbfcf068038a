#pragma once
// Internal (not installed): copies that never truncate. A text that does not fit is outside the
// supported range: the run-time's invalid-parameter handler is called (the host's own, when it set
// one) and, should it return (as msvcrt.dll's default does), the process ends with
// STATUS_INVALID_CRUNTIME_PARAMETER, the way the run-time's default handler ends it elsewhere.
#include <windows.h>
#include <cwchar>

#ifndef STATUS_INVALID_CRUNTIME_PARAMETER
#define STATUS_INVALID_CRUNTIME_PARAMETER ((DWORD)0xC0000417L)
#endif

namespace veskon
{
inline void StopOnInvalidParameter(errno_t result)
{
    if (result != 0)
        TerminateProcess(GetCurrentProcess(), STATUS_INVALID_CRUNTIME_PARAMETER);
}

inline void StrictCopy(wchar_t* dst, size_t size, const wchar_t* src)
{
    StopOnInvalidParameter(wcscpy_s(dst, size, src));
}

inline void StrictCopy(wchar_t* dst, size_t size, const wchar_t* src, size_t count)
{
    StopOnInvalidParameter(wcsncpy_s(dst, size, src, count));
}

inline void StrictAppend(wchar_t* dst, size_t size, const wchar_t* src)
{
    StopOnInvalidParameter(wcscat_s(dst, size, src));
}
}
