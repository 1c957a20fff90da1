// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreMedia/CVPixelBuffer.h"

#include <cstdint>
#include <memory>
#include <span>

namespace velmora::drivers::media {

bool isJPEG(std::span<const std::uint8_t> data);
/// 'BGRA', in the orientation of the file, and of its size; or the smallest fraction of it that has at least `width`
/// and `height`, when they are given. Throws NSError.
std::shared_ptr<CVPixelBuffer> decodeJPEG(std::span<const std::uint8_t> data, int width = 0, int height = 0);
/// The orientation of the file's EXIF block, 1 to 8; 1 when it has none.
int orientationOfJPEG(std::span<const std::uint8_t> data);

}
