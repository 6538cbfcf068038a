#include <algorithm>
using std::max;
using std::min;
#include <windows.h>
#include <gdiplus.h>
#include <gtest/gtest.h>
#include <cstring>
#include <memory>
#include <utility>
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

    ScratchFolder folder;
};
}

TEST(AlphaChannelImagePremultiply, MatchesTheDefinitionForEveryColourAndAlphaOnEveryPath)
{
    // Every (value, alpha) pair in every colour byte. Calls of 3 pixels go through the scalar
    // code only, of 4 through the narrow vector step, of 8 through the wide one (where the CPU
    // has it), and of 15 through all three one after the other.
    std::vector<DWORD> pixels;
    for (unsigned a = 0; a < 256; ++a)
        for (unsigned v = 0; v < 256; ++v)
            pixels.push_back((a << 24) | (((v + 85) & 0xFF) << 16) | (((v + 170) & 0xFF) << 8) | v);
    Dib dib(MakeDib(15, 1, std::vector<DWORD>(15, 0)));
    BITMAP header = {};
    ASSERT_TRUE(GetObjectW(dib.get(), sizeof(header), &header));
    DWORD* bits = static_cast<DWORD*>(header.bmBits);
    for (size_t width : { 3, 4, 8, 15 })
    {
        size_t wrong = 0;
        for (size_t i = 0; i < pixels.size(); i += width)
        {
            size_t n = std::min(width, pixels.size() - i);
            memcpy(bits, &pixels[i], n * sizeof(DWORD));
            CAlphaChannelImage::PreMultiplyRGBChannels(dib.get(), static_cast<int>(n), 1);
            for (size_t k = 0; k < n; ++k)
                wrong += bits[k] != Premultiplied(pixels[i + k]);
        }
        EXPECT_EQ(wrong, 0u) << "pixels per call: " << width;
    }
}

TEST(AlphaChannelImagePremultiply, KnownPixelsAndTheCallersSizes)
{
    const DWORD half = Argb(128, 0, 0, 200);
    Dib dib(MakeDib(4, 2, { Argb(0, 10, 20, 30), Argb(255, 1, 2, 3), half, half, half, half, half, half }));
    CAlphaChannelImage::PreMultiplyRGBChannels(dib.get(), 0, 1);
    CAlphaChannelImage::PreMultiplyRGBChannels(dib.get(), 1, -1);
    CAlphaChannelImage::PreMultiplyRGBChannels(nullptr, 1, 1);
    CAlphaChannelImage::PreMultiplyRGBChannels(static_cast<CAlphaChannelImage*>(nullptr));
    EXPECT_EQ(DibPixels(dib.get())[2], half) << "null handles and empty sizes change nothing";

    // Rows are the caller's width: 3 x 2 of a 4 x 2 DIB are the first six pixels in memory.
    CAlphaChannelImage::PreMultiplyRGBChannels(dib.get(), 3, 2);
    std::vector<DWORD> out = DibPixels(dib.get());
    EXPECT_EQ(out[0], 0u) << "A = 0 gives transparent black";
    EXPECT_EQ(out[1], Argb(255, 1, 2, 3)) << "A = 255 is unchanged";
    EXPECT_EQ(out[2], Argb(128, 0, 0, 100)) << "200 * 128 / 255 = 100.39, truncated";
    EXPECT_EQ(out[5], Argb(128, 0, 0, 100));
    EXPECT_EQ(out[6], half);

    CAlphaChannelImage::PreMultiplyRGBChannels(dib.get(), 5000, 5000);  // bounded by the bitmap
    out = DibPixels(dib.get());
    EXPECT_EQ(out[2], Argb(128, 0, 0, 50)) << "kept: each call darkens again";
    EXPECT_EQ(out[7], Argb(128, 0, 0, 100));

    int w = -1, h = -1;
    EXPECT_TRUE(CAlphaChannelImage::GetHBitmapDimensions(dib.get(), w, h));
    EXPECT_EQ(std::make_pair(w, h), std::make_pair(4, 2));
    EXPECT_FALSE(CAlphaChannelImage::GetHBitmapDimensions(nullptr, w, h));
    EXPECT_EQ(std::make_pair(w, h), std::make_pair(0, 0));
}

