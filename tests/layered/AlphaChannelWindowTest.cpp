#include "LayeredTestSupport.h"
#include <memory>
#include <thread>
#include "files/IniFile.h"
#include "frame/KVRN_DllMain.h"
#include "layered/AlphaChannelImage.h"

using namespace layered_test;

namespace
{
const Gdiplus::ARGB kBackground = 0xFF3060A0;
const Gdiplus::ARGB kButtonUp = 0xFFE0E0E0;
const Gdiplus::ARGB kButtonHover = 0xFFF0C040;
const int kWidth = 240;
const int kHeight = 120;

// Alphas of the compositions made in `state`, with repeats (focus changes compose too) removed.
// Compositions before the first fade tick (the window getting the focus at alpha 0) are left out.
std::vector<int> AlphasIn(const ScriptedWindow& w, int state)
{
    std::vector<int> out;
    size_t i = 0;
    while (i < w.alphas.size() && w.alphas[i] == 0 && w.states[i] != CAlphaChannelWindow::FADE_OUT)
        ++i;
    for (; i < w.alphas.size(); ++i)
    {
        if (w.states[i] == state && (out.empty() || out.back() != w.alphas[i]))
            out.push_back(w.alphas[i]);
    }
    return out;
}

struct ButtonLog
{
    std::vector<int> reasons;
};

void LogReason(CAlphaChannelButton*, CAlphaChannelButton::BUTTON_CALLBACK_REASON reason, void* context)
{
    static_cast<ButtonLog*>(context)->reasons.push_back(reason);
}

// Puts the cursor on the window and presses Esc, which starts the fade-out of an autokill window.
ScriptedWindow::Step EscWithCursorInside()
{
    return Do([](ScriptedWindow& s) {
        RECT r;
        GetWindowRect(s.GetHwnd(), &r);
        SetCursorPos((r.left + r.right) / 2, r.top + 10);
        PostMessageW(s.GetHwnd(), WM_CHAR, VK_ESCAPE, 0);
    });
}

// A last step that waits while the window ends by itself.
ScriptedWindow::Step UntilClosed()
{
    return Wait([](ScriptedWindow&) { return false; });
}

class WindowTest : public LayeredTest
{
protected:
    wchar_t* Background(int w = kWidth, int h = kHeight)
    {
        return Path(Png(L"background" + std::to_wstring(w) + L"x" + std::to_wstring(h) + L".png", w, h, kBackground));
    }
    // Three 40 x 24 buttons side by side along the bottom, with the given command ids.
    std::list<CAlphaChannelButton*> Buttons(std::initializer_list<int> ids, ButtonLog* log = nullptr)
    {
        wchar_t* up = Path(Png(L"button.png", 40, 24, kButtonUp));
        wchar_t* hover = Path(Png(L"button_hover.png", 40, 24, kButtonHover));
        std::list<CAlphaChannelButton*> list;
        int x = 20;
        for (int id : ids)
        {
            CAlphaChannelButton* b = new CAlphaChannelButton();
            b->SetUpImageFilename(up);
            b->SetHoverImageFilename(hover);
            RECT r = { x, 80, x + 40, 104 };
            b->SetRectangle(r);
            b->SetCommandID(id);
            b->SetAutoClose(true);
            if (log)
            {
                b->SetButtonCallback(&LogReason);
                b->SetButtonContext(log);
            }
            list.push_back(b);
            x += 60;
        }
        return list;
    }
};
}

TEST_F(WindowTest, FadesInBySixteenAndCommand200ClosesAtOnce)
{
    ScriptedWindow w;
    w.Add("faded in", FadedIn());
    w.Add("close", Do([](ScriptedWindow& s) { PostMessageW(s.GetHwnd(), WM_COMMAND, 200, 0); }));
    w.Run(Background());

    ASSERT_FALSE(w.timedOut) << w.failedStep;
    ASSERT_NE(nullptr, w.published);
    EXPECT_FALSE(IsWindow(w.published));
    EXPECT_EQ(nullptr, w.GetHwnd());
    EXPECT_EQ(CAlphaChannelWindow::FADE_CLOSED, w.GetFadeState());
    EXPECT_EQ(1, w.afterFadeOutCalls);
    EXPECT_EQ(-1, w.GetClickedButtonID());
    EXPECT_TRUE(w.InitCompleted());

    std::vector<int> fadeIn = AlphasIn(w, CAlphaChannelWindow::FADE_IN);
    ASSERT_EQ(15u, fadeIn.size());
    for (size_t i = 0; i < fadeIn.size(); ++i)
        EXPECT_EQ(16 * static_cast<int>(i + 1), fadeIn[i]);
    EXPECT_EQ(std::vector<int>{ 255 }, AlphasIn(w, CAlphaChannelWindow::FADE_IDLE));
    EXPECT_TRUE(AlphasIn(w, CAlphaChannelWindow::FADE_OUT).empty());  // no fading on 200

    const int screenWidth = GetSystemMetrics(SM_CXSCREEN);
    const int screenHeight = GetSystemMetrics(SM_CYSCREEN);
    EXPECT_EQ(screenWidth - kWidth - 32, w.rectAtStart.left);
    EXPECT_EQ(screenHeight - kHeight - 48, w.rectAtStart.top);
    EXPECT_EQ(kWidth, w.rectAtStart.right - w.rectAtStart.left);
}

