// The trace log's registry monitor: a running process picks up "debug_tracing" and
// "LogMaxRollover" after the settling delay, ignores "LogSizeLimit" (its range admits nothing) and
// "debug_msg_level"; Unintialize stops the thread wherever it waits; a missing or deleted key ends
// or strands the thread without harm. The monitor's delays are shortened; the product keeps 5 s.
// Also: trace calls from many threads at once never produce a broken line.
#include <gtest/gtest.h>
#include <windows.h>
#include <tlhelp32.h>
#include <shlwapi.h>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>
#include "frame/DebugTrace.h"
#include "frame/RegistryEx.h"
#include "support/TestSupport.h"

using veskon_test::PumpUntil;
using veskon_test::RegistryValueGuard;
using veskon_test::TraceLogText;

namespace
{
const wchar_t kKey[] = L"Software\\Veskon\\Win32_GUI_Support_DLL";
const char kReloadLine[] = "Registry notification for changes in logging";

wchar_t* KeyText()
{
    static wchar_t key[MAX_PATH];
    wcsncpy_s(key, MAX_PATH, kKey, _TRUNCATE);
    return key;
}

int Count(const std::string& text, const std::string& what)
{
    int n = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + what.size()))
        ++n;
    return n;
}

int Reloads()
{
    return Count(TraceLogText(), kReloadLine);
}

void SetString(const wchar_t* name, const wchar_t* text)
{
    ASSERT_TRUE(CRegistryEx::Set(HKEY_LOCAL_MACHINE, KeyText(), const_cast<wchar_t*>(name), const_cast<wchar_t*>(text)));
}

void SetDword(const wchar_t* name, unsigned long value)
{
    ASSERT_TRUE(CRegistryEx::Set(HKEY_LOCAL_MACHINE, KeyText(), const_cast<wchar_t*>(name), &value));
}

int ThreadCount()
{
    int n = 0;
    HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    if (snapshot == INVALID_HANDLE_VALUE)
        return -1;
    THREADENTRY32 entry = {};
    entry.dwSize = sizeof(entry);
    for (BOOL more = Thread32First(snapshot, &entry); more; more = Thread32Next(snapshot, &entry))
    {
        if (entry.th32OwnerProcessID == GetCurrentProcessId())
            ++n;
    }
    CloseHandle(snapshot);
    return n;
}

// Every value of the monitored key, to put back after a test deleted the key itself.
class KeyBackup
{
public:
    KeyBackup()
    {
        HKEY key = nullptr;
        if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kKey, 0, KEY_READ, &key) != ERROR_SUCCESS)
            return;
        m_existed = true;
        DWORD subkeys = 0;
        RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, &subkeys, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                         nullptr);
        m_hasSubkeys = subkeys > 0;
        for (DWORD i = 0;; ++i)
        {
            wchar_t name[16384];
            DWORD nameChars = 16384, type = 0, bytes = 0;
            if (RegEnumValueW(key, i, name, &nameChars, nullptr, &type, nullptr, &bytes) != ERROR_SUCCESS)
                break;
            Value value{ name, type, std::vector<BYTE>(bytes) };
            nameChars = 16384;
            RegEnumValueW(key, i, name, &nameChars, nullptr, &type, value.data.data(), &bytes);
            m_values.push_back(value);
        }
        RegCloseKey(key);
    }
    ~KeyBackup()
    {
        if (!m_existed)
        {
            SHDeleteKeyW(HKEY_LOCAL_MACHINE, kKey);
            return;
        }
        HKEY key = nullptr;
        if (RegCreateKeyExW(HKEY_LOCAL_MACHINE, kKey, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr) != ERROR_SUCCESS)
            return;
        for (const Value& v : m_values)
            RegSetValueExW(key, v.name.c_str(), 0, v.type, v.data.data(), static_cast<DWORD>(v.data.size()));
        RegCloseKey(key);
    }
    bool HasSubkeys() const { return m_hasSubkeys; }

private:
    struct Value
    {
        std::wstring name;
        DWORD type;
        std::vector<BYTE> data;
    };
    bool m_existed = false;
    bool m_hasSubkeys = false;
    std::vector<Value> m_values;
};

