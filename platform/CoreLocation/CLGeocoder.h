// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreLocation/LocationDriver.h"
#include "platform/Foundation/NSObject.h"

namespace velmora {

/// Names places, by the installed geocoding driver.
class VELMORA_EXPORT CLGeocoder : public NSObject {
public:
    using Handler = GeocodingDriver::Answer;

    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    /// Answers once, asynchronously, on the main queue; requests may answer out of order. An error without a driver.
    void reverseGeocodeLocation(const std::shared_ptr<CLLocation>& location, Handler handler);
};

}
