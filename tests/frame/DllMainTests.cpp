#include <gtest/gtest.h>
#include "support/TestSupport.h"
#include "frame/DebugTrace.h"
#include "frame/KVRN_DllMain.h"
#include <string>

using namespace veskon_test;

namespace
{
// Child: compares the frame's application file name and name with VESKON_EXPECT_FILE and
// VESKON_EXPECT_NAME; exit 0 when both match, 1 otherwise.
std::wstring Env(const wchar_t* name)
{
    wchar_t value[1024] = {};
    GetEnvironmentVariableW(name, value, 1024);
    return value;
}
}

VESKON_CHILD(ApplicationNames)
{
    CKVRN_DllMain* frame = CKVRN_DllMain::Instance();
    wchar_t file[MAX_PATH] = {};
    wchar_t name[MAX_PATH] = {};
    frame->GetApplicationFilename(file, MAX_PATH);
    frame->GetAppName(name, MAX_PATH);
    return (Env(L"VESKON_EXPECT_FILE") == file && Env(L"VESKON_EXPECT_NAME") == name) ? 0 : 1;
}

VESKON_CHILD(LoadOnly)
{
    return CKVRN_DllMain::Instance() ? 0 : 1;
}

namespace
{
DWORD RunWithCommandLine(const std::wstring& line, const std::wstring& expectFile, const std::wstring& expectName)
{
    SetEnvironmentVariableW(L"VESKON_EXPECT_FILE", expectFile.c_str());
    SetEnvironmentVariableW(L"VESKON_EXPECT_NAME", expectName.c_str());
    DWORD code = RunChildWithCommandLine("ApplicationNames", line);
    SetEnvironmentVariableW(L"VESKON_EXPECT_FILE", nullptr);
    SetEnvironmentVariableW(L"VESKON_EXPECT_NAME", nullptr);
    return code;
}

std::wstring ProgramName()
{
    std::wstring path = ThisProgram();
    return path.substr(path.find_last_of(L"\\/") + 1);
}
}

TEST(CKVRN_DllMain, ApplicationFilenameIsTheFirstTokenOfTheCommandLine)
{
    EXPECT_EQ(0u, RunWithCommandLine(L"\"C:\\Program Files\\App\\app.exe\" /x", L"C:\\Program Files\\App\\app.exe", L""));
    EXPECT_EQ(0u, RunWithCommandLine(L"app.exe /x", L"app.exe", L""));
    EXPECT_EQ(0u, RunWithCommandLine(L"oneword", L"oneword", L""));
    EXPECT_EQ(0u, RunWithCommandLine(L"'unterminated", L"unterminated", L""));
    EXPECT_EQ(0u, RunWithCommandLine(L"'C:\\x y\\z.exe' /a", L"C:\\x y\\z.exe", L""));
    // An existing file also gives the name as the file system spells it.
    EXPECT_EQ(0u, RunWithCommandLine(L"\"" + ThisProgram() + L"\" --flag", ThisProgram(), ProgramName()));
}

TEST(CKVRN_DllMain, OverlongCommandLinesStopTheProcess)
{
    // 1023 characters fit the 1024-character copy with its terminator; 1024 do not.
    std::wstring head = L"\"" + ThisProgram() + L"\" ";
    std::wstring fits = head + std::wstring(1023 - head.size(), L'x');
    std::wstring overlong = head + std::wstring(1024 - head.size(), L'x');
    ASSERT_EQ(1023u, fits.size());
    EXPECT_EQ(0u, RunChildWithCommandLine("LoadOnly", fits));
    DWORD code = RunChildWithCommandLine("LoadOnly", overlong);
    EXPECT_NE(0u, code);
    EXPECT_NE(static_cast<DWORD>(-1), code) << "the child did not start";
}

TEST(CKVRN_DllMain, OverlongApplicationFilenameStopsTheProcess)
{
    std::wstring name259 = L"C:\\" + std::wstring(252, L'a') + L".exe";
    std::wstring name260 = L"C:\\" + std::wstring(253, L'a') + L".exe";
    ASSERT_EQ(259u, name259.size());
    EXPECT_EQ(0u, RunChildWithCommandLine("LoadOnly", L"\"" + name259 + L"\" /x"));
    EXPECT_NE(0u, RunChildWithCommandLine("LoadOnly", L"\"" + name260 + L"\" /x"));
    EXPECT_NE(0u, RunChildWithCommandLine("LoadOnly", name260));
}

TEST(CKVRN_DllMain, GettersIgnoreUnusableBuffers)
{
    CKVRN_DllMain* frame = CKVRN_DllMain::Instance();
    EXPECT_EQ(nullptr, frame->GetAppName(nullptr, 10));
    wchar_t buf[8] = L"keep";
    EXPECT_EQ(buf, frame->GetAppName(buf, 0));
    EXPECT_EQ(buf, frame->GetModuleFilename(buf, -1));
    EXPECT_STREQ(L"keep", buf);

    wchar_t module[MAX_PATH] = {};
    frame->GetModuleFilename(module, MAX_PATH);
    std::wstring path(module);
    EXPECT_NE(std::wstring::npos, path.find(L"VeskonWin32GUISupportDLL.dll"));
    wchar_t folder[MAX_PATH] = {};
    frame->GetApplicationFolder(folder, MAX_PATH);
    EXPECT_EQ(path.substr(0, path.find_last_of(L'\\')), folder);
    // A small buffer gets a terminated prefix.
    wchar_t small[5];
    frame->GetModuleFilename(small, 5);
    EXPECT_EQ(4u, wcslen(small));
}

