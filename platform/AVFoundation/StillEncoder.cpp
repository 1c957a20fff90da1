// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/StillEncoder.h"

#include "platform/Foundation/InstalledDriver.h"

#include <utility>

namespace velmora {

std::shared_ptr<StillEncoder> StillEncoder::installed()
{
    return installedDriver<StillEncoder>().get();
}

void StillEncoder::install(std::shared_ptr<StillEncoder> driver)
{
    installedDriver<StillEncoder>().set(std::move(driver));
}

}
