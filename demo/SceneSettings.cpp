// Scenes of the registry settings: tracing switched off and on through the registry while the
// demo runs, the modeless message window, and the language chosen by the registry override
// (English, then German) for the library's texts and dialog.
#include "DemoScene.h"
#include "DemoLog.h"
#include "RegistryValueGuard.h"
#include "VeskonWin32GUISupportDLL.h"
#include <string>
#include <vector>

namespace
{
wchar_t kMachineKey[] = L"Software\\Veskon\\Win32_GUI_Support_DLL";
wchar_t kUserKey[] = L"Software\\Veskon\\Tellvane\\DesktopUI";


const char kReloadLine[] = "Registry notification for changes in logging";

size_t CountOf(const std::string& text, const char* what)
{
    size_t n = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
        ++n;
    return n;
}

template <typename Done> bool WaitFor(DemoContext& ctx, Done done, int ms)
{
    for (int waited = 0; waited < ms; waited += 100)
    {
        if (done())
            return true;
        ctx.Pump(100);
    }
    return done();
}

bool TracingOff()
{
    return !CDebugTrace::Instance()->Enabled();
}

bool TracingOn()
{
    return CDebugTrace::Instance()->Enabled();
}

void Trace(const wchar_t* text)
{
    CDebugTrace::Instance()->OutputDebugStringW(CDebugTrace::DEBUG_MSG_LEVEL_4, text, "SceneSettings", __LINE__);
}

std::wstring LoadText(int id)
{
    wchar_t text[1024] = {};
    CLocalize::Instance()->GetString(id, text, 1024);
    return text;
}

// The language is chosen once per CLocalize: drop it (and the dialog made from its library) so
// that the next Instance() chooses again with the registry as it now is.
void ReloadLanguage()
{
    delete CModelessMessage::Instance();
    delete CLocalize::Instance();
    CLocalize::Instance();
}

// What the host's error-logging callback received: the library itself opens no message box.
std::wstring g_messageBoxText;
bool ShowInModelessWindow(HWND, const wchar_t* text, const wchar_t* caption, int, void*)
{
    g_messageBoxText = text ? text : L"";
    CModelessMessage::Instance()->Show(caption, text);
    return true;
}
}

VESKON_DEMO_SCENE(210, RegistryTraceSwitch)
{
    ctx.Caption(L"Trace log switched off and on through the registry, in a running process");
    veskon_common::RegistryValueGuard saved(HKEY_LOCAL_MACHINE, kMachineKey, L"debug_tracing");
    CDebugTrace* trace = CDebugTrace::Instance();
    wchar_t tracing[] = L"debug_tracing";
    CRegistryEx::Set(HKEY_LOCAL_MACHINE, kMachineKey, tracing, true);
    trace->Enable(true);
    ctx.Report(L"  monitor delays: " + std::to_wstring(CDebugTrace::s_monitorStartDelay) + L" ms after start, " +
               std::to_wstring(CDebugTrace::s_monitorSettleDelay) + L" ms after the last change");
    std::string before = ReadAll(trace->GetLogFilename());
    trace->Initialize();
    Trace(L"demo marker A: written with tracing on");
    // The monitor reads the settings once after its start delay; change them after that.
    size_t reloads = CountOf(before, kReloadLine);
    ctx.Check(WaitFor(ctx, [&] { return CountOf(ReadAll(trace->GetLogFilename()), kReloadLine) > reloads; }, 20000),
              L"the monitor read the settings after its start delay");

    ctx.Report(L"  HKLM\\...\\debug_tracing = \"0\"");
    CRegistryEx::Set(HKEY_LOCAL_MACHINE, kMachineKey, tracing, false);
    ctx.Check(WaitFor(ctx, &TracingOff, 20000), L"the monitor switched tracing off");
    Trace(L"demo marker B: written while tracing is off");

    ctx.Report(L"  HKLM\\...\\debug_tracing = \"1\"");
    CRegistryEx::Set(HKEY_LOCAL_MACHINE, kMachineKey, tracing, true);
    ctx.Check(WaitFor(ctx, &TracingOn, 20000), L"the monitor switched tracing on again");
    Trace(L"demo marker C: written after tracing came back");
    trace->Unintialize();

    std::string log = ReadAll(trace->GetLogFilename());
    ctx.Check(log.find("demo marker A") != std::string::npos, L"marker A is in the log");
    ctx.Check(log.find("demo marker B") == std::string::npos, L"marker B (tracing off) is not in the log");
    ctx.Check(log.find("demo marker C") != std::string::npos, L"marker C is in the log");
    ctx.Check(log.find("Reregistered the registry monitor successfully") != std::string::npos,
              L"the monitor re-registered after each change");
    ctx.Check(log.find("Log Size = [2097152], Log Rollover Count = [2], EnableLog = TRUE") != std::string::npos,
              L"the reload wrote the settings it read");

    std::vector<std::wstring> lines = LogTail(14);
    ctx.ShowPanel(L"Trace log after \"debug_tracing\" went 0 and back to 1", lines);
    for (const std::wstring& line : lines)
        ctx.Report(L"    " + line);
    ctx.Screenshot(L"registry_trace_switch");
    ctx.HidePanel();
}

