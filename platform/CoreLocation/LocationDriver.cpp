// SPDX-License-Identifier: Apache-2.0
#include "platform/CoreLocation/LocationDriver.h"

#include "platform/Foundation/InstalledDriver.h"

#include <utility>

namespace velmora {

std::shared_ptr<LocationDriver> LocationDriver::installed()
{
    return installedDriver<LocationDriver>().get();
}

void LocationDriver::install(std::shared_ptr<LocationDriver> driver)
{
    installedDriver<LocationDriver>().set(std::move(driver));
}

std::shared_ptr<GeocodingDriver> GeocodingDriver::installed()
{
    return installedDriver<GeocodingDriver>().get();
}

void GeocodingDriver::install(std::shared_ptr<GeocodingDriver> driver)
{
    installedDriver<GeocodingDriver>().set(std::move(driver));
}

}
