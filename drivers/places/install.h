// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Export.h"

namespace velmora::drivers::places {

/// Puts the offline place names in force as the geocoding driver.
VELMORA_EXPORT void install();

}
