// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

namespace measured {

constexpr std::size_t frames = 60, photos = 10;

/// CLOCK_MONOTONIC, as the camera stamps its frames.
inline std::uint64_t nanoseconds()
{
    return static_cast<std::uint64_t>(
        std::chrono::steady_clock::now().time_since_epoch() / std::chrono::nanoseconds(1));
}

inline double millisecondsSince(std::uint64_t then)
{
    constexpr double inOne = 1e6;
    return static_cast<double>(static_cast<std::int64_t>(nanoseconds() - then)) / inOne;
}

/// How old a frame is whose camera wrote the time over its first bytes.
inline double age(const void* frame)
{
    std::uint64_t stamp = 0;
    std::memcpy(&stamp, frame, sizeof stamp);
    return millisecondsSince(stamp);
}

inline double median(std::vector<double> values)
{
    if (values.empty())
        return -1;
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

/// What one run found, in milliseconds: from the start to the first frame; a frame's age in the hands of who wanted it;
/// from the request for a photo to its picture, and to its finished file.
struct Result {
    double firstFrame = 0;
    std::vector<double> ages, pictures, files;

    void print() const { std::printf("%f %f %f %f\n", firstFrame, median(ages), median(pictures), median(files)); }
};

}
