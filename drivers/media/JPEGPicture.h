// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreMedia/CVPixelBuffer.h"

#include <cstdint>
#include <memory>
#include <span>

namespace velmora::drivers::media {

bool isJPEG(std::span<const std::uint8_t> data);
/// 'BGRA', in the orientation of the file. Throws NSError.
std::shared_ptr<CVPixelBuffer> decodeJPEG(std::span<const std::uint8_t> data);
/// The orientation of the file's EXIF block, 1 to 8; 1 when it has none.
int orientationOfJPEG(std::span<const std::uint8_t> data);

}
