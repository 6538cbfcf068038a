#include "system/XEventLog.h"
#include <cwchar>

CXEventLog::CXEventLog(const wchar_t* source) : m_source{}, m_eventSource(nullptr), m_lastType(0), m_lastEntry{}
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
    if (!ReportEventW(m_eventSource, type, 0, 0, nullptr, 1, 0, strings, nullptr))
        return false;
    m_lastType = type;
    wcsncpy_s(m_lastEntry, 2048, text, _TRUNCATE);
    return true;
}
