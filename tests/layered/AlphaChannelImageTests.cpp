#include <algorithm>
using std::max;
using std::min;
#include <windows.h>
#include <gdiplus.h>
#include <gtest/gtest.h>
#include <cstring>
#include <memory>
#include "frame/ErrorMsg.h"
#include "layered/AlphaChannelImage.h"
#include "support/TestImages.h"
#include "support/TestSupport.h"

using namespace veskon_test;

namespace
{
// The definition: each colour byte times alpha over 255, truncated; alpha unchanged.
DWORD Premultiplied(DWORD bgra)
{
    unsigned a = bgra >> 24;
    unsigned b = (bgra & 0xFF) * a / 255;
    unsigned g = ((bgra >> 8) & 0xFF) * a / 255;
    unsigned r = ((bgra >> 16) & 0xFF) * a / 255;
    return (a << 24) | (r << 16) | (g << 8) | b;
}

struct DibDeleter
{
    void operator()(HBITMAP h) const { DeleteObject(h); }
};
typedef std::unique_ptr<HBITMAP__, DibDeleter> Dib;

// A 32-bit memory surface filled with one opaque colour, for painting into.
class Surface
{
public:
    Surface(int width, int height, DWORD fill) : m_width(width)
    {
        m_dib.reset(MakeDib(width, height, std::vector<DWORD>(static_cast<size_t>(width) * height, fill)));
        m_dc = CreateCompatibleDC(nullptr);
        m_old = SelectObject(m_dc, m_dib.get());
    }
    ~Surface()
    {
        SelectObject(m_dc, m_old);
        DeleteDC(m_dc);
    }
    HDC Dc() const { return m_dc; }
    DWORD At(int x, int y)
    {
        GdiFlush();
        return DibPixels(m_dib.get())[static_cast<size_t>(y) * m_width + x] & 0xFFFFFF;
    }

private:
    int m_width;
    Dib m_dib;
    HDC m_dc = nullptr;
    HGDIOBJ m_old = nullptr;
};

class AlphaChannelImageTest : public ::testing::Test
{
protected:
    std::wstring Png(const std::wstring& name, int w, int h, const std::function<DWORD(int, int)>& argb)
    {
        std::wstring path = folder.File(name);
        EXPECT_TRUE(SaveImage(path, w, h, argb, L"image/png"));
        return path;
    }
    // Three frames of 4x4 in red, green and blue with the given delays (hundredths).
    std::wstring AnimatedGif(const std::wstring& name, const std::vector<int>& delays)
    {
        std::wstring path = folder.File(name);
        std::vector<std::vector<BYTE>> frames = { std::vector<BYTE>(16, 1), std::vector<BYTE>(16, 2),
                                                  std::vector<BYTE>(16, 3) };
        EXPECT_TRUE(SaveGif(path, 4, 4, { 0x000000, 0xFF0000, 0x00FF00, 0x0000FF }, frames, delays));
        return path;
    }

    ScratchFolder folder;
};
}

TEST(AlphaChannelImagePremultiply, MatchesTheDefinitionForEveryColourAndAlpha)
{
    // 256 x 256 pixels: every (value, alpha) pair in every colour byte, at every offset within a
    // four-pixel block, so that both the vector and the scalar path are covered.
    std::vector<DWORD> pixels;
    for (unsigned a = 0; a < 256; ++a)
        for (unsigned v = 0; v < 256; ++v)
            pixels.push_back((a << 24) | (((v + 85) & 0xFF) << 16) | (((v + 170) & 0xFF) << 8) | v);
    Dib dib(MakeDib(256, 256, pixels));
    CAlphaChannelImage::PreMultiplyRGBChannels(dib.get(), 256, 256);
    std::vector<DWORD> out = DibPixels(dib.get());
    ASSERT_EQ(out.size(), pixels.size());
    size_t wrong = 0;
    for (size_t i = 0; i < pixels.size(); ++i)
        wrong += out[i] != Premultiplied(pixels[i]);
    EXPECT_EQ(wrong, 0u);
}