class DebugTraceMonitor : public ::testing::Test
{
protected:
    DebugTraceMonitor()
        : m_tracing(HKEY_LOCAL_MACHINE, kKey, L"debug_tracing"), m_rollover(HKEY_LOCAL_MACHINE, kKey, L"LogMaxRollover"),
          m_sizeLimit(HKEY_LOCAL_MACHINE, kKey, L"LogSizeLimit"), m_level(HKEY_LOCAL_MACHINE, kKey, L"debug_msg_level")
    {
    }

    void SetUp() override
    {
        m_startDelay = CDebugTrace::s_monitorStartDelay;
        m_settleDelay = CDebugTrace::s_monitorSettleDelay;
        CDebugTrace::s_monitorStartDelay = 100;
        CDebugTrace::s_monitorSettleDelay = 300;
        m_trace = CDebugTrace::Instance();
        m_trace->Enable(true);
        veskon_test::DeleteTraceLogs();
        // The monitor watches an existing key; "1" also keeps tracing on through every reload.
        SetString(L"debug_tracing", L"1");
        m_baseThreads = ThreadCount();
    }

    void TearDown() override
    {
        m_trace->Unintialize();
        CDebugTrace::s_monitorStartDelay = m_startDelay;
        CDebugTrace::s_monitorSettleDelay = m_settleDelay;
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
        SetString(name, text);
        ASSERT_TRUE(PumpUntil([&] { return Reloads() > before; }, 10000)) << "no reload after changing the value";
    }

    // Puts the rollover count back to its default while the monitor still listens, so that the
    // singleton leaves the test as it came (the guards then restore the registry).
    void BackToDefaults()
    {
        int before = Reloads();
        SetString(L"LogMaxRollover", L"2");
        ASSERT_TRUE(PumpUntil([&] { return Reloads() > before; }, 10000));
        EXPECT_EQ(m_trace->GetRolloverCount(), 2);
    }

    RegistryValueGuard m_tracing;
    RegistryValueGuard m_rollover;
    RegistryValueGuard m_sizeLimit;
    RegistryValueGuard m_level;
    CDebugTrace* m_trace = nullptr;
    DWORD m_startDelay = 0;
    DWORD m_settleDelay = 0;
    int m_baseThreads = 0;
};
}

TEST_F(DebugTraceMonitor, SwitchesTracingOffAndOnInARunningProcess)
{
    StartMonitor();

    SetDword(L"debug_tracing", 0);
    ASSERT_TRUE(PumpUntil([&] { return !m_trace->Enabled(); }, 10000));
    EXPECT_NE(TraceLogText().find("Reregistered the registry monitor successfully"), std::string::npos);
    m_trace->OutputDebugStringW(CDebugTrace::DEBUG_MSG_LEVEL_4, L"written while off", "MonitorTest", __LINE__);
    EXPECT_EQ(TraceLogText().find("written while off"), std::string::npos);

    int banners = Count(TraceLogText(), "Build date/time: ");
    SetString(L"debug_tracing", L"1");
    ASSERT_TRUE(PumpUntil([&] { return m_trace->Enabled(); }, 10000));
    // Switching on writes the banner again, and the reload says so.
    ASSERT_TRUE(PumpUntil([&] { return Count(TraceLogText(), "EnableLog = TRUE") > 1; }, 10000));
    EXPECT_EQ(Count(TraceLogText(), "Build date/time: "), banners + 1);
    m_trace->OutputDebugStringW(CDebugTrace::DEBUG_MSG_LEVEL_4, L"written while on", "MonitorTest", __LINE__);
    EXPECT_NE(TraceLogText().find("written while on"), std::string::npos);

    // A string "0" switches off as well as a DWORD 0.
    SetString(L"debug_tracing", L"0");
    ASSERT_TRUE(PumpUntil([&] { return !m_trace->Enabled(); }, 10000));
    SetString(L"debug_tracing", L"1");
    ASSERT_TRUE(PumpUntil([&] { return m_trace->Enabled(); }, 10000));
    BackToDefaults();
}

