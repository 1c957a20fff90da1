// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/CaptureDriver.h"
#include "platform/Foundation/DispatchQueue.h"

#include "drivers/phone/CameraModel.h"
#include "drivers/phone/PhoneWorld.h"
#include "drivers/phone/Sensor.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace velmora::drivers::phone {

/// One camera. Its queue is the thread of the device: frames, stills and what the device tells by itself come from
/// there.
class PhoneCamera final : public CaptureDeviceDriver, public std::enable_shared_from_this<PhoneCamera> {
public:
    /// `unplugged` is called once, when it was.
    PhoneCamera(std::shared_ptr<PhoneWorld> world, std::string id, std::function<void()> unplugged);

    CaptureDeviceDescription description() const override;
    void setEvents(CaptureDeviceEvents events) override;
    std::pair<bool, std::optional<NSError>> open() override;
    std::optional<NSError> lock() override;
    void unlock() override;
    void apply(
        const CaptureSettings& settings, const std::string& what, std::function<void(CMTime)> tookEffect) override;
    std::optional<NSError> start(
        const StreamRequest& request, std::function<void(std::shared_ptr<CMSampleBuffer>)> deliver) override;
    void stop() override;
    void captureStill(const StillRequest& request, StillEvents events) override;
    std::optional<AVCaptureWhiteBalanceGains> gains(
        const AVCaptureWhiteBalanceTemperatureAndTintValues& values) const override;

    const std::string& id() const { return id_; }
    bool isOpened() const;
    bool isStarted() const;
    bool isUnplugged() const;

    // What the test asks for.
    void sendFrame();
    void showFaces(std::size_t count);
    void interrupt(const std::optional<NSError>& error);
    void resume();
    void fail(const NSError& error);
    /// After that many more frames; 0: now.
    void unplug(std::uint64_t afterFrame);
    void moveLens(float position);
    void report(const CaptureReadings& readings);
    /// Nothing more comes.
    void end();
    /// The phone goes, and perhaps its clock; waits for what the camera does at this moment, where threads do it.
    void endWithPhone(bool waits);

private:
    /// What the device has set itself to.
    struct Condition {
        CaptureSettings settings;
        model::Exposure exposure;
        float lens = 1;
        AVCaptureWhiteBalanceGains gains { 2, 1, 1.6F };
    };
    struct Still {
        StillRequest request;
        StillEvents events;
        std::vector<PhotoEvent> script;
        bool natural = true;
        Shot shot;
        model::Exposure exposure;
        AVCaptureWhiteBalanceGains gains;
        ExposureInfo info;
        std::size_t next = 0;
    };

    const Format& format(const Camera& camera, std::size_t index) const;
    double secondsOfFrame(const Camera& camera, const Condition& condition) const;
    Condition target(const Camera& camera, const CaptureSettings& settings, const Condition& now) const;
    void takeEffect(
        const CaptureSettings& settings, std::uint64_t change, const std::function<void(CMTime)>& tookEffect);
    void settle(std::uint64_t change);
    CaptureReadings readings(const Condition& condition) const;
    std::shared_ptr<const CaptureDeviceEvents> events() const;
    /// In a video stabilisation mode, 0 for a still.
    Shot shot(
        const Camera& camera, const Condition& condition, CMVideoDimensions size, double lamp, int stabilization) const;

    void tick(std::uint64_t run);
    void deliverFrame();
    void unplugNow();
    std::vector<PhotoEvent> naturalScript(const StillRequest& request, bool flash) const;
    void expose(const std::shared_ptr<Still>& still);
    void playNext(const std::shared_ptr<Still>& still);
    void play(Still& still, const PhotoEvent& event);
    std::optional<CapturedStill> picture(Still& still, const PhotoEvent& event);

    const std::shared_ptr<PhoneWorld> world_;
    const std::string id_;
    const DispatchQueue queue_;
    const std::function<void()> whenUnplugged_;

    mutable std::mutex mutex_; // what follows; never held while somebody is called
    std::shared_ptr<const CaptureDeviceEvents> events_ = std::make_shared<const CaptureDeviceEvents>();
    mutable CaptureDeviceDescription lastDescription_;
    Condition condition_;
    bool locked_ = false, opened_ = false, started_ = false, interrupted_ = false, broken_ = false, unplugged_ = false,
         ended_ = false;
    std::uint64_t changes_ = 0, changeInForce_ = 0;
    std::uint64_t run_ = 0; // counts the starts: what an earlier one began ends by itself
    StreamRequest request_;
    std::function<void(std::shared_ptr<CMSampleBuffer>)> deliver_;
    double nextFrame_ = 0; // by the clock in force
    std::uint64_t sequence_ = 0, framesOfRun_ = 0;
    std::optional<std::uint64_t> unplugAfter_;

    // On the queue alone.
    struct Rendered {
        std::shared_ptr<Scene> scene;
        Shot shot;
        std::uint32_t pixelFormat = 0;
        std::shared_ptr<CVPixelBuffer> pixels;
    };
    struct ReadOut {
        std::shared_ptr<Scene> scene;
        Shot shot;
        std::array<double, 3> asShot {};
        std::optional<RawImage> raw;
    };
    std::shared_ptr<CVPixelBuffer> rendered(Rendered& cache, const Shot& shot, std::uint32_t pixelFormat);
    Rendered frame_, still_, preview_;
    ReadOut raw_;
};

}
