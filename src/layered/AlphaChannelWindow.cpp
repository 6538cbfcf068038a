#include "layered/AlphaChannelWindow.h"
#include "frame/ZintorResIds.h"
#include <cstring>
#include <memory>
#include <new>
#include "frame/CriticalSectionEx.h"
#include "frame/ErrorMsg.h"
#include "frame/KVRN_DllMain.h"
#include "frame/Localize.h"
#include "layered/AlphaChannelImage.h"
#include "layered/AlphaChannelWindowManager.h"
#include "system/IconCache.h"
#include "system/Win32.h"

namespace
{
const wchar_t kClassName[] = L"Veskon Advisory";
const wchar_t kObjectProperty[] = L"FWCPtr";
const int kAppIcon = 219;

const UINT kFadePeriod = 50;
const UINT kScrollPeriod = 25;
const UINT kAutokillPeriod = 3000;
const int kFadeStep = 16;
const int kFastFadeStep = 48;  // once a button command arrived
const DWORD kNavigationRepeatGuard = 167;
const DWORD kKeyPressDuration = 125;

const unsigned int kKeyTab = 9;
const unsigned int kKeyEnter = 13;
const unsigned int kKeyEscape = 27;
const unsigned int kKeySpace = 32;

struct ScreenDcReleaser
{
    void operator()(HDC dc) const { ReleaseDC(nullptr, dc); }
};
// A DIB section's header with the colour masks that BI_BITFIELDS needs after it.
struct DibInfo
{
    BITMAPINFOHEADER header;
    DWORD masks[3];
};

// True when both DIB sections lay out their pixels the same way, byte for byte.
bool SameLayout(const DIBSECTION& a, const DIBSECTION& b)
{
    return a.dsBm.bmWidth == b.dsBm.bmWidth && a.dsBm.bmHeight == b.dsBm.bmHeight &&
           a.dsBm.bmWidthBytes == b.dsBm.bmWidthBytes && a.dsBm.bmBitsPixel == b.dsBm.bmBitsPixel &&
           (a.dsBmih.biHeight < 0) == (b.dsBmih.biHeight < 0) && a.dsBmih.biCompression == b.dsBmih.biCompression &&
           (a.dsBmih.biCompression != BI_BITFIELDS || memcmp(a.dsBitfields, b.dsBitfields, sizeof(a.dsBitfields)) == 0);
}
}

// The background of the compositions. GDI+ makes it from the up image as the composition
// prescribes (a 32-bit ARGB clone, then its DIB on a transparent background, which GDI+ hands
// back premultiplied once) only when the image, its frame or its size changed, because that costs
// several milliseconds. Every composition copies those bytes into a DIB section of the same
// layout, kept selected in a memory DC, and premultiplies the copy (in the same pass): the pixels
// are those of a fresh clone each time, and the kept bytes are never drawn into.
struct CAlphaChannelWindow::Composition
{
    // What the kept background was made from.
    CAlphaChannelImage* image = nullptr;
    unsigned long long changeCount = 0;
    int width = 0;
    int height = 0;

    HBITMAP background = nullptr;  // as GDI+ handed it back
    DIBSECTION backgroundLayout = {};
    HDC dc = nullptr;             // the memory DC, kept between compositions
    HGDIOBJ dcBitmap = nullptr;   // the DC's own bitmap, put back before the surface goes
    HBITMAP surface = nullptr;    // the picture being composed, selected into dc
    DIBSECTION surfaceLayout = {};
    HBITMAP oneShot = nullptr;    // a background that could not be kept, used once as the surface
    int savedState = 0;           // SaveDC of the composition under way, 0 when none

    Composition() = default;
    Composition(const Composition&) = delete;
    Composition& operator=(const Composition&) = delete;
    ~Composition() { Release(); }

    bool Busy() const { return savedState != 0 || oneShot != nullptr; }

