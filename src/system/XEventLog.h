#pragma once
// CXEventLog: writes entries to the Windows application event log under one source name.
#include <windows.h>
#include "Export.h"

class VESKON_API CXEventLog
{
public:
    explicit CXEventLog(const wchar_t* source);
    ~CXEventLog() noexcept;
    CXEventLog(const CXEventLog&) = delete;
    CXEventLog& operator=(const CXEventLog&) = delete;

    // Reports `text` with the event type (EVENTLOG_ERROR_TYPE, EVENTLOG_WARNING_TYPE or
    // EVENTLOG_INFORMATION_TYPE); true when the system took it.
    bool Write(WORD type, const wchar_t* text);
    const wchar_t* GetSourceName() const { return m_source; }

private:
    wchar_t m_source[MAX_PATH];
    HANDLE m_eventSource;
};
