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

void LivePhotoMovie::append(const std::shared_ptr<CMSampleBuffer>& frame)
{
    const CMTime last = CMTimeAdd(shutter_, CMTimeMakeWithSeconds(livePhotoReach, 1000));
    if (CMTimeCompare(frame->presentationTimeStamp(), last) > 0)
        return;
    queue_.async([self = shared_from_this(), frame] {
        if (self->error_ || self->ended_)
            return;
        try {
            self->write(*frame);
        } catch (const NSError& error) {
            self->error_ = error;
        }
    });
}

void LivePhotoMovie::write(const CMSampleBuffer& frame)
{
    const auto& picture = *frame.imageBuffer();
    const CMVideoDimensions size { picture.width(), picture.height() };
    if (!file_) {
        const auto writer = MovieWriter::installed();
        if (!writer)
            throw NSError(AVFoundationErrorDomain, AVErrorEncoderNotFound,
                "No movie writer is installed, so a live photo has no movie: install the media drivers.");
        settings_.dimensions = size;
        first_ = frame.presentationTimeStamp();
        file_ = writer->open(path_, settings_);
    }
    if (size == settings_.dimensions)
        file_->append(frame);
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
