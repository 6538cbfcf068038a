#include "LayeredTestSupport.h"
#include <memory>
#include "frame/KVRN_DllMain.h"
#include "images/ImageManager.h"
#include "support/TestImages.h"

namespace layered_test
{
namespace
{
const UINT_PTR kScriptTimer = 4711;
}

bool WritePng(const std::wstring& path, int w, int h, Gdiplus::ARGB fill, RECT innerRect, Gdiplus::ARGB inner)
{
    return veskon_test::SaveImage(
        path, w, h,
        [&](int x, int y) {
            const bool in = x >= innerRect.left && x < innerRect.right && y >= innerRect.top && y < innerRect.bottom;
            return static_cast<DWORD>(in ? inner : fill);
        },
        L"image/png");
}

Canvas::Canvas(int w, int h, DWORD background) : m_width(w), m_dc(nullptr), m_bitmap(nullptr), m_old(nullptr), m_bits(nullptr)
{
    BITMAPINFO info = {};
    info.bmiHeader.biSize = sizeof(info.bmiHeader);
    info.bmiHeader.biWidth = w;
    info.bmiHeader.biHeight = -h;
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 32;
    info.bmiHeader.biCompression = BI_RGB;
    void* bits = nullptr;
    m_bitmap = CreateDIBSection(nullptr, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
    m_bits = static_cast<DWORD*>(bits);
    m_dc = CreateCompatibleDC(nullptr);
    m_old = SelectObject(m_dc, m_bitmap);
    for (int i = 0; i < w * h; ++i)
        m_bits[i] = background;
}

Canvas::~Canvas()
{
    SelectObject(m_dc, m_old);
    DeleteDC(m_dc);
    DeleteObject(m_bitmap);
}

DWORD DibPixel(HDC dc, int x, int y)
{
    DIBSECTION dib = {};
    HGDIOBJ bitmap = GetCurrentObject(dc, OBJ_BITMAP);
    if (!bitmap || GetObjectW(bitmap, sizeof(dib), &dib) != sizeof(dib) || !dib.dsBm.bmBits)
        return 0xDEADBEEF;
    const BYTE* row = static_cast<const BYTE*>(dib.dsBm.bmBits) + static_cast<size_t>(y) * dib.dsBm.bmWidthBytes;
    return reinterpret_cast<const DWORD*>(row)[x];
}

void LayeredTest::SetUp()
{
    SetCursorPos(0, 0);
}

void LayeredTest::TearDown()
{
    // Releases every image (and with it the files) before the folder goes.
    delete CImageManager::Instance();
    SetCursorPos(0, 0);
}

std::wstring LayeredTest::Png(const std::wstring& name, int w, int h, Gdiplus::ARGB fill, RECT innerRect,
                              Gdiplus::ARGB inner)
{
    std::wstring path = m_folder.File(name);
    for (const std::wstring& done : m_written)
    {
        if (done == path)
            return path;
    }
    EXPECT_TRUE(WritePng(path, w, h, fill, innerRect, inner)) << veskon_test::Narrow(path);
    m_written.push_back(path);
    return path;
}

wchar_t* LayeredTest::Path(const std::wstring& path)
{
    m_paths.push_back(path);
    return &m_paths.back()[0];
}

ScriptedWindow::ScriptedWindow()
{
    m_windowHandleSlot = &published;
}

void ScriptedWindow::Add(const std::string& name, Step step)
{
    m_steps.push_back(Named{ name, step });
}

void ScriptedWindow::Run(wchar_t* up, std::list<CAlphaChannelButton*> buttons, ALPHA_CHANNEL_WINDOW_POSITION position,
                         wchar_t* hover)
{
    Load(nullptr, up, nullptr, nullptr, hover, buttons, position, scrollMethod, nullptr, const_cast<wchar_t*>(L"Test"));
}

void ScriptedWindow::AutoScroll()
{
    ++autoScrollCalls;
    if (m_fadeState == FADE_IN)
        ++autoScrollCallsDuringFadeIn;
}

void ScriptedWindow::Paint(HDC dc, int, int, int, int)
{
    alphas.push_back(m_alpha);
    states.push_back(m_fadeState);
    backgroundPixels.push_back(DibPixel(dc, probeX, probeY));
}

void ScriptedWindow::BeforeFadeIn()
{
    GetWindowRect(m_hwnd, &rectAtStart);
    m_start = GetTickCount64();
    SetTimer(m_hwnd, kScriptTimer, static_cast<UINT>(stepPeriod), &ScriptedWindow::Tick);
}

void ScriptedWindow::AfterFadeOut()
{
    ++afterFadeOutCalls;
    if (m_hwnd)
        KillTimer(m_hwnd, kScriptTimer);
}

void CALLBACK ScriptedWindow::Tick(HWND hwnd, UINT, UINT_PTR, DWORD)
{
    ScriptedWindow* self = static_cast<ScriptedWindow*>(static_cast<CAlphaChannelWindow*>(GetPropW(hwnd, L"FWCPtr")));
    if (!self)
        return;
    if (GetTickCount64() - self->m_start > static_cast<ULONGLONG>(self->limitMs))
    {
        self->timedOut = true;
        if (self->m_next < self->m_steps.size())
            self->failedStep = self->m_steps[self->m_next].name;
        KillTimer(hwnd, kScriptTimer);
        PostMessageW(hwnd, WM_COMMAND, CLOSE_COMMAND_ID, 0);
        return;
    }
    if (self->m_next < self->m_steps.size())
    {
        if (self->m_steps[self->m_next].step(*self))
            ++self->m_next;
        return;
    }
    // The script is done: make sure the window ends even if the test did not end it.
    if (self->m_fadeState != FADE_OUT)
        PostMessageW(hwnd, WM_COMMAND, CLOSE_COMMAND_ID, 0);
}

CAlphaChannelButton* ScriptedWindow::ButtonAt(int index)
{
    int i = 0;
    for (CAlphaChannelButton* b : m_buttons)
    {
        if (i++ == index)
            return b;
    }
    return nullptr;
}

int ScriptedWindow::FocusedIndex()
{
    int i = 0;
    for (CAlphaChannelButton* b : m_buttons)
    {
        if (b && b->Focused())
            return i;
        ++i;
    }
    return -1;
}

POINT ScriptedWindow::ButtonCentre(CAlphaChannelButton* button)
{
    RECT r;
    button->GetRectangle(r);
    POINT p = { (r.left + r.right) / 2, (r.top + r.bottom) / 2 };
    ClientToScreen(m_hwnd, &p);
    return p;
}

void ScriptedWindow::PostMouse(UINT message, POINT screen)
{
    SetCursorPos(screen.x, screen.y);
    POINT client = screen;
    ScreenToClient(m_hwnd, &client);
    PostMessageW(m_hwnd, message, message == WM_LBUTTONDOWN ? MK_LBUTTON : 0, MAKELPARAM(client.x, client.y));
}

void ScriptedWindow::PostClick(CAlphaChannelButton* button)
{
    POINT p = ButtonCentre(button);
    PostMouse(WM_MOUSEMOVE, p);
    PostMouse(WM_LBUTTONDOWN, p);
    PostMouse(WM_LBUTTONUP, p);
}

int ScriptedWindow::FirstComposition(int state) const
{
    for (size_t i = 0; i < states.size(); ++i)
    {
        if (states[i] == state)
            return static_cast<int>(i);
    }
    return -1;
}

ScriptedWindow::Step Do(std::function<void(ScriptedWindow&)> action)
{
    return [action](ScriptedWindow& w) {
        action(w);
        return true;
    };
}

ScriptedWindow::Step Wait(std::function<bool(ScriptedWindow&)> condition)
{
    return condition;
}

ScriptedWindow::Step Pause(int ms)
{
    std::shared_ptr<ULONGLONG> start = std::make_shared<ULONGLONG>(0);
    return [start, ms](ScriptedWindow&) {
        if (*start == 0)
            *start = GetTickCount64();
        return GetTickCount64() - *start >= static_cast<ULONGLONG>(ms);
    };
}

ScriptedWindow::Step FadedIn()
{
    return [](ScriptedWindow& w) { return w.GetFadeState() == CAlphaChannelWindow::FADE_IDLE && w.InitCompleted(); };
}

void SendMouseButton(bool down)
{
    INPUT input = {};
    input.type = INPUT_MOUSE;
    input.mi.dwFlags = down ? MOUSEEVENTF_LEFTDOWN : MOUSEEVENTF_LEFTUP;
    SendInput(1, &input, sizeof(input));
}

void SendKey(WORD vk, bool down)
{
    INPUT input = {};
    input.type = INPUT_KEYBOARD;
    input.ki.wVk = vk;
    input.ki.dwFlags = down ? 0 : KEYEVENTF_KEYUP;
    SendInput(1, &input, sizeof(input));
}
}
