// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/CaptureDriver.h"

#include "drivers/CameraLight.h"
#include "drivers/PictureCounts.h"

#include <memory>
#include <string>

namespace velmora::drivers::v4l2 {

/// Where the kernel's cameras are found, and how patient one is with them.
struct KernelWish {
    cameras::KernelFolders folders;
    std::string udev = "/run/udev/data"; ///< what udev's rules say of devices
    std::string deviceTree = "/proc/device-tree"; ///< where the kernel says what machine this is
    /// Seconds that a camera in use may be away, with its session interrupted, before it has failed.
    double returnWithin = 3;
};

/// Cameras of the kernel, without a daemon. There is no sound.
class VELMORA_EXPORT KernelCapture : public CaptureDriver {
public:
    virtual cameras::PictureCounts pictureCounts() const = 0; ///< of all its cameras, since it was opened
};

/// Throws NSError when the folder of devices cannot be read.
VELMORA_EXPORT std::shared_ptr<KernelCapture> openV4L2(const KernelWish& wish = {});

}