    // The memory DC with the pristine background premultiplied in it, ready for painting; null
    // when GDI+ or GDI cannot make it. End() must follow a successful Begin().
    HDC Begin(CAlphaChannelImage* up, int w, int h, HDC screen)
    {
        if (!dc)
            dc = CreateCompatibleDC(screen);
        if (!dc)
            return nullptr;
        // The change count is never shared between images, nor between two states of one image.
        const bool current =
            background && image == up && changeCount == up->GetChangeCount() && width == w && height == h;
        if (!current && !MakeBackground(up, w, h))
            return nullptr;
        GdiFlush();  // the last composition's drawing must be done before its bytes are replaced
        // Copied and premultiplied in one pass: the same bytes as the copy premultiplied.
        const bool copied = backgroundLayout.dsBm.bmBits && (surface || MakeSurface()) &&
                            CAlphaChannelImage::PreMultiplyRGBChannels(background, surface, w, h);
        if (!copied)
        {
            // No surface to copy to: compose in GDI+'s DIB itself, as it is, and make it anew next time.
            oneShot = background;
            background = nullptr;
            CAlphaChannelImage::PreMultiplyRGBChannels(oneShot, w, h);
            ReleaseSurface();
            dcBitmap = SelectObject(dc, oneShot);
        }
        savedState = SaveDC(dc);
        if (!savedState)
            savedState = -1;  // still busy; nothing to restore
        return dc;
    }

    // Puts back whatever the painting changed in the DC.
    void End()
    {
        if (savedState > 0)
            RestoreDC(dc, savedState);
        savedState = 0;
        if (oneShot)
        {
            SelectObject(dc, dcBitmap);
            dcBitmap = nullptr;
            DeleteObject(oneShot);
            oneShot = nullptr;
        }
    }

    void Release() noexcept
    {
        End();
        ReleaseSurface();
        ReleaseBackground();
        if (dc)
            DeleteDC(dc);
        dc = nullptr;
    }

private:
    bool MakeBackground(CAlphaChannelImage* up, int w, int h)
    {
        ReleaseBackground();
        std::unique_ptr<Gdiplus::Bitmap> clone(up->GetBitmap()->Clone(0, 0, w, h, PixelFormat32bppARGB));
        HBITMAP dib = nullptr;
        if (!clone || clone->GetHBITMAP(Gdiplus::Color(0), &dib) != Gdiplus::Ok || !dib)
        {
            if (dib)
                DeleteObject(dib);
            return false;
        }
        background = dib;
        if (GetObjectW(background, sizeof(backgroundLayout), &backgroundLayout) != sizeof(backgroundLayout))
            backgroundLayout = DIBSECTION();  // not a DIB section: used once as it is
        if (surface && !SameLayout(backgroundLayout, surfaceLayout))
            ReleaseSurface();
        image = up;
        changeCount = up->GetChangeCount();
        width = w;
        height = h;
        return true;
    }

    bool MakeSurface()
    {
        DibInfo info = {};
        info.header = backgroundLayout.dsBmih;
        info.header.biSize = sizeof(BITMAPINFOHEADER);
        memcpy(info.masks, backgroundLayout.dsBitfields, sizeof(info.masks));
        void* bits = nullptr;
        HBITMAP made = CreateDIBSection(dc, reinterpret_cast<BITMAPINFO*>(&info), DIB_RGB_COLORS, &bits, nullptr, 0);
        DIBSECTION layout = {};
        if (!made || GetObjectW(made, sizeof(layout), &layout) != sizeof(layout) || !layout.dsBm.bmBits ||
            !SameLayout(layout, backgroundLayout))
        {
            if (made)
                DeleteObject(made);
            return false;
        }
        HGDIOBJ previous = SelectObject(dc, made);
        if (!previous)
        {
            DeleteObject(made);
            return false;
        }
        dcBitmap = previous;
        surface = made;
        surfaceLayout = layout;
        return true;
    }

    void ReleaseSurface() noexcept
    {
        if (!surface)
            return;
        SelectObject(dc, dcBitmap);
        dcBitmap = nullptr;
        DeleteObject(surface);
        surface = nullptr;
        surfaceLayout = DIBSECTION();
    }

    void ReleaseBackground() noexcept
    {
        if (background)
            DeleteObject(background);
        background = nullptr;
        backgroundLayout = DIBSECTION();
        image = nullptr;
    }
};

CAlphaChannelWindow::CAlphaChannelWindow()
    : m_scrollMethod(SCROLL_NONE), m_windowHandleSlot(nullptr), m_hwnd(nullptr), m_fadeState(FADE_IDLE),
      m_tooltipsEnabled(false), m_autokill(false), m_noFade(false), m_splash(false), m_foreground(false),
      m_topmost(false), m_clickedId(-1), m_tooltip(nullptr), m_fadeInTimer(0), m_fadeOutTimer(0),
      m_scrollTimer(0), m_autokillTimer(0), m_parent(nullptr), m_initCompleted(false), m_closeRequested(false),
      m_position(POSITION_BOTTOM_RIGHT), m_windowLock(new (std::nothrow) CCriticalSectionEx()),
      m_extendedStyle(WS_EX_APPWINDOW), m_lastNavigationTick(0), m_lastKey(0), m_maxAlpha(255),
      m_quitSeen(false), m_quitCode(0), m_composition(nullptr)
{
}