TEST(AlphaChannelImagePremultiply, ShortRowsMatchTheDefinitionToo)
{
    // Seven pixels per call: too few for the widest vector step, so the narrower vector step and
    // the pixel-by-pixel tail do the work; every (value, alpha) pair passes through them.
    std::vector<DWORD> pixels;
    for (unsigned a = 0; a < 256; ++a)
        for (unsigned v = 0; v < 256; ++v)
            pixels.push_back((a << 24) | (((v * 3) & 0xFF) << 16) | (((v + 128) & 0xFF) << 8) | v);
    while (pixels.size() % 7)
        pixels.push_back(Argb(200, 255, 254, 253));
    Dib dib(MakeDib(7, 1, std::vector<DWORD>(7, 0)));
    BITMAP header = {};
    ASSERT_TRUE(GetObjectW(dib.get(), sizeof(header), &header));
    DWORD* bits = static_cast<DWORD*>(header.bmBits);
    size_t wrong = 0;
    for (size_t i = 0; i < pixels.size(); i += 7)
    {
        memcpy(bits, &pixels[i], 7 * sizeof(DWORD));
        CAlphaChannelImage::PreMultiplyRGBChannels(dib.get(), 7, 1);
        for (size_t k = 0; k < 7; ++k)
            wrong += bits[k] != Premultiplied(pixels[i + k]);
    }
    EXPECT_EQ(wrong, 0u);
}

TEST(AlphaChannelImagePremultiply, KnownPixels)
{
    Dib dib(MakeDib(3, 1, { Argb(0, 10, 20, 30), Argb(255, 1, 2, 3), Argb(128, 0, 0, 200) }));
    CAlphaChannelImage::PreMultiplyRGBChannels(dib.get(), 3, 1);
    std::vector<DWORD> out = DibPixels(dib.get());
    EXPECT_EQ(out[0], 0u);                       // A = 0: black, transparent
    EXPECT_EQ(out[1], Argb(255, 1, 2, 3));       // A = 255: unchanged
    EXPECT_EQ(out[2], Argb(128, 0, 0, 100));     // 200 * 128 / 255 = 100.39, truncated
}

TEST(AlphaChannelImagePremultiply, IsNotIdempotent)
{
    Dib dib(MakeDib(1, 1, { Argb(128, 0, 0, 200) }));
    CAlphaChannelImage::PreMultiplyRGBChannels(dib.get(), 1, 1);
    CAlphaChannelImage::PreMultiplyRGBChannels(dib.get(), 1, 1);
    EXPECT_EQ(DibPixels(dib.get())[0], Argb(128, 0, 0, 50));  // kept: each call darkens again
}

TEST(AlphaChannelImagePremultiply, RowsAreTheCallersWidth)
{
    // A 4 x 2 DIB premultiplied as 3 x 2 touches the first six pixels in memory, not 3 per row;
    // premultiplied into another DIB, the last two arrive unpremultiplied, as a copy would leave them.
    std::vector<DWORD> pixels(8, Argb(128, 0, 0, 200));
    Dib dib(MakeDib(4, 2, pixels));
    Dib target(MakeDib(4, 2, std::vector<DWORD>(8, 0)));
    EXPECT_TRUE(CAlphaChannelImage::PreMultiplyRGBChannels(dib.get(), target.get(), 3, 2));
    CAlphaChannelImage::PreMultiplyRGBChannels(dib.get(), 3, 2);
    for (HBITMAP premultiplied : { dib.get(), target.get() })
    {
        std::vector<DWORD> out = DibPixels(premultiplied);
        for (int i = 0; i < 6; ++i)
            EXPECT_EQ(out[i], Argb(128, 0, 0, 100)) << i;
        EXPECT_EQ(out[6], Argb(128, 0, 0, 200));
        EXPECT_EQ(out[7], Argb(128, 0, 0, 200));
    }
}

