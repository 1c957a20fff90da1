// SPDX-License-Identifier: Apache-2.0
#include "drivers/faces/install.h"

#include "drivers/faces/ModuleFaceDetector.h"

#include <dlfcn.h>

#include <filesystem>

namespace velmora::drivers::faces {

std::string moduleFile()
{
    Dl_info self {};
    if (dladdr(reinterpret_cast<const void*>(&moduleFile), &self) == 0 || !self.dli_fname)
        return {};
    return std::filesystem::path(self.dli_fname).replace_filename("velmora-faces.so");
}

bool install()
{
    auto detector = std::make_shared<ModuleFaceDetector>(moduleFile(), cascadeFile);
    const bool available = detector->isAvailable();
    if (available)
        FaceDetector::install(std::move(detector));
    return available;
}

}
