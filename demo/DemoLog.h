#pragma once
// Reading the library's trace log back in the demo's scenes.
#include <windows.h>
#include <string>
#include <vector>
#include "VeskonWin32GUISupportDLL.h"

namespace
{
inline std::string ReadAll(const std::wstring& path)
{
    std::string bytes;
    HANDLE file = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return bytes;
    char chunk[65536];
    DWORD read = 0;
    while (ReadFile(file, chunk, sizeof(chunk), &read, nullptr) && read)
        bytes.append(chunk, read);
    CloseHandle(file);
    return bytes;
}

inline std::wstring FromAnsi(const std::string& text)
{
    std::wstring wide(text.size(), L'\0');
    int n = MultiByteToWideChar(CP_ACP, 0, text.data(), static_cast<int>(text.size()), &wide[0], static_cast<int>(wide.size()));
    wide.resize(n > 0 ? static_cast<size_t>(n) : 0);
    return wide;
}

// The last `count` lines of the trace log, tabs shown as blanks.
inline std::vector<std::wstring> LogTail(size_t count)
{
    std::wstring log = FromAnsi(ReadAll(CDebugTrace::Instance()->GetLogFilename()));
    std::vector<std::wstring> lines;
    size_t start = 0;
    while (start < log.size())
    {
        size_t end = log.find(L"\r\n", start);
        std::wstring line = log.substr(start, end == std::wstring::npos ? std::wstring::npos : end - start);
        for (wchar_t& c : line)
            c = c == L'\t' ? L' ' : c;
        if (!line.empty())
            lines.push_back(line.size() > 140 ? line.substr(0, 137) + L"..." : line);
        if (end == std::wstring::npos)
            break;
        start = end + 2;
    }
    if (lines.size() > count)
        lines.erase(lines.begin(), lines.end() - static_cast<std::ptrdiff_t>(count));
    return lines;
}

}
