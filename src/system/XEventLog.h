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
    // The type and text of the last entry the system accepted (0 and empty before the first), so
    // that a caller can tell what went out without reading the event log back.
    WORD GetLastType() const { return m_lastType; }
    const wchar_t* GetLastEntry() const { return m_lastEntry; }

private:
    wchar_t m_source[MAX_PATH];
    HANDLE m_eventSource;
    WORD m_lastType;
    wchar_t m_lastEntry[2048];
};
