// SPDX-License-Identifier: Apache-2.0
// In place of the other sources, where libsystemd is missing.
#include "drivers/geoclue/install.h"

namespace velmora::drivers::geoclue {

bool install()
{
    return false;
}

bool isBuilt()
{
    return false;
}

}
