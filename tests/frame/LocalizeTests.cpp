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
#include "frame/DebugTrace.h"
#include "frame/KVRN_DllMain.h"
#include "frame/Localize.h"
#include "frame/ZintorResIds.h"
#include "support/TestSupport.h"

using veskon_test::Narrow;
using veskon_test::RegistryValueGuard;
using veskon_test::ScratchFolder;
using veskon_test::Wide;

namespace
{
const wchar_t kMachineKey[] = L"Software\\Veskon\\Win32_GUI_Support_DLL";
const wchar_t kUserKey[] = L"Software\\Veskon\\Tellvane\\DesktopUI";

// Every string id the library's classes use (resources/ZintorRes/STRINGS.md).
const int kStringIds[] = { 205, 313, 314, 315, 316, 317, 318, 319, 327, 330, 334, 528, 553, 554, 555, 567,
                           625, 635, 636, 640, 641, 642, 643, 647, 652, 653, 654, 655, 656, 657, 661 };

std::wstring BinFolder()
{
    std::wstring exe = veskon_test::ThisProgram();
    return exe.substr(0, exe.find_last_of(L'\\'));
}

std::wstring ResourceLibrary(const wchar_t* lang)
{
    return BinFolder() + L"\\Resource\\" + lang + L"\\ZintorRes.dll";
}

struct DataFile
{
    explicit DataFile(const std::wstring& path) : module(LoadLibraryExW(path.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE)) {}
    ~DataFile()
    {
        if (module)
            FreeLibrary(module);
    }
    std::wstring String(int id) const
    {
        wchar_t text[1024] = {};
        LoadStringW(module, static_cast<UINT>(id), text, 1024);
        return text;
    }
    HMODULE module;
};

// The conversions of a printf format, e.g. "%s ... %I64d" -> {"s", "I64d"}.
std::vector<std::string> Conversions(const std::wstring& format)
{
    std::vector<std::string> found;
    for (size_t i = 0; i < format.size(); ++i)
    {
        if (format[i] != L'%')
            continue;
        if (i + 1 < format.size() && format[i + 1] == L'%')
        {
            ++i;
            continue;
        }
        size_t j = i + 1;
        while (j < format.size() && wcschr(L"-+ #0123456789.", format[j]))
            ++j;
        std::string conversion;
        while (j < format.size() && wcschr(L"hlLI64", format[j]))
            conversion += static_cast<char>(format[j++]);
        if (j < format.size())
            conversion += static_cast<char>(format[j]);
        found.push_back(conversion);
        i = j;
    }
    return found;
}

// ---- child: report what CLocalize chose -----------------------------------------------------

VESKON_CHILD(LocalizeReport)
{
    wchar_t path[MAX_PATH] = {};
    if (!GetEnvironmentVariableW(L"VESKON_LOCALIZE_REPORT", path, MAX_PATH))
        return 2;
    CLocalize* localize = CLocalize::Instance();
    unsigned short overrideId = 0, languageId = 0;
    localize->GetLangIDs(overrideId, languageId);
    wchar_t s528[260], s12[260], last[1024];
    localize->GetString(528, s528, 260);
    localize->GetString(12, s12, 260);
    int lastId = 0;
    localize->GetLastString(last, 1024, lastId);
    wchar_t report[4096];
    _snwprintf_s(report, 4096, _TRUNCATE,
                 L"instance=%d\noverride=%04X\nlanguage=%04X\nrtl=%d\nstring528=%s\nstring12=%s\nlastid=%d\n",
                 localize->GethInstance() ? 1 : 0, overrideId, languageId, localize->IsRightToLeft() ? 1 : 0, s528, s12,
                 lastId);
    return veskon_test::WriteFileBytes(path, Narrow(report)) ? 0 : 3;
}

struct ChildResult
{
    DWORD exitCode = 0;
    std::map<std::string, std::string> values;
    std::string trace;
    std::string operator[](const std::string& key) const
    {
        auto found = values.find(key);
        return found == values.end() ? "<missing>" : found->second;
    }
};

// A scratch copy of this program and the library, with ZintorRes.dll copies where asked.
class Layout
{
public:
    Layout()
    {
        m_exe = m_folder.File(L"veskon_frame_tests.exe");
        CopyFileW(veskon_test::ThisProgram().c_str(), m_exe.c_str(), FALSE);
        CopyFileW((BinFolder() + L"\\VeskonWin32GUISupportDLL.dll").c_str(),
                  m_folder.File(L"VeskonWin32GUISupportDLL.dll").c_str(), FALSE);
    }
    // Places the library of `lang` at <folder>\<relative>\ZintorRes.dll.
    void Put(const std::wstring& relative, const wchar_t* lang)
    {
        std::wstring target = m_folder.Path();
        size_t start = 0;
        while (start <= relative.size())
        {
            size_t end = relative.find(L'\\', start);
            target += L"\\" + relative.substr(start, end - start);
            CreateDirectoryW(target.c_str(), nullptr);
            if (end == std::wstring::npos)
                break;
            start = end + 1;
        }
        CopyFileW(ResourceLibrary(lang).c_str(), (target + L"\\ZintorRes.dll").c_str(), FALSE);
    }
    // The installed layout: Resource\0407 and Resource\0409.
    void PutBothLanguages()
    {
        Put(L"Resource\\0407", L"0407");
        Put(L"Resource\\0409", L"0409");
    }
    std::wstring Path(const std::wstring& relative) const { return m_folder.File(relative); }