CAlphaChannelWindow::~CAlphaChannelWindow() noexcept
{
    CleanUp();
}

// ---- class and procedure ----------------------------------------------------------------------

bool CAlphaChannelWindow::RegisterWindowClass()
{
    if (CKVRN_DllMain::s_advisoryClassRegistered)
        return true;
    HINSTANCE instance = CKVRN_DllMain::Instance()->GethInstance();
    WNDCLASSEXW wc = {};
    wc.cbSize = sizeof(wc);
    wc.style = CS_HREDRAW | CS_VREDRAW | CS_DBLCLKS;
    wc.lpfnWndProc = &CAlphaChannelWindow::WindowProc;
    wc.cbWndExtra = 4;
    wc.hInstance = instance;
    wc.hIcon = CIconCache::Load(instance, kAppIcon, 32, 32);
    wc.lpszClassName = kClassName;
    if (!RegisterClassExW(&wc))
    {
        wchar_t text[MAX_PATH] = {};
        CLocalize::Instance()->GetString(IDS_WINDOW_CLASS_REGISTRATION, text, MAX_PATH);
        CErrorMsg::Instance()->Display(nullptr, text);
        return false;
    }
    CKVRN_DllMain::s_advisoryClassRegistered = true;
    return true;
}

LRESULT CALLBACK CAlphaChannelWindow::WindowProc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam)
{
    if (message == WM_CREATE)
    {
        const CREATESTRUCTW* create = reinterpret_cast<const CREATESTRUCTW*>(lParam);
        if (create && create->lpCreateParams)
        {
            SetPropW(hwnd, kObjectProperty, create->lpCreateParams);
            // Messages of the creation itself (size, move) already reach the object.
            static_cast<CAlphaChannelWindow*>(create->lpCreateParams)->m_hwnd = hwnd;
        }
        return DefWindowProcW(hwnd, message, wParam, lParam);
    }
    CAlphaChannelWindow* window = static_cast<CAlphaChannelWindow*>(GetPropW(hwnd, kObjectProperty));
    if (!window)
        return DefWindowProcW(hwnd, message, wParam, lParam);
    if (message == WM_NCDESTROY)
    {
        RemovePropW(hwnd, kObjectProperty);
        return DefWindowProcW(hwnd, message, wParam, lParam);
    }
    return window->HandleMessage(hwnd, message, wParam, lParam);
}

LRESULT CAlphaChannelWindow::HandleMessage(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam)
{
    switch (message)
    {
    case WM_SETFOCUS:
    case WM_KILLFOCUS:
        // A focused button draws its focus rectangle only while the window has the focus.
        BuildImage();
        return 1;
    case WM_CLOSE:
        Close();
        return 0;
    case WM_NCHITTEST:
        return OnNcHitTest();
    case WM_COMMAND:
        if (LOWORD(wParam) == CLOSE_COMMAND_ID)
            Close();
        else
            m_clickedId = static_cast<int>(wParam);
        return 0;
    case WM_TIMER:
        OnTimer(wParam);
        return 1;
    case WM_KEYUP:
        if (wParam == VK_LEFT || wParam == VK_UP || wParam == VK_RIGHT || wParam == VK_DOWN)
        {
            OnKey(static_cast<unsigned int>(wParam));
            return 0;
        }
        break;
    case WM_CHAR:
        OnKey(static_cast<unsigned int>(wParam));
        return 0;
    case WM_MOUSEMOVE:
        Handle_WM_MOUSEMOVE();
        return 0;
    case WM_LBUTTONDOWN:
    case WM_LBUTTONDBLCLK:
        Handle_WM_LBUTTONDOWN();
        return 0;
    case WM_LBUTTONUP:
        Handle_WM_LBUTTONUP();
        return 0;
    case WM_MOUSELEAVE:
        Handle_WM_MOUSELEAVE();
        return 0;
    default:
        break;
    }
    return DefWindowProcW(hwnd, message, wParam, lParam);
}

// ---- Load and clean-up ------------------------------------------------------------------------

