// SPDX-License-Identifier: Apache-2.0
#include "apps/camera/LatencyCommand.h"

#include "velmora/capture/QVCameraController.h"

#include "platform/AVFoundation/AVCaptureDevice.h"
#include "platform/AVFoundation/AVCaptureSession.h"
#include "platform/AVFoundation/CaptureDriver.h"

#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <optional>
#include <system_error>

#include "apps/camera/FrameAges.h"
#include "apps/camera/OpenCamera.h"
#include "apps/camera/PictureFolder.h"
#include "apps/camera/Refusal.h"
#include "apps/camera/storePhoto.h"
#include "apps/camera/takePhoto.h"

namespace velmora::camera {

namespace {

using Clock = std::chrono::steady_clock;

double milliseconds(Clock::time_point from, Clock::time_point to)
{
    return std::chrono::duration<double, std::milli>(to - from).count();
}

/// Where photos are written that nobody keeps.
class PassingFolder {
public:
    PassingFolder()
        : path_(std::filesystem::temp_directory_path() / ("velmora-latency-" + std::to_string(getpid())))
    {
    }
    ~PassingFolder()
    {
        std::error_code alreadyGone;
        std::filesystem::remove_all(path_, alreadyGone);
    }
    PassingFolder(const PassingFolder&) = delete;
    PassingFolder& operator=(const PassingFolder&) = delete;

    const std::filesystem::path& path() const { return path_; }

private:
    const std::filesystem::path path_;
};

/// The session's first frame, and how old frames are when a processor has them.
void measureFrames(const Options& options, Report& report, const Interruption& interruption)
{
    constexpr std::size_t frames = 30;
    OpenCamera camera(options, interruption, QVCameraCaptureIntentSampleBuffers, AVCaptureSessionPresetHigh);
    auto& controller = *camera.controller();
    report.setDriver(CaptureDriver::installed()->name());
    report.setCamera(controller.currentVideoCaptureDevice()->uniqueID());
    const auto ages = std::make_shared<FrameAges>(frames);
    controller.beginReceivingVideoSampleBuffer(
        [ages](const std::shared_ptr<CMSampleBuffer>& buffer) { ages->add(*buffer); });
    const auto started = Clock::now();
    camera.start();
    ages->waitForAll(camera);
    controller.endReceivingSampleBuffer();
    const auto sorted = ages->sorted();
    if (sorted.size() < frames)
        throw Refusal("Only " + std::to_string(sorted.size()) + " of " + std::to_string(frames) + " frames came",
            camera.reason({}, "the camera delivered none for 10 s"), "try again");
    report.beginLatencies(milliseconds(started, *ages->first()), sorted);
}

}

void measureLatency(const Options& options, Report& report, const Interruption& interruption)
{
    const PassingFolder passing;
    const PictureFolder folder(options.latency.out.value_or(passing.path()));
    measureFrames(options, report, interruption);
    OpenCamera camera(options, interruption, QVCameraCaptureIntentStillImage);
    camera.controller()->prepareToCaptureStillImage();
    camera.start();
    std::optional<Clock::time_point> before;
    for (int i = 0; i < options.latency.count; ++i) {
        const auto taken = takePhoto(camera, false);
        storePhoto(folder, *taken.photo);
        const auto stored = Clock::now();
        PhotoLatency latency { milliseconds(taken.request, taken.exposure), milliseconds(taken.exposure, taken.data),
            milliseconds(taken.data, stored), milliseconds(taken.request, stored), {} };
        if (before)
            latency.sinceLast = milliseconds(*before, taken.request);
        before = taken.request;
        report.add(latency);
    }
    report.endLatencies();
}

}