    ChildResult Run()
    {
        std::wstring temp = m_folder.File(L"tmp");
        CreateDirectoryW(temp.c_str(), nullptr);
        std::wstring report = m_folder.File(L"report.txt");
        wchar_t oldTmp[MAX_PATH] = {}, oldTemp[MAX_PATH] = {};
        GetEnvironmentVariableW(L"TMP", oldTmp, MAX_PATH);
        GetEnvironmentVariableW(L"TEMP", oldTemp, MAX_PATH);
        SetEnvironmentVariableW(L"TMP", temp.c_str());
        SetEnvironmentVariableW(L"TEMP", temp.c_str());
        SetEnvironmentVariableW(L"VESKON_LOCALIZE_REPORT", report.c_str());
        ChildResult result;
        result.exitCode = veskon_test::RunChildWithCommandLine("LocalizeReport", L"\"" + m_exe + L"\"", m_exe);
        SetEnvironmentVariableW(L"TMP", oldTmp);
        SetEnvironmentVariableW(L"TEMP", oldTemp);
        SetEnvironmentVariableW(L"VESKON_LOCALIZE_REPORT", nullptr);

        std::string text = veskon_test::ReadFileBytes(report);
        for (size_t start = 0, end; (end = text.find('\n', start)) != std::string::npos; start = end + 1)
        {
            std::string line = text.substr(start, end - start);
            size_t eq = line.find('=');
            if (eq != std::string::npos)
                result.values[line.substr(0, eq)] = line.substr(eq + 1);
        }
        wchar_t computer[MAX_COMPUTERNAME_LENGTH + 1] = {};
        DWORD size = MAX_COMPUTERNAME_LENGTH + 1;
        GetComputerNameW(computer, &size);
        result.trace = veskon_test::ReadFileBytes(temp + L"\\VeskonLogs\\Zintor_" + computer + L".log");
        return result;
    }

private:
    ScratchFolder m_folder;
    std::wstring m_exe;
};

std::string Hex(LANGID id)
{
    char text[8];
    snprintf(text, 8, "%04X", id);
    return text;
}

class LocalizeLayout : public ::testing::Test
{
protected:
    LocalizeLayout()
        : m_machine(HKEY_LOCAL_MACHINE, kMachineKey, L"LANGID"), m_user(HKEY_CURRENT_USER, kUserKey, L"LANGID")
    {
    }
    void SetUp() override
    {
        ASSERT_TRUE(veskon_test::FileExists(ResourceLibrary(L"0409"))) << "ZintorRes.dll (0409) was not built";
        ASSERT_TRUE(veskon_test::FileExists(ResourceLibrary(L"0407"))) << "ZintorRes.dll (0407) was not built";
        Clear(HKEY_LOCAL_MACHINE, kMachineKey);
        Clear(HKEY_CURRENT_USER, kUserKey);
        DataFile german(ResourceLibrary(L"0407"));
        DataFile english(ResourceLibrary(L"0409"));
        m_german528 = Narrow(german.String(528));
        m_english528 = Narrow(english.String(528));
        ASSERT_NE(m_german528, m_english528);
    }
    static void Clear(HKEY root, const wchar_t* key)
    {
        HKEY opened = nullptr;
        if (RegOpenKeyExW(root, key, 0, KEY_SET_VALUE, &opened) == ERROR_SUCCESS)
        {
            RegDeleteValueW(opened, L"LANGID");
            RegCloseKey(opened);
        }
    }
    static void SetDword(HKEY root, const wchar_t* key, DWORD value)
    {
        HKEY opened = nullptr;
        ASSERT_EQ(RegCreateKeyExW(root, key, 0, nullptr, 0, KEY_SET_VALUE, nullptr, &opened, nullptr), ERROR_SUCCESS);
        RegSetValueExW(opened, L"LANGID", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value), sizeof(value));
        RegCloseKey(opened);
    }
    static void SetText(HKEY root, const wchar_t* key, const wchar_t* text)
    {
        HKEY opened = nullptr;
        ASSERT_EQ(RegCreateKeyExW(root, key, 0, nullptr, 0, KEY_SET_VALUE, nullptr, &opened, nullptr), ERROR_SUCCESS);
        RegSetValueExW(opened, L"LANGID", 0, REG_SZ, reinterpret_cast<const BYTE*>(text),
                       static_cast<DWORD>((wcslen(text) + 1) * sizeof(wchar_t)));
        RegCloseKey(opened);
    }

