#include "frame/DebugTrace.h"
#include "frame/CriticalSectionEx.h"
#include "frame/MemoryManager.h"
#include "frame/RegistryEx.h"
#include "files/FileIO.h"
#include "system/DateTime.h"
#include <commctrl.h>
#include <process.h>
#include <cstring>
#include <cwchar>
#include <new>

namespace
{
CDebugTrace* g_instance = nullptr;

wchar_t kSettingsKey[] = L"Software\\Veskon\\Win32_GUI_Support_DLL";
wchar_t kMonitorKey[] = L"SOFTWARE\\Veskon\\Win32_GUI_Support_DLL";
wchar_t kTracingValue[] = L"debug_tracing";
wchar_t kLevelValue[] = L"debug_msg_level";
wchar_t kSizeLimitValue[] = L"LogSizeLimit";
wchar_t kRolloverValue[] = L"LogMaxRollover";
wchar_t kBackupSuffix[] = L"_backup";

const int kLineChars = 0x20000 / sizeof(wchar_t);
const int kLineBytes = 0x20000;

const wchar_t kHyphens[] = L"-------------------------------------------------";
}

DWORD CDebugTrace::s_monitorStartDelay = 5000;
DWORD CDebugTrace::s_monitorSettleDelay = 5000;

CDebugTrace* CDebugTrace::Instance()
{
    if (!g_instance)
    {
        g_instance = new (std::nothrow) CDebugTrace();
        if (g_instance)
            g_instance->Setup();
    }
    return g_instance;
}

bool CDebugTrace::Exists()
{
    return g_instance != nullptr;
}

CDebugTrace::CDebugTrace()
    : m_logFolder{}, m_logFilePath{}, m_enabled(false), m_threshold(DEBUG_MSG_LEVEL_0), m_lock(nullptr),
      m_busy(false), m_monitorThread(INVALID_HANDLE_VALUE), m_stopEvent(INVALID_HANDLE_VALUE),
      m_sizeLimit(0x200000), m_rolloverCount(2)
{
}

CDebugTrace::~CDebugTrace() noexcept
{
    // The monitor thread and the lock are the host's to stop (Unintialize) and outlive us.
    if (g_instance)
    {
        Enable(false);
        g_instance = nullptr;
    }
}

void CDebugTrace::Setup()
{
    if (!m_lock)
        m_lock = new (std::nothrow) CCriticalSectionEx();

    bool tracing = false;
    wchar_t temp[MAX_PATH] = {};
    GetTempPathW(MAX_PATH, temp);
    if (temp[0] && CFileIO::FolderExists(temp))
    {
        wchar_t logs[] = L"VeskonLogs";
        CFileIO::CombinePath(temp, logs, m_logFolder, MAX_PATH);
        if (!CFileIO::FolderExists(m_logFolder))
            CFileIO::CreateFolder(m_logFolder);
        wchar_t computer[16] = {};
        DWORD computerSize = 16;
        GetComputerNameW(computer, &computerSize);
        _snwprintf_s(m_logFilePath, MAX_PATH, _TRUNCATE, L"%s\\Zintor_%s.log", m_logFolder, computer);
        tracing = CRegistryEx::Get(HKEY_LOCAL_MACHINE, kSettingsKey, kTracingValue, true);
        m_threshold = static_cast<DEBUG_MSG_LEVEL>(
            CRegistryEx::Get(HKEY_LOCAL_MACHINE, kSettingsKey, kLevelValue, static_cast<int>(m_threshold), 0, 4));
    }
    Enable(tracing);
}

void CDebugTrace::Enable(bool on)
{
    if (on == m_enabled)
        return;
    m_enabled = on;
    if (!on)
        return;
    wchar_t banner[2048];
    _snwprintf_s(banner, 2048, _TRUNCATE,
                 L"\r\n%s\r\nVeskon Win32 GUI Support Library\r\n%s\r\nBuild date/time: %S %S\r\n", kHyphens, kHyphens,
                 __DATE__, __TIME__);
    OutputDebugStringW(DEBUG_MSG_LEVEL_4, banner, "CDebugTrace::Enable", __LINE__);
}

