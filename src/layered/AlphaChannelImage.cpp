#include "layered/AlphaChannelImage.h"
#include <algorithm>
using std::max;
using std::min;
#include <gdiplus.h>
#include <emmintrin.h>
#include <memory>
#include "files/FileIO.h"
#include "frame/ErrorMsg.h"
#include "frame/MemoryManager.h"

namespace
{
const int kErrorNoFileName = 654;
const int kErrorCannotLoad = 655;

// GDI+'s FrameDimensionTime, spelled out so that no GUID definition from a system library is needed.
const GUID kFrameDimensionTime = { 0x6aedbd6d, 0x3fb5, 0x418a, { 0x83, 0xa6, 0x7f, 0x45, 0x22, 0x9d, 0xc8, 0x72 } };

struct GdiObjectDeleter
{
    void operator()(HBITMAP h) const { DeleteObject(h); }
};
struct DcDeleter
{
    void operator()(HDC h) const { DeleteDC(h); }
};
struct CMemoryDeleter
{
    void operator()(void* p) const { CMemoryManager::Free(p); }
};

// v * a / 255 truncated, for v, a in 0..255: exact over the whole range (checked exhaustively by
// the tests), and free of a division.
inline BYTE Scale(unsigned v, unsigned a)
{
    unsigned x = v * a;
    return static_cast<BYTE>((x * 0x8081u) >> 23);
}

void PreMultiplyScalar(BYTE* p, size_t pixels)
{
    for (size_t i = 0; i < pixels; ++i, p += 4)
    {
        unsigned a = p[3];
        if (a == 255)
            continue;
        p[0] = Scale(p[0], a);
        p[1] = Scale(p[1], a);
        p[2] = Scale(p[2], a);
    }
}

// Four pixels at a time in 16-bit lanes: the alpha lane is multiplied by 255 so that it comes out
// unchanged, and x / 255 is (x * 0x8081) >> 23, exact for every x up to 255 * 255.
#if defined(__i386__)
__attribute__((target("sse2")))
#endif
void PreMultiplySse2(BYTE* p, size_t pixels)
{
    const __m128i zero = _mm_setzero_si128();
    const __m128i alphaLane = _mm_set_epi16(255, 0, 0, 0, 255, 0, 0, 0);
    const __m128i colourLanes = _mm_set_epi16(0, -1, -1, -1, 0, -1, -1, -1);
    const __m128i magic = _mm_set1_epi16(static_cast<short>(0x8081));
    size_t blocks = pixels / 4;
    for (size_t i = 0; i < blocks; ++i, p += 16)
    {
        __m128i px = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        __m128i lo = _mm_unpacklo_epi8(px, zero);
        __m128i hi = _mm_unpackhi_epi8(px, zero);
        __m128i alo = _mm_shufflehi_epi16(_mm_shufflelo_epi16(lo, 0xFF), 0xFF);
        __m128i ahi = _mm_shufflehi_epi16(_mm_shufflelo_epi16(hi, 0xFF), 0xFF);
        alo = _mm_or_si128(_mm_and_si128(alo, colourLanes), alphaLane);
        ahi = _mm_or_si128(_mm_and_si128(ahi, colourLanes), alphaLane);
        lo = _mm_srli_epi16(_mm_mulhi_epu16(_mm_mullo_epi16(lo, alo), magic), 7);
        hi = _mm_srli_epi16(_mm_mulhi_epu16(_mm_mullo_epi16(hi, ahi), magic), 7);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(p), _mm_packus_epi16(lo, hi));
    }
    PreMultiplyScalar(p, pixels % 4);
}

bool HasSse2()
{
#if defined(__x86_64__)
    return true;
#else
    static const bool present = IsProcessorFeaturePresent(PF_XMMI64_INSTRUCTIONS_AVAILABLE) != FALSE;
    return present;
#endif
}

// Decodes a file into a GDI+ bitmap; null when GDI+ cannot read it.
Gdiplus::Bitmap* LoadBitmap(wchar_t* fileName)
{
    Gdiplus::Bitmap* bitmap = new Gdiplus::Bitmap(fileName, FALSE);  // GDI+'s allocator: null, no throw
    if (bitmap && bitmap->GetLastStatus() != Gdiplus::Ok)
    {
        delete bitmap;
        bitmap = nullptr;
    }
    return bitmap;
}