    RegistryValueGuard m_machine;
    RegistryValueGuard m_user;
    std::string m_german528;
    std::string m_english528;
};
}

// ---- the resource library itself ---------------------------------------------------------------

namespace
{
// The number of DLLs an image imports (the linker leaves an empty import table behind: only its
// terminating entry, which names nothing).
int ImportedDllCount(const std::string& bytes, const IMAGE_NT_HEADERS* nt)
{
    DWORD rva = nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
    if (!rva)
        return 0;
    const IMAGE_SECTION_HEADER* section = IMAGE_FIRST_SECTION(nt);
    for (WORD i = 0; i < nt->FileHeader.NumberOfSections; ++i, ++section)
    {
        if (rva < section->VirtualAddress || rva >= section->VirtualAddress + section->Misc.VirtualSize)
            continue;
        size_t offset = rva - section->VirtualAddress + section->PointerToRawData;
        int count = 0;
        for (; offset + sizeof(IMAGE_IMPORT_DESCRIPTOR) <= bytes.size(); offset += sizeof(IMAGE_IMPORT_DESCRIPTOR))
        {
            const auto* entry = reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(bytes.data() + offset);
            if (!entry->Name)
                return count;
            ++count;
        }
        return count;
    }
    return -1; // the directory points nowhere: not what the build makes
}
}

