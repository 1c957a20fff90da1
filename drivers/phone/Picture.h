// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace velmora::drivers::phone {

/// One channel, 8 bits a sample.
struct Channel {
    Channel() = default;
    Channel(int w, int h)
        : width(w)
        , height(h)
        , samples(static_cast<std::size_t>(w) * static_cast<std::size_t>(h))
    {
    }
    const std::uint8_t* row(int y) const { return samples.data() + static_cast<std::ptrdiff_t>(y) * width; }
    std::uint8_t* row(int y) { return samples.data() + static_cast<std::ptrdiff_t>(y) * width; }

    int width = 0, height = 0;
    std::vector<std::uint8_t> samples;
};

/// BT.601 full range, sRGB transfer; the two colour channels may be smaller than the luma.
struct Picture {
    Channel luma, blueness, redness;
};

/// Where a channel is painted: `step` bytes from sample to sample.
struct Canvas {
    std::uint8_t* data = nullptr;
    std::size_t stride = 0;
    int width = 0, height = 0, step = 1;
    std::uint8_t* row(int y) const { return data + static_cast<std::size_t>(y) * stride; }
};

/// By which turn of the upright world, clockwise, the sensor's picture arises.
enum class Turn : std::uint8_t { None, Right, Around, Left };

Channel turned(const Channel& channel, Turn turn);

}
