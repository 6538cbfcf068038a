// CLocalize and the resource library ZintorRes.dll. The language is chosen once per process from
// the library's folder, so every layout case copies this program and the library into a scratch
// folder with the Resource layout it needs, runs it there as a child and reads what the child
// reports and traced. The registry overrides are restored after each case.
#include <gtest/gtest.h>
#include <windows.h>
#include <commctrl.h>
#include <map>
#include <string>
#include <vector>
#include "files/FileIO.h"
#include "frame/Localize.h"
#include "frame/RegistryEx.h"
#include "frame/ZintorResIds.h"
#include "support/TestSupport.h"

using veskon_test::Narrow;
using veskon_test::Wide;

namespace
{
wchar_t kMachineKey[] = L"Software\\Veskon\\Win32_GUI_Support_DLL";
wchar_t kUserKey[] = L"Software\\Veskon\\Tellvane\\DesktopUI";
wchar_t kLangId[] = L"LANGID";
const char kFailure12[] = "Failed to find a localized string for ID # 12.";

std::wstring BinFolder()
{
    std::wstring exe = veskon_test::ThisProgram();
    return exe.substr(0, exe.find_last_of(L'\\'));
}

std::wstring ResourceLibrary(const std::wstring& lang)
{
    return BinFolder() + L"\\Resource\\" + lang + L"\\ZintorRes.dll";
}

std::string Hex(LANGID id)
{
    char text[8];
    snprintf(text, 8, "%04X", id);
    return text;
}

// The built resource library of `lang`, loaded as a data file once for the whole run.
HMODULE Library(const std::wstring& lang)
{
    static std::map<std::wstring, HMODULE> loaded;
    HMODULE& module = loaded[lang];
    if (!module)
        module = LoadLibraryExW(ResourceLibrary(lang).c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
    return module;
}

std::wstring String(HMODULE module, int id)
{
    wchar_t text[1024] = {};
    LoadStringW(module, static_cast<UINT>(id), text, 1024);
    return text;
}

// The conversions of a printf format, e.g. "%s ... %I64d" -> "s I64d ".
std::string Conversions(const std::wstring& format)
{
    std::string found;
    for (size_t i = 0; i < format.size(); ++i)
    {
        if (format[i] != L'%')
            continue;
        size_t j = i + 1;
        while (j < format.size() && wcschr(L"-+ #0123456789.", format[j]))
            ++j;
        size_t start = j;
        while (j < format.size() && wcschr(L"hlLI64", format[j]))
            ++j;
        if (j < format.size() && format[j] != L'%')
            found += Narrow(format.substr(start, j - start + 1)) + " ";
        i = j;
    }
    return found;
}

// ---- child: report what CLocalize chose, then its trace ------------------------------------

VESKON_CHILD(LocalizeReport)
{
    // Its own temporary folder beside the copied program, so that the trace is this child's.
    std::wstring temp = BinFolder() + L"\\tmp";
    CreateDirectoryW(temp.c_str(), nullptr);
    SetEnvironmentVariableW(L"TMP", temp.c_str());
    SetEnvironmentVariableW(L"TEMP", temp.c_str());
    CLocalize* localize = CLocalize::Instance();
    unsigned short overrideId = 0, languageId = 0;
    localize->GetLangIDs(overrideId, languageId);
    wchar_t s528[260], s12[260], report[4096];
    localize->GetString(528, s528, 260);
    localize->GetString(12, s12, 260);
    _snwprintf_s(report, 4096, _TRUNCATE,
                 L"\ninstance=%d\noverride=%04X\nlanguage=%04X\nrtl=%d\nstring528=%s\nstring12=%s\ntrace=",
                 localize->GethInstance() ? 1 : 0, overrideId, languageId, localize->IsRightToLeft() ? 1 : 0, s528,
                 s12);
    std::string text = Narrow(report) + veskon_test::TraceLogText();
    return veskon_test::WriteFileBytes(BinFolder() + L"\\report.txt", text) ? 0 : 3;
}

// Each case builds a scratch copy of this program and the library, with ZintorRes.dll copies where
// it asks, and runs it as a child that reports what CLocalize chose.
class LocalizeLayout : public ::testing::Test
{
protected:
    LocalizeLayout() : m_machine(HKEY_LOCAL_MACHINE, kMachineKey, kLangId), m_user(HKEY_CURRENT_USER, kUserKey, kLangId)
    {
    }
    void SetUp() override
    {
        CRegistryEx::DeleteValue(HKEY_LOCAL_MACHINE, kMachineKey, kLangId);
        CRegistryEx::DeleteValue(HKEY_CURRENT_USER, kUserKey, kLangId);
        m_german528 = Narrow(String(Library(L"0407"), 528));
        m_english528 = Narrow(String(Library(L"0409"), 528));
        ASSERT_NE(m_german528, m_english528) << "ZintorRes.dll (0407 and 0409) must be built";
        ASSERT_TRUE(CopyFileW(veskon_test::ThisProgram().c_str(), Exe().c_str(), FALSE));
        ASSERT_TRUE(CopyFileW((BinFolder() + L"\\VeskonWin32GUISupportDLL.dll").c_str(),
                              m_folder.File(L"VeskonWin32GUISupportDLL.dll").c_str(), FALSE));
    }
    static void Override(HKEY root, unsigned long language)
    {
        ASSERT_TRUE(CRegistryEx::Set(root, root == HKEY_LOCAL_MACHINE ? kMachineKey : kUserKey, kLangId, &language));
    }
    // Places the library of `lang` at <folder>\<relative>\ZintorRes.dll.
    void Put(const std::wstring& relative, const std::wstring& lang)
    {
        std::wstring target = m_folder.File(relative);
        CFileIO::CreateFolder(&target[0]);
        CopyFileW(ResourceLibrary(lang).c_str(), (target + L"\\ZintorRes.dll").c_str(), FALSE);
    }
    std::string Path(const std::wstring& relative) const { return Narrow(m_folder.File(relative)); }
    std::wstring Exe() const { return m_folder.File(L"veskon_frame_tests.exe"); }
    void Run()
    {
        DeleteFileW(m_folder.File(L"report.txt").c_str());
        EXPECT_EQ(veskon_test::RunChildWithCommandLine("LocalizeReport", L"\"" + Exe() + L"\"", Exe()), 0u);
        m_report = veskon_test::ReadFileBytes(m_folder.File(L"report.txt"));
    }
    // The report is "\n<key>=<value>" lines, the last one "\ntrace=" and the child's whole trace.
    std::string Value(const std::string& key) const
    {
        size_t at = m_report.find("\n" + key + "=");
        if (at == std::string::npos)
            return "<missing>";
        at += key.size() + 2;
        return m_report.substr(at, m_report.find('\n', at) - at);
    }
    bool Traced(const std::string& text) const
    {
        return m_report.find(text, m_report.find("\ntrace=")) != std::string::npos;
    }

    veskon_test::RegistryValueGuard m_machine, m_user;
    veskon_test::ScratchFolder m_folder;
    std::string m_report, m_german528, m_english528;
};

INT_PTR CALLBACK PlainDialogProc(HWND, UINT msg, WPARAM, LPARAM)
{
    return msg == WM_INITDIALOG;
}

// Creates the template and checks that each control exists with its class, inside the dialog.
HWND CheckDialog(HMODULE module, int templateId, bool resizable,
                 const std::vector<std::pair<int, const wchar_t*>>& controls)
{
    HWND dlg = CreateDialogParamW(module, MAKEINTRESOURCEW(templateId), nullptr, &PlainDialogProc, 0);
    EXPECT_NE(dlg, nullptr) << "template " << templateId;
    EXPECT_EQ((GetWindowLongW(dlg, GWL_STYLE) & WS_THICKFRAME) != 0, resizable) << templateId;
    RECT client = {};
    GetClientRect(dlg, &client);
    for (const auto& c : controls)
    {
        HWND control = GetDlgItem(dlg, c.first);
        wchar_t cls[64] = {};
        GetClassNameW(control, cls, 64);
        EXPECT_EQ(_wcsicmp(cls, c.second), 0) << templateId << "/" << c.first << " is " << Narrow(cls);
        RECT r = {};
        GetWindowRect(control, &r);
        MapWindowPoints(nullptr, dlg, reinterpret_cast<POINT*>(&r), 2);
        EXPECT_TRUE(r.left >= 0 && r.top >= 0 && r.right <= client.right && r.bottom <= client.bottom &&
                    r.right > r.left && r.bottom > r.top)
            << templateId << "/" << c.first << " lies outside the dialog";
    }
    return dlg;
}
}

// ---- the resource library itself ---------------------------------------------------------------

TEST(ZintorRes, ResourceOnlyLibrariesWithEveryStringInTheFormatItsCallerPasses)
{
    // Every string id the library's classes use (resources/ZintorRes/STRINGS.md); the others take no arguments.
    const int ids[] = { 205, 313, 314, 315, 316, 317, 318, 319, 327, 330, 334, 528, 553, 554, 555, 567,
                        625, 635, 636, 640, 641, 642, 643, 647, 652, 653, 654, 655, 656, 657, 661 };
    const std::map<int, std::string> formats = { { 625, "s s " },     { 635, "I64d " },  { 636, "I64d " },
                                                 { 640, "d d d d " }, { 641, "d d d " }, { 642, "d d " },
                                                 { 643, "d " } };
    HMODULE english = Library(L"0409"), german = Library(L"0407");
    int translated = 0;
    for (const wchar_t* lang : { L"0409", L"0407" })
    {
        std::string bytes = veskon_test::ReadFileBytes(ResourceLibrary(lang));
        ASSERT_GT(bytes.size(), 0x400u) << Narrow(lang);
        const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(bytes.data());
        const auto* nt = reinterpret_cast<const IMAGE_NT_HEADERS*>(bytes.data() + dos->e_lfanew);
        EXPECT_EQ(nt->OptionalHeader.AddressOfEntryPoint, 0u) << Narrow(lang) << " has code";
    }
    ASSERT_TRUE(english && german);
    for (int id : ids)
    {
        std::wstring en = String(english, id), de = String(german, id);
        EXPECT_FALSE(en.empty() || de.empty()) << "a language lacks " << id;
        auto format = formats.find(id);
        std::string expected = format == formats.end() ? "" : format->second;
        EXPECT_EQ(Conversions(en), expected) << "0409 string " << id;
        EXPECT_EQ(Conversions(de), expected) << "0407 string " << id;
        translated += en != de;
    }
    EXPECT_GE(translated, 25) << "the German library is mostly English";
    EXPECT_EQ(Narrow(String(german, 330)), "&Schließen") << "non-ASCII survives the build";
}

TEST(ZintorRes, DialogTemplatesLoadWithTheirControls)
{
    INITCOMMONCONTROLSEX init = { sizeof(init), ICC_LISTVIEW_CLASSES };
    InitCommonControlsEx(&init);
    for (const wchar_t* lang : { L"0409", L"0407" })
    {
        SCOPED_TRACE(Narrow(lang));
        HMODULE library = Library(lang);
        ASSERT_NE(library, nullptr);
        HWND groups = CheckDialog(library, IDD_TIMED_GROUPS, true,
                                  { { IDC_TIMED_GROUPS_LIST, L"SysListView32" }, { IDCANCEL, L"Button" } });
        LONG list = GetWindowLongW(GetDlgItem(groups, IDC_TIMED_GROUPS_LIST), GWL_STYLE);
        EXPECT_EQ(list & LVS_TYPEMASK, LVS_REPORT);
        EXPECT_TRUE(list & LVS_OWNERDRAWFIXED) << "drawn row by row through WM_DRAWITEM";
        DestroyWindow(groups);
        // (That a click on the modeless message's text reaches its dialog is shown by a real click there.)
        DestroyWindow(CheckDialog(library, IDD_MODELESS_MESSAGE, false,
                                  { { IDC_MODELESS_MESSAGE_TEXT, L"Static" }, { IDOK, L"Button" } }));
        DestroyWindow(CheckDialog(library, IDD_PERFMON_SETTINGS, true,
                                  { { IDC_PERFMON_DEPTH, L"Edit" },
                                    { IDC_PERFMON_FILENAME, L"Edit" },
                                    { IDC_PERFMON_EACHTIME, L"Button" },
                                    { IDC_PERFMON_MODELESS, L"Button" },
                                    { IDC_PERFMON_MODAL, L"Button" },
                                    { IDC_PERFMON_INT3, L"Button" },
                                    { IDC_PERFMON_LOG, L"ListBox" },
                                    { IDC_PERFMON_ENABLE, L"Button" },
                                    { IDC_PERFMON_DISABLE, L"Button" },
                                    { IDOK, L"Button" },
                                    { IDCANCEL, L"Button" } }));
    }
}

// ---- CLocalize in this process ------------------------------------------------------------------

TEST(Localize, ServesStringsRemembersTheLastFoundAndNeverOverruns)
{
    CLocalize* localize = CLocalize::Instance();
    ASSERT_NE(localize->GethInstance(), nullptr);
    wchar_t expected[260] = {}, buf[260];
    LoadStringW(localize->GethInstance(), 625, expected, 260);
    EXPECT_STREQ(localize->GetString(625, buf, 260), expected);
    EXPECT_STREQ(localize->GetString(64998, buf, 260), L"Failed to find a localized string for ID # 64998.");
    wchar_t last[1024];
    int id = 0;
    localize->GetLastString(last, 1024, id);
    EXPECT_STREQ(last, L"Failed to find a localized string for ID # 64998.") << "the last text, found or not";
    EXPECT_EQ(id, 625) << "the id of the last string found";

    EXPECT_EQ(localize->GetLastString(nullptr, 10, id), nullptr);
    EXPECT_EQ(id, -1);
    wchar_t keep[4] = L"abc";
    EXPECT_EQ(localize->GetString(625, keep, 0), keep);
    EXPECT_STREQ(keep, L"abc");
    EXPECT_EQ(localize->GetString(625, nullptr, 10), nullptr);
    wchar_t small[12];
    wmemset(small, L'#', 12);
    localize->GetString(64998, small, 10);
    EXPECT_EQ(wcslen(small), 9u) << "the failure text is cut to the buffer";
    EXPECT_EQ(small[10], L'#');

    CStringW* found = localize->GetString(528);
    ASSERT_NE(found, nullptr);
    LoadStringW(localize->GethInstance(), 528, expected, 260);
    EXPECT_EQ(*found, expected);
    delete found;
    CStringW* missing = localize->GetString(64997);
    ASSERT_NE(missing, nullptr) << "the failure text is not empty";
    EXPECT_EQ(*missing, L"Failed to find a localized string for ID # 64997.");
    delete missing;

    wchar_t out[64];
    EXPECT_STREQ(CLocalize::GetFormat(64996, L"fallback %d", out, 64), L"fallback %d") << "never the failure text";
    LoadStringW(localize->GethInstance(), 635, expected, 64);
    EXPECT_STREQ(CLocalize::GetFormat(635, L"fallback", out, 64), expected);
    EXPECT_EQ(CLocalize::GetFormat(635, L"x", nullptr, 64), nullptr);
}

// ---- language choice, one child process per layout -------------------------------------------

TEST_F(LocalizeLayout, MachineOverrideWinsOverTheUserOne)
{
    Override(HKEY_LOCAL_MACHINE, 0x0407);
    Override(HKEY_CURRENT_USER, 0x0409);
    Put(L"Resource\\0407", L"0407");
    Put(L"Resource\\0409", L"0409");
    Run();
    EXPECT_EQ(Value("instance") + " " + Value("override") + " " + Value("language") + " " + Value("rtl"),
              "1 0407 0407 0")
        << "loaded, override, language, right to left";
    EXPECT_EQ(Value("string528"), m_german528);
    EXPECT_TRUE(Traced("CLocalize::Load - registry-based OVERRIDE of LANGID: \"0407\""));
    EXPECT_TRUE(Traced("CLocalize::Load - selected language resource file = \"" +
                       Path(L"Resource\\0407\\ZintorRes.dll") + "\""))
        << m_report;
    EXPECT_LT(m_report.find("CLocalize::Load - ENTER"), m_report.find("CLocalize::Load - EXIT"));
}

TEST_F(LocalizeLayout, OutOfRangeOverrideCountsAsNoneAndTheUserValueIsRead)
{
    Override(HKEY_LOCAL_MACHINE, 70000);
    LANGID user = GetUserDefaultLangID();
    Put(L"Resource\\" + Wide(Hex(user)), L"0409");
    Put(L"Resource\\0407", L"0407");
    Run();
    EXPECT_EQ(Value("override"), "0000");
    EXPECT_EQ(Value("language"), Hex(user));
    EXPECT_TRUE(Traced("CLocalize::Load - no registry-based override of LANGID"));
    EXPECT_TRUE(Traced("CLocalize::Load - \"GetUserDefaultLangID()\" returned: \"" + Hex(user) + "\""));

    // With the machine's value out of range the user's is read, here as a decimal string.
    wchar_t german[] = L"1031";
    ASSERT_TRUE(CRegistryEx::Set(HKEY_CURRENT_USER, kUserKey, kLangId, german));
    Run();
    EXPECT_EQ(Value("override"), "0407");
    EXPECT_EQ(Value("string528"), m_german528);
}

TEST_F(LocalizeLayout, SubLanguageFallsBackToItsPrimaryBesideTheLibraryWithoutResourceFolder)
{
    Override(HKEY_LOCAL_MACHINE, 0x0807); // German (Switzerland)
    Put(L"0407", L"0407");
    Run();
    EXPECT_EQ(Value("override"), "0807");
    EXPECT_EQ(Value("language"), "0407") << "the primary language replaces the sub-language";
    EXPECT_EQ(Value("string528"), m_german528);
    EXPECT_TRUE(Traced("selected language resource file = \"" + Path(L"0407\\ZintorRes.dll") + "\"")) << m_report;
}

TEST_F(LocalizeLayout, NothingPresentTracesTheAttemptsAndFailsEveryString)
{
    Override(HKEY_LOCAL_MACHINE, 0x0407);
    Run();
    EXPECT_EQ(Value("instance"), "0");
    EXPECT_EQ(Value("string12"), kFailure12);
    EXPECT_EQ(Value("string528"), "Failed to find a localized string for ID # 528.");
    EXPECT_TRUE(Traced("The Veskon GUI Support DLL failed to locate or load its language resources DLL.\r\n\r\n"
                       "The following languages and paths were attempted, in order:\r\n\r\n    0407 - \"" +
                       Path(L"0407\\ZintorRes.dll") + "\"\r\n"))
        << m_report;
    LANGID system = static_cast<LANGID>((GetSystemDefaultUILanguage() & 0x3FF) | 0x400);
    EXPECT_TRUE(Traced("    " + Hex(system) + " - \"" + Path(Wide(Hex(system)) + L"\\ZintorRes.dll") + "\"\r\n"))
        << m_report;
    EXPECT_TRUE(Traced("CLocalize::Load - assuming ENGLISH: \"0409\""));
    EXPECT_TRUE(Traced(kFailure12));
}

TEST_F(LocalizeLayout, SystemLanguageWhenTheUsersIsMissing)
{
    LANGID user = GetUserDefaultLangID(), system = GetSystemDefaultUILanguage();
    if (PRIMARYLANGID(user) == PRIMARYLANGID(system))
        GTEST_SKIP()
            << "user and system languages share their primary language here: the system step cannot be told apart";
    Put(L"Resource\\" + Wide(Hex(system)), L"0407");
    Run();
    EXPECT_EQ(Value("language"), Hex(system));
    EXPECT_TRUE(Traced("\"GetSystemDefaultUILanguage()\" returned"));
}

TEST_F(LocalizeLayout, EnglishIsAssumedWhenNeitherDefaultIsPresent)
{
    if (PRIMARYLANGID(GetSystemDefaultUILanguage()) == LANG_ENGLISH)
        GTEST_SKIP() << "the system language is English here, so English is found by probing, not assumed";
    Override(HKEY_LOCAL_MACHINE, 0x040D); // Hebrew: no folder for it or for the defaults
    Put(L"Resource\\0409", L"0409");
    Run();
    EXPECT_EQ(Value("language"), "0409");
    EXPECT_EQ(Value("string528"), m_english528);
    EXPECT_TRUE(Traced("CLocalize::Load - assuming ENGLISH: \"0409\""));
}

TEST_F(LocalizeLayout, RightToLeftFollowsTheLocalesFontSignature)
{
    wchar_t signature[16] = {};
    ASSERT_NE(GetLocaleInfoW(0x040D, LOCALE_FONTSIGNATURE, signature, 16), 0);
    ASSERT_TRUE(signature[7] & 0x0800) << "this system's Hebrew locale does not mark right-to-left";
    Override(HKEY_LOCAL_MACHINE, 0x040D);
    Put(L"Resource\\040D", L"0409");
    Run();
    EXPECT_EQ(Value("language") + Value("rtl"), "040D1");
}