TEST(AlphaChannelImagePremultiply, NeverWritesPastTheBitmap)
{
    Dib dib(MakeDib(2, 2, std::vector<DWORD>(4, Argb(128, 0, 0, 200))));
    CAlphaChannelImage::PreMultiplyRGBChannels(dib.get(), 5000, 5000);
    std::vector<DWORD> out = DibPixels(dib.get());
    for (DWORD px : out)
        EXPECT_EQ(px, Argb(128, 0, 0, 100));
}

TEST(AlphaChannelImagePremultiply, RefusesNullAndEmptySizes)
{
    Dib dib(MakeDib(1, 1, { Argb(128, 0, 0, 200) }));
    CAlphaChannelImage::PreMultiplyRGBChannels(dib.get(), 0, 1);
    CAlphaChannelImage::PreMultiplyRGBChannels(dib.get(), 1, -1);
    CAlphaChannelImage::PreMultiplyRGBChannels(nullptr, 1, 1);
    CAlphaChannelImage::PreMultiplyRGBChannels(static_cast<CAlphaChannelImage*>(nullptr));
    EXPECT_EQ(DibPixels(dib.get())[0], Argb(128, 0, 0, 200));
}

TEST(AlphaChannelImagePremultiply, IntoAnotherDibEqualsCopyThenPremultiply)
{
    // 67 x 3 pixels of every alpha: the widest vector step, the narrower one and the tail all
    // write into the target; the source stays as it was.
    std::vector<DWORD> pixels;
    for (unsigned i = 0; i < 67 * 3; ++i)
        pixels.push_back(((i * 37) & 0xFF) << 24 | ((i * 11) & 0xFF) << 16 | ((i * 5 + 3) & 0xFF) << 8 | (255 - i % 256));
    Dib source(MakeDib(67, 3, pixels));
    Dib target(MakeDib(67, 3, std::vector<DWORD>(pixels.size(), Argb(1, 2, 3, 4))));
    Dib copied(MakeDib(67, 3, pixels));
    CAlphaChannelImage::PreMultiplyRGBChannels(copied.get(), 67, 3);
    EXPECT_TRUE(CAlphaChannelImage::PreMultiplyRGBChannels(source.get(), target.get(), 67, 3));
    EXPECT_EQ(DibPixels(target.get()), DibPixels(copied.get()));
    EXPECT_EQ(DibPixels(source.get()), pixels);
}

TEST(AlphaChannelImagePremultiply, IntoAnotherDibRefusesMismatchesAndLeavesTheTarget)
{
    Dib source(MakeDib(2, 2, std::vector<DWORD>(4, Argb(128, 0, 0, 200))));
    Dib smaller(MakeDib(2, 1, std::vector<DWORD>(2, Argb(9, 9, 9, 9))));
    Dib same(MakeDib(2, 2, std::vector<DWORD>(4, Argb(9, 9, 9, 9))));
    EXPECT_FALSE(CAlphaChannelImage::PreMultiplyRGBChannels(source.get(), smaller.get(), 2, 2));
    EXPECT_FALSE(CAlphaChannelImage::PreMultiplyRGBChannels(smaller.get(), same.get(), 2, 1));
    EXPECT_FALSE(CAlphaChannelImage::PreMultiplyRGBChannels(source.get(), nullptr, 2, 2));
    EXPECT_FALSE(CAlphaChannelImage::PreMultiplyRGBChannels(nullptr, same.get(), 2, 2));
    EXPECT_FALSE(CAlphaChannelImage::PreMultiplyRGBChannels(source.get(), same.get(), 0, 2));
    EXPECT_FALSE(CAlphaChannelImage::PreMultiplyRGBChannels(source.get(), source.get(), 2, 2));
    EXPECT_EQ(DibPixels(smaller.get()), std::vector<DWORD>(2, Argb(9, 9, 9, 9)));
    EXPECT_EQ(DibPixels(same.get()), std::vector<DWORD>(4, Argb(9, 9, 9, 9)));
    EXPECT_EQ(DibPixels(source.get()), std::vector<DWORD>(4, Argb(128, 0, 0, 200)));
}

