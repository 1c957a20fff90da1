// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "drivers/media/ExifFields.h"

#include <cstdint>
#include <span>
#include <vector>

namespace velmora::drivers::media {

/// The content of a JPEG's APP1 segment: "Exif", two zeros and the directories, with what every EXIF block must state.
/// `width` and `height` are those of the picture as stored, in pixels; `thumbnail` is a JPEG and may be empty; it is
/// left out when the block would not fit into a segment. Throws NSError when the rest does not fit either.
std::vector<std::uint8_t> exifBlock(
    const ExifFields& fields, std::int32_t width, std::int32_t height, std::span<const std::uint8_t> thumbnail);

}
