// Scenes of the INI file, the alpha-channel image, the image manager and image packages.
#include <algorithm>
using std::max;
using std::min;
#include <windows.h>
#include <gdiplus.h>
#include <cmath>
#include <functional>
#include <string>
#include <vector>
#include "DemoScene.h"
#include "ImageFiles.h"
#include "VeskonWin32GUISupportDLL.h"

namespace
{
const wchar_t kSurfaceClass[] = L"VeskonDemoImageSurface";

wchar_t* W(std::wstring& text)
{
    return &text[0];
}


// A PNG with alpha made from a function of the pixel position (ARGB, not premultiplied).
bool MakePng(const std::wstring& path, int w, int h, const std::function<Gdiplus::ARGB(int, int)>& argb)
{
    return veskon_common::SaveArgbImage(path, w, h, argb, L"image/png");
}

Gdiplus::ARGB Argb(int a, int r, int g, int b)
{
    return Gdiplus::Color::MakeARGB(static_cast<BYTE>(a), static_cast<BYTE>(r), static_cast<BYTE>(g), static_cast<BYTE>(b));
}

// The four images of the scenes, 160 x 160 each.
struct DemoImage
{
    const wchar_t* name;
    const wchar_t* what;
    std::function<Gdiplus::ARGB(int, int)> pixel;
};

std::vector<DemoImage> DemoImages()
{
    return {
        { L"glow.png", L"radial alpha 255 to 0",
          [](int x, int y) {
              double d = std::sqrt((x - 80.0) * (x - 80.0) + (y - 80.0) * (y - 80.0)) / 80.0;
              int a = d >= 1 ? 0 : static_cast<int>(255 * (1 - d));
              return Argb(a, 255, 140, 0);
          } },
        { L"glass.png", L"alpha 128, opaque rim",
          [](int x, int y) {
              bool rim = x < 6 || y < 6 || x >= 154 || y >= 154;
              return rim ? Argb(255, 255, 255, 255) : Argb(128, 40, 120, 255);
          } },
        { L"ring.png", L"opaque ring, A = 0 inside",
          [](int x, int y) {
              double d = std::sqrt((x - 80.0) * (x - 80.0) + (y - 80.0) * (y - 80.0));
              return (d >= 50 && d <= 76) ? Argb(255, 30, 200, 90) : Argb(0, 0, 0, 0);
          } },
        { L"steps.png", L"alpha 0, 64, 128, 192, 255",
          [](int x, int) {
              static const int steps[] = { 0, 64, 128, 192, 255 };
              return Argb(steps[std::min(x / 32, 4)], 220, 20, 60);
          } },
    };
}

// A plain window that shows an off-screen surface. The surface starts as a copy of the screen
// beneath the window (the backdrop's pattern), and images are alpha-blended onto it with
// CAlphaChannelImage::Paint, so the screenshot shows what AlphaBlend made of each pixel.
// (A layered window would do under Windows; Wine without a compositing manager shows a layered
// window's alpha only as a cut-out, every pixel with A > 0 opaque.)
class CompositeWindow
{
public:
    CompositeWindow(int x, int y, int w, int h) : m_w(w), m_h(h)
    {
        WNDCLASSEXW wc = {};
        wc.cbSize = sizeof(wc);
        wc.lpfnWndProc = &CompositeWindow::Proc;
        wc.hInstance = GetModuleHandleW(nullptr);
        wc.lpszClassName = kSurfaceClass;
        RegisterClassExW(&wc);
        m_dib = veskon_common::CreateTopDownDib(nullptr, w, h, &m_bits);
        m_dc = CreateCompatibleDC(nullptr);
        m_old = SelectObject(m_dc, m_dib);
        HDC screen = GetDC(nullptr);
        BitBlt(m_dc, 0, 0, w, h, screen, x, y, SRCCOPY);
        ReleaseDC(nullptr, screen);
        m_hwnd = CreateWindowExW(WS_EX_TOOLWINDOW, kSurfaceClass, L"", WS_POPUP, x, y, w, h, nullptr, nullptr,
                                 wc.hInstance, nullptr);
        if (m_hwnd)
            SetWindowLongPtrW(m_hwnd, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
    }
    ~CompositeWindow()
    {
        if (m_hwnd)
            DestroyWindow(m_hwnd);
        SelectObject(m_dc, m_old);
        DeleteDC(m_dc);
        DeleteObject(m_dib);
        UnregisterClassW(kSurfaceClass, GetModuleHandleW(nullptr));
    }
    HDC Dc() const { return m_dc; }
    bool Valid() const { return m_hwnd && m_bits; }

    // A caption in a dark box sized to its text.
    void Label(int x, int y, const std::wstring& text)
    {
        Gdiplus::Graphics g(m_dc);
        Gdiplus::FontFamily family(L"Tahoma");
        Gdiplus::Font font(&family, 13, Gdiplus::FontStyleRegular, Gdiplus::UnitPixel);
        Gdiplus::RectF bounds;
        g.MeasureString(text.c_str(), -1, &font, Gdiplus::PointF(0, 0), &bounds);
        Gdiplus::SolidBrush box(Gdiplus::Color(255, 20, 30, 60));
        g.FillRectangle(&box, Gdiplus::RectF(static_cast<float>(x), static_cast<float>(y), bounds.Width + 12, 24));
        Gdiplus::SolidBrush white(Gdiplus::Color(255, 255, 255, 255));
        g.SetTextRenderingHint(Gdiplus::TextRenderingHintAntiAliasGridFit);
        g.DrawString(text.c_str(), -1, &font, Gdiplus::PointF(static_cast<float>(x + 6), static_cast<float>(y + 4)), &white);
    }

    void Show()
    {
        GdiFlush();
        SetWindowPos(m_hwnd, HWND_TOPMOST, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE | SWP_NOACTIVATE | SWP_SHOWWINDOW);
        UpdateWindow(m_hwnd);
    }

private:
    static LRESULT CALLBACK Proc(HWND hwnd, UINT msg, WPARAM wParam, LPARAM lParam)
    {
        auto* self = reinterpret_cast<CompositeWindow*>(GetWindowLongPtrW(hwnd, GWLP_USERDATA));
        switch (msg)
        {
        case WM_PAINT:
        {
            PAINTSTRUCT ps;
            HDC dc = BeginPaint(hwnd, &ps);
            if (self)
                BitBlt(dc, 0, 0, self->m_w, self->m_h, self->m_dc, 0, 0, SRCCOPY);
            EndPaint(hwnd, &ps);
            return 0;
        }
        case WM_ERASEBKGND:
            return 1;
        }
        return DefWindowProcW(hwnd, msg, wParam, lParam);
    }

    int m_w, m_h;
    HWND m_hwnd = nullptr;
    HBITMAP m_dib = nullptr;
    void* m_bits = nullptr;
    HDC m_dc = nullptr;
    HGDIOBJ m_old = nullptr;
};

COLORREF ScreenPixel(int x, int y)
{
    HDC screen = GetDC(nullptr);
    COLORREF c = GetPixel(screen, x, y);
    ReleaseDC(nullptr, screen);
    return c;
}

std::wstring Hex(DWORD v)
{
    wchar_t text[16];
    _snwprintf_s(text, 16, _TRUNCATE, L"%08lX", v);
    return text;
}

std::wstring Folder(DemoContext& ctx, const wchar_t* name)
{
    std::wstring folder = ctx.ScratchFolder() + L"\\" + name;
    CreateDirectoryW(folder.c_str(), nullptr);
    return folder;
}

// Writes the scene's images into `folder`; true when all four were written.
bool WriteDemoImages(const std::wstring& folder)
{
    bool all = true;
    for (const DemoImage& image : DemoImages())
        all = MakePng(folder + L"\\" + image.name, 160, 160, image.pixel) && all;
    return all;
}
}

VESKON_DEMO_SCENE(400, IniFileReadBack)
{
    ctx.Caption(L"INI file: UTF-16 with comments read, saved as sorted ANSI");
    std::wstring folder = Folder(ctx, L"ini");
    std::wstring path = folder + L"\\layout.ini";
    // UTF-16 with its byte-order mark, every line shape the parser knows.
    std::wstring text = L"; layout of the images scene\r\n"
                        L"ignored=before any section\r\n"
                        L"[Window]\r\n"
                        L"Title = Premultiplied images  \r\n"
                        L"Rect=40 400 1240 960\r\n"
                        L"Topmost=TRUE\r\n"
                        L"Formula==B*A/255\r\n"
                        L"[Images]\r\n"
                        L"Count = 4\r\n"
                        L"Spacing\t=\t300\r\n"
                        L"a b=c\r\n"
                        L"; comment=lost on save\r\n"
                        L"Count=4\r\n";
    HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    DWORD written = 0;
    WriteFile(file, "\xFF\xFE", 2, &written, nullptr);
    WriteFile(file, text.data(), static_cast<DWORD>(text.size() * sizeof(wchar_t)), &written, nullptr);
    CloseHandle(file);

    CIniFile ini(W(path), 0);
    wchar_t title[260];
    wchar_t formula[260];
    wchar_t ab[260];
    wchar_t none[] = L"(none)";
    std::wstring window = L"Window", images = L"Images";
    ini.GetString(W(window), const_cast<wchar_t*>(L"Title"), none, title, 260);
    ini.GetString(W(window), const_cast<wchar_t*>(L"Formula"), none, formula, 260);
    ini.GetString(W(images), const_cast<wchar_t*>(L"a"), none, ab, 260);
    RECT dflt = { 0, 0, 1, 1 }, rect = {};
    ini.GetRectangle(W(window), const_cast<wchar_t*>(L"Rect"), &dflt, &rect);
    bool topmost = ini.GetBoolean(W(window), const_cast<wchar_t*>(L"Topmost"), false);
    int spacing = ini.GetInteger(W(images), const_cast<wchar_t*>(L"Spacing"), 0);
    ctx.Check(std::wstring(title) == L"Premultiplied images  ", L"Title keeps its trailing blanks");
    ctx.Check(std::wstring(formula) == L"B*A/255", L"\"Formula==B*A/255\" reads B*A/255");
    ctx.Check(std::wstring(ab) == L"b=c", L"\"a b=c\" is the key a with the value b=c");
    ctx.Check(rect.left == 40 && rect.top == 400 && rect.right == 1240 && rect.bottom == 960, L"Rect read as four numbers");
    ctx.Check(topmost && spacing == 300, L"TRUE is true, Spacing is 300");

    ini.PutString(W(window), const_cast<wchar_t*>(L"Title"), const_cast<wchar_t*>(L""));  // an empty value changes nothing
    ini.PutInteger(W(images), const_cast<wchar_t*>(L"Count"), 5);
    ini.RenameSection(W(images), const_cast<wchar_t*>(L"Gallery"));
    ctx.Check(ini.Save(), L"Save wrote the file");

    std::vector<std::wstring> lines = { L"read (UTF-16):  Title=\"" + std::wstring(title) + L"\"  Formula=" + formula +
                                            L"  a=" + ab + L"  Rect=" + std::to_wstring(rect.left) + L"," +
                                            std::to_wstring(rect.top) + L"," + std::to_wstring(rect.right) + L"," +
                                            std::to_wstring(rect.bottom) + L"  Spacing=" + std::to_wstring(spacing),
                                        L"", L"saved (ANSI, sorted, no comments; [Images] renamed [Gallery], Count=5):" };
    std::string saved;
    file = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    char chunk[4096];
    DWORD read = 0;
    while (ReadFile(file, chunk, sizeof(chunk), &read, nullptr) && read)
        saved.append(chunk, read);
    CloseHandle(file);
    ctx.Check(saved.compare(0, 2, "\r\n") == 0 && saved.find(';') == std::string::npos && saved.find("[Gallery]") < saved.find("[Window]"),
              L"saved file starts with an empty line, has no comments, sections sorted");
    size_t start = 0;
    while (start < saved.size())
    {
        size_t end = saved.find("\r\n", start);
        std::string line = saved.substr(start, end == std::string::npos ? std::string::npos : end - start);
        lines.push_back(line.empty() ? L"(empty line)" : std::wstring(line.begin(), line.end()));
        if (end == std::string::npos)
            break;
        start = end + 2;
    }
    ctx.ShowPanel(L"CIniFile read back", lines);
    ctx.Screenshot(L"ini_read_back");
    ctx.HidePanel();
}

VESKON_DEMO_SCENE(410, PremultipliedImages)
{
    ctx.Caption(L"Alpha-channel images from the image manager, premultiplied, over the backdrop");
    std::wstring gui = Folder(ctx, L"gui");
    ctx.Check(WriteDemoImages(gui), L"four PNGs with alpha written with the GDI+ encoder");

    CImageManager* manager = CImageManager::Instance();
    ctx.Check(manager->SetGUIFolder(W(gui)), L"GUI folder set");
    std::vector<CAlphaChannelImage*> loaded;
    for (const DemoImage& image : DemoImages())
    {
        std::wstring name = image.name;
        int index = -1;
        CAlphaChannelImage* picture = manager->Add(W(name), nullptr, index, true);  // relative: from the GUI folder
        int again = -1;
        bool cached = manager->Add(W(name), nullptr, again, true) == picture && again == index;
        ctx.Check(picture && picture->Valid() && picture->GetWidth() == 160 && cached,
                  std::wstring(L"loaded ") + image.name + L" (entry " + std::to_wstring(index) + L", cached on the second Add)");
        loaded.push_back(picture);
    }
    if (std::find(loaded.begin(), loaded.end(), nullptr) != loaded.end())
        return;

    // Premultiplied pixels, read from the DIBs.
    BITMAP header = {};
    GetObjectW(loaded[2]->GetHBitmap(), sizeof(header), &header);
    const DWORD* ring = static_cast<const DWORD*>(header.bmBits);
    ctx.Check(ring[80 * 160 + 80] == 0, L"ring centre (A = 0) premultiplied to 0, 0, 0, 0: " + Hex(ring[80 * 160 + 80]));
    ctx.Check(ring[80 * 160 + 10] == 0xFF1EC85Au, L"ring body (A = 255) unchanged: " + Hex(ring[80 * 160 + 10]));

    // Layout: four images in a row at natural size; below, the glow stretched, a quarter of the
    // ring cropped and enlarged, and the glass as GDI+ hands it over (premultiplied once).
    const int left = 40, top = 240, width = 1200, height = 560;
    ctx.Pump(100);
    CompositeWindow surface(left, top, width, height);
    if (!ctx.Check(surface.Valid(), L"window created over the backdrop"))
        return;
    std::vector<DemoImage> images = DemoImages();
    for (size_t i = 0; i < 4; ++i)
    {
        int x = 40 + static_cast<int>(i) * 290;
        loaded[i]->Paint(surface.Dc(), x, 20);
        surface.Label(x - 10, 190, std::wstring(images[i].name) + L": " + images[i].what);
    }
    loaded[0]->Paint(surface.Dc(), 40, 250, 480, 240, 0, 0, 160, 160);  // stretched 3 x 1.5
    loaded[2]->Paint(surface.Dc(), 600, 250, 240, 240, 80, 0, 80, 80);   // top-right quarter, 3x
    loaded[3]->Paint(surface.Dc(), 940, 320, 0, 0, 0, 0);                // zero size: draws nothing
    std::wstring glassPath = gui + L"\\glass.png";
    CAlphaChannelImage once(W(glassPath), false);
    once.Paint(surface.Dc(), 920, 280, 0, 0, 160, 160);                  // the seven-argument form
    surface.Label(30, 500, L"glow.png stretched to 480 x 240 (AlphaBlend, COLORONCOLOR)");
    surface.Label(590, 500, L"ring.png: its top-right quarter, 3x");
    surface.Label(880, 450, L"glass.png, preMultiply = false");
    surface.Label(880, 500, L"(GDI+'s DIB, premultiplied once)");

    // Pixels of the surface before it is shown: what AlphaBlend did with the backdrop.
    COLORREF backdropHole = ScreenPixel(left + 620 + 80, top + 20 + 80);
    COLORREF backdropGlass = ScreenPixel(left + 330 + 80, top + 20 + 80);
    surface.Show();
    ctx.Pump(200);
    COLORREF hole = ScreenPixel(left + 620 + 80, top + 20 + 80);
    COLORREF body = ScreenPixel(left + 620 + 10, top + 20 + 80);
    COLORREF glass = ScreenPixel(left + 330 + 80, top + 20 + 80);
    ctx.Check(hole == backdropHole, L"the ring's transparent centre shows the backdrop unchanged");
    ctx.Check(body == RGB(30, 200, 90), L"the ring's opaque body shows its own colour");
    // AlphaBlend: result = source + backdrop * (255 - A) / 255, per channel.
    GetObjectW(loaded[1]->GetHBitmap(), sizeof(header), &header);
    DWORD src = static_cast<const DWORD*>(header.bmBits)[80 * 160 + 80];
    int expectBlue = static_cast<int>(src & 0xFF) + GetBValue(backdropGlass) * (255 - static_cast<int>(src >> 24)) / 255;
    ctx.Check(std::abs(GetBValue(glass) - expectBlue) <= 2,
              L"glass (A = 128) blends with the backdrop: blue " + std::to_wstring(GetBValue(glass)) + L", expected " +
                  std::to_wstring(expectBlue));
    ctx.Screenshot(L"premultiplied_images");
}

VESKON_DEMO_SCENE(420, ImagePackage)
{
    ctx.Caption(L"Image package: the images packed, unpacked and a hostile package refused");
    std::wstring source = Folder(ctx, L"package_source");
    std::wstring target = Folder(ctx, L"package_target");
    WriteDemoImages(source);
    CImageFileList list;
    int found = list.FindImages(W(source));
    ctx.Check(found == 4, L"FindImages found " + std::to_wstring(found) + L" images");
    std::wstring package = ctx.ScratchFolder() + L"\\images.pkg";
    ctx.Check(list.Concatenate(W(package)), L"Concatenate wrote the package");
    __int64 size = CFileIO::GetFileSize(W(package));
    __int64 contents = 0;
    std::vector<std::wstring> lines;
    for (int i = 0; i < list.GetCount(); ++i)
    {
        std::wstring file = list.GetFile(i);
        __int64 bytes = CFileIO::GetFileSize(W(file));
        contents += bytes;
        lines.push_back(L"packed  " + file.substr(file.rfind(L'\\') + 1) + L"  " + std::to_wstring(bytes) + L" bytes");
    }
    ctx.Check(size == 5 * 528 + contents, L"package is 5 x 528 + contents = " + std::to_wstring(size) + L" bytes");
    ctx.Check(list.DeConcatenate(W(package), W(target)), L"DeConcatenate unpacked it");
    CImageFileList unpacked;
    ctx.Check(unpacked.FindImages(W(target)) == 4, L"four images unpacked");
    lines.push_back(L"package " + std::to_wstring(size) + L" bytes, unpacked into " + target);

    // A package naming "..\evil.png": refused, and nothing lands beside the target folder.
    std::string hostile(528 * 2 + 4, '\0');
    const wchar_t evil[] = L"..\\evil.png";
    memcpy(&hostile[0], evil, sizeof(evil) - sizeof(wchar_t));
    hostile[520] = 4;
    hostile.replace(528 * 2, 4, "evil");
    std::wstring hostilePath = ctx.ScratchFolder() + L"\\hostile.pkg";
    HANDLE file = CreateFileW(hostilePath.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    DWORD written = 0;
    WriteFile(file, hostile.data(), static_cast<DWORD>(hostile.size()), &written, nullptr);
    CloseHandle(file);
    bool refused = !list.DeConcatenate(W(hostilePath), W(target));
    std::wstring escaped = ctx.ScratchFolder() + L"\\evil.png";
    ctx.Check(refused && !CFileIO::FileExists(W(escaped)), L"package naming ..\\evil.png refused, nothing written");
    lines.push_back(refused ? L"hostile package (..\\evil.png) refused" : L"hostile package ACCEPTED");

    // The unpacked images, drawn from the image manager, under the panel.
    ctx.Pump(100);
    CompositeWindow surface(40, 320, 1200, 220);
    int x = 40;
    for (const DemoImage& image : DemoImages())
    {
        std::wstring path = target + L"\\" + image.name;
        CAlphaChannelImage* picture = CImageManager::Instance()->Add(W(path));
        if (picture)
            picture->Paint(surface.Dc(), x, 20);
        x += 290;
    }
    surface.Label(30, 190, L"the four images as unpacked from the package, loaded through the image manager");
    surface.Show();
    ctx.ShowPanel(L"CImageFileList", lines);
    ctx.Pump(200);
    ctx.Screenshot(L"image_package");
    ctx.HidePanel();
}
