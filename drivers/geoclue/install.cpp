// SPDX-License-Identifier: Apache-2.0
#include "drivers/geoclue/install.h"

#include "drivers/Bus.h"
#include "drivers/geoclue/DesktopLocation.h"
#include "drivers/geoclue/GeoClue.h"
#include "drivers/geoclue/LocationPortal.h"

#include <unistd.h>

namespace velmora::drivers::geoclue {

bool install()
{
    const bool isInSandbox = access("/.flatpak-info", F_OK) == 0;
    if (const auto bus = isInSandbox ? nullptr : Bus::open(Bus::Kind::System); bus && bus->knows(GeoClue::name)) {
        LocationDriver::install(std::make_shared<DesktopLocation>(std::make_unique<GeoClue>(bus)));
        return true;
    }
    if (const auto bus = Bus::open(Bus::Kind::Session); bus && bus->knows(LocationPortal::name)) {
        LocationDriver::install(std::make_shared<DesktopLocation>(std::make_unique<LocationPortal>(bus)));
        return true;
    }
    return false;
}

bool isBuilt()
{
    return true;
}

}
