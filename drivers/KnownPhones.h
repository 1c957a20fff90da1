// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/CaptureDriver.h"

#include <map>
#include <string>

namespace velmora::drivers::cameras {

/// What a camera tells of itself, under the names of PipeWire's nodes.
using Properties = std::map<std::string, std::string>;

/// Where a camera sits and what it looks through, by what it tells and, where that is silent, by what is known of
/// the machine. docs/real-devices.md tells how to declare it.
struct Placement {
    AVCaptureDevicePosition position = AVCaptureDevicePositionBack;
    std::string deviceType; ///< AVCaptureDeviceType...
    int sensorRotation = 0; ///< degrees clockwise that make its picture upright
};

/// `deviceTree` is the folder in which the kernel says what machine this is; it need not be there.
VELMORA_EXPORT Placement placementOf(const Properties& camera, const std::string& deviceTree);

}
