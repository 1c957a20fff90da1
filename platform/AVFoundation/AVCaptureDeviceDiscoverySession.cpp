// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/AVCaptureDeviceDiscoverySession.h"

#include <algorithm>
#include <utility>

namespace velmora {

namespace {

bool isFoundAt(const CaptureDeviceDescription& description, AVCaptureDevicePosition position)
{
    return position == AVCaptureDevicePositionUnspecified
        || description.foundAt.value_or(description.position) == position;
}

void noteSearch(const std::vector<std::string>& types, AVCaptureDevicePosition position)
{
    const auto driver = CaptureDriver::installed();
    if (!driver)
        return;
    std::string what = "discovery at " + std::to_string(position) + ":";
    for (const auto& type : types)
        what += " " + type;
    driver->note(what, {});
}

}

std::shared_ptr<AVCaptureDeviceDiscoverySession> AVCaptureDeviceDiscoverySession::discoverySessionWithDeviceTypes(
    const std::vector<std::string>& types, const std::string& mediaType, AVCaptureDevicePosition position)
{
    noteSearch(types, position);
    const auto all = AVCaptureDevice::allDevices();
    std::vector<std::shared_ptr<AVCaptureDevice>> found;
    for (const auto& type : types) {
        for (const auto& device : all) {
            const auto description = device->deviceDescription();
            if (description.deviceType == type && description.mediaType == mediaType && isFoundAt(description, position)
                && std::find(found.begin(), found.end(), device) == found.end())
                found.push_back(device);
        }
    }
    return make<AVCaptureDeviceDiscoverySession>(std::move(found));
}

AVCaptureDeviceDiscoverySession::AVCaptureDeviceDiscoverySession(std::vector<std::shared_ptr<AVCaptureDevice>> devices)
    : devices_(std::move(devices))
{
}

const ClassInfo& AVCaptureDeviceDiscoverySession::staticClass()
{
    using Self = AVCaptureDeviceDiscoverySession;
    static constexpr auto methods = methodTable(method<&Self::devices>("devices"));
    static constexpr auto classMethods = methodTable(
        classMethod<&Self::discoverySessionWithDeviceTypes>("discoverySessionWithDeviceTypes:mediaType:position:"));
    static const ClassInfo info { "Velmora.AVCaptureDeviceDiscoverySession", &NSObject::staticClass(), methods,
        classMethods };
    return info;
}

}