TEST(ZintorRes, IsResourceOnlyWithoutEntryPointOrImports)
{
    for (const wchar_t* lang : { L"0409", L"0407" })
    {
        std::string bytes = veskon_test::ReadFileBytes(ResourceLibrary(lang));
        ASSERT_GT(bytes.size(), sizeof(IMAGE_DOS_HEADER)) << Narrow(lang);
        const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(bytes.data());
        ASSERT_EQ(dos->e_magic, IMAGE_DOS_SIGNATURE);
        const auto* nt = reinterpret_cast<const IMAGE_NT_HEADERS*>(bytes.data() + dos->e_lfanew);
        ASSERT_EQ(nt->Signature, IMAGE_NT_SIGNATURE);
        EXPECT_TRUE(nt->FileHeader.Characteristics & IMAGE_FILE_DLL);
        // Same bitness as this build (the header layout read here is this build's).
        EXPECT_EQ(nt->OptionalHeader.Magic, IMAGE_NT_OPTIONAL_HDR_MAGIC);
        EXPECT_EQ(nt->OptionalHeader.AddressOfEntryPoint, 0u) << Narrow(lang);
        EXPECT_EQ(ImportedDllCount(bytes, nt), 0) << Narrow(lang);
        EXPECT_GT(nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_RESOURCE].Size, 0u) << Narrow(lang);

        DataFile library(ResourceLibrary(lang));
        EXPECT_NE(library.module, nullptr) << Narrow(lang);
    }
}

TEST(ZintorRes, EveryStringIdResolvesInBothLanguages)
{
    DataFile english(ResourceLibrary(L"0409"));
    DataFile german(ResourceLibrary(L"0407"));
    ASSERT_NE(english.module, nullptr);
    ASSERT_NE(german.module, nullptr);
    int translated = 0;
    for (int id : kStringIds)
    {
        std::wstring en = english.String(id), de = german.String(id);
        EXPECT_FALSE(en.empty()) << "0409 lacks " << id;
        EXPECT_FALSE(de.empty()) << "0407 lacks " << id;
        // A translation keeps the arguments: same conversions in the same order.
        EXPECT_EQ(Conversions(en), Conversions(de)) << id;
        if (en != de)
            ++translated;
    }
    EXPECT_GE(translated, 25) << "the German library is mostly English";
    EXPECT_EQ(Narrow(german.String(330)), "&Schließen"); // non-ASCII survives the build
}

TEST(ZintorRes, FormatStringsTakeTheArgumentsTheirCallersPass)
{
    const std::vector<std::string> twoTexts{ "s", "s" }, size{ "I64d" };
    for (const wchar_t* lang : { L"0409", L"0407" })
    {
        DataFile library(ResourceLibrary(lang));
        EXPECT_EQ(Conversions(library.String(625)), twoTexts) << Narrow(lang);
        EXPECT_EQ(Conversions(library.String(635)), size) << Narrow(lang);
        EXPECT_EQ(Conversions(library.String(636)), size) << Narrow(lang);
        EXPECT_EQ(Conversions(library.String(640)), (std::vector<std::string>{ "d", "d", "d", "d" })) << Narrow(lang);
        EXPECT_EQ(Conversions(library.String(641)), (std::vector<std::string>{ "d", "d", "d" })) << Narrow(lang);
        EXPECT_EQ(Conversions(library.String(642)), (std::vector<std::string>{ "d", "d" })) << Narrow(lang);
        EXPECT_EQ(Conversions(library.String(643)), (std::vector<std::string>{ "d" })) << Narrow(lang);
        for (int id : kStringIds)
        {
            if (id != 625 && (id < 635 || id > 643))
            {
                EXPECT_TRUE(Conversions(library.String(id)).empty()) << id << " takes no arguments";
            }
        }

        wchar_t out[512];
        _snwprintf_s(out, 512, _TRUNCATE, library.String(635).c_str(), static_cast<__int64>(123456789012345LL));
        EXPECT_NE(std::wstring(out).find(L"123456789012345"), std::wstring::npos) << Narrow(lang);
        _snwprintf_s(out, 512, _TRUNCATE, library.String(625).c_str(), L"context-text", L"system-text");
        std::wstring joined = out;
        EXPECT_LT(joined.find(L"context-text"), joined.find(L"system-text")) << Narrow(lang);
        _snwprintf_s(out, 512, _TRUNCATE, library.String(640).c_str(), 11, 22, 33, 44);
        std::wstring time = out;
        EXPECT_LT(time.find(L"11"), time.find(L"22"));
        EXPECT_LT(time.find(L"22"), time.find(L"33"));
        EXPECT_LT(time.find(L"33"), time.find(L"44"));
    }
}

