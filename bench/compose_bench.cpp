// compose_bench: the cost of one composition (BuildImage) of an 800 x 600 layered window with four
// buttons, split into what the library does (the composition) and the push to the screen
// (UpdateLayeredWindow), with the share spent premultiplying the copy of the background.
//
// A fade tick comes every 50 ms, so a composition must stay well below that (target: 8 ms).
// Figures, not pass/fail: medians of per-call timings, each also given as a ratio to a baseline
// measured in the same run (copying the 800 x 600 x 4 bytes of the picture once with memcpy).
//
// The push is timed inside the same BuildImage calls: the bench routes the library's import of
// UpdateLayeredWindow through a stopwatch (and counts the library's GDI+ clones the same way), so
// "composition without the push" is each call's time minus its own push. Two kinds of
// composition alternate in one loop, so that both see the same machine load:
//   cached  the up image is unchanged since the last composition (every fade tick)
//   anew    the up image changed just before (BitmapChanged, as after a new frame), so the
//           background is cloned and handed over by GDI+ again, as every composition once did
//
// Run (default 200 compositions of each kind):
//   cd build/dev/bin && WINEPREFIX=$PWD/../wineprefix WINEDEBUG=-all xvfb-run -a -s "-screen 0 1280x1024x24" wine ./compose_bench.exe [compositions]
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
#include "BenchSupport.h"
#include "frame/KVRN_DllMain.h"
#include "layered/AlphaChannelImage.h"
#include "layered/AlphaChannelWindow.h"

