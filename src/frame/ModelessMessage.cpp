#include "frame/ModelessMessage.h"
#include "frame/ErrorMsg.h"
#include "frame/KVRN_DllMain.h"
#include "frame/Localize.h"
#include "frame/ZintorResIds.h"
#include "system/Win32.h"
#include <process.h>
#include <new>

namespace
{
CModelessMessage* g_instance = nullptr;
const wchar_t kPropName[] = L"ModelessMessageClassPtr";

// Timers and windows belong to the thread that created them: Show and the destructor, which run on
// the caller's thread, ask the dialog's thread to start the timer and to destroy the dialog.
const UINT WM_START_AUTO_HIDE = WM_APP + 0x600;
const UINT WM_END_DIALOG = WM_APP + 0x601;

// How long the destructor lets the dialog's thread finish before it is ended by force (hiding a
// shown window can take a while where the window manager is slow to confirm it).
const ULONGLONG kThreadEndMs = 10000;

void CentreOnWorkArea(HWND hwnd)
{
    RECT area = {};
    if (!SystemParametersInfoW(SPI_GETWORKAREA, 0, &area, 0))
        SetRect(&area, 0, 0, GetSystemMetrics(SM_CXSCREEN), GetSystemMetrics(SM_CYSCREEN));
    RECT window = {};
    GetWindowRect(hwnd, &window);
    int x = area.left + ((area.right - area.left) - (window.right - window.left)) / 2;
    int y = area.top + ((area.bottom - area.top) - (window.bottom - window.top)) / 2;
    SetWindowPos(hwnd, nullptr, x, y, 0, 0, SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);
}
}

CModelessMessage* CModelessMessage::Instance()
{
    if (!g_instance)
        g_instance = new (std::nothrow) CModelessMessage();
    return g_instance;
}

CModelessMessage::CModelessMessage() : m_hwnd(nullptr), m_timer(0), m_thread(nullptr), m_threadId(0)
{
    // The resource library is chosen here, on the caller's thread, not on the dialog's.
    CLocalize::Instance();
    uintptr_t thread = _beginthreadex(nullptr, 0, &CModelessMessage::DialogThread, this, 0, &m_threadId);
    if (!thread)
    {
        wchar_t context[] = L"CModelessMessage: the dialog thread could not be started";
        CErrorMsg::TraceError(context);
        return;
    }
    m_thread = reinterpret_cast<HANDLE>(thread);
    // Until the dialog exists; a thread that ended without one (no template) ends the wait too.
    while (!m_hwnd && WaitForSingleObject(m_thread, 0) == WAIT_TIMEOUT)
        CWin32::EmptyMessages(nullptr, 10);
}

CModelessMessage::~CModelessMessage() noexcept
{
    if (!g_instance)
        return;
    HWND dlg = m_hwnd;
    if (dlg && IsWindow(dlg))
    {
        CKVRN_DllMain::Instance()->RemoveFromDlgList(dlg);
        PostMessageW(dlg, WM_END_DIALOG, 0, 0);
        m_hwnd = nullptr;
    }
    if (m_thread)
    {
        // The thread ends by itself once its dialog is gone. Destroying a shown window may send to
        // this thread's windows (activation moves), so pump while waiting. Only a thread that
        // hangs is ended by force, since that can leave whatever it held locked.
        const ULONGLONG start = GetTickCount64();
        while (WaitForSingleObject(m_thread, 0) == WAIT_TIMEOUT && GetTickCount64() - start < kThreadEndMs)
            CWin32::EmptyMessages(nullptr, 10);
        if (WaitForSingleObject(m_thread, 0) == WAIT_TIMEOUT)
            TerminateThread(m_thread, 0);
        CloseHandle(m_thread);
        m_thread = nullptr;
    }
    g_instance = nullptr;
}

unsigned __stdcall CModelessMessage::DialogThread(void* arg)
{
    CModelessMessage* self = static_cast<CModelessMessage*>(arg);
    HWND dlg = CreateDialogParamW(CLocalize::Instance()->GethInstance(), MAKEINTRESOURCEW(IDD_MODELESS_MESSAGE),
                                  nullptr, &CModelessMessage::DialogProc, reinterpret_cast<LPARAM>(self));
    if (!dlg)
    {
        wchar_t context[] = L"CModelessMessage: the dialog could not be created from template 6000";
        CErrorMsg::TraceError(context);
        return 0;
    }
    while (IsWindow(dlg))
        CWin32::EmptyMessages(dlg, 10);
    return 0;
}

INT_PTR CALLBACK CModelessMessage::DialogProc(HWND hwnd, UINT msg, WPARAM wParam, LPARAM lParam)
{
    CModelessMessage* self = static_cast<CModelessMessage*>(GetPropW(hwnd, kPropName));
    switch (msg)
    {
    case WM_INITDIALOG:
        self = reinterpret_cast<CModelessMessage*>(lParam);
        SetPropW(hwnd, kPropName, self);
        CKVRN_DllMain::Instance()->AddDlgToDlgList(hwnd);
        self->m_hwnd = hwnd;
        CentreOnWorkArea(hwnd);
        return 1;
    case WM_COMMAND:
        if (LOWORD(wParam) != IDOK && LOWORD(wParam) != IDCANCEL)
            return 0;
        // Hidden, never destroyed: the next Show uses the same window.
        if (self && self->m_timer)
        {
            KillTimer(hwnd, self->m_timer);
            self->m_timer = 0;
        }
        ShowWindow(hwnd, SW_HIDE);
        return 1;
    case WM_TIMER:
        if (!self || !self->m_timer || wParam != self->m_timer)
            return 0;
        PostMessageW(hwnd, WM_COMMAND, IDCANCEL, 0);
        return 1;
    case WM_CLOSE:
    case WM_LBUTTONDOWN:
        PostMessageW(hwnd, WM_COMMAND, IDCANCEL, 0);
        return 1;
    case WM_START_AUTO_HIDE:
        // A Show while the timer runs does not extend it.
        if (self && !self->m_timer)
            self->m_timer = SetTimer(hwnd, AUTO_HIDE_TIMER, AUTO_HIDE_MS, nullptr);
        return 1;
    case WM_END_DIALOG:
        if (self && self->m_timer)
        {
            KillTimer(hwnd, self->m_timer);
            self->m_timer = 0;
        }
        RemovePropW(hwnd, kPropName);
        DestroyWindow(hwnd);
        return 1;
    }
    return 0;
}

void CModelessMessage::Show(wchar_t* title, wchar_t* text)
{
    if (!title || !*title || !text || !*text)
    {
        wchar_t message[MAX_PATH] = {};
        CLocalize::Instance()->GetString(IDS_MODELESS_MESSAGE_ARGS, message, MAX_PATH);
        CErrorMsg::Instance()->Error(0, message);
        return;
    }
    HWND dlg = m_hwnd;
    if (!dlg || !IsWindow(dlg))
        return;
    SetWindowTextW(dlg, title);
    SetDlgItemTextW(dlg, IDC_MODELESS_MESSAGE_TEXT, text);
    SendMessageW(dlg, WM_START_AUTO_HIDE, 0, 0);
    ShowWindow(dlg, SW_SHOW);
    CWin32::EmptyMessages(nullptr, 10);
}

void CModelessMessage::Show(const wchar_t* title, const wchar_t* text)
{
    Show(const_cast<wchar_t*>(title), const_cast<wchar_t*>(text));
}

HWND CModelessMessage::GetHwnd()
{
    return m_hwnd;
}
