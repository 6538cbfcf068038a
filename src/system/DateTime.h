#pragma once
// CDateTime: the library's date and time texts.
#include <windows.h>
#include "Export.h"

class VESKON_API CDateTime
{
public:
    // The short date and the time of `time` in `locale`, joined by `separator`
    // ("%s<separator>%s"). `flags` is added to both formats (for example LOCALE_NOUSEROVERRIDE).
    static wchar_t* Format(const SYSTEMTIME& time, LCID locale, DWORD flags, const wchar_t* separator,
                           wchar_t* out, int size);
    // The current local time in the system's default locale with its own formats (user
    // overrides ignored), date and time joined by two blanks: the trace log's time stamp.
    static wchar_t* GetSystemDateTimeString(wchar_t* out, int size);
};