void CAlphaChannelWindow::Load(HWND parent, wchar_t* upImage, wchar_t* downImage, wchar_t* disabledImage,
                               wchar_t* hoverImage, std::list<CAlphaChannelButton*> buttons,
                               ALPHA_CHANNEL_WINDOW_POSITION position, SCROLL_METHOD scrollMethod,
                               Gdiplus::Font* font, wchar_t* title)
{
    // The list arrives by value: until it is stored, these buttons are ours to delete.
    std::unique_ptr<std::list<CAlphaChannelButton*>, void (*)(std::list<CAlphaChannelButton*>*)> pending(
        &buttons, [](std::list<CAlphaChannelButton*>* list) {
            for (CAlphaChannelButton* b : *list)
                delete b;
            list->clear();
        });
    if (!m_windowLock)
        m_windowLock = new (std::nothrow) CCriticalSectionEx();

    RegisterWindowClass();

    SetUpImageFilename(upImage);
    SetDownImageFilename(downImage);
    SetDisabledImageFilename(disabledImage);
    SetHoverImageFilename(hoverImage);
    if (!LoadImages())
    {
        CErrorMsg::Instance()->Error(IDS_WINDOW_IMAGES_FAILED);
        return;
    }

    m_parent = parent;
    m_position = position;
    m_scrollMethod = scrollMethod;
    if (font)
        SetFont(font);

    if (!buttons.empty())
    {
        // Buttons of an earlier run that are not handed in again would otherwise be lost.
        for (CAlphaChannelButton* old : m_buttons)
        {
            bool kept = false;
            for (CAlphaChannelButton* b : buttons)
                kept = kept || (b == old);
            if (!kept)
                delete old;
        }
        try
        {
            m_buttons = buttons;
        }
        catch (...)
        {
            m_buttons.clear();
            return;
        }
        buttons.clear();  // owned by the window from here on; its destructor deletes them
        for (CAlphaChannelButton* b : m_buttons)
        {
            if (!b)
                continue;
            b->SetFont(font);
            if (!b->LoadImages())
            {
                CErrorMsg::Instance()->Error(IDS_WINDOW_IMAGES_FAILED);
                return;
            }
        }
        if (m_buttons.front())
            m_buttons.front()->Focus(true);
    }

    wchar_t windowTitle[MAX_PATH + 1] = {};
    if (title && title[0])
        wcsncpy_s(windowTitle, title, _TRUNCATE);
    else
        CLocalize::Instance()->GetString(IDS_DEFAULT_WINDOW_TITLE, windowTitle, MAX_PATH + 1);

    HINSTANCE instance = CKVRN_DllMain::Instance()->GethInstance();
    m_hwnd = CreateWindowExW(m_extendedStyle, kClassName, windowTitle, WS_POPUP, 0, 0, GetWidth(), GetHeight(), parent,
                             nullptr, instance, this);
    if (m_windowHandleSlot)
        *m_windowHandleSlot = m_hwnd;
    if (!m_hwnd)
    {
        // Without a window nothing would ever end the wait loops below.
        CErrorMsg::TraceError(const_cast<wchar_t*>(L"CAlphaChannelWindow::Load(): CreateWindowExW"));
        CleanUp();
        return;
    }

    if (CAlphaChannelWindowManager* manager = CAlphaChannelWindowManager::Instance())
        manager->Add(m_hwnd, position);

    if (HICON smallIcon = CIconCache::Load(instance, kAppIcon, 16, 16))
        SendMessageW(m_hwnd, WM_SETICON, ICON_SMALL, reinterpret_cast<LPARAM>(smallIcon));
    if (HICON bigIcon = CIconCache::Load(instance, kAppIcon, 48, 48))
        SendMessageW(m_hwnd, WM_SETICON, ICON_BIG, reinterpret_cast<LPARAM>(bigIcon));

    BeforeFadeIn();

    SetFadeState(FADE_IN);
    ShowWindow(m_hwnd, SW_SHOW);
    if (m_topmost)
        SetWindowPos(m_hwnd, HWND_TOPMOST, 0, 0, 0, 0, SWP_NOSIZE | SWP_NOMOVE | SWP_NOACTIVATE);
    if (m_foreground)
        ::SetForegroundWindow(m_hwnd);

    // Fading in: no pause, so that every tick is handled on time.
    while (m_fadeState == FADE_IN && IsWindow(m_hwnd))
        PumpWindowMessages();

    if (m_autokill)
        StartTimer(m_autokillTimer, TIMER_AUTOKILL, kAutokillPeriod);

    // The tooltip (CTooltipSupport) is not part of this library build yet; hit testing only
    // updates it when one exists.

    m_initCompleted = true;

    while (m_fadeState != FADE_CLOSED && IsWindow(m_hwnd))
    {
        PumpWindowMessages();
        Sleep(10);
    }

    CleanUp();
}

