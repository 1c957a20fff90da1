// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/AVCaptureMovieFileOutput.h"

#include "platform/AVFoundation/AVCaptureDevice.h"
#include "platform/AVFoundation/AVCaptureSession.h"
#include "platform/AVFoundation/AVError.h"
#include "platform/AVFoundation/CaptureOrientation.h"
#include "platform/AVFoundation/MovieFileRecording.h"
#include "platform/CoreLocation/CLLocation.h"
#include "platform/Foundation/Clock.h"

#include <filesystem>
#include <system_error>
#include <utility>

namespace velmora {

namespace {

NSError error(AVError code, const std::string& text)
{
    return NSError(AVFoundationErrorDomain, code, text);
}

/// Why a recording to this file cannot begin.
std::optional<NSError> hindrance(const std::shared_ptr<NSURL>& url, const std::shared_ptr<AVCaptureConnection>& video,
    const std::shared_ptr<AVCaptureSession>& session)
{
    if (!url)
        return error(AVErrorUnknown, "A recording needs a file: give the place of one that does not exist.");
    std::error_code unreadable;
    if (std::filesystem::exists(url->path(), unreadable))
        return error(AVErrorFileAlreadyExists,
            "The movie cannot be recorded to " + url->path() + ": a file is there already. Choose another name.");
    if (!session || !session->isRunning() || !video)
        return error(AVErrorSessionNotRunning,
            "Nothing can be recorded: the session does not run, or has no camera. Start it first.");
    return std::nullopt;
}

}

std::shared_ptr<AVCaptureMovieFileOutput> AVCaptureMovieFileOutput::init()
{
    const auto driver = CaptureDriver::installed();
    return !driver || driver->canCreateOutput("movie") ? make<AVCaptureMovieFileOutput>() : nullptr;
}

AVCaptureMovieFileOutput::~AVCaptureMovieFileOutput()
{
    end(std::nullopt);
}

const ClassInfo& AVCaptureMovieFileOutput::staticClass()
{
    using Self = AVCaptureMovieFileOutput;
    static constexpr auto methods = methodTable(method<&Self::maxRecordedDuration>("maxRecordedDuration"),
        method<&Self::setMaxRecordedDuration>("setMaxRecordedDuration:"),
        method<&Self::minFreeDiskSpaceLimit>("minFreeDiskSpaceLimit"),
        method<&Self::setMinFreeDiskSpaceLimit>("setMinFreeDiskSpaceLimit:"),
        method<&Self::startRecordingToOutputFileURL>("startRecordingToOutputFileURL:recordingDelegate:"),
        method<&Self::stopRecording>("stopRecording"), method<&Self::isRecording>("isRecording"),
        method<&Self::recordedDuration>("recordedDuration"));
    static constexpr auto classMethods = methodTable(classMethod<&Self::init>("init"));
    static const ClassInfo info { "Velmora.AVCaptureMovieFileOutput", &AVCaptureOutput::staticClass(), methods,
        classMethods };
    return info;
}

CMTime AVCaptureMovieFileOutput::maxRecordedDuration() const
{
    const std::lock_guard lock(mutex_);
    return maxRecordedDuration_;
}

void AVCaptureMovieFileOutput::setMaxRecordedDuration(const CMTime& duration)
{
    const std::lock_guard lock(mutex_);
    maxRecordedDuration_ = duration;
}

std::uint64_t AVCaptureMovieFileOutput::minFreeDiskSpaceLimit() const
{
    const std::lock_guard lock(mutex_);
    return minFreeDiskSpaceLimit_;
}

void AVCaptureMovieFileOutput::setMinFreeDiskSpaceLimit(std::uint64_t bytes)
{
    const std::lock_guard lock(mutex_);
    minFreeDiskSpaceLimit_ = bytes;
}

void AVCaptureMovieFileOutput::setLocation(std::shared_ptr<CLLocation> location)
{
    const std::lock_guard lock(mutex_);
    location_ = std::move(location);
}

void AVCaptureMovieFileOutput::setMetadata(std::map<std::string, std::string> metadata)
{
    const std::lock_guard lock(mutex_);
    metadata_ = std::move(metadata);
}

MovieSettings AVCaptureMovieFileOutput::settings(const AVCaptureConnection* video) const
{
    MovieSettings settings;
    settings.creationDate = CFAbsoluteTimeGetCurrent();
    settings.audio = connectionWithMediaType(AVMediaTypeAudio) != nullptr;
    if (video) {
        const auto orientation = pictureOrientation(*video);
        settings.rotation = orientation.rotation;
        settings.mirrored = orientation.mirrored;
        const double frame = CMTimeGetSeconds(video->device()->activeVideoMinFrameDuration());
        settings.frameRate = frame > 0 ? 1 / frame : settings.frameRate;
    }
    const std::lock_guard lock(mutex_);
    settings.bytesToKeepFree = minFreeDiskSpaceLimit_;
    settings.metadata = metadata_;
    if (location_) {
        settings.latitude = location_->coordinate().latitude;
        settings.longitude = location_->coordinate().longitude;
        if (location_->verticalAccuracy() >= 0)
            settings.altitude = location_->altitude();
    }
    return settings;
}

void AVCaptureMovieFileOutput::startRecordingToOutputFileURL(
    const std::shared_ptr<NSURL>& url, const std::weak_ptr<AVCaptureFileOutputRecordingDelegate>& delegate)
{
    const auto video = connectionWithMediaType(AVMediaTypeVideo);
    const auto ended
        = [weak = weakFromThis(*this), url, delegate, connections = connections()](const std::optional<NSError>& why) {
              if (const auto told = delegate.lock())
                  told->captureOutput(weak.lock(), url, connections, why);
          };
    const auto why = hindrance(url, video, session());
    auto recording = std::make_shared<MovieFileRecording>(
        url ? url->path() : std::string(), settings(video.get()), maxRecordedDuration(), ended);
    {
        const std::lock_guard lock(mutex_);
        if (recording_ && recording_->isRecording())
            return;
        recording_ = recording;
    }
    if (why)
        recording->stop(why);
}

void AVCaptureMovieFileOutput::stopRecording()
{
    end(std::nullopt);
}

std::shared_ptr<MovieFileRecording> AVCaptureMovieFileOutput::recording() const
{
    const std::lock_guard lock(mutex_);
    return recording_;
}

void AVCaptureMovieFileOutput::end(const std::optional<NSError>& why)
{
    if (const auto running = recording())
        running->stop(why);
}

bool AVCaptureMovieFileOutput::isRecording() const
{
    const auto latest = recording();
    return latest && latest->isRecording();
}

CMTime AVCaptureMovieFileOutput::recordedDuration() const
{
    const auto latest = recording();
    return latest ? latest->duration() : kCMTimeZero;
}

AVCaptureRecordingCounts AVCaptureMovieFileOutput::recordingCounts() const
{
    const auto latest = recording();
    return latest ? latest->counts() : AVCaptureRecordingCounts {};
}

std::vector<std::string> AVCaptureMovieFileOutput::connectionTypesFor(const std::string& mediaType) const
{
    return mediaType == AVMediaTypeVideo || mediaType == AVMediaTypeAudio ? std::vector { mediaType }
                                                                          : std::vector<std::string> {};
}

void AVCaptureMovieFileOutput::receive(
    const std::shared_ptr<CMSampleBuffer>& buffer, const std::shared_ptr<AVCaptureConnection>&)
{
    if (const auto running = recording())
        running->append(buffer);
}

void AVCaptureMovieFileOutput::cameraChanged()
{
    end(error(AVErrorSessionConfigurationChanged,
        "The recording ended because the camera was changed, or left the session; what was seen before is in the "
        "file."));
}

void AVCaptureMovieFileOutput::cameraFailed(const NSError& why)
{
    end(why);
}

void AVCaptureMovieFileOutput::sessionStopped()
{
    end(error(AVErrorSessionNotRunning,
        "The recording ended because the session was stopped; what was seen before is in the file."));
}

}
