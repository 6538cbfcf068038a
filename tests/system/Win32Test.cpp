#include <gtest/gtest.h>
#include "support/TestSupport.h"
#include "system/Win32.h"

namespace
{
// A plain popup of a known outer size, destroyed with the fixture.
class PlainWindow
{
public:
    PlainWindow(DWORD exStyle, int width, int height)
    {
        m_hwnd = CreateWindowExW(exStyle, L"STATIC", L"Win32Test", WS_POPUP, 10, 20, width, height, nullptr,
                                 nullptr, GetModuleHandleW(nullptr), nullptr);
    }
    ~PlainWindow()
    {
        if (m_hwnd)
            DestroyWindow(m_hwnd);
    }
    HWND m_hwnd;
};
}

TEST(CWin32, SetLayeredStyleAddsAndRemoves)
{
    PlainWindow w(WS_EX_APPWINDOW, 50, 40);
    ASSERT_NE(nullptr, w.m_hwnd);
    EXPECT_TRUE(CWin32::SetLayeredStyle(w.m_hwnd, true));
    EXPECT_NE(0, GetWindowLongPtrW(w.m_hwnd, GWL_EXSTYLE) & WS_EX_LAYERED);
    EXPECT_TRUE(CWin32::SetLayeredStyle(w.m_hwnd, true));  // already layered: nothing to do
    EXPECT_NE(0, GetWindowLongPtrW(w.m_hwnd, GWL_EXSTYLE) & WS_EX_APPWINDOW);
    EXPECT_TRUE(CWin32::SetLayeredStyle(w.m_hwnd, false));
    EXPECT_EQ(0, GetWindowLongPtrW(w.m_hwnd, GWL_EXSTYLE) & WS_EX_LAYERED);
}

TEST(CWin32, SetLayeredStyleFailsWithoutAWindowOrStyle)
{
    EXPECT_FALSE(CWin32::SetLayeredStyle(nullptr, true));
    PlainWindow w(0, 50, 40);
    ASSERT_NE(nullptr, w.m_hwnd);
    // An extended style of 0 reads like no window at all: refused, and left as it is.
    if (GetWindowLongPtrW(w.m_hwnd, GWL_EXSTYLE) == 0)
    {
        EXPECT_FALSE(CWin32::SetLayeredStyle(w.m_hwnd, true));
        EXPECT_EQ(0, GetWindowLongPtrW(w.m_hwnd, GWL_EXSTYLE));
    }
    HWND gone = w.m_hwnd;
    DestroyWindow(gone);
    w.m_hwnd = nullptr;
    EXPECT_FALSE(CWin32::SetLayeredStyle(gone, true));
}

TEST(CWin32, WindowDimensionsAreTheOuterSize)
{
    PlainWindow w(WS_EX_TOOLWINDOW, 123, 45);
    ASSERT_NE(nullptr, w.m_hwnd);
    int width = -1, height = -1;
    EXPECT_TRUE(CWin32::GetWindowDimensions(w.m_hwnd, width, height));
    EXPECT_EQ(123, width);
    EXPECT_EQ(45, height);
    EXPECT_FALSE(CWin32::GetWindowDimensions(nullptr, width, height));
    EXPECT_EQ(0, width);
    EXPECT_EQ(0, height);
}

TEST(CWin32, DestroyWindowHandleNullsTheHandle)
{
    PlainWindow w(0, 10, 10);
    HWND h = w.m_hwnd;
    ASSERT_TRUE(IsWindow(h));
    CWin32::DestroyWindowHandle(h);
    EXPECT_EQ(nullptr, h);
    EXPECT_FALSE(IsWindow(w.m_hwnd));
    w.m_hwnd = nullptr;
    CWin32::DestroyWindowHandle(h);  // a null handle is accepted
    EXPECT_EQ(nullptr, h);
}

TEST(CWin32, TextRenderingHintFollowsTheVersion)
{
    const DWORD major = CWin32::GetWindowsMajorVersion();
    ASSERT_GE(major, 4u);
    const int hint = CWin32::GetBestTextRenderingHint();
    EXPECT_EQ(major <= 6 ? 5 : 4, hint);
}

TEST(CWin32, PumpPendingMessagesHandsBackQuit)
{
    int code = 0;
    PostQuitMessage(42);
    EXPECT_FALSE(CWin32::PumpPendingMessages(nullptr, code));
    EXPECT_EQ(42, code);
    // Not posted again: the queue is empty now.
    MSG msg;
    EXPECT_FALSE(PeekMessageW(&msg, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE));
    EXPECT_TRUE(CWin32::PumpPendingMessages(nullptr, code));
}

TEST(CWin32, EmptyMessagesPostsQuitAgain)
{
    PostQuitMessage(7);
    CWin32::EmptyMessages(nullptr, 0);
    MSG msg;
    ASSERT_TRUE(PeekMessageW(&msg, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE));
    EXPECT_EQ(7u, msg.wParam);
}
