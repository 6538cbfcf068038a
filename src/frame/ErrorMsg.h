#pragma once
// CErrorMsg: turns failures into trace lines with the system's description of the last error,
// remembers the last error code, hands message-box requests to the host's callback (the library
// never opens one itself) and writes to the event log.
#include <windows.h>
#include "Export.h"

typedef bool (*VESKON_ERROR_LOGGING_CALLBACK)(HWND owner, const wchar_t* text, const wchar_t* caption,
                                             int severity, void* context);

class VESKON_API CErrorMsg
{
public:
    static CErrorMsg* Instance();
    ~CErrorMsg() noexcept;
    CErrorMsg(const CErrorMsg&) = delete;
    CErrorMsg& operator=(const CErrorMsg&) = delete;

    void SetErrorLoggingCallback(VESKON_ERROR_LOGGING_CALLBACK callback, void* context);
    int GetLastError();
    // Formats `context` with the system text of the thread's last error (string 625) into out;
    // returns that error code.
    static unsigned long GetLastErrorString(wchar_t* context, wchar_t* out, int outSize);
    int Display(HWND owner, wchar_t* text);
    int Display(HWND owner, const wchar_t* text);
    int Error(int code, HWND owner, wchar_t* text);
    int Message(int code, HWND owner, wchar_t* text);
    int Error(int code, wchar_t* text);
    int Error(int id);
    int Output(int code, HWND owner, wchar_t* text, wchar_t* prefix, bool isError);
    static void TraceError(wchar_t* context);
    int MessageBoxW(HWND owner, wchar_t* text, wchar_t* caption, unsigned int type);
    // severity 1 warning, 2 error, anything else information.
    bool WriteToEventLog(HWND owner, wchar_t* text, wchar_t* title, int severity);
    void RedirectStdIOToConsole();

private:
    CErrorMsg();

    VESKON_ERROR_LOGGING_CALLBACK m_callback;
    void* m_context;
    volatile int m_lastError;
};
