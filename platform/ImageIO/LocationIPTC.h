// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreLocation/CLPlacemark.h"

#include <cstdint>
#include <span>
#include <vector>

namespace velmora {

/// The image resources of a JPEG's APP13 segment with the names of the place in their IPTC record, instead of older
/// ones; without `placemark`, none. Empty when nothing is left. Throws NSError for damaged resources.
std::vector<std::uint8_t> resourcesWithPlace(std::span<const std::uint8_t> resources, const CLPlacemark* placemark);

}