TEST_F(WindowTest, WindowHasTheClassStyleAndIcons)
{
    ScriptedWindow w;
    std::wstring className;
    LONG_PTR exStyle = 0;
    HICON big = nullptr, small = nullptr;
    DWORD classStyle = 0;
    w.Add("faded in", FadedIn());
    w.Add("inspect", Do([&](ScriptedWindow& s) {
              wchar_t name[64] = {};
              GetClassNameW(s.GetHwnd(), name, 64);
              className = name;
              exStyle = GetWindowLongPtrW(s.GetHwnd(), GWL_EXSTYLE);
              classStyle = static_cast<DWORD>(GetClassLongPtrW(s.GetHwnd(), GCL_STYLE));
              big = reinterpret_cast<HICON>(SendMessageW(s.GetHwnd(), WM_GETICON, ICON_BIG, 0));
              small = reinterpret_cast<HICON>(SendMessageW(s.GetHwnd(), WM_GETICON, ICON_SMALL, 0));
          }));
    w.Run(Background());
    EXPECT_EQ(L"Veskon Advisory", className);
    EXPECT_TRUE(CKVRN_DllMain::s_advisoryClassRegistered);
    EXPECT_EQ(static_cast<DWORD>(CS_HREDRAW | CS_VREDRAW | CS_DBLCLKS), classStyle);
    EXPECT_NE(0, exStyle & WS_EX_LAYERED);
    EXPECT_EQ(WS_EX_APPWINDOW | WS_EX_LAYERED, exStyle & (WS_EX_APPWINDOW | WS_EX_LAYERED | WS_EX_TOOLWINDOW));
    EXPECT_NE(nullptr, big);
    EXPECT_NE(nullptr, small);
}

TEST_F(WindowTest, FrameUnloadUnregistersTheClass)
{
    ScriptedWindow w;
    w.Run(Background());
    ASSERT_TRUE(CKVRN_DllMain::s_advisoryClassRegistered);
    HINSTANCE library = CKVRN_DllMain::Instance()->GethInstance();
    WNDCLASSEXW wc = { sizeof(wc) };
    ASSERT_TRUE(GetClassInfoExW(library, L"Veskon Advisory", &wc));
    delete CKVRN_DllMain::Instance();
    EXPECT_FALSE(CKVRN_DllMain::s_advisoryClassRegistered);
    EXPECT_FALSE(GetClassInfoExW(library, L"Veskon Advisory", &wc));
}

TEST_F(WindowTest, EveryCompositionPremultipliesAFreshCopy)
{
    // A translucent background: GDI+ already hands its DIB back premultiplied, and the window
    // premultiplies once more; the result must be the same at every composition.
    const Gdiplus::ARGB translucent = 0x80C86432;  // A 128, R 200, G 100, B 50
    wchar_t* up = Path(Png(L"translucent.png", 100, 60, translucent));
    ScriptedWindow w;
    w.probeX = 10;
    w.probeY = 10;
    w.Add("faded in", FadedIn());
    w.Add("compose twice more", Do([](ScriptedWindow& s) {
              s.BuildImage();
              s.BuildImage();
          }));
    w.Run(up);
    ASSERT_FALSE(w.timedOut);
    ASSERT_GE(w.backgroundPixels.size(), 17u);

    // What GDI+ hands back for the file, premultiplied once more.
    Gdiplus::Bitmap file(up, FALSE);
    HBITMAP dib = nullptr;
    ASSERT_EQ(Gdiplus::Ok, file.GetHBITMAP(Gdiplus::Color(0), &dib));
    CAlphaChannelImage::PreMultiplyRGBChannels(dib, 100, 60);
    HDC dc = CreateCompatibleDC(nullptr);
    HGDIOBJ old = SelectObject(dc, dib);
    const DWORD expected = DibPixel(dc, 10, 10);
    SelectObject(dc, old);
    DeleteDC(dc);
    DeleteObject(dib);
    EXPECT_EQ(0x80u, expected >> 24);
    for (DWORD pixel : w.backgroundPixels)
        EXPECT_EQ(expected, pixel);
}

