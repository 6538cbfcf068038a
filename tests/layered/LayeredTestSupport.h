#pragma once
// Fixtures of the layered-window suites: PNG images in a scratch folder, a DIB to paint buttons
// into, and a scripted window that runs test steps from a timer of its own while Load() blocks
// the test thread.
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
// A 32-bit top-down DIB selected into a memory DC, cleared to `background` (0x00RRGGBB).
class Canvas
{
public:
    Canvas(int w, int h, DWORD background = 0);
    ~Canvas();
    HDC Dc() const { return m_dc; }
    // Colour bytes without alpha, 0x00RRGGBB.
    DWORD Rgb(int x, int y) const { return m_bits[static_cast<size_t>(y) * m_width + x] & 0x00FFFFFF; }

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
    void SetUp() override { SetCursorPos(0, 0); }
    void TearDown() override;
    // A PNG of one colour in the test's folder, written once (an image in use cannot be rewritten).
    std::wstring Png(const std::wstring& name, int w, int h, Gdiplus::ARGB fill);
    // A stable wchar_t* copy of the text, for the library's non-const arguments.
    wchar_t* Path(const std::wstring& text);

    veskon_test::ScratchFolder m_folder;
    std::list<std::wstring> m_paths;
};

// A notification window that runs `steps` from a timer of its own, one step per tick
// (default 60 ms); a step returns false to be run again on the next tick (waiting for a
// condition). After the last step, or when the whole script takes longer than 15 s, the
// window is closed with WM_COMMAND 200 so that Load always returns.
class ScriptedWindow : public CAlphaChannelWindow
{
public:
    typedef std::function<bool(ScriptedWindow&)> Step;

    ScriptedWindow() { m_windowHandleSlot = &published; }
    void Add(const std::string& name, Step step) { m_steps.emplace_back(name, step); }
    // Runs Load with the given background and buttons at the given position.
    void Run(wchar_t* up, std::list<CAlphaChannelButton*> buttons = {},
             ALPHA_CHANNEL_WINDOW_POSITION position = POSITION_BOTTOM_RIGHT)
    {
        Load(nullptr, up, nullptr, nullptr, nullptr, buttons, position, scrollMethod, nullptr, const_cast<wchar_t*>(L"Test"));
    }

    void Paint(HDC dc, int x, int y, int width, int height) override;
    void BeforeFadeIn() override;
    void AfterFadeOut() override;
    void AutoScroll() override { ++(m_fadeState == FADE_IN ? autoScrollCallsDuringFadeIn : autoScrollCalls); }

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
    SCROLL_METHOD scrollMethod = SCROLL_NONE;
    int autoScrollCalls = 0;             // after the fade-in
    int autoScrollCallsDuringFadeIn = 0;

    // Access for steps.
    bool CloseRequested() const { return m_closeRequested; }
    std::list<CAlphaChannelButton*>& Buttons() { return m_buttons; }
    CAlphaChannelButton* ButtonAt(int index) { return *std::next(m_buttons.begin(), index); }
    int FocusedIndex();
    // Screen point of the window's client point (x, y), and of a button's centre.
    POINT At(int x, int y);
    POINT ButtonCentre(CAlphaChannelButton* button);
    // Moves the cursor there and posts the mouse message; a click posts move, down and up.
    void PostMouse(UINT message, POINT screen);
    void PostClick(CAlphaChannelButton* button);
    // WM_NCHITTEST at the screen point, with the cursor on it.
    LRESULT HitTest(POINT screen);

private:
    static void CALLBACK Tick(HWND hwnd, UINT, UINT_PTR id, DWORD);
    std::vector<std::pair<std::string, Step>> m_steps;
    size_t m_next = 0;
    ULONGLONG m_start = 0;
};

// Step builders: run an action once, let `ms` milliseconds pass, wait until the fade-in has
// finished (idle at the maximum alpha), wait while the window ends by itself.
ScriptedWindow::Step Do(std::function<void(ScriptedWindow&)> action);
ScriptedWindow::Step Pause(int ms);
ScriptedWindow::Step FadedIn();
ScriptedWindow::Step UntilClosed();

// Real input (through the system's input queue, so that GetAsyncKeyState sees it).
inline void SendMouseButton(bool down)
{
    mouse_event(down ? MOUSEEVENTF_LEFTDOWN : MOUSEEVENTF_LEFTUP, 0, 0, 0, 0);
}
inline void SendKey(WORD vk, bool down)
{
    keybd_event(static_cast<BYTE>(vk), 0, down ? 0 : KEYEVENTF_KEYUP, 0);
}
}
