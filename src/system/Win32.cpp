#include "system/Win32.h"
#include "frame/KVRN_DllMain.h"

void CWin32::EmptyMessages(HWND hwnd, int ms)
{
    const ULONGLONG start = GetTickCount64();
    do
    {
        MSG msg;
        while (PeekMessageW(&msg, hwnd, 0, 0, PM_REMOVE))
        {
            if (msg.message == WM_QUIT)
            {
                // The host's own loop must still see the quit request.
                PostQuitMessage(static_cast<int>(msg.wParam));
                return;
            }
            if (CKVRN_DllMain::Instance()->IsDlgMsg(msg))
                continue;
            TranslateMessage(&msg);
            DispatchMessageW(&msg);
        }
        Sleep(10);
    } while (GetTickCount64() - start < static_cast<ULONGLONG>(ms > 0 ? ms : 0));
}