TEST_F(WindowTest, ScreenShowsTheWindowAtFullAndPartialAlpha)
{
    ScriptedWindow w;
    veskon_test::Pixels partial, full;
    int partialAlpha = -1;
    w.stepPeriod = 20;
    w.Add("mid-fade", Wait([&](ScriptedWindow& s) {
              if (s.GetAlpha() < 96 || s.GetFadeState() != CAlphaChannelWindow::FADE_IN)
                  return false;
              partialAlpha = s.GetAlpha();
              partial = veskon_test::CaptureWindow(s.GetHwnd());
              return true;
          }));
    w.Add("faded in", FadedIn());
    w.Add("capture", Do([&](ScriptedWindow& s) { full = veskon_test::CaptureWindow(s.GetHwnd()); }));
    w.Run(Background());
    ASSERT_FALSE(w.timedOut) << w.failedStep;
    ASSERT_EQ(kWidth, full.width);
    ASSERT_EQ(kWidth, partial.width);
    // Opaque background at full alpha: the file's colour exactly.
    EXPECT_EQ(0x30, full.Red(50, 50));
    EXPECT_EQ(0x60, full.Green(50, 50));
    EXPECT_EQ(0xA0, full.Blue(50, 50));
    // Part-way through the fade the screen shows less of it.
    EXPECT_GT(partialAlpha, 0);
    EXPECT_LT(partialAlpha, 255);
    EXPECT_NE(full.At(50, 50) & 0xFFFFFF, partial.At(50, 50) & 0xFFFFFF);
}

TEST_F(WindowTest, ButtonClickSendsItsCommandAndFadesOutFast)
{
    ButtonLog log;
    ScriptedWindow w;
    w.Add("faded in", FadedIn());
    w.Add("click", Do([](ScriptedWindow& s) { s.PostClick(s.ButtonAt(1)); }));
    w.Run(Background(), Buttons({ 6, 7, 2 }, &log));

    ASSERT_FALSE(w.timedOut) << w.failedStep;
    EXPECT_EQ(7, w.GetClickedButtonID());
    EXPECT_TRUE(w.CloseRequested());
    ASSERT_GE(log.reasons.size(), 2u);
    EXPECT_EQ(CAlphaChannelButton::BUTTON_REASON_DOWN, log.reasons.front());
    EXPECT_EQ(CAlphaChannelButton::BUTTON_REASON_CLICK, log.reasons.back());
    // 255 falls by 48 per tick once the command arrived: 207, 159, 111, 63, 15, then 0 closes.
    std::vector<int> fadeOut = AlphasIn(w, CAlphaChannelWindow::FADE_OUT);
    std::vector<int> expected = { 207, 159, 111, 63, 15, 0 };
    if (!fadeOut.empty() && fadeOut.front() == 255)
        fadeOut.erase(fadeOut.begin());
    EXPECT_EQ(expected, fadeOut);
    EXPECT_EQ(1, w.afterFadeOutCalls);
    // The window owned the buttons and deleted them.
    EXPECT_TRUE(w.Buttons().empty());
}

TEST_F(WindowTest, OtherCommandsAreRecordedWithoutClosing)
{
    ScriptedWindow w;
    int stateAfter = -1;
    w.Add("faded in", FadedIn());
    w.Add("command", Do([](ScriptedWindow& s) { PostMessageW(s.GetHwnd(), WM_COMMAND, MAKEWPARAM(42, 1), 0); }));
    w.Add("pause", Pause(150));
    w.Add("look", Do([&](ScriptedWindow& s) { stateAfter = s.GetFadeState(); }));
    w.Run(Background());
    EXPECT_EQ(CAlphaChannelWindow::FADE_IDLE, stateAfter);
    EXPECT_EQ(static_cast<int>(MAKEWPARAM(42, 1)), w.GetClickedButtonID());
}

TEST_F(WindowTest, HoverPressAndReleaseOutsideDoNotClick)
{
    ButtonLog log;
    ScriptedWindow w;
    bool hovered = false, pressed = false, down = false, focusMoved = false, leftUnpressed = false;
    w.Add("faded in", FadedIn());
    w.Add("hover", Do([](ScriptedWindow& s) { s.PostMouse(WM_MOUSEMOVE, s.ButtonCentre(s.ButtonAt(2))); }));
    w.Add("hovered", Wait([&](ScriptedWindow& s) { return hovered = s.ButtonAt(2)->Hovered(); }));
    w.Add("press", Do([](ScriptedWindow&) { SendMouseButton(true); }));
    w.Add("pressed", Wait([&](ScriptedWindow& s) {
              pressed = s.ButtonAt(2)->Pressed();
              down = s.GetDownButton() == s.ButtonAt(2);
              focusMoved = s.FocusedIndex() == 2;
              return pressed;
          }));
    w.Add("drag off the button", Do([](ScriptedWindow& s) {
              RECT r;
              GetWindowRect(s.GetHwnd(), &r);
              SetCursorPos(r.left + 5, r.top + 5);
          }));
    w.Add("unpressed", Wait([&](ScriptedWindow& s) {
              leftUnpressed = !s.ButtonAt(2)->Pressed() && !s.ButtonAt(2)->Hovered();
              return leftUnpressed;
          }));
    // Released over the background, which is caption area for the system: no button-up reaches
    // the buttons, and nothing is clicked.
    w.Add("release", Do([](ScriptedWindow&) { SendMouseButton(false); }));
    w.Add("pause", Pause(200));
    w.Run(Background(), Buttons({ 6, 7, 2 }, &log));
    SendMouseButton(false);
    ASSERT_FALSE(w.timedOut) << w.failedStep;
    EXPECT_TRUE(hovered);
    EXPECT_TRUE(pressed);
    EXPECT_TRUE(down);
    EXPECT_TRUE(focusMoved);
    EXPECT_TRUE(leftUnpressed);
    EXPECT_EQ(-1, w.GetClickedButtonID());
    ASSERT_FALSE(log.reasons.empty());
    EXPECT_EQ(CAlphaChannelButton::BUTTON_REASON_DOWN, log.reasons.front());
    for (int reason : log.reasons)
        EXPECT_NE(CAlphaChannelButton::BUTTON_REASON_CLICK, reason);
}

