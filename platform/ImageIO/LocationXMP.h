// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreLocation/CLLocation.h"
#include "platform/CoreLocation/CLPlacemark.h"

#include <cstdint>
#include <span>
#include <vector>

namespace velmora {

/// `packet`, which may be empty, with the place in it instead of an older one. Throws NSError for a damaged packet.
std::vector<std::uint8_t> xmpWithLocation(
    std::span<const std::uint8_t> packet, const CLLocation& location, const CLPlacemark* placemark);

}
