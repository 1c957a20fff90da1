// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Export.h"

namespace velmora::drivers::geoclue {

/// Puts the positions of the desktop's service in force: GeoClue's on the system bus, or the location portal's for a
/// program in a sandbox. Answers whether one of them is there.
VELMORA_EXPORT bool install();
/// Whether the driver was built.
VELMORA_EXPORT bool isBuilt();

}