namespace
{
const int kWidth = 800;
const int kHeight = 600;
const int kButtons = 4;
const CLSID kPngEncoder = { 0x557cf406, 0x1a04, 0x11d3, { 0x9a, 0x73, 0x00, 0x00, 0xf8, 0x1e, 0xf3, 0x2e } };

// Milliseconds.
double Now()
{
    return bench::Now() * 1000.0;
}


// ---- the library's imports, seen through a stopwatch ---------------------------------------------

typedef BOOL(WINAPI* UpdateLayeredWindowFn)(HWND, HDC, POINT*, SIZE*, HDC, POINT*, COLORREF, BLENDFUNCTION*, DWORD);
typedef int(WINAPI* CloneAreaFn)(INT, INT, INT, INT, INT, void*, void**);
typedef HDC(WINAPI* GetDcFn)(HWND);
typedef int(WINAPI* ReleaseDcFn)(HWND, HDC);

UpdateLayeredWindowFn g_updateLayeredWindow = nullptr;
CloneAreaFn g_cloneArea = nullptr;
GetDcFn g_getDc = nullptr;
ReleaseDcFn g_releaseDc = nullptr;
double g_pushMs = 0;      // time spent in UpdateLayeredWindow since the last reset
double g_screenDcMs = 0;  // time spent taking and releasing the screen DC since the last reset
int g_clones = 0;         // GDI+ clones made by the library since the last reset

BOOL WINAPI TimedUpdateLayeredWindow(HWND hwnd, HDC screen, POINT* destination, SIZE* size, HDC source, POINT* at,
                                     COLORREF key, BLENDFUNCTION* blend, DWORD flags)
{
    const double start = Now();
    BOOL result = g_updateLayeredWindow(hwnd, screen, destination, size, source, at, key, blend, flags);
    g_pushMs += Now() - start;
    return result;
}

HDC WINAPI TimedGetDc(HWND hwnd)
{
    const double start = Now();
    HDC dc = g_getDc(hwnd);
    g_screenDcMs += Now() - start;
    return dc;
}

int WINAPI TimedReleaseDc(HWND hwnd, HDC dc)
{
    const double start = Now();
    int result = g_releaseDc(hwnd, dc);
    g_screenDcMs += Now() - start;
    return result;
}

int WINAPI CountedCloneArea(INT x, INT y, INT w, INT h, INT format, void* bitmap, void** clone)
{
    ++g_clones;
    return g_cloneArea(x, y, w, h, format, bitmap, clone);
}

// Points the module's import of `function` from `library` at `hook`; returns what it pointed at
// before (null when the module does not import it).
void* ReplaceImport(HMODULE module, const char* library, const char* function, void* hook)
{
    BYTE* base = reinterpret_cast<BYTE*>(module);
    const IMAGE_DOS_HEADER* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
    const IMAGE_NT_HEADERS* nt = reinterpret_cast<const IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
    const IMAGE_DATA_DIRECTORY& imports = nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    if (!imports.VirtualAddress)
        return nullptr;
    for (const IMAGE_IMPORT_DESCRIPTOR* d = reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(base + imports.VirtualAddress);
         d->Name; ++d)
    {
        if (_stricmp(reinterpret_cast<const char*>(base + d->Name), library) != 0)
            continue;
        const IMAGE_THUNK_DATA* names =
            reinterpret_cast<const IMAGE_THUNK_DATA*>(base + (d->OriginalFirstThunk ? d->OriginalFirstThunk : d->FirstThunk));
        IMAGE_THUNK_DATA* slots = reinterpret_cast<IMAGE_THUNK_DATA*>(base + d->FirstThunk);
        for (; names->u1.AddressOfData; ++names, ++slots)
        {
            if (IMAGE_SNAP_BY_ORDINAL(names->u1.Ordinal))
                continue;
            const IMAGE_IMPORT_BY_NAME* byName = reinterpret_cast<const IMAGE_IMPORT_BY_NAME*>(base + names->u1.AddressOfData);
            if (strcmp(reinterpret_cast<const char*>(byName->Name), function) != 0)
                continue;
            DWORD protection = 0;
            if (!VirtualProtect(&slots->u1.Function, sizeof(slots->u1.Function), PAGE_READWRITE, &protection))
                return nullptr;
            void* previous = reinterpret_cast<void*>(slots->u1.Function);
            slots->u1.Function = reinterpret_cast<ULONG_PTR>(hook);
            VirtualProtect(&slots->u1.Function, sizeof(slots->u1.Function), protection, &protection);
            return previous;
        }
    }
    return nullptr;
}

// ---- the pictures -------------------------------------------------------------------------------

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

// ---- the measurement ----------------------------------------------------------------------------

struct Figures
{
    // Medians, ms per call.
    double cached = 0;           // BuildImage with the background kept
    double cachedCompose = 0;    // ... without its push
    double cachedPush = 0;       // ... its push alone
    double cachedScreenDc = 0;   // ... taking and releasing its screen DC
    double anew = 0;             // BuildImage with the background made again
    double anewCompose = 0;
    double anewPush = 0;
    double clonesCached = 0;     // GDI+ clones per composition
    double clonesAnew = 0;
    double copyPremultiply = 0;  // the kept background copied and premultiplied into the surface
    double premultiply = 0;      // one premultiplication of an 800 x 600 DIB in place
    double buttons = 0;          // the four buttons' Paint
    double captions = 0;         // the four captions alone (part of the above)
    double baseline = 0;         // memcpy of the picture's bytes
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
    static double MedianOf(int n, F f)
    {
        f();  // warm up
        std::vector<double> samples;
        for (int i = 0; i < n; ++i)
        {
            const double start = Now();
            f();
            samples.push_back(Now() - start);
        }
        return bench::MedianOf(samples);
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

        BuildImage();  // warm up: the background is made and kept
        std::vector<double> total[2], compose[2], push[2], screenDc[2];
        int clones[2] = { 0, 0 };
        for (int n = 0; n < compositions; ++n)
        {
            for (int kind = 0; kind < 2; ++kind)
            {
                if (kind == 1)
                    m_upImage->BitmapChanged();  // as after selecting another frame
                g_pushMs = 0;
                g_screenDcMs = 0;
                g_clones = 0;
                const double start = Now();
                BuildImage();
                const double elapsed = Now() - start;
                total[kind].push_back(elapsed);
                push[kind].push_back(g_pushMs);
                screenDc[kind].push_back(g_screenDcMs);
                compose[kind].push_back(elapsed - g_pushMs);
                clones[kind] += g_clones;
            }
        }
        figures.cached = bench::MedianOf(total[0]);
        figures.cachedCompose = bench::MedianOf(compose[0]);
        figures.cachedPush = bench::MedianOf(push[0]);
        figures.cachedScreenDc = bench::MedianOf(screenDc[0]);
        figures.anew = bench::MedianOf(total[1]);
        figures.anewCompose = bench::MedianOf(compose[1]);
        figures.anewPush = bench::MedianOf(push[1]);
        figures.clonesCached = static_cast<double>(clones[0]) / compositions;
        figures.clonesAnew = static_cast<double>(clones[1]) / compositions;

        // The parts, on a DIB of the window's size selected into a memory DC.
        HBITMAP dib = nullptr;
        m_upImage->GetBitmap()->GetHBITMAP(Gdiplus::Color(0), &dib);
        HDC memory = CreateCompatibleDC(nullptr);
        HGDIOBJ old = SelectObject(memory, dib);
        figures.buttons = MedianOf(compositions, [this, memory] {
            for (CAlphaChannelButton* b : m_buttons)
                b->Paint(m_hwnd, memory);
        });
        figures.captions = MedianOf(compositions, [this, memory] {
            for (CAlphaChannelButton* b : m_buttons)
                b->DrawControlText(memory);
        });
        SelectObject(memory, old);
        DeleteDC(memory);
        // The copy of the kept background premultiplied into the surface, in one pass, as every
        // composition does it; and premultiplying in place, which costs the same every time
        // although it darkens the DIB again and again.
        HBITMAP surface = nullptr;
        m_upImage->GetBitmap()->GetHBITMAP(Gdiplus::Color(0), &surface);
        figures.copyPremultiply = MedianOf(compositions, [dib, surface] {
            CAlphaChannelImage::PreMultiplyRGBChannels(dib, surface, kWidth, kHeight);
        });
        figures.premultiply =
            MedianOf(compositions, [dib] { CAlphaChannelImage::PreMultiplyRGBChannels(dib, kWidth, kHeight); });
        DeleteObject(surface);
        DeleteObject(dib);

        std::vector<char> from(static_cast<size_t>(kWidth) * kHeight * 4, 1), to(from.size());
        figures.baseline = MedianOf(compositions, [&] {
            memcpy(to.data(), from.data(), from.size());
            from[0] = to[from.size() - 1];  // keeps the copy from being optimised away
        });
        figures.done = true;
    }
};

void Line(const char* name, double ms, const Figures& f, double whole, const char* of)
{
    printf("  %-44s %8.3f ms  %7.2fx baseline  %5.1f%% of %s\n", name, ms, ms / f.baseline, 100.0 * ms / whole, of);
}
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