// The bitmap as a 32-bit DIB on a transparent background, so that the file's alpha is kept.
HBITMAP MakeDib(Gdiplus::Bitmap* bitmap)
{
    HBITMAP dib = nullptr;
    if (bitmap->GetHBITMAP(Gdiplus::Color(0), &dib) != Gdiplus::Ok)
    {
        if (dib)
            DeleteObject(dib);
        return nullptr;
    }
    return dib;
}
}

CAlphaChannelImage::CAlphaChannelImage(wchar_t* fileName, bool preMultiply)
    : m_bitmap(nullptr), m_hbitmap(nullptr), m_header(), m_fileName(), m_width(0), m_height(0), m_frameCount(0),
      m_frameDelays(nullptr)
{
    if (!fileName || !*fileName)
    {
        CErrorMsg::Instance()->Error(kErrorNoFileName);
        return;
    }
    wcsncpy_s(m_fileName, MAX_PATH, fileName, _TRUNCATE);
    if (!CFileIO::FileExists(fileName))
    {
        CErrorMsg::Instance()->Error(kErrorCannotLoad);
        return;
    }
    m_bitmap = LoadBitmap(fileName);
    if (!m_bitmap)
    {
        CErrorMsg::Instance()->Error(kErrorCannotLoad);
        return;
    }
    m_hbitmap = MakeDib(m_bitmap);
    if (!m_hbitmap)
        return;
    GetObjectW(m_hbitmap, sizeof(m_header), &m_header);
    GetHBitmapDimensions(m_hbitmap, m_width, m_height);
    if (preMultiply)
        PreMultiplyRGBChannels(m_hbitmap, m_width, m_height);
}

CAlphaChannelImage::~CAlphaChannelImage() noexcept
{
    if (m_hbitmap)
    {
        DeleteObject(m_hbitmap);
        m_hbitmap = nullptr;
    }
    if (m_bitmap)
    {
        delete m_bitmap;
        m_bitmap = nullptr;
    }
    if (m_frameDelays)
    {
        CMemoryManager::Free(m_frameDelays);
        m_frameDelays = nullptr;
    }
}

bool CAlphaChannelImage::Valid()
{
    return m_hbitmap != nullptr;
}

Gdiplus::Bitmap* CAlphaChannelImage::GetBitmap()
{
    return m_bitmap;
}

HBITMAP CAlphaChannelImage::GetHBitmap()
{
    return m_hbitmap;
}

int CAlphaChannelImage::GetWidth()
{
    return m_width;
}

int CAlphaChannelImage::GetHeight()
{
    return m_height;
}

void CAlphaChannelImage::Paint(HDC hdc, int xDest, int yDest, int wDest, int hDest, int xSrc, int ySrc, int wSrc,
                               int hSrc)
{
    if (!hdc || wDest <= 0 || hDest <= 0 || wSrc < 1 || hSrc < 1 || !m_hbitmap)
        return;
    std::unique_ptr<HDC__, DcDeleter> memory(CreateCompatibleDC(hdc));
    if (!memory)
        return;
    HGDIOBJ old = SelectObject(memory.get(), m_hbitmap);
    SetStretchBltMode(hdc, COLORONCOLOR);
    SetStretchBltMode(memory.get(), COLORONCOLOR);
    BLENDFUNCTION blend = { AC_SRC_OVER, 0, 255, AC_SRC_ALPHA };
    AlphaBlend(hdc, xDest, yDest, wDest, hDest, memory.get(), xSrc, ySrc, wSrc, hSrc, blend);
    SelectObject(memory.get(), old);
}

void CAlphaChannelImage::Paint(HDC hdc, int xDest, int yDest, int xSrc, int ySrc, int width, int height)
{
    Paint(hdc, xDest, yDest, width, height, xSrc, ySrc, width, height);
}

void CAlphaChannelImage::Paint(HDC hdc, int x, int y)
{
    Paint(hdc, x, y, 0, 0, m_width, m_height);
}

