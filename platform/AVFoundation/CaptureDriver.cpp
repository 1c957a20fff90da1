// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/CaptureDriver.h"

#include "platform/Foundation/InstalledDriver.h"

#include <utility>

namespace velmora {

std::shared_ptr<CaptureDriver> CaptureDriver::installed()
{
    return installedDriver<CaptureDriver>().get();
}

void CaptureDriver::install(std::shared_ptr<CaptureDriver> driver)
{
    installedDriver<CaptureDriver>().set(std::move(driver));
}

}