void CAlphaChannelWindow::CleanUp()
{
    StopFadeTimers();
    StopTimer(m_scrollTimer, TIMER_SCROLL);
    StopTimer(m_autokillTimer, TIMER_AUTOKILL);
    // m_tooltip is never created in this build (see Load).
    m_tooltip = nullptr;
    for (CAlphaChannelButton* b : m_buttons)
        delete b;
    m_buttons.clear();
    if (m_hwnd && IsWindow(m_hwnd))
        RemovePropW(m_hwnd, kObjectProperty);
    CWin32::DestroyWindowHandle(m_hwnd);
    delete m_composition;
    m_composition = nullptr;
    delete m_windowLock;
    m_windowLock = nullptr;
    if (m_quitSeen)
    {
        // The host's loop gets the quit request that arrived while the window ran.
        m_quitSeen = false;
        PostQuitMessage(m_quitCode);
    }
}

void CAlphaChannelWindow::PumpWindowMessages()
{
    if (!m_hwnd)
        return;
    int quitCode = 0;
    if (!CWin32::PumpPendingMessages(m_hwnd, quitCode))
    {
        m_quitSeen = true;
        m_quitCode = quitCode;
    }
}

// ---- composition ------------------------------------------------------------------------------

void CAlphaChannelWindow::BuildImage()
{
    RECT r = { 0, 0, 0, 0 };
    if (m_hwnd)
        GetWindowRect(m_hwnd, &r);
    BuildImage(&r);
}

void CAlphaChannelWindow::BuildImage(RECT* where)
{
    if (!m_upImage || !m_upImage->GetBitmap())
        return;
    if (where && CWin32::SetLayeredStyle(m_hwnd, true))
    {
        if (!m_composition)
            m_composition = new (std::nothrow) Composition();
        // A composition asked for while one is under way (from Paint or a paint callback that
        // pumps messages) must not overwrite the picture being painted: it gets its own.
        Composition nested;
        Composition& composition = (m_composition && !m_composition->Busy()) ? *m_composition : nested;
        const int width = m_upImage->GetWidth();
        const int height = m_upImage->GetHeight();
        std::unique_ptr<HDC__, ScreenDcReleaser> screen(GetDC(nullptr));
        HDC memory = screen ? composition.Begin(m_upImage, width, height, screen.get()) : nullptr;
        if (memory)
        {
            Paint(memory, 0, 0, width, height);
            for (CAlphaChannelButton* b : m_buttons)
            {
                if (b)
                    b->Paint(m_hwnd, memory);
            }
            POINT destination = { where->left, where->top };
            SIZE size = { width, height };
            POINT source = { 0, 0 };
            BLENDFUNCTION blend = { AC_SRC_OVER, 0, static_cast<BYTE>(m_alpha & 0xFF), AC_SRC_ALPHA };
            UpdateLayeredWindow(m_hwnd, screen.get(), &destination, &size, memory, &source, 0, &blend, ULW_ALPHA);
            composition.End();
        }
    }
    m_dirty = false;
}

bool CAlphaChannelWindow::IsWindowDirty()
{
    if (m_dirty)
        return true;
    for (CAlphaChannelButton* b : m_buttons)
    {
        if (b && b->Dirty())
            return true;
    }
    return false;
}

void CAlphaChannelWindow::RepaintIfDirty()
{
    if (IsWindowDirty())
        BuildImage();
}

// ---- fading and timers ------------------------------------------------------------------------

void CAlphaChannelWindow::StartTimer(UINT_PTR& member, UINT_PTR id, UINT period)
{
    if (m_hwnd)
        member = SetTimer(m_hwnd, id, period, nullptr);
}

void CAlphaChannelWindow::StopTimer(UINT_PTR& member, UINT_PTR id)
{
    if (member && m_hwnd)
        KillTimer(m_hwnd, id);
    member = 0;
}

void CAlphaChannelWindow::StopFadeTimers()
{
    StopTimer(m_fadeInTimer, TIMER_FADE_IN);
    StopTimer(m_fadeOutTimer, TIMER_FADE_OUT);
}

