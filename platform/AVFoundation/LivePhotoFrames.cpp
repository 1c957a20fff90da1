// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/LivePhotoFrames.h"

#include "platform/AVFoundation/LivePhotoMovie.h"

#include <libyuv.h>

#include <algorithm>
#include <cmath>

namespace velmora {

namespace {

constexpr double longSide = 1440, shortSide = 1080; // pixels
constexpr double closest = 0.024; // seconds: of a faster camera frames are left out
constexpr std::size_t mostRecent = 64; // frames: 1.5 seconds of the closest, about 150 MB
constexpr double pause = 0.25; // seconds between two frames that no longer belong together
constexpr int mostBeingCopied = 2;
constexpr double longestPiece = 0.1; // seconds of sound in a buffer: the first frame may fall into it

std::int32_t evenPart(double length)
{
    return std::max(2, static_cast<std::int32_t>(std::lround(length / 2)) * 2);
}

CMVideoDimensions fittedSize(std::int32_t width, std::int32_t height)
{
    const double scale = std::min({ 1.0, longSide / std::max(width, height), shortSide / std::min(width, height) });
    return { evenPart(width * scale), evenPart(height * scale) };
}

double seconds(const CMSampleBuffer& buffer)
{
    return CMTimeGetSeconds(buffer.presentationTimeStamp());
}

int stride(const CVPixelBuffer::Plane& plane)
{
    return static_cast<int>(plane.stride);
}

}

std::shared_ptr<CVPixelBuffer> livePhotoPicture(const CVPixelBuffer& picture)
{
    if (picture.pixelFormat() != kCVPixelFormatType_420YpCbCr8BiPlanarFullRange || picture.planes().size() != 2)
        return nullptr;
    const CMVideoDimensions size = fittedSize(picture.width(), picture.height());
    auto fitted = CVPixelBuffer::create(size.width, size.height, picture.pixelFormat());
    const auto &from = picture.planes(), &to = fitted->planes();
    const bool scaled = libyuv::NV12Scale(from[0].data, stride(from[0]), from[1].data, stride(from[1]), picture.width(),
                            picture.height(), to[0].data, stride(to[0]), to[1].data, stride(to[1]), size.width,
                            size.height, libyuv::kFilterBox)
        == 0;
    return scaled ? fitted : nullptr;
}

LivePhotoFrames::LivePhotoFrames()
    : queue_("org.velmora.photoOutput.frames")
{
}

bool LivePhotoFrames::isEnabled() const
{
    const std::lock_guard lock(mutex_);
    return enabled_;
}

void LivePhotoFrames::setEnabled(bool enabled)
{
    {
        const std::lock_guard lock(mutex_);
        enabled_ = enabled;
    }
    if (!enabled)
        clear();
}

void LivePhotoFrames::clear()
{
    queue_.async([self = shared_from_this()] {
        self->recent_.clear();
        self->sounds_.clear();
    });
}

void LivePhotoFrames::receive(const std::shared_ptr<CMSampleBuffer>& buffer)
{
    if (!buffer->imageBuffer())
        return;
    {
        const std::lock_guard lock(mutex_);
        if (!enabled_ || beingCopied_ >= mostBeingCopied)
            return;
        ++beingCopied_;
    }
    queue_.async([self = shared_from_this(), buffer] { self->take(*buffer); });
}

void LivePhotoFrames::hear(const std::shared_ptr<CMSampleBuffer>& sound)
{
    if (!sound->audio() || !isEnabled())
        return;
    queue_.async([self = shared_from_this(), sound] {
        self->sounds_.push_back(sound);
        while (seconds(*self->sounds_.front()) < seconds(*sound) - livePhotoReach - longestPiece)
            self->sounds_.pop_front();
        for (const auto& movie : self->movies_)
            movie->append(sound);
    });
}

void LivePhotoFrames::take(const CMSampleBuffer& buffer)
{
    const bool tooClose = !recent_.empty() && std::abs(seconds(buffer) - seconds(*recent_.back())) < closest;
    const auto picture = tooClose ? nullptr : livePhotoPicture(*buffer.imageBuffer());
    {
        const std::lock_guard lock(mutex_);
        --beingCopied_;
        if (!enabled_)
            return;
    }
    if (!picture)
        return;
    const auto frame = make<CMSampleBuffer>(picture, buffer.presentationTimeStamp(), buffer.sequence());
    recent_.push_back(frame);
    dropOld(seconds(*frame));
    for (const auto& movie : movies_)
        movie->append(frame);
}

void LivePhotoFrames::dropOld(double now)
{
    while (recent_.size() > mostRecent || seconds(*recent_.front()) < now - livePhotoReach)
        recent_.pop_front();
}

void LivePhotoFrames::begin(const std::shared_ptr<LivePhotoMovie>& movie, Trimming trimming)
{
    queue_.async([self = shared_from_this(), movie, trimming] {
        for (const auto& sound : self->sounds_)
            movie->append(sound);
        auto first = self->recent_.begin();
        for (auto each = first; each != self->recent_.end(); ++each) {
            const bool paused = each != first && seconds(**each) - seconds(**std::prev(each)) > pause;
            if (paused && trimming == Trimming::AfterLastPause)
                first = each;
        }
        for (; first != self->recent_.end(); ++first)
            movie->append(*first);
        self->movies_.push_back(movie);
    });
}

void LivePhotoFrames::end(const std::shared_ptr<LivePhotoMovie>& movie)
{
    queue_.sync([&] { std::erase(movies_, movie); });
}

}
