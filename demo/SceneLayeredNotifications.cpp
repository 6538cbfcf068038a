// Layered notifications: two notifications stack at the bottom right, fade in, and answer the
// mouse: a hovered and a pressed image button, a click that closes with a fast fade.
//
// CAlphaChannelWindow::Load blocks while the window runs, so the scene drives each window from a
// timer of its own (a small script of steps) and takes its screenshots from there.
#include <algorithm>
using std::max;
using std::min;
#include <windows.h>
#include <gdiplus.h>
#include <functional>
#include <string>
#include <vector>
#include "DemoScene.h"
#include "VeskonWin32GUISupportDLL.h"

namespace
{
const CLSID kPngEncoder = { 0x557cf406, 0x1a04, 0x11d3, { 0x9a, 0x73, 0x00, 0x00, 0xf8, 0x1e, 0xf3, 0x2e } };
const int kNoteWidth = 360;
const int kNoteHeight = 150;
const int kOpenId = 6;      // IDYES
const int kDismissId = 2;   // IDCANCEL

void RoundedRect(Gdiplus::GraphicsPath& path, float x, float y, float w, float h, float r)
{
    path.AddArc(x, y, 2 * r, 2 * r, 180, 90);
    path.AddArc(x + w - 2 * r, y, 2 * r, 2 * r, 270, 90);
    path.AddArc(x + w - 2 * r, y + h - 2 * r, 2 * r, 2 * r, 0, 90);
    path.AddArc(x, y + h - 2 * r, 2 * r, 2 * r, 90, 90);
    path.CloseFigure();
}

// The notification's background: a rounded light card with translucent corners and an accent strip.
// (A soft shadow would need a compositing display; Wine on a bare X server blends layered windows
// against black, so the scene keeps to shapes that look the same everywhere.)
bool WriteBackground(const std::wstring& path, Gdiplus::Color accent)
{
    Gdiplus::Bitmap bitmap(kNoteWidth, kNoteHeight, PixelFormat32bppARGB);
    Gdiplus::Graphics g(&bitmap);
    g.SetSmoothingMode(Gdiplus::SmoothingModeAntiAlias);
    g.Clear(Gdiplus::Color(0, 0, 0, 0));
    Gdiplus::GraphicsPath card;
    RoundedRect(card, 2, 2, kNoteWidth - 5.0f, kNoteHeight - 5.0f, 12.0f);
    Gdiplus::LinearGradientBrush body(Gdiplus::PointF(0, 2), Gdiplus::PointF(0, kNoteHeight - 3.0f),
                                      Gdiplus::Color(250, 252, 253, 255), Gdiplus::Color(250, 222, 230, 242));
    g.FillPath(&body, &card);
    Gdiplus::Region clip(&card);
    g.SetClip(&clip);
    Gdiplus::SolidBrush strip(accent);
    g.FillRectangle(&strip, 2, 2, 8, kNoteHeight - 5);
    g.ResetClip();
    Gdiplus::Pen edge(Gdiplus::Color(120, 90, 110, 140), 1.0f);
    g.DrawPath(&edge, &card);
    return bitmap.Save(path.c_str(), &kPngEncoder, nullptr) == Gdiplus::Ok;
}

bool WriteButton(const std::wstring& path, Gdiplus::Color top, Gdiplus::Color bottom, Gdiplus::Color border)
{
    Gdiplus::Bitmap bitmap(100, 30, PixelFormat32bppARGB);
    Gdiplus::Graphics g(&bitmap);
    g.SetSmoothingMode(Gdiplus::SmoothingModeAntiAlias);
    g.Clear(Gdiplus::Color(0, 0, 0, 0));
    Gdiplus::GraphicsPath pill;
    RoundedRect(pill, 0.5f, 0.5f, 98.0f, 28.0f, 13.5f);
    Gdiplus::LinearGradientBrush fill(Gdiplus::PointF(0, 0), Gdiplus::PointF(0, 30), top, bottom);
    g.FillPath(&fill, &pill);
    Gdiplus::Pen pen(border, 1.0f);
    g.DrawPath(&pen, &pill);
    return bitmap.Save(path.c_str(), &kPngEncoder, nullptr) == Gdiplus::Ok;
}

// A notification that draws its title, text and the application icon over the background, and
// runs a script of steps from a timer of its own while Load blocks.
class Notification : public CAlphaChannelWindow
{
public:
    typedef std::function<bool(Notification&)> Step;

    std::wstring title;
    std::wstring text;
    Gdiplus::Font* titleFont = nullptr;
    Gdiplus::Font* textFont = nullptr;
    std::vector<Step> steps;
    RECT placed = {};

