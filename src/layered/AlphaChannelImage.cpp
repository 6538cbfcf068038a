#include "layered/AlphaChannelImage.h"
#include "frame/ZintorResIds.h"
#include <algorithm>
#include <atomic>
using std::max;
using std::min;
#include <gdiplus.h>
#include <cstring>
#include <memory>
#include "files/FileIO.h"
#include "frame/ErrorMsg.h"
#include "frame/MemoryManager.h"

namespace
{

// GDI+'s FrameDimensionTime, spelled out so that no GUID definition from a system library is needed.
const GUID kFrameDimensionTime = { 0x6aedbd6d, 0x3fb5, 0x418a, { 0x83, 0xa6, 0x7f, 0x45, 0x22, 0x9d, 0xc8, 0x72 } };

// Change counts are handed out process-wide, so that an image made where another one was freed
// never repeats a count that a keeper of the old image remembers.
std::atomic<unsigned long long> s_lastChangeCount(0);

unsigned long long NextChangeCount()
{
    return ++s_lastChangeCount;
}

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

// Premultiplication, bit-exact with the definition (B = B * A / 255 truncated, and so for G, R; A
// kept), fast because every layered-window composition runs it over a whole window.
//
// x / 255 for x = v * a <= 255 * 255 is exactly (x + 1 + (x >> 8)) >> 8 (checked over the whole
// range by the tests). The vector kernel works in 16-bit lanes on the even bytes (B, R) and the
// odd bytes (G, A) of each pixel, so that nothing crosses a 32-bit lane: the same code serves
// SSE2 (4 pixels per step) and AVX2 (8 pixels per step).
inline unsigned Div255(unsigned x)
{
    return (x + 1 + (x >> 8)) >> 8;
}

// Every kernel reads `from` and writes `to`, which may be the same memory (in place).
void PreMultiplyScalar(const BYTE* from, BYTE* to, size_t pixels)
{
    for (size_t i = 0; i < pixels; ++i, from += 4, to += 4)
    {
        unsigned a = from[3];
        to[0] = static_cast<BYTE>(Div255(from[0] * a));
        to[1] = static_cast<BYTE>(Div255(from[1] * a));
        to[2] = static_cast<BYTE>(Div255(from[2] * a));
        to[3] = static_cast<BYTE>(a);
    }
}

typedef unsigned int U32x4 __attribute__((vector_size(16)));
typedef unsigned short U16x8 __attribute__((vector_size(16)));
typedef unsigned int U32x8 __attribute__((vector_size(32)));
typedef unsigned short U16x16 __attribute__((vector_size(32)));

// Premultiplies whole vectors of pixels; returns how many pixels it did.
template <typename V32, typename V16>
inline __attribute__((always_inline)) size_t PreMultiplyVectors(const BYTE* from, BYTE* to, size_t pixels)
{
    const size_t step = sizeof(V32) / 4;
    size_t blocks = pixels / step;
    for (size_t i = 0; i < blocks; ++i, from += sizeof(V32), to += sizeof(V32))
    {
        V32 px;
        memcpy(&px, from, sizeof(px));
        V32 a = px >> 24;
        V16 alpha = reinterpret_cast<V16>(a | (a << 16));          // A in every 16-bit lane
        V16 br = reinterpret_cast<V16>(px & 0x00FF00FFu) * alpha;  // B * A, R * A
        V16 ga = (reinterpret_cast<V16>(px) >> 8) * alpha;         // G * A, A * A (dropped below)
        br = (br + 1 + (br >> 8)) >> 8;                            // Div255 in every lane
        ga = (ga + 1 + (ga >> 8)) >> 8;
        V32 out = reinterpret_cast<V32>(br) | ((reinterpret_cast<V32>(ga) & 0xFFFFu) << 8) | (px & 0xFF000000u);
        memcpy(to, &out, sizeof(out));
    }
    return blocks * step;
}

#if defined(__i386__)
__attribute__((target("sse2")))
#endif
size_t PreMultiplySse2(const BYTE* from, BYTE* to, size_t pixels)
{
    return PreMultiplyVectors<U32x4, U16x8>(from, to, pixels);
}

__attribute__((target("avx2"))) size_t PreMultiplyAvx2(const BYTE* from, BYTE* to, size_t pixels)
{
    return PreMultiplyVectors<U32x8, U16x16>(from, to, pixels);
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

bool HasAvx2()
{
    // The run-time's check also asks whether the system saves the AVX registers.
    static const bool present = [] {
        __builtin_cpu_init();
        return __builtin_cpu_supports("avx2") != 0;
    }();
    return present;
}

void PreMultiplyPixels(const BYTE* from, BYTE* to, size_t pixels)
{
    size_t done = 0;
    if (HasAvx2())
        done = PreMultiplyAvx2(from, to, pixels);
    if (HasSse2())
        done += PreMultiplySse2(from + done * 4, to + done * 4, pixels - done);
    PreMultiplyScalar(from + done * 4, to + done * 4, pixels - done);
}

// The pixels of a 32-bit DIB section: its bits, its size in bytes, and how many pixels of
// width x height (rows of width * 4 bytes, as the callers say) it holds; false for anything else.
bool DibPixels(HBITMAP hbitmap, int width, int height, BYTE*& bits, size_t& bytes, size_t& pixels)
{
    if (!hbitmap || width < 1 || height < 1)
        return false;
    BITMAP header = {};
    if (!GetObjectW(hbitmap, sizeof(header), &header) || !header.bmBits || header.bmBitsPixel != 32)
        return false;
    const unsigned long long rows = static_cast<unsigned long long>(header.bmHeight < 0 ? -header.bmHeight : header.bmHeight);
    const unsigned long long size = static_cast<unsigned long long>(header.bmWidthBytes) * rows;
    // Rows are width * 4 bytes as the caller says; but never touch more than the DIB holds.
    unsigned long long wanted = static_cast<unsigned long long>(width) * static_cast<unsigned long long>(height);
    if (wanted > size / 4)
        wanted = size / 4;
    bits = static_cast<BYTE*>(header.bmBits);
    bytes = static_cast<size_t>(size);
    pixels = static_cast<size_t>(wanted);
    return true;
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
      m_frameDelays(nullptr), m_changeCount(NextChangeCount())
{
    if (!fileName || !*fileName)
    {
        CErrorMsg::Instance()->Error(IDS_IMAGE_NO_FILENAME);
        return;
    }
    wcsncpy_s(m_fileName, MAX_PATH, fileName, _TRUNCATE);
    if (!CFileIO::FileExists(fileName))
    {
        CErrorMsg::Instance()->Error(IDS_IMAGE_NOT_LOADED);
        return;
    }
    m_bitmap = LoadBitmap(fileName);
    if (!m_bitmap)
    {
        CErrorMsg::Instance()->Error(IDS_IMAGE_NOT_LOADED);
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
    {
        m_bitmap->SelectActiveFrame(&kFrameDimensionTime, static_cast<UINT>(frame));
        BitmapChanged();
    }
    return false;  // intended: the result never says whether the frame changed
}

unsigned long long CAlphaChannelImage::GetChangeCount()
{
    return m_changeCount;
}

void CAlphaChannelImage::BitmapChanged()
{
    m_changeCount = NextChangeCount();
}

void CAlphaChannelImage::PreMultiplyRGBChannels(HBITMAP hbitmap, int width, int height)
{
    BYTE* bits = nullptr;
    size_t bytes = 0, pixels = 0;
    if (DibPixels(hbitmap, width, height, bits, bytes, pixels))
        PreMultiplyPixels(bits, bits, pixels);
}

bool CAlphaChannelImage::PreMultiplyRGBChannels(HBITMAP source, HBITMAP target, int width, int height)
{
    BYTE* from = nullptr;
    BYTE* to = nullptr;
    size_t fromBytes = 0, toBytes = 0, pixels = 0, toPixels = 0;
    if (!DibPixels(source, width, height, from, fromBytes, pixels) ||
        !DibPixels(target, width, height, to, toBytes, toPixels) || fromBytes != toBytes || from == to)
        return false;
    PreMultiplyPixels(from, to, pixels);
    // Bytes past the premultiplied pixels are copied as they are, as a plain copy would have.
    memcpy(to + pixels * 4, from + pixels * 4, fromBytes - pixels * 4);
    return true;
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