namespace
{
INT_PTR CALLBACK PlainDialogProc(HWND, UINT msg, WPARAM, LPARAM)
{
    return msg == WM_INITDIALOG;
}

struct ExpectedControl
{
    int id;
    const wchar_t* className;
};

void CheckDialog(HMODULE module, int templateId, bool resizable, const std::vector<ExpectedControl>& controls)
{
    HWND dlg = CreateDialogParamW(module, MAKEINTRESOURCEW(templateId), nullptr,
                                  &PlainDialogProc, 0);
    ASSERT_NE(dlg, nullptr) << "template " << templateId;
    EXPECT_EQ((GetWindowLongW(dlg, GWL_STYLE) & WS_THICKFRAME) != 0, resizable) << templateId;
    RECT client = {};
    GetClientRect(dlg, &client);
    for (const ExpectedControl& c : controls)
    {
        HWND control = GetDlgItem(dlg, c.id);
        ASSERT_NE(control, nullptr) << "template " << templateId << " lacks control " << c.id;
        wchar_t cls[64] = {};
        GetClassNameW(control, cls, 64);
        EXPECT_EQ(_wcsicmp(cls, c.className), 0) << templateId << "/" << c.id << " is " << Narrow(cls);
        RECT r = {};
        GetWindowRect(control, &r);
        MapWindowPoints(nullptr, dlg, reinterpret_cast<POINT*>(&r), 2);
        EXPECT_TRUE(r.left >= 0 && r.top >= 0 && r.right <= client.right && r.bottom <= client.bottom)
            << templateId << "/" << c.id << " lies outside the dialog";
        EXPECT_TRUE(r.right > r.left && r.bottom > r.top) << templateId << "/" << c.id;
    }
    DestroyWindow(dlg);
}
}

TEST(ZintorRes, DialogTemplatesLoadWithTheirControls)
{
    INITCOMMONCONTROLSEX init = { sizeof(init), ICC_LISTVIEW_CLASSES };
    InitCommonControlsEx(&init);
    for (const wchar_t* lang : { L"0409", L"0407" })
    {
        SCOPED_TRACE(Narrow(lang));
        DataFile library(ResourceLibrary(lang));
        ASSERT_NE(library.module, nullptr);
        CheckDialog(library.module, IDD_TIMED_GROUPS, true,
                    { { IDC_TIMED_GROUPS_LIST, L"SysListView32" }, { IDCANCEL, L"Button" } });
        CheckDialog(library.module, IDD_MODELESS_MESSAGE, false,
                    { { IDC_MODELESS_MESSAGE_TEXT, L"Static" }, { IDOK, L"Button" } });
        CheckDialog(library.module, IDD_PERFMON_SETTINGS, true,
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
                      { IDCANCEL, L"Button" } });
    }
}

TEST(ZintorRes, ListAndTextControlsHaveTheStylesTheirClassesNeed)
{
    DataFile library(ResourceLibrary(L"0409"));
    HWND groups = CreateDialogParamW(library.module, MAKEINTRESOURCEW(IDD_TIMED_GROUPS), nullptr,
                                     &PlainDialogProc, 0);
    ASSERT_NE(groups, nullptr);
    LONG list = GetWindowLongW(GetDlgItem(groups, IDC_TIMED_GROUPS_LIST), GWL_STYLE);
    EXPECT_EQ(list & LVS_TYPEMASK, LVS_REPORT);
    EXPECT_TRUE(list & LVS_OWNERDRAWFIXED); // drawn row by row through WM_DRAWITEM
    DestroyWindow(groups);

    HWND message = CreateDialogParamW(library.module, MAKEINTRESOURCEW(IDD_MODELESS_MESSAGE), nullptr,
                                      &PlainDialogProc, 0);
    ASSERT_NE(message, nullptr);
    // A static without SS_NOTIFY lets a click through to the dialog, which then hides.
    EXPECT_FALSE(GetWindowLongW(GetDlgItem(message, IDC_MODELESS_MESSAGE_TEXT), GWL_STYLE) & SS_NOTIFY);
    DestroyWindow(message);
}

