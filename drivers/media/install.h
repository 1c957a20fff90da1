// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Export.h"

namespace velmora::drivers::media {

/// Installs what reads and writes pictures and movies.
VELMORA_EXPORT void install();

}