TEST_F(DebugTraceMonitor, TakesTheRolloverCountInRangeOnlyAndNeverTheSizeLimit)
{
    StartMonitor();
    ChangeAndWait(L"LogMaxRollover", L"5");
    EXPECT_EQ(m_trace->GetRolloverCount(), 5);
    EXPECT_NE(TraceLogText().find("Log Size = [2097152], Log Rollover Count = [5], EnableLog = TRUE"), std::string::npos);

    ChangeAndWait(L"LogMaxRollover", L"50");
    EXPECT_EQ(m_trace->GetRolloverCount(), 2);
    ChangeAndWait(L"LogMaxRollover", L"10");
    EXPECT_EQ(m_trace->GetRolloverCount(), 10);
    ChangeAndWait(L"LogMaxRollover", L"1");
    EXPECT_EQ(m_trace->GetRolloverCount(), 2);

    for (const wchar_t* size : { L"1048576", L"3000000", L"-1" })
    {
        ChangeAndWait(L"LogSizeLimit", size);
        EXPECT_EQ(m_trace->GetSizeLimit(), 0x200000u) << size;
    }
    BackToDefaults();
}

TEST_F(DebugTraceMonitor, DoesNotReloadTheThreshold)
{
    CDebugTrace::DEBUG_MSG_LEVEL before = m_trace->GetThreshold();
    StartMonitor();
    ChangeAndWait(L"debug_msg_level", before == CDebugTrace::DEBUG_MSG_LEVEL_4 ? L"0" : L"4");
    EXPECT_EQ(m_trace->GetThreshold(), before);
    BackToDefaults();
}

TEST_F(DebugTraceMonitor, BurstOfChangesIsAppliedOnceAfterItSettles)
{
    StartMonitor();
    int before = Reloads();
    // Changes closer together than the settling delay: the monitor waits for quiet, then reloads.
    CDebugTrace::s_monitorSettleDelay = 1500;
    for (int i = 3; i <= 7; ++i)
    {
        SetString(L"LogMaxRollover", std::to_wstring(i).c_str());
        Sleep(100);
    }
    ASSERT_TRUE(PumpUntil([&] { return Reloads() > before; }, 10000));
    EXPECT_EQ(m_trace->GetRolloverCount(), 7);
    EXPECT_GE(Count(TraceLogText(), "Reregistered the registry monitor successfully"), 1);
    PumpUntil([] { return false; }, 2000);
    EXPECT_EQ(Reloads(), before + 1) << "a burst is one reload";
    CDebugTrace::s_monitorSettleDelay = 300;
    BackToDefaults();
}

TEST_F(DebugTraceMonitor, UnintializeStopsTheThreadWhileItWaits)
{
    StartMonitor();
    ASSERT_TRUE(PumpUntil([&] { return ThreadCount() == m_baseThreads + 1; }, 5000));
    m_trace->Unintialize();
    EXPECT_TRUE(PumpUntil([&] { return ThreadCount() == m_baseThreads; }, 5000));

    // Nobody listens any more.
    int rollover = m_trace->GetRolloverCount();
    SetString(L"LogMaxRollover", L"6");
    PumpUntil([] { return false; }, 1000);
    EXPECT_EQ(m_trace->GetRolloverCount(), rollover);

    m_trace->Unintialize(); // a second stop is harmless
    EXPECT_EQ(ThreadCount(), m_baseThreads);
}

TEST_F(DebugTraceMonitor, UnintializeDuringTheStartDelayReloadsOnceAndEnds)
{
    CDebugTrace::s_monitorStartDelay = 1500;
    int before = Reloads();
    m_trace->Initialize();
    m_trace->Unintialize();
    EXPECT_EQ(Reloads(), before + 1);
    EXPECT_TRUE(PumpUntil([&] { return ThreadCount() == m_baseThreads; }, 5000));
}

TEST_F(DebugTraceMonitor, SecondInitializeStartsNoSecondThread)
{
    StartMonitor();
    m_trace->Initialize();
    PumpUntil([] { return false; }, 300);
    EXPECT_EQ(ThreadCount(), m_baseThreads + 1);
    m_trace->Unintialize();
    EXPECT_TRUE(PumpUntil([&] { return ThreadCount() == m_baseThreads; }, 5000));
}

TEST_F(DebugTraceMonitor, MissingKeyEndsTheThreadWithoutATraceLine)
{
    KeyBackup backup;
    if (backup.HasSubkeys())
        GTEST_SKIP() << "the library's key has sub-keys on this machine; not deleting it";
    ASSERT_EQ(SHDeleteKeyW(HKEY_LOCAL_MACHINE, kKey), ERROR_SUCCESS);
    m_trace->Initialize();
    EXPECT_TRUE(PumpUntil([&] { return ThreadCount() == m_baseThreads; }, 5000));
    PumpUntil([] { return false; }, 300);
    EXPECT_EQ(TraceLogText().find("Failed to setup a registry monitor"), std::string::npos);
    EXPECT_EQ(Reloads(), 0);
    m_trace->Unintialize();
}