void CAlphaChannelWindow::SetFadeState(int state)
{
    if (state == m_fadeState)
        return;
    StopFadeTimers();
    m_fadeState = FADE_IDLE;
    CAlphaChannelWindowManager* manager = CAlphaChannelWindowManager::Instance();
    const bool jump = m_position == POSITION_OFFSCREEN || m_noFade || (manager && !manager->FadingAllowed());
    switch (state)
    {
    case FADE_IN:
        if (jump)
            m_alpha = m_maxAlpha;
        m_fadeState = FADE_IN;
        StartTimer(m_fadeInTimer, TIMER_FADE_IN, kFadePeriod);
        PumpWindowMessages();
        break;
    case FADE_OUT:
        StopTimer(m_scrollTimer, TIMER_SCROLL);
        if (jump)
            m_alpha = 0;
        m_fadeState = FADE_OUT;
        StartTimer(m_fadeOutTimer, TIMER_FADE_OUT, kFadePeriod);
        PumpWindowMessages();
        break;
    case FADE_CLOSED:
        Close();
        break;
    default:
        break;
    }
}

void CAlphaChannelWindow::Close()
{
    StopFadeTimers();
    m_fadeState = FADE_CLOSED;
    AfterFadeOut();
}

void CAlphaChannelWindow::OnTimer(UINT_PTR id)
{
    switch (id)
    {
    case TIMER_FADE_IN:
        OnFadeInTick();
        break;
    case TIMER_FADE_OUT:
        OnFadeOutTick();
        break;
    case TIMER_SCROLL:
        OnScrollTick();
        break;
    case TIMER_AUTOKILL:
        if (m_autokillTimer)
        {
            StopTimer(m_autokillTimer, TIMER_AUTOKILL);
            SetFadeState(FADE_OUT);
        }
        break;
    default:
        break;
    }
}

void CAlphaChannelWindow::OnFadeInTick()
{
    if (m_alpha + kFadeStep >= m_maxAlpha)
    {
        SetFadeState(FADE_IDLE);
        m_alpha = m_maxAlpha;
        BuildImage();
        if (m_scrollMethod != SCROLL_NONE)
            StartTimer(m_scrollTimer, TIMER_SCROLL, kScrollPeriod);
        return;
    }
    m_alpha += kFadeStep;
    BuildImage();
}

void CAlphaChannelWindow::OnFadeOutTick()
{
    // The reader keeps an autokill notification while the mouse rests on it.
    if (m_autokill && CursorInClient() && !m_closeRequested && !m_splash)
    {
        if (m_alpha != m_maxAlpha)
        {
            m_alpha = m_maxAlpha;
            BuildImage();
        }
        return;
    }
    m_alpha -= (m_clickedId != -1) ? kFastFadeStep : kFadeStep;
    if (m_alpha < 0)
    {
        m_alpha = 0;
        BuildImage();
        Close();
        return;
    }
    BuildImage();
}

void CAlphaChannelWindow::OnScrollTick()
{
    if (m_scrollMethod == SCROLL_REPEAT_BUTTON)
    {
        if (EnterLock(L"CAlphaChannelWindow::ScrollTimer"))
        {
            CAlphaChannelButton* down = GetDownButton();
            if (down && HitTest() == down)
                Callback(down, BUTTON_REASON_DOWN);
        }
        LeaveLock();
    }
    else if (m_scrollMethod == SCROLL_AUTO)
    {
        AutoScroll();
    }
}

// ---- hit testing and input --------------------------------------------------------------------

bool CAlphaChannelWindow::CursorInClient()
{
    POINT p;
    RECT client;
    if (!m_hwnd || !GetCursorPos(&p) || !ScreenToClient(m_hwnd, &p) || !GetClientRect(m_hwnd, &client))
        return false;
    return PtInRect(&client, p) != FALSE;
}

CAlphaChannelButton* CAlphaChannelWindow::HitTest()
{
    POINT p;
    if (!m_hwnd || !GetCursorPos(&p) || !ScreenToClient(m_hwnd, &p))
        return nullptr;
    CAlphaChannelButton* hit = nullptr;
    for (CAlphaChannelButton* b : m_buttons)
    {
        if (!b || !b->Visible())
            continue;
        RECT r;
        b->GetRectangle(r);
        if (PtInRect(&r, p) && b->Enabled())
            hit = b;  // the last one in list order wins
    }
    // Tooltip texts follow the hit once the tooltip class is part of the build (m_tooltip).
    return hit;
}

LRESULT CAlphaChannelWindow::OnNcHitTest()
{
    if (HitTest())
        return HTCLIENT;
    if (GetAsyncKeyState(VK_LBUTTON) >= 0)
        return HTCAPTION;  // the system drags the window by its background
    if (!m_autokill && !m_noFade)
        return HTCAPTION;
    if (!m_buttons.empty())
        return HTCAPTION;
    // A buttonless notification goes away when clicked.
    m_closeRequested = true;
    SetFadeState(FADE_OUT);
    return HTCLIENT;
}

