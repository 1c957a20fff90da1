// SPDX-License-Identifier: Apache-2.0
#include "drivers/Camera.h"

#include "platform/AVFoundation/AVError.h"
#include "platform/Foundation/Clock.h"
#include "platform/Foundation/NSLog.h"
#include "platform/Foundation/Scheduler.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace velmora::drivers::cameras {

namespace {

constexpr std::int32_t fineTimescale = 1000000000;
constexpr double liveMovieTail = 1.5; // seconds from the shutter to the end of a live photo's movie
constexpr double oldestStill = 0.2; // seconds between a picture and the wish for it

std::int64_t area(CMVideoDimensions size)
{
    return std::int64_t { size.width } * size.height;
}

/// The pixels for a file, and the small picture that was asked for.
void complete(CapturedStill& still, const StillRequest& request)
{
    constexpr std::uint32_t forFiles = kCVPixelFormatType_420YpCbCr8BiPlanarFullRange;
    if (still.pixels->pixelFormat() != forFiles)
        still.pixels = converted(cameraPicture(*still.pixels), forFiles);
    if (!request.previewFormat)
        return;
    constexpr std::int32_t usualWidth = 320;
    const auto& pixels = *still.pixels;
    const std::int32_t wanted = request.previewWidth > 0 ? request.previewWidth : usualWidth;
    const std::int32_t width = std::clamp(wanted, 2, std::max(2, pixels.width()));
    const auto height = static_cast<std::int32_t>(
        std::max(2L, std::lround(static_cast<double>(pixels.height()) * width / pixels.width())));
    auto small = scaled(pixels, width, height);
    if (*request.previewFormat != forFiles && isPictureFormat(*request.previewFormat))
        small = converted(cameraPicture(*small), *request.previewFormat);
    still.preview = std::move(small);
}

}

/// The largest picture of the active format's shape, when that is larger than a frame.
const Offer* Camera::largestOffer() const
{
    CMVideoDimensions still;
    {
        const std::lock_guard lock(mutex_);
        const auto& formats = description_.formats;
        if (settings_.activeFormat < formats.size())
            still = formats[settings_.activeFormat].highResolutionStill;
    }
    if (area(still) <= area(activeSize()))
        return nullptr;
    return bestOffer(source_->offers(), still, 0); // the slowest: it has most light
}

const Offer* Camera::rawOffer() const
{
    const Offer* largest = nullptr;
    for (const Offer& offer : source_->offers())
        if (isBayer(offer.layout) && (!largest || area(offer.size) > area(largest->size)))
            largest = &offer;
    return largest;
}

ExposureInfo Camera::exposureAt(double time) const
{
    const auto readings = source_ ? source_->controls().readings() : CaptureReadings {};
    ExposureInfo info;
    info.duration = readings.exposureDuration.value_or(kCMTimeInvalid);
    info.ISO = readings.ISO.value_or(0.0F);
    info.bias = readings.exposureTargetBias.value_or(0.0F);
    info.gains = readings.whiteBalanceGains.value_or(AVCaptureWhiteBalanceGains {});
    const Clock& clock = Scheduler::current().clock();
    info.date = clock.absoluteTime() - (clock.now() - time);
    info.presentationTime = CMTimeMakeWithSeconds(time, fineTimescale);
    info.zoomFactor = settings_.zoomFactor;
    return info;
}

void Camera::captureStill(const StillRequest& request, StillEvents events)
{
    const auto still = std::make_shared<Still>();
    still->request = request;
    still->events = std::move(events);
    const std::lock_guard guard(*loop_);
    if (!stream_ && !between_)
        return fail(still,
            error(AVErrorSessionNotRunning, "took no picture, because it is not running; start the session first"));
    still->largest = request.processed && largestOffer();
    still->raw = request.rawFormat.has_value() && rawOffer();
    if (request.rawFormat && !still->raw)
        return fail(still, error(AVErrorUnknown, "gives no RAW pictures"));
    still->flash = wantsFlash(request.flashMode);
    const bool isFresh = !still->flash && newest_ && !newestUsed_ && newestTaken_ >= changedAt_
        && steadySeconds() - newestTaken_ < oldestStill;
    if (!request.processed || still->largest) {
        grabs_.push_back(still);
        beginGrab();
    } else if (isFresh && !grabbing_)
        takeNewest(still);
    else
        waiting_.push_back(still);
}

void Camera::takeNewest(const StillPointer& still)
{
    newestUsed_ = true;
    still->processed.pixels = newest_;
    still->processed.exposure = exposureAt(newestTime_);
    still->processed.exposure.flashFired = still->lit.has_value();
    shutter(still);
    if (!still->raw)
        return finish(still);
    grabs_.push_back(still);
    soon([this] { beginGrab(); }); // this may be one of the stream's own callbacks
}