bool CDebugTrace::Enabled()
{
    return m_enabled;
}

void CDebugTrace::OutputDebugStringW(DEBUG_MSG_LEVEL level, wchar_t* text, char* source, int line)
{
    WriteLine(level, text, source, line);
}

void CDebugTrace::OutputDebugStringW(DEBUG_MSG_LEVEL level, const wchar_t* text, char* source, int line)
{
    if (text)
        WriteLine(level, text, source, line);
}

void CDebugTrace::OutputDebugStringW(DEBUG_MSG_LEVEL level, const wchar_t* text, const char* source, int line)
{
    if (text)
        WriteLine(level, text, source, line);
}

void CDebugTrace::OutputDebugStringW(DEBUG_MSG_LEVEL level, wchar_t* text, const char* source, int line)
{
    WriteLine(level, text, source, line);
}

namespace
{
// The time stamp changes once a second; formatting it through the locale for every line is
// what a burst of lines would otherwise pay most for.
struct StampCache
{
    SYSTEMTIME second = {};
    wchar_t text[128] = {};
};

void CurrentStamp(StampCache& cache, wchar_t* out, int size)
{
    SYSTEMTIME now;
    GetLocalTime(&now);
    now.wMilliseconds = 0;
    if (memcmp(&now, &cache.second, sizeof(now)) != 0)
    {
        CDateTime::Format(now, LOCALE_SYSTEM_DEFAULT, LOCALE_NOUSEROVERRIDE, L"  ", cache.text, 128);
        cache.second = now;
    }
    wcsncpy_s(out, static_cast<size_t>(size), cache.text, _TRUNCATE);
}

// Formats and converts one line into wide/narrow buffers of the given capacities; returns the
// narrow byte count, or 0 when the line does not fit (it is then dropped whole, never cut).
int FormatLine(wchar_t* wide, int wideChars, char* narrow, int narrowBytes, const wchar_t* stamp, const wchar_t* origin,
               const wchar_t* text)
{
    int chars = _snwprintf_s(wide, static_cast<size_t>(wideChars), _TRUNCATE, L"%-20s - %-40s - %s\r\n", stamp, origin, text);
    if (chars <= 0)
        return 0;
    return WideCharToMultiByte(CP_ACP, 0, wide, chars, narrow, narrowBytes, nullptr, nullptr);
}
}

void CDebugTrace::WriteLine(DEBUG_MSG_LEVEL level, const wchar_t* text, const char* source, int line)
{
    // One flag for the whole process, tested and set without an atomic exchange: a call made
    // while another line is being written, on any thread, is dropped rather than queued. This also
    // stops the writing path (whose failures are traced) from recursing.
    if (m_busy)
        return;
    m_busy = true;
    if (!m_enabled || !text || level < m_threshold || !m_logFilePath[0] || !m_lock)
    {
        m_busy = false;
        return;
    }
    static StampCache stamps; // only touched while busy is held
    wchar_t stamp[128];
    CurrentStamp(stamps, stamp, 128);
    wchar_t origin[512];
    _snwprintf_s(origin, 512, _TRUNCATE, L"%S(%d)\t%d(%d)", source ? source : "", line,
                 static_cast<int>(GetCurrentProcessId()), static_cast<int>(GetCurrentThreadId()));

    // Ordinary lines are formatted on the stack; a long one gets the two 128 KiB heap buffers
    // (65536 characters and 128 KiB of ANSI text), and is dropped when they cannot be had.
    const int smallChars = 1024;
    wchar_t smallWide[smallChars];
    char smallNarrow[smallChars * 2];
    wchar_t* wide = nullptr;
    char* narrow = nullptr;
    int bytes = 0;
    if (wcslen(text) < 512)
        bytes = FormatLine(smallWide, smallChars, smallNarrow, sizeof(smallNarrow), stamp, origin, text);
    const char* out = smallNarrow;
    if (bytes == 0)
    {
        wide = static_cast<wchar_t*>(CMemoryManager::Alloc(kLineBytes));
        narrow = static_cast<char*>(CMemoryManager::Alloc(kLineBytes));
        if (wide && narrow)
            bytes = FormatLine(wide, kLineChars, narrow, kLineBytes, stamp, origin, text);
        out = narrow;
    }
    if (bytes > 0)
    {
        m_lock->Await();
        // Roll the log over when it has grown past the limit, then append the line.
        CFileIO log(m_logFilePath, FILE_ATTRIBUTE_NORMAL, FILE_SHARE_READ | FILE_SHARE_WRITE);
        if (log.OpenAppendRolled(kBackupSuffix, m_sizeLimit, m_rolloverCount))
        {
            log.Write(const_cast<char*>(out), bytes);
            log.Close();
        }
        m_lock->Leave();
    }
    CMemoryManager::Free(wide);
    CMemoryManager::Free(narrow);
    m_busy = false;
}

