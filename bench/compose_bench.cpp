// compose_bench: the cost of one composition (BuildImage) of an 800 x 600 layered window with four
// buttons, and the share of it spent premultiplying the fresh copy of the background.
//
// A fade tick comes every 50 ms, so a composition must stay well below that (target: 8 ms).
// Figures, not pass/fail: each is also given as a ratio to a baseline measured in the same run
// (copying the 800 x 600 x 4 bytes of the picture once with memcpy).
//
//   compose_bench.exe [compositions]      (default 200)
#include <algorithm>
using std::max;
using std::min;
#include <windows.h>
#include <gdiplus.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <list>
#include <string>
#include <vector>
#include "frame/KVRN_DllMain.h"
#include "layered/AlphaChannelImage.h"
#include "layered/AlphaChannelWindow.h"

namespace
{
const int kWidth = 800;
const int kHeight = 600;
const int kButtons = 4;
const CLSID kPngEncoder = { 0x557cf406, 0x1a04, 0x11d3, { 0x9a, 0x73, 0x00, 0x00, 0xf8, 0x1e, 0xf3, 0x2e } };

double Now()
{
    static LARGE_INTEGER frequency = {};
    if (!frequency.QuadPart)
        QueryPerformanceFrequency(&frequency);
    LARGE_INTEGER t;
    QueryPerformanceCounter(&t);
    return static_cast<double>(t.QuadPart) * 1000.0 / static_cast<double>(frequency.QuadPart);
}

// A translucent vertical gradient with an opaque panel, like a notification background.
bool WriteBackground(const std::wstring& path)
{
    Gdiplus::Bitmap bitmap(kWidth, kHeight, PixelFormat32bppARGB);
    Gdiplus::Graphics g(&bitmap);
    Gdiplus::LinearGradientBrush gradient(Gdiplus::Point(0, 0), Gdiplus::Point(0, kHeight),
                                          Gdiplus::Color(200, 30, 60, 120), Gdiplus::Color(240, 10, 20, 40));
    g.FillRectangle(&gradient, 0, 0, kWidth, kHeight);
    Gdiplus::SolidBrush panel(Gdiplus::Color(255, 240, 240, 245));
    g.FillRectangle(&panel, 20, 20, kWidth - 40, kHeight - 120);
    return bitmap.Save(path.c_str(), &kPngEncoder, nullptr) == Gdiplus::Ok;
}

bool WriteButton(const std::wstring& path, Gdiplus::ARGB colour)
{
    Gdiplus::Bitmap bitmap(140, 44, PixelFormat32bppARGB);
    Gdiplus::Graphics g(&bitmap);
    g.SetSmoothingMode(Gdiplus::SmoothingModeAntiAlias);
    Gdiplus::SolidBrush brush((Gdiplus::Color(colour)));
    g.FillEllipse(&brush, 0, 0, 44, 44);
    g.FillEllipse(&brush, 96, 0, 44, 44);
    g.FillRectangle(&brush, 22, 0, 96, 44);
    return bitmap.Save(path.c_str(), &kPngEncoder, nullptr) == Gdiplus::Ok;
}

struct Figures
{
    double compose = 0;      // ms per BuildImage
    double premultiply = 0;  // ms per premultiplication of an 800 x 600 DIB
    double cloneAndDib = 0;  // ms per 32-bit clone of the background plus its DIB
    double buttons = 0;      // ms per painting of the four buttons
    double push = 0;         // ms per UpdateLayeredWindow of the finished picture
    double dcs = 0;          // ms per screen DC, memory DC and DIB selection, released again
    double baseline = 0;     // ms per memcpy of the picture's bytes
    bool done = false;
};

class BenchWindow : public CAlphaChannelWindow
{
public:
    int compositions = 200;
    Figures figures;

    void BeforeFadeIn() override
    {
        // Measure once the window is on screen at full alpha.
        SetTimer(m_hwnd, 1, 1500, &BenchWindow::Measure);
    }

private:
    static void CALLBACK Measure(HWND hwnd, UINT, UINT_PTR id, DWORD)
    {
        KillTimer(hwnd, id);
        BenchWindow* self = static_cast<BenchWindow*>(static_cast<CAlphaChannelWindow*>(GetPropW(hwnd, L"FWCPtr")));
        if (!self)
            return;
        self->Run();
        PostMessageW(hwnd, WM_COMMAND, CLOSE_COMMAND_ID, 0);
    }

