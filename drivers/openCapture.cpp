// SPDX-License-Identifier: Apache-2.0
#include "drivers/openCapture.h"

#include "platform/Foundation/NSException.h"

#include "drivers/pipewire/openPipeWire.h"

namespace velmora::drivers {

std::vector<std::string> captureNames()
{
    return { "pipewire" };
}

std::string missingForCapture(const std::string& name)
{
    if (name == "pipewire")
        return pipewire::isBuilt() ? "" : "libpipewire-0.3-dev, and build again";
    return {};
}

std::shared_ptr<CaptureDriver> openCapture(const std::string& name)
{
    if (name == "pipewire")
        return pipewire::openPipeWire();
    throw NSException(NSInvalidArgumentException, "There are no cameras of the kind \"" + name + "\"");
}

}