// ---- CLocalize in this process ------------------------------------------------------------------

TEST(Localize, ServesStringsOfTheLoadedLibraryAndRemembersTheLastOne)
{
    CLocalize* localize = CLocalize::Instance();
    ASSERT_NE(localize->GethInstance(), nullptr);
    wchar_t expected[260] = {};
    LoadStringW(localize->GethInstance(), 625, expected, 260);
    wchar_t buf[260];
    EXPECT_STREQ(localize->GetString(625, buf, 260), expected);

    EXPECT_STREQ(localize->GetString(64998, buf, 260), L"Failed to find a localized string for ID # 64998.");
    wchar_t last[1024];
    int id = 0;
    localize->GetLastString(last, 1024, id);
    EXPECT_STREQ(last, L"Failed to find a localized string for ID # 64998.");
    EXPECT_EQ(id, 625); // the id of the last string found

    int untouched = 5;
    EXPECT_EQ(localize->GetLastString(nullptr, 10, untouched), nullptr);
    EXPECT_EQ(untouched, -1);
    wchar_t keep[4] = L"abc";
    EXPECT_EQ(localize->GetString(625, keep, 0), keep);
    EXPECT_STREQ(keep, L"abc");
    EXPECT_EQ(localize->GetString(625, nullptr, 10), nullptr);

    // A small buffer gets the failure text cut, not overrun.
    wchar_t small[12];
    wmemset(small, L'#', 12);
    localize->GetString(64998, small, 10);
    EXPECT_EQ(wcslen(small), 9u);
    EXPECT_EQ(small[10], L'#');
}

TEST(Localize, StringObjectOverload)
{
    CStringW* found = CLocalize::Instance()->GetString(528);
    ASSERT_NE(found, nullptr);
    wchar_t expected[260] = {};
    LoadStringW(CLocalize::Instance()->GethInstance(), 528, expected, 260);
    EXPECT_EQ(*found, expected);
    delete found;
    CStringW* missing = CLocalize::Instance()->GetString(64997);
    ASSERT_NE(missing, nullptr); // the failure text is not empty
    EXPECT_EQ(*missing, L"Failed to find a localized string for ID # 64997.");
    delete missing;
}

TEST(Localize, GetFormatFallsBackOnlyWhenTheStringIsMissing)
{
    wchar_t out[64];
    CLocalize::GetFormat(64996, L"fallback %d", out, 64);
    EXPECT_STREQ(out, L"fallback %d");
    wchar_t expected[64] = {};
    LoadStringW(CLocalize::Instance()->GethInstance(), 635, expected, 64);
    CLocalize::GetFormat(635, L"fallback", out, 64);
    EXPECT_STREQ(out, expected);
    EXPECT_EQ(CLocalize::GetFormat(635, L"x", nullptr, 64), nullptr);
}

// ---- language choice, one child process per layout -------------------------------------------

TEST_F(LocalizeLayout, MachineOverrideWinsOverTheUserOne)
{
    SetDword(HKEY_LOCAL_MACHINE, kMachineKey, 0x0407);
    SetDword(HKEY_CURRENT_USER, kUserKey, 0x0409);
    Layout layout;
    layout.PutBothLanguages();
    ChildResult r = layout.Run();
    ASSERT_EQ(r.exitCode, 0u);
    EXPECT_EQ(r["instance"], "1");
    EXPECT_EQ(r["override"], "0407");
    EXPECT_EQ(r["language"], "0407");
    EXPECT_EQ(r["string528"], m_german528);
    EXPECT_EQ(r["rtl"], "0");
    EXPECT_NE(r.trace.find("CLocalize::Load - registry-based OVERRIDE of LANGID: \"0407\""), std::string::npos);
    std::string selected = "CLocalize::Load - selected language resource file = \"" +
                           Narrow(layout.Path(L"Resource\\0407\\ZintorRes.dll")) + "\"";
    EXPECT_NE(r.trace.find(selected), std::string::npos) << r.trace;
    EXPECT_LT(r.trace.find("CLocalize::Load - ENTER"), r.trace.find("CLocalize::Load - EXIT"));
}

