#include <gtest/gtest.h>
#include "support/TestSupport.h"
#include "frame/CriticalSectionEx.h"
#include "frame/DebugTrace.h"
#include "frame/ErrorMsg.h"
#include "frame/RegistryEx.h"
#include "files/FileIO.h"
#include <commctrl.h>
#include <atomic>
#include <thread>

using namespace veskon_test;

namespace
{
const wchar_t kKey[] = L"Software\\Veskon\\Win32_GUI_Support_DLL";

// Each test starts from an empty log and a trace set up again from the registry as it stands.
class DebugTraceTest : public testing::Test
{
protected:
    void SetUp() override
    {
        DeleteTraceLogs();
        Recreate();
    }
    void TearDown() override
    {
        // Newest first, so that a value changed twice ends as it was before the test.
        while (!m_guards.empty())
            m_guards.pop_back();
        Recreate();
        DeleteTraceLogs();
    }
    static CDebugTrace* Recreate()
    {
        delete CDebugTrace::Instance();
        return CDebugTrace::Instance();
    }
    void SetValue(const wchar_t* name, const wchar_t* text)
    {
        m_guards.emplace_back(new RegistryValueGuard(HKEY_LOCAL_MACHINE, kKey, name));
        CRegistryEx::Set(HKEY_LOCAL_MACHINE, const_cast<wchar_t*>(kKey), const_cast<wchar_t*>(name),
                         const_cast<wchar_t*>(text));
    }
    void RemoveValue(const wchar_t* name)
    {
        m_guards.emplace_back(new RegistryValueGuard(HKEY_LOCAL_MACHINE, kKey, name));
        CRegistryEx::DeleteValue(HKEY_LOCAL_MACHINE, const_cast<wchar_t*>(kKey), const_cast<wchar_t*>(name));
    }
    static void Write(int level, const wchar_t* text, const char* source = "DebugTraceTests", int line = 7)
    {
        CDebugTrace::Instance()->OutputDebugStringW(static_cast<CDebugTrace::DEBUG_MSG_LEVEL>(level), text, source, line);
    }
    static bool Logged(const std::string& text) { return TraceLogText().find(text) != std::string::npos; }

    std::vector<std::unique_ptr<RegistryValueGuard>> m_guards;
};

std::string LineWith(const std::string& log, const std::string& text)
{
    size_t at = log.find(text);
    if (at == std::string::npos)
        return std::string();
    size_t start = log.rfind("\r\n", at);
    start = (start == std::string::npos) ? 0 : start + 2;
    size_t end = log.find("\r\n", at);
    return log.substr(start, end == std::string::npos ? std::string::npos : end + 2 - start);
}
}

TEST_F(DebugTraceTest, LineLayoutIsStampOriginTextPaddedAndCrLf)
{
    Write(4, L"layout probe", "LayoutSource", 42);
    std::string line = LineWith(TraceLogText(), "layout probe");
    ASSERT_FALSE(line.empty());
    char origin[128];
    _snprintf_s(origin, sizeof(origin), _TRUNCATE, "%-40s", ("LayoutSource(42)\t" + std::to_string(GetCurrentProcessId()) +
                                                             "(" + std::to_string(GetCurrentThreadId()) + ")").c_str());
    size_t originAt = line.find(std::string(" - ") + origin + " - layout probe\r\n");
    ASSERT_NE(std::string::npos, originAt) << line;
    std::string stamp = line.substr(0, originAt);
    EXPECT_GE(stamp.size(), 20u);
    EXPECT_NE(std::string::npos, stamp.find("  ")) << "date and time are joined by two blanks";
    // The stamp is the system locale's short date and time, as this process formats them now.
    SYSTEMTIME now;
    GetLocalTime(&now);
    char date[64] = {};
    GetDateFormatA(LOCALE_SYSTEM_DEFAULT, LOCALE_NOUSEROVERRIDE | DATE_SHORTDATE, &now, nullptr, date, 64);
    EXPECT_EQ(0u, stamp.find(date)) << stamp;
    EXPECT_EQ(std::string::npos, line.find('\0'));
}