/// Streams the format of a still in place of the preview's.
void Camera::beginGrab()
{
    if (grabbing_ || grabs_.empty() || !source_)
        return;
    grabbing_ = true;
    stalls_ = 0;
    streamStill();
}

void Camera::streamStill()
{
    if (grabs_.empty() || !source_ || !(grabs_.front()->largest || grabs_.front()->raw))
        return;
    const Offer* offer = grabs_.front()->largest ? largestOffer() : rawOffer();
    if (!offer)
        return grabFailed("it offers none");
    wantedSize_ = offer->size;
    hadFrame_ = false;
    lastFrame_ = steadySeconds();
    newest_.reset();
    stream_.reset();
    try {
        stream_ = source_->stream(*offer, nearestRate(*offer, 0), streamEvents());
    } catch (const NSError& problem) {
        soon([this, why = problem.localizedDescription()] { grabFailed(why); });
    }
}

void Camera::grabbed(const StreamFrame& frame)
{
    if (grabs_.empty())
        return;
    const auto still = grabs_.front();
    const double now = steadySeconds(), taken = frame.time.value_or(now);
    const double time = Scheduler::current().clock().now() - std::max(0.0, now - taken);
    if (!isLit(still, taken))
        return;
    const bool first = !still->processed.pixels;
    ExposureInfo exposure = exposureAt(time);
    exposure.flashFired = still->lit.has_value();
    if (still->largest) {
        still->processed.pixels = pixelsOf(frame, kCVPixelFormatType_420YpCbCr8BiPlanarFullRange);
        if (!still->processed.pixels)
            return; // the next may be whole
        still->processed.exposure = exposure;
        still->largest = false;
    } else if (still->raw) {
        if (!isBayer(frame.picture.layout))
            return soon([this] { grabFailed("it sends pictures that are not RAW"); });
        still->rawPicture.emplace();
        still->rawPicture->raw = rawImage(frame.picture);
        still->rawPicture->exposure = exposure;
        still->raw = false;
    } else
        return; // it ends in a moment
    if (first)
        shutter(still);
    soon([this] { endGrab(); });
}

void Camera::endGrab()
{
    if (grabs_.empty())
        return;
    grabbing_ = false;
    rounds_ = 0;
    if (const auto& still = grabs_.front(); !still->largest && !still->raw) {
        finish(still);
        grabs_.pop_front();
    }
    if (!grabs_.empty())
        return beginGrab();
    if (const auto problem = restart())
        tryAgain(problem->localizedDescription());
}

/// An ordinary frame takes the place of the large picture; nothing takes that of a RAW one.
void Camera::grabFailed(const std::string& why)
{
    if (grabs_.empty())
        return;
    const auto still = grabs_.front();
    if (!still->largest && !still->raw)
        return; // it has all it wants, and ends in a moment
    grabs_.pop_front();
    grabbing_ = false;
    stalls_ = rounds_ = 0;
    if (still->largest) {
        NSLog("[%@] The camera \"%@\" gives no picture in its largest format (%@); the photo is a frame.", family_.name,
            identity_, why);
        still->largest = false;
        waiting_.push_back(still);
    } else
        fail(still, error(AVErrorNoDataCaptured, "gave no RAW picture"));
    if (!grabs_.empty())
        return beginGrab();
    if (const auto problem = restart())
        tryAgain(problem->localizedDescription());
}

void Camera::shutter(const StillPointer& still)
{
    queue_.async([still, flash = still->lit.has_value()] {
        if (still->events.shutter)
            still->events.shutter(flash);
    });
}

void Camera::finish(const StillPointer& still)
{
    darken(still);
    queue_.async([still, queue = queue_] {
        const auto& events = still->events;
        if (still->request.processed) {
            complete(still->processed, still->request);
            if (events.processed)
                events.processed(std::move(still->processed), std::nullopt);
        }
        if (still->rawPicture && events.raw)
            events.raw(std::move(still->rawPicture), std::nullopt);
        const auto end = [still] {
            if (still->request.livePhoto && still->events.movie)
                still->events.movie(std::nullopt);
            if (still->events.done)
                still->events.done(still->lit.has_value(), std::nullopt);
        };
        if (still->request.livePhoto)
            queue.after(liveMovieTail, end);
        else
            end();
    });
}

void Camera::fail(const StillPointer& still, const NSError& error)
{
    darken(still);
    queue_.async([still, error] {
        const auto& events = still->events;
        if (still->request.processed && events.processed)
            events.processed(std::nullopt, error);
        if (still->request.rawFormat && events.raw)
            events.raw(std::nullopt, error);
        if (events.done)
            events.done(still->lit.has_value(), error);
    });
}

void Camera::failStills(const NSError& error)
{
    for (auto* list : { &waiting_, &grabs_ })
        for (const auto& still : std::exchange(*list, {}))
            fail(still, error);
}

}
