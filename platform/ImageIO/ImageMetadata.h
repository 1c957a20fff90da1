// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreLocation/CLLocation.h"
#include "platform/CoreLocation/CLPlacemark.h"
#include "platform/Foundation/NSData.h"

#include <memory>

namespace velmora {

/// A copy of JPEG or DNG data with the place added: EXIF GPS (position, altitude, direction, accuracy, date stamp), XMP
/// and, in a JPEG, IPTC (city, state, country, as desktop indexers read them). What was there stays, an older place is
/// replaced; pixels are not touched. Without `placemark` the position alone. Throws NSError for data that is neither
/// JPEG nor DNG, or is damaged, and for a location that is none.
VELMORA_EXPORT std::shared_ptr<NSData> imageDataByAddingLocation(
    const NSData& image, const CLLocation& location, const CLPlacemark* placemark);

}