TEST_F(AlphaChannelImageTest, LoadsAPngWithItsAlpha)
{
    std::wstring path = Png(L"alpha.png", 4, 1, [](int x, int) {
        static const DWORD row[] = { Argb(0, 10, 20, 30), Argb(255, 1, 2, 3), Argb(128, 0, 0, 200), Argb(64, 255, 255, 255) };
        return row[x];
    });
    CAlphaChannelImage raw(&path[0], false);
    ASSERT_TRUE(raw.Valid());
    EXPECT_EQ(raw.GetWidth(), 4);
    EXPECT_EQ(raw.GetHeight(), 1);
    ASSERT_NE(raw.GetBitmap(), nullptr);
    std::vector<DWORD> fromGdiPlus = DibPixels(raw.GetHBitmap());
    ASSERT_EQ(fromGdiPlus.size(), 4u);
    EXPECT_EQ(fromGdiPlus[0] >> 24, 0u);
    EXPECT_EQ(fromGdiPlus[1], Argb(255, 1, 2, 3));
    EXPECT_EQ(fromGdiPlus[2] >> 24, 128u);

    // Premultiplied at load: exactly the definition applied to what GDI+ handed back (GDI+
    // already premultiplies its DIB, so the translucent pixels are darkened twice, as intended).
    CAlphaChannelImage image(&path[0], true);
    std::vector<DWORD> out = DibPixels(image.GetHBitmap());
    ASSERT_EQ(out.size(), 4u);
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(out[i], Premultiplied(fromGdiPlus[i])) << i;
    EXPECT_EQ(out[0], 0u);
    EXPECT_EQ(out[1], Argb(255, 1, 2, 3));
}

TEST_F(AlphaChannelImageTest, StaticPremultiplyEqualsPremultiplyingAtLoad)
{
    std::wstring path = Png(L"gradient.png", 37, 5, [](int x, int y) {
        return Argb(static_cast<BYTE>(x * 7), static_cast<BYTE>(y * 50), 200, static_cast<BYTE>(255 - x));
    });
    CAlphaChannelImage later(&path[0], false);
    CAlphaChannelImage atLoad(&path[0], true);
    CAlphaChannelImage::PreMultiplyRGBChannels(&later);
    EXPECT_EQ(DibPixels(later.GetHBitmap()), DibPixels(atLoad.GetHBitmap()));
}

TEST_F(AlphaChannelImageTest, LoadsJpegBmpAndGifOpaque)
{
    auto colour = [](int, int) { return Argb(255, 200, 100, 50); };
    std::wstring jpg = folder.File(L"a.jpg"), bmp = folder.File(L"a.bmp"), gif = folder.File(L"a.gif");
    ASSERT_TRUE(SaveImage(jpg, 8, 8, colour, L"image/jpeg"));
    ASSERT_TRUE(SaveImage(bmp, 8, 8, colour, L"image/bmp"));
    ASSERT_TRUE(SaveGif(gif, 8, 8, { 0, 0xC86432 }, { std::vector<BYTE>(64, 1) }, { -1 }));
    for (std::wstring* path : { &jpg, &bmp, &gif })
    {
        CAlphaChannelImage image(&(*path)[0], true);
        ASSERT_TRUE(image.Valid()) << Narrow(*path);
        EXPECT_EQ(image.GetWidth(), 8);
        std::vector<DWORD> px = DibPixels(image.GetHBitmap());
        ASSERT_FALSE(px.empty());
        DWORD p = px[9];
        EXPECT_EQ(p >> 24, 255u) << Narrow(*path);
        // JPEG is lossy: near enough; the others are exact.
        int tolerance = path == &jpg ? 6 : 0;
        EXPECT_NEAR(static_cast<int>((p >> 16) & 0xFF), 200, tolerance) << Narrow(*path);
        EXPECT_NEAR(static_cast<int>((p >> 8) & 0xFF), 100, tolerance) << Narrow(*path);
        EXPECT_NEAR(static_cast<int>(p & 0xFF), 50, tolerance) << Narrow(*path);
    }
}

