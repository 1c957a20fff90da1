// SPDX-License-Identifier: Apache-2.0
#include "drivers/phone/PhoneMicrophone.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

namespace velmora::drivers::phone {

namespace {

constexpr const char* microphone = "microphone";
constexpr double secondsOfPiece = 0.02;

/// One piece of a tone at a tenth of full scale.
CMAudioSamples tone(std::uint64_t from)
{
    constexpr double hertz = 440, rate = 48000, loudness = 0.1;
    CMAudioSamples piece;
    piece.sampleRate = rate;
    const auto count = static_cast<std::size_t>(rate * secondsOfPiece);
    for (std::size_t i = 0; i < count; ++i) {
        const double turns = hertz * static_cast<double>(from + i) / rate;
        piece.samples.push_back(
            static_cast<float>(loudness * std::sin(2 * std::numbers::pi * (turns - std::floor(turns)))));
    }
    return piece;
}

CMAudioSamples cut(const CMAudioSamples& whole, std::uint64_t from)
{
    CMAudioSamples piece { {}, whole.channels, whole.sampleRate };
    const auto channels = static_cast<std::size_t>(std::max(1, whole.channels));
    const std::size_t length = whole.samples.size() / channels;
    const auto count = static_cast<std::size_t>(whole.sampleRate * secondsOfPiece);
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t at = (from + i) % length * channels;
        piece.samples.insert(piece.samples.end(), whole.samples.begin() + static_cast<std::ptrdiff_t>(at),
            whole.samples.begin() + static_cast<std::ptrdiff_t>(at + channels));
    }
    return piece;
}

}

PhoneMicrophone::PhoneMicrophone(std::shared_ptr<PhoneWorld> world)
    : world_(std::move(world))
{
}

CaptureDeviceDescription PhoneMicrophone::description() const
{
    CaptureDeviceDescription result;
    result.uniqueID = result.name = microphone;
    result.make = "Velmora";
    result.model = "Virtual Phone";
    result.mediaType = AVMediaTypeAudio;
    result.deviceType = AVCaptureDeviceTypeBuiltInMicrophone;
    return result;
}

void PhoneMicrophone::setEvents(CaptureDeviceEvents)
{
    // It has nothing to tell: its session hears of interruptions from the camera.
}

std::pair<bool, std::optional<NSError>> PhoneMicrophone::open()
{
    world_->state().note("open", microphone);
    const auto fault = world_->state().strike(
        Step::OpenAudioInput, { Outcome::Error, Outcome::ErrorWithResult, Outcome::Nothing }, microphone);
    if (!fault)
        return { true, std::nullopt };
    if (fault->outcome == Outcome::Nothing)
        return { false, std::nullopt };
    return { fault->outcome == Outcome::ErrorWithResult, errorOf(*fault) };
}

void PhoneMicrophone::apply(const CaptureSettings&, const std::string& what, std::function<void(CMTime)> tookEffect)
{
    world_->state().note(what, microphone);
    if (tookEffect)
        queue_.async([tookEffect = std::move(tookEffect), world = world_] {
            constexpr std::int32_t fineTimescale = 1000000000;
            tookEffect(CMTimeMakeWithSeconds(world->state().clock().now(), fineTimescale));
        });
}

std::optional<NSError> PhoneMicrophone::start(
    const StreamRequest&, std::function<void(std::shared_ptr<CMSampleBuffer>)> deliver)
{
    world_->state().note("start", microphone);
    if (const auto fault = world_->state().strike(Step::Start, { Outcome::Error }, microphone))
        return errorOf(*fault);
    std::uint64_t run = 0;
    {
        const std::lock_guard lock(mutex_);
        deliver_ = std::move(deliver);
        run = ++run_;
        nextPiece_ = world_->state().clock().now() + secondsOfPiece;
    }
    queue_.after(secondsOfPiece, [weak = weak_from_this(), run] {
        if (const auto self = weak.lock())
            self->tick(run);
    });
    return std::nullopt;
}

void PhoneMicrophone::stop()
{
    world_->state().note("stop", microphone);
    end();
    if (!queue_.isCurrent())
        queue_.sync([] {}); // a piece may be on its way
}

void PhoneMicrophone::end()
{
    std::function<void(std::shared_ptr<CMSampleBuffer>)> released; // its destructor may call back
    const std::lock_guard lock(mutex_);
    ++run_;
    released = std::move(deliver_);
    deliver_ = nullptr;
}

void PhoneMicrophone::tick(std::uint64_t run)
{
    double wait = 0;
    {
        const std::lock_guard lock(mutex_);
        if (run != run_)
            return;
        nextPiece_ += secondsOfPiece;
        wait = std::max(0.0, nextPiece_ - world_->state().clock().now());
    }
    queue_.after(wait, [weak = weak_from_this(), run] {
        if (const auto self = weak.lock())
            self->tick(run);
    });
    deliverPiece();
}

void PhoneMicrophone::sendAudio()
{
    const auto send = [this] { deliverPiece(); };
    if (queue_.isCurrent())
        send();
    else
        queue_.sync(send);
}

void PhoneMicrophone::deliverPiece()
{
    const auto whole = world_->scene()->audio();
    std::function<void(std::shared_ptr<CMSampleBuffer>)> deliver;
    std::uint64_t sequence = 0, from = 0;
    const bool silent = !whole || whole->samples.empty();
    const double rate = silent ? 48000 : whole->sampleRate;
    {
        const std::lock_guard lock(mutex_);
        if (!deliver_)
            return;
        deliver = deliver_;
        sequence = ++sequence_;
        from = std::exchange(heard_, heard_ + static_cast<std::uint64_t>(rate * secondsOfPiece));
    }
    constexpr std::int32_t fineTimescale = 1000000000;
    deliver(make<CMSampleBuffer>(std::make_shared<const CMAudioSamples>(silent ? tone(from) : cut(*whole, from)),
        CMTimeMakeWithSeconds(world_->state().clock().now(), fineTimescale), sequence));
}

void PhoneMicrophone::captureStill(const StillRequest&, StillEvents events)
{
    constexpr int unsupported = -11877;
    queue_.async([done = std::move(events.done)] {
        if (done)
            done(false, NSError(AVFoundationErrorDomain, unsupported, "A microphone takes no pictures; ask a camera."));
    });
}

}
