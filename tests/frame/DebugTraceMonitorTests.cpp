// The trace log's registry monitor: a running process picks up "debug_tracing" and
// "LogMaxRollover" after the settling delay, ignores "LogSizeLimit" (its range admits nothing) and
// "debug_msg_level"; Unintialize stops the thread wherever it waits; a missing or deleted key ends
// or strands the thread without harm. The monitor's delays are shortened; the product keeps 5 s.
// Also: trace calls from many threads at once never produce a broken line.
#include <gtest/gtest.h>
#include <windows.h>
#include <tlhelp32.h>
#include <shlwapi.h>
#include <regex>
#include <string>
#include <thread>
#include <vector>
#include "frame/DebugTrace.h"
#include "frame/RegistryEx.h"
#include "support/TestSupport.h"

using veskon_test::PumpUntil;
using veskon_test::TraceLogText;

namespace
{
wchar_t kKey[] = L"Software\\Veskon\\Win32_GUI_Support_DLL";

int Count(const std::string& text, const std::string& what)
{
    int n = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + what.size()))
        ++n;
    return n;
}

// Completed reloads: the settings line is the last thing a reload writes, after its members changed.
int Reloads()
{
    return Count(TraceLogText(), "Log Size = [");
}

void Set(const wchar_t* name, const wchar_t* text)
{
    ASSERT_TRUE(CRegistryEx::Set(HKEY_LOCAL_MACHINE, kKey, const_cast<wchar_t*>(name), const_cast<wchar_t*>(text)));
}

int ThreadCount()
{
    int n = 0;
    HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    THREADENTRY32 entry = {};
    entry.dwSize = sizeof(entry);
    for (BOOL more = Thread32First(snapshot, &entry); more; more = Thread32Next(snapshot, &entry))
        n += entry.th32OwnerProcessID == GetCurrentProcessId();
    CloseHandle(snapshot);
    return n;
}

class DebugTraceMonitor : public ::testing::Test
{
protected:
    DebugTraceMonitor()
        : m_tracing(HKEY_LOCAL_MACHINE, kKey, L"debug_tracing"),
          m_rollover(HKEY_LOCAL_MACHINE, kKey, L"LogMaxRollover"),
          m_sizeLimit(HKEY_LOCAL_MACHINE, kKey, L"LogSizeLimit"), m_level(HKEY_LOCAL_MACHINE, kKey, L"debug_msg_level")
    {
    }
    void SetUp() override
    {
        CDebugTrace::s_monitorStartDelay = 100;
        CDebugTrace::s_monitorSettleDelay = 300;
        m_trace = CDebugTrace::Instance();
        m_trace->Enable(true);
        veskon_test::DeleteTraceLogs();
        // The monitor watches an existing key; "1" also keeps tracing on through every reload.
        Set(L"debug_tracing", L"1");
        m_baseThreads = ThreadCount();
    }
    void TearDown() override
    {
        m_trace->Unintialize();
        CDebugTrace::s_monitorStartDelay = 5000;
        CDebugTrace::s_monitorSettleDelay = 5000;
        m_trace->Enable(true);
    }

    // Starts the monitor and waits for its first reload.
    void StartMonitor()
    {
        int before = Reloads();
        m_trace->Initialize();
        ASSERT_TRUE(PumpUntil([&] { return Reloads() > before; }, 10000)) << "no reload after the start delay";
    }
    // Changes a value and waits until the monitor has reloaded once more.
    void ChangeAndWait(const wchar_t* name, const wchar_t* text)
    {
        int before = Reloads();
        Set(name, text);
        ASSERT_TRUE(PumpUntil([&] { return Reloads() > before; }, 10000)) << "no reload after changing the value";
    }
    bool ThreadGone()
    {
        return PumpUntil([&] { return ThreadCount() == m_baseThreads; }, 5000);
    }

    veskon_test::RegistryValueGuard m_tracing, m_rollover, m_sizeLimit, m_level;
    CDebugTrace* m_trace = nullptr;
    int m_baseThreads = 0;
};
}

