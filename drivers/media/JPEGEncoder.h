// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreMedia/CVPixelBuffer.h"

#include <cstdint>
#include <span>
#include <vector>

namespace velmora::drivers::media {

/// Encodes '420f' pictures as baseline JPEG, 4:2:0. On a machine with two cores, the halves of a large picture are
/// encoded at the same time; the result is one ordinary picture. From any thread, several at once.
class VELMORA_EXPORT JPEGEncoder {
public:
    /// `threads` 0 stands for what the machine has, at most 2.
    explicit JPEGEncoder(int threads = 0);

    /// `application1` becomes the APP1 segment unless it is empty. `quality` from 1 to 100. Throws NSError for a
    /// picture that is not '420f' or wider or higher than 65500 pixels, and for a quality out of range.
    std::vector<std::uint8_t> encode(
        const CVPixelBuffer& pixels, int quality, std::span<const std::uint8_t> application1) const;

    /// A small picture, `width` pixels wide in the same shape, never larger than the picture itself.
    static std::vector<std::uint8_t> encodeThumbnail(const CVPixelBuffer& pixels, std::int32_t width);

private:
    int threads_;
};

}
