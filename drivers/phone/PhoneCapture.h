// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/CaptureDriver.h"

#include "drivers/phone/PhoneCamera.h"
#include "drivers/phone/PhoneMicrophone.h"

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace velmora::drivers::phone {

/// The phone's cameras and its microphone as one family, with the refusals that the description asks for.
class PhoneCapture final : public CaptureDriver, public std::enable_shared_from_this<PhoneCapture> {
public:
    explicit PhoneCapture(std::shared_ptr<PhoneWorld> world);
    ~PhoneCapture() override;

    std::string name() const override { return "virtual"; }
    std::vector<std::shared_ptr<CaptureDeviceDriver>> devices() override;
    std::shared_ptr<CaptureDeviceDriver> defaultDevice(const std::string& mediaType) override;
    AVAuthorizationStatus authorizationStatus(const std::string& mediaType) override;
    /// While nobody has decided, the answer waits for a change of the description.
    void requestAccess(const std::string& mediaType, std::function<void(bool)> answer) override;
    bool canAddInput(const std::string& uniqueID, const std::string& preset) override;
    bool canSetPreset(const std::string& preset) override;
    std::optional<double> startDelay() override;
    bool canCreateOutput(const std::string& kind) override;
    std::vector<std::string> photoConnections() override;
    bool previewConnection() override;
    std::optional<NSError> recorded(std::uint64_t bytes) override;
    void note(const std::string& what, const std::string& device) override;

    /// Throws NSException (NSInvalidArgumentException) for a camera that the phone does not have.
    std::shared_ptr<PhoneCamera> camera(const std::string& id);
    /// Those that run; when none does, those that were opened.
    std::vector<std::shared_ptr<PhoneCamera>> inUse();
    std::vector<std::shared_ptr<PhoneCamera>> started();
    std::vector<std::shared_ptr<PhoneCamera>> used(); ///< All that anybody has asked for.
    PhoneMicrophone& microphone() { return *microphone_; }
    void setDevicePresence(DevicePresence told) override;
    /// One of the phone's devices, by its id, is there now, or is not any more.
    void tellPresence(const std::string& id, bool isThere);
    /// The user has decided.
    void cameraPermissionChanged(int status);

private:
    std::shared_ptr<PhoneCamera> made(const std::string& id);

    const std::shared_ptr<PhoneWorld> world_;
    const std::shared_ptr<PhoneMicrophone> microphone_;
    const DispatchQueue queue_ { "org.velmora.phone.permissions" };
    std::mutex mutex_;
    std::map<std::string, std::shared_ptr<PhoneCamera>> cameras_;
    std::vector<std::function<void(bool)>> questions_;
    DevicePresence presence_;
};

}
