#include "LayeredTestSupport.h"
#include <algorithm>
#include <thread>
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

// Button callback reasons, in order.
void LogReason(CAlphaChannelButton*, CAlphaChannelButton::BUTTON_CALLBACK_REASON reason, void* context)
{
    if (context)
        static_cast<std::vector<int>*>(context)->push_back(reason);
}

size_t Count(const std::vector<int>& reasons, int reason)
{
    return static_cast<size_t>(std::count(reasons.begin(), reasons.end(), reason));
}

// The colour (0x00RRGGBB) the screen shows at the window's point (x, y).
DWORD ScreenRgb(ScriptedWindow& s, int x, int y)
{
    veskon_test::Pixels p = veskon_test::CaptureWindow(s.GetHwnd());
    return x < p.width && y < p.height ? p.At(x, y) & 0xFFFFFF : 0xDEADBEEF;
}

void SetCursorTo(POINT p)
{
    SetCursorPos(p.x, p.y);
}

class WindowTest : public LayeredTest
{
protected:
    wchar_t* Background() { return Path(Png(L"background.png", kWidth, kHeight, kBackground)); }
    // 40 x 24 auto-close buttons side by side along the bottom (x = 20, 80, 140), with these ids.
    std::list<CAlphaChannelButton*> Buttons(std::initializer_list<int> ids, std::vector<int>* log = nullptr)
    {
        std::list<CAlphaChannelButton*> list;
        int x = 20;
        for (int id : ids)
        {
            CAlphaChannelButton* b = new CAlphaChannelButton();
            b->SetUpImageFilename(Path(Png(L"button.png", 40, 24, kButtonUp)));
            b->SetHoverImageFilename(Path(Png(L"button_hover.png", 40, 24, kButtonHover)));
            RECT r = { x, 80, x + 40, 104 };
            b->SetRectangle(r);
            b->SetCommandID(id);
            b->SetAutoClose(true);
            b->SetButtonCallback(&LogReason);
            b->SetButtonContext(log);
            list.push_back(b);
            x += 60;
        }
        return list;
    }
};
}

