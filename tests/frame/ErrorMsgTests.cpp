// CErrorMsg: failures become trace lines joined with the system's text (string 625), the last
// code is remembered, message boxes only reach the host's callback (severity 2 for the hand and
// question icon bits), event-log entries carry the type of their severity, and the standard
// streams can be moved to a console of their own.
#include <gtest/gtest.h>
#include <windows.h>
#include <cstdio>
#include <io.h>
#include <string>
#include <vector>
#include "frame/DebugTrace.h"
#include "frame/ErrorMsg.h"
#include "frame/KVRN_DllMain.h"
#include "frame/Localize.h"
#include "system/XEventLog.h"
#include "support/TestSupport.h"

using veskon_test::Narrow;
using veskon_test::TraceLogText;

namespace
{
struct CallbackCall
{
    HWND owner;
    std::wstring text, caption;
    int severity;
    void* context;
};
std::vector<CallbackCall> g_calls;

bool RecordingCallback(HWND owner, const wchar_t* text, const wchar_t* caption, int severity, void* context)
{
    g_calls.push_back({ owner, text ? text : L"", caption ? caption : L"", severity, context });
    return false; // its answer is ignored
}

class ErrorMsg : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_errors = CErrorMsg::Instance();
        m_errors->SetErrorLoggingCallback(nullptr, nullptr);
        CDebugTrace::Instance()->Enable(true);
    }
    void TearDown() override { m_errors->SetErrorLoggingCallback(nullptr, nullptr); }

    // The trace log's growth during the call.
    template <typename F> std::string TracedBy(F call)
    {
        size_t before = TraceLogText().size();
        call();
        std::string log = TraceLogText();
        return log.size() > before ? log.substr(before) : std::string();
    }

    CErrorMsg* m_errors = nullptr;
};

// What GetLastErrorString should produce, computed independently of the reporter.
std::wstring ExpectedErrorString(const wchar_t* context, DWORD code)
{
    wchar_t* system = nullptr;
    FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                   code, MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT), reinterpret_cast<wchar_t*>(&system), 0, nullptr);
    wchar_t format[260] = {}, out[4096] = {};
    LoadStringW(CLocalize::Instance()->GethInstance(), 625, format, 260);
    _snwprintf_s(out, 4096, _TRUNCATE, format, context, system ? system : L"");
    LocalFree(system);
    return out;
}
}

TEST_F(ErrorMsg, MessageBoxOnlyReachesTheCallbackWithSeverityTwoForHandAndQuestionBits)
{
    wchar_t text[] = L"the text", caption[] = L"the caption";
    HWND before = GetForegroundWindow();
    g_calls.clear();
    EXPECT_EQ(m_errors->MessageBoxW(nullptr, text, caption, MB_ICONERROR | MB_YESNO), IDOK) << "without a callback";
    EXPECT_EQ(GetForegroundWindow(), before) << "no box of its own";

    int context = 0;
    m_errors->SetErrorLoggingCallback(&RecordingCallback, &context);
    HWND owner = reinterpret_cast<HWND>(static_cast<LONG_PTR>(0x1234));
    const unsigned types[] = { MB_ICONERROR, MB_ICONQUESTION, MB_ICONINFORMATION, MB_YESNO };
    const int severities[] = { 2, 2, 0, 0 };
    for (unsigned type : types)
        EXPECT_EQ(m_errors->MessageBoxW(owner, text, caption, type), IDOK);
    ASSERT_EQ(g_calls.size(), 4u);
    for (size_t i = 0; i < g_calls.size(); ++i)
    {
        EXPECT_EQ(g_calls[i].severity, severities[i]) << "type " << types[i];
        EXPECT_TRUE(g_calls[i].owner == owner && g_calls[i].text == text && g_calls[i].caption == caption &&
                    g_calls[i].context == &context)
            << "the callback gets the call's arguments and the stored context";
    }
}

