// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/DispatchQueue.h"

#include "drivers/Camera.h"
#include "drivers/v4l2/Device.h"
#include "drivers/v4l2/Loop.h"
#include "drivers/v4l2/openV4L2.h"

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace velmora::drivers::v4l2 {

/// The cameras of one machine's kernel.
class Capture final : public KernelCapture {
public:
    explicit Capture(KernelWish wish);
    ~Capture() override;
    Capture(const Capture&) = delete;
    Capture& operator=(const Capture&) = delete;

    std::string name() const override { return "v4l2"; }
    std::vector<std::shared_ptr<CaptureDeviceDriver>> devices() override;
    std::shared_ptr<CaptureDeviceDriver> defaultDevice(const std::string& mediaType) override;
    /// Whom the kernel lets open a camera may use it.
    AVAuthorizationStatus authorizationStatus(const std::string& mediaType) override;
    void requestAccess(const std::string& mediaType, std::function<void(bool)> answer) override;
    cameras::PictureCounts pictureCounts() const override;
    void setDevicePresence(DevicePresence told) override;

private:
    void watchFolder();
    void somethingHappened();
    void rescan();
    void unplugged(const std::string& node);
    void take(const std::shared_ptr<Device>& device);

    const KernelWish wish_;
    const std::shared_ptr<cameras::PictureCounters> counters_ = std::make_shared<cameras::PictureCounters>();
    const std::shared_ptr<Loop> loop_;
    const DispatchQueue queue_ { "org.velmora.v4l2.permissions" };
    int inotify_ = -1;

    // With the loop locked.
    DevicePresence presence_;
    Loop::Watch folderWatch_;
    std::unique_ptr<cameras::LoopTimer> rescanTimer_;
    std::map<std::string, std::shared_ptr<Device>> present_; // by node
    std::vector<std::string> gone_; // nodes whose devices said so, though they may still be listed
    double lookUntil_ = 0; // by the steady clock: one that went may be back without a word
    std::vector<std::string> order_; // identities, as they came
    std::map<std::string, std::shared_ptr<cameras::Camera>> cameras_; // by identity
};

}