    HMODULE library = GetModuleHandleW(L"VeskonWin32GUISupportDLL.dll");
    g_updateLayeredWindow = reinterpret_cast<UpdateLayeredWindowFn>(
        ReplaceImport(library, "user32.dll", "UpdateLayeredWindow", reinterpret_cast<void*>(&TimedUpdateLayeredWindow)));
    g_cloneArea = reinterpret_cast<CloneAreaFn>(
        ReplaceImport(library, "gdiplus.dll", "GdipCloneBitmapAreaI", reinterpret_cast<void*>(&CountedCloneArea)));
    g_getDc = reinterpret_cast<GetDcFn>(ReplaceImport(library, "user32.dll", "GetDC", reinterpret_cast<void*>(&TimedGetDc)));
    g_releaseDc = reinterpret_cast<ReleaseDcFn>(
        ReplaceImport(library, "user32.dll", "ReleaseDC", reinterpret_cast<void*>(&TimedReleaseDc)));
    const bool hooked = g_updateLayeredWindow && g_cloneArea && g_getDc && g_releaseDc;

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
    if (written && hooked)
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
    if (g_updateLayeredWindow)
        ReplaceImport(library, "user32.dll", "UpdateLayeredWindow", reinterpret_cast<void*>(g_updateLayeredWindow));
    if (g_cloneArea)
        ReplaceImport(library, "gdiplus.dll", "GdipCloneBitmapAreaI", reinterpret_cast<void*>(g_cloneArea));
    if (g_getDc)
        ReplaceImport(library, "user32.dll", "GetDC", reinterpret_cast<void*>(g_getDc));
    if (g_releaseDc)
        ReplaceImport(library, "user32.dll", "ReleaseDC", reinterpret_cast<void*>(g_releaseDc));
    Gdiplus::GdiplusShutdown(token);

    if (!figures.done)
    {
        printf("compose_bench: the window did not run (images written: %s, imports found: %s)\n",
               written ? "yes" : "no", hooked ? "yes" : "no");
        return 1;
    }
    const Figures& f = figures;
    printf("compose_bench (%d-bit): one composition of an %dx%d window with %d buttons, median of %d runs\n",
           static_cast<int>(sizeof(void*) * 8), kWidth, kHeight, kButtons, compositions);
    printf("  %-44s %8.3f ms     1.00x baseline\n", "baseline: memcpy of the picture's bytes", f.baseline);
    printf(" background kept (every fade tick), %.2f GDI+ clones per composition:\n", f.clonesCached);
    Line("BuildImage, whole", f.cached, f, 8.0, "the 8 ms target");
    Line("  composition without the push", f.cachedCompose, f, f.cached, "BuildImage");
    Line("    screen DC taken and released", f.cachedScreenDc, f, f.cachedCompose, "the composition");
    Line("    background copied and premultiplied (*)", f.copyPremultiply, f, f.cachedCompose, "the composition");
    Line("    the 4 buttons painted (*)", f.buttons, f, f.cachedCompose, "the composition");
    Line("      their captions alone (GDI+ text) (*)", f.captions, f, f.buttons, "the buttons");
    Line("  push (UpdateLayeredWindow) alone", f.cachedPush, f, f.cached, "BuildImage");
    printf("  premultiplying an 800x600 DIB in place (*)   %8.3f ms  %7.2fx baseline  share: %.1f%% of the composition"
           " without the push, %.1f%% of BuildImage\n",
           f.premultiply, f.premultiply / f.baseline, 100.0 * f.premultiply / f.cachedCompose, 100.0 * f.premultiply / f.cached);
    printf(" background made anew (new up image or frame), %.2f GDI+ clones per composition:\n", f.clonesAnew);
    Line("BuildImage, whole", f.anew, f, 8.0, "the 8 ms target");
    Line("  composition without the push", f.anewCompose, f, f.anew, "BuildImage");
    Line("  push (UpdateLayeredWindow) alone", f.anewPush, f, f.anew, "BuildImage");
    printf(" kept background against made anew: BuildImage %.2fx faster, composition without the push %.2fx faster\n",
           f.anew / f.cached, f.anewCompose / f.cachedCompose);
    printf(" (*) measured apart, on a DIB of the window's size, in the same run\n");
    return 0;
}
