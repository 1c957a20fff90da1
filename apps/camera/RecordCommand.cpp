// SPDX-License-Identifier: Apache-2.0
#include "apps/camera/RecordCommand.h"

#include "velmora/capture/QVCameraController.h"

#include "platform/AVFoundation/AVCaptureDevice.h"
#include "platform/AVFoundation/AVCaptureMovieFileOutput.h"
#include "platform/AVFoundation/AVCaptureSession.h"
#include "platform/AVFoundation/AVError.h"
#include "platform/AVFoundation/CaptureDriver.h"
#include "platform/Foundation/Clock.h"
#include "platform/Foundation/NSURL.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "apps/camera/Interruption.h"
#include "apps/camera/OpenCamera.h"
#include "apps/camera/Refusal.h"

namespace velmora::camera {

namespace {

constexpr double longestClosing = 60, longestSilence = 10; // seconds

std::string sizesOf(const AVCaptureDevice& device)
{
    std::string sizes;
    for (const auto& format : device.formats()) {
        const auto size = format->formatDescription()->dimensions();
        const auto text = std::to_string(size.width) + "x" + std::to_string(size.height);
        if (sizes.find(text) == std::string::npos)
            sizes += (sizes.empty() ? "" : ", ") + text;
    }
    return sizes;
}

bool canDo(const AVCaptureDeviceFormat& format, double framesPerSecond)
{
    const auto& ranges = format.videoSupportedFrameRateRanges();
    return std::any_of(ranges.begin(), ranges.end(), [&](const auto& range) {
        return framesPerSecond >= range->minFrameRate() && framesPerSecond <= range->maxFrameRate();
    });
}

std::string ratesOf(const AVCaptureDeviceFormat& format)
{
    double lowest = 0, highest = 0;
    for (const auto& range : format.videoSupportedFrameRateRanges()) {
        lowest = lowest > 0 ? std::min(lowest, range->minFrameRate()) : range->minFrameRate();
        highest = std::max(highest, range->maxFrameRate());
    }
    return std::to_string(std::lround(lowest)) + " to " + std::to_string(std::lround(highest));
}

std::shared_ptr<AVCaptureMovieFileOutput> movieOutput(const QVCameraController& controller)
{
    for (const auto& output : controller.captureSession()->outputs())
        if (auto movie = std::dynamic_pointer_cast<AVCaptureMovieFileOutput>(output))
            return movie;
    throw Refusal("No movie can be recorded", "this camera's driver records none", "use another --camera");
}

}

/// On the main thread.
struct RecordCommand::Recording {
    double date = 0; ///< seconds since 1970
    bool asked = false; ///< to stop
    bool ended = false;
    std::shared_ptr<NSURL> file;
    std::optional<NSError> error;
    double seconds = 0;
    AVCaptureRecordingCounts counts;
};

RecordCommand::RecordCommand(const Options& options, Report& report, const Interruption& interruption)
    : options_(options)
    , report_(report)
    , interruption_(interruption)
    , folder_(PictureFolder::chosen(options.record.out, options.global.library))
{
}

RecordCommand::~RecordCommand() = default;

void RecordCommand::run()
{
    const auto intent = options_.record.audio ? QVCameraCaptureIntentAudio : QVCameraCaptureIntentReserved;
    camera_ = std::make_unique<OpenCamera>(options_, interruption_, intent, AVCaptureSessionPresetHigh);
    const auto& controller = *camera_->controller();
    report_.setDriver(CaptureDriver::installed()->name());
    report_.setCamera(controller.currentVideoCaptureDevice()->uniqueID());
    if (options_.record.audio && !AVCaptureDevice::defaultDeviceWithMediaType(AVMediaTypeAudio))
        throw Refusal("No sound can be recorded", "there is no microphone", "leave --audio out");
    chooseFormat();
    camera_->controller()->prepareToCaptureVideo();
    movieOutput(controller);
    camera_->start();
    const auto recording = record();
    store(*recording);
    const bool done = whyStopped(*recording) == "seconds" || whyStopped(*recording) == "limit";
    if (!done || (recording->error && !recording->asked))
        throw refusal(*recording);
}

void RecordCommand::chooseFormat()
{
    const auto device = camera_->controller()->currentVideoCaptureDevice();
    const auto rate = options_.record.framesPerSecond;
    auto format = device->activeFormat();
    if (const auto& wanted = options_.record.size) {
        const auto& all = device->formats();
        const auto fits = [&](const auto& each) {
            const auto size = each->formatDescription()->dimensions();
            return size.width == wanted->width && size.height == wanted->height;
        };
        auto found
            = std::find_if(all.begin(), all.end(), [&](const auto& each) { return fits(each) && canDo(*each, rate); });
        if (found == all.end())
            found = std::find_if(all.begin(), all.end(), fits);
        if (found == all.end())
            throw Refusal(
                "--size " + std::to_string(wanted->width) + "x" + std::to_string(wanted->height) + " cannot be used",
                "this camera has no such pictures", "use one of: " + sizesOf(*device));
        format = *found;
    }
    if (format && !canDo(*format, rate))
        throw Refusal("--fps " + std::to_string(rate) + " cannot be used",
            "at this size the camera gives " + ratesOf(*format) + " frames a second", "use a value in that range");
    // The controller takes no rate at the very end of a range; a camera does.
    std::optional<NSError> error;
    if (!device->lockForConfiguration(&error))
        throw Refusal("The camera cannot be set", camera_->reason(error, "somebody else sets it now"), "try again");
    if (format != device->activeFormat())
        device->setActiveFormat(format);
    const auto frame = CMTimeMake(1, static_cast<std::int32_t>(rate));
    device->setActiveVideoMinFrameDuration(frame);
    device->setActiveVideoMaxFrameDuration(frame);
    device->unlockForConfiguration();
}

std::shared_ptr<RecordCommand::Recording> RecordCommand::record()
{
    auto& controller = *camera_->controller();
    const auto output = movieOutput(controller);
    const auto recording = std::make_shared<Recording>();
    recording->date = CFAbsoluteTimeGetCurrent() + NSTimeIntervalSince1970;
    const auto written = [recording](std::shared_ptr<NSURL> file, std::optional<NSError> error) {
        DispatchQueue::main().async([recording, file = std::move(file), error = std::move(error)] {
            recording->file = file;
            recording->error = error;
            recording->ended = true;
        });
    };
    constexpr std::int32_t fine = 1000000;
    controller.beginCapturingVideoWithLimit(
        options_.record.limit ? CMTimeMakeWithSeconds(*options_.record.limit, fine) : kCMTimeInvalid, written);
    const auto recorded = [&] { return CMTimeGetSeconds(controller.currentCapturedVideoDuration()); };
    const auto over = [&] {
        return recording->ended || interruption_.signal() != 0 || camera_->hasFailed()
            || recorded() >= options_.record.seconds;
    };
    // The movie's own time counts; a camera that delivers nothing would never reach it.
    constexpr double frame = 0.01;
    for (double silence = 0; silence < longestSilence && !over();) {
        const double before = recorded();
        const double rest = std::max(frame, std::min(longestSilence, options_.record.seconds - before));
        OpenCamera::finishUntil(over, rest);
        silence = recorded() > before ? 0 : silence + rest;
    }
    recording->asked = !recording->ended && !camera_->hasFailed();
    recording->seconds = recorded();
    controller.endCapturingVideo(written);
    if (!OpenCamera::finishUntil([&] { return recording->ended; }, longestClosing))
        throw Refusal("The movie was not completed", "the disk did not take it within 60 s",
            "look for it in the temporary folder; the next recording completes it");
    recording->seconds = recorded();
    recording->counts = output->recordingCounts();
    return recording;
}

std::string RecordCommand::whyStopped(const Recording& recording) const
{
    if (recording.error && recording.error->code() == AVErrorDiskFull)
        return "disk";
    if (interruption_.signal() != 0 && recording.asked)
        return "signal";
    if (!recording.error)
        return recording.asked ? "seconds" : "limit";
    return "unplugged";
}

Refusal RecordCommand::refusal(const Recording& recording) const
{
    const std::string kept = stored_ ? "; what was recorded is in " + stored_->string() : "";
    const auto why = whyStopped(recording);
    if (why == "signal")
        return { "Stopped", "a signal came", "start again to go on", ExitBySignal + interruption_.signal() };
    const auto reason = camera_->reason(recording.error, "the camera stopped") + kept;
    if (why == "disk")
        return { "The recording ended early", reason, "free some space, or record elsewhere with TMPDIR" };
    return { "The recording ended early", reason, "try again" };
}

void RecordCommand::store(const Recording& recording)
{
    MovieReport report;
    report.stopped = whyStopped(recording);
    report.seconds = recording.seconds;
    report.frames = recording.counts.frames;
    report.late = recording.counts.late;
    report.dropped = recording.counts.dropped();
    const auto file = recording.file ? recording.file->path() : std::string();
    if (!file.empty() && std::filesystem::exists(file)) {
        try {
            stored_ = folder_.store(movieNameForDate(recording.date), { { ".mov", {}, file } }).front();
        } catch (const Refusal& refused) {
            throw Refusal(refused.subject(), refused.why() + "; the movie stays in " + file, refused.advice());
        }
        unlink(file.c_str());
        report.movie = stored_;
    }
    report_.tell(report);
}

}
