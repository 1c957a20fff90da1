// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "drivers/CameraOffers.h"
#include "drivers/v4l2/Descriptor.h"

#include <linux/videodev2.h>

#include <cstdint>
#include <optional>
#include <vector>

namespace velmora::drivers::v4l2 {

/// How a picture of one of the kernel's pixel formats lies in memory.
struct PixelLayout {
    CameraLayout layout = CameraLayout::NV12;
    int bits = 8; ///< of a Bayer layout
};
/// Nothing for a format that we cannot read.
VELMORA_EXPORT std::optional<PixelLayout> layoutOf(std::uint32_t pixelFormat);

/// What a device offers of the formats that we can read; a device that lists no sizes has the one that it is set to.
std::vector<cameras::Offer> offersOf(const Descriptor& device, v4l2_buf_type type);

/// Whether luma goes from 16 to 235, by what the device tells of its picture and the kernel's rules for what it leaves
/// open. Always false for a format without luma and for a JPEG, which carries its own.
VELMORA_EXPORT bool hasVideoRange(std::uint32_t pixelFormat, std::uint32_t colorspace, std::uint32_t quantization);

}
