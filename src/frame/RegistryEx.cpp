#include "frame/RegistryEx.h"
#include "files/FileIO.h"
#include <shlwapi.h>
#include <cwchar>
#include <cstdlib>
#include <memory>
#include <type_traits>

namespace
{
struct KeyCloser
{
    void operator()(HKEY key) const { RegCloseKey(key); }
};
using KeyHandle = std::unique_ptr<std::remove_pointer<HKEY>::type, KeyCloser>;

bool Given(const wchar_t* key, const wchar_t* name)
{
    return key && *key && name && *name;
}

KeyHandle OpenKey(HKEY root, const wchar_t* key, REGSAM access)
{
    HKEY opened = nullptr;
    if (RegOpenKeyExW(root, key, 0, access, &opened) != ERROR_SUCCESS)
        return KeyHandle();
    return KeyHandle(opened);
}

KeyHandle CreateKey(HKEY root, const wchar_t* key)
{
    HKEY created = nullptr;
    if (RegCreateKeyExW(root, key, 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS, nullptr, &created, nullptr) !=
        ERROR_SUCCESS)
        return KeyHandle();
    return KeyHandle(created);
}

bool WriteValue(HKEY root, const wchar_t* key, const wchar_t* name, DWORD type, const void* data, DWORD bytes)
{
    KeyHandle opened = CreateKey(root, key);
    return opened && RegSetValueExW(opened.get(), name, 0, type, static_cast<const BYTE*>(data), bytes) == ERROR_SUCCESS;
}

bool WriteString(HKEY root, const wchar_t* key, const wchar_t* name, const wchar_t* text)
{
    DWORD bytes = static_cast<DWORD>((wcslen(text) + 1) * sizeof(wchar_t));
    return WriteValue(root, key, name, REG_SZ, text, bytes);
}
}

bool CRegistryEx::Get(HKEY root, wchar_t* key, wchar_t* name, wchar_t* data, int dataSize)
{
    if (!Given(key, name) || !data || dataSize < 1)
        return false;
    KeyHandle opened = OpenKey(root, key, KEY_READ);
    if (!opened)
        return false;
    DWORD type = REG_NONE;
    DWORD bytes = static_cast<DWORD>(dataSize) * sizeof(wchar_t);
    if (RegQueryValueExW(opened.get(), name, nullptr, &type, reinterpret_cast<BYTE*>(data), &bytes) != ERROR_SUCCESS)
    {
        data[0] = L'\0';
        return false;
    }
    if (type == REG_DWORD)
    {
        DWORD number = 0;
        DWORD numberBytes = sizeof(number);
        RegQueryValueExW(opened.get(), name, nullptr, nullptr, reinterpret_cast<BYTE*>(&number), &numberBytes);
        memset(data, 0, static_cast<size_t>(dataSize) * sizeof(wchar_t));
        // Signed on purpose: 0xFFFFFFFF reads as "-1". The number is cut to the caller's buffer,
        // never written past it, however small the buffer is.
        _snwprintf_s(data, static_cast<size_t>(dataSize), _TRUNCATE, L"%d", static_cast<int>(number));
    }
    else if (type == REG_QWORD)
    {
        unsigned __int64 number = 0;
        DWORD numberBytes = sizeof(number);
        RegQueryValueExW(opened.get(), name, nullptr, nullptr, reinterpret_cast<BYTE*>(&number), &numberBytes);
        memset(data, 0, static_cast<size_t>(dataSize) * sizeof(wchar_t));
        // Only the low 32 bits show, as a signed number: intended.
        _snwprintf_s(data, static_cast<size_t>(dataSize), _TRUNCATE, L"%d", static_cast<int>(number & 0xFFFFFFFFu));
    }
    else
    {
        // Raw bytes as read; make sure a value stored without its terminator still ends.
        size_t chars = bytes / sizeof(wchar_t);
        data[chars < static_cast<size_t>(dataSize) ? chars : static_cast<size_t>(dataSize) - 1] = L'\0';
    }
    return true;
}

