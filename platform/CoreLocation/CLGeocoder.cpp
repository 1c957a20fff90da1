// SPDX-License-Identifier: Apache-2.0
#include "platform/CoreLocation/CLGeocoder.h"

#include "platform/CoreLocation/CLLocationManager.h"
#include "platform/Foundation/DispatchQueue.h"

#include <utility>

namespace velmora {

const ClassInfo& CLGeocoder::staticClass()
{
    static constexpr auto methods
        = methodTable(method<&CLGeocoder::reverseGeocodeLocation>("reverseGeocodeLocation:completionHandler:"));
    static constexpr auto classMethods = methodTable(initialiser<CLGeocoder>("init"));
    static const ClassInfo info { "Velmora.CLGeocoder", &NSObject::staticClass(), methods, classMethods };
    return info;
}

void CLGeocoder::reverseGeocodeLocation(const std::shared_ptr<CLLocation>& location, Handler handler)
{
    Handler onMain = [handler = std::move(handler)](auto places, auto error) {
        DispatchQueue::main().async([handler, places = std::move(places), error = std::move(error)] {
            if (handler)
                handler(places, error);
        });
    };

    const auto driver = GeocodingDriver::installed();
    if (!location)
        onMain(std::nullopt, NSError(kCLErrorDomain, kCLErrorGeocodeFoundNoResult, "No location was given."));
    else if (!driver)
        onMain(std::nullopt,
            NSError(kCLErrorDomain, kCLErrorGeocodeFoundNoResult,
                "Places have no names here, because no geocoding driver is installed; install one, or call "
                "drivers::installDefaults()."));
    else
        driver->reverseGeocode(location, std::move(onMain));
}

}
