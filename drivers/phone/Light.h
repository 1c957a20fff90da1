// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "drivers/phone/Picture.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace velmora::drivers::phone {

/// A picture in linear light: red, green and blue.
struct Light {
    static constexpr double white = 65535; ///< sRGB 255
    int width = 0, height = 0;
    std::array<std::vector<std::uint16_t>, 3> channels;
};

/// Red, green and blue, sRGB, of luma, blueness and redness.
std::array<std::uint8_t, 3> decoded(int luma, int blueness, int redness);
/// All three channels have the luma's size.
Light linearised(const Picture& picture);

/// Smaller spots change no pixel that one could see.
inline constexpr double sharpBelow = 0.3; // pixels
/// Spreads each point over a round spot of `diameter` pixels' variance.
void blur(Light& light, double diameter);

/// Shot and read noise, the same for the same seed and place.
class Noise {
public:
    Noise(double atFullSignal, std::uint64_t seed)
        : deviation_(static_cast<float>(atFullSignal))
        , start_(seed * 0x9E3779B97F4A7C15)
    {
    }
    bool none() const { return deviation_ == 0; }
    /// To `count` neighbouring samples, 1 at full signal; the first lies at `place` of the picture.
    void add(float* signals, int count, std::size_t place) const;

private:
    float deviation_;
    std::uint64_t start_; // places of different seeds are far apart
};

/// `count` samples from `first` on, times `gain`, clipped at white, as sRGB.
void encode(const std::vector<std::uint16_t>& channel, std::size_t first, int count, double gain, const Noise& noise,
    std::uint8_t* target);

}
