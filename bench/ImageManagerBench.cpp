// CImageManager::Add of a cached name with 10 and with 10,000 entries in the manager (caching on).
// Target: the same cost within 2x. Needs 10,000 image files: tiny PNGs copied from one.
#include <algorithm>
using std::max;
using std::min;
#include <windows.h>
#include <gdiplus.h>
#include <cstdio>
#include <string>
#include <vector>
#include "BenchSupport.h"
#include "ImageFiles.h"
#include "VeskonWin32GUISupportDLL.h"

namespace
{
// A 2 x 2 PNG with one translucent pixel.
bool SavePng(const std::wstring& path)
{
    return veskon_common::SaveArgbImage(path, 2, 2, [](int x, int y) -> DWORD {
        return (x == 0 && y == 0) ? Gdiplus::Color::MakeARGB(128, 200, 100, 50) : 0;
    }, L"image/png");
}

// 100 files per sub-folder: Wine looks names up in a folder by scanning it, so one folder of
// 10,000 files would make the set-up quadratic.
std::wstring SubFolder(const std::wstring& folder, int i)
{
    wchar_t name[16];
    _snwprintf_s(name, 16, _TRUNCATE, L"\\%03d", i / 100);
    return folder + name;
}

std::wstring FileName(const std::wstring& folder, int i)
{
    wchar_t name[32];
    _snwprintf_s(name, 32, _TRUNCATE, L"\\image%05d.png", i);
    return SubFolder(folder, i) + name;
}

// Seconds per Add of `name` (already cached), the median of 9 rounds of `calls` calls.
double CachedAddCost(std::wstring name, int calls)
{
    CImageManager* manager = CImageManager::Instance();
    return bench::Median(9, [&] {
               for (int i = 0; i < calls; ++i)
                   manager->Add(&name[0]);
           }) / calls;
}

double CachedGetCost(std::wstring name, int calls)
{
    CImageManager* manager = CImageManager::Instance();
    return bench::Median(9, [&] {
               int index = -1;
               for (int i = 0; i < calls; ++i)
                   manager->Get(&name[0], nullptr, index);
           }) / calls;
}
}

int main()
{
    Gdiplus::GdiplusStartupInput input;
    ULONG_PTR token = 0;
    Gdiplus::GdiplusStartup(&token, &input, nullptr);

    wchar_t temp[MAX_PATH] = {};
    GetTempPathW(MAX_PATH, temp);
    wchar_t folderText[MAX_PATH];
    _snwprintf_s(folderText, MAX_PATH, _TRUNCATE, L"%sveskon_images_bench_%lu", temp, GetCurrentProcessId());
    std::wstring folder = folderText;
    CreateDirectoryW(folder.c_str(), nullptr);
    const int total = 10000, calls = 2000;
    for (int i = 0; i < total; i += 100)
        CreateDirectoryW(SubFolder(folder, i).c_str(), nullptr);
    if (!SavePng(FileName(folder, 0)))
    {
        printf("cannot write a PNG\n");
        return 1;
    }
    double setup = bench::Now();
    // The same bytes under 10,000 names (CopyFileW is slow under Wine).
    std::string png;
    {
        HANDLE in = CreateFileW(FileName(folder, 0).c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
        char buffer[4096];
        DWORD read = 0;
        while (ReadFile(in, buffer, sizeof(buffer), &read, nullptr) && read > 0)
            png.append(buffer, read);
        CloseHandle(in);
    }
    for (int i = 1; i < total; ++i)
    {
        HANDLE out = CreateFileW(FileName(folder, i).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
        DWORD written = 0;
        WriteFile(out, png.data(), static_cast<DWORD>(png.size()), &written, nullptr);
        CloseHandle(out);
    }
    printf("  (%d files written in %.1f s)\n", total, bench::Now() - setup);

    // Caching is read from the registry at creation; the default is on, which is what we measure.
    CImageManager* manager = CImageManager::Instance();
    double start = bench::Now();
    for (int i = 0; i < 10; ++i)
        manager->Add(&FileName(folder, i)[0]);
    // The name looked up is the last one added, so a linear search from the front would pay for
    // every entry.
    double small = CachedAddCost(FileName(folder, 9), calls);
    double smallGet = CachedGetCost(FileName(folder, 9), calls);
    for (int i = 10; i < total; ++i)
        manager->Add(&FileName(folder, i)[0]);
    double loading = bench::Now() - start;
    int entries = manager->size();
    double large = CachedAddCost(FileName(folder, total - 1), calls);
    double largeGet = CachedGetCost(FileName(folder, total - 1), calls);

    printf("CImageManager with caching on (%d entries loaded in %.1f s)\n", entries, loading);
    printf("  Add of a cached name, 10 entries      %8.3f us\n", small * 1e6);
    printf("  Add of a cached name, %d entries  %8.3f us\n", entries, large * 1e6);
    printf("  ratio %d / 10 entries             %8.2fx (target within 2x)\n", entries, large / small);
    printf("  Get by path alone, 10 / %d entries: %.3f / %.3f us, ratio %.2fx\n", entries, smallGet * 1e6,
           largeGet * 1e6, largeGet / smallGet);

    double cleanup = bench::Now();
    delete CKVRN_DllMain::Instance();  // deletes the manager and its images, closing the files
    printf("  (manager deleted in %.1f s)\n", bench::Now() - cleanup);
    cleanup = bench::Now();
    for (int i = 0; i < total; ++i)
        DeleteFileW(FileName(folder, i).c_str());
    for (int i = 0; i < total; i += 100)
        RemoveDirectoryW(SubFolder(folder, i).c_str());
    RemoveDirectoryW(folder.c_str());
    printf("  (files deleted in %.1f s)\n", bench::Now() - cleanup);
    Gdiplus::GdiplusShutdown(token);
    return 0;
}
