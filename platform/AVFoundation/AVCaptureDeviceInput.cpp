// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/AVCaptureDeviceInput.h"

#include "platform/AVFoundation/AVError.h"

#include <utility>

namespace velmora {

std::shared_ptr<AVCaptureDeviceInput> AVCaptureDeviceInput::initWithDevice(
    const std::shared_ptr<AVCaptureDevice>& device, std::optional<NSError>* error)
{
    if (!device) {
        if (error)
            *error
                = NSError(AVFoundationErrorDomain, AVErrorDeviceNotConnected, "There is no device to take input from.");
        return nullptr;
    }
    auto [opened, problem] = device->driver()->open();
    if (error)
        *error = std::move(problem);
    return opened ? make<AVCaptureDeviceInput>(device) : nullptr;
}

AVCaptureDeviceInput::AVCaptureDeviceInput(std::shared_ptr<AVCaptureDevice> device)
    : device_(std::move(device))
{
}

const ClassInfo& AVCaptureDeviceInput::staticClass()
{
    using Self = AVCaptureDeviceInput;
    static constexpr auto methods = methodTable(method<&Self::device>("device"));
    static constexpr auto classMethods = methodTable(classMethod<&Self::initWithDevice>("initWithDevice:error:"));
    static const ClassInfo info { "Velmora.AVCaptureDeviceInput", &AVCaptureInput::staticClass(), methods,
        classMethods };
    return info;
}

std::string AVCaptureDeviceInput::description() const
{
    std::string text = NSObject::description();
    text.pop_back();
    return text + " [" + device_->localizedName() + "]>";
}

}
