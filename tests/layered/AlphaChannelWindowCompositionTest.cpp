// The window keeps the background GDI+ makes for its compositions and the DC it composes in; these
// cases check that what it pushes is, byte for byte, what a fresh composition gives: the up image
// cloned as 32-bit ARGB, its DIB on ARGB 0 premultiplied once more, then the buttons on top.
#include "LayeredTestSupport.h"
#include <memory>
#include "layered/AlphaChannelImage.h"
#include "support/TestImages.h"

using namespace layered_test;

namespace
{
const int kWidth = 64;
const int kHeight = 40;

// The bytes of the DIB selected into dc, in memory order.
std::vector<DWORD> DcPixels(HDC dc)
{
    GdiFlush();
    return veskon_test::DibPixels(static_cast<HBITMAP>(GetCurrentObject(dc, OBJ_BITMAP)));
}

// A window that records the DIB of every composition twice: when its own Paint is called (the
// background) and after its last button painted (the picture pushed, but for a focus rectangle).
class CompositionWindow : public ScriptedWindow
{
public:
    std::vector<std::vector<DWORD>> backgrounds;
    std::vector<std::vector<DWORD>> pictures;
    std::function<void(HDC)> afterCapture;  // more drawing in Paint, once the background is recorded
    bool nestOnce = false;                  // the first button's painting asks for a composition

    CAlphaChannelImage* UpImage() { return m_upImage; }

    void Paint(HDC dc, int x, int y, int width, int height) override
    {
        ScriptedWindow::Paint(dc, x, y, width, height);
        if (!recording)
            return;
        backgrounds.push_back(DcPixels(dc));
        if (afterCapture)
            afterCapture(dc);
    }

    void Clear()
    {
        backgrounds.clear();
        pictures.clear();
    }

    // The background as a fresh composition makes it from the up image as it is now.
    std::vector<DWORD> FreshBackground()
    {
        HBITMAP dib = FreshDib();
        std::vector<DWORD> pixels = veskon_test::DibPixels(dib);
        DeleteObject(dib);
        return pixels;
    }

    // The picture a fresh composition makes: a new DC, the fresh background, the buttons.
    std::vector<DWORD> FreshPicture()
    {
        HBITMAP dib = FreshDib();
        HDC screen = GetDC(nullptr);
        HDC dc = CreateCompatibleDC(screen);
        HGDIOBJ old = SelectObject(dc, dib);
        recording = false;
        for (CAlphaChannelButton* b : m_buttons)
            b->Paint(m_hwnd, dc);
        recording = true;
        std::vector<DWORD> pixels = DcPixels(dc);
        SelectObject(dc, old);
        DeleteDC(dc);
        ReleaseDC(nullptr, screen);
        DeleteObject(dib);
        return pixels;
    }

    static void ButtonPainted(CAlphaChannelButton* button, HDC dc, void* context)
    {
        CompositionWindow* self = static_cast<CompositionWindow*>(context);
        if (!self->recording)
            return;
        if (button == self->m_buttons.front() && self->nestOnce)
        {
            self->nestOnce = false;
            self->BuildImage();
        }
        if (button == self->m_buttons.back())
            self->pictures.push_back(DcPixels(dc));
    }

private:
    HBITMAP FreshDib()
    {
        Gdiplus::Bitmap* bitmap = m_upImage->GetBitmap();
        const int w = m_upImage->GetWidth();
        const int h = m_upImage->GetHeight();
        std::unique_ptr<Gdiplus::Bitmap> clone(bitmap->Clone(0, 0, w, h, PixelFormat32bppARGB));
        HBITMAP dib = nullptr;
        EXPECT_TRUE(clone && clone->GetHBITMAP(Gdiplus::Color(0), &dib) == Gdiplus::Ok);
        CAlphaChannelImage::PreMultiplyRGBChannels(dib, w, h);
        return dib;
    }