TEST(AlphaChannelImagePremultiply, IntoAnotherDibEqualsCopyThenPremultiply)
{
    // 67 x 3 pixels of many alphas: the widest vector step, the narrower one and the tail all
    // write into the target, and the source stays as it was. Premultiplied as 67 x 2, the last
    // row arrives as a copy would leave it.
    std::vector<DWORD> pixels;
    for (unsigned i = 0; i < 67 * 3; ++i)
        pixels.push_back(((i * 37) & 0xFF) << 24 | ((i * 11) & 0xFF) << 16 | ((i * 5 + 3) & 0xFF) << 8 | (255 - i % 256));
    Dib source(MakeDib(67, 3, pixels));
    for (int rows : { 3, 2 })
    {
        Dib target(MakeDib(67, 3, std::vector<DWORD>(pixels.size(), Argb(1, 2, 3, 4))));
        Dib copied(MakeDib(67, 3, pixels));
        CAlphaChannelImage::PreMultiplyRGBChannels(copied.get(), 67, rows);
        EXPECT_TRUE(CAlphaChannelImage::PreMultiplyRGBChannels(source.get(), target.get(), 67, rows));
        EXPECT_EQ(DibPixels(target.get()), DibPixels(copied.get())) << rows << " rows";
        EXPECT_EQ(DibPixels(source.get()), pixels);
    }

    // Anything but two distinct 32-bit DIBs of one size is refused, and nothing is written.
    const std::vector<DWORD> nines(67 * 3, Argb(9, 9, 9, 9));
    Dib smaller(MakeDib(67, 2, nines));
    Dib same(MakeDib(67, 3, nines));
    EXPECT_FALSE(CAlphaChannelImage::PreMultiplyRGBChannels(source.get(), smaller.get(), 67, 2));
    EXPECT_FALSE(CAlphaChannelImage::PreMultiplyRGBChannels(smaller.get(), same.get(), 67, 2));
    EXPECT_FALSE(CAlphaChannelImage::PreMultiplyRGBChannels(source.get(), nullptr, 67, 3));
    EXPECT_FALSE(CAlphaChannelImage::PreMultiplyRGBChannels(nullptr, same.get(), 67, 3));
    EXPECT_FALSE(CAlphaChannelImage::PreMultiplyRGBChannels(source.get(), same.get(), 0, 3));
    EXPECT_FALSE(CAlphaChannelImage::PreMultiplyRGBChannels(source.get(), source.get(), 67, 3));
    EXPECT_EQ(DibPixels(smaller.get()), std::vector<DWORD>(nines.begin(), nines.begin() + 67 * 2));
    EXPECT_EQ(DibPixels(same.get()), nines);
    EXPECT_EQ(DibPixels(source.get()), pixels);
}

TEST_F(AlphaChannelImageTest, LoadsWithTheFilesAlpha)
{
    std::wstring path = Png(L"alpha.png", 4, 1, [](int x, int) {
        static const DWORD row[] = { Argb(0, 10, 20, 30), Argb(255, 1, 2, 3), Argb(128, 0, 0, 200), Argb(64, 255, 255, 255) };
        return row[x];
    });
    CAlphaChannelImage raw(&path[0], false);
    ASSERT_TRUE(raw.Valid());
    EXPECT_EQ(std::make_pair(raw.GetWidth(), raw.GetHeight()), std::make_pair(4, 1));
    int w = -1, h = -1;
    EXPECT_TRUE(CAlphaChannelImage::GetImageDimensions(&path[0], w, h));
    EXPECT_EQ(std::make_pair(w, h), std::make_pair(4, 1));
    ASSERT_NE(raw.GetBitmap(), nullptr);
    std::vector<DWORD> fromGdiPlus = DibPixels(raw.GetHBitmap());
    ASSERT_EQ(fromGdiPlus.size(), 4u);
    EXPECT_EQ(fromGdiPlus[0] >> 24, 0u);
    EXPECT_EQ(fromGdiPlus[1], Argb(255, 1, 2, 3));
    EXPECT_EQ(fromGdiPlus[2] >> 24, 128u);

    // Premultiplied at load: exactly the definition applied to what GDI+ handed back (GDI+
    // already premultiplies its DIB, so the translucent pixels are darkened twice, as intended),
    // and the same as premultiplying the plain load afterwards.
    CAlphaChannelImage image(&path[0], true);
    std::vector<DWORD> out = DibPixels(image.GetHBitmap());
    ASSERT_EQ(out.size(), 4u);
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(out[i], Premultiplied(fromGdiPlus[i])) << i;
    CAlphaChannelImage::PreMultiplyRGBChannels(&raw);
    EXPECT_EQ(DibPixels(raw.GetHBitmap()), out);
}

