#include "support/TestSupport.h"
#include "frame/DebugTrace.h"
#include "FolderTree.h"
#include <shlwapi.h>
#include <map>

namespace veskon_test
{
namespace
{
LONG g_serial = 0;

std::map<std::string, std::function<int()>>& Children()
{
    static std::map<std::string, std::function<int()>> children;
    return children;
}

std::wstring TempFolder()
{
    wchar_t temp[MAX_PATH] = {};
    GetTempPathW(MAX_PATH, temp);
    return temp;
}

std::wstring UniqueName(const wchar_t* prefix)
{
    wchar_t name[128];
    _snwprintf_s(name, 128, _TRUNCATE, L"%s%lu_%ld_%lu", prefix, GetCurrentProcessId(), InterlockedIncrement(&g_serial),
                 GetTickCount());
    return name;
}

}


ScratchFolder::ScratchFolder()
{
    m_path = TempFolder() + UniqueName(L"scratch_");
    CreateDirectoryW(m_path.c_str(), nullptr);
}

ScratchFolder::~ScratchFolder()
{
    veskon_common::RemoveFolderTree(m_path);
}

std::wstring ScratchFolder::File(const std::wstring& name) const
{
    return m_path + L"\\" + name;
}

ScratchRegistryKey::ScratchRegistryKey()
{
    m_key = L"Software\\VeskonTests\\" + UniqueName(L"key_");
    HKEY key = nullptr;
    RegCreateKeyExW(HKEY_CURRENT_USER, m_key.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr);
    if (key)
        RegCloseKey(key);
}

ScratchRegistryKey::~ScratchRegistryKey()
{
    SHDeleteKeyW(HKEY_CURRENT_USER, m_key.c_str());
    // Leave no empty parent behind either.
    RegDeleteKeyW(HKEY_CURRENT_USER, L"Software\\VeskonTests");
}

void PumpMessages(int ms)
{
    PumpUntil([] { return false; }, ms);
}

bool PumpUntil(const std::function<bool()>& done, int ms)
{
    ULONGLONG start = GetTickCount64();
    for (;;)
    {
        MSG msg;
        while (PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE))
        {
            TranslateMessage(&msg);
            DispatchMessageW(&msg);
        }
        if (done())
            return true;
        if (GetTickCount64() - start >= static_cast<ULONGLONG>(ms))
            return done();
        Sleep(5);
    }
}


namespace
{
Pixels CaptureFrom(HDC source, int x, int y, int width, int height)
{
    Pixels pixels;
    if (width <= 0 || height <= 0)
        return pixels;
    void* bits = nullptr;
    HDC memory = CreateCompatibleDC(source);
    HBITMAP dib = CreateTopDownDib(source, width, height, &bits);
    if (memory && dib && bits)
    {
        HGDIOBJ old = SelectObject(memory, dib);
        BitBlt(memory, 0, 0, width, height, source, x, y, SRCCOPY | CAPTUREBLT);
        GdiFlush();
        pixels.width = width;
        pixels.height = height;
        const DWORD* p = static_cast<const DWORD*>(bits);
        pixels.data.assign(p, p + static_cast<size_t>(width) * height);
        SelectObject(memory, old);
    }
    if (dib)
        DeleteObject(dib);
    if (memory)
        DeleteDC(memory);
    return pixels;
}
}

Pixels CaptureScreen(const RECT& area)
{
    HDC screen = GetDC(nullptr);
    Pixels pixels = CaptureFrom(screen, area.left, area.top, area.right - area.left, area.bottom - area.top);
    ReleaseDC(nullptr, screen);
    return pixels;
}

Pixels CaptureWindow(HWND hwnd)
{
    RECT rect = {};
    GetWindowRect(hwnd, &rect);
    return CaptureScreen(rect);
}

std::string ReadFileBytes(const std::wstring& path)
{
    std::string bytes;
    HANDLE file = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                              nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return bytes;
    char chunk[65536];
    DWORD read = 0;
    while (ReadFile(file, chunk, sizeof(chunk), &read, nullptr) && read > 0)
        bytes.append(chunk, read);
    CloseHandle(file);
    return bytes;
}

