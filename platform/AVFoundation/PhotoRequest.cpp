// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/PhotoRequest.h"

#include "platform/AVFoundation/AVCaptureDevice.h"
#include "platform/AVFoundation/AVCapturePhoto.h"
#include "platform/AVFoundation/AVError.h"
#include "platform/AVFoundation/LivePhotoFrames.h"
#include "platform/AVFoundation/LivePhotoMovie.h"
#include "platform/AVFoundation/StillEncoder.h"
#include "platform/Foundation/Clock.h"
#include "platform/Foundation/Scheduler.h"

#include <utility>

namespace velmora {

namespace {

constexpr int jpegQuality = 95;
constexpr std::int32_t nanoseconds = 1000000000;

CMTime now()
{
    return CMTimeMakeWithSeconds(Scheduler::current().clock().now(), nanoseconds);
}

}

PhotoRequest::PhotoRequest(const AVCapturePhotoSettings& settings, Surroundings surroundings)
    : settings_(settings)
    , surroundings_(std::move(surroundings))
    , steps_("org.velmora.photoOutput.request")
{
    const auto& connection = surroundings_.connection;
    if (!connection)
        return;
    // The shot is what the camera was set to when it was asked for.
    const auto& device = *connection->device();
    device_ = device.deviceDescription();
    deviceSettings_ = device.settings();
    orientation_ = pictureOrientation(*connection);
    if (const double frame = CMTimeGetSeconds(deviceSettings_.maxFrameDuration); frame > 0)
        frameRate_ = 1 / frame;
}

void PhotoRequest::start()
{
    if (!surroundings_.connection) {
        fail(NSError(AVFoundationErrorDomain, AVErrorSessionNotRunning,
            "No photo can be taken: the session does not run, or it has no camera."));
        return;
    }
    const std::string depth = settings_.isDepthDataDeliveryEnabled() ? " depth" : "",
                      matte = settings_.isPortraitEffectsMatteDeliveryEnabled() ? " matte" : "";
    if (const auto driver = CaptureDriver::installed())
        driver->note("capturePhoto" + depth + matte, device_->uniqueID);
    surroundings_.connection->device()->driver()->captureStill(stillRequest(), events());
}

StillRequest PhotoRequest::stillRequest() const
{
    StillRequest request;
    request.processed = settings_.wantsProcessedPhoto();
    if (settings_.rawPhotoPixelFormatType() != 0)
        request.rawFormat = settings_.rawPhotoPixelFormatType();
    request.flashMode = static_cast<int>(settings_.flashMode());
    if (const auto& preview = settings_.previewPhotoFormat()) {
        if (const auto format = valueIn<std::int64_t>(*preview, kCVPixelBufferPixelFormatTypeKey))
            request.previewFormat = static_cast<std::uint32_t>(*format);
        request.previewWidth
            = static_cast<std::int32_t>(valueIn<std::int64_t>(*preview, kCVPixelBufferWidthKey).value_or(0));
    }
    request.livePhoto = surroundings_.frames != nullptr;
    return request;
}

StillEvents PhotoRequest::events()
{
    const auto self = shared_from_this();
    StillEvents events;
    events.shutter = [self](bool flash) { self->shutter(flash); };
    events.processed = [self](std::optional<CapturedStill> still, const std::optional<NSError>& error) {
        self->take(std::move(still), error, false);
    };
    events.raw = [self](std::optional<CapturedStill> still, const std::optional<NSError>& error) {
        self->take(std::move(still), error, true);
    };
    events.movie = [self](const std::optional<NSError>& error) {
        self->later([error](PhotoRequest& request) { request.finishMovie(error); });
    };
    events.done = [self](bool flash, const std::optional<NSError>& error) {
        self->later([flash, error](PhotoRequest& request) { request.finish(flash, error); });
    };
    return events;
}

void PhotoRequest::later(std::function<void(PhotoRequest&)> step)
{
    steps_.async([self = shared_from_this(), step = std::move(step)] {
        if (!self->ended_)
            step(*self);
    });
}

void PhotoRequest::tell(
    std::function<void(AVCapturePhotoCaptureDelegate&, const std::shared_ptr<AVCapturePhotoOutput>&)> call)
{
    surroundings_.output->queue_.async(
        [delegate = surroundings_.delegate, output = surroundings_.output, call = std::move(call)] {
            if (delegate)
                call(*delegate, output);
        });
}

std::shared_ptr<AVCaptureResolvedPhotoSettings> PhotoRequest::resolved(bool flash) const
{
    return make<AVCaptureResolvedPhotoSettings>(settings_.uniqueID(), flash);
}

void PhotoRequest::shutter(bool flash)
{
    std::shared_ptr<LivePhotoMovie> movie;
    const CMTime time = now();
    if (surroundings_.frames) { // at once: the frames of this moment are on their way
        movie = std::make_shared<LivePhotoMovie>(settings_.livePhotoMovieFileURL()->path(), movieSettings(), time);
        surroundings_.frames->begin(movie,
            surroundings_.trimsMovie ? LivePhotoFrames::Trimming::AfterLastPause : LivePhotoFrames::Trimming::None);
    }
    steps_.async([self = shared_from_this(), movie, time, flash] {
        if (self->ended_ || self->movie_) {
            if (movie)
                self->surroundings_.frames->end(movie);
            return;
        }
        self->movie_ = movie;
        self->stillTime_ = time;
        self->flash_ = flash;
        self->tell([settings = self->resolved(flash)](
                       auto& delegate, const auto& output) { delegate.captureOutput(output, settings); });
    });
}

MovieSettings PhotoRequest::movieSettings() const
{
    MovieSettings settings;
    settings.frameRate = frameRate_;
    settings.rotation = orientation_.rotation;
    settings.mirrored = orientation_.mirrored;
    settings.creationDate = CFAbsoluteTimeGetCurrent();
    return settings;
}

void PhotoRequest::take(std::optional<CapturedStill> still, const std::optional<NSError>& error, bool raw)
{
    later([still = std::move(still), error, raw](PhotoRequest& request) {
        AVCapturePhoto::Content content;
        content.raw = raw;
        content.resolvedSettings = request.resolved(request.flash_);
        std::optional<NSError> problem = error;
        try {
            if (still)
                content = request.content(*still, raw);
        } catch (const NSError& encoding) {
            problem = encoding;
        }
        request.tell([photo = make<AVCapturePhoto>(std::move(content)), problem](
                         auto& delegate, const auto& output) { delegate.captureOutput(output, photo, problem); });
    });
}

AVCapturePhoto::Content PhotoRequest::content(const CapturedStill& still, bool raw)
{
    const auto& samples = raw && still.raw ? still.raw->samples : still.pixels;
    PhotoCircumstances circumstances { *device_, deviceSettings_, still.exposure,
        static_cast<int>(settings_.flashMode()), orientation_, {} };
    if (samples)
        circumstances.dimensions = { samples->width(), samples->height() };

    AVCapturePhoto::Content content;
    content.raw = raw;
    content.metadata = photoMetadata(circumstances);
    content.preview = still.preview;
    content.timestamp = still.exposure.presentationTime;
    content.resolvedSettings = resolved(still.exposure.flashFired);
    if (movie_ && CMTIME_IS_NUMERIC(still.exposure.presentationTime))
        stillTime_ = still.exposure.presentationTime;
    if (movie_ && still.pixels)
        movieStill_ = livePhotoPicture(*still.pixels);
    content.fileData = file(still, content.metadata, raw);
    return content;
}

std::shared_ptr<NSData> PhotoRequest::file(
    const CapturedStill& still, const ArchiveDictionary& metadata, bool raw) const
{
    if (raw ? !still.raw : !still.pixels)
        return nullptr;
    const auto encoder = StillEncoder::installed();
    if (!encoder)
        throw NSError(AVFoundationErrorDomain, AVErrorEncoderNotFound,
            "No picture encoder is installed, so the photo has no file: install the media drivers.");
    if (!raw)
        return encoder->encodeJPEG(*still.pixels, metadata, jpegQuality);
    const bool showable
        = still.preview && still.preview->pixelFormat() == kCVPixelFormatType_420YpCbCr8BiPlanarFullRange;
    return encoder->encodeDNG(*still.raw, showable ? still.preview.get() : nullptr, metadata);
}

void PhotoRequest::finishMovie(const std::optional<NSError>& error)
{
    if (!surroundings_.frames)
        return;
    LivePhotoMovie::Result result;
    std::optional<NSError> problem = error;
    const auto movie = std::exchange(movie_, nullptr);
    if (movie)
        surroundings_.frames->end(movie);
    try {
        if (movie && error)
            movie->abandon();
        else if (movie)
            result = movie->finish(movieStill_, stillTime_);
        else if (!error)
            problem = NSError(AVFoundationErrorDomain, AVErrorNoDataCaptured,
                "The camera ended the movie of a live photo before its shutter.");
    } catch (const NSError& writing) {
        problem = writing;
    }
    tell([url = settings_.livePhotoMovieFileURL(), result, settings = resolved(flash_), problem](
             auto& delegate, const auto& output) {
        delegate.captureOutput(output, url, result.duration, result.photoDisplayTime, settings, problem);
    });
}

void PhotoRequest::dropMovie()
{
    if (const auto movie = std::exchange(movie_, nullptr)) {
        surroundings_.frames->end(movie);
        movie->abandon();
    }
}

void PhotoRequest::finish(bool flash, const std::optional<NSError>& error)
{
    ended_ = true;
    dropMovie();
    tell([settings = resolved(flash), error](
             auto& delegate, const auto& output) { delegate.captureOutput(output, settings, error); });
    // After the delegate's last call nothing here refers to it any more; the output is held by whoever uses it.
    surroundings_.output->queue_.async([self = shared_from_this()] {
        self->steps_.async([self] {
            const auto output = std::exchange(self->surroundings_.output, nullptr);
            self->surroundings_.delegate.reset();
            output->finished(*self);
        });
    });
}

void PhotoRequest::fail(const NSError& error)
{
    later([error](PhotoRequest& request) { request.finish(request.flash_, error); });
}

}
