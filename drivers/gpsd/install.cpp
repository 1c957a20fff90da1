// SPDX-License-Identifier: Apache-2.0
#include "drivers/gpsd/install.h"

#include "drivers/gpsd/DaemonLocation.h"

#include <cstdlib>

namespace velmora::drivers::gpsd {

DaemonAddress DaemonAddress::fromEnvironment()
{
    DaemonAddress address;
    const char* given = std::getenv("VELMORA_GPSD");
    if (!given)
        return address;
    const std::string text = given;
    const auto colon = text.rfind(':');
    address.host = text.substr(0, colon);
    if (colon != std::string::npos)
        address.port = text.substr(colon + 1);
    return address;
}

bool install(const DaemonAddress& address)
{
    auto location = std::make_shared<DaemonLocation>(address);
    if (!location->answers())
        return false;
    LocationDriver::install(std::move(location));
    return true;
}

bool isBuilt()
{
    return true;
}

}
