// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/Export.h"

#include "drivers/sdl/SDLDisplay.h"

/// The one door of the module. Throws as SDLDisplay::open does.
extern "C" VELMORA_EXPORT void velmoraOpenWindow(
    std::shared_ptr<velmora::DisplayDriver>& display, const char* title, double width, double height, double scale)
{
    display = velmora::drivers::sdl::SDLDisplay::open(title, { width, height }, scale);
}
