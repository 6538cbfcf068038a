#include "LayeredTestSupport.h"
#include <memory>
#include "frame/KVRN_DllMain.h"
#include "layered/AlphaChannelWindowManager.h"

using namespace layered_test;

namespace
{
// A hidden popup of a given size and extended style, destroyed with the object.
struct Popup
{
    Popup(int w, int h, DWORD exStyle = WS_EX_APPWINDOW)
    {
        hwnd = CreateWindowExW(exStyle, L"STATIC", L"placement", WS_POPUP, 0, 0, w, h, nullptr, nullptr,
                               GetModuleHandleW(nullptr), nullptr);
    }
    ~Popup()
    {
        if (hwnd)
            DestroyWindow(hwnd);
    }
    RECT Rect() const
    {
        RECT r = {};
        GetWindowRect(hwnd, &r);
        return r;
    }
    HWND hwnd;
};

class ManagerTest : public LayeredTest
{
protected:
    void SetUp() override
    {
        LayeredTest::SetUp();
        // A fresh manager for each test: windows of earlier tests must not be stacked upon.
        delete CAlphaChannelWindowManager::Instance();
        sw = GetSystemMetrics(SM_CXSCREEN);
        sh = GetSystemMetrics(SM_CYSCREEN);
    }
    CAlphaChannelWindowManager* Manager() { return CAlphaChannelWindowManager::Instance(); }
    int sw = 0, sh = 0;
};
}

TEST_F(ManagerTest, PlacesCentredBottomRightAndOffscreen)
{
    Popup a(201, 101, WS_EX_APPWINDOW);
    Manager()->Add(a.hwnd, CAlphaChannelButton::POSITION_CENTER);
    EXPECT_EQ((sw - 201) / 2, a.Rect().left);
    EXPECT_EQ((sh - 101) / 2, a.Rect().top);

    Popup b(200, 100, WS_EX_TOOLWINDOW);
    Manager()->Add(b.hwnd, CAlphaChannelButton::POSITION_BOTTOM_RIGHT);
    EXPECT_EQ(sw - 200 - 32, b.Rect().left);
    EXPECT_EQ(sh - 100 - 48, b.Rect().top);

    Popup c(150, 50, WS_EX_APPWINDOW);
    Manager()->Add(c.hwnd, CAlphaChannelButton::POSITION_OFFSCREEN);
    EXPECT_EQ(-150 - 1000, c.Rect().left);
    EXPECT_EQ(-50 - 1000, c.Rect().top);
    EXPECT_EQ(150, c.Rect().right - c.Rect().left);  // the size stays

    Popup d(100, 60, 0);
    Manager()->Add(d.hwnd, static_cast<CAlphaChannelButton::ALPHA_CHANNEL_WINDOW_POSITION>(7));
    EXPECT_EQ((sw - 100) / 2, d.Rect().left);  // an unknown position counts as centred
    EXPECT_EQ((sh - 60) / 2, d.Rect().top);
}

TEST_F(ManagerTest, StacksAboveTheLastWindowOfTheSameKind)
{
    Popup first(300, 120);
    Popup other(300, 120, WS_EX_TOOLWINDOW);
    Popup second(280, 100);
    Manager()->Add(first.hwnd, CAlphaChannelButton::POSITION_BOTTOM_RIGHT);
    Manager()->Add(other.hwnd, CAlphaChannelButton::POSITION_BOTTOM_RIGHT);  // another kind: not stacked
    EXPECT_EQ(first.Rect().top, other.Rect().top);
    Manager()->Add(second.hwnd, CAlphaChannelButton::POSITION_BOTTOM_RIGHT);
    EXPECT_EQ(first.Rect().left, second.Rect().left);
    EXPECT_EQ(first.Rect().top - 100 - 5, second.Rect().top);

    // The layered bit does not change a window's kind.
    SetWindowLongPtrW(second.hwnd, GWL_EXSTYLE, WS_EX_APPWINDOW | WS_EX_LAYERED);
    Popup third(280, 100);
    Manager()->Add(third.hwnd, CAlphaChannelButton::POSITION_BOTTOM_RIGHT);
    EXPECT_EQ(second.Rect().top - 100 - 5, third.Rect().top);
}

