// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Export.h"

namespace velmora::drivers {

/// Installs, for each service, the driver that was built and works on this machine. An application calls it once, at
/// its start, from the main thread; a second call does nothing.
VELMORA_EXPORT void installDefaults();

}