TEST_F(DebugTraceMonitor, SwitchesTracingOffAndOnInARunningProcess)
{
    // What a switched-off trace drops and the banner a switch-on writes are DebugTrace's own cases.
    StartMonitor();
    Set(L"debug_tracing", L"0");
    ASSERT_TRUE(PumpUntil([&] { return !m_trace->Enabled(); }, 10000)) << "a string \"0\" switches off";
    EXPECT_NE(TraceLogText().find("Reregistered the registry monitor successfully"), std::string::npos);
    Set(L"debug_tracing", L"1");
    ASSERT_TRUE(PumpUntil([&] { return m_trace->Enabled(); }, 10000));
    EXPECT_TRUE(PumpUntil([&] { return Count(TraceLogText(), "EnableLog = TRUE") > 1; }, 10000));
}

TEST_F(DebugTraceMonitor, TakesTheRolloverCountInRangeOnlyAndNeitherSizeLimitNorThreshold)
{
    CDebugTrace::DEBUG_MSG_LEVEL threshold = m_trace->GetThreshold();
    StartMonitor();
    ChangeAndWait(L"LogMaxRollover", L"5");
    EXPECT_EQ(m_trace->GetRolloverCount(), 5);
    EXPECT_NE(TraceLogText().find("Log Size = [2097152], Log Rollover Count = [5], EnableLog = TRUE"),
              std::string::npos);
    ChangeAndWait(L"LogMaxRollover", L"50");
    EXPECT_EQ(m_trace->GetRolloverCount(), 2) << "out of range gives the default, not the maximum";
    ChangeAndWait(L"LogMaxRollover", L"10");
    EXPECT_EQ(m_trace->GetRolloverCount(), 10);
    ChangeAndWait(L"LogMaxRollover", L"1");
    EXPECT_EQ(m_trace->GetRolloverCount(), 2);
    for (const wchar_t* size : { L"1048576", L"-1" })
    {
        ChangeAndWait(L"LogSizeLimit", size);
        EXPECT_EQ(m_trace->GetSizeLimit(), 0x200000u) << "size " << veskon_test::Narrow(size);
    }
    ChangeAndWait(L"debug_msg_level", threshold == CDebugTrace::DEBUG_MSG_LEVEL_4 ? L"0" : L"4");
    EXPECT_EQ(m_trace->GetThreshold(), threshold) << "the threshold is read at setup only";
}

TEST_F(DebugTraceMonitor, BurstOfChangesIsAppliedOnceAfterItSettles)
{
    StartMonitor();
    int before = Reloads();
    // Changes closer together than the settling delay: the monitor waits for quiet, then reloads.
    CDebugTrace::s_monitorSettleDelay = 1500;
    for (int i = 3; i <= 7; ++i)
    {
        Set(L"LogMaxRollover", std::to_wstring(i).c_str());
        Sleep(100);
    }
    ASSERT_TRUE(PumpUntil([&] { return Reloads() > before; }, 10000));
    EXPECT_EQ(m_trace->GetRolloverCount(), 7);
    PumpUntil([] { return false; }, 2000);
    EXPECT_EQ(Reloads(), before + 1) << "a burst is one reload";
    CDebugTrace::s_monitorSettleDelay = 300;
    ChangeAndWait(L"LogMaxRollover", L"2"); // leave the singleton as it came
}

TEST_F(DebugTraceMonitor, UnintializeStopsTheThreadWhereverItWaits)
{
    // During the start delay: Unintialize waits for the delay's reload, then the thread ends.
    CDebugTrace::s_monitorStartDelay = 1500;
    int before = Reloads();
    m_trace->Initialize();
    m_trace->Unintialize();
    EXPECT_EQ(Reloads(), before + 1);
    EXPECT_TRUE(ThreadGone());

    CDebugTrace::s_monitorStartDelay = 100;
    StartMonitor();
    m_trace->Initialize();
    PumpUntil([] { return false; }, 300);
    EXPECT_EQ(ThreadCount(), m_baseThreads + 1) << "a second Initialize starts no second thread";
    m_trace->Unintialize();
    EXPECT_TRUE(ThreadGone());
    int rollover = m_trace->GetRolloverCount();
    Set(L"LogMaxRollover", L"6");
    PumpUntil([] { return false; }, 1000);
    EXPECT_EQ(m_trace->GetRolloverCount(), rollover) << "nobody listens any more";
    m_trace->Unintialize(); // a second stop is harmless
    EXPECT_EQ(ThreadCount(), m_baseThreads);
}

