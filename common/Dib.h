#pragma once
// Shared by the programs around the library (tests, demo, benchmarks).
#include <windows.h>

namespace veskon_common
{
// A 32-bit top-down DIB section; `bits` receives its pixels. The caller deletes it.
inline HBITMAP CreateTopDownDib(HDC dc, int width, int height, void** bits)
{
    BITMAPINFO info = {};
    info.bmiHeader.biSize = sizeof(info.bmiHeader);
    info.bmiHeader.biWidth = width;
    info.bmiHeader.biHeight = -height;
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 32;
    info.bmiHeader.biCompression = BI_RGB;
    return CreateDIBSection(dc, &info, DIB_RGB_COLORS, bits, nullptr, 0);
}
}
