// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/CaptureDriver.h"
#include "platform/Foundation/DispatchQueue.h"

#include "drivers/pipewire/Daemon.h"

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace velmora::drivers::pipewire {

/// A microphone of a daemon: 48 kHz, one or two channels.
class Microphone final : public CaptureDeviceDriver {
public:
    Microphone(std::shared_ptr<Daemon> daemon, std::string identity);
    ~Microphone() override;

    CaptureDeviceDescription description() const override;
    void setEvents(CaptureDeviceEvents events) override;
    std::pair<bool, std::optional<NSError>> open() override;
    std::optional<NSError> lock() override { return std::nullopt; }
    void unlock() override { }
    void apply(
        const CaptureSettings& settings, const std::string& what, std::function<void(CMTime)> tookEffect) override;
    std::optional<NSError> start(
        const StreamRequest& request, std::function<void(std::shared_ptr<CMSampleBuffer>)> deliver) override;
    void stop() override;
    /// A microphone takes no picture: it is done with an error.
    void captureStill(const StillRequest& request, StillEvents events) override;

    // The daemon's news, with the daemon locked.
    void appeared(const std::shared_ptr<Node>& node);
    void vanished(const std::string& why, bool waits = true);
    /// The daemon is back: either this comes soon, or it is gone.
    void waitForReturn();
    void givenUp();

private:
    NSError gone(const std::string& why) const;
    void tell(std::function<void(const CaptureDeviceEvents&)> call);
    void chooseFormat(const spa_pod* format);
    void process();
    void endStream();

    const std::shared_ptr<Daemon> daemon_;
    const std::string identity_;
    const DispatchQueue queue_;

    mutable std::mutex mutex_; // these two
    CaptureDeviceDescription description_;
    std::shared_ptr<const CaptureDeviceEvents> events_ = std::make_shared<const CaptureDeviceEvents>();

    // With the daemon locked.
    std::shared_ptr<Node> node_;
    pw_stream* stream_ = nullptr;
    spa_hook hook_ {};
    std::function<void(std::shared_ptr<CMSampleBuffer>)> deliver_;
    std::int32_t channels_ = 0;
    double rate_ = 0;
    std::uint64_t sequence_ = 0;
    bool wanted_ = false, interrupted_ = false;
    std::unique_ptr<cameras::LoopTimer> away_;
};

}
