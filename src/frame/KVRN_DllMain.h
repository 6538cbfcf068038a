#pragma once
// CKVRN_DllMain: the library's frame. A process-wide singleton created by the first Instance()
// call; it knows the library's module and folder, the host application's file name, name and
// command line, owns the event-log writer and keeps the list of modeless dialogs whose keyboard
// messages the host's loop routes through IsDlgMsg().
//
// Creation: Instance() allocates the object, stores the singleton pointer, then loads (names,
// localization, event log, two trace lines). Destruction is the host's job: `delete
// CKVRN_DllMain::Instance();` before the library is unloaded. It unregisters the library's window
// classes and deletes the other singletons in a fixed order. Nothing happens at process detach.
#include <windows.h>
#include <vector>
#include "Export.h"

class CXEventLog;

class VESKON_API CKVRN_DllMain
{
public:
    static CKVRN_DllMain* Instance();
    ~CKVRN_DllMain() noexcept;
    CKVRN_DllMain(const CKVRN_DllMain&) = delete;
    CKVRN_DllMain& operator=(const CKVRN_DllMain&) = delete;

    HINSTANCE GethInstance();
    // Each getter copies into dst (bounded by dstSize) and returns dst; a null dst or a size
    // below 1 copies nothing.
    wchar_t* GetAppName(wchar_t* dst, int dstSize);
    wchar_t* GetApplicationFilename(wchar_t* dst, int dstSize);
    wchar_t* GetModuleFilename(wchar_t* dst, int dstSize);
    wchar_t* GetApplicationFolder(wchar_t* dst, int dstSize);
    // Re-derives the application file name from the stored command line: the first token,
    // which may be quoted with double quotes or apostrophes.
    wchar_t* FindApplicationFilename();

    void AddDlgToDlgList(HWND dlg);
    void RemoveFromDlgList(HWND dlg);
    // Offers msg to the registered modeless dialog that is the foreground window.
    bool IsDlgMsg(MSG& msg);

    // Trust test of a module file: `trusted` is set when the file lies in the library's own
    // folder or in the system folder, `second` when it also carries a valid Authenticode
    // signature. Returns false when the file cannot be found.
    static bool IsTrustedDLL(wchar_t* path, bool& trusted, bool& second);

    // The event-log writer (may be null when it could not be created).
    CXEventLog* GetEventLog();

    // Registration flags of the library's window classes. Each class sets its own flag when it
    // registers; the unload unregisters exactly those that are set.
    static bool s_advisoryClassRegistered;     // "Veskon Advisory"
    static bool s_translucentClassRegistered;  // "TranslucentWindowClass"
    static bool s_buttonWindowClassRegistered; // "ButtonWindow"
    static bool s_tooltipClassRegistered;      // "VeskonTooltipWindowClass"

    // Clean-up of the image manager and the icon cache, installed by each when its singleton is
    // created, so that the unload can delete them in order without depending on them.
    static void (*s_deleteImageManager)();
    static void (*s_deleteIconCache)();
    // The same for the layered windows' placement manager.
    static void (*s_deleteWindowManager)();

    // Stored by the entry point on process attach.
    static HINSTANCE s_hModule;

private:
    CKVRN_DllMain();
    void Load();
    void Unload();

    CXEventLog* m_eventLog;
    HINSTANCE m_hInstance;
    wchar_t m_applicationFilename[MAX_PATH];
    wchar_t m_moduleFilename[MAX_PATH];
    wchar_t m_applicationName[MAX_PATH];
    wchar_t m_applicationFolder[MAX_PATH];
    wchar_t m_commandLine[1024];
    std::vector<HWND> m_dlgList;
    // Modeless dialogs that run on threads of their own (the modeless message window) register
    // from there while the host's thread walks the list: the list is guarded, the walk is not.
    CRITICAL_SECTION m_dlgListLock;
};