bool WriteFileBytes(const std::wstring& path, const std::string& bytes)
{
    HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return false;
    DWORD written = 0;
    BOOL ok = bytes.empty() || WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
    CloseHandle(file);
    return ok && written == bytes.size();
}

bool FileExists(const std::wstring& path)
{
    return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

void SetFileWriteTime(const std::wstring& path, ULONGLONG seconds)
{
    HANDLE file = CreateFileW(path.c_str(), FILE_WRITE_ATTRIBUTES, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                              OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return;
    ULARGE_INTEGER t;
    t.QuadPart = (13000000000ULL + seconds) * 10000000ULL;
    FILETIME ft = { t.LowPart, t.HighPart };
    SetFileTime(file, nullptr, nullptr, &ft);
    CloseHandle(file);
}

std::wstring TraceLogPath()
{
    return CDebugTrace::Instance()->GetLogFilename();
}

std::string TraceLogText()
{
    return ReadFileBytes(TraceLogPath());
}

void DeleteTraceLogs()
{
    std::wstring log = TraceLogPath();
    DeleteFileW(log.c_str());
    std::wstring base = log.substr(0, log.size() - 4);
    for (int i = 1; i <= 11; ++i)
    {
        DeleteFileW((base + L"_backup_" + std::to_wstring(i) + L".log").c_str());
        DeleteFileW((log + L"_backup_" + std::to_wstring(i)).c_str());
    }
}

void RegisterChild(const std::string& name, const std::function<int()>& body)
{
    Children()[name] = body;
}

int RunRegisteredChild(const std::string& name)
{
    auto found = Children().find(name);
    return found == Children().end() ? 250 : found->second();
}

std::wstring ThisProgram()
{
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    return path;
}

DWORD RunCommandLine(const std::wstring& application, const std::wstring& commandLine, DWORD timeoutMs,
                     DWORD creationFlags)
{
    std::vector<wchar_t> line(commandLine.begin(), commandLine.end());
    line.push_back(L'\0');
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process = {};
    if (!CreateProcessW(application.c_str(), line.data(), nullptr, nullptr, FALSE, creationFlags, nullptr, nullptr, &startup,
                        &process))
        return static_cast<DWORD>(-1);
    DWORD code = static_cast<DWORD>(-2);
    if (WaitForSingleObject(process.hProcess, timeoutMs) == WAIT_OBJECT_0)
        GetExitCodeProcess(process.hProcess, &code);
    else
        TerminateProcess(process.hProcess, 259);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return code;
}

DWORD RunChildWithCommandLine(const std::string& name, const std::wstring& commandLine, const std::wstring& application,
                              DWORD timeoutMs, DWORD creationFlags)
{
    SetEnvironmentVariableW(L"VESKON_CHILD", Wide(name).c_str());
    DWORD code = RunCommandLine(application.empty() ? ThisProgram() : application, commandLine, timeoutMs, creationFlags);
    SetEnvironmentVariableW(L"VESKON_CHILD", nullptr);
    return code;
}

DWORD RunChild(const std::string& name, const std::wstring& extra, DWORD timeoutMs)
{
    std::wstring line = L"\"" + ThisProgram() + L"\"";
    if (!extra.empty())
        line += L" " + extra;
    return RunChildWithCommandLine(name, line, L"", timeoutMs);
}

std::string Narrow(const std::wstring& text)
{
    if (text.empty())
        return std::string();
    int bytes = WideCharToMultiByte(CP_UTF8, 0, text.c_str(), static_cast<int>(text.size()), nullptr, 0, nullptr, nullptr);
    std::string out(static_cast<size_t>(bytes), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.c_str(), static_cast<int>(text.size()), &out[0], bytes, nullptr, nullptr);
    return out;
}

std::wstring Wide(const std::string& text)
{
    if (text.empty())
        return std::wstring();
    int chars = MultiByteToWideChar(CP_UTF8, 0, text.c_str(), static_cast<int>(text.size()), nullptr, 0);
    std::wstring out(static_cast<size_t>(chars), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text.c_str(), static_cast<int>(text.size()), &out[0], chars);
    return out;
}
}
