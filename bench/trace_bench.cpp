// Cost of one trace line against the floor the log's design imposes: every line opens the log,
// seeks to its end, writes and closes it. The floor does exactly that with the same Win32 calls
// and the same bytes; the ratio is what the trace adds (formatting, conversion, lock, rollover
// check). Also the cost of a call dropped by the level threshold.
#include "BenchSupport.h"
#include "VeskonWin32GUISupportDLL.h"
#include <string>

namespace
{
wchar_t kKey[] = L"Software\\Veskon\\Win32_GUI_Support_DLL";
wchar_t kLevel[] = L"debug_msg_level";
}

int main()
{
    std::wstring scratch = bench::UseScratchTemp(L"veskon_trace_bench");
    const int rounds = 11, lines = 200;
    const wchar_t* text = L"benchmark line: the quick brown fox jumps over the lazy dog 0123456789";

    // Threshold 0 for the written lines.
    wchar_t saved[64] = {};
    bool hadLevel = CRegistryEx::Get(HKEY_LOCAL_MACHINE, kKey, kLevel, saved, 64);
    CRegistryEx::Set(HKEY_LOCAL_MACHINE, kKey, kLevel, 0);
    CDebugTrace* trace = CDebugTrace::Instance();
    trace->OutputDebugStringW(CDebugTrace::DEBUG_MSG_LEVEL_4, text, "trace_bench", __LINE__);

    // The bytes one line puts on disk, taken from the log itself.
    std::wstring log = trace->GetLogFilename();
    HANDLE probe = CreateFileW(log.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr);
    DWORD logBytes = GetFileSize(probe, nullptr);
    std::string lastLine(static_cast<size_t>(logBytes), '\0');
    DWORD read = 0;
    ReadFile(probe, &lastLine[0], logBytes, &read, nullptr);
    CloseHandle(probe);
    size_t start = lastLine.rfind("\r\n", lastLine.size() - 3);
    lastLine = lastLine.substr(start == std::string::npos ? 0 : start + 2);

    std::wstring floorFile = scratch + L"\\floor.log";
    auto floorLine = [&](int) {
        HANDLE f = CreateFileW(floorFile.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_ALWAYS,
                               FILE_ATTRIBUTE_NORMAL, nullptr);
        SetFilePointer(f, 0, nullptr, FILE_END);
        DWORD written = 0;
        WriteFile(f, lastLine.data(), static_cast<DWORD>(lastLine.size()), &written, nullptr);
        CloseHandle(f);
    };
    // Parts of a written line on their own: the rollover check by name (RollOverFile), and the
    // append through the file object with its rollover (what the trace does).
    wchar_t* logPath = const_cast<wchar_t*>(log.c_str());
    wchar_t backupSuffix[] = L"_backup";
    auto rolloverCheck = [&](int) { CFileIO::RollOverFile(logPath, backupSuffix, 0x200000, true, 2); };
    auto fileObjectAppend = [&](int) {
        CFileIO file(logPath, FILE_ATTRIBUTE_NORMAL, FILE_SHARE_READ | FILE_SHARE_WRITE);
        if (file.OpenAppendRolled(backupSuffix, 0x200000, 2))
        {
            file.Write(&lastLine[0], static_cast<__int64>(lastLine.size()));
            file.Close();
        }
    };
    auto traceLine = [&](int) { trace->OutputDebugStringW(CDebugTrace::DEBUG_MSG_LEVEL_2, text, "trace_bench", __LINE__); };
    // Floor and trace alternate round by round, so that whatever else the machine does weighs on
    // both alike; the figure is the median of the per-round ratios.
    std::vector<double> ratios, floors, writes, checks, appends;
    for (int r = 0; r < rounds; ++r)
    {
        double f = bench::PerIteration(1, lines, floorLine);
        double w = bench::PerIteration(1, lines, traceLine);
        checks.push_back(bench::PerIteration(1, lines, rolloverCheck) / f);
        appends.push_back(bench::PerIteration(1, lines, fileObjectAppend) / f);
        floors.push_back(f);
        writes.push_back(w);
        ratios.push_back(w / f);
    }
    std::sort(ratios.begin(), ratios.end());
    std::sort(floors.begin(), floors.end());
    std::sort(writes.begin(), writes.end());
    std::sort(checks.begin(), checks.end());
    std::sort(appends.begin(), appends.end());
    double floor = floors[rounds / 2], written = writes[rounds / 2], ratio = ratios[rounds / 2];

    // Threshold 4 (read at set-up), so level-0 calls are dropped.
    CRegistryEx::Set(HKEY_LOCAL_MACHINE, kKey, kLevel, 4);
    delete CDebugTrace::Instance();
    trace = CDebugTrace::Instance();
    double dropped = bench::PerIteration(rounds, 200000, [&](int) {
        trace->OutputDebugStringW(CDebugTrace::DEBUG_MSG_LEVEL_0, text, "trace_bench", __LINE__);
    });

    printf("trace_bench (%d-bit), %u bytes per line, median of %d rounds\n", static_cast<int>(sizeof(void*) * 8),
           static_cast<unsigned>(lastLine.size()), rounds);
    printf("  floor (open, seek end, write, close): %8.2f us per line\n", floor * 1e6);
    printf("  written trace line:                   %8.2f us per line\n", written * 1e6);
    printf("  ratio, median of the rounds:          %8.2fx the floor (target <= 1.5x)\n", ratio);
    printf("  RollOverFile by name alone:            %8.2fx the floor\n", checks[rounds / 2]);
    printf("  file-object append with rollover:      %8.2fx the floor\n", appends[rounds / 2]);
    printf("  call dropped by the threshold:        %8.1f ns per call (target < 100 ns)\n", dropped * 1e9);

    if (hadLevel)
        CRegistryEx::Set(HKEY_LOCAL_MACHINE, kKey, kLevel, saved);
    else
        CRegistryEx::DeleteValue(HKEY_LOCAL_MACHINE, kKey, kLevel);
    delete CKVRN_DllMain::Instance();
    veskon_common::RemoveFolderTree(scratch);
    return 0;
}