TEST_F(AlphaChannelImageTest, EmptyNameReports654AndStaysInvalid)
{
    wchar_t empty[1] = { L'\0' };
    CAlphaChannelImage image(empty, true);
    EXPECT_EQ(CErrorMsg::Instance()->GetLastError(), 654);
    EXPECT_FALSE(image.Valid());
    EXPECT_EQ(image.GetWidth(), 0);
    EXPECT_EQ(image.GetBitmap(), nullptr);
    CAlphaChannelImage null(nullptr, false);
    EXPECT_EQ(CErrorMsg::Instance()->GetLastError(), 654);
    EXPECT_FALSE(null.Valid());
}

TEST_F(AlphaChannelImageTest, MissingOrUndecodableFileReports655)
{
    std::wstring missing = folder.File(L"missing.png");
    CErrorMsg::Instance()->Error(654);
    CAlphaChannelImage absent(&missing[0], true);
    EXPECT_EQ(CErrorMsg::Instance()->GetLastError(), 655);
    EXPECT_FALSE(absent.Valid());

    std::wstring garbage = folder.File(L"garbage.png");
    ASSERT_TRUE(WriteFileBytes(garbage, std::string(100, 'x')));
    CErrorMsg::Instance()->Error(654);
    CAlphaChannelImage bad(&garbage[0], true);
    EXPECT_EQ(CErrorMsg::Instance()->GetLastError(), 655);
    EXPECT_FALSE(bad.Valid());
    EXPECT_EQ(bad.GetBitmap(), nullptr);
    EXPECT_EQ(bad.GetHBitmap(), nullptr);
    EXPECT_EQ(bad.GetHeight(), 0);
    // Everything still accepts the invalid object.
    Surface surface(4, 4, 0x123456);
    bad.Paint(surface.Dc(), 0, 0);
    EXPECT_EQ(surface.At(1, 1), 0x123456u);
    EXPECT_EQ(bad.GetNumFrames(), 0);
    EXPECT_EQ(bad.GetFrameDelay(0), 0);
    EXPECT_FALSE(bad.SelectFrame(0));
}

TEST_F(AlphaChannelImageTest, PaintBlendsOverTheTarget)
{
    // Left half opaque red, right half transparent.
    std::wstring path = Png(L"half.png", 8, 8, [](int x, int) { return x < 4 ? Argb(255, 255, 0, 0) : Argb(0, 0, 0, 0); });
    CAlphaChannelImage image(&path[0], true);
    Surface surface(20, 20, 0x0000FF);
    image.Paint(surface.Dc(), 2, 3);
    EXPECT_EQ(surface.At(3, 4), 0xFF0000u);   // inside the opaque half
    EXPECT_EQ(surface.At(8, 4), 0x0000FFu);   // transparent half shows the target
    EXPECT_EQ(surface.At(1, 4), 0x0000FFu);   // left of the image
    EXPECT_EQ(surface.At(3, 12), 0x0000FFu);  // below it
}

TEST_F(AlphaChannelImageTest, PaintBlendsTranslucentPixels)
{
    std::wstring path = Png(L"translucent.png", 4, 4, [](int, int) { return Argb(128, 255, 255, 255); });
    CAlphaChannelImage image(&path[0], true);
    DWORD src = DibPixels(image.GetHBitmap())[0];
    Surface surface(4, 4, 0x000000);
    image.Paint(surface.Dc(), 0, 0);
    // Over black, the result is the premultiplied colour itself.
    EXPECT_NEAR(static_cast<int>(surface.At(1, 1) & 0xFF), static_cast<int>(src & 0xFF), 1);
}

