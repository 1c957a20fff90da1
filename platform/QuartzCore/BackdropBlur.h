// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace velmora {

/// A picture blurred by three boxes, which comes within a few hundredths of the bell curve, and made smaller by whole
/// factors, as far as nobody can see: four bytes a pixel, rows without gaps.
struct BlurredPicture {
    int width = 0, height = 0, factor = 1; ///< pixels; pixels of the original for one
    std::vector<std::uint8_t> pixels;
};

/// `deviation`: pixels of the original. Beyond the edges their pixels go on.
BlurredPicture blurred(const std::uint8_t* pixels, std::size_t stride, int width, int height, double deviation);

}
