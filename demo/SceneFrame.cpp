// Scenes of the library's frame, trace log and file toolbox.
#include "DemoScene.h"
#include "DemoLog.h"
#include "VeskonWin32GUISupportDLL.h"
#include <commctrl.h>
#include <string>
#include <vector>

namespace
{
std::wstring Text(wchar_t* (CKVRN_DllMain::*getter)(wchar_t*, int))
{
    wchar_t buf[MAX_PATH] = {};
    (CKVRN_DllMain::Instance()->*getter)(buf, MAX_PATH);
    return buf;
}

std::wstring FileLine(const std::wstring& path)
{
    wchar_t name[MAX_PATH] = {};
    CFileIO::GetFilename(const_cast<wchar_t*>(path.c_str()), name, MAX_PATH);
    __int64 size = CFileIO::GetFileSize(const_cast<wchar_t*>(path.c_str()));
    return std::wstring(name) + L"  " + std::to_wstring(size) + L" bytes";
}
}

VESKON_DEMO_SCENE(100, FrameNamesAndFolders)
{
    ctx.Caption(L"Library frame: module, application and folders");
    CKVRN_DllMain* frame = CKVRN_DllMain::Instance();
    std::wstring module = Text(&CKVRN_DllMain::GetModuleFilename);
    std::wstring app = Text(&CKVRN_DllMain::GetAppName);
    std::wstring appFile = Text(&CKVRN_DllMain::GetApplicationFilename);
    std::wstring folder = Text(&CKVRN_DllMain::GetApplicationFolder);
    wchar_t logs[MAX_PATH] = {};
    wcsncpy_s(logs, MAX_PATH, CDebugTrace::Instance()->GetLogFolder(), _TRUNCATE);
    ctx.ShowPanel(L"CKVRN_DllMain::Instance()", {
        L"module handle        " + std::to_wstring(reinterpret_cast<UINT_PTR>(frame->GethInstance())),
        L"module filename      " + module,
        L"library folder       " + folder,
        L"application file     " + appFile,
        L"application name     " + app,
        L"trace log folder     " + std::wstring(logs),
        L"trace log file       " + std::wstring(CDebugTrace::Instance()->GetLogFilename()),
    });
    ctx.Check(module.size() > 28 && module.substr(module.size() - 28) == L"VeskonWin32GUISupportDLL.dll",
              L"module file name is the library's own");
    ctx.Check(app == L"VeskonDemo.exe", L"application name as the file system spells it: " + app);
    ctx.Check(folder + L"\\VeskonWin32GUISupportDLL.dll" == module, L"library folder is the module's folder");
    ctx.Screenshot(L"frame_names");
}

VESKON_DEMO_SCENE(110, TraceLinesReadBack)
{
    ctx.Caption(L"Debug trace: lines written, then read back from the log");
    CDebugTrace* trace = CDebugTrace::Instance();
    trace->OutputDebugStringW(CDebugTrace::DEBUG_MSG_LEVEL_4, L"Demo: a level-4 line (always written)", "SceneFrame", __LINE__);
    trace->OutputDebugStringW(CDebugTrace::DEBUG_MSG_LEVEL_0, L"Demo: a level-0 detail line", "SceneFrame", __LINE__);
    wchar_t prefix[] = L"Demo message:";
    trace->WindowsMessage(prefix, ctx.Backdrop(), WM_SETTINGCHANGE, 0, 0);
    NMHDR header = {};
    header.code = static_cast<UINT>(LVN_ITEMCHANGED);
    trace->WindowsMessage(prefix, ctx.Backdrop(), WM_NOTIFY, 0, reinterpret_cast<LPARAM>(&header));
    std::vector<std::wstring> tail = LogTail(6);
    ctx.ShowPanel(L"Last lines of " + std::wstring(trace->GetLogFilename()), tail);
    std::wstring all;
    for (const std::wstring& line : tail)
        all += line + L"\n";
    ctx.Check(all.find(L"Demo: a level-4 line") != std::wstring::npos, L"level-4 line found in the log");
    ctx.Check(all.find(L"wMsg:WM_WININICHANGE (26 dec, 001A hex)") != std::wstring::npos,
              L"message 26 decoded with its first name, WM_WININICHANGE");
    ctx.Check(all.find(L"notify: LVN_ITEMCHANGED (-101 dec") != std::wstring::npos, L"list-view notification decoded");
    ctx.Screenshot(L"trace_read_back");
}

