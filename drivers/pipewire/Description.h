// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/CaptureDriver.h"

#include "drivers/pipewire/Daemon.h"

#include <string>

namespace velmora::drivers::pipewire {

/// What a camera's node tells, in the words of the framework.
CaptureDeviceDescription describe(const Node& node, const std::string& deviceTree);
/// The settings of a camera that nobody has touched.
CaptureSettings settingsAsDescribed(const CaptureDeviceDescription& description);

}