TEST_F(WindowTest, RepeaterCallsBackWhileHeld)
{
    ButtonLog log;
    ScriptedWindow w;
    std::thread releaser;
    bool pressedAfter = true, hoveredAfter = false;
    w.Add("faded in", FadedIn());
    w.Add("hold", Do([&](ScriptedWindow& s) {
              s.ButtonAt(0)->SetRepeater(true);
              POINT p = s.ButtonCentre(s.ButtonAt(0));
              SetCursorPos(p.x, p.y);
              // The repeat loop does not pump: only input from another thread ends it.
              releaser = std::thread([] {
                  Sleep(300);
                  SendMouseButton(false);
              });
              SendMouseButton(true);
          }));
    w.Add("released", Wait([&](ScriptedWindow& s) {
              pressedAfter = s.ButtonAt(0)->Pressed() || s.ButtonAt(0)->Down();
              hoveredAfter = s.ButtonAt(0)->Hovered();
              return log.reasons.size() > 2 && !pressedAfter;
          }));
    w.Add("pause", Pause(100));
    w.Run(Background(), Buttons({ 6 }, &log));
    if (releaser.joinable())
        releaser.join();
    SendMouseButton(false);
    ASSERT_FALSE(w.timedOut) << w.failedStep;
    size_t downs = 0;
    for (int reason : log.reasons)
        downs += reason == CAlphaChannelButton::BUTTON_REASON_DOWN ? 1 : 0;
    EXPECT_GT(downs, 2u);
    EXPECT_FALSE(pressedAfter);
    EXPECT_TRUE(hoveredAfter);
}

TEST_F(WindowTest, ScrollTimerRepeatsTheHeldButton)
{
    ButtonLog log;
    ScriptedWindow w;
    w.scrollMethod = CAlphaChannelWindow::SCROLL_REPEAT_BUTTON;
    size_t downsWhileHeld = 0;
    w.Add("faded in", FadedIn());
    w.Add("press", Do([](ScriptedWindow& s) {
              POINT p = s.ButtonCentre(s.ButtonAt(0));
              SetCursorPos(p.x, p.y);
              SendMouseButton(true);
          }));
    w.Add("repeating", Wait([&](ScriptedWindow&) {
              downsWhileHeld = 0;
              for (int reason : log.reasons)
                  downsWhileHeld += reason == CAlphaChannelButton::BUTTON_REASON_DOWN ? 1 : 0;
              return downsWhileHeld >= 4;
          }));
    w.Add("release elsewhere", Do([](ScriptedWindow& s) {
              RECT r;
              GetWindowRect(s.GetHwnd(), &r);
              SetCursorPos(r.left + 5, r.top + 5);
              SendMouseButton(false);
          }));
    w.Add("pause", Pause(150));
    w.Run(Background(), Buttons({ 6 }, &log));
    SendMouseButton(false);
    ASSERT_FALSE(w.timedOut) << w.failedStep;
    EXPECT_GE(downsWhileHeld, 4u);  // one from the press, the rest from the 25 ms scroll timer
}

TEST_F(WindowTest, HitTestDragsByTheBackgroundAndNotByButtons)
{
    ScriptedWindow w;
    LRESULT onButton = 0, onBackground = 0;
    w.Add("faded in", FadedIn());
    w.Add("hit test", Do([&](ScriptedWindow& s) {
              POINT p = s.ButtonCentre(s.ButtonAt(0));
              SetCursorPos(p.x, p.y);
              onButton = SendMessageW(s.GetHwnd(), WM_NCHITTEST, 0, MAKELPARAM(p.x, p.y));
              RECT r;
              GetWindowRect(s.GetHwnd(), &r);
              SetCursorPos(r.left + 5, r.top + 5);
              onBackground = SendMessageW(s.GetHwnd(), WM_NCHITTEST, 0, MAKELPARAM(r.left + 5, r.top + 5));
          }));
    w.Run(Background(), Buttons({ 1 }));
    EXPECT_EQ(HTCLIENT, onButton);
    EXPECT_EQ(HTCAPTION, onBackground);
}