TEST_F(ManagerTest, GoesToTheLeftWhenThereIsNoRoomAbove)
{
    const int h = sh - 100;  // too tall for a second one above
    Popup first(300, h);
    Popup second(250, h);
    Manager()->Add(first.hwnd, CAlphaChannelButton::POSITION_BOTTOM_RIGHT);
    Manager()->Add(second.hwnd, CAlphaChannelButton::POSITION_BOTTOM_RIGHT);
    EXPECT_EQ(first.Rect().left - 250 - 5, second.Rect().left);
    EXPECT_EQ(sh - h - 48, second.Rect().top);  // the row stays where the position put it
}

TEST_F(ManagerTest, NoRoomAnywhereKeepsThePlace)
{
    Popup first(sw - 20, sh - 20);
    Popup second(sw - 40, sh - 40);
    Manager()->Add(first.hwnd, CAlphaChannelButton::POSITION_CENTER);
    Manager()->Add(second.hwnd, CAlphaChannelButton::POSITION_CENTER);
    EXPECT_EQ((sw - (sw - 40)) / 2, second.Rect().left);
    EXPECT_EQ((sh - (sh - 40)) / 2, second.Rect().top);
}

TEST_F(ManagerTest, ClosedWindowsAndOffscreenOnesAreNotStackedUpon)
{
    std::unique_ptr<Popup> gone(new Popup(200, 100));
    Manager()->Add(gone->hwnd, CAlphaChannelButton::POSITION_BOTTOM_RIGHT);
    gone.reset();
    Popup next(200, 100);
    Manager()->Add(next.hwnd, CAlphaChannelButton::POSITION_BOTTOM_RIGHT);
    EXPECT_EQ(sh - 100 - 48, next.Rect().top);

    Popup hidden(200, 100);
    Manager()->Add(hidden.hwnd, CAlphaChannelButton::POSITION_OFFSCREEN);
    EXPECT_EQ(-1100, hidden.Rect().top);  // off screen, never stacked
    Popup last(200, 100);
    Manager()->Add(last.hwnd, CAlphaChannelButton::POSITION_BOTTOM_RIGHT);
    // The last live window of the kind is the off-screen one: "above" it there is no room, to its
    // left neither, so the computed place stays.
    EXPECT_EQ(sh - 100 - 48, last.Rect().top);
    EXPECT_EQ(sw - 200 - 32, last.Rect().left);
}

TEST_F(ManagerTest, NotAWindowIsIgnored)
{
    Manager()->Add(nullptr, CAlphaChannelButton::POSITION_CENTER);
    Manager()->Add(reinterpret_cast<HWND>(static_cast<INT_PTR>(0x7FF0)), CAlphaChannelButton::POSITION_CENTER);
    Popup only(200, 100);
    Manager()->Add(only.hwnd, CAlphaChannelButton::POSITION_BOTTOM_RIGHT);
    EXPECT_EQ(sh - 100 - 48, only.Rect().top);
}

TEST_F(ManagerTest, FrameUnloadDeletesTheManager)
{
    Manager();
    ASSERT_TRUE(CAlphaChannelWindowManager::Exists());
    delete CKVRN_DllMain::Instance();
    EXPECT_FALSE(CAlphaChannelWindowManager::Exists());
    EXPECT_EQ(nullptr, CKVRN_DllMain::s_deleteWindowManager);
}

TEST_F(ManagerTest, TwoNotificationsStack)
{
    wchar_t* up = Path(Png(L"note.png", 260, 90, 0xE0203040));
    ScriptedWindow first;
    ScriptedWindow second;
    RECT firstRect = {}, secondRect = {};
    bool bothVisible = false;
    second.Add("faded in", FadedIn());
    second.Add("look", Do([&](ScriptedWindow& s) {
                   GetWindowRect(s.GetHwnd(), &secondRect);
                   bothVisible = IsWindowVisible(first.GetHwnd()) && IsWindowVisible(s.GetHwnd());
               }));
    first.Add("faded in", FadedIn());
    first.Add("second notification", Do([&](ScriptedWindow& s) {
                  GetWindowRect(s.GetHwnd(), &firstRect);
                  second.Run(up);  // runs to its end inside this step
              }));
    first.Run(up);
    ASSERT_FALSE(first.timedOut) << first.failedStep;
    ASSERT_FALSE(second.timedOut) << second.failedStep;
    EXPECT_TRUE(bothVisible);
    EXPECT_EQ(firstRect.left, secondRect.left);
    EXPECT_EQ(firstRect.top - 90 - 5, secondRect.top);
    EXPECT_EQ(GetSystemMetrics(SM_CYSCREEN) - 90 - 48, firstRect.top);
}
