// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/AVCaptureDevice.h"
#include "platform/AVFoundation/AVCaptureInput.h"

namespace velmora {

/// A device as the input of a session.
class VELMORA_EXPORT AVCaptureDeviceInput : public AVCaptureInput {
public:
    /// Opens the device. There may be an input, an error, both, or neither. Without a device: an error, no input.
    static std::shared_ptr<AVCaptureDeviceInput> initWithDevice(
        const std::shared_ptr<AVCaptureDevice>& device, std::optional<NSError>* error = nullptr);
    explicit AVCaptureDeviceInput(std::shared_ptr<AVCaptureDevice> device);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    const std::shared_ptr<AVCaptureDevice>& device() const { return device_; }
    std::string description() const override;

private:
    std::shared_ptr<AVCaptureDevice> device_;
};

}
