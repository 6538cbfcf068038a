#pragma once
// Image files made by the tests themselves: any format GDI+ can encode, from a pixel function,
// and GIF89a files (still or animated) written byte by byte, because Wine's GDI+ GIF encoder
// writes no image data and cannot add frames.
#include <windows.h>
#include <functional>
#include <string>
#include <vector>

namespace veskon_test
{
inline DWORD Argb(BYTE a, BYTE r, BYTE g, BYTE b)
{
    return (static_cast<DWORD>(a) << 24) | (static_cast<DWORD>(r) << 16) | (static_cast<DWORD>(g) << 8) | b;
}

// Encodes a width x height 32-bit ARGB image with the GDI+ encoder of `mime` ("image/png",
// "image/jpeg", "image/bmp", "image/tiff").
bool SaveImage(const std::wstring& path, int width, int height, const std::function<DWORD(int x, int y)>& argb,
               const wchar_t* mime);
// A PNG of one colour.
bool SaveSolidPng(const std::wstring& path, int width, int height, DWORD argb);

// A GIF89a of palette-indexed frames (each width * height indexes into `palette`, RGB values),
// with one delay per frame in hundredths of a second; a negative delay leaves out the frame's
// graphic control block (no delay at all). More than one frame makes it loop forever.
bool SaveGif(const std::wstring& path, int width, int height, const std::vector<DWORD>& palette,
             const std::vector<std::vector<BYTE>>& frames, const std::vector<int>& delays);

// 32-bit top-down DIB section with the given B, G, R, A bytes; the caller deletes it.
HBITMAP MakeDib(int width, int height, const std::vector<DWORD>& pixels);
// The DIB's pixels (B, G, R, A in each DWORD's bytes from low to high).
std::vector<DWORD> DibPixels(HBITMAP dib);
}
