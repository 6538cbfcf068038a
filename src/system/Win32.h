#pragma once
// CWin32: window and message helpers shared by the library's classes.
#include <windows.h>
#include "Export.h"

class VESKON_API CWin32
{
public:
    // Pumps the thread's messages for `ms` milliseconds (at least one round): each queued message
    // (of `hwnd` only, when given) is offered to the frame's modeless-dialog filter, then
    // translated and dispatched; when the queue is empty the thread sleeps 10 ms. A WM_QUIT taken
    // from the queue is posted again so that the host's own loop still sees it.
    static void EmptyMessages(HWND hwnd, int ms);

    // One round without sleeping: removes and dispatches every message now queued (of `hwnd`
    // only, when given) through the modeless-dialog filter. A WM_QUIT ends the round: it is not
    // posted again here, its exit code goes to quitCode and the result is false, so that the
    // caller decides when the host's loop gets it back. True when no WM_QUIT was taken.
    static bool PumpPendingMessages(HWND hwnd, int& quitCode);

    // Adds (layered = true) or removes WS_EX_LAYERED when the window's style differs. False when
    // the handle is null, the extended style reads as 0 (no window) or setting it fails.
    static bool SetLayeredStyle(HWND hwnd, bool layered);

    // Outer width and height of a window (its window rectangle); 0 and false when it has none.
    static bool GetWindowDimensions(HWND hwnd, int& width, int& height);

    // Destroys the window when it is one and nulls the handle in every case.
    static void DestroyWindowHandle(HWND& hwnd);

    // The GDI+ text rendering hint for captions: ClearType with grid fitting (5) on Windows
    // versions 4 to 6, plain anti-aliasing (4) on the others.
    static int GetBestTextRenderingHint();

    // Major version of Windows as the version query reports it to this process.
    static DWORD GetWindowsMajorVersion();
};
