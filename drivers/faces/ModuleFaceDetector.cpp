// SPDX-License-Identifier: Apache-2.0
#include "drivers/faces/ModuleFaceDetector.h"

#include "platform/Foundation/NSError.h"
#include "platform/Foundation/NSLog.h"

#include <dlfcn.h>

#include <filesystem>
#include <utility>

namespace velmora::drivers::faces {

namespace {

using Make = FaceDetector*(const char* cascade);

std::shared_ptr<FaceDetector> load(const std::string& module, const std::string& cascade)
{
    void* const library = dlopen(module.c_str(), RTLD_NOW | RTLD_LOCAL); // never closed: its code stays in use
    if (!library) {
        NSLog("[FaceDetector] No faces are found: %@", dlerror());
        return nullptr;
    }
    const auto make = reinterpret_cast<Make*>(dlsym(library, "velmoraMakeFaceDetector"));
    if (!make) {
        NSLog("[FaceDetector] No faces are found: %@ is not a module for it.", module);
        return nullptr;
    }
    std::shared_ptr<FaceDetector> detector(make(cascade.c_str()));
    if (!detector)
        NSLog("[FaceDetector] No faces are found: %@ holds no cascade that can be used.", cascade);
    return detector;
}

}

ModuleFaceDetector::ModuleFaceDetector(std::string module, std::string cascade)
    : module_(std::move(module))
    , cascade_(std::move(cascade))
{
}

bool ModuleFaceDetector::isAvailable() const
{
    std::error_code unreadable;
    return std::filesystem::exists(module_, unreadable) && std::filesystem::exists(cascade_, unreadable);
}

bool ModuleFaceDetector::isLoaded() const
{
    const std::lock_guard lock(mutex_);
    return detector_ != nullptr;
}

std::vector<CGRect> ModuleFaceDetector::facesIn(const GreyPicture& picture)
{
    std::shared_ptr<FaceDetector> detector;
    {
        const std::lock_guard lock(mutex_);
        if (!std::exchange(tried_, true))
            detector_ = load(module_, cascade_);
        detector = detector_;
    }
    return detector ? detector->facesIn(picture) : std::vector<CGRect> {};
}

}
