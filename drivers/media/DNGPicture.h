// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreMedia/CVPixelBuffer.h"

#include <cstdint>
#include <memory>
#include <span>

namespace velmora::drivers::media {

bool isTIFF(std::span<const std::uint8_t> data);
/// 'BGRA', in the orientation of the file: what the sensor saw, developed; or a finished picture that the file holds
/// beside it, where that has at least `width` and `height`, when they are given, or where the samples are packed in a
/// way that cannot be read. Throws NSError.
std::shared_ptr<CVPixelBuffer> decodeDNG(std::span<const std::uint8_t> data, int width = 0, int height = 0);
/// 1 to 8; 1 when the file states none.
int orientationOfTIFF(std::span<const std::uint8_t> data);

}
