#include <algorithm>
using std::max;
using std::min;
#include "support/TestImages.h"
#include "support/TestSupport.h"
#include "ImageFiles.h"
#include <gdiplus.h>
#include <cstring>

namespace veskon_test
{
namespace
{

void Put16(std::string& out, int value)
{
    out.push_back(static_cast<char>(value & 0xFF));
    out.push_back(static_cast<char>((value >> 8) & 0xFF));
}

// LZW data of 8-bit indexes written as literal codes only: a clear code every 200 pixels keeps
// the code width at 9 bits, which every decoder accepts. Returned as GIF sub-blocks.
std::string LzwLiterals(const std::vector<BYTE>& indexes)
{
    std::string bytes;
    unsigned long bits = 0;
    int count = 0;
    auto emit = [&](int code) {
        bits |= static_cast<unsigned long>(code) << count;
        for (count += 9; count >= 8; count -= 8, bits >>= 8)
            bytes.push_back(static_cast<char>(bits & 0xFF));
    };
    for (size_t i = 0; i < indexes.size(); ++i)
    {
        if (i % 200 == 0)
            emit(256);  // clear
        emit(indexes[i]);
    }
    emit(257);  // end of information
    if (count > 0)
        bytes.push_back(static_cast<char>(bits & 0xFF));
    std::string blocks;
    for (size_t pos = 0; pos < bytes.size(); pos += 255)
    {
        size_t n = std::min<size_t>(255, bytes.size() - pos);
        blocks += static_cast<char>(n) + bytes.substr(pos, n);
    }
    return blocks + '\0';
}
}

bool SaveImage(const std::wstring& path, int width, int height, const std::function<DWORD(int x, int y)>& argb,
               const wchar_t* mime)
{
    return veskon_common::SaveArgbImage(path, width, height, argb, mime);
}

bool SaveSolidPng(const std::wstring& path, int width, int height, DWORD argb)
{
    return SaveImage(path, width, height, [argb](int, int) { return argb; }, L"image/png");
}

bool SaveGif(const std::wstring& path, int width, int height, const std::vector<DWORD>& palette,
             const std::vector<std::vector<BYTE>>& frames, const std::vector<int>& delays)
{
    std::string gif = "GIF89a";
    Put16(gif, width);
    Put16(gif, height);
    gif += std::string("\xF7\0\0", 3);  // global table of 256 colours, 8 bits of colour resolution
    for (int i = 0; i < 256; ++i)
    {
        DWORD rgb = i < static_cast<int>(palette.size()) ? palette[static_cast<size_t>(i)] : 0;
        gif += static_cast<char>((rgb >> 16) & 0xFF);
        gif += static_cast<char>((rgb >> 8) & 0xFF);
        gif += static_cast<char>(rgb & 0xFF);
    }
    if (frames.size() > 1)
        gif += std::string("\x21\xFF\x0BNETSCAPE2.0\x03\x01\x00\x00\x00", 19);
    for (size_t f = 0; f < frames.size(); ++f)
    {
        int delay = f < delays.size() ? delays[f] : -1;
        if (delay >= 0)
        {
            gif += std::string("\x21\xF9\x04\x04", 4);  // graphic control: disposal "do not dispose"
            Put16(gif, delay);
            gif += std::string(2, '\0');
        }
        gif += '\x2C';
        Put16(gif, 0);
        Put16(gif, 0);
        Put16(gif, width);
        Put16(gif, height);
        gif += std::string("\0\x08", 2);  // no local table; LZW minimum code size 8
        gif += LzwLiterals(frames[f]);
    }
    return WriteFileBytes(path, gif + '\x3B');
}

HBITMAP MakeDib(int width, int height, const std::vector<DWORD>& pixels)
{
    void* bits = nullptr;
    HBITMAP dib = CreateTopDownDib(nullptr, width, height, &bits);
    if (dib && bits)
        memcpy(bits, pixels.data(), std::min(pixels.size(), static_cast<size_t>(width) * height) * sizeof(DWORD));
    return dib;
}

std::vector<DWORD> DibPixels(HBITMAP dib)
{
    BITMAP header = {};
    if (!dib || !GetObjectW(dib, sizeof(header), &header) || !header.bmBits || header.bmBitsPixel != 32)
        return {};
    const DWORD* bits = static_cast<const DWORD*>(header.bmBits);
    return std::vector<DWORD>(bits, bits + static_cast<size_t>(header.bmWidthBytes / 4) * header.bmHeight);
}
}
