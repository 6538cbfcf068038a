#pragma once
// CStringSearch: small text helpers shared by the library's readers of settings.
//
// Comma-delimited lists: fields are counted from 0 and taken without the blanks and tabs around
// them, so "up.png, down.png" and "up.png,down.png" read the same.
#include <windows.h>
#include "Export.h"

class VESKON_API CStringSearch
{
public:
    // Copies field `index` of `list` into out (bounded by outSize) and returns true when the
    // list has that field. A null list or out, a size below 1 or a missing field leave out empty
    // (when it can be written) and return false.
    static bool GetCommaDelimitedStringValue(const wchar_t* list, int index, wchar_t* out, int outSize);

    // Field `index` of `list` as a decimal integer (leading sign allowed, stops at the first
    // other character); `dflt` when the field is missing or empty.
    static int GetCommaDelimitedIntegerValue(const wchar_t* list, int index, int dflt);
};
