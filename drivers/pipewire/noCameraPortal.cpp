// SPDX-License-Identifier: Apache-2.0
// In place of openCameraPortal.cpp, where libsystemd is missing.
#include "drivers/pipewire/openCameraPortal.h"

namespace velmora::drivers::pipewire {

std::shared_ptr<DaemonCapture> openCameraPortal(const DaemonWish& /*wish*/)
{
    return nullptr;
}

}