TEST_F(AlphaChannelImageTest, PaintStretchesAndCrops)
{
    std::wstring path = Png(L"quad.png", 4, 4, [](int x, int y) {
        return x < 2 ? Argb(255, 255, 0, 0) : (y < 2 ? Argb(255, 0, 255, 0) : Argb(255, 255, 255, 0));
    });
    CAlphaChannelImage image(&path[0], true);
    Surface surface(20, 20, 0x000000);
    image.Paint(surface.Dc(), 0, 0, 16, 16, 0, 0, 4, 4);  // four times the size
    EXPECT_EQ(surface.At(2, 2), 0xFF0000u);
    EXPECT_EQ(surface.At(12, 2), 0x00FF00u);
    EXPECT_EQ(surface.At(12, 12), 0xFFFF00u);
    EXPECT_EQ(surface.At(17, 17), 0x000000u);

    Surface crop(10, 10, 0x000000);
    image.Paint(crop.Dc(), 5, 5, 2, 2, 2, 2);  // the yellow quarter only
    EXPECT_EQ(crop.At(5, 5), 0xFFFF00u);
    EXPECT_EQ(crop.At(6, 6), 0xFFFF00u);
    EXPECT_EQ(crop.At(7, 7), 0x000000u);
    EXPECT_EQ(crop.At(4, 4), 0x000000u);
}

TEST_F(AlphaChannelImageTest, PaintWithZeroOrNegativeSizesDrawsNothing)
{
    std::wstring path = Png(L"red.png", 4, 4, [](int, int) { return Argb(255, 255, 0, 0); });
    CAlphaChannelImage image(&path[0], true);
    Surface surface(8, 8, 0x0000FF);
    image.Paint(surface.Dc(), 0, 0, 0, 0, 0, 0);
    image.Paint(surface.Dc(), 0, 0, 4, 4, 0, 0, 0, 4);
    image.Paint(surface.Dc(), 0, 0, 4, 4, 0, 0, 4, -1);
    image.Paint(surface.Dc(), 0, 0, -4, 4, 0, 0, 4, 4);
    image.Paint(surface.Dc(), 0, 0, 4, 0, 0, 0, 4, 4);
    image.Paint(nullptr, 0, 0);
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x)
            ASSERT_EQ(surface.At(x, y), 0x0000FFu) << x << "," << y;
}

TEST_F(AlphaChannelImageTest, StillImageHasNoFrames)
{
    std::wstring path = Png(L"still.png", 4, 4, [](int, int) { return Argb(255, 1, 2, 3); });
    CAlphaChannelImage image(&path[0], true);
    EXPECT_EQ(image.GetNumFrames(), 0);
    EXPECT_EQ(image.GetNumFrames(), 0);  // asked again: a zero count is not cached
    EXPECT_EQ(image.GetFrameDelay(0), 0);
    EXPECT_FALSE(image.SelectFrame(0));
}

TEST_F(AlphaChannelImageTest, AnimatedGifFramesAndDelays)
{
    std::wstring path = AnimatedGif(L"anim.gif", { 10, 20, 30 });
    CAlphaChannelImage image(&path[0], true);
    ASSERT_TRUE(image.Valid());
    EXPECT_EQ(image.GetNumFrames(), 3);
    EXPECT_EQ(image.GetFrameDelay(0), 100);
    EXPECT_EQ(image.GetFrameDelay(1), 200);
    EXPECT_EQ(image.GetFrameDelay(2), 300);
    EXPECT_EQ(image.GetFrameDelay(3), 0);
    EXPECT_EQ(image.GetFrameDelay(-1), 0);
}

TEST_F(AlphaChannelImageTest, SelectFrameChangesTheBitmapAndReturnsFalse)
{
    std::wstring path = AnimatedGif(L"select.gif", { 10, 20, 30 });
    CAlphaChannelImage image(&path[0], true);
    ASSERT_EQ(image.GetNumFrames(), 3);
    EXPECT_FALSE(image.SelectFrame(1));  // kept: false even though the frame was selected
    Gdiplus::Color colour;
    ASSERT_EQ(image.GetBitmap()->GetPixel(1, 1, &colour), Gdiplus::Ok);
    EXPECT_EQ(colour.GetValue() & 0xFFFFFF, 0x00FF00u);
    EXPECT_FALSE(image.SelectFrame(2));
    image.GetBitmap()->GetPixel(1, 1, &colour);
    EXPECT_EQ(colour.GetValue() & 0xFFFFFF, 0x0000FFu);
    EXPECT_FALSE(image.SelectFrame(3));  // out of range: nothing changes
    image.GetBitmap()->GetPixel(1, 1, &colour);
    EXPECT_EQ(colour.GetValue() & 0xFFFFFF, 0x0000FFu);
    // The DIB keeps the frame of load time.
    EXPECT_EQ(DibPixels(image.GetHBitmap())[5] & 0xFFFFFF, 0xFF0000u);
}

