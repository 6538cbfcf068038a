#include "system/Win32.h"
#include "frame/KVRN_DllMain.h"

bool CWin32::PumpPendingMessages(HWND hwnd, int& quitCode)
{
    MSG msg;
    while (PeekMessageW(&msg, hwnd, 0, 0, PM_REMOVE))
    {
        if (msg.message == WM_QUIT)
        {
            quitCode = static_cast<int>(msg.wParam);
            return false;
        }
        if (CKVRN_DllMain::Instance()->IsDlgMsg(msg))
            continue;
        TranslateMessage(&msg);
        DispatchMessageW(&msg);
    }
    return true;
}

void CWin32::EmptyMessages(HWND hwnd, int ms)
{
    const ULONGLONG start = GetTickCount64();
    do
    {
        int quitCode = 0;
        if (!PumpPendingMessages(hwnd, quitCode))
        {
            // The host's own loop must still see the quit request.
            PostQuitMessage(quitCode);
            return;
        }
        Sleep(10);
    } while (GetTickCount64() - start < static_cast<ULONGLONG>(ms > 0 ? ms : 0));
}

bool CWin32::SetLayeredStyle(HWND hwnd, bool layered)
{
    if (!hwnd)
        return false;
    const LONG_PTR style = GetWindowLongPtrW(hwnd, GWL_EXSTYLE);
    if (style == 0)
        return false;
    const bool isLayered = (style & WS_EX_LAYERED) != 0;
    if (isLayered == layered)
        return true;
    const LONG_PTR wanted = layered ? (style | WS_EX_LAYERED) : (style & ~static_cast<LONG_PTR>(WS_EX_LAYERED));
    // SetWindowLongPtr returns the previous value, which may legitimately be 0 only for a style
    // that we already rejected above; clear the last error to tell failure from success anyway.
    SetLastError(0);
    if (SetWindowLongPtrW(hwnd, GWL_EXSTYLE, wanted) == 0 && GetLastError() != 0)
        return false;
    return true;
}

bool CWin32::GetWindowDimensions(HWND hwnd, int& width, int& height)
{
    width = 0;
    height = 0;
    RECT r;
    if (!hwnd || !IsWindow(hwnd) || !GetWindowRect(hwnd, &r))
        return false;
    width = r.right - r.left;
    height = r.bottom - r.top;
    return true;
}

void CWin32::DestroyWindowHandle(HWND& hwnd)
{
    if (hwnd && IsWindow(hwnd))
        DestroyWindow(hwnd);
    hwnd = nullptr;
}

DWORD CWin32::GetWindowsMajorVersion()
{
    OSVERSIONINFOW info = {};
    info.dwOSVersionInfoSize = sizeof(info);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    // The version as reported to this process (compatibility shims included) is what counts for
    // the rendering choice below, so the plain query is the right one.
    if (!GetVersionExW(&info))
        return 0;
#pragma GCC diagnostic pop
    return info.dwMajorVersion;
}

int CWin32::GetBestTextRenderingHint()
{
    const int antiAlias = 4;         // TextRenderingHintAntiAlias
    const int clearTypeGridFit = 5;  // TextRenderingHintClearTypeGridFit
    const DWORD major = GetWindowsMajorVersion();
    return (major >= 4 && major <= 6) ? clearTypeGridFit : antiAlias;
}
