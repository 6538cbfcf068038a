#include "frame/ErrorMsg.h"
#include "frame/DebugTrace.h"
#include "frame/KVRN_DllMain.h"
#include "frame/Localize.h"
#include "frame/ZintorResIds.h"
#include "system/XEventLog.h"
#include <cstdio>
#include <cwchar>
#include <fcntl.h>
#include <io.h>
#include <iostream>
#include <new>

namespace
{
CErrorMsg* g_instance = nullptr;
const int kErrorStringChars = 4096;

// Points a standard stream at the console, in text mode and unbuffered. freopen does it where the
// run-time allows; a process that started without standard handles has streams that freopen
// refuses (msvcrt marks them with no descriptor), so those get a descriptor on the console's
// handle and take over its stream, as msvcrt's own guidance for GUI processes does.
void AttachStream(FILE* stream, const wchar_t* device, const char* mode, DWORD access)
{
    FILE* reopened = nullptr;
    char deviceName[16] = {};
    WideCharToMultiByte(CP_ACP, 0, device, -1, deviceName, 16, nullptr, nullptr);
    if (_fileno(stream) >= 0 && freopen_s(&reopened, deviceName, mode, stream) == 0 && reopened)
    {
        setvbuf(stream, nullptr, _IONBF, 0);
        return;
    }
    HANDLE console = CreateFileW(device, access, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr);
    if (console == INVALID_HANDLE_VALUE)
        return;
    int fd = _open_osfhandle(reinterpret_cast<intptr_t>(console), _O_TEXT);
    FILE* opened = fd >= 0 ? _fdopen(fd, mode) : nullptr;
    if (!opened)
    {
        if (fd >= 0)
            _close(fd);
        else
            CloseHandle(console);
        return;
    }
    *stream = *opened;
    setvbuf(stream, nullptr, _IONBF, 0);
}
}

CErrorMsg* CErrorMsg::Instance()
{
    if (!g_instance)
        g_instance = new (std::nothrow) CErrorMsg();
    return g_instance;
}

CErrorMsg::CErrorMsg() : m_callback(nullptr), m_context(nullptr), m_lastError(0) {}

CErrorMsg::~CErrorMsg() noexcept
{
    if (g_instance == this)
        g_instance = nullptr;
}

void CErrorMsg::SetErrorLoggingCallback(VESKON_ERROR_LOGGING_CALLBACK callback, void* context)
{
    m_callback = callback;
    m_context = context;
}

int CErrorMsg::GetLastError()
{
    return m_lastError;
}

unsigned long CErrorMsg::GetLastErrorString(wchar_t* context, wchar_t* out, int outSize)
{
    DWORD code = ::GetLastError();
    if (!context || !*context || !out || outSize < 1)
        return code;
    wchar_t* system = nullptr;
    DWORD chars = FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
                                 nullptr, code, MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT), reinterpret_cast<wchar_t*>(&system),
                                 0, nullptr);
    if (chars && system)
    {
        wchar_t format[260];
        CLocalize::GetFormat(IDS_ERROR_WITH_SYSTEM_TEXT, L"%s\r\nSystem error: %s", format, 260);
        _snwprintf_s(out, static_cast<size_t>(outSize), _TRUNCATE, format, context, system);
    }
    if (system)
        LocalFree(system);
    // Reading the localized format may have touched the thread's error; give the caller the original.
    SetLastError(code);
    return code;
}

int CErrorMsg::Display(HWND owner, wchar_t* text)
{
    if (!text || !*text)
        return 0;
    wchar_t error[kErrorStringChars] = {};
    DWORD code = GetLastErrorString(text, error, kErrorStringChars);
    Error(static_cast<int>(code), owner, error);
    return 0;
}

int CErrorMsg::Display(HWND owner, const wchar_t* text)
{
    return Display(owner, const_cast<wchar_t*>(text));
}

int CErrorMsg::Error(int code, HWND owner, wchar_t* text)
{
    return Output(code, owner, text, nullptr, true);
}

int CErrorMsg::Message(int code, HWND owner, wchar_t* text)
{
    return Output(code, owner, text, nullptr, false);
}

int CErrorMsg::Error(int code, wchar_t* text)
{
    return Output(code, nullptr, text, nullptr, true);
}

int CErrorMsg::Error(int id)
{
    wchar_t text[MAX_PATH] = {};
    CLocalize::Instance()->GetString(id, text, MAX_PATH);
    return Output(id, nullptr, text, nullptr, true);
}

int CErrorMsg::Output(int code, HWND /*owner*/, wchar_t* text, wchar_t* prefix, bool /*isError*/)
{
    if (!text || !*text)
        return 0;
    wchar_t joined[1024];
    _snwprintf_s(joined, 1024, _TRUNCATE, L"%s%s", (prefix && *prefix) ? prefix : L"", text);
    CDebugTrace::Instance()->OutputDebugStringW(CDebugTrace::DEBUG_MSG_LEVEL_4, joined, "ErrorMsg", __LINE__);
    m_lastError = code;
    return 0;
}

void CErrorMsg::TraceError(wchar_t* context)
{
    wchar_t error[kErrorStringChars] = {};
    GetLastErrorString(context, error, kErrorStringChars);
    CDebugTrace::Instance()->OutputDebugStringW(CDebugTrace::DEBUG_MSG_LEVEL_4, error, "ErrorMsg", __LINE__);
}

int CErrorMsg::MessageBoxW(HWND owner, wchar_t* text, wchar_t* caption, unsigned int type)
{
    if (!m_callback)
        return IDOK;
    int severity = (type & (MB_ICONHAND | MB_ICONQUESTION)) ? 2 : 0;
    m_callback(owner, text, caption, severity, m_context);
    return IDOK;
}

bool CErrorMsg::WriteToEventLog(HWND /*owner*/, wchar_t* text, wchar_t* title, int severity)
{
    if (!text || !*text || !title || !*title)
        return false;
    wchar_t entry[2048];
    _snwprintf_s(entry, 2048, _TRUNCATE, L"%s: %s", title, text);
    WORD type = EVENTLOG_INFORMATION_TYPE;
    if (severity == 1)
        type = EVENTLOG_WARNING_TYPE;
    else if (severity == 2)
        type = EVENTLOG_ERROR_TYPE;
    CXEventLog* log = CKVRN_DllMain::Instance()->GetEventLog();
    return log && log->Write(type, entry);
}

void CErrorMsg::RedirectStdIOToConsole()
{
    // A process that already has a console keeps it; the streams are attached to it all the same.
    AllocConsole();
    HANDLE console = CreateFileW(L"CONOUT$", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                 nullptr, OPEN_EXISTING, 0, nullptr);
    if (console != INVALID_HANDLE_VALUE)
    {
        CONSOLE_SCREEN_BUFFER_INFO info;
        if (GetConsoleScreenBufferInfo(console, &info))
        {
            info.dwSize.Y = 500;
            SetConsoleScreenBufferSize(console, info.dwSize);
        }
        CloseHandle(console);
    }
    AttachStream(stdout, L"CONOUT$", "w", GENERIC_WRITE);
    AttachStream(stdin, L"CONIN$", "r", GENERIC_READ);
    AttachStream(stderr, L"CONOUT$", "w", GENERIC_WRITE);
    // Keep the C++ streams in step with the C streams they now write through.
    std::ios::sync_with_stdio();
    std::wcout.clear();
    std::cout.clear();
    std::wcerr.clear();
    std::cerr.clear();
    std::wcin.clear();
    std::cin.clear();
}
