// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/MovieFileRecording.h"

#include "platform/AVFoundation/AVError.h"
#include "platform/AVFoundation/CaptureDriver.h"

#include <cerrno>
#include <utility>

namespace velmora {

namespace {

constexpr int mostWaiting = 8; // frames; they are the camera's own memory, of which it has little

/// A full disk has a code of its own, whoever noticed it.
NSError ofRecording(const NSError& error)
{
    if (error.domain() == NSPOSIXErrorDomain && error.code() == ENOSPC)
        return NSError(AVFoundationErrorDomain, AVErrorDiskFull, error.localizedDescription());
    return error;
}

}

MovieFileRecording::MovieFileRecording(std::string path, MovieSettings settings, CMTime limit, Ended ended)
    : path_(std::move(path))
    , limit_(limit)
    , settings_(std::move(settings))
    , ended_(std::move(ended))
{
}

/// Whether the buffer belongs to the recording. The frame that reaches the limit ends it.
bool MovieFileRecording::take(const CMSampleBuffer& buffer)
{
    const std::lock_guard lock(mutex_);
    if (!recording_)
        return false;
    if (!buffer.imageBuffer())
        return true;
    const CMTime time = buffer.presentationTimeStamp();
    if (!CMTIME_IS_VALID(first_))
        first_ = time;
    if (CMTIME_IS_NUMERIC(limit_) && CMTimeCompare(CMTimeSubtract(time, first_), limit_) >= 0) {
        last_ = CMTimeAdd(first_, limit_);
        return false;
    }
    last_ = time;
    counts_.droppedByDevice += sequence_.missingBefore(buffer.sequence());
    if (waiting_ >= mostWaiting) {
        ++counts_.droppedOutOfRoom;
        return false;
    }
    if (waiting_++ > 0)
        ++counts_.late;
    ++counts_.frames;
    return true;
}

void MovieFileRecording::append(const std::shared_ptr<CMSampleBuffer>& buffer)
{
    if (take(*buffer)) {
        queue_.async([self = shared_from_this(), buffer] { self->write(buffer); });
        return;
    }
    if (buffer->imageBuffer() && CMTIME_IS_NUMERIC(limit_) && CMTimeCompare(duration(), limit_) >= 0)
        stop();
}

void MovieFileRecording::write(const std::shared_ptr<CMSampleBuffer>& buffer)
{
    if (buffer->imageBuffer()) {
        const std::lock_guard lock(mutex_);
        --waiting_;
    }
    if (failed_)
        return;
    try {
        if (!file_) {
            if (!buffer->imageBuffer())
                return; // a movie begins with a picture
            open(*buffer);
        }
        file_->append(*buffer);
        reportGrowth();
    } catch (const NSError& error) {
        failed_ = true;
        stop(ofRecording(error));
    }
}

void MovieFileRecording::open(const CMSampleBuffer& frame)
{
    const auto writer = MovieWriter::installed();
    if (!writer)
        throw NSError(AVFoundationErrorDomain, AVErrorEncoderNotFound,
            "No movie writer is installed, so nothing can be recorded: install the media drivers.");
    settings_.dimensions = { frame.imageBuffer()->width(), frame.imageBuffer()->height() };
    file_ = writer->open(path_, settings_);
}

void MovieFileRecording::reportGrowth()
{
    const auto driver = CaptureDriver::installed();
    if (!driver)
        return;
    const std::uint64_t written = file_->bytesWritten();
    const auto error = driver->recorded(written - reported_);
    reported_ = written;
    if (error)
        throw NSError(*error);
}

void MovieFileRecording::stop(const std::optional<NSError>& error)
{
    {
        const std::lock_guard lock(mutex_);
        if (!std::exchange(recording_, false))
            return;
    }
    queue_.async([self = shared_from_this(), error] {
        self->error_ = error;
        self->close();
    });
}

void MovieFileRecording::close()
{
    if (file_) {
        try {
            file_->finish(std::nullopt);
        } catch (const NSError& error) {
            if (!error_)
                error_ = ofRecording(error);
        }
        file_.reset();
    } else if (!error_)
        error_ = NSError(AVFoundationErrorDomain, AVErrorNoDataCaptured,
            "The camera delivered no frame while it was recording, so there is no movie.");
    if (const auto ended = std::exchange(ended_, nullptr))
        ended(error_);
}

bool MovieFileRecording::isRecording() const
{
    const std::lock_guard lock(mutex_);
    return recording_;
}

CMTime MovieFileRecording::duration() const
{
    const std::lock_guard lock(mutex_);
    return CMTIME_IS_VALID(first_) ? CMTimeSubtract(last_, first_) : kCMTimeZero;
}

AVCaptureRecordingCounts MovieFileRecording::counts() const
{
    const std::lock_guard lock(mutex_);
    return counts_;
}

}
