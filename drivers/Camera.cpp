// SPDX-License-Identifier: Apache-2.0
#include "drivers/Camera.h"

#include "platform/AVFoundation/AVError.h"
#include "platform/Foundation/NSLog.h"
#include "platform/Foundation/Scheduler.h"

#include "drivers/CameraDescription.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <utility>

namespace velmora::drivers::cameras {

namespace {

constexpr std::int32_t fineTimescale = 1000000000;

// Seconds.
constexpr double watchInterval = 0.25;
constexpr double firstFrameWithin = 2, nextFrameWithin = 1, stillWithin = 0.7;
constexpr int mostStalls = 3;
constexpr double framesOfStall = 10; // frames that a slow camera may be late
constexpr double oddestFrameTime = 10; // a frame that tells an older or a later time tells another clock's
constexpr double untilFormatIsFree = 0.03, untilCameraIsFree = 0.05;
// How long it is asked again: a session manager on a busy machine takes its time to end the stream before.
constexpr double patienceWithFormat = 1, patienceWithStillFormat = 4, patienceWithRefusal = 4;
constexpr int framesUntilBelieved = 3; // after a change, of a camera that tells nothing

double clockNow()
{
    return Scheduler::current().clock().now();
}

}

double steadySeconds()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

Camera::Camera(std::shared_ptr<EventLoop> loop, std::shared_ptr<PictureCounters> counters, CameraFamily family,
    std::string identity)
    : loop_(std::move(loop))
    , counters_(std::move(counters))
    , family_(std::move(family))
    , identity_(std::move(identity))
    , queue_("org.velmora.camera." + identity_)
{
    description_.uniqueID = identity_;
    const std::lock_guard guard(*loop_);
    watchdog_ = loop_->timer([this] { watch(); });
    away_ = loop_->timer([this] {
        if (!std::exchange(interrupted_, false))
            return;
        const NSError gone = error(AVErrorDeviceNotConnected, "was unplugged");
        tell([gone](const CaptureDeviceEvents& events) {
            if (events.failed)
                events.failed(gone);
        });
    });
    soonTimer_ = loop_->timer([this] {
        for (const auto& call : std::exchange(soon_, {}))
            call();
    });
}

Camera::~Camera()
{
    const std::lock_guard guard(*loop_);
    stream_.reset();
    watchdog_.reset();
    away_.reset();
    soonTimer_.reset();
}

NSError Camera::error(int code, const std::string& what) const
{
    return { AVFoundationErrorDomain, code, "The camera \"" + identity_ + "\" " + what + "." };
}

void Camera::tell(std::function<void(const CaptureDeviceEvents&)> call)
{
    std::shared_ptr<const CaptureDeviceEvents> events;
    {
        const std::lock_guard lock(mutex_);
        events = events_;
    }
    queue_.async([events, call = std::move(call)] { call(*events); });
}

void Camera::soon(std::function<void()> call, double seconds)
{
    soon_.push_back(std::move(call));
    soonTimer_->once(seconds);
}

bool Camera::fits(CMVideoDimensions got, CMVideoDimensions wanted)
{
    if (changing_)
        return false;
    const double now = steadySeconds();
    if (got == wanted) {
        misfitSince_.reset();
        return true;
    }
    if (!misfitSince_)
        misfitSince_ = now;
    if (now - *misfitSince_
        > (grabbing_ ? patienceWithStillFormat : patienceWithFormat)) // somebody else uses it, and chose
        return true;
    changing_ = true;
    soon([this] { streamAgain(); }, untilFormatIsFree);
    return false;
}

/// The session manager refuses a stream whose camera it has not quite taken back from the one before.
void Camera::streamBroke(const std::string& why)
{
    const double now = steadySeconds();
    if (!refusedSince_)
        refusedSince_ = now;
    const double refused = now - *refusedSince_;
    if (refused < patienceWithRefusal)
        soon([this] { streamAgain(); }, std::max(untilCameraIsFree, refused / 2)); // not to keep it busy with asking
    else if (grabbing_)
        soon([this, why] { grabFailed(why); });
    else
        soon([this, why] { tryAgain(why); });
}

void Camera::buffersAreStale()
{
    soon([this] {
        if (grabbing_)
            grabAfterAFrame("its pictures are smaller than their format");
        else
            streamAgain();
    });
}

/// A daemon that was asked for a format while it took the one before away may keep that one's buffers, or send nothing,
/// for as long as the format stays. Another one in between ends it.
void Camera::grabAfterAFrame(const std::string& why)
{
    constexpr int mostRounds = 3;
    if (++rounds_ > mostRounds)
        return grabFailed(why);
    if (const auto problem = restart()) // whose first frame begins it again
        tryAgain(problem->localizedDescription());
}

/// After a moment without a stream: what is left of the former one would be joined with the next, down to its buffers.
void Camera::streamAgain()
{
    changing_ = false;
    if (!wanted_ || !source_)
        return;
    stream_.reset();
    between_ = true;
    soon([this] { streamNow(); }, untilCameraIsFree);
}

void Camera::streamNow()
{
    if (!std::exchange(between_, false) || !wanted_ || !source_ || stream_)
        return;
    if (grabbing_)
        streamStill();
    else if (const auto problem = restart())
        tryAgain(problem->localizedDescription());
}

CaptureDeviceDescription Camera::description() const
{
    const std::lock_guard lock(mutex_);
    return description_;
}

void Camera::setEvents(CaptureDeviceEvents events)
{
    const std::lock_guard guard(*loop_);
    {
        const std::lock_guard lock(mutex_);
        events_ = std::make_shared<const CaptureDeviceEvents>(std::move(events));
    }
    valuesChanged();
}

std::pair<bool, std::optional<NSError>> Camera::open()
{
    const std::lock_guard guard(*loop_);
    if (source_)
        return { true, std::nullopt };
    return { false, error(AVErrorDeviceNotConnected, "is not plugged in") };
}

std::optional<NSError> Camera::lock()
{
    const std::lock_guard guard(*loop_);
    return source_ ? std::nullopt : std::optional(error(AVErrorDeviceNotConnected, "is not plugged in"));
}

void Camera::appeared(const std::shared_ptr<CameraSource>& source)
{
    const bool isNew = description().formats.empty();
    source_ = source;
    isSetUp_ = false;
    CaptureDeviceDescription described = source_->description();
    light_ = findLight(family_.folders, described.position);
    if (light_) {
        described.flashModes = { dark, lit, asNeeded };
        described.torchModes = { dark, lit };
    }
    {
        const std::lock_guard lock(mutex_);
        description_ = std::move(described);
        if (isNew)
            settings_ = settingsAsDescribed(description_);
    }
    valuesChanged();
    away_->stop();
    if (!std::exchange(interrupted_, false))
        return;
    NSLog("[%@] The camera \"%@\" is back.", family_.name, identity_);
    tell([](const CaptureDeviceEvents& events) {
        if (events.interruptionEnded)
            events.interruptionEnded();
    });
}

void Camera::vanished(const std::string& why, bool waits)
{
    source_ = nullptr;
    if (!wanted_ || interrupted_)
        return;
    const NSError gone = error(AVErrorDeviceNotConnected, why);
    stopStreaming(gone);
    interrupted_ = true;
    if (waits)
        away_->once(family_.returnWithin);
    tell([gone](const CaptureDeviceEvents& events) {
        if (events.interrupted)
            events.interrupted(gone);
    });
}

void Camera::waitForReturn()
{
    if (interrupted_)
        away_->once(family_.returnWithin);
}

void Camera::givenUp()
{
    if (interrupted_)
        away_->once(0);
}

void Camera::valuesChanged()
{
    if (!source_ || !source_->controls().tells())
        return;
    for (Effect& effect : effects_)
        if (!effect.confirmed && source_->controls().areInForce(effect.values)) {
            effect.confirmed = true;
            effect.since = steadySeconds();
        }
    tell([readings = source_->controls().readings()](const CaptureDeviceEvents& events) {
        if (events.readingsChanged)
            events.readingsChanged(readings);
    });
}

CMVideoDimensions Camera::activeSize() const
{
    const std::lock_guard lock(mutex_);
    const auto& formats = description_.formats;
    return settings_.activeFormat < formats.size() ? formats[settings_.activeFormat].dimensions : CMVideoDimensions {};
}

double Camera::wantedRate() const
{
    constexpr double usual = 30;
    const double frame = CMTimeGetSeconds(settings_.minFrameDuration);
    return frame > 0 ? 1 / frame : usual;
}

void Camera::apply(const CaptureSettings& settings, const std::string& /*what*/, std::function<void(CMTime)> tookEffect)
{
    const std::lock_guard guard(*loop_);
    const CaptureSettings before = std::exchange(settings_, settings);
    setTorch(settings_.torchMode);
    Effect effect;
    effect.since = steadySeconds();
    if (source_) {
        effect.values = source_->controls().changesFor(settings_, &before);
        source_->set(effect.values);
    }
    if (!effect.values.empty())
        changedAt_ = effect.since;
    effect.confirmed = effect.values.empty()
        || (source_->controls().tells() && source_->controls().areInForce(effect.values)); // it told while it was set
    effect.tookEffect = std::move(tookEffect);
    if (effect.tookEffect)
        effects_.push_back(std::move(effect));
    const bool otherStream = before.activeFormat != settings_.activeFormat
        || CMTimeCompare(before.minFrameDuration, settings_.minFrameDuration) != 0;
    if (!otherStream || !stream_)
        return;
    if (const auto problem = restart())
        tryAgain(problem->localizedDescription());
}

std::optional<NSError> Camera::start(
    const StreamRequest& request, std::function<void(std::shared_ptr<CMSampleBuffer>)> deliver)
{
    if (!isPictureFormat(request.pixelFormat)) {
        constexpr int formatUnsupported = -11846;
        return error(formatUnsupported,
            "has no frames in the format '" + fourCharacterCode(request.pixelFormat)
                + "'; ask for '420f', '420v' or 'BGRA'");
    }
    const std::lock_guard guard(*loop_);
    loop_->catchUp();
    if (!source_)
        return error(AVErrorDeviceNotConnected, "is not plugged in, so it cannot start");
    request_ = request;
    deliver_ = std::move(deliver);
    wanted_ = true;
    interrupted_ = false;
    stalls_ = 0;
    auto problem = restart();
    if (problem) {
        wanted_ = false;
        return problem;
    }
    watchdog_->every(watchInterval);
    setTorch(settings_.torchMode);
    return std::nullopt;
}

void Camera::stop()
{
    std::function<void(std::shared_ptr<CMSampleBuffer>)> released; // its destructor may call back
    const std::lock_guard guard(*loop_);
    stopStreaming(error(AVErrorSessionNotRunning, "took no picture, because it was stopped"));
    released = std::move(deliver_);
    deliver_ = nullptr;
    if (!interrupted_)
        wanted_ = false;
}

void Camera::stopStreaming(const NSError& error)
{
    watchdog_->stop();
    soon_.clear();
    if (!waiting_.empty())
        darken(waiting_.front());
    if (!grabs_.empty())
        darken(grabs_.front());
    setTorch(dark);
    stream_.reset();
    newest_.reset();
    format_.reset();
    grabbing_ = changing_ = between_ = false;
    rounds_ = 0;
    misfitSince_.reset();
    refusedSince_.reset();
    failStills(error);
}

/// Begins to stream what the settings ask for, whatever it streamed before.
std::optional<NSError> Camera::restart()
{
    grabbing_ = false;
    stream_.reset();
    newest_.reset();
    const Offer* offer = bestOffer(source_->offers(), activeSize(), wantedRate());
    if (!offer)
        return error(AVErrorUnknown, "offers no format that can be read");
    if (!std::exchange(isSetUp_, true)) {
        CaptureDeviceDescription described = description();
        const CaptureSettings untouched = settingsAsDescribed(described);
        auto values = source_->controls().changesFor(settings_, &untouched);
        values.merge(source_->controls().changesFor(settings_, nullptr));
        source_->set(values);
    }
    hadFrame_ = false;
    lastFrame_ = steadySeconds();
    wantedSize_ = offer->size;
    try {
        stream_ = source_->stream(*offer, nearestRate(*offer, wantedRate()), streamEvents());
    } catch (const NSError& problem) {
        return error(AVErrorUnknown, "does not start: " + problem.localizedDescription());
    }
    return std::nullopt;
}

StreamEvents Camera::streamEvents()
{
    return { [this](const Negotiated& format) { format_ = format; },
        [this](const StreamFrame& frame) { frameArrived(frame); }, [this](const std::string& why) { streamBroke(why); },
        [this] { buffersAreStale(); } };
}

void Camera::watch()
{
    if (!stream_)
        return;
    source_->look();
    const double silence = steadySeconds() - lastFrame_;
    const double rate = format_ ? format_->rate.value() : 0;
    const double slow = rate > 0 ? framesOfStall / rate : 0;
    const double patience = grabbing_ ? stillWithin : hadFrame_ ? nextFrameWithin : firstFrameWithin;
    if (silence < std::max(patience, slow))
        return;
    if (grabbing_)
        grabAfterAFrame(stream_->whatCame());
    else
        tryAgain("it sends no frames");
}

void Camera::tryAgain(const std::string& why)
{
    if (!wanted_ || !source_)
        return;
    if (++stalls_ <= mostStalls) {
        NSLog("[%@] The camera \"%@\" is started again: %@.", family_.name, identity_, why);
        if (!restart())
            return;
    }
    const NSError broken = error(AVErrorUnknown, "stopped: " + why);
    stopStreaming(broken);
    tell([broken](const CaptureDeviceEvents& events) {
        if (events.failed)
            events.failed(broken);
    });
}

void Camera::frameArrived(const StreamFrame& frame)
{
    lastFrame_ = steadySeconds();
    hadFrame_ = true;
    stalls_ = 0;
    refusedSince_.reset();
    if (!fits({ frame.picture.width, frame.picture.height }, wantedSize_))
        return;
    if (grabbing_)
        grabbed(frame);
    else
        deliver(frame);
}

std::shared_ptr<CVPixelBuffer> Camera::pixelsOf(const StreamFrame& frame, std::uint32_t pixelFormat)
{
    const CameraPicture& picture = frame.picture;
    const bool fits = isAlready(picture, pixelFormat);
    if (fits && frame.lease) {
        ++counters_->handedOn;
        std::vector<CVPixelBuffer::Plane> planes;
        const auto shapes = planeShapes(picture.layout, picture.width, picture.height);
        for (std::size_t i = 0; i < shapes.size(); ++i) {
            // Whoever gets it reads; a pixel buffer has no other pointers.
            auto* data = const_cast<std::uint8_t*>(picture.planes[i].data);
            const bool isChroma = i > 0;
            planes.push_back(
                { data, picture.planes[i].stride, isChroma ? (picture.width + 1) / 2 : picture.width, shapes[i].rows });
        }
        return make<CVPixelBuffer>(picture.width, picture.height, pixelFormat, std::move(planes), frame.lease);
    }
    try {
        auto pixels = converted(picture, pixelFormat);
        ++(fits ? counters_->copied : counters_->converted);
        return pixels;
    } catch (const NSError& problem) {
        NSLog("[%@] %@", family_.name, problem.localizedDescription());
        return nullptr;
    }
}

void Camera::deliver(const StreamFrame& frame)
{
    const double now = steadySeconds();
    const double taken = frame.time && std::abs(now - *frame.time) < oddestFrameTime ? *frame.time : now;
    if (frame.sequence && sequence_ > 0 && *frame.sequence > cameraSequence_)
        sequence_ += *frame.sequence - cameraSequence_; // a gap is a frame that the camera lost
    else
        ++sequence_;
    cameraSequence_ = frame.sequence.value_or(0);
    const auto pixels = pixelsOf(frame, request_.pixelFormat);
    if (!pixels)
        return;
    newest_ = pixels;
    newestTaken_ = taken;
    newestTime_ = clockNow() - (now - taken);
    newestUsed_ = false;
    if (!waiting_.empty() && taken >= changedAt_ && isLit(waiting_.front(), taken)) {
        const auto still = waiting_.front();
        waiting_.pop_front();
        takeNewest(still);
    }
    if (deliver_)
        deliver_(make<CMSampleBuffer>(pixels, CMTimeMakeWithSeconds(newestTime_, fineTimescale), sequence_));
    noteEffects(taken, newestTime_);
    if (!grabs_.empty() && !grabbing_) // a round's, or one whose stream was ended for another setting
        soon([this] { beginGrab(); });
}

void Camera::noteEffects(double taken, double time)
{
    const bool tells = source_ && source_->controls().tells();
    for (auto effect = effects_.begin(); effect != effects_.end();) {
        const bool believed = !tells && ++effect->silentFrames >= framesUntilBelieved;
        if (!(effect->confirmed && taken >= effect->since) && !believed) {
            ++effect;
            continue;
        }
        queue_.async(
            [call = std::move(effect->tookEffect), time] { call(CMTimeMakeWithSeconds(time, fineTimescale)); });
        effect = effects_.erase(effect);
    }
}

}