VESKON_DEMO_SCENE(220, ModelessMessageWindow)
{
    ctx.Caption(L"Modeless message window: its own thread, hides itself after 3 seconds");
    CModelessMessage* message = CModelessMessage::Instance();
    HWND dlg = message->GetHwnd();
    if (!ctx.Check(IsWindow(dlg) != FALSE, L"dialog 6000 was created from ZintorRes.dll"))
        return;
    ctx.Check(GetWindowThreadProcessId(dlg, nullptr) != GetCurrentThreadId(), L"the dialog runs on a thread of its own");
    message->Show(L"Backup finished", L"All 12 files were copied to the network folder.\r\n\r\n"
                                      L"This notice hides itself after three seconds, or on a click.");
    ctx.Pump(300);
    ctx.Check(IsWindowVisible(dlg) != FALSE, L"Show made it visible");
    ctx.Screenshot(L"modeless_message");
    ULONGLONG shown = GetTickCount64();
    for (int waited = 0; waited < 8000 && IsWindowVisible(dlg); waited += 100)
        ctx.Pump(100);
    ctx.Check(!IsWindowVisible(dlg), L"it hid itself");
    ctx.Report(L"  hidden after about " + std::to_wstring((GetTickCount64() - shown + 50) / 100 * 100) + L" ms");
    ctx.Check(IsWindow(dlg) != FALSE, L"hidden, not destroyed");
    delete CModelessMessage::Instance();
}

VESKON_DEMO_SCENE(310, LocalizedMessages)
{
    ctx.Caption(L"Localized texts: English and German chosen through the registry override");
    veskon_common::RegistryValueGuard machine(HKEY_LOCAL_MACHINE, kMachineKey, L"LANGID");
    veskon_common::RegistryValueGuard user(HKEY_CURRENT_USER, kUserKey, L"LANGID");
    wchar_t langid[] = L"LANGID";
    CErrorMsg::Instance()->SetErrorLoggingCallback(&ShowInModelessWindow, nullptr);

    struct Language
    {
        unsigned long id;
        const wchar_t* name;
        const wchar_t* shot;
    } languages[] = { { 0x0409, L"English", L"localized_english" }, { 0x0407, L"German", L"localized_german" } };
    std::vector<std::wstring> seen;
    for (const Language& language : languages)
    {
        unsigned long id = language.id;
        CRegistryEx::Set(HKEY_LOCAL_MACHINE, kMachineKey, langid, &id);
        ReloadLanguage();
        unsigned short overrideId = 0, languageId = 0;
        CLocalize::Instance()->GetLangIDs(overrideId, languageId);
        ctx.Check(languageId == language.id, std::wstring(language.name) + L" chosen through HKLM\\...\\LANGID");

        // A failure report as the host sees it: the allocator's text (635, with a 64-bit size)
        // handed to the host's message-box callback, which shows it in the modeless window.
        wchar_t format[260], text[1024];
        CLocalize::GetFormat(IDS_ALLOC_FAILED, L"%I64d", format, 260);
        _snwprintf_s(text, 1024, _TRUNCATE, format, static_cast<__int64>(4294967296LL));
        std::wstring body = std::wstring(text) + L"\r\n\r\n" + LoadText(IDS_WINDOW_CLASS_REGISTRATION);
        std::wstring title = LoadText(IDS_DEFAULT_WINDOW_TITLE);
        CErrorMsg::Instance()->MessageBoxW(nullptr, &body[0], &title[0], MB_ICONERROR);
        ctx.Pump(300);
        HWND dlg = CModelessMessage::Instance()->GetHwnd();
        ctx.Check(g_messageBoxText == body && IsWindowVisible(dlg), L"the callback showed the localized text");
        ctx.Report(L"  " + std::wstring(language.name) + L": \"" + text + L"\"");
        seen.push_back(text);
        ctx.Screenshot(language.shot);
        SendMessageW(dlg, WM_COMMAND, IDOK, 0);
    }
    ctx.Check(seen.size() == 2 && seen[0] != seen[1], L"the two languages give different texts");
    ctx.Check(seen.size() == 2 && seen[1].find(L"4294967296") != std::wstring::npos,
              L"the German text took the 64-bit size");

    CErrorMsg::Instance()->SetErrorLoggingCallback(nullptr, nullptr);
    delete CModelessMessage::Instance();
    delete CLocalize::Instance();
    // The saved values come back with the scene's end; the next CLocalize chooses by them.
}
