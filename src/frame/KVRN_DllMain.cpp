#include "frame/KVRN_DllMain.h"
#include "frame/DebugTrace.h"
#include "frame/Localize.h"
#include "files/FileIO.h"
#include "system/PrivateStrictCopy.h"
#include "system/XEventLog.h"
#include <softpub.h>
#include <wintrust.h>
#include <cstdlib>
#include <ctime>
#include <cwchar>
#include <new>

namespace
{
CKVRN_DllMain* g_instance = nullptr;
const wchar_t kLibraryTitle[] = L"Veskon Win32 GUI Support Library";

struct WindowClassFlag
{
    bool* registered;
    const wchar_t* name;
};

bool IsInFolder(const wchar_t* path, const wchar_t* folder)
{
    size_t n = wcslen(folder);
    return n > 0 && _wcsnicmp(path, folder, n) == 0 && (path[n] == L'\\' || path[n] == L'/') &&
           !wcspbrk(path + n + 1, L"\\/");
}

bool HasValidSignature(const wchar_t* path)
{
    WINTRUST_FILE_INFO file = {};
    file.cbStruct = sizeof(file);
    file.pcwszFilePath = path;
    WINTRUST_DATA data = {};
    data.cbStruct = sizeof(data);
    data.dwUIChoice = WTD_UI_NONE;
    data.fdwRevocationChecks = WTD_REVOKE_NONE;
    data.dwUnionChoice = WTD_CHOICE_FILE;
    data.pFile = &file;
    data.dwStateAction = WTD_STATEACTION_VERIFY;
    GUID action = WINTRUST_ACTION_GENERIC_VERIFY_V2;
    LONG status = WinVerifyTrust(static_cast<HWND>(INVALID_HANDLE_VALUE), &action, &data);
    data.dwStateAction = WTD_STATEACTION_CLOSE;
    WinVerifyTrust(static_cast<HWND>(INVALID_HANDLE_VALUE), &action, &data);
    return status == ERROR_SUCCESS;
}
}

HINSTANCE CKVRN_DllMain::s_hModule = nullptr;
bool CKVRN_DllMain::s_advisoryClassRegistered = false;
bool CKVRN_DllMain::s_translucentClassRegistered = false;
bool CKVRN_DllMain::s_buttonWindowClassRegistered = false;
bool CKVRN_DllMain::s_tooltipClassRegistered = false;
void (*CKVRN_DllMain::s_deleteImageManager)() = nullptr;
void (*CKVRN_DllMain::s_deleteIconCache)() = nullptr;
void (*CKVRN_DllMain::s_deleteWindowManager)() = nullptr;

CKVRN_DllMain* CKVRN_DllMain::Instance()
{
    if (!g_instance)
    {
        // The pointer is stored before Load runs, so that Instance() calls made while loading
        // return the object being loaded.
        g_instance = new (std::nothrow) CKVRN_DllMain();
        if (g_instance)
            g_instance->Load();
    }
    return g_instance;
}

CKVRN_DllMain::CKVRN_DllMain()
    : m_eventLog(nullptr), m_hInstance(nullptr), m_applicationFilename{}, m_moduleFilename{},
      m_applicationName{}, m_applicationFolder{}, m_commandLine{}
{
    InitializeCriticalSection(&m_dlgListLock);
}

CKVRN_DllMain::~CKVRN_DllMain() noexcept
{
    if (g_instance)
        Unload();
    g_instance = nullptr;
    m_dlgList.clear();
    DeleteCriticalSection(&m_dlgListLock);
}

void CKVRN_DllMain::Load()
{
    srand(static_cast<unsigned>(time(nullptr)));
    m_hInstance = s_hModule;
    GetModuleFileNameW(m_hInstance, m_moduleFilename, MAX_PATH);
    // A command line of 1024 characters or more stops the process here, as intended: it is
    // outside the supported range and must not be silently cut.
    veskon::StrictCopy(m_commandLine, 1024, GetCommandLineW());
    FindApplicationFilename();

    WIN32_FIND_DATAW found = {};
    if (CFileIO::FileExists(m_applicationFilename, &found))
        wcsncpy_s(m_applicationName, MAX_PATH, found.cFileName, _TRUNCATE);
    else
        m_applicationName[0] = L'\0';
    CFileIO::GetCurrentFolder(m_hInstance, m_applicationFolder, MAX_PATH);

    CLocalize::Instance();
    m_eventLog = new (std::nothrow) CXEventLog(kLibraryTitle);

    wchar_t text[1024];
    _snwprintf_s(text, 1024, _TRUNCATE, L"%s:\"%s\"", kLibraryTitle, m_applicationName);
    CDebugTrace::Instance()->OutputDebugStringW(CDebugTrace::DEBUG_MSG_LEVEL_4, text, "CKVRN_DllMain::Load", __LINE__);
    CDebugTrace::Instance()->OutputDebugStringW(CDebugTrace::DEBUG_MSG_LEVEL_0, L"CKVRN_DllMain::Load(): exit",
                                                "CKVRN_DllMain::Load", __LINE__);
}