    void Run(wchar_t* background, std::list<CAlphaChannelButton*> buttons, Gdiplus::Font* buttonFont)
    {
        Load(nullptr, background, nullptr, nullptr, nullptr, buttons, POSITION_BOTTOM_RIGHT, SCROLL_NONE, buttonFont,
             &title[0]);
    }
    CAlphaChannelButton* Button(int id) { return FindButton(id); }
    POINT ButtonCentre(int id)
    {
        RECT r = {};
        if (CAlphaChannelButton* b = FindButton(id))
            b->GetRectangle(r);
        POINT p = { (r.left + r.right) / 2, (r.top + r.bottom) / 2 };
        ClientToScreen(m_hwnd, &p);
        return p;
    }

    void Paint(HDC dc, int x, int y, int width, int height) override
    {
        HINSTANCE library = CKVRN_DllMain::Instance()->GethInstance();
        if (HICON icon = CIconCache::Load(library, 219, 32, 32))
            DrawIconEx(dc, x + 26, y + 22, icon, 32, 32, 0, nullptr, DI_NORMAL);
        Gdiplus::Graphics g(dc);
        Gdiplus::SolidBrush titleInk(Gdiplus::Color(255, 30, 40, 60));
        Gdiplus::SolidBrush textInk(Gdiplus::Color(255, 70, 80, 95));
        CAlphaChannelButton::DrawString(&g, &titleInk, &title[0], static_cast<int>(title.size()), titleFont, nullptr,
                                        Gdiplus::RectF(x + 70.0f, y + 20.0f, width - 90.0f, 22.0f), nullptr, nullptr);
        CAlphaChannelButton::DrawString(&g, &textInk, &text[0], static_cast<int>(text.size()), textFont, nullptr,
                                        Gdiplus::RectF(x + 70.0f, y + 46.0f, width - 90.0f, 44.0f), nullptr, nullptr);
    }

    void BeforeFadeIn() override
    {
        GetWindowRect(m_hwnd, &placed);
        SetTimer(m_hwnd, 1, 60, &Notification::Tick);
    }

private:
    static void CALLBACK Tick(HWND hwnd, UINT, UINT_PTR, DWORD)
    {
        Notification* self = static_cast<Notification*>(static_cast<CAlphaChannelWindow*>(GetPropW(hwnd, L"FWCPtr")));
        // A step may pump messages (screenshots) or run another notification: never re-enter.
        if (!self || self->m_busy || self->m_next >= self->steps.size())
            return;
        self->m_busy = true;
        if (self->steps[self->m_next](*self))
            ++self->m_next;
        self->m_busy = false;
    }

    size_t m_next = 0;
    bool m_busy = false;
};

Notification::Step Until(std::function<bool(Notification&)> condition)
{
    return condition;
}

Notification::Step Then(std::function<void(Notification&)> action)
{
    return [action](Notification& n) {
        action(n);
        return true;
    };
}

Notification::Step FadedIn()
{
    return [](Notification& n) { return n.GetFadeState() == CAlphaChannelWindow::FADE_IDLE && n.InitCompleted(); };
}

void MouseButton(bool down)
{
    INPUT input = {};
    input.type = INPUT_MOUSE;
    input.mi.dwFlags = down ? MOUSEEVENTF_LEFTDOWN : MOUSEEVENTF_LEFTUP;
    SendInput(1, &input, sizeof(input));
}
}

