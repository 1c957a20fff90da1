// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/CaptureDriver.h"

#include "drivers/pipewire/Daemon.h"

#include <string>

namespace velmora::drivers::pipewire {

/// What a node tells, in the words of the framework.
CaptureDeviceDescription describe(const Node& node, const std::string& deviceTree);

}