bool CAlphaChannelWindow::EnterLock(const wchar_t* name)
{
    return m_windowLock && m_windowLock->Enter(name) == 1;
}

void CAlphaChannelWindow::LeaveLock()
{
    if (m_windowLock)
        m_windowLock->Leave();
}

void CAlphaChannelWindow::Callback(CAlphaChannelButton* button, BUTTON_CALLBACK_REASON reason)
{
    if (button && button->GetButtonCallback())
        button->GetButtonCallback()(button, reason, button->GetButtonContext());
}

void CAlphaChannelWindow::PressPass(CAlphaChannelButton* button, bool press)
{
    if (m_buttons.empty())
        return;
    for (CAlphaChannelButton* b : m_buttons)
    {
        if (!b)
            continue;
        if (b == button)
        {
            b->Press(press);
        }
        else
        {
            b->Press(false);
            b->ButtonDown(false);
        }
    }
    RepaintIfDirty();
}

void CAlphaChannelWindow::HoverPass(CAlphaChannelButton* button, bool hover)
{
    if (m_buttons.empty())
        return;
    for (CAlphaChannelButton* b : m_buttons)
    {
        if (b)
            b->Hover(b == button ? hover : false);
    }
    RepaintIfDirty();
}

void CAlphaChannelWindow::FocusPass(CAlphaChannelButton* button, bool focus)
{
    for (CAlphaChannelButton* b : m_buttons)
    {
        if (b)
            b->Focus(b == button ? focus : false);
    }
    RepaintIfDirty();
}

void CAlphaChannelWindow::Click(CAlphaChannelButton* button)
{
    if (!button)
        return;
    Callback(button, BUTTON_REASON_CLICK);
    PostMessageW(m_hwnd, WM_COMMAND, static_cast<WPARAM>(button->GetCommandID()), 0);
    if (button->AutoClose())
    {
        m_closeRequested = true;
        SetFadeState(FADE_OUT);
    }
}

void CAlphaChannelWindow::Handle_WM_LBUTTONDOWN()
{
    // Works whether or not the lock was free: a press must never be lost.
    EnterLock(L"CAlphaChannelWindow::Handle_WM_LBUTTONDOWN");
    if (GetCapture() != m_hwnd)
        SetCapture(m_hwnd);
    CAlphaChannelButton* hit = HitTest();
    PressPass(hit, true);
    HoverPass(hit, false);
    FocusPass(hit, true);
    if (hit)
    {
        Callback(hit, BUTTON_REASON_DOWN);
        if (hit->Repeater())
        {
            while (GetAsyncKeyState(VK_LBUTTON) < 0 && hit->Repeater())
                Callback(hit, BUTTON_REASON_DOWN);
            ClipCursor(nullptr);
            PressPass(nullptr, false);
            HoverPass(hit, true);
        }
    }
    LeaveLock();
}

void CAlphaChannelWindow::Handle_WM_LBUTTONUP()
{
    if (EnterLock(L"CAlphaChannelWindow::Handle_WM_LBUTTONUP"))
    {
        CAlphaChannelButton* hit = HitTest();
        HoverPass(hit, true);
        CAlphaChannelButton* down = GetDownButton();
        PressPass(down, false);
        if (down)
            down->ButtonDown(false);
        if (hit && hit == down)
            Click(hit);
        if (GetCapture() == m_hwnd)
            ReleaseCapture();
    }
    LeaveLock();
}

void CAlphaChannelWindow::Handle_WM_MOUSEMOVE()
{
    if (EnterLock(L"CAlphaChannelWindow::Handle_WM_MOUSEMOVE"))
    {
        if (GetCapture() != m_hwnd)
            SetCapture(m_hwnd);
        TRACKMOUSEEVENT track = { sizeof(TRACKMOUSEEVENT), TME_LEAVE, m_hwnd, HOVER_DEFAULT };
        TrackMouseEvent(&track);
        CAlphaChannelButton* hit = HitTest();
        HoverPass(hit, true);
        if (hit && hit == GetDownButton())
        {
            PressPass(hit, GetAsyncKeyState(VK_LBUTTON) < 0);
            Callback(hit, BUTTON_REASON_DRAG);
        }
        if (!hit)
        {
            PressPass(GetDownButton(), false);
            if (GetCapture() == m_hwnd)
                ReleaseCapture();
        }
    }
    LeaveLock();
}

