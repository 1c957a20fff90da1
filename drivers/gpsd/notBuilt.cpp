// SPDX-License-Identifier: Apache-2.0
// In place of the other sources, where libgps is missing.
#include "drivers/gpsd/install.h"

namespace velmora::drivers::gpsd {

DaemonAddress DaemonAddress::fromEnvironment()
{
    return {};
}

bool install(const DaemonAddress& /*address*/)
{
    return false;
}

bool isBuilt()
{
    return false;
}

}
