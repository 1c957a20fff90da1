// SPDX-License-Identifier: Apache-2.0
#include "platform/CoreMotion/MotionDriver.h"

#include "platform/Foundation/InstalledDriver.h"

#include <utility>

namespace velmora {

std::shared_ptr<MotionDriver> MotionDriver::installed()
{
    return installedDriver<MotionDriver>().get();
}

void MotionDriver::install(std::shared_ptr<MotionDriver> driver)
{
    installedDriver<MotionDriver>().set(std::move(driver));
}

}
