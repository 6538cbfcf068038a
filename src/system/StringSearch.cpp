#include "system/StringSearch.h"
#include <cwchar>
#include <cstdlib>

namespace
{
bool IsBlank(wchar_t c)
{
    return c == L' ' || c == L'\t';
}

// Finds field `index`: its first character and its length without surrounding blanks.
bool FindField(const wchar_t* list, int index, const wchar_t*& start, size_t& length)
{
    if (!list || index < 0)
        return false;
    const wchar_t* p = list;
    for (int i = 0; i < index; ++i)
    {
        p = wcschr(p, L',');
        if (!p)
            return false;
        ++p;
    }
    const wchar_t* end = wcschr(p, L',');
    if (!end)
        end = p + wcslen(p);
    while (p < end && IsBlank(*p))
        ++p;
    while (end > p && IsBlank(end[-1]))
        --end;
    start = p;
    length = static_cast<size_t>(end - p);
    return true;
}
}

bool CStringSearch::GetCommaDelimitedStringValue(const wchar_t* list, int index, wchar_t* out, int outSize)
{
    if (!out || outSize < 1)
        return false;
    out[0] = L'\0';
    const wchar_t* start = nullptr;
    size_t length = 0;
    if (!FindField(list, index, start, length))
        return false;
    // A field longer than out is cut; the copy never reads past the field's end.
    const size_t room = static_cast<size_t>(outSize) - 1;
    if (length > 0 && room > 0)
        wcsncpy_s(out, static_cast<size_t>(outSize), start, length < room ? length : room);
    return true;
}

int CStringSearch::GetCommaDelimitedIntegerValue(const wchar_t* list, int index, int dflt)
{
    wchar_t field[64];
    if (!GetCommaDelimitedStringValue(list, index, field, 64) || field[0] == L'\0')
        return dflt;
    return _wtoi(field);
}