    template <typename F>
    static double PerCall(int n, F f)
    {
        f();  // warm up
        const double start = Now();
        for (int i = 0; i < n; ++i)
            f();
        return (Now() - start) / n;
    }

    void Run()
    {
        // Give every button a state that draws something else than the up image.
        int i = 0;
        for (CAlphaChannelButton* b : m_buttons)
        {
            if (i == 1)
                b->Hover(true);
            if (i == 2)
                b->Press(true);
            ++i;
        }
        figures.compose = PerCall(compositions, [this] { BuildImage(); });

        Gdiplus::Bitmap* background = m_upImage->GetBitmap();
        figures.cloneAndDib = PerCall(compositions / 4 + 1, [background] {
            Gdiplus::Bitmap* clone = background->Clone(0, 0, kWidth, kHeight, PixelFormat32bppARGB);
            HBITMAP dib = nullptr;
            if (clone && clone->GetHBITMAP(Gdiplus::Color(0), &dib) == Gdiplus::Ok)
                DeleteObject(dib);
            delete clone;
        });

        HBITMAP dib = nullptr;
        background->GetHBITMAP(Gdiplus::Color(0), &dib);
        CAlphaChannelImage::PreMultiplyRGBChannels(dib, kWidth, kHeight);
        HDC screen = GetDC(nullptr);
        HDC memory = CreateCompatibleDC(screen);
        HGDIOBJ old = SelectObject(memory, dib);
        figures.buttons = PerCall(compositions, [this, memory] {
            for (CAlphaChannelButton* b : m_buttons)
                b->Paint(m_hwnd, memory);
        });
        RECT r;
        GetWindowRect(m_hwnd, &r);
        figures.push = PerCall(compositions, [this, screen, memory, &r] {
            POINT destination = { r.left, r.top };
            SIZE size = { kWidth, kHeight };
            POINT source = { 0, 0 };
            BLENDFUNCTION blend = { AC_SRC_OVER, 0, 255, AC_SRC_ALPHA };
            UpdateLayeredWindow(m_hwnd, screen, &destination, &size, memory, &source, 0, &blend, ULW_ALPHA);
        });
        SelectObject(memory, old);
        DeleteDC(memory);
        ReleaseDC(nullptr, screen);
        figures.dcs = PerCall(compositions, [dib] {
            HDC s = GetDC(nullptr);
            HDC m = CreateCompatibleDC(s);
            HGDIOBJ o = SelectObject(m, dib);
            SelectObject(m, o);
            DeleteDC(m);
            ReleaseDC(nullptr, s);
        });
        // Premultiplying again and again darkens the copy, but costs the same every time.
        figures.premultiply = PerCall(compositions, [dib] { CAlphaChannelImage::PreMultiplyRGBChannels(dib, kWidth, kHeight); });
        DeleteObject(dib);

        std::vector<char> from(static_cast<size_t>(kWidth) * kHeight * 4, 1), to(from.size());
        figures.baseline = PerCall(compositions, [&] {
            memcpy(to.data(), from.data(), from.size());
            from[0] = to[from.size() - 1];  // keeps the copy from being optimised away
        });
        figures.done = true;
    }
};
}

