// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Export.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace velmora {

class CVPixelBuffer;

/// A finished picture: four bytes a pixel, blue, green, red, alpha, premultiplied, rows from the top. Immutable and
/// shared by reference; from any thread.
class VELMORA_EXPORT CGImage {
public:
    /// Rows without gaps. Throws NSException where the size does not fit the pixels.
    static std::shared_ptr<const CGImage> withPixels(int width, int height, std::vector<std::uint8_t> pixels);
    /// Of a 'BGRA' buffer that is not premultiplied: held as it is when it is opaque, else copied. Empty for no buffer.
    /// Throws NSException for another format.
    static std::shared_ptr<const CGImage> withPixelBuffer(const std::shared_ptr<CVPixelBuffer>& buffer);

    int width() const { return width_; } ///< pixels
    int height() const { return height_; }
    std::size_t stride() const { return stride_; } ///< bytes from row to row
    const std::uint8_t* pixels() const { return pixels_; }
    const std::uint8_t* pixel(int x, int y) const
    {
        return pixels_ + static_cast<std::size_t>(y) * stride_ + 4 * static_cast<std::size_t>(x);
    }
    /// Every alpha is 255.
    bool isOpaque() const { return opaque_; }

private:
    CGImage() = default;

    int width_ = 0, height_ = 0;
    std::size_t stride_ = 0;
    const std::uint8_t* pixels_ = nullptr;
    bool opaque_ = false;
    std::shared_ptr<const void> owner_;
};

}