TEST_F(DebugTraceTest, TextIsWrittenInTheAnsiCodePage)
{
    const wchar_t text[] = L"caf\u00e9 na\u00efve \u20ac";
    Write(4, text);
    char expected[64] = {};
    WideCharToMultiByte(CP_ACP, 0, text, -1, expected, 64, nullptr, nullptr);
    EXPECT_TRUE(Logged(std::string(" - ") + expected + "\r\n"));
}

TEST_F(DebugTraceTest, ThresholdFromTheRegistryDropsLowerLevels)
{
    SetValue(L"debug_msg_level", L"2");
    CDebugTrace* trace = Recreate();
    EXPECT_EQ(2, trace->GetThreshold());
    Write(1, L"level one line");
    Write(2, L"level two line");
    Write(4, L"level four line");
    EXPECT_FALSE(Logged("level one line"));
    EXPECT_TRUE(Logged("level two line"));
    EXPECT_TRUE(Logged("level four line"));
}

TEST_F(DebugTraceTest, OutOfRangeThresholdKeepsTheCurrentOne)
{
    SetValue(L"debug_msg_level", L"7");
    EXPECT_EQ(0, Recreate()->GetThreshold());
    Write(0, L"detail still written");
    EXPECT_TRUE(Logged("detail still written"));
}

TEST_F(DebugTraceTest, SwitchReadFromTheRegistry)
{
    SetValue(L"debug_tracing", L"0");
    EXPECT_FALSE(Recreate()->Enabled()) << "the string \"0\" turns tracing off";
    Write(4, L"not while off");
    EXPECT_FALSE(Logged("not while off"));

    RemoveValue(L"debug_tracing");
    EXPECT_TRUE(Recreate()->Enabled()) << "a missing value turns it on";
}

TEST_F(DebugTraceTest, EnablingWritesTheBannerOnce)
{
    CDebugTrace* trace = CDebugTrace::Instance();
    trace->Enable(false);
    DeleteTraceLogs();
    trace->Enable(true);
    trace->Enable(true); // no change, no second banner
    std::string log = TraceLogText();
    std::string hyphens(49, '-');
    std::string banner = "\r\n" + hyphens + "\r\nVeskon Win32 GUI Support Library\r\n" + hyphens +
                         "\r\nBuild date/time: " + __DATE__ " ";
    size_t at = log.find(banner);
    ASSERT_NE(std::string::npos, at) << log;
    EXPECT_EQ(std::string::npos, log.find(banner, at + 1));
    EXPECT_NE(std::string::npos, log.find("CDebugTrace::Enable("));
}

TEST_F(DebugTraceTest, NullTextAndDisabledTraceWriteNothing)
{
    Write(4, L"first");
    size_t size = TraceLogText().size();
    CDebugTrace::Instance()->OutputDebugStringW(CDebugTrace::DEBUG_MSG_LEVEL_4, static_cast<const wchar_t*>(nullptr),
                                                "x", 1);
    CDebugTrace::Instance()->OutputDebugStringW(CDebugTrace::DEBUG_MSG_LEVEL_4, static_cast<wchar_t*>(nullptr), "x", 1);
    EXPECT_EQ(size, TraceLogText().size());
}

TEST_F(DebugTraceTest, OversizedTextIsDroppedWhole)
{
    std::wstring huge(70000, L'y');
    Write(4, huge.c_str());
    Write(4, L"after the huge one");
    std::string log = TraceLogText();
    EXPECT_EQ(std::string::npos, log.find(std::string(1000, 'y')));
    EXPECT_NE(std::string::npos, log.find("after the huge one"));
    std::wstring large(60000, L'z');
    Write(4, large.c_str());
    EXPECT_NE(std::string::npos, TraceLogText().find(std::string(60000, 'z') + "\r\n"));
}

