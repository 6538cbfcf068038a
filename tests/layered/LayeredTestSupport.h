#pragma once
// Fixtures of the layered-window suites: PNG images made with GDI+ in a scratch folder, a DIB to
// paint buttons into, and a scripted window that runs test steps from a timer of its own while
// Load() blocks the test thread.
#include <windows.h>
#include <functional>
#include <list>
#include <string>
#include <vector>
#include <gtest/gtest.h>
#include "layered/AlphaChannelWindow.h"
#include "support/TestSupport.h"

namespace layered_test
{
// A w x h PNG filled with `fill` (ARGB), with `inner` (ARGB) over the rectangle `innerRect` when
// it is not empty.
bool WritePng(const std::wstring& path, int w, int h, Gdiplus::ARGB fill, RECT innerRect = RECT{},
              Gdiplus::ARGB inner = 0);

// A 32-bit top-down DIB selected into a memory DC, cleared to `background` (BGRA as a DWORD).
class Canvas
{
public:
    Canvas(int w, int h, DWORD background = 0);
    ~Canvas();
    HDC Dc() const { return m_dc; }
    DWORD At(int x, int y) const { return m_bits[static_cast<size_t>(y) * m_width + x]; }
    // Colour bytes without alpha, 0x00RRGGBB.
    DWORD Rgb(int x, int y) const { return At(x, y) & 0x00FFFFFF; }

private:
    int m_width;
    HDC m_dc;
    HBITMAP m_bitmap;
    HGDIOBJ m_old;
    DWORD* m_bits;
};

// The 32-bit pixel (B, G, R, A in memory) at (x, y) of the DIB selected into dc.
DWORD DibPixel(HDC dc, int x, int y);

// Every test of the layered suites: its own folder for images, the image manager emptied after it
// (GDI+ holds image files open) and the cursor parked at the top-left corner, away from the
// windows, which all sit bottom-right or centred.
class LayeredTest : public ::testing::Test
{
protected:
    void SetUp() override;
    void TearDown() override;
    // A PNG in the test's folder; returns its path.
    std::wstring Png(const std::wstring& name, int w, int h, Gdiplus::ARGB fill, RECT innerRect = RECT{},
                     Gdiplus::ARGB inner = 0);
    wchar_t* Path(const std::wstring& path);

    veskon_test::ScratchFolder m_folder;
    std::list<std::wstring> m_paths;  // stable storage for wchar_t* arguments
    std::vector<std::wstring> m_written;  // PNGs already made (an image in use cannot be rewritten)
};

// A notification window that runs `steps` from a timer of its own, one step per tick
// (default 60 ms); a step returns false to be run again on the next tick (waiting for a
// condition). After the last step, or when the whole script takes longer than `limitMs`, the
// window is closed with WM_COMMAND 200 so that Load always returns.
class ScriptedWindow : public CAlphaChannelWindow
{
public:
    typedef std::function<bool(ScriptedWindow&)> Step;

    ScriptedWindow();
    void Add(const std::string& name, Step step);
    // Runs Load with the given images and buttons at the given position.
    void Run(wchar_t* up, std::list<CAlphaChannelButton*> buttons = {},
             ALPHA_CHANNEL_WINDOW_POSITION position = POSITION_BOTTOM_RIGHT, wchar_t* hover = nullptr);

    void Paint(HDC dc, int x, int y, int width, int height) override;
    void BeforeFadeIn() override;
    void AfterFadeOut() override;
    void AutoScroll() override;

    // What the test reads afterwards.
    HWND published = nullptr;            // the handle Load published
    std::vector<int> alphas;             // alpha of every composition, in order
    std::vector<int> states;             // fade state of every composition
    std::vector<DWORD> backgroundPixels; // pixel (probeX, probeY) of the background at each composition
    int probeX = 1, probeY = 1;
    int afterFadeOutCalls = 0;
    bool timedOut = false;
    std::string failedStep;              // name of the step that was running at the time-out
    RECT rectAtStart = {};               // window rectangle before it showed
    int stepPeriod = 60;
    int limitMs = 15000;
    SCROLL_METHOD scrollMethod = SCROLL_NONE;
    int autoScrollCalls = 0;
    int autoScrollCallsDuringFadeIn = 0;

    // Access for steps.
    bool CloseRequested() const { return m_closeRequested; }
    std::list<CAlphaChannelButton*>& Buttons() { return m_buttons; }
    CAlphaChannelButton* ButtonAt(int index);
    int FocusedIndex();
    // Screen point at the centre of a button.
    POINT ButtonCentre(CAlphaChannelButton* button);
    // Moves the cursor and posts the mouse messages a click on that button makes.
    void PostClick(CAlphaChannelButton* button);
    void PostMouse(UINT message, POINT screen);

    // Indexes into `alphas` where the fade state first became s (or -1).
    int FirstComposition(int state) const;

private:
    static void CALLBACK Tick(HWND hwnd, UINT, UINT_PTR id, DWORD);
    struct Named
    {
        std::string name;
        Step step;
    };
    std::vector<Named> m_steps;
    size_t m_next = 0;
    ULONGLONG m_start = 0;
};

// Step builders: run an action once, wait for a condition, let `ms` milliseconds pass.
ScriptedWindow::Step Do(std::function<void(ScriptedWindow&)> action);
ScriptedWindow::Step Wait(std::function<bool(ScriptedWindow&)> condition);
ScriptedWindow::Step Pause(int ms);
// Waits until the fade-in has finished (idle at the maximum alpha).
ScriptedWindow::Step FadedIn();

// Sends real input (through the system's input queue, so that GetAsyncKeyState sees it).
void SendMouseButton(bool down);
void SendKey(WORD vk, bool down);
}
