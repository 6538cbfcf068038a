// Parsing a 1 MiB INI file with CIniFile and reading every key, against GetPrivateProfileStringW
// reading the same keys from the same file, in the same run. Target: at least 10x faster.
#include <windows.h>
#include <cstdio>
#include <string>
#include <vector>
#include "BenchSupport.h"
#include "VeskonWin32GUISupportDLL.h"

namespace
{
struct Key
{
    std::wstring section;
    std::wstring name;
};
}

int main()
{
    wchar_t temp[MAX_PATH] = {};
    GetTempPathW(MAX_PATH, temp);
    wchar_t path[MAX_PATH];
    _snwprintf_s(path, MAX_PATH, _TRUNCATE, L"%sveskon_ini_bench_%lu.ini", temp, GetCurrentProcessId());

    // About 1 MiB: sections of 40 keys with values of some length, a comment now and then.
    std::string text;
    std::vector<Key> keys;
    const size_t target = 1024 * 1024;
    for (int s = 0; text.size() < target; ++s)
    {
        char line[256];
        _snprintf_s(line, sizeof(line), _TRUNCATE, "[Section%04d]\r\n; settings of block %d\r\n", s, s);
        text += line;
        wchar_t section[32];
        _snwprintf_s(section, 32, _TRUNCATE, L"Section%04d", s);
        for (int k = 0; k < 40 && text.size() < target; ++k)
        {
            _snprintf_s(line, sizeof(line), _TRUNCATE, "Key%02d = value %d of section %d, some text\r\n", k, k * s, s);
            text += line;
            wchar_t name[16];
            _snwprintf_s(name, 16, _TRUNCATE, L"Key%02d", k);
            keys.push_back({ section, name });
        }
    }
    HANDLE file = CreateFileW(path, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    DWORD written = 0;
    WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
    CloseHandle(file);

    size_t found = 0;
    double ours = bench::Median(5, [&] {
        CIniFile ini(path, 0);
        wchar_t value[260];
        wchar_t none[] = L"";
        found = 0;
        for (Key& key : keys)
            found += ini.GetString(&key.section[0], &key.name[0], none, value, 260)[0] != 0;
    });
    size_t foundByWindows = 0;
    double windows = bench::Median(1, [&] {
        wchar_t value[260];
        for (Key& key : keys)
            foundByWindows += GetPrivateProfileStringW(key.section.c_str(), key.name.c_str(), L"", value, 260, path) > 0;
    });

    printf("INI file of %zu bytes, %zu keys in %zu sections\n", text.size(), keys.size(), keys.size() / 40);
    printf("  CIniFile: parse + read every key   %10.3f ms (%zu found, median of 5)\n", ours * 1000, found);
    printf("  GetPrivateProfileStringW per key   %10.3f ms (%zu found)\n", windows * 1000, foundByWindows);
    printf("  ratio GetPrivateProfileStringW / CIniFile %8.1fx faster (target >= 10x)\n", windows / ours);
    DeleteFileW(path);
    delete CKVRN_DllMain::Instance();
    return 0;
}