TEST_F(ErrorMsg, OutputAndErrorTraceTheTextKeepTheCodeAndIgnoreAnEmptyText)
{
    wchar_t text[] = L"output-probe text", prefix[] = L"prefix: ", empty[] = L"";
    std::string traced = TracedBy([&] { m_errors->Output(7, nullptr, text, prefix, true); });
    EXPECT_NE(traced.find("ErrorMsg("), std::string::npos);
    EXPECT_NE(traced.find(" - prefix: output-probe text\r\n"), std::string::npos);
    EXPECT_EQ(m_errors->GetLastError(), 7);
    EXPECT_EQ(m_errors->Message(8, nullptr, text), 0);
    EXPECT_EQ(m_errors->GetLastError(), 8);
    EXPECT_EQ(m_errors->Error(3, text), 0);

    traced = TracedBy([&] {
        EXPECT_EQ(m_errors->Output(5, nullptr, empty, nullptr, true), 0);
        EXPECT_EQ(m_errors->Output(6, nullptr, nullptr, nullptr, true), 0);
        EXPECT_EQ(m_errors->Display(nullptr, empty), 0);
        EXPECT_EQ(m_errors->Display(nullptr, static_cast<wchar_t*>(nullptr)), 0);
    });
    EXPECT_EQ(traced, "");
    EXPECT_EQ(m_errors->GetLastError(), 3) << "an empty text leaves the last error";

    std::wstring huge(5000, L'q');
    traced = TracedBy([&] { m_errors->Output(1, nullptr, &huge[0], nullptr, true); });
    EXPECT_NE(traced.find(std::string(1023, 'q') + "\r\n"), std::string::npos) << "cut to 1023 characters";
    EXPECT_EQ(traced.find(std::string(1024, 'q')), std::string::npos);

    // Error(id) reports the localized string and keeps the id.
    wchar_t expected[260] = {};
    ASSERT_GT(LoadStringW(CLocalize::Instance()->GethInstance(), 528, expected, 260), 0) << "ZintorRes.dll not loaded";
    EXPECT_NE(TracedBy([&] { m_errors->Error(528); }).find(Narrow(expected)), std::string::npos);
    EXPECT_EQ(m_errors->GetLastError(), 528);
}

TEST_F(ErrorMsg, DisplayAndTraceErrorJoinTheSystemTextOfTheLastError)
{
    wchar_t text[] = L"Opening display-probe.txt failed", context[] = L"trace-error-probe";
    std::wstring expected = ExpectedErrorString(text, ERROR_FILE_NOT_FOUND);
    ASSERT_NE(expected.find(L"display-probe"), std::wstring::npos);
    std::string traced = TracedBy([&] {
        SetLastError(ERROR_FILE_NOT_FOUND);
        m_errors->Display(nullptr, text);
    });
    EXPECT_NE(traced.find(Narrow(expected)), std::string::npos) << traced;
    EXPECT_EQ(m_errors->GetLastError(), ERROR_FILE_NOT_FOUND);

    expected = ExpectedErrorString(context, ERROR_INVALID_HANDLE);
    traced = TracedBy([&] {
        SetLastError(ERROR_INVALID_HANDLE);
        CErrorMsg::TraceError(context);
    });
    EXPECT_NE(traced.find(Narrow(expected)), std::string::npos) << traced;

    wchar_t unknown[] = L"no-system-text-probe";
    traced = TracedBy([&] {
        SetLastError(0x2000F00Du); // a customer code: the system has no text for it
        m_errors->Display(nullptr, unknown);
    });
    EXPECT_EQ(traced.find("no-system-text-probe"), std::string::npos) << "without system text nothing is reported";
    EXPECT_EQ(m_errors->GetLastError(), ERROR_FILE_NOT_FOUND);
}

TEST_F(ErrorMsg, GetLastErrorStringReturnsAndKeepsTheThreadsError)
{
    wchar_t context[] = L"ctx", empty[] = L"";
    wchar_t out[4096] = L"untouched";
    SetLastError(ERROR_ACCESS_DENIED);
    EXPECT_EQ(CErrorMsg::GetLastErrorString(context, out, 4096), static_cast<unsigned long>(ERROR_ACCESS_DENIED));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
    EXPECT_EQ(std::wstring(out), ExpectedErrorString(context, ERROR_ACCESS_DENIED));

    wchar_t kept[16] = L"untouched";
    EXPECT_EQ(CErrorMsg::GetLastErrorString(empty, kept, 16), static_cast<unsigned long>(ERROR_ACCESS_DENIED));
    EXPECT_STREQ(kept, L"untouched");
    EXPECT_EQ(CErrorMsg::GetLastErrorString(context, nullptr, 16), static_cast<unsigned long>(ERROR_ACCESS_DENIED));
    wchar_t small[8];
    wmemset(small, L'#', 8);
    CErrorMsg::GetLastErrorString(context, small, 5);
    EXPECT_EQ(wcslen(small), 4u) << "cut, never overrun";
    EXPECT_EQ(small[5], L'#');
}