bool CRegistryEx::Get(HKEY root, wchar_t* key, wchar_t* name, bool dflt)
{
    wchar_t text[MAX_PATH] = {};
    if (!Get(root, key, name, text, MAX_PATH) || !text[0])
        return dflt;
    return _wtoi(text) != 0;
}

int CRegistryEx::Get(HKEY root, wchar_t* key, wchar_t* name, int dflt, int min, int max)
{
    wchar_t text[MAX_PATH] = {};
    if (!Get(root, key, name, text, MAX_PATH) || !text[0])
        return dflt;
    int value = _wtoi(text);
    return (min <= value && value <= max) ? value : dflt;
}

bool CRegistryEx::GetDWORD(HKEY root, wchar_t* key, wchar_t* name, unsigned long& data)
{
    data = 0;
    if (!Given(key, name))
        return false;
    KeyHandle opened = OpenKey(root, key, KEY_READ);
    if (!opened)
        return false;
    DWORD number = 0;
    DWORD bytes = sizeof(number);
    if (RegQueryValueExW(opened.get(), name, nullptr, nullptr, reinterpret_cast<BYTE*>(&number), &bytes) !=
        ERROR_SUCCESS)
        return false;
    data = number;
    return true;
}

bool CRegistryEx::GetPath(HKEY root, wchar_t* key, wchar_t* name, wchar_t* path, int pathSize)
{
    if (!Given(key, name) || !path || pathSize < 1)
        return false;
    wchar_t stored[MAX_PATH] = {};
    if (!Get(root, key, name, stored, MAX_PATH))
    {
        path[0] = L'\0';
        return false;
    }
    CFileIO::DecodeDelimitedPath(stored, path, pathSize);
    return true;
}

bool CRegistryEx::Set(HKEY root, wchar_t* key, wchar_t* name, wchar_t* text)
{
    if (!Given(key, name) || !text)
        return false;
    return WriteString(root, key, name, text);
}

bool CRegistryEx::Set(HKEY root, wchar_t* key, wchar_t* name, int value)
{
    if (!Given(key, name))
        return false;
    wchar_t text[32];
    _snwprintf_s(text, 32, _TRUNCATE, L"%d", value);
    return WriteString(root, key, name, text);
}

bool CRegistryEx::Set(HKEY root, wchar_t* key, wchar_t* name, bool value)
{
    return Set(root, key, name, static_cast<int>(value ? 1 : 0));
}

bool CRegistryEx::Set(HKEY root, wchar_t* key, wchar_t* name, unsigned long* value)
{
    if (!Given(key, name) || !value)
        return false;
    DWORD number = *value;
    return WriteValue(root, key, name, REG_DWORD, &number, sizeof(number));
}

bool CRegistryEx::SetDWORD(HKEY root, wchar_t* key, wchar_t* name, unsigned long value)
{
    // A zero is refused on purpose; callers store zero through the pointer overload.
    if (!Given(key, name) || value == 0)
        return false;
    return Set(root, key, name, &value);
}

bool CRegistryEx::SetPath(HKEY root, wchar_t* key, wchar_t* name, wchar_t* path, int pathSize)
{
    if (!Given(key, name) || !path || !*path || pathSize < 1)
        return false;
    wchar_t encoded[MAX_PATH] = {};
    CFileIO::EncodeDelimitedPath(path, encoded, MAX_PATH);
    if (!WriteString(root, key, name, encoded))
    {
        path[0] = L'\0';
        return false;
    }
    wcsncpy_s(path, static_cast<size_t>(pathSize), encoded, _TRUNCATE);
    return true;
}

bool CRegistryEx::DeleteValue(HKEY root, wchar_t* key, wchar_t* name)
{
    if (!Given(key, name))
        return false;
    KeyHandle opened = OpenKey(root, key, DELETE | KEY_SET_VALUE);
    return opened && RegDeleteValueW(opened.get(), name) == ERROR_SUCCESS;
}

bool CRegistryEx::DeleteSection(HKEY root, wchar_t* key)
{
    if (!key || !*key)
        return false;
    return SHDeleteKeyW(root, key) == ERROR_SUCCESS;
}