TEST_F(WindowTest, DraggingTheBackgroundMovesTheWindow)
{
    ScriptedWindow w;
    RECT before = {}, after = {};
    w.Add("faded in", FadedIn());
    w.Add("press on background", Do([&](ScriptedWindow& s) {
              GetWindowRect(s.GetHwnd(), &before);
              SetCursorPos(before.left + 10, before.top + 10);
              SendMouseButton(true);
          }));
    w.Add("pause", Pause(200));
    w.Add("move", Do([&](ScriptedWindow&) { SetCursorPos(before.left - 90, before.top - 70); }));
    w.Add("pause", Pause(200));
    w.Add("release", Do([&](ScriptedWindow& s) {
              SendMouseButton(false);
          }));
    w.Add("moved", Wait([&](ScriptedWindow& s) {
              GetWindowRect(s.GetHwnd(), &after);
              return after.left != before.left;
          }));
    w.Run(Background(), Buttons({ 1 }));
    SendMouseButton(false);
    ASSERT_FALSE(w.timedOut) << w.failedStep;
    EXPECT_EQ(before.left - 100, after.left);
    EXPECT_EQ(before.top - 80, after.top);
}

TEST_F(WindowTest, ButtonlessAutokillWindowIsDismissedByAClick)
{
    ScriptedWindow w;
    w.SetAutokill(true);
    int stateBeforeClick = -1;
    w.Add("faded in", FadedIn());
    w.Add("press", Do([&](ScriptedWindow& s) {
              stateBeforeClick = s.GetFadeState();
              RECT r;
              GetWindowRect(s.GetHwnd(), &r);
              SetCursorPos((r.left + r.right) / 2, (r.top + r.bottom) / 2);
              SendMouseButton(true);
          }));
    w.Add("fading out", Wait([](ScriptedWindow& s) { return s.GetFadeState() == CAlphaChannelWindow::FADE_OUT; }));
    w.Add("release", Do([](ScriptedWindow&) { SendMouseButton(false); }));
    w.Add("closed", UntilClosed());  // the window ends by itself
    w.Run(Background());
    SendMouseButton(false);
    ASSERT_FALSE(w.timedOut) << w.failedStep;
    EXPECT_EQ(CAlphaChannelWindow::FADE_IDLE, stateBeforeClick);
    EXPECT_TRUE(w.CloseRequested());
    EXPECT_EQ(1, w.afterFadeOutCalls);
    // The cursor stays on the window, but a requested close is not held: 16 per tick down to 0.
    std::vector<int> fadeOut = AlphasIn(w, CAlphaChannelWindow::FADE_OUT);
    ASSERT_FALSE(fadeOut.empty());
    EXPECT_EQ(0, fadeOut.back());
    for (size_t i = 1; i + 1 < fadeOut.size(); ++i)
        EXPECT_EQ(16, fadeOut[i - 1] - fadeOut[i]);
}

TEST_F(WindowTest, ClickOnWindowWithButtonsDoesNotDismiss)
{
    ScriptedWindow w;
    w.SetAutokill(true);
    LRESULT hit = 0;
    int state = -1;
    w.Add("faded in", FadedIn());
    w.Add("press on background", Do([&](ScriptedWindow& s) {
              RECT r;
              GetWindowRect(s.GetHwnd(), &r);
              SetCursorPos(r.left + 5, r.top + 5);
              SendMouseButton(true);
          }));
    w.Add("pause", Pause(100));
    w.Add("hit test", Do([&](ScriptedWindow& s) {
              RECT r;
              GetWindowRect(s.GetHwnd(), &r);
              hit = SendMessageW(s.GetHwnd(), WM_NCHITTEST, 0, MAKELPARAM(r.left + 5, r.top + 5));
              state = s.GetFadeState();
              SendMouseButton(false);
          }));
    w.Run(Background(), Buttons({ 1 }));
    SendMouseButton(false);
    EXPECT_EQ(HTCAPTION, hit);
    EXPECT_NE(CAlphaChannelWindow::FADE_OUT, state);
    EXPECT_FALSE(w.CloseRequested());
}

TEST_F(WindowTest, CursorOverAnAutokillWindowHoldsTheFadeOut)
{
    ScriptedWindow w;
    w.SetAutokill(true);
    std::vector<int> heldAlphas;
    w.Add("faded in", FadedIn());
    w.Add("cursor in, Esc", EscWithCursorInside());
    w.Add("fading out", Wait([](ScriptedWindow& s) { return s.GetFadeState() == CAlphaChannelWindow::FADE_OUT; }));
    for (int i = 0; i < 6; ++i)
    {
        w.Add("held", Do([&](ScriptedWindow& s) { heldAlphas.push_back(s.GetAlpha()); }));
    }
    w.Add("cursor out", Do([](ScriptedWindow&) { SetCursorPos(0, 0); }));
    w.Add("closed", UntilClosed());
    w.Run(Background());
    ASSERT_FALSE(w.timedOut) << w.failedStep;
    EXPECT_EQ(static_cast<unsigned int>(VK_ESCAPE), w.GetKeypress());
    ASSERT_EQ(6u, heldAlphas.size());
    for (int a : heldAlphas)
        EXPECT_EQ(255, a);
    EXPECT_EQ(1, w.afterFadeOutCalls);
    EXPECT_EQ(0, w.GetAlpha());
}

