// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreMedia/CVPixelBuffer.h"

#include <cstdint>
#include <memory>
#include <span>

namespace velmora::drivers::media {

bool isPNG(std::span<const std::uint8_t> data);
/// 'BGRA', transparent parts over black, in the orientation of the file. Throws NSError.
std::shared_ptr<CVPixelBuffer> decodePNG(std::span<const std::uint8_t> data);
/// The orientation of the file's EXIF chunk, 1 to 8; 1 when it has none.
int orientationOfPNG(std::span<const std::uint8_t> data);

}
