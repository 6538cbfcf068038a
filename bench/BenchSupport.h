#pragma once
// Small timing helpers shared by the benchmark programs (figures, never pass/fail).
#include <windows.h>
#include <algorithm>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>
#include "FolderTree.h"

namespace bench
{
inline double Now()
{
    static LARGE_INTEGER frequency = [] {
        LARGE_INTEGER f;
        QueryPerformanceFrequency(&f);
        return f;
    }();
    LARGE_INTEGER t;
    QueryPerformanceCounter(&t);
    return static_cast<double>(t.QuadPart) / static_cast<double>(frequency.QuadPart);
}

inline double MedianOf(std::vector<double> times)
{
    if (times.empty())
        return 0;
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

// Seconds of one call of `run`, the median of `runs` calls.
inline double Median(int runs, const std::function<void()>& run)
{
    std::vector<double> times;
    for (int i = 0; i < runs; ++i)
    {
        double start = Now();
        run();
        times.push_back(Now() - start);
    }
    return MedianOf(times);
}

// Median of `rounds` timings of `body` run `iterations` times, in seconds per iteration.
template <typename F>
double PerIteration(int rounds, int iterations, F body)
{
    std::vector<double> samples;
    for (int r = 0; r < rounds; ++r)
    {
        double start = Now();
        for (int i = 0; i < iterations; ++i)
            body(i);
        samples.push_back((Now() - start) / iterations);
    }
    std::sort(samples.begin(), samples.end());
    return samples[samples.size() / 2];
}

// Points TMP/TEMP at a fresh folder so that what the library writes there goes with it.
inline std::wstring UseScratchTemp(const wchar_t* name)
{
    wchar_t temp[MAX_PATH] = {};
    GetTempPathW(MAX_PATH, temp);
    std::wstring folder = std::wstring(temp) + name;
    CreateDirectoryW(folder.c_str(), nullptr);
    SetEnvironmentVariableW(L"TMP", folder.c_str());
    SetEnvironmentVariableW(L"TEMP", folder.c_str());
    return folder;
}

}
