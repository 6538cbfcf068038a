#include "layered/AlphaChannelWindowManager.h"
#include <new>
#include "frame/KVRN_DllMain.h"
#include "system/Win32.h"

namespace
{
CAlphaChannelWindowManager* g_windowManager = nullptr;

void DeleteWindowManager()
{
    delete g_windowManager;
}

const LONG_PTR kKindMask = WS_EX_APPWINDOW | WS_EX_TOOLWINDOW;
const int kGap = 5;
}

CAlphaChannelWindowManager* CAlphaChannelWindowManager::Instance()
{
    if (!g_windowManager)
    {
        g_windowManager = new (std::nothrow) CAlphaChannelWindowManager();
        if (g_windowManager)
            CKVRN_DllMain::s_deleteWindowManager = &DeleteWindowManager;
    }
    return g_windowManager;
}

bool CAlphaChannelWindowManager::Exists()
{
    return g_windowManager != nullptr;
}

CAlphaChannelWindowManager::CAlphaChannelWindowManager()
{
}

CAlphaChannelWindowManager::~CAlphaChannelWindowManager() noexcept
{
    m_windows.clear();
    if (g_windowManager == this)
    {
        g_windowManager = nullptr;
        CKVRN_DllMain::s_deleteWindowManager = nullptr;
    }
}

bool CAlphaChannelWindowManager::FadingAllowed()
{
    return true;
}

void CAlphaChannelWindowManager::Add(HWND window, CAlphaChannelButton::ALPHA_CHANNEL_WINDOW_POSITION position)
{
    if (!IsWindow(window))
        return;
    try
    {
        m_windows.push_back(window);
    }
    catch (...)
    {
        // Not remembered: the window is still placed, only not stacked upon.
    }
    int w = 0, h = 0;
    CWin32::GetWindowDimensions(window, w, h);
    const int screenWidth = GetSystemMetrics(SM_CXSCREEN);
    const int screenHeight = GetSystemMetrics(SM_CYSCREEN);

    int x, y;
    switch (position)
    {
    case CAlphaChannelButton::POSITION_BOTTOM_RIGHT:
        x = screenWidth - w - 32;
        y = screenHeight - h - 48;
        break;
    case CAlphaChannelButton::POSITION_OFFSCREEN:
        x = -w - 1000;
        y = -h - 1000;
        break;
    default:
        x = (screenWidth - w) / 2;
        y = (screenHeight - h) / 2;
        break;
    }

    if (position != CAlphaChannelButton::POSITION_OFFSCREEN)
    {
        const LONG_PTR kind = GetWindowLongPtrW(window, GWL_EXSTYLE) & kKindMask;
        HWND previous = nullptr;
        for (HWND other : m_windows)
        {
            if (other != window && IsWindow(other) && (GetWindowLongPtrW(other, GWL_EXSTYLE) & kKindMask) == kind)
                previous = other;
        }
        RECT r;
        if (previous && GetWindowRect(previous, &r))
        {
            if (r.top - h - kGap >= 0)
            {
                x = r.left;
                y = r.top - h - kGap;
            }
            else if (r.left - w - kGap >= 0)
            {
                x = r.left - w - kGap;
            }
        }
    }
    SetWindowPos(window, nullptr, x, y, 0, 0, SWP_NOSIZE | SWP_NOZORDER);
}
