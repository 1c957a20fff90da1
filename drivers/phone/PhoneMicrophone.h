// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/CaptureDriver.h"
#include "platform/Foundation/DispatchQueue.h"

#include "drivers/phone/PhoneWorld.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

namespace velmora::drivers::phone {

/// The microphone hears the footage's sound in a loop, in step with what the cameras see, or a quiet tone.
class PhoneMicrophone final : public CaptureDeviceDriver, public std::enable_shared_from_this<PhoneMicrophone> {
public:
    explicit PhoneMicrophone(std::shared_ptr<PhoneWorld> world);

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

    void sendAudio();
    void end();

private:
    void tick(std::uint64_t run);
    void deliverPiece();
    double clockRate() const; ///< 1: as fast as the phone's

    const std::shared_ptr<PhoneWorld> world_;
    const DispatchQueue queue_ { "org.velmora.phone.microphone" };
    std::mutex mutex_;
    std::function<void(std::shared_ptr<CMSampleBuffer>)> deliver_; // empty while it is not started
    std::uint64_t run_ = 0, sequence_ = 0, pieces_ = 0; // of this run
    double begin_ = 0, nextPiece_ = 0; // by the clock in force
    double beginOfWorld_ = 0; // seconds on the phone's clock
};

}
