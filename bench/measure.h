/// What all benchmarks measure with.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace vok::bench
{

/// The median of the milliseconds that `runs` calls of `action` take. What it returns is thrown away outside the time.
template <typename Action> double medianMs(int runs, Action&& action)
{
    std::vector<double> times;
    for (int run = 0; run < runs; ++run) {
        const auto start = std::chrono::steady_clock::now();
        [[maybe_unused]] const auto result = action();
        const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - start;
        times.push_back(time.count());
    }
    const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
    std::nth_element(times.begin(), middle, times.end());
    return *middle;
}

/// A line such as "VmHWM" of /proc/self/status in bytes; 0 where there is none.
inline std::uint64_t statusBytes(const std::string& name)
{
    std::ifstream status("/proc/self/status");
    std::uint64_t kibibytes = 0;
    for (std::string word; status >> word;) {
        if (word == name + ":" && status >> kibibytes)
            return kibibytes * 1024;
    }
    return 0;
}

/// How far `action` raises the resident memory of the process at its highest, in bytes, its result included; 0 where
/// that cannot be told.
template <typename Action> std::uint64_t peakBytes(Action&& action)
{
#ifdef __GLIBC__
    malloc_trim(0);
#endif
    // Sets the peak to what is resident now.
    std::ofstream("/proc/self/clear_refs") << "5";
    const std::uint64_t before = statusBytes("VmRSS");
    [[maybe_unused]] const auto result = action();
    return statusBytes("VmHWM") - before;
}

} // namespace vok::bench
