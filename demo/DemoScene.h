#pragma once
// The demo host runs a sequence of scenes, each in its own file, registered at start-up:
//
//   VESKON_DEMO_SCENE(510, StackedNotifications)
//   {
//       ctx.Caption(L"Two notifications stacked");   // shown on the backdrop and in the report
//       ... use the library as an application would ...
//       ctx.Screenshot(L"stacked_full_alpha");         // out/demo/<NN>_stacked_full_alpha.png
//   }
//
// Scenes run in ascending order (100s frame, 200s registry and errors, 300s localization,
// 400s images and INI, 500s layered windows). A scene reports what it saw with ctx.Report()
// and ctx.Check(); a failed check is listed at the end and makes the demo exit with 1.
#include <windows.h>
#include <string>
#include <vector>

class DemoContext
{
public:
    virtual ~DemoContext() {}
    // Sets the backdrop's heading and writes it to the report.
    virtual void Caption(const std::wstring& text) = 0;
    // One line in the report (out/demo/report.txt and standard output).
    virtual void Report(const std::wstring& text) = 0;
    // Reports `what` with OK or FAILED; returns ok.
    virtual bool Check(bool ok, const std::wstring& what) = 0;
    // Captures the whole screen to out/demo/<serial>_<name>.png; returns the file's path.
    virtual std::wstring Screenshot(const std::wstring& name) = 0;
    // Pumps messages (through the library's dialog filter) for `ms` milliseconds.
    virtual void Pump(int ms) = 0;
    // The demo's output folder (Windows path) and a scratch folder inside it for files a scene
    // makes; the scratch folder is removed at the end.
    virtual std::wstring OutputFolder() = 0;
    virtual std::wstring ScratchFolder() = 0;
    // The backdrop window (a full-screen pattern behind everything the scenes show).
    virtual HWND Backdrop() = 0;
    // A plain window on the backdrop listing text lines (what a scene read back, for the
    // screenshot); a second call replaces the lines, HidePanel() removes it.
    virtual void ShowPanel(const std::wstring& title, const std::vector<std::wstring>& lines) = 0;
    virtual void HidePanel() = 0;
};

typedef void (*DemoSceneFunction)(DemoContext& ctx);

struct DemoSceneRegistrar
{
    DemoSceneRegistrar(int order, const wchar_t* name, DemoSceneFunction run);
};

#define VESKON_DEMO_SCENE(order, name)                                                               \
    static void DemoScene_##name(DemoContext& ctx);                                                  \
    static DemoSceneRegistrar DemoSceneRegistrar_##name(order, L## #name, &DemoScene_##name);         \
    static void DemoScene_##name(DemoContext& ctx)
