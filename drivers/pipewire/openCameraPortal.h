// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "drivers/pipewire/openPipeWire.h"

#include <memory>

namespace velmora::drivers::pipewire {

/// Cameras through the desktop's portal, for a program in a sandbox: there are none until the user allows them, who is
/// asked by requestAccess. Empty where there is no such portal, or it was not built.
VELMORA_EXPORT std::shared_ptr<DaemonCapture> openCameraPortal(const DaemonWish& wish = {});

}