TEST_F(AlphaChannelImageTest, BadFilesReportTheirErrorAndGiveAnInertObject)
{
    wchar_t empty[1] = { L'\0' };
    for (wchar_t* name : { empty, static_cast<wchar_t*>(nullptr) })
    {
        CErrorMsg::Instance()->Error(655);
        CAlphaChannelImage image(name, true);
        EXPECT_EQ(CErrorMsg::Instance()->GetLastError(), 654);
        EXPECT_FALSE(image.Valid());
    }
    std::wstring missing = folder.File(L"missing.png"), garbage = folder.File(L"garbage.png");
    ASSERT_TRUE(WriteFileBytes(garbage, std::string(100, 'x')));
    for (std::wstring* path : { &missing, &garbage })
    {
        CErrorMsg::Instance()->Error(654);
        CAlphaChannelImage bad(&(*path)[0], true);
        EXPECT_EQ(CErrorMsg::Instance()->GetLastError(), 655) << Narrow(*path);
        EXPECT_FALSE(bad.Valid());
        EXPECT_EQ(bad.GetBitmap(), nullptr);
        EXPECT_EQ(bad.GetHBitmap(), nullptr);
        EXPECT_EQ(std::make_pair(bad.GetWidth(), bad.GetHeight()), std::make_pair(0, 0));
        Surface surface(4, 4, 0x123456);
        bad.Paint(surface.Dc(), 0, 0);
        EXPECT_EQ(surface.At(1, 1), 0x123456u);
        EXPECT_EQ(std::make_pair(bad.GetNumFrames(), bad.GetFrameDelay(0)), std::make_pair(0, 0));
        EXPECT_FALSE(bad.SelectFrame(0));
        int w = -1, h = -1;
        EXPECT_FALSE(CAlphaChannelImage::GetImageDimensions(&(*path)[0], w, h));
        EXPECT_EQ(std::make_pair(w, h), std::make_pair(0, 0));
    }
}

TEST_F(AlphaChannelImageTest, PaintBlendsStretchesAndCrops)
{
    // Left half opaque red, top right transparent, bottom right opaque yellow.
    std::wstring path = Png(L"quad.png", 4, 4, [](int x, int y) {
        return x < 2 ? Argb(255, 255, 0, 0) : (y < 2 ? Argb(0, 0, 255, 0) : Argb(255, 255, 255, 0));
    });
    CAlphaChannelImage image(&path[0], true);
    Surface same(8, 8, 0x0000FF);
    image.Paint(same.Dc(), 0, 0, 0, 0, 0, 0);
    image.Paint(same.Dc(), 0, 0, 4, 4, 0, 0, 0, 4);
    image.Paint(same.Dc(), 0, 0, 4, 4, 0, 0, 4, -1);
    image.Paint(same.Dc(), 4, 0, -4, 4, 0, 0, 4, 4);
    image.Paint(same.Dc(), 0, 0, 4, 0, 0, 0, 4, 4);
    image.Paint(nullptr, 0, 0);
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x)
            ASSERT_EQ(same.At(x, y), 0x0000FFu) << "zero or negative sizes draw nothing: " << x << "," << y;
    image.Paint(same.Dc(), 2, 3);
    EXPECT_EQ(same.At(2, 3), 0xFF0000u);
    EXPECT_EQ(same.At(4, 3), 0x0000FFu) << "the transparent part shows the target";
    EXPECT_EQ(same.At(5, 6), 0xFFFF00u);
    EXPECT_EQ(same.At(1, 3), 0x0000FFu);
    EXPECT_EQ(same.At(2, 7), 0x0000FFu);

    Surface stretched(20, 20, 0x000000);
    image.Paint(stretched.Dc(), 0, 0, 16, 16, 0, 0, 4, 4);
    EXPECT_EQ(stretched.At(2, 13), 0xFF0000u);
    EXPECT_EQ(stretched.At(12, 12), 0xFFFF00u);
    EXPECT_EQ(stretched.At(15, 15), 0xFFFF00u);
    EXPECT_EQ(stretched.At(16, 16), 0x000000u);

    Surface crop(10, 10, 0x000000);
    image.Paint(crop.Dc(), 5, 5, 2, 2, 1, 1);  // a 1 x 1 source: the yellow quarter's corner
    EXPECT_EQ(crop.At(5, 5), 0xFFFF00u);
    EXPECT_EQ(crop.At(6, 6), 0x000000u);
    EXPECT_EQ(crop.At(4, 4), 0x000000u);
}