TEST_F(DebugTraceMonitor, KeyDeletedWhileWatchedLeavesTheThreadStoppable)
{
    KeyBackup backup;
    if (backup.HasSubkeys())
        GTEST_SKIP() << "the library's key has sub-keys on this machine; not deleting it";
    StartMonitor();
    SetString(L"LogMaxRollover", L"4");
    ASSERT_TRUE(PumpUntil([&] { return m_trace->GetRolloverCount() == 4; }, 10000));
    int before = Reloads();

    ASSERT_EQ(SHDeleteKeyW(HKEY_LOCAL_MACHINE, kKey), ERROR_SUCCESS);
    if (PumpUntil([&] { return Reloads() > before; }, 3000))
    {
        // Windows reports the deletion as a change: the dead key cannot be watched again, the
        // monitor says so and reloads the defaults of the values that went with it.
        EXPECT_NE(TraceLogText().find("Unable to reregister the registry monitor"), std::string::npos);
        EXPECT_EQ(m_trace->GetRolloverCount(), 2);
    }
    else
    {
        // Wine does not signal a watched key's deletion: the thread goes on waiting, unharmed.
        EXPECT_EQ(m_trace->GetRolloverCount(), 4);
    }
    EXPECT_TRUE(m_trace->Enabled());
    EXPECT_EQ(ThreadCount(), m_baseThreads + 1);

    m_trace->Unintialize();
    EXPECT_TRUE(PumpUntil([&] { return ThreadCount() == m_baseThreads; }, 5000));
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
                std::string text = "concurrency-probe t=" + std::to_string(t) + " i=" + std::to_string(i) + " " + padding + " end";
                std::wstring wide(text.begin(), text.end());
                trace->OutputDebugStringW(CDebugTrace::DEBUG_MSG_LEVEL_4, wide.c_str(), "ConcurrencyTest", i);
            }
        });
    }
    for (std::thread& w : workers)
        w.join();

    std::string log = TraceLogText();
    ASSERT_FALSE(log.empty());
    ASSERT_EQ(log.substr(log.size() - 2), "\r\n");
    int probes = 0;
    std::vector<int> lastIndex(threads, -1);
    size_t start = 0;
    while (start < log.size())
    {
        size_t end = log.find("\r\n", start);
        ASSERT_NE(end, std::string::npos) << "the log ends inside a line";
        std::string line = log.substr(start, end - start);
        start = end + 2;
        if (line.find("concurrency-probe") == std::string::npos)
            continue;
        ++probes;
        ASSERT_EQ(Count(line, "concurrency-probe"), 1) << line;
        ASSERT_EQ(line.find('\r'), std::string::npos) << line;
        ASSERT_EQ(line.find('\n'), std::string::npos) << line;
        // <stamp> - ConcurrencyTest(<i>)<TAB><pid>(<tid>) - concurrency-probe t=<t> i=<i> xxx... end
        int t = -1, i = -1;
        size_t text = line.find(" - concurrency-probe t=");
        ASSERT_NE(text, std::string::npos) << line;
        ASSERT_EQ(sscanf(line.c_str() + text, " - concurrency-probe t=%d i=%d", &t, &i), 2) << line;
        ASSERT_TRUE(t >= 0 && t < threads && i >= 0 && i < lines) << line;
        std::string expected = " - concurrency-probe t=" + std::to_string(t) + " i=" + std::to_string(i) + " " + padding + " end";
        EXPECT_EQ(line.substr(text), expected);
        std::string origin = "ConcurrencyTest(" + std::to_string(i) + ")\t" + std::to_string(GetCurrentProcessId()) + "(";
        EXPECT_NE(line.find(origin), std::string::npos) << line;
        EXPECT_GT(i, lastIndex[t]) << "lines of one thread keep their order";
        lastIndex[t] = i;
    }
    // Calls that meet a line being written are dropped by design, so not every probe arrives.
    EXPECT_GE(probes, 1);
    EXPECT_LE(probes, threads * lines);
}
