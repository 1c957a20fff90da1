// SPDX-License-Identifier: Apache-2.0
#include "drivers/phone/Warp.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

namespace velmora::drivers::phone {

namespace {

/// Where a target sample lies in the source, in samples.
struct Place {
    double x = 0, y = 0;
};

Place placeOf(double x, double y, double width, double height, const Warp& warp)
{
    // From the middle, in halves of the diagonal.
    const double half = std::hypot(width, height) / 2;
    const double dx = (x - width / 2) / half, dy = (y - height / 2) / half;
    // A lens that pulls its corners inwards enlarges the middle against them; the corners stay where they are.
    const double bend = (1 + warp.barrel * (dx * dx + dy * dy)) / (1 + warp.barrel);
    const double scale = bend * half / warp.crop;
    return { width / 2 + dx * scale - warp.shiftX * width, height / 2 + dy * scale - warp.shiftY * height };
}

}

void warped(const Canvas& from, const Warp& warp, const Canvas& to)
{
    constexpr int one = 256; // a sample's weight
    const double width = from.width, height = from.height;
    for (int y = 0; y < to.height; ++y) {
        std::uint8_t* target = to.row(y);
        for (int x = 0; x < to.width; ++x) {
            const Place place = placeOf(x + 0.5, y + 0.5, width, height, warp);
            const double left = std::clamp(place.x - 0.5, 0.0, width - 1),
                         top = std::clamp(place.y - 0.5, 0.0, height - 1);
            const int column = static_cast<int>(left), row = static_cast<int>(top);
            const int right = std::min(column + 1, from.width - 1), below = std::min(row + 1, from.height - 1);
            const int across = static_cast<int>((left - column) * one), down = static_cast<int>((top - row) * one);
            const std::uint8_t *upper = from.row(row), *lower = from.row(below);
            const int above = upper[column * from.step] * (one - across) + upper[right * from.step] * across;
            const int under = lower[column * from.step] * (one - across) + lower[right * from.step] * across;
            target[x * to.step]
                = static_cast<std::uint8_t>((above * (one - down) + under * down + one * one / 2) / (one * one));
        }
    }
}

Tremor tremor(double seconds)
{
    const auto wave = [seconds](double hertz) { return std::sin(2 * std::numbers::pi * hertz * seconds); };
    return { 0.7 * wave(2.3) + 0.3 * wave(7.1), 0.6 * wave(1.7) + 0.4 * wave(5.9) };
}

Stabilization stabilization(int mode)
{
    // Raw values of the platform's modes. What is cut off grows with what is taken away.
    constexpr int standard = 1, cinematic = 2, cinematicExtended = 3, previewOptimized = 4, extendedEnhanced = 5;
    switch (mode) {
    case standard:
    case previewOptimized:
        return { 1.1, 0.25 };
    case cinematic:
        return { 1.2, 0.1 };
    case cinematicExtended:
        return { 1.35, 0.05 };
    case extendedEnhanced:
        return { 1.5, 0.02 };
    default:
        return {};
    }
}

}
