#pragma once
// CModelessMessage: a self-hiding notification window. A process-wide singleton whose dialog
// (template 6000 of the language resource library, text in control 6005) runs on a thread of its
// own, so that a notice shows even while the host's thread is busy.
//
// Creation: the first Instance() starts the dialog thread and pumps the caller's messages until
// the dialog exists (or its thread has given up, when the template is missing).
// Show(title, text) fills and shows the dialog; it hides itself three seconds after the first
// Show (a second Show does not extend them), on a click, on OK, Cancel or close. It is never
// destroyed while the object lives: `delete CModelessMessage::Instance();` ends it.
#include <windows.h>
#include "Export.h"

class VESKON_API CModelessMessage
{
public:
    static CModelessMessage* Instance();
    ~CModelessMessage() noexcept;
    CModelessMessage(const CModelessMessage&) = delete;
    CModelessMessage& operator=(const CModelessMessage&) = delete;

    // Null or empty arguments report string 528 and show nothing.
    void Show(wchar_t* title, wchar_t* text);
    void Show(const wchar_t* title, const wchar_t* text);
    HWND GetHwnd();

    enum
    {
        AUTO_HIDE_TIMER = 10000,
        AUTO_HIDE_MS = 3000
    };

private:
    CModelessMessage();
    static unsigned __stdcall DialogThread(void* arg);
    static INT_PTR CALLBACK DialogProc(HWND hwnd, UINT msg, WPARAM wParam, LPARAM lParam);

    volatile HWND m_hwnd;
    volatile UINT_PTR m_timer;
    HANDLE m_thread;
    unsigned m_threadId;
};
