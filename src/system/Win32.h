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
};
