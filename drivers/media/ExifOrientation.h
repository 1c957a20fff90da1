// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>

namespace velmora::drivers::media {

/// The orientation that a TIFF block states, 1 to 8; 1 when it states none, or is damaged.
int exifOrientation(std::span<const std::uint8_t> block);

}
