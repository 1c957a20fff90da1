// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Export.h"

#include <string>

namespace velmora::drivers::faces {

/// Puts the face detector in force. Answers whether its module was built and its data is on this machine.
VELMORA_EXPORT bool install();

/// Where the module lies: beside this library.
VELMORA_EXPORT std::string moduleFile();
/// Where Debian's opencv-data keeps the cascade.
inline constexpr const char* cascadeFile = "/usr/share/opencv4/haarcascades/haarcascade_frontalface_alt2.xml";

}