    bool recording = true;
};

class CompositionTest : public LayeredTest
{
protected:
    // A translucent background whose alpha and colours change across it, so that a second
    // premultiplication or a stale copy shows.
    wchar_t* Background(const std::wstring& name, int w, int h, int seed)
    {
        std::wstring path = m_folder.File(name);
        EXPECT_TRUE(veskon_test::SaveImage(
            path, w, h,
            [seed](int x, int y) {
                return veskon_test::Argb(static_cast<BYTE>(60 + x * 3 + seed), static_cast<BYTE>(200 - y * 4),
                                         static_cast<BYTE>(x * 4 + seed * 7), static_cast<BYTE>(90 + y * 2));
            },
            L"image/png"));
        return Path(path);
    }

    // Two translucent buttons that report their painting to the window.
    std::list<CAlphaChannelButton*> Buttons(CompositionWindow& window)
    {
        wchar_t* up = Path(Png(L"button.png", 20, 12, 0xA0E08040));
        std::list<CAlphaChannelButton*> list;
        for (int i = 0; i < 2; ++i)
        {
            CAlphaChannelButton* b = new CAlphaChannelButton();
            b->SetUpImageFilename(up);
            RECT r = { 6 + i * 26, 22, 26 + i * 26, 34 };
            b->SetRectangle(r);
            b->SetCommandID(10 + i);
            b->SetPaintCallback(&CompositionWindow::ButtonPainted);
            b->SetPaintContext(&window);
            list.push_back(b);
        }
        return list;
    }
};
}

TEST_F(CompositionTest, SuccessiveCompositionsPushTheSameFreshPicture)
{
    CompositionWindow w;
    std::vector<DWORD> background, picture;
    w.Add("faded in", FadedIn());
    w.Add("compose three times", Do([&](ScriptedWindow&) {
              w.Clear();
              for (int i = 0; i < 3; ++i)
                  w.BuildImage();
              background = w.FreshBackground();
              picture = w.FreshPicture();
          }));
    w.Run(Background(L"background.png", kWidth, kHeight, 0), Buttons(w));
    ASSERT_FALSE(w.timedOut) << w.failedStep;

    ASSERT_EQ(static_cast<size_t>(kWidth * kHeight), background.size());
    ASSERT_EQ(3u, w.backgrounds.size());
    ASSERT_EQ(3u, w.pictures.size());
    for (size_t i = 0; i < 3; ++i)
    {
        EXPECT_TRUE(w.backgrounds[i] == background) << "composition " << i << " did not start from the pristine background";
        EXPECT_TRUE(w.pictures[i] == picture) << "composition " << i << " differs from a fresh one";
    }
    EXPECT_FALSE(picture == background);  // the buttons drew something
}

TEST_F(CompositionTest, ASelectedFrameOfTheUpImageIsComposedFromThatFrame)
{
    std::wstring gif = m_folder.File(L"animated.gif");
    std::vector<std::vector<BYTE>> frames;
    for (BYTE index = 1; index <= 3; ++index)
        frames.push_back(std::vector<BYTE>(kWidth * kHeight, index));
    ASSERT_TRUE(veskon_test::SaveGif(gif, kWidth, kHeight, { 0x000000, 0xC04020, 0x20C040, 0x4020C0 }, frames,
                                     { 10, 10, 10 }));
    CompositionWindow w;
    std::vector<std::vector<DWORD>> backgrounds, pictures;
    w.Add("faded in", FadedIn());
    w.Add("select frames", Do([&](ScriptedWindow&) {
              w.Clear();
              for (int frame : { 1, 2, 2, 0 })
              {
                  w.UpImage()->SelectFrame(frame);
                  w.BuildImage();
                  backgrounds.push_back(w.FreshBackground());
                  pictures.push_back(w.FreshPicture());
              }
          }));
    w.Run(Path(gif), Buttons(w));
    ASSERT_FALSE(w.timedOut) << w.failedStep;

    ASSERT_EQ(4u, backgrounds.size());
    ASSERT_EQ(4u, w.backgrounds.size());
    ASSERT_EQ(4u, w.pictures.size());
    for (size_t i = 0; i < 4; ++i)
    {
        EXPECT_TRUE(w.backgrounds[i] == backgrounds[i]) << "composition " << i;
        EXPECT_TRUE(w.pictures[i] == pictures[i]) << "composition " << i;
    }
    // The frames differ, so a background kept across a frame change would have shown.
    EXPECT_FALSE(backgrounds[0] == backgrounds[1]);
    EXPECT_FALSE(backgrounds[1] == backgrounds[3]);
    EXPECT_EQ(0xFF20C040u, backgrounds[0][0]);
}