TEST_F(AlphaChannelImageTest, ChangeCountMovesWithEveryFrameSelectionAndIsNeverShared)
{
    std::wstring gif = AnimatedGif(L"count.gif", { 10, 20, 30 });
    std::wstring png = Png(L"count.png", 2, 2, [](int, int) { return Argb(255, 1, 2, 3); });
    CAlphaChannelImage animated(&gif[0], true);
    CAlphaChannelImage still(&png[0], true);
    CAlphaChannelImage invalid(nullptr, true);
    const unsigned long long first = animated.GetChangeCount();
    EXPECT_NE(first, still.GetChangeCount());
    EXPECT_NE(first, invalid.GetChangeCount());
    EXPECT_EQ(first, animated.GetChangeCount());  // reading it changes nothing

    animated.SelectFrame(1);
    const unsigned long long second = animated.GetChangeCount();
    EXPECT_NE(second, first);
    animated.SelectFrame(1);  // the same frame again: counted too, the bitmap was asked to change
    EXPECT_NE(animated.GetChangeCount(), second);
    const unsigned long long third = animated.GetChangeCount();
    animated.SelectFrame(3);  // out of range: nothing selected, nothing changed
    EXPECT_EQ(animated.GetChangeCount(), third);

    const unsigned long long stillCount = still.GetChangeCount();
    still.SelectFrame(0);  // no frames
    EXPECT_EQ(still.GetChangeCount(), stillCount);
    still.BitmapChanged();
    EXPECT_NE(still.GetChangeCount(), stillCount);

    // An image made later never repeats a count an earlier one had.
    CAlphaChannelImage later(&png[0], true);
    for (unsigned long long seen : { first, second, third, stillCount, still.GetChangeCount(), animated.GetChangeCount() })
        EXPECT_NE(later.GetChangeCount(), seen);
}

TEST_F(AlphaChannelImageTest, FramesWithoutDelayBlocksHaveZeroDelays)
{
    // GDI+ gives every animated GIF a delay property, with zeros where the file has none.
    std::wstring path = AnimatedGif(L"nodelay.gif", { -1, -1, -1 });
    CAlphaChannelImage image(&path[0], true);
    ASSERT_TRUE(image.Valid());
    for (int frame = 0; frame < 3; ++frame)
        EXPECT_EQ(image.GetFrameDelay(frame), 0) << frame;
}

TEST_F(AlphaChannelImageTest, Dimensions)
{
    std::wstring path = Png(L"size.png", 13, 7, [](int, int) { return Argb(255, 0, 0, 0); });
    int w = -1, h = -1;
    EXPECT_TRUE(CAlphaChannelImage::GetImageDimensions(&path[0], w, h));
    EXPECT_EQ(w, 13);
    EXPECT_EQ(h, 7);
    std::wstring missing = folder.File(L"none.png");
    EXPECT_FALSE(CAlphaChannelImage::GetImageDimensions(&missing[0], w, h));
    EXPECT_EQ(w, 0);
    EXPECT_EQ(h, 0);
    std::wstring garbage = folder.File(L"garbage.bmp");
    ASSERT_TRUE(WriteFileBytes(garbage, "BM not really"));
    EXPECT_FALSE(CAlphaChannelImage::GetImageDimensions(&garbage[0], w, h));

    Dib dib(MakeDib(5, 3, std::vector<DWORD>(15, 0)));
    EXPECT_TRUE(CAlphaChannelImage::GetHBitmapDimensions(dib.get(), w, h));
    EXPECT_EQ(w, 5);
    EXPECT_EQ(h, 3);
    EXPECT_FALSE(CAlphaChannelImage::GetHBitmapDimensions(nullptr, w, h));
    EXPECT_EQ(w, 0);
    EXPECT_EQ(h, 0);
}
