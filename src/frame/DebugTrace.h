#pragma once
// CDebugTrace: the library's diagnostic log. One line per call is appended to
// %TEMP%\VeskonLogs\Zintor_<computer>.log (ANSI code page, CR LF), filtered by a level threshold,
// switched by the registry and rolled over past its size limit. Initialize() starts a thread that
// watches the library's registry key so that logging can be changed on a running process.
//
// Creation: the first Instance() call (no file is touched until a line is written).
// Destruction: the frame's unload deletes it; call Unintialize() before, if Initialize() was called.
#include <windows.h>
#include "Export.h"

class CCriticalSectionEx;

class VESKON_API CDebugTrace
{
public:
    enum DEBUG_MSG_LEVEL
    {
        DEBUG_MSG_LEVEL_0 = 0, // most detailed: entry and exit notes, message dumps
        DEBUG_MSG_LEVEL_1 = 1,
        DEBUG_MSG_LEVEL_2 = 2,
        DEBUG_MSG_LEVEL_3 = 3,
        DEBUG_MSG_LEVEL_4 = 4  // most important: banners, configuration, logging failures
    };

    static CDebugTrace* Instance();
    // True while the singleton exists (Instance() would create it).
    static bool Exists();
    ~CDebugTrace() noexcept;
    CDebugTrace(const CDebugTrace&) = delete;
    CDebugTrace& operator=(const CDebugTrace&) = delete;

    void OutputDebugStringW(DEBUG_MSG_LEVEL level, wchar_t* text, char* source, int line);
    void OutputDebugStringW(DEBUG_MSG_LEVEL level, const wchar_t* text, char* source, int line);
    // Conveniences for callers whose source name is a string literal.
    void OutputDebugStringW(DEBUG_MSG_LEVEL level, const wchar_t* text, const char* source, int line);
    void OutputDebugStringW(DEBUG_MSG_LEVEL level, wchar_t* text, const char* source, int line);
    // Writes a decoded window message at level 0.
    void WindowsMessage(wchar_t* prefix, HWND hwnd, UINT msg, WPARAM wParam, LPARAM lParam);
    void Enable(bool on);
    bool Enabled();
    // Starts and stops the registry-monitor thread (the second name is spelled so on purpose).
    void Initialize();
    void Unintialize();

    // Where the lines go (empty while tracing has no temporary folder).
    const wchar_t* GetLogFilename() const { return m_logFilePath; }
    const wchar_t* GetLogFolder() const { return m_logFolder; }
    DEBUG_MSG_LEVEL GetThreshold() const { return m_threshold; }
    unsigned long GetSizeLimit() const { return m_sizeLimit; }
    int GetRolloverCount() const { return m_rolloverCount; }
    // The log's lock: whoever holds it keeps every other thread's line waiting.
    CCriticalSectionEx* GetLock() const { return m_lock; }

    // Name look-ups of WindowsMessage: the first row whose value matches, or "Unknown".
    static const wchar_t* MessageName(UINT msg);
    static const wchar_t* NotificationName(int code);

    // Delays of the registry monitor, in milliseconds: the wait after the thread starts and the
    // settling time after a burst of change notifications. Tests shorten them.
    static DWORD s_monitorStartDelay;
    static DWORD s_monitorSettleDelay;

private:
    CDebugTrace();
    void Setup();
    void ReloadSettings();
    void WriteLine(DEBUG_MSG_LEVEL level, const wchar_t* text, const char* source, int line);
    static unsigned __stdcall MonitorThread(void* arg);

    wchar_t m_logFolder[MAX_PATH];
    wchar_t m_logFilePath[MAX_PATH];
    volatile bool m_enabled;
    DEBUG_MSG_LEVEL m_threshold;
    CCriticalSectionEx* m_lock;
    volatile bool m_busy;
    HANDLE m_monitorThread;
    HANDLE m_stopEvent;
    volatile unsigned long m_sizeLimit;
    volatile int m_rolloverCount;
};

// Trace shorthand for the library's own sources: the file's short name and the line.
#define VESKON_TRACE(level, text, source) \
    CDebugTrace::Instance()->OutputDebugStringW((CDebugTrace::DEBUG_MSG_LEVEL)(level), (const wchar_t*)(text), (const char*)(source), __LINE__)