TEST_F(LocalizeLayout, UserOverrideWhenTheMachineHasNone)
{
    SetText(HKEY_CURRENT_USER, kUserKey, L"1031"); // 0x0407 as a decimal string
    Layout layout;
    layout.PutBothLanguages();
    ChildResult r = layout.Run();
    ASSERT_EQ(r.exitCode, 0u);
    EXPECT_EQ(r["override"], "0407");
    EXPECT_EQ(r["language"], "0407");
    EXPECT_EQ(r["string528"], m_german528);
}

TEST_F(LocalizeLayout, OutOfRangeOverrideCountsAsNone)
{
    SetDword(HKEY_LOCAL_MACHINE, kMachineKey, 70000);
    LANGID user = GetUserDefaultLangID();
    Layout layout;
    layout.Put(L"Resource\\" + Wide(Hex(user)), L"0409");
    layout.Put(L"Resource\\0407", L"0407");
    ChildResult r = layout.Run();
    ASSERT_EQ(r.exitCode, 0u);
    EXPECT_EQ(r["override"], "0000");
    EXPECT_EQ(r["language"], Hex(user));
    EXPECT_NE(r.trace.find("CLocalize::Load - no registry-based override of LANGID"), std::string::npos);

    // With the machine's value out of range, the user's is read.
    SetDword(HKEY_CURRENT_USER, kUserKey, 0x0407);
    r = layout.Run();
    EXPECT_EQ(r["override"], "0407");
    EXPECT_EQ(r["string528"], m_german528);
}

TEST_F(LocalizeLayout, SubLanguageFallsBackToItsPrimaryLanguage)
{
    SetDword(HKEY_LOCAL_MACHINE, kMachineKey, 0x0807); // German (Switzerland)
    Layout layout;
    layout.Put(L"Resource\\0407", L"0407");
    ChildResult r = layout.Run();
    ASSERT_EQ(r.exitCode, 0u);
    EXPECT_EQ(r["instance"], "1");
    EXPECT_EQ(r["override"], "0807");
    EXPECT_EQ(r["language"], "0407");
    EXPECT_EQ(r["string528"], m_german528);
}

TEST_F(LocalizeLayout, WithoutAResourceFolderLooksBesideTheLibrary)
{
    SetDword(HKEY_LOCAL_MACHINE, kMachineKey, 0x0407);
    Layout layout;
    layout.Put(L"0407", L"0407");
    ChildResult r = layout.Run();
    ASSERT_EQ(r.exitCode, 0u);
    EXPECT_EQ(r["instance"], "1");
    EXPECT_EQ(r["string528"], m_german528);
    std::string selected = "selected language resource file = \"" + Narrow(layout.Path(L"0407\\ZintorRes.dll")) + "\"";
    EXPECT_NE(r.trace.find(selected), std::string::npos) << r.trace;
}

TEST_F(LocalizeLayout, NothingPresentTracesTheAttemptsAndFailsEveryString)
{
    SetDword(HKEY_LOCAL_MACHINE, kMachineKey, 0x0407);
    Layout layout;
    ChildResult r = layout.Run();
    ASSERT_EQ(r.exitCode, 0u);
    EXPECT_EQ(r["instance"], "0");
    EXPECT_EQ(r["string12"], "Failed to find a localized string for ID # 12.");
    EXPECT_EQ(r["string528"], "Failed to find a localized string for ID # 528.");
    EXPECT_EQ(r["lastid"], "-1");
    EXPECT_NE(r.trace.find("The Veskon GUI Support DLL failed to locate or load its language resources DLL.\r\n\r\n"
                           "The following languages and paths were attempted, in order:\r\n\r\n"),
              std::string::npos)
        << r.trace;
    std::string first = "    0407 - \"" + Narrow(layout.Path(L"0407\\ZintorRes.dll")) + "\"\r\n";
    EXPECT_NE(r.trace.find(first), std::string::npos) << r.trace;
    LANGID system = GetSystemDefaultUILanguage();
    LANGID systemPrimary = static_cast<LANGID>((system & 0x3FF) | 0x400);
    std::string second = "    " + Hex(systemPrimary) + " - \"" +
                         Narrow(layout.Path(Wide(Hex(systemPrimary)) + L"\\ZintorRes.dll")) + "\"\r\n";
    EXPECT_NE(r.trace.find(second), std::string::npos) << r.trace;
    EXPECT_NE(r.trace.find("CLocalize::Load - assuming ENGLISH: \"0409\""), std::string::npos);
    EXPECT_NE(r.trace.find("Failed to find a localized string for ID # 12."), std::string::npos);
}

