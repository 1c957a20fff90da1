// SPDX-License-Identifier: Apache-2.0
#include "apps/camera/FramesCommand.h"

#include "velmora/capture/QVCameraController.h"

#include "platform/AVFoundation/AVCaptureDevice.h"
#include "platform/AVFoundation/AVCaptureSession.h"
#include "platform/AVFoundation/AVCaptureVideoDataOutput.h"
#include "platform/AVFoundation/CaptureDriver.h"

#include <memory>

#include "apps/camera/FrameAges.h"
#include "apps/camera/OpenCamera.h"
#include "apps/camera/Quantile.h"
#include "apps/camera/Refusal.h"

namespace velmora::camera {

namespace {

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
    const auto ages = std::make_shared<FrameAges>(wanted);
    controller.beginReceivingVideoSampleBuffer(
        [ages](const std::shared_ptr<CMSampleBuffer>& buffer) { ages->add(*buffer); });
    ages->waitForAll(*camera_);
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