VESKON_DEMO_SCENE(510, LayeredNotifications)
{
    ctx.Caption(L"Layered notifications: fade, stack, hover, press");
    SetCursorPos(0, 0);
    const std::wstring folder = ctx.ScratchFolder();
    std::wstring first = folder + L"\\note_blue.png";
    std::wstring second = folder + L"\\note_green.png";
    std::wstring up = folder + L"\\button_up.png";
    std::wstring hover = folder + L"\\button_hover.png";
    std::wstring down = folder + L"\\button_down.png";
    const bool images = WriteBackground(first, Gdiplus::Color(255, 60, 120, 210)) &&
                        WriteBackground(second, Gdiplus::Color(255, 60, 170, 100)) &&
                        WriteButton(up, Gdiplus::Color(255, 255, 255, 255), Gdiplus::Color(255, 226, 231, 238),
                                    Gdiplus::Color(255, 150, 160, 175)) &&
                        WriteButton(hover, Gdiplus::Color(255, 236, 245, 255), Gdiplus::Color(255, 190, 215, 245),
                                    Gdiplus::Color(255, 80, 130, 200)) &&
                        WriteButton(down, Gdiplus::Color(255, 160, 190, 230), Gdiplus::Color(255, 120, 160, 215),
                                    Gdiplus::Color(255, 50, 90, 160));
    if (!ctx.Check(images, L"notification and button images written with GDI+"))
        return;

    Gdiplus::Font titleFont(L"Arial", 15.0f, Gdiplus::FontStyleBold, Gdiplus::UnitPixel);
    Gdiplus::Font textFont(L"Arial", 12.0f, Gdiplus::FontStyleRegular, Gdiplus::UnitPixel);
    Gdiplus::Font buttonFont(L"Arial", 12.0f, Gdiplus::FontStyleBold, Gdiplus::UnitPixel);

    auto makeButtons = [&]() {
        std::list<CAlphaChannelButton*> list;
        const wchar_t* captions[] = { L"Open", L"Dismiss" };
        const int ids[] = { kOpenId, kDismissId };
        for (int i = 0; i < 2; ++i)
        {
            CAlphaChannelButton* b = new CAlphaChannelButton();
            b->SetUpImageFilename(&up[0]);
            b->SetHoverImageFilename(&hover[0]);
            b->SetDownImageFilename(&down[0]);
            b->SetText(const_cast<wchar_t*>(captions[i]));
            RECT r = { 136 + i * 110, 98, 236 + i * 110, 128 };
            b->SetRectangle(r);
            b->SetCommandID(ids[i]);
            b->SetAutoClose(true);
            list.push_back(b);
        }
        return list;
    };

    Notification lower;
    lower.title = L"Backup finished";
    lower.text = L"1,284 files were copied to the network drive in 3 minutes.";
    lower.titleFont = &titleFont;
    lower.textFont = &textFont;

    Notification upper;
    upper.title = L"Update available";
    upper.text = L"Version 4.2 is ready to install. It takes about a minute.";
    upper.titleFont = &titleFont;
    upper.textFont = &textFont;

    bool hovered = false, pressed = false;
    int midFadeAlpha = -1;

    upper.steps = {
        Until([&](Notification& n) {
            if (n.GetFadeState() != CAlphaChannelWindow::FADE_IN || n.GetAlpha() < 112)
                return false;
            midFadeAlpha = n.GetAlpha();
            ctx.Screenshot(L"stacked_mid_fade");
            return true;
        }),
        FadedIn(),
        Then([&](Notification&) { ctx.Screenshot(L"stacked_full_alpha"); }),
        Then([&](Notification& n) {
            POINT p = n.ButtonCentre(kOpenId);
            SetCursorPos(p.x, p.y);
        }),
        Until([&](Notification& n) { return hovered = n.Button(kOpenId)->Hovered(); }),
        Then([&](Notification&) { ctx.Screenshot(L"hover_open"); }),
        Then([&](Notification& n) {
            POINT p = n.ButtonCentre(kDismissId);
            SetCursorPos(p.x, p.y);
            MouseButton(true);
        }),
        Until([&](Notification& n) { return pressed = n.Button(kDismissId)->Pressed(); }),
        Then([&](Notification&) { ctx.Screenshot(L"pressed_dismiss"); }),
        Then([&](Notification&) { MouseButton(false); }),  // the click closes it with a fast fade
    };

    lower.steps = {
        FadedIn(),
        Then([&](Notification&) {
            upper.Run(&second[0], makeButtons(), &buttonFont);  // runs to its end inside this step
        }),
        Then([&](Notification& n) {
            SetCursorPos(0, 0);
            PostMessageW(n.GetHwnd(), WM_CHAR, VK_RETURN, 0);  // Enter clicks the focused "Open"
        }),
        Until([&](Notification& n) {
            if (n.GetFadeState() != CAlphaChannelWindow::FADE_OUT || n.GetAlpha() > 160)
                return false;
            ctx.Screenshot(L"lower_fading_out");
            return true;
        }),
    };

    lower.Run(&first[0], makeButtons(), &buttonFont);
    MouseButton(false);
    SetCursorPos(0, 0);

    ctx.Report(L"  lower notification at (" + std::to_wstring(lower.placed.left) + L", " +
               std::to_wstring(lower.placed.top) + L"), upper at (" + std::to_wstring(upper.placed.left) + L", " +
               std::to_wstring(upper.placed.top) + L")");
    ctx.Check(lower.placed.left == GetSystemMetrics(SM_CXSCREEN) - kNoteWidth - 32 &&
                  lower.placed.top == GetSystemMetrics(SM_CYSCREEN) - kNoteHeight - 48,
              L"the first notification sits 32 pixels from the right and 48 from the bottom of the screen");
    ctx.Check(upper.placed.left == lower.placed.left && upper.placed.top == lower.placed.top - kNoteHeight - 5,
              L"the second notification stacks 5 pixels above the first");
    ctx.Check(midFadeAlpha > 0 && midFadeAlpha < 255,
              L"mid-fade screenshot taken at alpha " + std::to_wstring(midFadeAlpha));
    ctx.Check(hovered, L"the hovered button shows its hover image");
    ctx.Check(pressed, L"the pressed button shows its down image, one pixel right and down");
    ctx.Check(upper.GetClickedButtonID() == kDismissId, L"clicking Dismiss sent its command id 2");
    ctx.Check(lower.GetClickedButtonID() == kOpenId && lower.GetKeypress() == VK_RETURN,
              L"Enter clicked the focused Open button of the first notification (id 6)");
    ctx.Check(lower.GetFadeState() == CAlphaChannelWindow::FADE_CLOSED &&
                  upper.GetFadeState() == CAlphaChannelWindow::FADE_CLOSED,
              L"both notifications faded out and closed");
}