TEST_F(WindowTest, SplashFadesOutUnderTheCursor)
{
    ScriptedWindow w;
    w.SetAutokill(true);
    w.SetSplash(true);
    w.Add("faded in", FadedIn());
    w.Add("cursor in, Esc", EscWithCursorInside());
    w.Add("closed", UntilClosed());
    w.Run(Background());
    ASSERT_FALSE(w.timedOut) << w.failedStep;
    std::vector<int> fadeOut = AlphasIn(w, CAlphaChannelWindow::FADE_OUT);
    ASSERT_GE(fadeOut.size(), 15u);
    EXPECT_EQ(239, fadeOut.front());
    EXPECT_EQ(0, fadeOut.back());
}

TEST_F(WindowTest, AutokillClosesAfterTheFadeIn)
{
    ScriptedWindow w;
    w.SetAutokill(true);
    w.Add("closed", UntilClosed());
    w.Run(Background());
    ASSERT_FALSE(w.timedOut);
    EXPECT_EQ(1, w.afterFadeOutCalls);
    EXPECT_FALSE(w.CloseRequested());  // the timer, not the user, ended it
    EXPECT_FALSE(AlphasIn(w, CAlphaChannelWindow::FADE_OUT).empty());
}

TEST_F(WindowTest, EnterWithoutFocusedButtonOnlyClosesAutokillWindows)
{
    ScriptedWindow plain;
    int state = -1;
    plain.Add("faded in", FadedIn());
    plain.Add("enter", Do([](ScriptedWindow& s) { PostMessageW(s.GetHwnd(), WM_CHAR, VK_RETURN, 0); }));
    plain.Add("pause", Pause(150));
    plain.Add("look", Do([&](ScriptedWindow& s) { state = s.GetFadeState(); }));
    plain.Run(Background());
    EXPECT_EQ(CAlphaChannelWindow::FADE_IDLE, state);
    EXPECT_EQ(static_cast<unsigned int>(VK_RETURN), plain.GetKeypress());

    ScriptedWindow autokill;
    autokill.SetAutokill(true);
    autokill.Add("faded in", FadedIn());
    autokill.Add("enter", Do([](ScriptedWindow& s) { PostMessageW(s.GetHwnd(), WM_CHAR, VK_RETURN, 0); }));
    autokill.Add("fading", Wait([&](ScriptedWindow& s) { return s.GetFadeState() == CAlphaChannelWindow::FADE_OUT; }));
    autokill.Run(Background());
    EXPECT_FALSE(autokill.timedOut) << autokill.failedStep;
}

TEST_F(WindowTest, TabAndArrowsWrapAroundWithTheRepeatGuard)
{
    ScriptedWindow w;
    std::vector<int> focus;
    auto record = [&](ScriptedWindow& s) { focus.push_back(s.FocusedIndex()); };
    auto post = [](UINT message, WPARAM key) {
        return Do([message, key](ScriptedWindow& s) { PostMessageW(s.GetHwnd(), message, key, 0); });
    };
    w.Add("faded in", FadedIn());
    w.Add("start", Do(record));                           // 0
    w.Add("two tabs at once", Do([](ScriptedWindow& s) {
              PostMessageW(s.GetHwnd(), WM_CHAR, VK_TAB, 0);
              PostMessageW(s.GetHwnd(), WM_CHAR, VK_TAB, 0);  // within 167 ms: ignored
          }));
    w.Add("after", Do(record));                           // 1
    // Each further move waits out the repeat guard first.
    auto navigate = [&](const char* name, UINT message, WPARAM key) {
        w.Add("guard", Pause(200));
        w.Add(name, post(message, key));
        w.Add("after", Do(record));
    };
    navigate("tab", WM_CHAR, VK_TAB);                     // 2
    navigate("tab wraps", WM_CHAR, VK_TAB);               // 0
    w.Add("guard", Pause(200));
    w.Add("shift+tab wraps back", Do([](ScriptedWindow& s) {
              SendKey(VK_SHIFT, true);
              PostMessageW(s.GetHwnd(), WM_CHAR, VK_TAB, 0);
          }));
    w.Add("after", Do([&](ScriptedWindow& s) {
              record(s);                                  // 2
              SendKey(VK_SHIFT, false);
          }));
    navigate("left", WM_KEYUP, VK_LEFT);                  // 1
    navigate("down", WM_KEYUP, VK_DOWN);                  // 2
    navigate("right wraps", WM_KEYUP, VK_RIGHT);          // 0
    navigate("up wraps", WM_KEYUP, VK_UP);                // 2
    w.Add("enter clicks", post(WM_CHAR, VK_RETURN));
    w.Add("closing", UntilClosed());
    w.Run(Background(), Buttons({ 6, 7, 2 }));
    SendKey(VK_SHIFT, false);

    ASSERT_FALSE(w.timedOut) << w.failedStep;
    EXPECT_EQ((std::vector<int>{ 0, 1, 2, 0, 2, 1, 2, 0, 2 }), focus);
    EXPECT_EQ(2, w.GetClickedButtonID());
    EXPECT_EQ(static_cast<unsigned int>(VK_RETURN), w.GetKeypress());
}

