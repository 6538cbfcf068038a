// VeskonDemo.exe: a small Win32 application that uses the library as a host would. It starts
// GDI+ (the library never does), routes its messages through CKVRN_DllMain::IsDlgMsg, runs the
// registered scenes in order, photographs the screen after each visual scene, and ends by
// destroying the frame singleton. Usage: VeskonDemo.exe [--out <folder>] [--only <scene>]
#include <algorithm>
using std::max;
using std::min;
#include <windows.h>
#include <gdiplus.h>
#include <shellapi.h>
#include <cstdio>
#include <string>
#include <vector>
#include "DemoScene.h"
#include "FolderTree.h"
#include "ImageFiles.h"
#include "VeskonWin32GUISupportDLL.h"

namespace
{
struct SceneEntry
{
    int order;
    std::wstring name;
    DemoSceneFunction run;
};

std::vector<SceneEntry>& Scenes()
{
    static std::vector<SceneEntry> scenes;
    return scenes;
}

const wchar_t kBackdropClass[] = L"VeskonDemoBackdrop";
std::wstring g_caption = L"VeskonWin32GUISupportDLL demo";


void PaintBackdrop(HWND hwnd, HDC dc)
{
    RECT client;
    GetClientRect(hwnd, &client);
    Gdiplus::Graphics g(dc);
    // A checkerboard with a colour gradient: translucent pixels show plainly against it.
    const int cell = 32;
    for (int y = 0; y < client.bottom; y += cell)
    {
        for (int x = 0; x < client.right; x += cell)
        {
            BYTE shade = ((x / cell + y / cell) % 2) ? 235 : 200;
            BYTE tint = static_cast<BYTE>(120 + 100 * x / (client.right ? client.right : 1));
            Gdiplus::SolidBrush brush(Gdiplus::Color(255, shade, static_cast<BYTE>(shade * tint / 255), tint));
            g.FillRectangle(&brush, x, y, cell, cell);
        }
    }
    Gdiplus::SolidBrush band(Gdiplus::Color(200, 20, 30, 60));
    g.FillRectangle(&band, 0, 0, client.right, 56);
    Gdiplus::FontFamily family(L"Tahoma");
    Gdiplus::Font font(&family, 22, Gdiplus::FontStyleBold, Gdiplus::UnitPixel);
    Gdiplus::SolidBrush white(Gdiplus::Color(255, 255, 255, 255));
    g.SetTextRenderingHint(Gdiplus::TextRenderingHintAntiAlias);
    g.DrawString(g_caption.c_str(), -1, &font, Gdiplus::PointF(16, 14), &white);
}

const wchar_t kPanelClass[] = L"VeskonDemoPanel";
std::wstring g_panelTitle;
std::vector<std::wstring> g_panelLines;

void PaintPanel(HWND hwnd, HDC dc)
{
    RECT client;
    GetClientRect(hwnd, &client);
    HBRUSH paper = CreateSolidBrush(RGB(252, 252, 246));
    FillRect(dc, &client, paper);
    DeleteObject(paper);
    HFONT title = CreateFontW(-18, 0, 0, 0, FW_BOLD, 0, 0, 0, DEFAULT_CHARSET, 0, 0, CLEARTYPE_QUALITY, 0, L"Tahoma");
    HFONT mono = CreateFontW(-14, 0, 0, 0, FW_NORMAL, 0, 0, 0, DEFAULT_CHARSET, 0, 0, CLEARTYPE_QUALITY, FIXED_PITCH,
                             L"Courier New");
    SetBkMode(dc, TRANSPARENT);
    HGDIOBJ old = SelectObject(dc, title);
    SetTextColor(dc, RGB(20, 40, 90));
    TextOutW(dc, 12, 10, g_panelTitle.c_str(), static_cast<int>(g_panelTitle.size()));
    SelectObject(dc, mono);
    SetTextColor(dc, RGB(20, 20, 20));
    int y = 40;
    for (const std::wstring& line : g_panelLines)
    {
        TextOutW(dc, 12, y, line.c_str(), static_cast<int>(line.size()));
        y += 18;
    }
    SelectObject(dc, old);
    DeleteObject(title);
    DeleteObject(mono);
}

LRESULT CALLBACK PanelProc(HWND hwnd, UINT msg, WPARAM wParam, LPARAM lParam)
{
    if (msg == WM_PAINT)
    {
        PAINTSTRUCT ps;
        HDC dc = BeginPaint(hwnd, &ps);
        PaintPanel(hwnd, dc);
        EndPaint(hwnd, &ps);
        return 0;
    }
    return DefWindowProcW(hwnd, msg, wParam, lParam);
}

LRESULT CALLBACK BackdropProc(HWND hwnd, UINT msg, WPARAM wParam, LPARAM lParam)
{
    switch (msg)
    {
    case WM_PAINT:
    {
        PAINTSTRUCT ps;
        HDC dc = BeginPaint(hwnd, &ps);
        PaintBackdrop(hwnd, dc);
        EndPaint(hwnd, &ps);
        return 0;
    }
    case WM_ERASEBKGND:
        return 1;
    }
    return DefWindowProcW(hwnd, msg, wParam, lParam);
}

class Host : public DemoContext
{
public:
    Host(const std::wstring& out) : m_out(out)
    {
        CreateDirectoryW(m_out.c_str(), nullptr);
        m_scratch = m_out + L"\\scratch";
        CreateDirectoryW(m_scratch.c_str(), nullptr);
        _wfopen_s(&m_report, (m_out + L"\\report.txt").c_str(), L"w, ccs=UTF-8");
    }
    ~Host() override
    {
        if (m_report)
            fclose(m_report);
    }

