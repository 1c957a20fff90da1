// SPDX-License-Identifier: Apache-2.0
#include "drivers/places/install.h"

#include "drivers/places/OfflinePlaces.h"

#include <memory>

namespace velmora::drivers::places {

void install()
{
    GeocodingDriver::install(std::make_shared<OfflinePlaces>());
}

}