TEST_F(DebugTraceTest, LogRollsOverOnlyWhenLargerThanTheLimit)
{
    std::wstring log = TraceLogPath();
    std::wstring backup1 = log.substr(0, log.size() - 4) + L"_backup_1.log";
    ASSERT_EQ(0x200000u, CDebugTrace::Instance()->GetSizeLimit());
    ASSERT_TRUE(WriteFileBytes(log, std::string(0x200000, 'a')));
    Write(4, L"exactly at the limit");
    EXPECT_FALSE(FileExists(backup1)) << "a log of exactly the limit is not rolled over";
    Write(4, L"now past it");
    EXPECT_TRUE(FileExists(backup1));
    std::string fresh = ReadFileBytes(log);
    EXPECT_NE(std::string::npos, fresh.find("now past it"));
    EXPECT_EQ(std::string::npos, fresh.find("exactly at the limit"));
    EXPECT_NE(std::string::npos, ReadFileBytes(backup1).find("exactly at the limit"));
}

TEST_F(DebugTraceTest, OlderBackupNamesAreCleanedUp)
{
    std::wstring log = TraceLogPath();
    Write(4, L"make the log exist");
    for (int j : { 1, 2, 5, 10, 11 })
        WriteFileBytes(log + L"_backup_" + std::to_wstring(j), "old");
    Write(4, L"clean-up runs before every line");
    EXPECT_TRUE(FileExists(log + L"_backup_1")) << "below the rollover count: kept";
    EXPECT_FALSE(FileExists(log + L"_backup_2"));
    EXPECT_FALSE(FileExists(log + L"_backup_5"));
    EXPECT_FALSE(FileExists(log + L"_backup_10"));
    EXPECT_TRUE(FileExists(log + L"_backup_11")) << "above 10: not part of the clean-up";
}

TEST_F(DebugTraceTest, CallWhileAnotherLineIsWrittenIsDropped)
{
    // Hold the log's lock so that the first writer waits inside the writing path with the busy
    // flag set; the second call, from another thread, is then dropped rather than queued.
    CCriticalSectionEx* lock = CDebugTrace::Instance()->GetLock();
    ASSERT_NE(nullptr, lock);
    lock->Enter(L"test");
    std::thread first([] { Write(4, L"line from the first writer"); });
    Sleep(300);
    std::thread second([] { Write(4, L"line from the second writer"); });
    Sleep(300);
    lock->Leave();
    first.join();
    second.join();
    std::string log = TraceLogText();
    bool a = log.find("line from the first writer") != std::string::npos;
    bool b = log.find("line from the second writer") != std::string::npos;
    EXPECT_TRUE(a != b) << "exactly one of two overlapping calls is written";
    EXPECT_TRUE(a) << "the call that came second is the one dropped";
}

TEST_F(DebugTraceTest, FailureInsideTheWritingPathDoesNotRecurse)
{
    // The log path taken by a folder: the open fails and is reported, and that report (a trace
    // call made while the line is being written) is dropped instead of recursing.
    std::wstring log = TraceLogPath();
    DeleteFileW(log.c_str());
    ASSERT_TRUE(CreateDirectoryW(log.c_str(), nullptr));
    Write(4, L"cannot be written");
    RemoveDirectoryW(log.c_str());
    EXPECT_NE(0, CErrorMsg::Instance()->GetLastError());
    Write(4, L"written again");
    EXPECT_TRUE(Logged("written again"));
}

TEST_F(DebugTraceTest, NoTemporaryFolderMeansNoTracing)
{
    wchar_t saved[MAX_PATH] = {};
    GetEnvironmentVariableW(L"TMP", saved, MAX_PATH);
    SetEnvironmentVariableW(L"TMP", L"C:\\no\\such\\folder\\here");
    SetEnvironmentVariableW(L"TEMP", L"C:\\no\\such\\folder\\here");
    CDebugTrace* trace = Recreate();
    bool enabled = trace->Enabled();
    SetEnvironmentVariableW(L"TMP", saved);
    SetEnvironmentVariableW(L"TEMP", saved);
    EXPECT_FALSE(enabled);
}