TEST_F(CompositionTest, AnotherUpImageOrSizeOrAlteredPixelsAreComposedFromThem)
{
    wchar_t* first = Background(L"first.png", kWidth, kHeight, 0);
    wchar_t* second = Background(L"second.png", kWidth, kHeight, 20);
    wchar_t* smaller = Background(L"smaller.png", 30, 20, 40);
    CompositionWindow w;
    std::vector<std::vector<DWORD>> expected;
    auto composeWith = [&](wchar_t* up) {
        w.SetUpImageFilename(up);
        w.LoadImages();
        w.BuildImage();
        expected.push_back(w.FreshBackground());
    };
    w.Add("faded in", FadedIn());
    w.Add("change the up image", Do([&](ScriptedWindow&) {
              w.Clear();
              composeWith(second);
              composeWith(smaller);
              composeWith(first);
              // Pixels changed behind the image's back reach the window once the image is told.
              Gdiplus::Graphics graphics(w.UpImage()->GetBitmap());
              Gdiplus::SolidBrush brush(Gdiplus::Color(128, 255, 255, 0));
              graphics.FillRectangle(&brush, 0, 0, 10, 10);
              w.UpImage()->BitmapChanged();
              w.BuildImage();
              expected.push_back(w.FreshBackground());
          }));
    w.Run(first);
    ASSERT_FALSE(w.timedOut) << w.failedStep;

    ASSERT_EQ(4u, w.backgrounds.size());
    ASSERT_EQ(4u, expected.size());
    for (size_t i = 0; i < 4; ++i)
        EXPECT_TRUE(w.backgrounds[i] == expected[i]) << "composition " << i;
    EXPECT_EQ(static_cast<size_t>(30 * 20), w.backgrounds[1].size());
    EXPECT_FALSE(expected[0] == expected[2]);
    EXPECT_FALSE(expected[2] == expected[3]);
}

TEST_F(CompositionTest, PaintThatLeavesTheDcChangedDoesNotReachTheNextComposition)
{
    CompositionWindow w;
    std::vector<DWORD> picture;
    w.Add("faded in", FadedIn());
    w.Add("compose with a clipped DC once", Do([&](ScriptedWindow&) {
              w.Clear();
              w.BuildImage();
              w.afterCapture = [](HDC dc) {
                  IntersectClipRect(dc, 0, 0, 1, 1);
                  SetViewportOrgEx(dc, 7, 3, nullptr);
                  SetStretchBltMode(dc, HALFTONE);
              };
              w.BuildImage();
              w.afterCapture = nullptr;
              w.BuildImage();
              picture = w.FreshPicture();
          }));
    w.Run(Background(L"background.png", kWidth, kHeight, 0), Buttons(w));
    ASSERT_FALSE(w.timedOut) << w.failedStep;

    ASSERT_EQ(3u, w.pictures.size());
    EXPECT_TRUE(w.pictures[0] == picture);
    EXPECT_FALSE(w.pictures[1] == picture);  // the clip kept the buttons out of that one
    EXPECT_TRUE(w.pictures[2] == picture);
}

TEST_F(CompositionTest, ACompositionAskedForWhilePaintingGetsAPictureOfItsOwn)
{
    CompositionWindow w;
    std::vector<DWORD> picture;
    w.Add("faded in", FadedIn());
    w.Add("nest a composition", Do([&](ScriptedWindow&) {
              w.Clear();
              w.nestOnce = true;
              w.BuildImage();
              picture = w.FreshPicture();
              w.BuildImage();  // and the kept state still serves the next one
          }));
    w.Run(Background(L"background.png", kWidth, kHeight, 0), Buttons(w));
    ASSERT_FALSE(w.timedOut) << w.failedStep;

    // The nested composition finishes first, then the one it interrupted, then the last.
    ASSERT_EQ(3u, w.pictures.size());
    for (size_t i = 0; i < 3; ++i)
        EXPECT_TRUE(w.pictures[i] == picture) << "composition " << i;
}
