#include "LayeredTestSupport.h"
#include <algorithm>
#include <memory>
#include "images/ImageManager.h"
#include "support/TestImages.h"

namespace layered_test
{
namespace
{
const UINT_PTR kScriptTimer = 4711;
const ULONGLONG kLimitMs = 15000;
}

Canvas::Canvas(int w, int h, DWORD background) : m_width(w), m_dc(CreateCompatibleDC(nullptr)), m_bits(nullptr)
{
    m_bitmap = veskon_test::CreateTopDownDib(nullptr, w, h, reinterpret_cast<void**>(&m_bits));
    m_old = SelectObject(m_dc, m_bitmap);
    std::fill(m_bits, m_bits + static_cast<size_t>(w) * h, background);
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

void LayeredTest::TearDown()
{
    // Releases every image (and with it the files) before the folder goes.
    delete CImageManager::Instance();
    SetCursorPos(0, 0);
}

std::wstring LayeredTest::Png(const std::wstring& name, int w, int h, Gdiplus::ARGB fill)
{
    std::wstring path = m_folder.File(name);
    EXPECT_TRUE(veskon_test::FileExists(path) || veskon_test::SaveSolidPng(path, w, h, fill)) << veskon_test::Narrow(path);
    return path;
}

wchar_t* LayeredTest::Path(const std::wstring& text)
{
    m_paths.push_back(text);
    return &m_paths.back()[0];
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
    if (GetTickCount64() - self->m_start > kLimitMs)
    {
        self->timedOut = true;
        if (self->m_next < self->m_steps.size())
            self->failedStep = self->m_steps[self->m_next].first;
        KillTimer(hwnd, kScriptTimer);
        PostMessageW(hwnd, WM_COMMAND, CLOSE_COMMAND_ID, 0);
    }
    else if (self->m_next < self->m_steps.size())
    {
        if (self->m_steps[self->m_next].second(*self))
            ++self->m_next;
    }
    else if (self->m_fadeState != FADE_OUT)
    {
        // The script is done: make sure the window ends even if the test did not end it.
        PostMessageW(hwnd, WM_COMMAND, CLOSE_COMMAND_ID, 0);
    }
}

int ScriptedWindow::FocusedIndex()
{
    auto it = std::find_if(m_buttons.begin(), m_buttons.end(), [](CAlphaChannelButton* b) { return b && b->Focused(); });
    return it == m_buttons.end() ? -1 : static_cast<int>(std::distance(m_buttons.begin(), it));
}

POINT ScriptedWindow::At(int x, int y)
{
    POINT p = { x, y };
    ClientToScreen(m_hwnd, &p);
    return p;
}

POINT ScriptedWindow::ButtonCentre(CAlphaChannelButton* button)
{
    RECT r;
    button->GetRectangle(r);
    return At((r.left + r.right) / 2, (r.top + r.bottom) / 2);
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
    for (UINT message : { WM_MOUSEMOVE, WM_LBUTTONDOWN, WM_LBUTTONUP })
        PostMouse(message, ButtonCentre(button));
}

LRESULT ScriptedWindow::HitTest(POINT screen)
{
    SetCursorPos(screen.x, screen.y);
    return SendMessageW(m_hwnd, WM_NCHITTEST, 0, MAKELPARAM(screen.x, screen.y));
}

ScriptedWindow::Step Do(std::function<void(ScriptedWindow&)> action)
{
    return [action](ScriptedWindow& w) {
        action(w);
        return true;
    };
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

ScriptedWindow::Step UntilClosed()
{
    return [](ScriptedWindow&) { return false; };
}
}