    void CreateBackdrop(HINSTANCE instance)
    {
        WNDCLASSEXW wc = {};
        wc.cbSize = sizeof(wc);
        wc.lpfnWndProc = BackdropProc;
        wc.hInstance = instance;
        wc.hCursor = LoadCursor(nullptr, IDC_ARROW);
        wc.lpszClassName = kBackdropClass;
        RegisterClassExW(&wc);
        int w = GetSystemMetrics(SM_CXSCREEN), h = GetSystemMetrics(SM_CYSCREEN);
        m_backdrop = CreateWindowExW(0, kBackdropClass, L"Veskon demo", WS_POPUP | WS_VISIBLE, 0, 0, w, h, nullptr,
                                     nullptr, instance, nullptr);
        UpdateWindow(m_backdrop);
    }

    void ShowPanel(const std::wstring& title, const std::vector<std::wstring>& lines) override
    {
        g_panelTitle = title;
        g_panelLines = lines;
        if (!m_panel)
        {
            WNDCLASSEXW wc = {};
            wc.cbSize = sizeof(wc);
            wc.lpfnWndProc = PanelProc;
            wc.hInstance = GetModuleHandleW(nullptr);
            wc.hCursor = LoadCursor(nullptr, IDC_ARROW);
            wc.lpszClassName = kPanelClass;
            RegisterClassExW(&wc);
            m_panel = CreateWindowExW(WS_EX_TOOLWINDOW, kPanelClass, L"", WS_POPUP | WS_BORDER, 40, 80, 1200, 100,
                                      m_backdrop, nullptr, wc.hInstance, nullptr);
        }
        int height = 56 + 18 * static_cast<int>(lines.size());
        SetWindowPos(m_panel, HWND_TOP, 40, 80, 1200, height, SWP_SHOWWINDOW | SWP_NOACTIVATE);
        InvalidateRect(m_panel, nullptr, TRUE);
        UpdateWindow(m_panel);
        for (const std::wstring& line : lines)
            Report(L"    " + line);
    }

    void HidePanel() override
    {
        if (m_panel)
            ShowWindow(m_panel, SW_HIDE);
    }

    void Caption(const std::wstring& text) override
    {
        g_caption = text;
        if (m_backdrop)
        {
            InvalidateRect(m_backdrop, nullptr, FALSE);
            UpdateWindow(m_backdrop);
        }
        Report(L"## " + text);
    }

    void Report(const std::wstring& text) override
    {
        if (m_report)
        {
            fwprintf(m_report, L"%ls\n", text.c_str());
            fflush(m_report);
        }
        std::string utf8(static_cast<size_t>(WideCharToMultiByte(CP_UTF8, 0, text.c_str(), -1, nullptr, 0, nullptr, nullptr)), '\0');
        WideCharToMultiByte(CP_UTF8, 0, text.c_str(), -1, &utf8[0], static_cast<int>(utf8.size()), nullptr, nullptr);
        printf("%s\n", utf8.c_str());
        fflush(stdout);
    }

    bool Check(bool ok, const std::wstring& what) override
    {
        Report(std::wstring(ok ? L"  OK      " : L"  FAILED  ") + what);
        if (!ok)
            m_failures.push_back(what);
        return ok;
    }

