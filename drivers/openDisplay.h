// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Export.h"
#include "platform/QuartzCore/DisplayDriver.h"

#include <memory>
#include <string>

namespace velmora::drivers {

/// What an application shows itself on.
struct DisplayWish {
    std::string title = "Velmora";
    CGSize size { 360, 720 }; ///< points
    double scale = 1; ///< pixels for a point
};

/// A window when there is a desktop (DISPLAY is set), memory otherwise; also, with a line in the log, when the desktop
/// gives no window.
VELMORA_EXPORT std::shared_ptr<DisplayDriver> openDisplay(const DisplayWish& wish);

/// Opens a display like that when one is first asked for. `installDefaults` does it with the default wish.
VELMORA_EXPORT void installDisplay(const DisplayWish& wish);

}
