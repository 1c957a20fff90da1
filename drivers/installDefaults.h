// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Export.h"

#include <string>
#include <vector>

namespace velmora::drivers {

/// What became of one driver.
struct DriverStatus {
    std::string driver; ///< its folder's name
    bool works = false;
    std::string install; ///< the Debian package that it misses; empty where none would help
};

/// Installs, for each service, the driver that was built and works on this machine. An application calls it once, at
/// its start, from the main thread; a second call does nothing.
VELMORA_EXPORT void installDefaults();
/// What installDefaults() found, in its order; empty before it was called. From the main thread.
VELMORA_EXPORT const std::vector<DriverStatus>& installedDrivers();

}
