// SPDX-License-Identifier: Apache-2.0
#include "drivers/openDisplay.h"

#include "platform/Foundation/NSError.h"
#include "platform/Foundation/NSLog.h"

#include "drivers/offscreen/OffscreenDisplay.h"
#include "drivers/sdl/openWindow.h"

#include <cstdlib>

namespace velmora::drivers {

std::shared_ptr<DisplayDriver> openDisplay(const DisplayWish& wish)
{
    const char* desktop = std::getenv("DISPLAY");
    if (desktop && *desktop) {
        try {
            return sdl::openWindow(wish.title, wish.size, wish.scale);
        } catch (const NSError& error) {
            NSLog("[DisplayDriver] %@", error.localizedDescription());
        }
    }
    return offscreen::OffscreenDisplay::withSize(wish.size, wish.scale);
}

void installDisplay(const DisplayWish& wish)
{
    DisplayDriver::installOpening([wish] { return openDisplay(wish); });
}

}
