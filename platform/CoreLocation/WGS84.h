// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreLocation/CLLocation.h"

namespace velmora {

/// Metres of the shortest path on the WGS 84 ellipsoid, to a millimetre or better; not a number when a coordinate is
/// none. Latitudes beyond the poles are not looked at; longitudes may run past 180 degrees.
VELMORA_EXPORT double distanceOnWGS84(const CLLocationCoordinate2D& from, const CLLocationCoordinate2D& to);

}