int CAlphaChannelImage::GetNumFrames()
{
    if (!m_bitmap)
        return 0;
    if (m_frameCount > 0)
        return m_frameCount;
    UINT dimensions = m_bitmap->GetFrameDimensionsCount();
    if (dimensions == 0)
        return 0;
    std::unique_ptr<void, CMemoryDeleter> guids(CMemoryManager::Alloc(static_cast<__int64>(dimensions) * sizeof(GUID)));
    if (!guids)
        return 0;
    GUID* list = static_cast<GUID*>(guids.get());
    int count = 0;
    if (m_bitmap->GetFrameDimensionsList(list, dimensions) == Gdiplus::Ok)
        count = static_cast<int>(m_bitmap->GetFrameCount(&list[0]));
    if (count > 0)
    {
        UINT size = m_bitmap->GetPropertyItemSize(PropertyTagFrameDelay);
        if (size >= 1 && !m_frameDelays)
        {
            auto* block = static_cast<Gdiplus::PropertyItem*>(CMemoryManager::Alloc(size));
            if (block && m_bitmap->GetPropertyItem(PropertyTagFrameDelay, size, block) == Gdiplus::Ok)
                m_frameDelays = block;
            else
                CMemoryManager::Free(block);
        }
        if (!m_frameDelays)
            count = 0;  // frames without delays do not count as an animation
    }
    m_frameCount = count;
    return count;
}

int CAlphaChannelImage::GetFrameDelay(int frame)
{
    if (!m_bitmap)
        return 0;
    int count = GetNumFrames();
    if (count < 1 || frame < 0 || frame >= count || !m_frameDelays || !m_frameDelays->value)
        return 0;
    // A file may carry fewer delays than frames; never read past the property's value.
    if (static_cast<ULONG>(frame) >= m_frameDelays->length / sizeof(UINT))
        return 0;
    UINT hundredths = static_cast<const UINT*>(m_frameDelays->value)[frame];
    return static_cast<int>(hundredths * 10);
}

bool CAlphaChannelImage::SelectFrame(int frame)
{
    if (!m_bitmap)
        return false;
    int count = GetNumFrames();
    if (count >= 1 && frame >= 0 && frame < count)
        m_bitmap->SelectActiveFrame(&kFrameDimensionTime, static_cast<UINT>(frame));
    return false;  // intended: the result never says whether the frame changed
}

void CAlphaChannelImage::PreMultiplyRGBChannels(HBITMAP hbitmap, int width, int height)
{
    if (!hbitmap || width < 1 || height < 1)
        return;
    BITMAP header = {};
    if (!GetObjectW(hbitmap, sizeof(header), &header) || !header.bmBits || header.bmBitsPixel != 32)
        return;
    // Rows are width * 4 bytes as the caller says; but never touch more than the DIB holds.
    unsigned long long available = static_cast<unsigned long long>(header.bmWidthBytes) *
                                   static_cast<unsigned long long>(header.bmHeight < 0 ? -header.bmHeight : header.bmHeight) / 4;
    unsigned long long pixels = static_cast<unsigned long long>(width) * static_cast<unsigned long long>(height);
    if (pixels > available)
        pixels = available;
    BYTE* bits = static_cast<BYTE*>(header.bmBits);
    if (HasSse2())
        PreMultiplySse2(bits, static_cast<size_t>(pixels));
    else
        PreMultiplyScalar(bits, static_cast<size_t>(pixels));
}

void CAlphaChannelImage::PreMultiplyRGBChannels(CAlphaChannelImage* image)
{
    if (image)
        PreMultiplyRGBChannels(image->m_hbitmap, image->m_width, image->m_height);
}

bool CAlphaChannelImage::GetImageDimensions(wchar_t* fileName, int& width, int& height)
{
    width = 0;
    height = 0;
    if (!CFileIO::FileExists(fileName))
        return false;
    std::unique_ptr<Gdiplus::Bitmap> bitmap(LoadBitmap(fileName));
    if (!bitmap)
        return false;
    std::unique_ptr<HBITMAP__, GdiObjectDeleter> dib(MakeDib(bitmap.get()));
    return GetHBitmapDimensions(dib.get(), width, height);
}

bool CAlphaChannelImage::GetHBitmapDimensions(HBITMAP hbitmap, int& width, int& height)
{
    width = 0;
    height = 0;
    if (!hbitmap)
        return false;
    BITMAP header = {};
    if (!GetObjectW(hbitmap, sizeof(header), &header))
        return false;
    width = header.bmWidth;
    height = header.bmHeight;
    return width > 0 && height > 0;
}