// A plain window: fade-in steps, class, icons, pixels on the screen, keys and commands that do
// not close it, auto-scrolling, a WM_QUIT passed on to the host, and WM_COMMAND 200.
TEST_F(WindowTest, PlainWindowFromFadeInToCommand200)
{
    ScriptedWindow w;
    w.scrollMethod = CAlphaChannelWindow::SCROLL_AUTO;
    w.stepPeriod = 20;
    DWORD midFade = 0;
    w.Add("mid-fade", [&](ScriptedWindow& s) {
        const bool partial = s.GetFadeState() == CAlphaChannelWindow::FADE_IN && s.GetAlpha() >= 96;
        midFade = partial ? ScreenRgb(s, 50, 50) : 0;
        return partial;
    });
    w.Add("faded in", FadedIn());
    w.Add("inspect", Do([&](ScriptedWindow& s) {
              HWND h = s.GetHwnd();
              wchar_t name[64] = {};
              GetClassNameW(h, name, 64);
              EXPECT_STREQ(L"Veskon Advisory", name);
              EXPECT_EQ(CS_HREDRAW | CS_VREDRAW | CS_DBLCLKS, static_cast<int>(GetClassLongPtrW(h, GCL_STYLE)));
              EXPECT_EQ(WS_EX_APPWINDOW | WS_EX_LAYERED,
                        GetWindowLongPtrW(h, GWL_EXSTYLE) & (WS_EX_APPWINDOW | WS_EX_LAYERED | WS_EX_TOOLWINDOW));
              EXPECT_NE(0, SendMessageW(h, WM_GETICON, ICON_BIG, 0));
              EXPECT_NE(0, SendMessageW(h, WM_GETICON, ICON_SMALL, 0));
              EXPECT_EQ(kBackground & 0xFFFFFF, ScreenRgb(s, 50, 50)) << "opaque at full alpha: the file's colour";
              EXPECT_NE(kBackground & 0xFFFFFF, midFade) << "mid-fade the screen shows less of it";
              PostMessageW(h, WM_CHAR, VK_RETURN, 0);
              PostMessageW(h, WM_CHAR, VK_ESCAPE, 0);
              PostMessageW(h, WM_COMMAND, MAKEWPARAM(42, 1), 0);
          }));
    w.Add("pause", Pause(150));
    w.Add("look", Do([](ScriptedWindow& s) {
              EXPECT_EQ(CAlphaChannelWindow::FADE_IDLE, s.GetFadeState()) << "Enter and Esc close only autokill windows";
          }));
    w.Add("scrolling", [](ScriptedWindow& s) { return s.autoScrollCalls >= 3; });
    w.Add("quit", Do([](ScriptedWindow&) { PostQuitMessage(3); }));
    w.Add("pause", Pause(100));
    w.Run(Background());
    ASSERT_FALSE(w.timedOut) << w.failedStep;

    std::vector<int> fadeIn = AlphasIn(w, CAlphaChannelWindow::FADE_IN);
    ASSERT_EQ(15u, fadeIn.size());
    for (size_t i = 0; i < fadeIn.size(); ++i)
        EXPECT_EQ(16 * static_cast<int>(i + 1), fadeIn[i]) << "fade-in steps of 16";
    EXPECT_EQ(std::vector<int>{ 255 }, AlphasIn(w, CAlphaChannelWindow::FADE_IDLE));
    EXPECT_TRUE(AlphasIn(w, CAlphaChannelWindow::FADE_OUT).empty()) << "no fading on 200";
    EXPECT_EQ(GetSystemMetrics(SM_CXSCREEN) - kWidth - 32, w.rectAtStart.left) << "bottom right";
    EXPECT_EQ(GetSystemMetrics(SM_CYSCREEN) - kHeight - 48, w.rectAtStart.top);
    EXPECT_EQ(kWidth, w.rectAtStart.right - w.rectAtStart.left) << "the background's size";
    EXPECT_EQ(static_cast<int>(MAKEWPARAM(42, 1)), w.GetClickedButtonID()) << "other commands are recorded; 200 is not";
    EXPECT_EQ(static_cast<unsigned int>(VK_ESCAPE), w.GetKeypress());
    EXPECT_EQ(0, w.autoScrollCallsDuringFadeIn) << "scrolling starts after the fade-in";
    ASSERT_NE(nullptr, w.published);
    EXPECT_FALSE(IsWindow(w.published));
    EXPECT_EQ(nullptr, w.GetHwnd());
    EXPECT_EQ(CAlphaChannelWindow::FADE_CLOSED, w.GetFadeState());
    EXPECT_EQ(1, w.afterFadeOutCalls);
    EXPECT_TRUE(w.InitCompleted());
    MSG msg;
    ASSERT_TRUE(PeekMessageW(&msg, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE)) << "a WM_QUIT reaches the host afterwards";
    EXPECT_EQ(3u, msg.wParam);

    HINSTANCE library = CKVRN_DllMain::Instance()->GethInstance();
    WNDCLASSEXW wc = { sizeof(wc) };
    ASSERT_TRUE(GetClassInfoExW(library, L"Veskon Advisory", &wc));
    delete CKVRN_DllMain::Instance();
    EXPECT_FALSE(CKVRN_DllMain::s_advisoryClassRegistered);
    EXPECT_FALSE(GetClassInfoExW(library, L"Veskon Advisory", &wc)) << "the frame's unload unregisters the class";
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

// Buttons under the mouse: hover composes again, a press dragged off the button clicks nothing,
// a click sends the command, closes (auto-close) and fades out by 48.
TEST_F(WindowTest, MouseOnButtons)
{
    std::vector<int> log;
    ScriptedWindow w;
    w.SetMaxAlpha(100);
    w.Add("faded in", FadedIn());
    w.Add("hover", Do([](ScriptedWindow& s) {
              EXPECT_EQ(kButtonUp & 0xFFFFFF, ScreenRgb(s, 160, 92)) << "the button where its rectangle puts it";
              s.PostMouse(WM_MOUSEMOVE, s.ButtonCentre(s.ButtonAt(2)));
          }));
    w.Add("hovered", [](ScriptedWindow& s) { return s.ButtonAt(2)->Hovered(); });
    w.Add("press", Do([](ScriptedWindow& s) {
              EXPECT_EQ(kButtonHover & 0xFFFFFF, ScreenRgb(s, 160, 92)) << "hovering composes again";
              SendMouseButton(true);
          }));
    w.Add("pressed, down and focused", [](ScriptedWindow& s) {
        return s.ButtonAt(2)->Pressed() && s.GetDownButton() == s.ButtonAt(2) && s.FocusedIndex() == 2;
    });
    w.Add("drag off the button", Do([](ScriptedWindow& s) { SetCursorTo(s.At(5, 5)); }));
    w.Add("unpressed, not hovered", [](ScriptedWindow& s) { return !s.ButtonAt(2)->Pressed() && !s.ButtonAt(2)->Hovered(); });
    // Released over the background, which is caption area for the system: nothing is clicked.
    w.Add("release", Do([](ScriptedWindow&) { SendMouseButton(false); }));
    w.Add("pause", Pause(200));
    w.Add("click", Do([&](ScriptedWindow& s) {
              EXPECT_EQ(-1, s.GetClickedButtonID()) << "a press released off the button clicks nothing";
              ASSERT_FALSE(log.empty());
              EXPECT_EQ(CAlphaChannelButton::BUTTON_REASON_DOWN, log.front());
              EXPECT_EQ(0u, Count(log, CAlphaChannelButton::BUTTON_REASON_CLICK));
              s.PostClick(s.ButtonAt(1));
          }));
    w.Add("closing", UntilClosed());
    w.Run(Background(), Buttons({ 6, 7, 2 }, &log));
    SendMouseButton(false);
    ASSERT_FALSE(w.timedOut) << w.failedStep;
    EXPECT_EQ(7, w.GetClickedButtonID());
    EXPECT_EQ(CAlphaChannelButton::BUTTON_REASON_CLICK, log.back());
    EXPECT_TRUE(w.CloseRequested()) << "auto-close";
    EXPECT_EQ(std::vector<int>{ 255 }, AlphasIn(w, CAlphaChannelWindow::FADE_IDLE)) << "SetMaxAlpha(100) gives 255";
    // 255 falls by 48 per tick once the command arrived: 207, 159, 111, 63, 15, then 0 closes.
    std::vector<int> fadeOut = AlphasIn(w, CAlphaChannelWindow::FADE_OUT);
    if (!fadeOut.empty() && fadeOut.front() == 255)
        fadeOut.erase(fadeOut.begin());
    EXPECT_EQ((std::vector<int>{ 207, 159, 111, 63, 15, 0 }), fadeOut);
    EXPECT_TRUE(w.Buttons().empty()) << "the window owned the buttons and deleted them";
}

// A held button repeats: through the 25 ms scroll timer, and a repeater in a loop of its own.
TEST_F(WindowTest, HeldButtonsRepeat)
{
    std::vector<int> plainLog, repeaterLog;
    std::list<CAlphaChannelButton*> buttons = Buttons({ 6, 7 }, &plainLog);
    buttons.back()->SetButtonContext(&repeaterLog);
    ScriptedWindow w;
    w.scrollMethod = CAlphaChannelWindow::SCROLL_REPEAT_BUTTON;
    std::thread releaser;
    w.Add("faded in", FadedIn());
    w.Add("press", Do([](ScriptedWindow& s) {
              SetCursorTo(s.ButtonCentre(s.ButtonAt(0)));
              SendMouseButton(true);
          }));
    w.Add("one down from the press, three from the scroll timer", [&](ScriptedWindow&) { return Count(plainLog, 0) >= 4; });
    w.Add("release elsewhere", Do([](ScriptedWindow& s) {
              SetCursorTo(s.At(5, 5));
              SendMouseButton(false);
          }));
    w.Add("pause", Pause(150));
    w.Add("hold the repeater", Do([&](ScriptedWindow& s) {
              s.ButtonAt(1)->SetRepeater(true);
              SetCursorTo(s.ButtonCentre(s.ButtonAt(1)));
              // The repeat loop does not pump: only input from another thread ends it.
              releaser = std::thread([] {
                  Sleep(300);
                  SendMouseButton(false);
              });
              SendMouseButton(true);
          }));
    w.Add("repeated while held, then released and hovered", [&](ScriptedWindow& s) {
        CAlphaChannelButton* b = s.ButtonAt(1);
        return Count(repeaterLog, 0) > 2 && !b->Pressed() && !b->Down() && b->Hovered();
    });
    w.Add("pause", Pause(100));
    w.Run(Background(), buttons);
    if (releaser.joinable())
        releaser.join();
    SendMouseButton(false);
    ASSERT_FALSE(w.timedOut) << w.failedStep;
    EXPECT_EQ(-1, w.GetClickedButtonID()) << "holding is no click";
}

// An autokill window with a button: hit testing, a drag by the background (not dismissed), then
// the autokill timer's fade-out held at full alpha while the cursor stays on the window.
TEST_F(WindowTest, DragAndAutokillHeldUnderTheCursor)
{
    ScriptedWindow w;
    w.SetAutokill(true);
    RECT before = {}, after = {};
    std::vector<int> held;
    w.Add("faded in", FadedIn());
    w.Add("hit test, press on the background", Do([&](ScriptedWindow& s) {
              EXPECT_EQ(HTCLIENT, s.HitTest(s.ButtonCentre(s.ButtonAt(0))));
              EXPECT_EQ(HTCAPTION, s.HitTest(s.At(5, 5))) << "dragged by the background";
              GetWindowRect(s.GetHwnd(), &before);
              SetCursorTo(s.At(10, 10));
              SendMouseButton(true);
          }));
    w.Add("pause", Pause(200));
    w.Add("hit test while down", Do([&](ScriptedWindow& s) {
              EXPECT_EQ(HTCAPTION, s.HitTest(s.At(10, 10))) << "a window with buttons is not dismissed by a click";
              EXPECT_NE(CAlphaChannelWindow::FADE_OUT, s.GetFadeState());
              SetCursorPos(before.left - 90, before.top - 70);
          }));
    w.Add("pause", Pause(200));
    w.Add("release", Do([](ScriptedWindow&) { SendMouseButton(false); }));
    w.Add("moved", [&](ScriptedWindow& s) {
        GetWindowRect(s.GetHwnd(), &after);
        return after.left != before.left;
    });
    // The cursor is now on the window, 10 pixels from its corner.
    w.Add("autokill", [](ScriptedWindow& s) { return s.GetFadeState() == CAlphaChannelWindow::FADE_OUT; });
    for (int i = 0; i < 6; ++i)
        w.Add("held", Do([&](ScriptedWindow& s) { held.push_back(s.GetAlpha()); }));
    w.Add("cursor out", Do([](ScriptedWindow&) { SetCursorPos(0, 0); }));
    w.Add("closed", UntilClosed());
    w.Run(Background(), Buttons({ 1 }));
    SendMouseButton(false);
    ASSERT_FALSE(w.timedOut) << w.failedStep;
    EXPECT_EQ(before.left - 100, after.left);
    EXPECT_EQ(before.top - 80, after.top);
    EXPECT_EQ(std::vector<int>(6, 255), held) << "the fade-out holds while the cursor is inside";
    EXPECT_FALSE(w.CloseRequested()) << "the timer, not the user, ended it";
    EXPECT_EQ(0, w.GetAlpha());
}

TEST_F(WindowTest, ButtonlessAutokillWindowIsDismissedByAClick)
{
    ScriptedWindow w;
    w.SetAutokill(true);
    w.Add("faded in", FadedIn());
    w.Add("press", Do([](ScriptedWindow& s) {
              SetCursorTo(s.At(kWidth / 2, kHeight / 2));
              SendMouseButton(true);
          }));
    w.Add("fading out", [](ScriptedWindow& s) { return s.GetFadeState() == CAlphaChannelWindow::FADE_OUT; });
    w.Add("release", Do([](ScriptedWindow&) { SendMouseButton(false); }));
    w.Add("closed", UntilClosed());
    w.Run(Background());
    SendMouseButton(false);
    ASSERT_FALSE(w.timedOut) << w.failedStep;
    EXPECT_TRUE(w.CloseRequested());
    // The cursor stays on the window, but a requested close is not held: 16 per tick down to 0.
    std::vector<int> fadeOut = AlphasIn(w, CAlphaChannelWindow::FADE_OUT);
    ASSERT_FALSE(fadeOut.empty());
    EXPECT_EQ(0, fadeOut.back());
    for (size_t i = 1; i + 1 < fadeOut.size(); ++i)
        EXPECT_EQ(16, fadeOut[i - 1] - fadeOut[i]);
}

// A splash with a maximum alpha of 300: Enter (no button) starts the fade-out of an autokill
// window, and a splash is not held under the cursor.
TEST_F(WindowTest, SplashAboveTheMaximumAlpha)
{
    ScriptedWindow w;
    w.SetAutokill(true);
    w.SetSplash(true);
    w.SetMaxAlpha(300);
    w.Add("faded in", FadedIn());
    w.Add("cursor in, Enter", Do([](ScriptedWindow& s) {
              EXPECT_GT(0xA0u, ScreenRgb(s, 50, 50) & 0xFF) << "the blend takes the low byte, 300 - 256 = 44: faint";
              SetCursorTo(s.At(kWidth / 2, 10));
              PostMessageW(s.GetHwnd(), WM_CHAR, VK_RETURN, 0);
          }));
    w.Add("look", Do([](ScriptedWindow& s) { EXPECT_EQ(CAlphaChannelWindow::FADE_OUT, s.GetFadeState()); }));
    w.Add("closed", UntilClosed());
    w.Run(Background());
    ASSERT_FALSE(w.timedOut) << w.failedStep;
    EXPECT_EQ(std::vector<int>{ 300 }, AlphasIn(w, CAlphaChannelWindow::FADE_IDLE));
    std::vector<int> fadeIn = AlphasIn(w, CAlphaChannelWindow::FADE_IN);
    ASSERT_FALSE(fadeIn.empty());
    EXPECT_EQ(288, fadeIn.back()) << "18 steps of 16 before the maximum";
    std::vector<int> fadeOut = AlphasIn(w, CAlphaChannelWindow::FADE_OUT);
    ASSERT_FALSE(fadeOut.empty());
    EXPECT_EQ(284, fadeOut.front()) << "not held under the cursor";
    EXPECT_EQ(0, fadeOut.back());
}

// Without fading, centred: Tab and the arrows wrap around, a second Tab within the repeat guard
// is ignored, a disabled button takes the focus away, Enter clicks the focused button.
TEST_F(WindowTest, KeyboardNavigationWithoutFading)
{
    ScriptedWindow w;
    w.SetNoFade(true);
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
    w.Add("disable the first", Do([](ScriptedWindow& s) { s.ButtonAt(0)->Enable(false); }));
    navigate("tab onto it", WM_CHAR, VK_TAB);             // -1: it refuses the focus
    navigate("tab without focus", WM_CHAR, VK_TAB);       // -1: nothing to move
    w.Add("focus the second", Do([](ScriptedWindow& s) { s.ButtonAt(1)->Focus(true); }));
    w.Add("enter clicks", post(WM_CHAR, VK_RETURN));
    w.Add("closing", UntilClosed());
    w.Run(Background(), Buttons({ 6, 7, 2 }), CAlphaChannelButton::POSITION_CENTER);
    SendKey(VK_SHIFT, false);

    ASSERT_FALSE(w.timedOut) << w.failedStep;
    EXPECT_EQ((std::vector<int>{ 0, 1, 2, 0, 2, 1, 2, 0, 2, -1, -1 }), focus);
    EXPECT_EQ(7, w.GetClickedButtonID());
    EXPECT_EQ(static_cast<unsigned int>(VK_RETURN), w.GetKeypress());
    EXPECT_EQ((GetSystemMetrics(SM_CXSCREEN) - kWidth) / 2, w.rectAtStart.left) << "centred";
    EXPECT_EQ((GetSystemMetrics(SM_CYSCREEN) - kHeight) / 2, w.rectAtStart.top);
    for (int a : AlphasIn(w, CAlphaChannelWindow::FADE_IN))
        EXPECT_EQ(255, a) << "no fade-in";
    EXPECT_EQ(std::vector<int>{ 0 }, AlphasIn(w, CAlphaChannelWindow::FADE_OUT)) << "no fade-out";
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
    EXPECT_EQ(std::vector<int>{ 0 }, AlphasIn(w, CAlphaChannelWindow::FADE_OUT)) << "Esc closes an autokill window";
}

TEST_F(WindowTest, LoadReturnsWhenAnImageIsMissingOrTheWindowCannotBeCreated)
{
    ScriptedWindow noBackground;
    noBackground.Run(Path(m_folder.File(L"missing.png")), Buttons({ 1 }));
    EXPECT_EQ(nullptr, noBackground.published);
    EXPECT_EQ(0, noBackground.afterFadeOutCalls);

    ScriptedWindow noButtonImage;
    std::list<CAlphaChannelButton*> buttons = Buttons({ 1, 2 });
    buttons.back()->SetUpImageFilename(Path(m_folder.File(L"missing.png")));
    noButtonImage.Run(Background(), buttons);
    EXPECT_EQ(nullptr, noButtonImage.published);
    EXPECT_EQ(2u, noButtonImage.Buttons().size()) << "kept for the destructor";

    struct BadParent : ScriptedWindow
    {
        void Go(wchar_t* up, std::list<CAlphaChannelButton*> buttons)
        {
            // A parent that is no window makes the creation fail.
            Load(reinterpret_cast<HWND>(static_cast<INT_PTR>(0x7FF0)), up, nullptr, nullptr, nullptr, buttons,
                 POSITION_BOTTOM_RIGHT, SCROLL_NONE, nullptr, nullptr);
        }
    } badParent;
    badParent.published = reinterpret_cast<HWND>(static_cast<INT_PTR>(1));
    badParent.Go(Background(), Buttons({ 1 }));
    EXPECT_EQ(nullptr, badParent.published);
    EXPECT_FALSE(badParent.InitCompleted());
    EXPECT_TRUE(badParent.Buttons().empty()) << "cleaned up";
}
