// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/CaptureDriver.h"

#include "drivers/pipewire/Offers.h"

#include <string>

namespace velmora::drivers::pipewire {

/// Where a camera sits and what it looks through, by what its node tells and, where that is silent, by what is known of
/// the machine. docs/real-devices.md tells how to declare it.
struct Placement {
    AVCaptureDevicePosition position = AVCaptureDevicePositionBack;
    std::string deviceType; ///< AVCaptureDeviceType...
    int sensorRotation = 0; ///< degrees clockwise that make its picture upright
};

/// `deviceTree` is the folder in which the kernel says what machine this is; it need not be there.
Placement placementOf(const Properties& node, const std::string& deviceTree);

}
