#include "system/XEventLog.h"
#include <cwchar>

CXEventLog::CXEventLog(const wchar_t* source) : m_source{}, m_eventSource(nullptr)
{
    if (source && *source)
    {
        wcsncpy_s(m_source, MAX_PATH, source, _TRUNCATE);
        m_eventSource = RegisterEventSourceW(nullptr, m_source);
    }
}

CXEventLog::~CXEventLog() noexcept
{
    if (m_eventSource)
        DeregisterEventSource(m_eventSource);
}

bool CXEventLog::Write(WORD type, const wchar_t* text)
{
    if (!m_eventSource || !text || !*text)
        return false;
    const wchar_t* strings[1] = { text };
    return ReportEventW(m_eventSource, type, 0, 0, nullptr, 1, 0, strings, nullptr) != FALSE;
}
