// SPDX-License-Identifier: Apache-2.0
#include "drivers/evdev/install.h"

#include "drivers/evdev/InputButtons.h"

#include <cstdlib>
#include <memory>

namespace velmora::drivers::evdev {

bool install()
{
    Places places;
    places.typing = !std::getenv("WAYLAND_DISPLAY") && !std::getenv("DISPLAY");
    const bool reads = InputButtons::canRead(places);
    if (reads && !CaptureButtonDriver::installed())
        CaptureButtonDriver::install(std::make_shared<InputButtons>(places));
    return reads;
}

}