TEST_F(ErrorMsg, EventLogEntriesNeedTextAndTitleTakeTheTypeOfTheirSeverityAndAreCut)
{
    CXEventLog* log = CKVRN_DllMain::Instance()->GetEventLog();
    ASSERT_NE(log, nullptr);
    EXPECT_STREQ(log->GetSourceName(), L"Veskon Win32 GUI Support Library");
    wchar_t text[] = L"disk is full", title[] = L"Backup", empty[] = L"";
    const std::pair<int, WORD> cases[] = { { 1, EVENTLOG_WARNING_TYPE },
                                           { 3, EVENTLOG_INFORMATION_TYPE },
                                           { 0, EVENTLOG_INFORMATION_TYPE },
                                           { 2, EVENTLOG_ERROR_TYPE } };
    for (const auto& c : cases)
    {
        ASSERT_TRUE(m_errors->WriteToEventLog(nullptr, text, title, c.first)) << c.first;
        EXPECT_EQ(log->GetLastType(), c.second) << "severity " << c.first;
        EXPECT_STREQ(log->GetLastEntry(), L"Backup: disk is full");
    }
    EXPECT_FALSE(m_errors->WriteToEventLog(nullptr, empty, title, 1));
    EXPECT_FALSE(m_errors->WriteToEventLog(nullptr, text, empty, 1));
    EXPECT_FALSE(m_errors->WriteToEventLog(nullptr, nullptr, title, 1));
    EXPECT_FALSE(m_errors->WriteToEventLog(nullptr, text, nullptr, 1));
    EXPECT_EQ(log->GetLastType(), EVENTLOG_ERROR_TYPE) << "a refused entry writes nothing";

    std::wstring huge(5000, L'e');
    ASSERT_TRUE(m_errors->WriteToEventLog(nullptr, &huge[0], title, 0));
    EXPECT_EQ(wcslen(log->GetLastEntry()), 2047u);
    EXPECT_EQ(std::wstring(log->GetLastEntry()).substr(0, 10), L"Backup: ee");
}

// ---- RedirectStdIOToConsole, in a child without a console --------------------------------------

// Exit codes: 0 fine; 10 stdout or stderr is not the console; 11 wrong buffer height; 12 printed
// text not on the console.
VESKON_CHILD(RedirectStdIO)
{
    CErrorMsg::Instance()->RedirectStdIOToConsole();
    if (GetFileType(reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stdout)))) != FILE_TYPE_CHAR ||
        GetFileType(reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stderr)))) != FILE_TYPE_CHAR)
        return 10;
    HANDLE console = CreateFileW(L"CONOUT$", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                 OPEN_EXISTING, 0, nullptr);
    CONSOLE_SCREEN_BUFFER_INFO info = {};
    if (!GetConsoleScreenBufferInfo(console, &info) || info.dwSize.Y != 500)
        return 11;
    // Unbuffered: the text is on the console as soon as printf returns.
    COORD at = { 0, info.dwCursorPosition.Y };
    printf("console-probe");
    char seen[32] = {};
    DWORD read = 0;
    ReadConsoleOutputCharacterA(console, seen, 13, at, &read);
    CloseHandle(console);
    return (read == 13 && memcmp(seen, "console-probe", 13) == 0) ? 0 : 12;
}

TEST(ErrorMsgConsole, RedirectsTheStandardStreamsToANewConsoleOf500Lines)
{
    std::wstring line = L"\"" + veskon_test::ThisProgram() + L"\"";
    EXPECT_EQ(veskon_test::RunChildWithCommandLine("RedirectStdIO", line, L"", 60000, DETACHED_PROCESS), 0u);
}