TEST_F(DebugTraceMonitor, DeletedOrMissingKeyStrandsOrEndsTheThreadHarmlessly)
{
    // Keep the whole key (other values and sub-keys too) to put back afterwards.
    veskon_test::ScratchRegistryKey backup;
    HKEY saved = nullptr;
    ASSERT_EQ(RegOpenKeyExW(backup.Root(), backup.Key(), 0, KEY_ALL_ACCESS, &saved), ERROR_SUCCESS);
    ASSERT_EQ(SHCopyKeyW(HKEY_LOCAL_MACHINE, kKey, saved, 0), ERROR_SUCCESS);
    struct Restore
    {
        HKEY saved;
        ~Restore()
        {
            SHDeleteKeyW(HKEY_LOCAL_MACHINE, kKey);
            HKEY key = nullptr;
            RegCreateKeyExW(HKEY_LOCAL_MACHINE, kKey, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr);
            SHCopyKeyW(saved, nullptr, key, 0);
            RegCloseKey(key);
            RegCloseKey(saved);
        }
    } restore{ saved };

    StartMonitor();
    int before = Reloads();
    ASSERT_EQ(SHDeleteKeyW(HKEY_LOCAL_MACHINE, kKey), ERROR_SUCCESS);
    // Windows reports the deletion as a change, and the dead key cannot be watched again; Wine does
    // not signal it and the thread goes on waiting. Either way tracing goes on and the thread stops.
    if (PumpUntil([&] { return Reloads() > before; }, 3000))
    {
        EXPECT_NE(TraceLogText().find("Unable to reregister the registry monitor"), std::string::npos);
    }
    EXPECT_TRUE(m_trace->Enabled());
    EXPECT_EQ(ThreadCount(), m_baseThreads + 1);
    m_trace->Unintialize();
    EXPECT_TRUE(ThreadGone());

    // Without the key the thread ends at once, without a trace line.
    before = Reloads();
    m_trace->Initialize();
    EXPECT_TRUE(ThreadGone());
    PumpUntil([] { return false; }, 300);
    EXPECT_EQ(TraceLogText().find("Failed to setup a registry monitor"), std::string::npos);
    EXPECT_EQ(Reloads(), before);
    m_trace->Unintialize();
}

TEST(DebugTraceConcurrency, ManyThreadsNeverProduceABrokenLine)
{
    CDebugTrace* trace = CDebugTrace::Instance();
    trace->Enable(true);
    veskon_test::DeleteTraceLogs();
    const int threads = 8, lines = 150;
    const std::string padding(300, 'x');
    std::vector<std::thread> workers;
    for (int t = 0; t < threads; ++t)
    {
        workers.emplace_back([=] {
            for (int i = 0; i < lines; ++i)
            {
                std::string text =
                    "concurrency-probe t=" + std::to_string(t) + " i=" + std::to_string(i) + " " + padding + " end";
                trace->OutputDebugStringW(CDebugTrace::DEBUG_MSG_LEVEL_4, veskon_test::Wide(text).c_str(),
                                          "ConcurrencyTest", i);
            }
        });
    }
    for (std::thread& w : workers)
        w.join();

    std::string log = TraceLogText();
    ASSERT_GE(log.size(), 2u);
    ASSERT_EQ(log.substr(log.size() - 2), "\r\n") << "the log ends inside a line";
    // <stamp> - ConcurrencyTest(<i>)<TAB><pid>(<tid>) - concurrency-probe t=<t> i=<i> xxx... end
    const std::regex whole("^.{20,} - ConcurrencyTest\\(([0-9]+)\\)\t" + std::to_string(GetCurrentProcessId()) +
                           "\\([0-9]+\\) *- concurrency-probe t=([0-9]) i=\\1 x{300} end$");
    int probes = 0;
    std::vector<int> lastIndex(threads, -1);
    for (size_t start = 0, end; (end = log.find("\r\n", start)) != std::string::npos; start = end + 2)
    {
        std::string line = log.substr(start, end - start);
        std::smatch match;
        if (line.find("concurrency-probe") == std::string::npos)
            continue;
        ++probes;
        ASSERT_TRUE(std::regex_match(line, match, whole)) << "a broken line: " << line;
        int t = std::stoi(match[2]), i = std::stoi(match[1]);
        EXPECT_GT(i, lastIndex[t]) << "lines of one thread keep their order";
        lastIndex[t] = i;
    }
    // Calls that meet a line being written are dropped by design, so not every probe arrives.
    EXPECT_GE(probes, 1);
}
