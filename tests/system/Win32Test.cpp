#include <gtest/gtest.h>
#include "system/Win32.h"

namespace
{
HWND Popup(DWORD exStyle, int width, int height)
{
    return CreateWindowExW(exStyle, L"STATIC", L"Win32Test", WS_POPUP, 10, 20, width, height, nullptr, nullptr,
                           GetModuleHandleW(nullptr), nullptr);
}

LONG_PTR ExStyle(HWND hwnd)
{
    return GetWindowLongPtrW(hwnd, GWL_EXSTYLE);
}
}

TEST(CWin32, WindowHelpers)
{
    HWND w = Popup(WS_EX_APPWINDOW, 123, 45);
    ASSERT_NE(nullptr, w);
    EXPECT_TRUE(CWin32::SetLayeredStyle(w, true));
    EXPECT_EQ(WS_EX_APPWINDOW | WS_EX_LAYERED, ExStyle(w) & (WS_EX_APPWINDOW | WS_EX_LAYERED)) << "added, others kept";
    EXPECT_TRUE(CWin32::SetLayeredStyle(w, true)) << "already layered";
    EXPECT_TRUE(CWin32::SetLayeredStyle(w, false));
    EXPECT_EQ(WS_EX_APPWINDOW, ExStyle(w) & (WS_EX_APPWINDOW | WS_EX_LAYERED)) << "removed";

    int width = -1, height = -1;
    EXPECT_TRUE(CWin32::GetWindowDimensions(w, width, height));
    EXPECT_EQ(123, width);
    EXPECT_EQ(45, height);
    EXPECT_FALSE(CWin32::GetWindowDimensions(nullptr, width, height));
    EXPECT_EQ(0, width) << "no window: zeros";
    EXPECT_EQ(0, height);

    HWND handle = w;
    CWin32::DestroyWindowHandle(handle);
    EXPECT_EQ(nullptr, handle);
    EXPECT_FALSE(IsWindow(w));
    CWin32::DestroyWindowHandle(handle);  // a null handle is accepted
    EXPECT_FALSE(CWin32::SetLayeredStyle(w, true)) << "destroyed window";
    EXPECT_FALSE(CWin32::SetLayeredStyle(nullptr, true));

    // An extended style of 0 reads like no window at all: refused, and left as it is.
    HWND plain = Popup(0, 10, 10);
    if (ExStyle(plain) == 0)
    {
        EXPECT_FALSE(CWin32::SetLayeredStyle(plain, true));
        EXPECT_EQ(0, ExStyle(plain));
    }
    DestroyWindow(plain);
}

TEST(CWin32, TextRenderingHintFollowsTheVersion)
{
    const DWORD major = CWin32::GetWindowsMajorVersion();
    ASSERT_GE(major, 4u);
    EXPECT_EQ(major <= 6 ? 5 : 4, CWin32::GetBestTextRenderingHint());
}

TEST(CWin32, QuitIsHandedBackOrPostedAgain)
{
    int code = 0;
    PostQuitMessage(42);
    EXPECT_FALSE(CWin32::PumpPendingMessages(nullptr, code));
    EXPECT_EQ(42, code);
    MSG msg;
    EXPECT_FALSE(PeekMessageW(&msg, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE)) << "PumpPendingMessages does not post it again";
    EXPECT_TRUE(CWin32::PumpPendingMessages(nullptr, code));

    PostQuitMessage(7);
    CWin32::EmptyMessages(nullptr, 0);
    ASSERT_TRUE(PeekMessageW(&msg, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE)) << "EmptyMessages posts it again";
    EXPECT_EQ(7u, msg.wParam);
}
