// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/CaptureDriver.h"

#include <memory>
#include <string>
#include <vector>

namespace velmora::drivers {

/// The families of real cameras by name, the preferred first.
VELMORA_EXPORT std::vector<std::string> captureNames();
/// What a family misses, as Debian packages; empty when it was built.
VELMORA_EXPORT std::string missingForCapture(const std::string& name);
/// The cameras of one family. Throws NSError that says why there are none to be reached.
VELMORA_EXPORT std::shared_ptr<CaptureDriver> openCapture(const std::string& name);

}
