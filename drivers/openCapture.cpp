// SPDX-License-Identifier: Apache-2.0
#include "drivers/openCapture.h"

#include "platform/Foundation/NSException.h"

#include "drivers/pipewire/openCameraPortal.h"
#include "drivers/pipewire/openPipeWire.h"
#include "drivers/v4l2/openV4L2.h"

#include <unistd.h>

namespace velmora::drivers {

std::vector<std::string> captureNames()
{
    return { "pipewire", "v4l2" };
}

std::string missingForCapture(const std::string& name)
{
    if (name == "pipewire")
        return pipewire::isBuilt() ? "" : "libpipewire-0.3-dev, and build again";
    return {};
}

std::shared_ptr<CaptureDriver> openCapture(const std::string& name)
{
    if (name == "pipewire") {
        const bool isInSandbox = access("/.flatpak-info", F_OK) == 0;
        std::shared_ptr<CaptureDriver> portal = isInSandbox ? pipewire::openCameraPortal() : nullptr;
        return portal ? portal : pipewire::openPipeWire();
    }
    if (name == "v4l2")
        return v4l2::openV4L2();
    throw NSException(NSInvalidArgumentException, "There are no cameras of the kind \"" + name + "\"");
}

}
