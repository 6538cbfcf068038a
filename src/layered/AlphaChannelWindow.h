#pragma once
// CAlphaChannelWindow: a borderless popup with per-pixel alpha (notification, advisory, splash).
//
// Its picture is the base button's up image with alpha; a derived class paints its content over
// it (virtual Paint) and the image buttons of the list paint themselves on top. Every composition
// starts from a fresh premultiplied copy of the background and goes to the screen with
// UpdateLayeredWindow, never through WM_PAINT. The background as GDI+ hands it over is made once
// and kept (with the memory DC it is composed in) until the up image, its frame or its size
// changes; each composition copies it and premultiplies the copy. Whoever draws into the up
// image's GDI+ bitmap calls its BitmapChanged(). Paint may leave the DC's state changed: it is
// restored after every composition. The window fades in and out by the constant alpha
// of that call (16 per 50 ms tick; 48 per tick once a button command arrived), can close itself
// 3 s after the fade-in (autokill), is dragged by any point that is not a button, and is driven by
// mouse and keyboard (Tab / arrows move the focus, Enter / Space click it, Esc dismisses).
//
// Load() is modal: it creates the window, shows it and pumps the window's messages on the
// caller's thread until the window has faded out (or closed at once on WM_CLOSE or on WM_COMMAND
// with id 200), then cleans up and returns. Read the outcome with GetClickedButtonID() and
// GetKeypress(). The window owns the buttons handed to Load; the images belong to the image
// manager. Set the flags (SetAutokill, SetNoFade, ...) before Load.
//
// Window class "Veskon Advisory", registered on the first Load and unregistered by the frame's
// unload. Timers: 10991 fade-in, 10992 fade-out, 10993 scroll, 10994 autokill.
#include <windows.h>
#include <list>
#include "Export.h"
#include "layered/AlphaChannelButton.h"

class CTooltipSupport;

class VESKON_API CAlphaChannelWindow : public CAlphaChannelButton
{
public:
    enum SCROLL_METHOD
    {
        SCROLL_NONE = 0,
        SCROLL_REPEAT_BUTTON = 1,  // a held arrow button repeats through the scroll timer
        SCROLL_AUTO = 2            // AutoScroll() on every scroll tick
    };
    enum FADE_STATE
    {
        FADE_IDLE = 0,
        FADE_IN = 2,
        FADE_OUT = 3,
        FADE_CLOSED = 4
    };
    enum TIMER_ID
    {
        TIMER_FADE_IN = 10991,
        TIMER_FADE_OUT = 10992,
        TIMER_SCROLL = 10993,
        TIMER_AUTOKILL = 10994
    };
    // WM_COMMAND with this id closes the window at once, without fading.
    static const int CLOSE_COMMAND_ID = 200;

    CAlphaChannelWindow();
    ~CAlphaChannelWindow() noexcept;

    // Creates, shows and runs the window until it closes (see above). Returns at once, after a
    // trace line, when an image cannot be loaded or the window cannot be created.
    void Load(HWND parent, wchar_t* upImage, wchar_t* downImage, wchar_t* disabledImage, wchar_t* hoverImage,
              std::list<CAlphaChannelButton*> buttons, ALPHA_CHANNEL_WINDOW_POSITION position,
              SCROLL_METHOD scrollMethod, Gdiplus::Font* font, wchar_t* title);

    // Composes and pushes the picture with its top-left corner at where->left, where->top.
    void BuildImage(RECT* where);
    // The same at the window's current place.
    void BuildImage();
    bool IsWindowDirty();
    void RepaintIfDirty();

    CAlphaChannelButton* GetDownButton();
    void SetDownButton(CAlphaChannelButton* button);
    CAlphaChannelButton* FindButton(std::list<CAlphaChannelButton*>& buttons, int id);
    CAlphaChannelButton* FindButton(int id);
    void ShowButton(int id, bool show);

