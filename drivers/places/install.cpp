// SPDX-License-Identifier: Apache-2.0
#include "drivers/places/install.h"

#include "drivers/places/OfflinePlaces.h"

#include <filesystem>
#include <memory>
#include <string>
#include <system_error>

namespace velmora::drivers::places {

bool install()
{
    GeocodingDriver::install(std::make_shared<OfflinePlaces>());
    std::error_code unreadable;
    return std::filesystem::exists(std::string(OfflinePlaces::defaultFolder) + "/cities15000.txt", unreadable);
}

}
