#pragma once
// Shared by the programs around the library (tests, demo, benchmarks): image files written with
// the GDI+ encoders. GDI+ must have been started.
#include <algorithm>
using std::max;
using std::min;
#include <windows.h>
#include <gdiplus.h>
#include <cwchar>
#include <functional>
#include <string>
#include <vector>
#include "Dib.h"

namespace veskon_common
{
// The class id of the GDI+ encoder for `mime` ("image/png", "image/jpeg", ...).
inline bool EncoderClsid(const wchar_t* mime, CLSID* clsid)
{
    UINT count = 0, bytes = 0;
    if (Gdiplus::GetImageEncodersSize(&count, &bytes) != Gdiplus::Ok || bytes == 0)
        return false;
    std::vector<BYTE> buffer(bytes);
    auto* codecs = reinterpret_cast<Gdiplus::ImageCodecInfo*>(buffer.data());
    Gdiplus::GetImageEncoders(count, bytes, codecs);
    for (UINT i = 0; i < count; ++i)
    {
        if (wcscmp(codecs[i].MimeType, mime) == 0)
        {
            *clsid = codecs[i].Clsid;
            return true;
        }
    }
    return false;
}

// A width x height image of 32-bit ARGB pixels (not premultiplied) from a function of the
// position, written with the encoder of `mime`.
inline bool SaveArgbImage(const std::wstring& path, int width, int height, const std::function<DWORD(int x, int y)>& argb,
                          const wchar_t* mime)
{
    CLSID clsid;
    if (!EncoderClsid(mime, &clsid))
        return false;
    Gdiplus::Bitmap bitmap(width, height, PixelFormat32bppARGB);
    Gdiplus::Rect all(0, 0, width, height);
    Gdiplus::BitmapData data;
    if (bitmap.LockBits(&all, Gdiplus::ImageLockModeWrite, PixelFormat32bppARGB, &data) != Gdiplus::Ok)
        return false;
    for (int y = 0; y < height; ++y)
    {
        DWORD* row = reinterpret_cast<DWORD*>(static_cast<BYTE*>(data.Scan0) + static_cast<ptrdiff_t>(y) * data.Stride);
        for (int x = 0; x < width; ++x)
            row[x] = argb(x, y);
    }
    bitmap.UnlockBits(&data);
    return bitmap.Save(path.c_str(), &clsid, nullptr) == Gdiplus::Ok;
}

}
