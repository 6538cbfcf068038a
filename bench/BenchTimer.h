#pragma once
// Timing helpers shared by the benchmark programs: QueryPerformanceCounter in seconds, and the
// median of several runs (robust against a busy machine).
#include <windows.h>
#include <algorithm>
#include <functional>
#include <vector>

namespace bench
{
inline double Now()
{
    LARGE_INTEGER counter, frequency;
    QueryPerformanceCounter(&counter);
    QueryPerformanceFrequency(&frequency);
    return static_cast<double>(counter.QuadPart) / static_cast<double>(frequency.QuadPart);
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
}