TEST_F(WindowTest, NavigationSkipsDisabledButtonsByLeavingTheFocus)
{
    // A disabled button refuses the focus: the walk lands on it and nothing has the focus.
    ScriptedWindow w;
    int afterTab = -2, afterEsc = -2;
    w.Add("faded in", FadedIn());
    w.Add("disable", Do([](ScriptedWindow& s) { s.ButtonAt(1)->Enable(false); }));
    w.Add("tab", Do([](ScriptedWindow& s) { PostMessageW(s.GetHwnd(), WM_CHAR, VK_TAB, 0); }));
    w.Add("look", Do([&](ScriptedWindow& s) { afterTab = s.FocusedIndex(); }));
    w.Add("guard", Pause(200));
    w.Add("tab again", Do([](ScriptedWindow& s) { PostMessageW(s.GetHwnd(), WM_CHAR, VK_TAB, 0); }));
    w.Add("look", Do([&](ScriptedWindow& s) { afterEsc = s.FocusedIndex(); }));
    w.Run(Background(), Buttons({ 6, 7, 2 }));
    EXPECT_EQ(-1, afterTab);
    EXPECT_EQ(-1, afterEsc);  // without a focused button Tab does nothing
}

TEST_F(WindowTest, OffscreenWindowAppearsAndVanishesAtOnce)
{
    ScriptedWindow w;
    w.SetAutokill(true);
    w.Add("faded in", FadedIn());
    w.Add("esc", Do([](ScriptedWindow& s) { PostMessageW(s.GetHwnd(), WM_CHAR, VK_ESCAPE, 0); }));
    w.Add("closed", UntilClosed());
    w.Run(Background(), {}, CAlphaChannelButton::POSITION_OFFSCREEN);
    ASSERT_FALSE(w.timedOut) << w.failedStep;
    EXPECT_EQ(-kWidth - 1000, w.rectAtStart.left);
    EXPECT_EQ(-kHeight - 1000, w.rectAtStart.top);
    for (int a : AlphasIn(w, CAlphaChannelWindow::FADE_IN))
        EXPECT_EQ(255, a);
    EXPECT_EQ(std::vector<int>{ 0 }, AlphasIn(w, CAlphaChannelWindow::FADE_OUT));
}

TEST_F(WindowTest, NoFadeJumpsToTheMaximum)
{
    ScriptedWindow w;
    w.SetNoFade(true);
    w.Add("faded in", FadedIn());
    w.Run(Background(), {}, CAlphaChannelButton::POSITION_CENTER);
    for (int a : AlphasIn(w, CAlphaChannelWindow::FADE_IN))
        EXPECT_EQ(255, a);
    EXPECT_EQ((GetSystemMetrics(SM_CXSCREEN) - kWidth) / 2, w.rectAtStart.left);
    EXPECT_EQ((GetSystemMetrics(SM_CYSCREEN) - kHeight) / 2, w.rectAtStart.top);
}

TEST_F(WindowTest, MaxAlphaTakesOnlyValuesAbove255)
{
    ScriptedWindow low;
    low.SetMaxAlpha(100);
    low.Add("faded in", FadedIn());
    low.Run(Background());
    EXPECT_EQ(std::vector<int>{ 255 }, AlphasIn(low, CAlphaChannelWindow::FADE_IDLE));

    ScriptedWindow high;
    high.SetMaxAlpha(300);
    veskon_test::Pixels full;
    high.Add("faded in", FadedIn());
    high.Add("capture", Do([&](ScriptedWindow& s) { full = veskon_test::CaptureWindow(s.GetHwnd()); }));
    high.Run(Background());
    EXPECT_EQ(std::vector<int>{ 300 }, AlphasIn(high, CAlphaChannelWindow::FADE_IDLE));
    std::vector<int> fadeIn = AlphasIn(high, CAlphaChannelWindow::FADE_IN);
    ASSERT_FALSE(fadeIn.empty());
    EXPECT_EQ(288, fadeIn.back());  // 18 steps of 16 before the maximum
    // The blend takes the low byte, 300 - 256 = 44: the window shows faintly.
    ASSERT_EQ(kWidth, full.width);
    EXPECT_LT(full.Blue(50, 50), 0xA0);
}