void CAlphaChannelWindow::Handle_WM_MOUSELEAVE()
{
    EnterLock(L"CAlphaChannelWindow::Handle_WM_MOUSELEAVE");
    PressPass(GetDownButton(), false);
    HoverPass(nullptr, false);
    LeaveLock();
}

void CAlphaChannelWindow::OnKey(unsigned int key)
{
    m_lastKey = key;
    CAlphaChannelButton* focused = nullptr;
    int index = 0;
    int i = 0;
    for (CAlphaChannelButton* b : m_buttons)
    {
        if (b && b->Focused())
        {
            focused = b;
            index = i;
            break;
        }
        ++i;
    }

    switch (key)
    {
    case kKeyTab:
    case VK_LEFT:
    case VK_UP:
    case VK_RIGHT:
    case VK_DOWN:
    {
        if (!focused)
            break;
        const DWORD now = GetTickCount();
        if (now - m_lastNavigationTick < kNavigationRepeatGuard)
            break;  // a held key repeats too fast to follow
        m_lastNavigationTick = now;
        bool backwards = key == VK_LEFT || key == VK_UP;
        if (key == kKeyTab)
            backwards = GetAsyncKeyState(VK_SHIFT) != 0;
        const int count = static_cast<int>(m_buttons.size());
        const int next = backwards ? (index == 0 ? count - 1 : index - 1) : (index == count - 1 ? 0 : index + 1);
        auto it = m_buttons.begin();
        std::advance(it, next);
        FocusPass(*it, true);
        break;
    }
    case kKeyEnter:
    case kKeySpace:
        if (focused)
        {
            PressPass(focused, true);
            Sleep(kKeyPressDuration);
            PressPass(focused, false);
            Click(focused);
        }
        else if (m_autokill)
        {
            SetFadeState(FADE_OUT);
        }
        break;
    case kKeyEscape:
        if (m_autokill)
            SetFadeState(FADE_OUT);
        break;
    default:
        break;
    }
}

// ---- buttons and accessors --------------------------------------------------------------------

CAlphaChannelButton* CAlphaChannelWindow::GetDownButton()
{
    for (CAlphaChannelButton* b : m_buttons)
    {
        if (b && b->Down())
            return b;
    }
    return nullptr;
}

void CAlphaChannelWindow::SetDownButton(CAlphaChannelButton* button)
{
    PressPass(button, true);
}

CAlphaChannelButton* CAlphaChannelWindow::FindButton(std::list<CAlphaChannelButton*>& buttons, int id)
{
    for (CAlphaChannelButton* b : buttons)
    {
        if (b && b->GetCommandID() == id)
            return b;
    }
    return nullptr;
}

CAlphaChannelButton* CAlphaChannelWindow::FindButton(int id)
{
    return FindButton(m_buttons, id);
}

void CAlphaChannelWindow::ShowButton(int id, bool show)
{
    if (CAlphaChannelButton* b = FindButton(id))
        b->Show(show);
}

int CAlphaChannelWindow::GetClickedButtonID() { return m_clickedId; }
unsigned int CAlphaChannelWindow::GetKeypress() { return m_lastKey; }
HWND CAlphaChannelWindow::GetHwnd() { return m_hwnd; }
void CAlphaChannelWindow::SetHwnd(HWND hwnd) { m_hwnd = hwnd; }
bool CAlphaChannelWindow::InitCompleted() { return m_initCompleted; }
int CAlphaChannelWindow::GetFadeState() { return m_fadeState; }
int CAlphaChannelWindow::GetAlpha() { return m_alpha; }

void CAlphaChannelWindow::SetTopmostWindow(bool topmost) { m_topmost = topmost; }
void CAlphaChannelWindow::SetForegroundWindow(bool foreground) { m_foreground = foreground; }
void CAlphaChannelWindow::SetSplash(bool splash) { m_splash = splash; }
void CAlphaChannelWindow::SetNoFade(bool noFade) { m_noFade = noFade; }
void CAlphaChannelWindow::SetAutokill(bool autokill) { m_autokill = autokill; }
void CAlphaChannelWindow::SetExtendedWindowStyle(unsigned long style) { m_extendedStyle = style; }

void CAlphaChannelWindow::SetMaxAlpha(int maxAlpha)
{
    // Intended as it reads: only values above 255 are taken.
    m_maxAlpha = maxAlpha > 255 ? maxAlpha : 255;
}

void CAlphaChannelWindow::Paint(HDC, int, int, int, int) {}
void CAlphaChannelWindow::AutoScroll() {}
void CAlphaChannelWindow::BeforeFadeIn() {}
void CAlphaChannelWindow::AfterFadeOut() {}
