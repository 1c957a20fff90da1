// SPDX-License-Identifier: Apache-2.0
#include "apps/camera/FramesCommand.h"

#include "velmora/capture/QVCameraController.h"

#include "platform/AVFoundation/AVCaptureDevice.h"
#include "platform/AVFoundation/AVCaptureSession.h"
#include "platform/AVFoundation/AVCaptureVideoDataOutput.h"
#include "platform/AVFoundation/CaptureDriver.h"
#include "platform/Foundation/Scheduler.h"

#include <algorithm>
#include <cmath>
#include <mutex>
#include <vector>

#include "apps/camera/OpenCamera.h"
#include "apps/camera/Refusal.h"

namespace velmora::camera {

namespace {

constexpr double longestSilence = 10; // seconds

/// The ages of frames, from the processor's queue.
class Ages {
public:
    explicit Ages(std::size_t wanted)
        : wanted_(wanted)
    {
    }
    void add(double milliseconds)
    {
        const std::lock_guard lock(mutex_);
        if (all_.size() >= wanted_)
            return;
        all_.push_back(milliseconds);
        // The main run loop waits for the last one, and looks now and then whether any comes.
        if (all_.size() == wanted_ || all_.size() % 30 == 1)
            DispatchQueue::main().async([] {});
    }
    std::vector<double> sorted() const
    {
        const std::lock_guard lock(mutex_);
        auto result = all_;
        std::sort(result.begin(), result.end());
        return result;
    }
    std::size_t count() const
    {
        const std::lock_guard lock(mutex_);
        return all_.size();
    }

private:
    const std::size_t wanted_;
    mutable std::mutex mutex_;
    std::vector<double> all_;
};

/// The smallest value that so many of all do not exceed, by nearest rank.
double quantile(const std::vector<double>& sorted, double part)
{
    if (sorted.empty())
        return 0;
    const auto rank = static_cast<std::size_t>(std::ceil(part * static_cast<double>(sorted.size())));
    return sorted[std::clamp<std::size_t>(rank, 1, sorted.size()) - 1];
}

AVCaptureFrameCounts countsOf(const QVCameraController& controller)
{
    for (const auto& output : controller.captureSession()->outputs())
        if (const auto video = std::dynamic_pointer_cast<AVCaptureVideoDataOutput>(output))
            return video->frameCounts();
    return {};
}

}

FramesCommand::FramesCommand(const Options& options, Report& report, const Interruption& interruption)
    : options_(options)
    , report_(report)
    , interruption_(interruption)
{
}

FramesCommand::~FramesCommand() = default;

void FramesCommand::run()
{
    camera_ = std::make_unique<OpenCamera>(
        options_, interruption_, QVCameraCaptureIntentSampleBuffers, AVCaptureSessionPresetHigh);
    auto& controller = *camera_->controller();
    report_.setDriver(CaptureDriver::installed()->name());
    report_.setCamera(controller.currentVideoCaptureDevice()->uniqueID());
    camera_->start();
    const auto wanted = static_cast<std::size_t>(options_.frames.count);
    const auto ages = std::make_shared<Ages>(wanted);
    constexpr double toMilliseconds = 1000;
    controller.beginReceivingVideoSampleBuffer([ages](const std::shared_ptr<CMSampleBuffer>& buffer) {
        ages->add(
            (Scheduler::current().clock().now() - CMTimeGetSeconds(buffer->presentationTimeStamp())) * toMilliseconds);
    });
    // As long as frames come.
    for (std::size_t before = 0; ages->count() < wanted; before = ages->count()) {
        const auto more
            = [&] { return ages->count() >= wanted || ages->count() > before + 30 || camera_->hasFailed(); };
        camera_->turnUntil(more, longestSilence);
        if (ages->count() <= before)
            break;
    }
    controller.endReceivingSampleBuffer();
    const auto sorted = ages->sorted();
    const auto counts = countsOf(controller);
    constexpr double half = 0.5, almostAll = 0.99;
    report_.tell(FramesReport {
        sorted.size(), counts.late, counts.dropped(), quantile(sorted, half), quantile(sorted, almostAll) });
    if (sorted.size() < wanted)
        throw Refusal("Only " + std::to_string(sorted.size()) + " of " + std::to_string(wanted) + " frames came",
            camera_->reason({}, "the camera delivered none for 10 s"), "try again");
}

}