int main(int argc, char** argv)
{
    const int compositions = argc > 1 ? std::max(10, atoi(argv[1])) : 200;
    Gdiplus::GdiplusStartupInput input;
    ULONG_PTR token = 0;
    if (Gdiplus::GdiplusStartup(&token, &input, nullptr) != Gdiplus::Ok)
    {
        printf("GDI+ did not start\n");
        return 1;
    }

    wchar_t temp[MAX_PATH] = {};
    GetTempPathW(MAX_PATH, temp);
    wchar_t folderBuffer[MAX_PATH] = {};
    _snwprintf_s(folderBuffer, MAX_PATH, _TRUNCATE, L"%scompose_bench_%lu", temp, GetCurrentProcessId());
    const std::wstring folder = folderBuffer;
    CreateDirectoryW(folder.c_str(), nullptr);
    std::wstring background = folder + L"\\background.png";
    std::wstring up = folder + L"\\button_up.png";
    std::wstring hover = folder + L"\\button_hover.png";
    std::wstring down = folder + L"\\button_down.png";
    const bool written = WriteBackground(background) && WriteButton(up, 0xFF4A7BD0) &&
                         WriteButton(hover, 0xFF6A9BF0) && WriteButton(down, 0xFF2A5BB0);

    Figures figures;
    if (written)
    {
        std::list<CAlphaChannelButton*> buttons;
        Gdiplus::Font font(L"Arial", 16.0f, Gdiplus::FontStyleBold, Gdiplus::UnitPixel);
        const wchar_t* captions[kButtons] = { L"Open", L"Snooze", L"Details", L"Close" };
        for (int i = 0; i < kButtons; ++i)
        {
            CAlphaChannelButton* b = new CAlphaChannelButton();
            b->SetUpImageFilename(&up[0]);
            b->SetHoverImageFilename(&hover[0]);
            b->SetDownImageFilename(&down[0]);
            b->SetText(const_cast<wchar_t*>(captions[i]));
            RECT r = { 30 + i * 190, kHeight - 80, 30 + i * 190 + 140, kHeight - 36 };
            b->SetRectangle(r);
            b->SetCommandID(100 + i);
            buttons.push_back(b);
        }
        BenchWindow window;
        window.compositions = compositions;
        window.Load(nullptr, &background[0], nullptr, nullptr, nullptr, buttons, CAlphaChannelButton::POSITION_CENTER,
                    CAlphaChannelWindow::SCROLL_NONE, &font, const_cast<wchar_t*>(L"compose_bench"));
        figures = window.figures;
    }

    delete CKVRN_DllMain::Instance();  // releases the images, and with them the files
    for (const std::wstring* f : { &background, &up, &hover, &down })
        DeleteFileW(f->c_str());
    RemoveDirectoryW(folder.c_str());
    Gdiplus::GdiplusShutdown(token);

    if (!figures.done)
    {
        printf("compose_bench: the window did not run (images written: %s)\n", written ? "yes" : "no");
        return 1;
    }
    printf("compose_bench (%d-bit): one composition of an %dx%d window with %d buttons, %d runs\n",
           static_cast<int>(sizeof(void*) * 8), kWidth, kHeight, kButtons, compositions);
    printf("  baseline: memcpy of the picture (%d bytes)     %8.3f ms   1.00x\n", kWidth * kHeight * 4, figures.baseline);
    printf("  BuildImage (clone, DIB, premultiply, paint, push) %8.3f ms  %6.2fx baseline, %5.1f%% of the 8 ms target, %5.1f%% of a 50 ms fade tick\n",
           figures.compose, figures.compose / figures.baseline, 100.0 * figures.compose / 8.0, 100.0 * figures.compose / 50.0);
    printf("  premultiply of the copy                          %8.3f ms  %6.2fx baseline, %5.1f%% of BuildImage\n",
           figures.premultiply, figures.premultiply / figures.baseline, 100.0 * figures.premultiply / figures.compose);
    printf("  32-bit clone plus its DIB                        %8.3f ms  %6.2fx baseline, %5.1f%% of BuildImage\n",
           figures.cloneAndDib, figures.cloneAndDib / figures.baseline, 100.0 * figures.cloneAndDib / figures.compose);
    printf("  painting the %d buttons (images, captions)       %8.3f ms  %6.2fx baseline, %5.1f%% of BuildImage\n",
           kButtons, figures.buttons, figures.buttons / figures.baseline, 100.0 * figures.buttons / figures.compose);
    printf("  UpdateLayeredWindow of the picture               %8.3f ms  %6.2fx baseline, %5.1f%% of BuildImage\n",
           figures.push, figures.push / figures.baseline, 100.0 * figures.push / figures.compose);
    printf("  screen DC, memory DC, selection and release      %8.3f ms  %6.2fx baseline, %5.1f%% of BuildImage\n",
           figures.dcs, figures.dcs / figures.baseline, 100.0 * figures.dcs / figures.compose);
    return 0;
}