void CDebugTrace::WindowsMessage(wchar_t* prefix, HWND hwnd, UINT msg, WPARAM wParam, LPARAM lParam)
{
    if (!m_enabled || !prefix || !*prefix)
        return;
    wchar_t head[MAX_PATH + 1];
    wcsncpy_s(head, MAX_PATH + 1, prefix, MAX_PATH);
    wchar_t notify[512] = {};
    if (msg == WM_NOTIFY && lParam)
    {
        int code = static_cast<int>(reinterpret_cast<NMHDR*>(lParam)->code);
        _snwprintf_s(notify, 512, _TRUNCATE, L"\tnotify: %s (%d dec, %.4X hex)\t", NotificationName(code), code, code);
    }
    // Handles and message parameters print at least 8 hex digits, and all of them on 64 bits.
    wchar_t text[2048];
    _snwprintf_s(text, 2048, _TRUNCATE, L"%s%s\twMsg:%s (%d dec, %.4X hex)\twParam:%.8IX\tlParam:%.8IX\thWnd:%.8IX", head,
                 notify, MessageName(msg), static_cast<int>(msg), msg, static_cast<UINT_PTR>(wParam),
                 static_cast<UINT_PTR>(lParam), reinterpret_cast<UINT_PTR>(hwnd));
    OutputDebugStringW(DEBUG_MSG_LEVEL_0, text, "CDebugTrace::WindowsMessage", __LINE__);
}

void CDebugTrace::Initialize()
{
    // One monitor at a time: a second thread would share the stop event, and one signal would
    // end only one of them.
    if (m_monitorThread != INVALID_HANDLE_VALUE)
        return;
    HANDLE stop = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    if (!stop)
    {
        OutputDebugStringW(DEBUG_MSG_LEVEL_4, L"Failed to create stop event for registry monitor.Aborting",
                           "CDebugTrace::Initialize", __LINE__);
        return;
    }
    m_stopEvent = stop;
    uintptr_t thread = _beginthreadex(nullptr, 0, &CDebugTrace::MonitorThread, nullptr, 0, nullptr);
    if (!thread)
    {
        OutputDebugStringW(DEBUG_MSG_LEVEL_4, L"Registry monitoring thread initialization failed",
                           "CDebugTrace::Initialize", __LINE__);
        CloseHandle(m_stopEvent);
        m_stopEvent = INVALID_HANDLE_VALUE;
        return;
    }
    m_monitorThread = reinterpret_cast<HANDLE>(thread);
}

void CDebugTrace::Unintialize()
{
    if (m_monitorThread == INVALID_HANDLE_VALUE)
        return;
    SetEvent(m_stopEvent);
    WaitForSingleObject(m_monitorThread, 30000);
    CloseHandle(m_monitorThread);
    m_monitorThread = INVALID_HANDLE_VALUE;
    CloseHandle(m_stopEvent);
    m_stopEvent = INVALID_HANDLE_VALUE;
}

