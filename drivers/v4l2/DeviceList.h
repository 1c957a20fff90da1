// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "drivers/KnownPhones.h"
#include "drivers/v4l2/openV4L2.h"

#include <map>
#include <string>
#include <vector>

namespace velmora::drivers::v4l2 {

/// A video device as the kernel lists it; it may be no camera at all.
struct VideoDevice {
    std::string node; ///< "video0"
    int index = 0; ///< among those of one piece of hardware
    std::string name, make, model; ///< of the device; of the USB device that it is, when it is one
    cameras::Properties properties; ///< what a rule of udev declares of it: "velmora.position" ...

    bool operator==(const VideoDevice&) const = default;
};

/// All of them, by their numbers.
VELMORA_EXPORT std::vector<VideoDevice> videoDevices(const KernelWish& wish);

}
