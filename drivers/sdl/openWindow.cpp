// SPDX-License-Identifier: Apache-2.0
#include "drivers/sdl/openWindow.h"

#include "platform/Foundation/NSError.h"

#include <dlfcn.h>

#include <filesystem>

namespace velmora::drivers::sdl {

namespace {

using OpenWindow = void (*)(std::shared_ptr<DisplayDriver>&, const char*, double, double, double);

/// Where this library lies: its module lies beside it, also when all of it was moved.
std::filesystem::path ownFolder()
{
    Dl_info info {};
    if (dladdr(reinterpret_cast<const void*>(&openWindow), &info) == 0 || !info.dli_fname)
        return {};
    return std::filesystem::path(info.dli_fname).parent_path();
}

/// Stays loaded: windows and their threads live in it.
OpenWindow module()
{
    const std::string path = (ownFolder() / "velmora-window.so").string();
    void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    void* symbol = handle ? dlsym(handle, "velmoraOpenWindow") : nullptr;
    if (!symbol)
        throw NSError("org.velmora.display", 3,
            "No window can be opened: " + path + " cannot be loaded (" + dlerror()
                + "). Install it and SDL 2, or draw without a window.");
    return reinterpret_cast<OpenWindow>(symbol);
}

}

std::shared_ptr<DisplayDriver> openWindow(const std::string& title, CGSize points, double scale)
{
    static const OpenWindow open = module();
    std::shared_ptr<DisplayDriver> display;
    open(display, title.c_str(), points.width, points.height, scale);
    return display;
}

}