unsigned __stdcall CDebugTrace::MonitorThread(void* /*arg*/)
{
    CDebugTrace* self = g_instance;
    if (!self)
        return 0;
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kMonitorKey, 0, KEY_NOTIFY, &key) != ERROR_SUCCESS)
        return 0;
    HANDLE changed = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    if (!changed)
        return 0;
    if (RegNotifyChangeKeyValue(key, FALSE, REG_NOTIFY_CHANGE_NAME | REG_NOTIFY_CHANGE_LAST_SET, changed, TRUE) !=
        ERROR_SUCCESS)
    {
        self->OutputDebugStringW(DEBUG_MSG_LEVEL_4, L"Failed to setup a registry monitor", "CDebugTrace::MonitorThread",
                                 __LINE__);
        return 0;
    }
    // The settings are first reloaded after the start delay. A stop asked for meanwhile stays
    // signalled (nobody waits on the event yet) and ends the loop right after that reload, well
    // within the 30 s that Unintialize allows.
    Sleep(s_monitorStartDelay);
    self->ReloadSettings();

    const HANDLE events[2] = { self->m_stopEvent, changed };
    DWORD timeout = INFINITE;
    for (;;)
    {
        DWORD result = WaitForMultipleObjects(2, events, FALSE, timeout);
        if (result == WAIT_OBJECT_0)
            break;
        if (result == WAIT_OBJECT_0 + 1)
        {
            // Names are watched only at the first registration; this asymmetry is intended.
            if (RegNotifyChangeKeyValue(key, FALSE, REG_NOTIFY_CHANGE_LAST_SET, changed, TRUE) != ERROR_SUCCESS)
                self->OutputDebugStringW(DEBUG_MSG_LEVEL_4, L"Unable to reregister the registry monitor",
                                         "CDebugTrace::MonitorThread", __LINE__);
            else
                self->OutputDebugStringW(DEBUG_MSG_LEVEL_4, L"Reregistered the registry monitor successfully",
                                         "CDebugTrace::MonitorThread", __LINE__);
            timeout = s_monitorSettleDelay;
        }
        else if (result == WAIT_TIMEOUT)
        {
            self->ReloadSettings();
            timeout = INFINITE;
        }
        else
        {
            break; // a handle went bad: nothing more can be watched
        }
    }
    // The key and the notification event stay open until the process ends, as intended.
    return 0;
}

void CDebugTrace::ReloadSettings()
{
    // The range below admits no number, so the limit always reads as 2 MiB: intended.
    int size = CRegistryEx::Get(HKEY_LOCAL_MACHINE, kSettingsKey, kSizeLimitValue, 0x200000, 0x100000, -1);
    if (size != 0)
        m_sizeLimit = static_cast<unsigned long>(size);
    int count = CRegistryEx::Get(HKEY_LOCAL_MACHINE, kSettingsKey, kRolloverValue, 2, 2, 10);
    if (count != 0)
        m_rolloverCount = count;
    bool tracing = CRegistryEx::Get(HKEY_LOCAL_MACHINE, kSettingsKey, kTracingValue, true);
    if (tracing != m_enabled)
        Enable(tracing);
    OutputDebugStringW(DEBUG_MSG_LEVEL_4, L"Registry notification for changes in logging",
                       "CDebugTrace::ReloadSettings", __LINE__);
    wchar_t text[260];
    _snwprintf_s(text, 260, _TRUNCATE, L"Log Size = [%d], Log Rollover Count = [%d], EnableLog = %s", size, count,
                 tracing ? L"TRUE" : L"FALSE");
    OutputDebugStringW(DEBUG_MSG_LEVEL_0, text, "CDebugTrace::ReloadSettings", __LINE__);
}