TEST_F(LocalizeLayout, WithoutOverrideTheUsersLanguageIsChosen)
{
    LANGID user = GetUserDefaultLangID();
    Layout layout;
    layout.Put(L"Resource\\" + Wide(Hex(user)), L"0407");
    ChildResult r = layout.Run();
    ASSERT_EQ(r.exitCode, 0u);
    EXPECT_EQ(r["override"], "0000");
    EXPECT_EQ(r["language"], Hex(user));
    EXPECT_EQ(r["string528"], m_german528); // the German library placed in the user's folder
    EXPECT_NE(r.trace.find("CLocalize::Load - \"GetUserDefaultLangID()\" returned: \"" + Hex(user) + "\""),
              std::string::npos);
}

TEST_F(LocalizeLayout, SystemLanguageWhenTheUsersIsMissing)
{
    LANGID user = GetUserDefaultLangID();
    LANGID system = GetSystemDefaultUILanguage();
    if (PRIMARYLANGID(user) == PRIMARYLANGID(system))
        GTEST_SKIP() << "user (" << Hex(user) << ") and system (" << Hex(system)
                     << ") languages share their primary language here: the system step cannot be told apart";
    Layout layout;
    layout.Put(L"Resource\\" + Wide(Hex(system)), L"0407");
    ChildResult r = layout.Run();
    EXPECT_EQ(r["language"], Hex(system));
    EXPECT_NE(r.trace.find("\"GetSystemDefaultUILanguage()\" returned"), std::string::npos);
}

TEST_F(LocalizeLayout, EnglishIsAssumedWhenNeitherDefaultIsPresent)
{
    // Hebrew for the override: no folder for it or for the defaults, only English.
    SetDword(HKEY_LOCAL_MACHINE, kMachineKey, 0x040D);
    if (PRIMARYLANGID(GetSystemDefaultUILanguage()) == LANG_ENGLISH)
        GTEST_SKIP() << "the system language is English here, so English is found by probing, not assumed";
    Layout layout;
    layout.Put(L"Resource\\0409", L"0409");
    ChildResult r = layout.Run();
    EXPECT_EQ(r["language"], "0409");
    EXPECT_EQ(r["string528"], m_english528);
    EXPECT_NE(r.trace.find("CLocalize::Load - assuming ENGLISH: \"0409\""), std::string::npos);
}

TEST_F(LocalizeLayout, RightToLeftFollowsTheLocalesFontSignature)
{
    SetDword(HKEY_LOCAL_MACHINE, kMachineKey, 0x040D); // Hebrew
    Layout layout;
    layout.Put(L"Resource\\040D", L"0409");
    ChildResult r = layout.Run();
    ASSERT_EQ(r.exitCode, 0u);
    EXPECT_EQ(r["language"], "040D");
    wchar_t signature[16] = {};
    ASSERT_NE(GetLocaleInfoW(0x040D, LOCALE_FONTSIGNATURE, signature, 16), 0);
    ASSERT_TRUE(signature[7] & 0x0800) << "this system's Hebrew locale does not mark right-to-left";
    EXPECT_EQ(r["rtl"], "1");
}