TEST_F(AlphaChannelImageTest, FramesAndDelays)
{
    std::wstring still = Png(L"still.png", 4, 4, [](int, int) { return Argb(255, 1, 2, 3); });
    CAlphaChannelImage plain(&still[0], true);
    EXPECT_EQ(plain.GetNumFrames(), 0);
    EXPECT_EQ(plain.GetFrameDelay(0), 0);
    EXPECT_FALSE(plain.SelectFrame(0));

    // Three frames of 4x4 in red, green and blue, 10, 20 and 30 hundredths of a second.
    std::wstring path = folder.File(L"anim.gif");
    ASSERT_TRUE(SaveGif(path, 4, 4, { 0x000000, 0xFF0000, 0x00FF00, 0x0000FF },
                        { std::vector<BYTE>(16, 1), std::vector<BYTE>(16, 2), std::vector<BYTE>(16, 3) }, { 10, 20, 30 }));
    CAlphaChannelImage image(&path[0], true);
    ASSERT_EQ(image.GetNumFrames(), 3);
    EXPECT_EQ(image.GetFrameDelay(0), 100);
    EXPECT_EQ(image.GetFrameDelay(1), 200);
    EXPECT_EQ(image.GetFrameDelay(2), 300);
    EXPECT_EQ(image.GetFrameDelay(3), 0);
    EXPECT_EQ(image.GetFrameDelay(-1), 0);

    Gdiplus::Color colour;
    const unsigned long long loaded = image.GetChangeCount();
    EXPECT_NE(loaded, plain.GetChangeCount()) << "no two images share a change count";
    EXPECT_FALSE(image.SelectFrame(1)) << "kept: false even though the frame was selected";
    ASSERT_EQ(image.GetBitmap()->GetPixel(1, 1, &colour), Gdiplus::Ok);
    EXPECT_EQ(colour.GetValue() & 0xFFFFFF, 0x00FF00u);
    const unsigned long long selected = image.GetChangeCount();
    EXPECT_NE(selected, loaded) << "a selected frame moves the change count";
    EXPECT_FALSE(image.SelectFrame(2));
    EXPECT_NE(image.GetChangeCount(), selected);
    const unsigned long long last = image.GetChangeCount();
    EXPECT_FALSE(image.SelectFrame(3));  // out of range: nothing changes
    EXPECT_EQ(image.GetChangeCount(), last);
    image.GetBitmap()->GetPixel(1, 1, &colour);
    EXPECT_EQ(colour.GetValue() & 0xFFFFFF, 0x0000FFu);
    EXPECT_EQ(DibPixels(image.GetHBitmap())[5], 0xFFFF0000u) << "the DIB keeps the frame of load time, opaque";

    const unsigned long long stillCount = plain.GetChangeCount();
    plain.SelectFrame(0);  // no frames: nothing selected
    EXPECT_EQ(plain.GetChangeCount(), stillCount);
    plain.BitmapChanged();
    EXPECT_NE(plain.GetChangeCount(), stillCount);
    CAlphaChannelImage later(&still[0], true);
    for (unsigned long long seen : { loaded, selected, last, stillCount, plain.GetChangeCount() })
        EXPECT_NE(later.GetChangeCount(), seen) << "an image made later never repeats an earlier count";
}
