#pragma once
// CRegistryEx: static reads and writes of single registry values. Each call opens and closes its
// key. Numbers are written as decimal strings; numeric reads go through the string read, which
// accepts strings, DWORDs (shown signed) and QWORDs (their low 32 bits).
#include <windows.h>
#include "Export.h"

class VESKON_API CRegistryEx
{
public:
    static bool Get(HKEY root, wchar_t* key, wchar_t* name, wchar_t* data, int dataSize);
    // Non-zero integer value of a non-empty text; dflt when missing, unreadable or empty.
    static bool Get(HKEY root, wchar_t* key, wchar_t* name, bool dflt);
    // v when min <= v <= max, dflt in every other case (never clamped).
    static int Get(HKEY root, wchar_t* key, wchar_t* name, int dflt, int min, int max);
    static bool GetDWORD(HKEY root, wchar_t* key, wchar_t* name, unsigned long& data);
    static bool GetPath(HKEY root, wchar_t* key, wchar_t* name, wchar_t* path, int pathSize);

    static bool Set(HKEY root, wchar_t* key, wchar_t* name, wchar_t* text);
    static bool Set(HKEY root, wchar_t* key, wchar_t* name, int value);
    static bool Set(HKEY root, wchar_t* key, wchar_t* name, bool value);
    static bool Set(HKEY root, wchar_t* key, wchar_t* name, unsigned long* value);
    // Refuses zero on purpose; store a zero with Set(..., &zero).
    static bool SetDWORD(HKEY root, wchar_t* key, wchar_t* name, unsigned long value);
    static bool SetPath(HKEY root, wchar_t* key, wchar_t* name, wchar_t* path, int pathSize);

    static bool DeleteValue(HKEY root, wchar_t* key, wchar_t* name);
    static bool DeleteSection(HKEY root, wchar_t* key);
};
