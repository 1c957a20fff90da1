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

constexpr double quietRate = 48000;

/// What the microphone's own clock makes of the world: `step` seconds pass from one of its samples to the next.
CMAudioSamples tone(double from, double step)
{
    constexpr double hertz = 440, loudness = 0.1;
    CMAudioSamples piece { {}, 1, quietRate };
    const auto count = static_cast<std::size_t>(quietRate * secondsOfPiece);
    for (std::size_t i = 0; i < count; ++i) {
        const double turns = hertz * (from + step * static_cast<double>(i));
        piece.samples.push_back(
            static_cast<float>(loudness * std::sin(2 * std::numbers::pi * (turns - std::floor(turns)))));
    }
    return piece;
}

CMAudioSamples heard(const CMAudioSamples& whole, double from, double step)
{
    CMAudioSamples piece { {}, whole.channels, whole.sampleRate };
    const auto channels = static_cast<std::size_t>(std::max(1, whole.channels));
    const auto length = static_cast<double>(whole.samples.size() / channels);
    const auto count = static_cast<std::size_t>(whole.sampleRate * secondsOfPiece);
    for (std::size_t i = 0; i < count; ++i) {
        const double place = std::floor((from + step * static_cast<double>(i)) * whole.sampleRate + 1e-6);
        const auto at = static_cast<std::ptrdiff_t>(place - std::floor(place / length) * length)
            * static_cast<std::ptrdiff_t>(channels);
        piece.samples.insert(piece.samples.end(), whole.samples.begin() + at,
            whole.samples.begin() + at + static_cast<std::ptrdiff_t>(channels));
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
    double wait = 0;
    {
        const std::lock_guard lock(mutex_);
        deliver_ = std::move(deliver);
        run = ++run_;
        pieces_ = 0;
        begin_ = world_->state().clock().now();
        beginOfWorld_ = world_->state().now();
        wait = secondsOfPiece / clockRate();
        nextPiece_ = begin_ + wait;
    }
    queue_.after(wait, [weak = weak_from_this(), run] {
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
        nextPiece_ += secondsOfPiece / clockRate();
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

double PhoneMicrophone::clockRate() const
{
    constexpr double millionths = 1e-6;
    return 1 + world_->description()->soundClock * millionths;
}

void PhoneMicrophone::deliverPiece()
{
    constexpr std::int32_t fineTimescale = 1000000000;
    const auto whole = world_->scene()->audio();
    const double rate = clockRate();
    std::function<void(std::shared_ptr<CMSampleBuffer>)> deliver;
    std::uint64_t sequence = 0;
    double since = 0, from = 0, time = 0;
    {
        const std::lock_guard lock(mutex_);
        if (!deliver_)
            return;
        deliver = deliver_;
        sequence = ++sequence_;
        since = static_cast<double>(pieces_++) * secondsOfPiece / rate;
        from = beginOfWorld_ + since;
        time = begin_ + since;
    }
    const bool silent = !whole || whole->samples.empty();
    auto piece = silent ? tone(from, 1 / (quietRate * rate)) : heard(*whole, from, 1 / (whole->sampleRate * rate));
    deliver(make<CMSampleBuffer>(std::make_shared<const CMAudioSamples>(std::move(piece)),
        CMTimeMakeWithSeconds(time, fineTimescale), sequence));
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