void CKVRN_DllMain::Unload()
{
    const WindowClassFlag classes[] = {
        { &s_advisoryClassRegistered, L"Veskon Advisory" },
        { &s_translucentClassRegistered, L"TranslucentWindowClass" },
        { &s_buttonWindowClassRegistered, L"ButtonWindow" },
        { &s_tooltipClassRegistered, L"VeskonTooltipWindowClass" },
    };
    for (const WindowClassFlag& c : classes)
    {
        if (*c.registered)
        {
            UnregisterClassW(c.name, m_hInstance);
            *c.registered = false;
        }
    }
    EnterCriticalSection(&m_dlgListLock);
    m_dlgList.clear();
    LeaveCriticalSection(&m_dlgListLock);
    if (s_deleteImageManager)
        s_deleteImageManager();
    if (s_deleteIconCache)
        s_deleteIconCache();
    if (s_deleteWindowManager)
        s_deleteWindowManager();
    CDebugTrace::Instance()->OutputDebugStringW(CDebugTrace::DEBUG_MSG_LEVEL_0, L"CKVRN_DllMain::Unload()",
                                                "CKVRN_DllMain::Unload", __LINE__);
    if (CDebugTrace::Exists())
        delete CDebugTrace::Instance();
    delete m_eventLog;
    m_eventLog = nullptr;
    if (CLocalize::Exists())
        delete CLocalize::Instance();
}

HINSTANCE CKVRN_DllMain::GethInstance()
{
    return m_hInstance;
}

namespace
{
wchar_t* CopyOut(wchar_t* dst, int dstSize, const wchar_t* src)
{
    if (dst && dstSize >= 1)
        wcsncpy_s(dst, static_cast<size_t>(dstSize), src, _TRUNCATE);
    return dst;
}
}

wchar_t* CKVRN_DllMain::GetAppName(wchar_t* dst, int dstSize)
{
    return CopyOut(dst, dstSize, m_applicationName);
}

wchar_t* CKVRN_DllMain::GetApplicationFilename(wchar_t* dst, int dstSize)
{
    return CopyOut(dst, dstSize, m_applicationFilename);
}

wchar_t* CKVRN_DllMain::GetModuleFilename(wchar_t* dst, int dstSize)
{
    return CopyOut(dst, dstSize, m_moduleFilename);
}

wchar_t* CKVRN_DllMain::GetApplicationFolder(wchar_t* dst, int dstSize)
{
    return CopyOut(dst, dstSize, m_applicationFolder);
}

wchar_t* CKVRN_DllMain::FindApplicationFilename()
{
    const wchar_t* start = m_commandLine;
    wchar_t closing = L' ';
    if (*start == L'\'' || *start == L'"')
        closing = *start++;
    const wchar_t* end = wcschr(start, closing);
    // An application file name of 260 characters or more stops the process, as intended.
    if (end)
        veskon::StrictCopy(m_applicationFilename, MAX_PATH, start, static_cast<size_t>(end - start));
    else
        veskon::StrictCopy(m_applicationFilename, MAX_PATH, start);
    return m_applicationFilename;
}

void CKVRN_DllMain::AddDlgToDlgList(HWND dlg)
{
    EnterCriticalSection(&m_dlgListLock);
    m_dlgList.push_back(dlg);
    LeaveCriticalSection(&m_dlgListLock);
}

void CKVRN_DllMain::RemoveFromDlgList(HWND /*dlg*/)
{
    // Deliberately empty: entries stay until unload, and IsDlgMsg skips dead handles.
}

bool CKVRN_DllMain::IsDlgMsg(MSG& msg)
{
    // Walk a copy: IsDialogMessageW may send to a dialog of another thread, which must be free
    // to register meanwhile.
    EnterCriticalSection(&m_dlgListLock);
    std::vector<HWND> dialogs(m_dlgList);
    LeaveCriticalSection(&m_dlgListLock);
    if (dialogs.empty())
        return false;
    for (HWND dlg : dialogs)
    {
        if (IsWindow(dlg) && dlg == GetForegroundWindow() && IsDialogMessageW(dlg, &msg))
            return true;
    }
    return false;
}

bool CKVRN_DllMain::IsTrustedDLL(wchar_t* path, bool& trusted, bool& second)
{
    trusted = false;
    second = false;
    if (!path || !*path || !CFileIO::FileExists(path))
        return false;
    wchar_t full[MAX_PATH] = {};
    if (!GetFullPathNameW(path, MAX_PATH, full, nullptr))
        return false;
    wchar_t ownFolder[MAX_PATH] = {};
    CFileIO::GetCurrentFolder(s_hModule, ownFolder, MAX_PATH);
    wchar_t systemFolder[MAX_PATH] = {};
    GetSystemDirectoryW(systemFolder, MAX_PATH);
    trusted = IsInFolder(full, ownFolder) || IsInFolder(full, systemFolder);
    second = trusted && HasValidSignature(full);
    return true;
}

CXEventLog* CKVRN_DllMain::GetEventLog()
{
    return m_eventLog;
}

// The library's entry point records its module handle and nothing else: every service is
// created on first use and torn down by the host.
extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID /*reserved*/)
{
    if (reason == DLL_PROCESS_ATTACH)
    {
        DisableThreadLibraryCalls(module);
        CKVRN_DllMain::s_hModule = module;
    }
    return TRUE;
}
