// SPDX-License-Identifier: Apache-2.0
#include "drivers/phone/PhoneCamera.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace velmora::drivers::phone {

namespace {

constexpr std::int32_t fineTimescale = 1000000000;
constexpr double liveMovieTail = 1.5; // seconds from the shutter to the end of a live photo's movie

/// Room that a picture may need as a file, at the best quality.
std::uint64_t bytesFor(CMVideoDimensions size, bool raw)
{
    const auto pixels = static_cast<std::uint64_t>(size.width) * static_cast<std::uint64_t>(size.height);
    return raw ? 2 * pixels : pixels / 2;
}

bool flashes(int mode, float ISO)
{
    constexpr int on = 1, automatic = 2;
    return mode == on || (mode == automatic && ISO > model::darkISO);
}

}

void PhoneCamera::captureStill(const StillRequest& request, StillEvents events)
{
    world_->state().note("captureStill", id_);
    auto still = std::make_shared<Still>();
    still->request = request;
    still->events = std::move(events);
    const auto phone = world_->description();
    const Camera* camera = world_->find(*phone, id_);
    double frame = 0;
    bool running = false;
    {
        const std::lock_guard lock(mutex_);
        running = started_ && !unplugged_ && camera;
        if (running)
            frame = secondsOfFrame(*camera, condition_);
    }
    if (!running) {
        constexpr int notRunning = -11803;
        const NSError error(AVFoundationErrorDomain, notRunning,
            "The camera \"" + id_ + "\" took no picture, because it is not running; start the session first.");
        return queue_.async([still, error] {
            if (still->events.done)
                still->events.done(false, error);
        });
    }
    if (auto script = world_->nextScript()) {
        still->script = std::move(*script);
        still->natural = false;
    }
    queue_.after(frame, [weak = weak_from_this(), still] {
        if (const auto self = weak.lock())
            self->expose(still);
    });
}

/// The moment that the picture shows: what changes later does not change it any more.
void PhoneCamera::expose(const std::shared_ptr<Still>& still)
{
    const auto phone = world_->description();
    const Camera* camera = world_->find(*phone, id_);
    if (!camera)
        return;
    Condition condition;
    std::uint64_t sequence = 0;
    {
        const std::lock_guard lock(mutex_);
        if (ended_)
            return;
        condition = condition_;
        sequence = sequence_;
    }
    const bool flash = flashes(still->request.flashMode, condition.exposure.ISO)
        && std::find(camera->flashModes.begin(), camera->flashModes.end(), still->request.flashMode)
            != camera->flashModes.end();
    const CMVideoDimensions size = format(*camera, condition.settings.activeFormat).highResolutionStill;
    still->shot = shot(*camera, condition, size, flash ? model::flashLight(phone->sceneDistance) : 1, 0);
    if (still->shot.noise > 0)
        still->shot.seed = sequence;
    still->exposure = condition.exposure;
    still->gains = condition.gains;
    const Clock& clock = world_->state().clock();
    still->info
        = { condition.exposure.duration, condition.exposure.ISO, condition.settings.exposureTargetBias, condition.gains,
              flash, clock.absoluteTime(), CMTimeMakeWithSeconds(clock.now(), fineTimescale), still->shot.view.zoom };
    if (still->natural)
        still->script = naturalScript(still->request, flash);
    playNext(still);
}

std::vector<PhotoEvent> PhoneCamera::naturalScript(const StillRequest& request, bool flash) const
{
    const auto phone = world_->description();
    const Camera* camera = world_->find(*phone, id_);
    std::size_t active = 0;
    {
        const std::lock_guard lock(mutex_);
        active = condition_.settings.activeFormat;
    }
    const CMVideoDimensions size = format(*camera, active).highResolutionStill;
    std::optional<NSError> firstError;
    const auto kept = [&](PhotoEvent::Kind kind, bool raw) {
        PhotoEvent event { kind };
        event.error = world_->store(bytesFor(size, raw));
        event.data = !event.error;
        event.preview = !raw && request.previewFormat;
        if (!firstError)
            firstError = event.error;
        return event;
    };
    std::vector<PhotoEvent> script { { .kind = PhotoEvent::Shutter, .flash = flash } };
    if (request.processed)
        script.push_back(kept(PhotoEvent::Processed, false));
    if (request.rawFormat)
        script.push_back(kept(PhotoEvent::Raw, true));
    if (request.livePhoto)
        script.push_back({ .kind = PhotoEvent::Movie });
    script.push_back({ .kind = PhotoEvent::Done, .error = firstError, .flash = flash });
    return script;
}

void PhoneCamera::playNext(const std::shared_ptr<Still>& still)
{
    if (still->next == still->script.size())
        return;
    const PhotoEvent event = still->script[still->next++];
    const auto go = [weak = weak_from_this(), still, event] {
        const auto self = weak.lock();
        if (!self)
            return;
        self->play(*still, event);
        self->playNext(still);
    };
    if (event.kind == PhotoEvent::Movie && still->natural)
        queue_.after(liveMovieTail, go);
    else
        queue_.async(go);
}

void PhoneCamera::play(Still& still, const PhotoEvent& event)
{
    const StillEvents& events = still.events;
    switch (event.kind) {
    case PhotoEvent::Shutter:
        if (events.shutter)
            events.shutter(event.flash);
        return;
    case PhotoEvent::Processed:
        if (events.processed)
            events.processed(picture(still, event), event.error);
        return;
    case PhotoEvent::Raw:
        if (events.raw)
            events.raw(picture(still, event), event.error);
        return;
    case PhotoEvent::Movie:
        if (events.movie)
            events.movie(event.error);
        return;
    case PhotoEvent::Done:
        if (events.done)
            events.done(event.flash, event.error);
        return;
    }
}

std::optional<CapturedStill> PhoneCamera::picture(Still& still, const PhotoEvent& event)
{
    if (!event.data)
        return std::nullopt;
    CapturedStill result;
    result.exposure = still.info;
    if (event.kind == PhotoEvent::Raw) {
        const std::array<double, 3> neutral = [&] {
            // Grey in the scene's light, as the balance in force takes it for grey.
            const auto& b = still.shot.balance;
            const std::array<double, 3> white = model::sensorWhite;
            return std::array<double, 3> { white[0] / b[0] * b[1], 1, white[2] / b[2] * b[1] };
        }();
        const auto scene = world_->scene();
        if (!raw_.raw || raw_.scene != scene || !(raw_.shot == still.shot) || raw_.asShot != neutral)
            raw_ = { scene, still.shot, neutral, readOut(*scene, still.shot, neutral) };
        result.raw = raw_.raw;
    } else
        result.pixels = rendered(still_, still.shot, kCVPixelFormatType_420YpCbCr8BiPlanarFullRange);

    if (event.preview) {
        constexpr std::int32_t usualWidth = 320;
        const auto& view = still.shot.view;
        Shot small = still.shot;
        const std::int32_t wanted = still.request.previewWidth > 0 ? still.request.previewWidth : usualWidth;
        small.view.width = std::clamp(wanted, 2, std::max(2, view.width));
        small.view.height = std::max(
            2, static_cast<int>(std::lround(static_cast<double>(view.height) * small.view.width / view.width)));
        const std::uint32_t pixelFormat = still.request.previewFormat.value_or(0);
        result.preview = rendered(preview_, small, pixelFormat);
    }
    return result;
}

}
