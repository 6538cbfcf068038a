#pragma once
// CAlphaChannelImage: an image file decoded by GDI+ and kept twice, as the GDI+ bitmap and as a
// 32-bit top-down DIB section (B, G, R, A bytes per pixel) made with a transparent background, so
// that the file's alpha survives. Premultiply the DIB (once) and draw it with Paint (AlphaBlend)
// or hand it to UpdateLayeredWindow.
//
// GDI+ must be running before an object is constructed; the host starts and stops it.
// A file that is missing, empty-named or undecodable leaves the object invalid (Valid() false,
// sizes 0, null bitmap and DIB); every operation accepts an invalid object.
//
// Note: GDI+ hands the DIB back with its colours already premultiplied by alpha, so premultiplying
// it again darkens translucent pixels a second time. That is how every window of this library
// draws its images, and the images are made for it.
#include <windows.h>
#include "Export.h"

namespace Gdiplus
{
class Bitmap;
struct PropertyItem;
}

class VESKON_API CAlphaChannelImage
{
public:
    CAlphaChannelImage(wchar_t* fileName, bool preMultiply);
    ~CAlphaChannelImage() noexcept;
    CAlphaChannelImage(const CAlphaChannelImage&) = delete;
    CAlphaChannelImage& operator=(const CAlphaChannelImage&) = delete;

    // True when the DIB exists.
    bool Valid();
    // The decoded bitmap and the DIB themselves (not copies); the object keeps owning them.
    Gdiplus::Bitmap* GetBitmap();
    HBITMAP GetHBitmap();
    int GetWidth();
    int GetHeight();

    // Alpha-blends the source rectangle of the DIB stretched onto the destination rectangle.
    // Draws nothing for a null DC, wDest or hDest <= 0, wSrc or hSrc < 1. The DIB must be
    // premultiplied for the colours to come out right.
    void Paint(HDC hdc, int xDest, int yDest, int wDest, int hDest, int xSrc, int ySrc, int wSrc, int hSrc);
    // Same size on both sides.
    void Paint(HDC hdc, int xDest, int yDest, int xSrc, int ySrc, int width, int height);
    // The whole image at (x, y).
    void Paint(HDC hdc, int x, int y);

    // Frames of an animated image along its first frame dimension; 0 when the image has none or
    // carries no frame delays. A positive count is cached.
    int GetNumFrames();
    // Delay of `frame` in milliseconds; 0 outside 0..GetNumFrames()-1.
    int GetFrameDelay(int frame);
    // Makes `frame` the GDI+ bitmap's active frame (the DIB keeps the frame of load time).
    // Always returns false, whether or not the frame was selected; callers must not rely on it.
    bool SelectFrame(int frame);

    // A number that changes whenever the GDI+ bitmap's pixels may have changed (a frame was
    // selected), and that no other image of the process shares. Whoever keeps something made from
    // GetBitmap() (a layered window keeps its background) compares it to know when to make it anew.
    unsigned long long GetChangeCount();
    // Tells the image that its GDI+ bitmap was altered through GetBitmap() (drawn into, or a frame
    // selected directly), so that what was made from it is made anew.
    void BitmapChanged();

    // Premultiplies a 32-bit DIB in place: B, G, R become value * A / 255 (truncated), A stays.
    // Rows are taken as width * 4 bytes. Not idempotent: premultiply a DIB exactly once.
    static void PreMultiplyRGBChannels(HBITMAP hbitmap, int width, int height);
    static void PreMultiplyRGBChannels(CAlphaChannelImage* image);
    // Writes the pixels of `source` premultiplied into `target`, leaving `source` as it is: the
    // same bytes as copying source over target and premultiplying target, in one pass over the
    // memory. Both must be 32-bit DIB sections of the same size in bytes; false (and nothing
    // written) otherwise.
    static bool PreMultiplyRGBChannels(HBITMAP source, HBITMAP target, int width, int height);
    // Size of an image file without keeping it; false when missing or undecodable.
    static bool GetImageDimensions(wchar_t* fileName, int& width, int& height);
    // Size of a GDI bitmap; true only when both are > 0.
    static bool GetHBitmapDimensions(HBITMAP hbitmap, int& width, int& height);

private:
    Gdiplus::Bitmap* m_bitmap;
    HBITMAP m_hbitmap;
    BITMAP m_header;
    wchar_t m_fileName[MAX_PATH];
    int m_width;
    int m_height;
    int m_frameCount;
    Gdiplus::PropertyItem* m_frameDelays;  // allocated with CMemoryManager::Alloc
    unsigned long long m_changeCount;
};