namespace
{
// An in-memory dialog template: a plain modeless dialog with one button.
struct DialogTemplate
{
    DLGTEMPLATE dlg;
    WORD menu, cls, title;
    DLGITEMTEMPLATE item;
    WORD itemClass[2];
    WORD itemTitle, itemData;
};

INT_PTR CALLBACK PlainDialogProc(HWND, UINT, WPARAM, LPARAM)
{
    return FALSE;
}

HWND MakeDialog()
{
    alignas(4) DialogTemplate t = {};
    t.dlg.style = WS_POPUP | WS_VISIBLE | WS_CAPTION | DS_MODALFRAME;
    t.dlg.cdit = 1;
    t.dlg.cx = 100;
    t.dlg.cy = 50;
    t.item.style = WS_CHILD | WS_VISIBLE | WS_TABSTOP | BS_PUSHBUTTON;
    t.item.x = 10;
    t.item.y = 10;
    t.item.cx = 40;
    t.item.cy = 14;
    t.item.id = IDOK;
    t.itemClass[0] = 0xFFFF;
    t.itemClass[1] = 0x0080;
    return CreateDialogIndirectParamW(GetModuleHandleW(nullptr), &t.dlg, nullptr, PlainDialogProc, 0);
}

MSG KeyFor(HWND hwnd)
{
    MSG msg = {};
    msg.hwnd = hwnd;
    msg.message = WM_KEYDOWN;
    msg.wParam = VK_TAB;
    return msg;
}
}

TEST(CKVRN_DllMain, IsDlgMsgServesOnlyTheForegroundDialog)
{
    CKVRN_DllMain* frame = CKVRN_DllMain::Instance();
    HWND first = MakeDialog();
    HWND second = MakeDialog();
    ASSERT_TRUE(first && second) << "CreateDialogIndirectParamW: error " << GetLastError();
    frame->AddDlgToDlgList(first);
    frame->AddDlgToDlgList(second);

    SetForegroundWindow(first);
    PumpUntil([&] { return GetForegroundWindow() == first; }, 2000);
    ASSERT_EQ(first, GetForegroundWindow());
    MSG forFirst = KeyFor(first);
    EXPECT_TRUE(frame->IsDlgMsg(forFirst));

    SetForegroundWindow(second);
    PumpUntil([&] { return GetForegroundWindow() == second; }, 2000);
    ASSERT_EQ(second, GetForegroundWindow());
    MSG again = KeyFor(first);
    EXPECT_FALSE(frame->IsDlgMsg(again)) << "a background dialog must not take the message";

    // Removing is deliberately a no-op; a destroyed dialog still listed never takes a message.
    frame->RemoveFromDlgList(second);
    DestroyWindow(second);
    DestroyWindow(first);
    MSG stale = KeyFor(first);
    EXPECT_FALSE(frame->IsDlgMsg(stale));
}

TEST(CKVRN_DllMain, UnloadUnregistersFlaggedClassesAndStartsAfresh)
{
    CKVRN_DllMain* frame = CKVRN_DllMain::Instance();
    HINSTANCE module = frame->GethInstance();
    ASSERT_NE(nullptr, module);
    WNDCLASSEXW wc = {};
    wc.cbSize = sizeof(wc);
    wc.lpfnWndProc = DefWindowProcW;
    wc.hInstance = module;
    wc.lpszClassName = L"Veskon Advisory";
    ASSERT_NE(0, RegisterClassExW(&wc));
    CKVRN_DllMain::s_advisoryClassRegistered = true;
    wc.lpszClassName = L"ButtonWindow";
    ASSERT_NE(0, RegisterClassExW(&wc)); // registered, but its flag is not set: it must stay

    delete frame;
    WNDCLASSEXW info = { sizeof(info) };
    EXPECT_FALSE(GetClassInfoExW(module, L"Veskon Advisory", &info));
    EXPECT_FALSE(CKVRN_DllMain::s_advisoryClassRegistered);
    EXPECT_TRUE(GetClassInfoExW(module, L"ButtonWindow", &info));
    UnregisterClassW(L"ButtonWindow", module);

    std::string log = TraceLogText();
    EXPECT_NE(std::string::npos, log.find("CKVRN_DllMain::Unload()"));
    // The next use builds and loads a fresh frame, which writes its load lines again.
    size_t before = log.size();
    CKVRN_DllMain* fresh = CKVRN_DllMain::Instance();
    ASSERT_NE(nullptr, fresh);
    std::string after = TraceLogText().substr(before);
    EXPECT_NE(std::string::npos, after.find("Veskon Win32 GUI Support Library:\"" + Narrow(
                                                [] {
                                                    std::wstring p = ThisProgram();
                                                    return p.substr(p.find_last_of(L"\\/") + 1);
                                                }()) + "\""));
}
