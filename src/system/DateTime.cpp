#include "system/DateTime.h"
#include <cwchar>

wchar_t* CDateTime::Format(const SYSTEMTIME& time, LCID locale, DWORD flags, const wchar_t* separator,
                           wchar_t* out, int size)
{
    if (!out || size < 1)
        return out;
    wchar_t date[128] = {};
    wchar_t clock[128] = {};
    GetDateFormatW(locale, flags | DATE_SHORTDATE, &time, nullptr, date, 128);
    GetTimeFormatW(locale, flags, &time, nullptr, clock, 128);
    _snwprintf_s(out, size, _TRUNCATE, L"%s%s%s", date, separator ? separator : L"", clock);
    return out;
}

wchar_t* CDateTime::GetSystemDateTimeString(wchar_t* out, int size)
{
    SYSTEMTIME now;
    GetLocalTime(&now);
    return Format(now, LOCALE_SYSTEM_DEFAULT, LOCALE_NOUSEROVERRIDE, L"  ", out, size);
}
