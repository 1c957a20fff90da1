// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/LivePhotoMovie.h"

#include "platform/AVFoundation/AVError.h"
#include "platform/AVFoundation/AVMediaTypes.h"
#include "platform/AVFoundation/LivePhotoFrames.h"

#include <cstdio>
#include <utility>

namespace velmora {

LivePhotoMovie::LivePhotoMovie(std::string path, MovieSettings settings, CMTime shutter)
    : queue_("org.velmora.photoOutput.movie")
    , path_(std::move(path))
    , settings_(std::move(settings))
    , shutter_(shutter)
{
}

void LivePhotoMovie::append(const std::shared_ptr<CMSampleBuffer>& buffer)
{
    const CMTime last = CMTimeAdd(shutter_, CMTimeMakeWithSeconds(livePhotoReach, 1000));
    if (CMTimeCompare(buffer->presentationTimeStamp(), last) > 0)
        return;
    queue_.async([self = shared_from_this(), buffer] {
        if (self->error_ || self->ended_)
            return;
        try {
            if (buffer->imageBuffer())
                self->write(*buffer);
            else
                self->hear(buffer);
        } catch (const NSError& error) {
            self->error_ = error;
        }
    });
}

void LivePhotoMovie::hear(const std::shared_ptr<CMSampleBuffer>& sound)
{
    if (!file_)
        early_.push_back(sound);
    else if (settings_.audio)
        file_->append(*sound);
}

void LivePhotoMovie::write(const CMSampleBuffer& frame)
{
    if (!file_)
        open(frame);
    const auto& picture = *frame.imageBuffer();
    if (CMVideoDimensions { picture.width(), picture.height() } == settings_.dimensions)
        file_->append(frame);
}

void LivePhotoMovie::open(const CMSampleBuffer& frame)
{
    const auto writer = MovieWriter::installed();
    if (!writer)
        throw NSError(AVFoundationErrorDomain, AVErrorEncoderNotFound,
            "No movie writer is installed, so a live photo has no movie: install the media drivers.");
    const auto& picture = *frame.imageBuffer();
    settings_.dimensions = { picture.width(), picture.height() };
    const auto early = std::exchange(early_, {});
    if (!early.empty()) {
        const CMAudioSamples& sound = *early.front()->audio();
        settings_.audio = true;
        settings_.audioChannels = sound.channels;
        settings_.audioSampleRate = sound.sampleRate;
    }
    first_ = frame.presentationTimeStamp();
    file_ = writer->open(path_, settings_);
    for (const auto& sound : early)
        file_->append(*sound);
}

LivePhotoMovie::Result LivePhotoMovie::finish(const std::shared_ptr<CVPixelBuffer>& still, const CMTime& stillTime)
{
    Result result;
    queue_.sync([&] {
        try {
            result = close(still, stillTime);
        } catch (const NSError&) {
            remove();
            throw;
        }
    });
    return result;
}

LivePhotoMovie::Result LivePhotoMovie::close(const std::shared_ptr<CVPixelBuffer>& still, const CMTime& stillTime)
{
    if (std::exchange(ended_, true))
        throw NSError(AVFoundationErrorDomain, AVErrorUnknown, "The movie of this live photo has ended already.");
    if (error_)
        throw NSError(*error_);
    if (!file_ && still)
        write(*make<CMSampleBuffer>(still, stillTime, 0));
    if (!file_)
        throw NSError(AVFoundationErrorDomain, AVErrorNoDataCaptured,
            "The camera delivered no frame around the shutter, so the live photo has no movie.");

    const CMTime sinceFirst = CMTimeSubtract(stillTime, first_);
    const CMTime display = CMTimeCompare(sinceFirst, kCMTimeZero) < 0 ? kCMTimeZero : sinceFirst;
    const CMTime duration = file_->finish(display);
    file_.reset();
    return { duration, display };
}

void LivePhotoMovie::abandon()
{
    queue_.sync([&] {
        ended_ = true;
        remove();
    });
}

void LivePhotoMovie::remove()
{
    if (!std::exchange(file_, nullptr) && !error_)
        return;
    std::remove(path_.c_str());
}

}
