// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/AVCaptureDevice.h"

namespace velmora {

/// A search for devices.
class VELMORA_EXPORT AVCaptureDeviceDiscoverySession : public NSObject {
public:
    /// Searches at once. Position 0 is any position.
    static std::shared_ptr<AVCaptureDeviceDiscoverySession> discoverySessionWithDeviceTypes(
        const std::vector<std::string>& types, const std::string& mediaType, AVCaptureDevicePosition position);
    explicit AVCaptureDeviceDiscoverySession(std::vector<std::shared_ptr<AVCaptureDevice>> devices);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    /// In the order of the types asked for, then in the driver's; each device once.
    const std::vector<std::shared_ptr<AVCaptureDevice>>& devices() const { return devices_; }

private:
    std::vector<std::shared_ptr<AVCaptureDevice>> devices_;
};

}
