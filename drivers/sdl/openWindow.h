// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Export.h"
#include "platform/QuartzCore/DisplayDriver.h"

#include <memory>
#include <string>

namespace velmora::drivers::sdl {

/// Opens a window on the desktop that DISPLAY names. SDL comes into the process here, not before. Throws NSError when
/// there is no desktop, or the module velmora-window was not installed beside this library.
VELMORA_EXPORT std::shared_ptr<DisplayDriver> openWindow(const std::string& title, CGSize points, double scale);

}
