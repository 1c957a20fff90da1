// SPDX-License-Identifier: Apache-2.0
#include "drivers/pipewire/openPipeWire.h"

#include <dlfcn.h>

#include <filesystem>

namespace velmora::drivers::pipewire {

namespace {

using Open = void(std::shared_ptr<DaemonCapture>&, const DaemonWish&);

/// Stays loaded: threads and buffers live in it.
Open* module()
{
    constexpr int noModule = 3;
    void* const library = dlopen(moduleFile().c_str(), RTLD_NOW | RTLD_LOCAL);
    void* const symbol = library ? dlsym(library, "velmoraOpenPipeWire") : nullptr;
    if (!symbol)
        throw NSError("org.velmora.pipewire", noModule,
            std::string("PipeWire cannot be used: ") + dlerror()
                + ". Install libpipewire-0.3-0 and velmora-pipewire.so.");
    return reinterpret_cast<Open*>(symbol);
}

}

std::string moduleFile()
{
    Dl_info self {};
    if (dladdr(reinterpret_cast<const void*>(&moduleFile), &self) == 0 || !self.dli_fname)
        return {};
    return std::filesystem::path(self.dli_fname).replace_filename("velmora-pipewire.so");
}

bool isBuilt()
{
    std::error_code unreadable;
    return std::filesystem::exists(moduleFile(), unreadable);
}

std::shared_ptr<DaemonCapture> openPipeWire(const DaemonWish& wish)
{
    static Open* const open = module();
    std::shared_ptr<DaemonCapture> capture;
    open(capture, wish);
    return capture;
}

}