TEST_F(DebugTraceTest, WindowsMessageDecodesNames)
{
    Write(4, L"start");
    CDebugTrace* trace = CDebugTrace::Instance();
    wchar_t prefix[] = L"probe:";
    trace->WindowsMessage(prefix, reinterpret_cast<HWND>(static_cast<UINT_PTR>(0x1234)), 26, 5, 6);
    trace->WindowsMessage(prefix, nullptr, 0x7FFF, 0, 0);
    trace->WindowsMessage(prefix, nullptr, WM_NOTIFY, 0, 0);
    NMHDR header = {};
    header.code = static_cast<UINT>(-175);
    trace->WindowsMessage(prefix, nullptr, WM_NOTIFY, 0, reinterpret_cast<LPARAM>(&header));
    wchar_t empty[] = L"";
    trace->WindowsMessage(empty, nullptr, WM_PAINT, 0, 0);

    std::string log = TraceLogText();
    EXPECT_NE(std::string::npos,
              log.find("probe:\twMsg:WM_WININICHANGE (26 dec, 001A hex)\twParam:00000005\tlParam:00000006\thWnd:00001234"));
    EXPECT_NE(std::string::npos, log.find("probe:\twMsg:Unknown (32767 dec, 7FFF hex)"));
    EXPECT_NE(std::string::npos, log.find("probe:\twMsg:WM_NOTIFY (78 dec, 004E hex)"));
    EXPECT_NE(std::string::npos, log.find("probe:\tnotify: LVN_BEGINLABELEDITW (-175 dec, FFFFFF51 hex)\t\twMsg:WM_NOTIFY"));
    EXPECT_EQ(std::string::npos, log.find("WM_PAINT")) << "an empty prefix writes nothing";
    EXPECT_NE(std::string::npos, log.find("CDebugTrace::WindowsMessage("));
}

TEST(CDebugTraceNames, FirstMatchWins)
{
    EXPECT_STREQ(L"WM_WININICHANGE", CDebugTrace::MessageName(26));
    EXPECT_STREQ(L"WM_KEYFIRST", CDebugTrace::MessageName(256));
    EXPECT_STREQ(L"WM_KEYLAST", CDebugTrace::MessageName(264));
    EXPECT_STREQ(L"WM_UNICHAR", CDebugTrace::MessageName(265));
    EXPECT_STREQ(L"WM_IME_COMPOSITION", CDebugTrace::MessageName(271));
    EXPECT_STREQ(L"WM_MOUSEFIRST", CDebugTrace::MessageName(512));
    EXPECT_STREQ(L"WM_MBUTTONDBLCLK", CDebugTrace::MessageName(521));
    EXPECT_STREQ(L"WM_MOUSEWHEEL", CDebugTrace::MessageName(522));
    EXPECT_STREQ(L"WM_XBUTTONDBLCLK", CDebugTrace::MessageName(525));
    EXPECT_STREQ(L"WM_USER", CDebugTrace::MessageName(1024));
    EXPECT_STREQ(L"WM_APP", CDebugTrace::MessageName(32768));
    EXPECT_STREQ(L"WM_TABLET_LAST", CDebugTrace::MessageName(0x2DF));
    EXPECT_STREQ(L"Unknown", CDebugTrace::MessageName(0x7FFF));
    EXPECT_STREQ(L"LVN_ENDLABELEDITW", CDebugTrace::NotificationName(-176));
    EXPECT_STREQ(L"LVN_HOTTRACK", CDebugTrace::NotificationName(-121));
    EXPECT_STREQ(L"Unknown", CDebugTrace::NotificationName(-2)); // NM_CLICK is not listed
}