    // wParam of the last WM_COMMAND received, -1 until then.
    int GetClickedButtonID();
    // The last key handled.
    unsigned int GetKeypress();
    HWND GetHwnd();
    void SetHwnd(HWND hwnd);
    bool InitCompleted();
    int GetFadeState();
    // The current alpha of the window (0 .. maximum alpha).
    int GetAlpha();

    void SetTopmostWindow(bool topmost);
    void SetForegroundWindow(bool foreground);
    void SetSplash(bool splash);
    void SetNoFade(bool noFade);
    void SetAutokill(bool autokill);
    void SetExtendedWindowStyle(unsigned long style);
    // Intended comparison: values of 255 and below give 255; larger values are stored as they
    // are (the blend then uses their low byte).
    void SetMaxAlpha(int maxAlpha);

    // Draws the derived class's content over the background during a composition.
    virtual void Paint(HDC dc, int x, int y, int width, int height);
    // Called on every scroll tick with SCROLL_AUTO.
    virtual void AutoScroll();
    // Called after the window was created and placed, before it shows.
    virtual void BeforeFadeIn();
    // Called when the window has closed (faded out or closed at once), before clean-up.
    virtual void AfterFadeOut();

    using CAlphaChannelButton::Paint;

protected:
    static LRESULT CALLBACK WindowProc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam);
    LRESULT HandleMessage(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam);
    static bool RegisterWindowClass();

    void SetFadeState(int state);
    void Close();
    void PumpWindowMessages();
    void StartTimer(UINT_PTR& member, UINT_PTR id, UINT period);
    void StopTimer(UINT_PTR& member, UINT_PTR id);
    void StopFadeTimers();
    void CleanUp();

    void OnTimer(UINT_PTR id);
    void OnFadeInTick();
    void OnFadeOutTick();
    void OnScrollTick();
    LRESULT OnNcHitTest();
    void OnKey(unsigned int key);
    void Handle_WM_LBUTTONDOWN();
    void Handle_WM_LBUTTONUP();
    void Handle_WM_MOUSEMOVE();
    void Handle_WM_MOUSELEAVE();

    CAlphaChannelButton* HitTest();
    bool CursorInClient();
    void PressPass(CAlphaChannelButton* button, bool press);
    void HoverPass(CAlphaChannelButton* button, bool hover);
    void FocusPass(CAlphaChannelButton* button, bool focus);
    void Click(CAlphaChannelButton* button);
    void Callback(CAlphaChannelButton* button, BUTTON_CALLBACK_REASON reason);
    // Enters the lock; true when this is the only holding, so that a handler reached again
    // through nested message pumping leaves the work to the outer one.
    bool EnterLock(const wchar_t* name);
    void LeaveLock();

    SCROLL_METHOD m_scrollMethod;
    HWND* m_windowHandleSlot;  // where Load publishes the window handle; set by derived classes
    HWND m_hwnd;
    int m_fadeState;
    bool m_tooltipsEnabled;
    bool m_autokill;
    bool m_noFade;
    bool m_splash;
    bool m_foreground;
    bool m_topmost;
    int m_clickedId;
    std::list<CAlphaChannelButton*> m_buttons;
    CTooltipSupport* m_tooltip;
    UINT_PTR m_fadeInTimer;
    UINT_PTR m_fadeOutTimer;
    UINT_PTR m_scrollTimer;
    UINT_PTR m_autokillTimer;
    HWND m_parent;
    bool m_initCompleted;
    bool m_closeRequested;
    ALPHA_CHANNEL_WINDOW_POSITION m_position;
    CCriticalSectionEx* m_windowLock;
    unsigned long m_extendedStyle;
    DWORD m_lastNavigationTick;
    unsigned int m_lastKey;
    int m_maxAlpha;
    // A WM_QUIT met while pumping, handed back to the host's loop when Load returns.
    bool m_quitSeen;
    int m_quitCode;

    // What compositions reuse: the background as GDI+ made it and the surface it is copied to.
    struct Composition;
    Composition* m_composition;
};
