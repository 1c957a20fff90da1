// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Export.h"

#include <string>

namespace velmora::drivers::gpsd {

/// Where the daemon listens: VELMORA_GPSD=HOST:PORT, else this machine and gpsd's own port.
struct DaemonAddress {
    std::string host = "127.0.0.1", port = "2947";
    static DaemonAddress fromEnvironment();
};

/// Puts the positions of a gpsd in force. Answers whether one listens.
VELMORA_EXPORT bool install(const DaemonAddress& address = DaemonAddress::fromEnvironment());
/// Whether the driver was built.
VELMORA_EXPORT bool isBuilt();

}