TEST_F(WindowTest, AutoScrollRunsAfterTheFadeIn)
{
    ScriptedWindow w;
    w.scrollMethod = CAlphaChannelWindow::SCROLL_AUTO;
    w.Add("faded in", FadedIn());
    w.Add("scrolling", Wait([](ScriptedWindow& s) { return s.autoScrollCalls >= 3; }));
    w.Run(Background());
    ASSERT_FALSE(w.timedOut) << w.failedStep;
    EXPECT_GE(w.autoScrollCalls, 3);
    EXPECT_EQ(0, w.autoScrollCallsDuringFadeIn);
}

TEST_F(WindowTest, LoadReturnsWhenTheImageIsMissing)
{
    ScriptedWindow w;
    std::list<CAlphaChannelButton*> buttons = Buttons({ 1 });
    w.Run(Path(m_folder.File(L"missing.png")), buttons);
    EXPECT_EQ(nullptr, w.published);
    EXPECT_FALSE(w.InitCompleted());
    EXPECT_EQ(0, w.afterFadeOutCalls);
}

TEST_F(WindowTest, LoadReturnsWhenAButtonImageIsMissing)
{
    ScriptedWindow w;
    std::list<CAlphaChannelButton*> buttons = Buttons({ 1, 2 });
    buttons.back()->SetUpImageFilename(Path(m_folder.File(L"missing.png")));
    w.Run(Background(), buttons);
    EXPECT_EQ(nullptr, w.published);
    EXPECT_FALSE(w.InitCompleted());
    EXPECT_EQ(2u, w.Buttons().size());  // kept for the destructor
}

TEST_F(WindowTest, LoadReturnsAfterCleanUpWhenTheWindowCannotBeCreated)
{
    struct BadParent : ScriptedWindow
    {
        void Go(wchar_t* up, std::list<CAlphaChannelButton*> buttons)
        {
            // A parent that is no window makes the creation fail.
            Load(reinterpret_cast<HWND>(static_cast<INT_PTR>(0x7FF0)), up, nullptr, nullptr, nullptr, buttons,
                 POSITION_BOTTOM_RIGHT, SCROLL_NONE, nullptr, nullptr);
        }
    } w;
    w.published = reinterpret_cast<HWND>(static_cast<INT_PTR>(1));
    w.Go(Background(), Buttons({ 1 }));
    EXPECT_EQ(nullptr, w.published);
    EXPECT_FALSE(w.InitCompleted());
    EXPECT_TRUE(w.Buttons().empty());  // cleaned up
}

TEST_F(WindowTest, ButtonsFromAnIniFile)
{
    Png(L"yes.png", 40, 24, kButtonUp);
    Png(L"close.png", 40, 24, kButtonHover);
    std::string ini =
        "[Buttons]\r\nCount=2\r\n"
        "Button0=yes.png,,,yes.png,20,80,40,24,IDYES\r\n"
        "Button1=close.png,,,close.png,80,80,40,24,IDCLOSE\r\n";
    ASSERT_TRUE(veskon_test::WriteFileBytes(m_folder.File(L"dialog.ini"), ini));
    CIniFile file(Path(m_folder.File(L"dialog.ini")), 0);
    std::list<CAlphaChannelButton*> buttons;
    Gdiplus::Color colour(255, 255, 255, 255);
    CAlphaChannelButton().GetButtons(buttons, m_folder.Buffer(), &file, const_cast<wchar_t*>(L"Buttons"),
                                     const_cast<wchar_t*>(L"Button"), const_cast<wchar_t*>(L"Count"), colour, true);
    ASSERT_EQ(2u, buttons.size());

    ScriptedWindow w;
    DWORD closePixel = 0;
    w.Add("faded in", FadedIn());
    w.Add("look", Do([&](ScriptedWindow& s) {
              veskon_test::Pixels p = veskon_test::CaptureWindow(s.GetHwnd());
              closePixel = p.At(100, 95) & 0xFFFFFF;
          }));
    w.Add("click close", Do([](ScriptedWindow& s) { s.PostClick(s.ButtonAt(1)); }));
    w.Add("closing", UntilClosed());
    w.Run(Background(), buttons);
    ASSERT_FALSE(w.timedOut) << w.failedStep;
    EXPECT_EQ(kButtonHover & 0xFFFFFF, closePixel);  // the second button's image, where the INI put it
    EXPECT_EQ(1, w.GetClickedButtonID());  // IDCLOSE sends the same id as IDOK
}

TEST_F(WindowTest, QuitArrivingWhileTheWindowRunsReachesTheHostAfterwards)
{
    ScriptedWindow w;
    w.Add("faded in", FadedIn());
    w.Add("quit", Do([](ScriptedWindow&) { PostQuitMessage(3); }));
    w.Add("pause", Pause(100));
    w.Run(Background());
    ASSERT_FALSE(w.timedOut) << w.failedStep;
    MSG msg;
    ASSERT_TRUE(PeekMessageW(&msg, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE));
    EXPECT_EQ(3u, msg.wParam);
}
