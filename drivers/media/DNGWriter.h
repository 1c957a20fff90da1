// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/CaptureDriver.h"

#include "drivers/media/ExifFields.h"

#include <cstdint>
#include <vector>

namespace velmora::drivers::media {

/// A DNG: the samples as they are, what a developer of RAW pictures must know of the sensor, EXIF, and in front a small
/// picture of `preview` when there is one. Throws NSError for samples, levels or a pattern that cannot be described.
std::vector<std::uint8_t> writeDNG(const RawImage& raw, const CVPixelBuffer* preview, const ExifFields& fields);

}
