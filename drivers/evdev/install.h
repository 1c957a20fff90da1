// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Export.h"

namespace velmora::drivers::evdev {

/// Puts the buttons of the kernel's input devices in force, unless others are. Answers whether there are devices to
/// read; without the right to read them (the group "input" has it) there are none.
VELMORA_EXPORT bool install();

}
