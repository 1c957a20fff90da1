// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/CaptureControlsDriver.h"

#include "platform/Foundation/InstalledDriver.h"

#include <utility>

namespace velmora {

std::shared_ptr<CaptureControlsDriver> CaptureControlsDriver::installed()
{
    return installedDriver<CaptureControlsDriver>().get();
}

void CaptureControlsDriver::install(std::shared_ptr<CaptureControlsDriver> driver)
{
    installedDriver<CaptureControlsDriver>().set(std::move(driver));
}

}
