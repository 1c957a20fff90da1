// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/DispatchQueue.h"

#include "drivers/Camera.h"
#include "drivers/pipewire/Daemon.h"
#include "drivers/pipewire/Microphone.h"
#include "drivers/pipewire/openPipeWire.h"

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace velmora::drivers::pipewire {

/// The cameras and microphones of one daemon.
class Capture final : public DaemonCapture {
public:
    explicit Capture(const DaemonWish& wish);
    ~Capture() override;

    std::string name() const override { return "pipewire"; }
    std::vector<std::shared_ptr<CaptureDeviceDriver>> devices() override;
    std::shared_ptr<CaptureDeviceDriver> defaultDevice(const std::string& mediaType) override;
    /// Whoever reaches the daemon may use its cameras: a portal asks before it lets anybody reach it.
    AVAuthorizationStatus authorizationStatus(const std::string& mediaType) override;
    void requestAccess(const std::string& mediaType, std::function<void(bool)> answer) override;
    PictureCounts pictureCounts() const override;
    bool isConnected() const override;
    void setDevicePresence(DevicePresence told) override;

private:
    void tell(const std::string& identity, bool isThere);
    void appeared(const std::shared_ptr<Node>& node);
    void vanished(const std::shared_ptr<Node>& node);
    template <class Call> void forEach(Call call);

    const std::shared_ptr<cameras::PictureCounters> counters_ = std::make_shared<cameras::PictureCounters>();
    const std::shared_ptr<Daemon> daemon_;
    const DispatchQueue queue_ { "org.velmora.pipewire.permissions" };

    // With the daemon locked.
    DevicePresence presence_;
    std::set<std::string> present_; // identities, as far as was told
    std::map<std::string, std::shared_ptr<cameras::Camera>> cameras_;
    std::map<std::string, std::shared_ptr<Microphone>> microphones_;
};

}
