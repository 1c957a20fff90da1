// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "drivers/CameraLight.h"

#include <memory>
#include <string>

namespace velmora::drivers::cameras {

/// One of V4L2's devices beside the pictures ("v4l-subdev2"), when it is a flash; null otherwise.
std::shared_ptr<Light> openFlashDevice(const KernelFolders& folders, const std::string& device);

}