    std::wstring Screenshot(const std::wstring& name) override
    {
        Pump(50);
        int w = GetSystemMetrics(SM_CXSCREEN), h = GetSystemMetrics(SM_CYSCREEN);
        HDC screen = GetDC(nullptr);
        HDC memory = CreateCompatibleDC(screen);
        HBITMAP bitmap = CreateCompatibleBitmap(screen, w, h);
        HGDIOBJ old = SelectObject(memory, bitmap);
        BitBlt(memory, 0, 0, w, h, screen, 0, 0, SRCCOPY | CAPTUREBLT);
        SelectObject(memory, old);
        wchar_t file[MAX_PATH];
        _snwprintf_s(file, MAX_PATH, _TRUNCATE, L"%s\\%02d_%s.png", m_out.c_str(), ++m_shots, name.c_str());
        CLSID png;
        bool saved = false;
        if (veskon_common::EncoderClsid(L"image/png", &png))
        {
            Gdiplus::Bitmap image(bitmap, nullptr);
            saved = image.Save(file, &png, nullptr) == Gdiplus::Ok;
        }
        DeleteObject(bitmap);
        DeleteDC(memory);
        ReleaseDC(nullptr, screen);
        Report(std::wstring(saved ? L"  screenshot " : L"  screenshot FAILED ") + file);
        return file;
    }

    void Pump(int ms) override
    {
        ULONGLONG start = GetTickCount64();
        do
        {
            MSG msg;
            while (PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE))
            {
                if (CKVRN_DllMain::Instance()->IsDlgMsg(msg))
                    continue;
                TranslateMessage(&msg);
                DispatchMessageW(&msg);
            }
            Sleep(5);
        } while (GetTickCount64() - start < static_cast<ULONGLONG>(ms));
    }

    std::wstring OutputFolder() override { return m_out; }
    std::wstring ScratchFolder() override { return m_scratch; }
    HWND Backdrop() override { return m_backdrop; }

    const std::vector<std::wstring>& Failures() const { return m_failures; }

private:
    std::wstring m_out;
    std::wstring m_scratch;
    FILE* m_report = nullptr;
    HWND m_backdrop = nullptr;
    HWND m_panel = nullptr;
    int m_shots = 0;
    std::vector<std::wstring> m_failures;
};

}

DemoSceneRegistrar::DemoSceneRegistrar(int order, const wchar_t* name, DemoSceneFunction run)
{
    Scenes().push_back({ order, name, run });
}

int WINAPI wWinMain(HINSTANCE instance, HINSTANCE, PWSTR, int)
{
    int argc = 0;
    wchar_t** argv = CommandLineToArgvW(GetCommandLineW(), &argc);
    std::wstring out = L"demo_out";
    std::wstring only;
    for (int i = 1; i + 1 < argc; ++i)
    {
        if (wcscmp(argv[i], L"--out") == 0)
            out = argv[++i];
        else if (wcscmp(argv[i], L"--only") == 0)
            only = argv[++i];
    }
    LocalFree(argv);

    Gdiplus::GdiplusStartupInput input;
    ULONG_PTR token = 0;
    Gdiplus::GdiplusStartup(&token, &input, nullptr);

    int failures = 0;
    {
        Host host(out);
        host.CreateBackdrop(instance);
        host.Pump(200);
        std::vector<SceneEntry> scenes = Scenes();
        std::stable_sort(scenes.begin(), scenes.end(),
                         [](const SceneEntry& a, const SceneEntry& b) { return a.order < b.order; });
        for (const SceneEntry& scene : scenes)
        {
            if (!only.empty() && only != scene.name)
                continue;
            host.Report(L"");
            host.Report(L"# scene " + std::to_wstring(scene.order) + L" " + scene.name);
            scene.run(host);
            host.HidePanel();
            host.Pump(100);
        }

        // A host tears the library's services down before unloading it; keep a copy of the log.
        std::wstring log = CDebugTrace::Instance()->GetLogFilename();
        delete CKVRN_DllMain::Instance();
        if (!log.empty())
            CopyFileW(log.c_str(), (out + L"\\Zintor_trace.log").c_str(), FALSE);
        host.Report(L"");
        host.Report(L"trace log copied to " + out + L"\\Zintor_trace.log");
        failures = static_cast<int>(host.Failures().size());
        host.Report(failures ? L"demo finished with " + std::to_wstring(failures) + L" failed checks"
                             : L"demo finished: all checks passed");
        for (const std::wstring& f : host.Failures())
            host.Report(L"  failed: " + f);
        DestroyWindow(host.Backdrop());
        veskon_common::RemoveFolderTree(host.ScratchFolder());
    }
    Gdiplus::GdiplusShutdown(token);
    return failures ? 1 : 0;
}
