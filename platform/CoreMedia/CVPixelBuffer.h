// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/NSObject.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace velmora {

/// Four-character codes, as numbers.
inline constexpr std::uint32_t kCVPixelFormatType_420YpCbCr8BiPlanarFullRange
    = 875704422; ///< '420f', BT.601 full range
inline constexpr std::uint32_t kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange = 875704438; ///< '420v'
inline constexpr std::uint32_t kCVPixelFormatType_32BGRA = 1111970369; ///< 'BGRA', sRGB
inline constexpr std::uint32_t kCVPixelFormatType_14Bayer_BGGR = 1650943796; ///< 'bgg4', 16 bits a sample, linear

/// Keys of settings dictionaries.
inline constexpr const char* kCVPixelBufferPixelFormatTypeKey = "PixelFormatType";
inline constexpr const char* kCVPixelBufferWidthKey = "Width";
inline constexpr const char* kCVPixelBufferHeightKey = "Height";

/// "420f" for 875704422; unprintable codes in decimal.
VELMORA_EXPORT std::string fourCharacterCode(std::uint32_t code);

/// One picture in memory, shared by reference and never copied on its way. Whoever made it may hold the memory: it
/// comes back to its maker when the last reference goes.
class VELMORA_EXPORT CVPixelBuffer : public NSObject {
public:
    struct Plane {
        std::uint8_t* data = nullptr;
        std::size_t stride = 0; ///< bytes from row to row
        std::int32_t width = 0, height = 0; ///< samples; a chroma plane counts pairs
    };

    /// Memory of its own, 64-byte aligned rows, content undefined. Throws NSException for a size or format that it
    /// does not know.
    static std::shared_ptr<CVPixelBuffer> create(std::int32_t width, std::int32_t height, std::uint32_t pixelFormat);
    /// Memory of `owner`.
    CVPixelBuffer(std::int32_t width, std::int32_t height, std::uint32_t pixelFormat, std::vector<Plane> planes,
        std::shared_ptr<void> owner);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    std::int32_t width() const { return width_; } ///< pixels
    std::int32_t height() const { return height_; }
    std::uint32_t pixelFormat() const { return pixelFormat_; }
    /// '420f': luma, then interleaved Cb and Cr at half the size, rounded up; the others: one plane.
    const std::vector<Plane>& planes() const { return planes_; }

private:
    std::int32_t width_, height_;
    std::uint32_t pixelFormat_;
    std::vector<Plane> planes_;
    std::shared_ptr<void> owner_;
};

}