VESKON_DEMO_SCENE(120, PathHelpers)
{
    ctx.Caption(L"File toolbox: path helpers and their quirks");
    auto call = [](wchar_t* (*helper)(wchar_t*, wchar_t*, int), const wchar_t* in) {
        std::wstring copy(in);
        wchar_t out[MAX_PATH] = {};
        helper(&copy[0], out, MAX_PATH);
        return std::wstring(out);
    };
    wchar_t folder[] = L"C:\\a\\", name[] = L"\\b.txt", combined[MAX_PATH] = {};
    CFileIO::CombinePath(folder, name, combined, MAX_PATH);
    wchar_t strip[] = L"C:\\my.dir\\file";
    CFileIO::StripExtension(strip);
    wchar_t* (*fileName)(wchar_t*, wchar_t*, int) = &CFileIO::GetFilename;
    std::wstring scratch = ctx.ScratchFolder() + L"\\unique";
    wchar_t ext[] = L"png", first[MAX_PATH] = {}, second[MAX_PATH] = {};
    CFileIO::MakeUniqueFilename(&scratch[0], first, ext, MAX_PATH);
    CFileIO::MakeUniqueFilename(&scratch[0], second, ext, MAX_PATH);
    wchar_t number[32] = {};
    std::vector<std::wstring> lines = {
        L"CombinePath(\"C:\\a\\\", \"\\b.txt\")        = " + std::wstring(combined),
        L"GetFolder(\"file.txt\")                   = \"" + call(&CFileIO::GetFolder, L"file.txt") + L"\"",
        L"GetFilename(\"C:\\x\\y.txt\\\"\")            = " + call(fileName, L"C:\\x\\y.txt\""),
        L"GetExtension(\"C:\\a.tar.gz\")            = " + call(&CFileIO::GetExtension, L"C:\\a.tar.gz"),
        L"StripExtension(\"C:\\my.dir\\file\")       = " + std::wstring(strip) + L"   (cut at the last dot, wherever it is)",
        L"DecodeDelimitedPath(\"'C:\\a\\\"\")         = " + call(&CFileIO::DecodeDelimitedPath, L"'C:\\a\""),
        L"EncodeDelimitedPath(\"\\\"C:\\a\\\"\")       = " + call(&CFileIO::EncodeDelimitedPath, L"\"C:\\a\"") + L"   (never quoted twice)",
        L"FormatNumber(42)                         = " + std::wstring(CFileIO::FormatNumber(42, number, 32)),
        L"MakeUniqueFilename twice                 = " + std::wstring(first).substr(scratch.size() + 1) + L", " +
            std::wstring(second).substr(scratch.size() + 1),
    };
    ctx.ShowPanel(L"CFileIO static helpers", lines);
    ctx.Check(std::wstring(combined) == L"C:\\a\\b.txt", L"one separator between folder and name");
    ctx.Check(std::wstring(strip) == L"C:\\my", L"StripExtension cuts inside the folder name, as defined");
    ctx.Check(wcscmp(first, second) != 0, L"two unique names in a row differ");
    ctx.Screenshot(L"path_helpers");
}

VESKON_DEMO_SCENE(130, LogRollover)
{
    ctx.Caption(L"File rollover: a log past its limit keeps numbered backups");
    std::wstring folder = ctx.ScratchFolder() + L"\\rollover";
    CFileIO::CreateFolder(&folder[0]);
    std::wstring log = folder + L"\\service.log";
    wchar_t suffix[] = L"_backup";
    std::vector<std::wstring> lines;
    for (int round = 1; round <= 4; ++round)
    {
        CFileIO file(&log[0]);
        file.OpenAppend();
        std::string text;
        for (int i = 0; i < 80; ++i)
            text += "round " + std::to_string(round) + " line " + std::to_string(i) + "\r\n";
        file.Write(&text[0], static_cast<__int64>(text.size()));
        file.Close();
        // Limit 1000 bytes, three backups kept.
        CFileIO::RollOverFile(&log[0], suffix, 1000, true, 3);
        lines.push_back(L"after round " + std::to_wstring(round) + L":");
        CFileList list;
        list.AddFileSpec(L"*.log");
        int count = list.FindFiles(folder.c_str());
        for (int i = 0; i < count; ++i)
            lines.push_back(L"    " + FileLine(list.GetFile(i)));
    }
    std::wstring b3 = folder + L"\\service_backup_3.log", b4 = folder + L"\\service_backup_4.log";
    ctx.Check(CFileIO::FileExists(&b3[0]), L"three backups exist after four rollovers");
    ctx.Check(!CFileIO::FileExists(&b4[0]), L"no fourth backup: the oldest was replaced");
    std::string newest = ReadAll(folder + L"\\service_backup_1.log");
    ctx.Check(newest.find("round 4") != std::string::npos, L"backup 1 holds the newest rolled contents");

    // Trim a text file to its tail on whole lines.
    std::wstring text = folder + L"\\rotate.txt";
    {
        CFileIO file(&text[0]);
        file.OpenWrite();
        std::string body;
        for (int i = 0; i < 60; ++i)
            body += "entry " + std::to_string(i) + "\r\n";
        file.Write(&body[0], static_cast<__int64>(body.size()));
        file.Close();
    }
    CFileIO::RotateFile(&text[0], 200, true);
    std::string kept = ReadAll(text);
    lines.push_back(L"RotateFile(limit 200, whole lines) kept " + std::to_wstring(kept.size()) + L" bytes, first line \"" +
                    FromAnsi(kept.substr(0, kept.find("\r\n"))) + L"\"");
    ctx.Check(kept.size() <= 160 && kept.rfind("entry ", 0) == 0, L"rotation keeps at most 80 per cent, from a line start");
    ctx.ShowPanel(L"CFileIO::RollOverFile(..., \"_backup\", 1000, true, 3) after each of four writes", lines);
    ctx.Screenshot(L"log_rollover");
}
