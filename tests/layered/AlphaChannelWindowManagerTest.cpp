#include "LayeredTestSupport.h"
#include "frame/KVRN_DllMain.h"
#include "layered/AlphaChannelWindowManager.h"

using namespace layered_test;

namespace
{
typedef CAlphaChannelButton::ALPHA_CHANNEL_WINDOW_POSITION Position;

class ManagerTest : public LayeredTest
{
protected:
    void SetUp() override
    {
        LayeredTest::SetUp();
        // A fresh manager for each test: windows of earlier tests must not be stacked upon.
        delete CAlphaChannelWindowManager::Instance();
    }
    void TearDown() override
    {
        for (HWND hwnd : m_popups)
            DestroyWindow(hwnd);
        LayeredTest::TearDown();
    }
    // A hidden w x h popup with the extended style, placed by the manager; its window rectangle.
    RECT Place(int w, int h, DWORD exStyle = WS_EX_APPWINDOW, Position position = CAlphaChannelButton::POSITION_BOTTOM_RIGHT)
    {
        m_popups.push_back(CreateWindowExW(exStyle, L"STATIC", L"placement", WS_POPUP, 0, 0, w, h, nullptr, nullptr,
                                           GetModuleHandleW(nullptr), nullptr));
        CAlphaChannelWindowManager::Instance()->Add(m_popups.back(), position);
        RECT r = {};
        GetWindowRect(m_popups.back(), &r);
        return r;
    }
    std::vector<HWND> m_popups;
    const int sw = GetSystemMetrics(SM_CXSCREEN);
    const int sh = GetSystemMetrics(SM_CYSCREEN);
};
}

TEST_F(ManagerTest, PlacesEachPositionOnTheWholeScreen)
{
    CAlphaChannelWindowManager::Instance()->Add(nullptr, CAlphaChannelButton::POSITION_CENTER);
    CAlphaChannelWindowManager::Instance()->Add(reinterpret_cast<HWND>(static_cast<INT_PTR>(0x7FF0)),
                                                CAlphaChannelButton::POSITION_CENTER);  // no windows: ignored
    RECT r = Place(201, 101, WS_EX_APPWINDOW, CAlphaChannelButton::POSITION_CENTER);
    EXPECT_EQ((sw - 201) / 2, r.left) << "centred";
    EXPECT_EQ((sh - 101) / 2, r.top);
    r = Place(200, 100, WS_EX_TOOLWINDOW);
    EXPECT_EQ(sw - 200 - 32, r.left) << "bottom right";
    EXPECT_EQ(sh - 100 - 48, r.top);
    r = Place(150, 50, WS_EX_APPWINDOW, CAlphaChannelButton::POSITION_OFFSCREEN);
    EXPECT_EQ(-150 - 1000, r.left) << "off screen";
    EXPECT_EQ(-50 - 1000, r.top);
    EXPECT_EQ(150, r.right - r.left) << "the size stays";
    r = Place(100, 60, 0, static_cast<Position>(7));
    EXPECT_EQ((sw - 100) / 2, r.left) << "an unknown position counts as centred";
    EXPECT_EQ((sh - 60) / 2, r.top);
}

// Each window is placed against the last live window of its kind, at the exact edges of the room.
TEST_F(ManagerTest, StacksAboveOrLeftOfTheLastWindowOfTheSameKind)
{
    Place(200, 100);
    DestroyWindow(m_popups.back());
    RECT first = Place(300, 120);
    EXPECT_EQ(sh - 120 - 48, first.top) << "a closed window is not stacked upon";
    EXPECT_EQ(sh - 120 - 48, Place(300, 120, WS_EX_TOOLWINDOW).top) << "another kind is not stacked upon";
    RECT second = Place(280, 100);
    EXPECT_EQ(first.left, second.left) << "5 pixels above the last window of the kind";
    EXPECT_EQ(first.top - 100 - 5, second.top);
    SetWindowLongPtrW(m_popups.back(), GWL_EXSTYLE, WS_EX_APPWINDOW | WS_EX_LAYERED);
    RECT third = Place(280, second.top - 5);
    EXPECT_EQ(0, third.top) << "room above down to exactly 0; the layered bit does not change the kind";
    RECT fourth = Place(250, 100);
    EXPECT_EQ(third.left - 250 - 5, fourth.left) << "no room above: 5 pixels to its left";
    EXPECT_EQ(sh - 100 - 48, fourth.top) << "in the row the position gives";
    RECT fifth = Place(fourth.left - 5, sh - 100);
    EXPECT_EQ(0, fifth.left) << "room to the left down to exactly 0";
    RECT sixth = Place(200, 100);
    EXPECT_EQ(sw - 200 - 32, sixth.left) << "no room anywhere: the computed place stays";
    EXPECT_EQ(sh - 100 - 48, sixth.top);
    EXPECT_EQ(-1100, Place(200, 100, WS_EX_APPWINDOW, CAlphaChannelButton::POSITION_OFFSCREEN).top)
        << "off screen is never stacked";
    EXPECT_EQ(sh - 100 - 48, Place(200, 100).top) << "the off-screen window is the last of the kind: no room by it";
}

TEST_F(ManagerTest, FrameUnloadDeletesTheManager)
{
    CAlphaChannelWindowManager::Instance();
    ASSERT_TRUE(CAlphaChannelWindowManager::Exists());
    delete CKVRN_DllMain::Instance();
    EXPECT_FALSE(CAlphaChannelWindowManager::Exists());
    EXPECT_EQ(nullptr, CKVRN_DllMain::s_deleteWindowManager);
}

TEST_F(ManagerTest, TwoNotificationsStack)
{
    wchar_t* up = Path(Png(L"note.png", 260, 90, 0xE0203040));
    ScriptedWindow first, second;
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
    EXPECT_EQ(GetSystemMetrics(SM_CYSCREEN) - 90 - 48, firstRect.top);
    EXPECT_EQ(firstRect.left, secondRect.left);
    EXPECT_EQ(firstRect.top - 90 - 5, secondRect.top);
}
