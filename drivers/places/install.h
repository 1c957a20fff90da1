// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Export.h"

namespace velmora::drivers::places {

/// Puts the offline place names in force as the geocoding driver. Answers whether their tables are on this machine;
/// without them, each question is answered with an error that names what is missing.
VELMORA_EXPORT bool install();

}
