// SPDX-License-Identifier: Apache-2.0
#include "drivers/phone/PhoneCamera.h"

#include "platform/Foundation/NSLog.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace velmora::drivers::phone {

namespace {

constexpr std::int32_t fineTimescale = 1000000000;
constexpr double usualFrame = 1.0 / 30; // seconds

constexpr int locked = 0, custom = 3; // modes

/// Spread evenly: of a hundred frames with 0.03 it is three.
bool isLost(std::uint64_t sequence, double part)
{
    const auto lostUntil = [part](std::uint64_t number) { return std::floor(static_cast<double>(number) * part); };
    return part > 0 && lostUntil(sequence) > lostUntil(sequence - 1);
}

CaptureFrameRateRange rangeOf(const FrameRates& rates)
{
    const auto frame = [](double rate) {
        const bool whole = rate == std::round(rate) && rate < 1e6;
        return whole ? CMTimeMake(1, static_cast<std::int32_t>(rate)) : CMTimeMakeWithSeconds(1 / rate, fineTimescale);
    };
    return { rates.minimum, rates.maximum, rates.shortestFrame.value_or(frame(rates.maximum)), frame(rates.minimum) };
}

CaptureFormat formatOf(const Format& format)
{
    CaptureFormat result { format.size, format.highResolutionStill, {}, format.depth, format.shortestExposure,
        format.longestExposure, format.lowestISO, format.highestISO, format.highestZoom };
    for (const auto& rates : format.frameRates)
        result.frameRates.push_back(rangeOf(rates));
    return result;
}

int preferred(const std::vector<int>& modes, std::initializer_list<int> wishes)
{
    for (const int wish : wishes)
        if (std::find(modes.begin(), modes.end(), wish) != modes.end())
            return wish;
    return locked;
}

CaptureDeviceDescription describe(const Camera& camera, const PhoneDescription& phone)
{
    CaptureDeviceDescription result;
    result.uniqueID = camera.id;
    result.name = camera.id;
    result.make = "Velmora";
    result.model = "Virtual Phone";
    result.deviceType = camera.type;
    result.position = camera.position;
    result.foundAt = camera.foundAt;
    for (const auto& format : camera.formats)
        result.formats.push_back(formatOf(format));
    result.activeFormat = camera.activeFormat;
    result.presets = camera.presets;
    result.flashModes = camera.flashModes;
    result.torchModes = camera.torchModes;
    result.focusModes = camera.focusModes;
    result.exposureModes = camera.exposureModes;
    result.whiteBalanceModes = camera.whiteBalanceModes;
    result.stabilizationModes = camera.stabilizationModes;
    result.rawFormats = camera.rawFormats;
    result.previewFormats = camera.previewFormats;
    result.metadataTypes = phone.metadataTypes;
    result.focusPoint = camera.focusPoint;
    result.exposurePoint = camera.exposurePoint;
    result.distortionCorrection = camera.distortionCorrection;
    result.portraitMatte = camera.matte;
    result.livePhoto = camera.livePhoto;
    result.minExposureBias = camera.lowestBias;
    result.maxExposureBias = camera.highestBias;
    result.maxWhiteBalanceGain = camera.highestGain;
    result.aperture = camera.aperture;
    result.focalLength = camera.focalLength;
    result.focalLengthIn35mm = camera.focalLengthIn35mm;
    result.lensModel = "Virtual Phone " + camera.id + " camera";
    return result;
}

}

PhoneCamera::PhoneCamera(std::shared_ptr<PhoneWorld> world, std::string id, std::function<void()> unplugged)
    : world_(std::move(world))
    , id_(std::move(id))
    , queue_("org.velmora.phone." + id_)
    , whenUnplugged_(std::move(unplugged))
{
    const auto phone = world_->description();
    const Camera* camera = world_->find(*phone, id_);
    if (!camera)
        return;
    auto& settings = condition_.settings;
    settings.activeFormat = camera->activeFormat;
    settings.focusMode = preferred(camera->focusModes, { 2, 1 });
    settings.exposureMode = preferred(camera->exposureModes, { 2, 1 });
    settings.whiteBalanceMode = preferred(camera->whiteBalanceModes, { 2, 1 });
    const Format& active = format(*camera, camera->activeFormat);
    condition_.exposure = model::metered(active, 0, usualFrame);
    condition_.lens = model::lensPositionFor(phone->sceneDistance);
    condition_.gains = model::neutralGains(*camera);
}

CaptureDeviceDescription PhoneCamera::description() const
{
    const auto phone = world_->description();
    const Camera* camera = world_->find(*phone, id_);
    const std::lock_guard lock(mutex_);
    if (camera)
        lastDescription_ = describe(*camera, *phone);
    return lastDescription_;
}

const Format& PhoneCamera::format(const Camera& camera, std::size_t index) const
{
    static const Format& none = *new Format; // outlives the frames that are on their way at the end
    return index < camera.formats.size() ? camera.formats[index] : none;
}

std::shared_ptr<const CaptureDeviceEvents> PhoneCamera::events() const
{
    const std::lock_guard lock(mutex_);
    return events_;
}

void PhoneCamera::setEvents(CaptureDeviceEvents events)
{
    auto shared = std::make_shared<const CaptureDeviceEvents>(std::move(events));
    CaptureReadings first;
    {
        const std::lock_guard lock(mutex_);
        events_ = shared;
        first = readings(condition_);
    }
    if (shared->readingsChanged)
        shared->readingsChanged(first);
}

std::pair<bool, std::optional<NSError>> PhoneCamera::open()
{
    const auto fault = world_->state().strike(
        Step::OpenVideoInput, { Outcome::Error, Outcome::ErrorWithResult, Outcome::Nothing }, id_);
    const bool opened = !fault || fault->outcome == Outcome::ErrorWithResult;
    {
        const std::lock_guard lock(mutex_);
        opened_ = opened_ || opened;
    }
    world_->state().note("open", id_);
    if (!fault || fault->outcome == Outcome::Nothing)
        return { opened, std::nullopt };
    return { opened, errorOf(*fault) };
}

std::optional<NSError> PhoneCamera::lock()
{
    if (const auto fault = world_->state().strike(Step::Lock, { Outcome::Error }, id_)) {
        world_->state().note("lock refused", id_);
        return errorOf(*fault);
    }
    world_->state().note("lock", id_);
    const std::lock_guard lock(mutex_);
    locked_ = true;
    return std::nullopt;
}

void PhoneCamera::unlock()
{
    world_->state().note("unlock", id_);
    const std::lock_guard lock(mutex_);
    locked_ = false;
}

bool PhoneCamera::isOpened() const
{
    const std::lock_guard lock(mutex_);
    return opened_;
}

bool PhoneCamera::isStarted() const
{
    const std::lock_guard lock(mutex_);
    return started_;
}

bool PhoneCamera::isUnplugged() const
{
    const std::lock_guard lock(mutex_);
    return unplugged_;
}

double PhoneCamera::secondsOfFrame(const Camera& camera, const Condition& condition) const
{
    const Format& active = format(camera, condition.settings.activeFormat);
    double shortest = 0, longest = 1e3;
    if (CMTIME_IS_NUMERIC(condition.settings.minFrameDuration))
        shortest = CMTimeGetSeconds(condition.settings.minFrameDuration);
    else if (!active.frameRates.empty())
        shortest = 1 / active.frameRates.front().maximum;
    if (CMTIME_IS_NUMERIC(condition.settings.maxFrameDuration))
        longest = CMTimeGetSeconds(condition.settings.maxFrameDuration);
    constexpr double leastAtAll = 1e-4;
    const double frame = std::max(std::min(std::max(usualFrame, shortest), std::max(longest, shortest)), leastAtAll);
    // No frame ends before its exposure does.
    return condition.settings.exposureMode == custom ? std::max(frame, CMTimeGetSeconds(condition.exposure.duration))
                                                     : frame;
}

PhoneCamera::Condition PhoneCamera::target(
    const Camera& camera, const CaptureSettings& settings, const Condition& now) const
{
    const Format& active = format(camera, settings.activeFormat);
    Condition next = now;
    next.settings = settings;

    if (settings.exposureMode == custom)
        next.exposure = model::limited({ settings.ISO, settings.exposureDuration }, now.exposure, active);
    else if (settings.exposureMode == locked) // a bias counts from where the exposure was locked
        next.exposure = model::shifted(
            now.exposure, static_cast<double>(settings.exposureTargetBias - now.settings.exposureTargetBias), active);
    else
        next.exposure = model::metered(active, settings.exposureTargetBias, secondsOfFrame(camera, next));

    // Locked, what is in force stays until a value is set by hand: the device may have moved by itself since the last.
    const CaptureSettings& before = now.settings;
    const bool lensSet = settings.focusMode != before.focusMode || settings.lensPosition != before.lensPosition;
    if (!model::focuses(camera) || settings.focusMode != locked)
        next.lens = model::lensPositionFor(world_->description()->sceneDistance);
    else if (lensSet && settings.lensPosition >= 0 && settings.lensPosition <= 1)
        next.lens = settings.lensPosition;

    const auto [red, green, blue] = settings.whiteBalanceGains;
    const bool gainsSet = settings.whiteBalanceMode != before.whiteBalanceMode
        || !(settings.whiteBalanceGains == before.whiteBalanceGains);
    if (settings.whiteBalanceMode != locked)
        next.gains = model::neutralGains(camera);
    else if (gainsSet && red >= 1 && green >= 1 && blue >= 1)
        next.gains = settings.whiteBalanceGains;
    return next;
}

void PhoneCamera::apply(
    const CaptureSettings& settings, const std::string& what, std::function<void(CMTime)> tookEffect)
{
    const auto fault = world_->state().strike(Step::SettingTakesEffect, { Outcome::Late, Outcome::Never }, id_);
    const auto phone = world_->description();
    const Camera* camera = world_->find(*phone, id_);
    bool withLock = false;
    double delay = usualFrame;
    std::uint64_t change = 0;
    {
        const std::lock_guard lock(mutex_);
        withLock = locked_;
        change = ++changes_;
        if (camera)
            delay = secondsOfFrame(*camera, condition_);
    }
    const bool needsLock = !what.starts_with("auto "); // the service's own changes need none
    world_->state().note(withLock || !needsLock ? what : what + " without a lock", id_);
    if (fault && fault->outcome == Outcome::Never)
        return;
    if (fault)
        delay = fault->delay;
    queue_.after(delay, [weak = weak_from_this(), settings, change, tookEffect = std::move(tookEffect)] {
        if (const auto self = weak.lock())
            self->takeEffect(settings, change, tookEffect);
    });
}

/// What is set by hand is there at once; what the device finds by itself takes one frame more, in which it says that
/// it is adjusting.
void PhoneCamera::takeEffect(
    const CaptureSettings& settings, std::uint64_t change, const std::function<void(CMTime)>& tookEffect)
{
    const auto phone = world_->description();
    const Camera* camera = world_->find(*phone, id_);
    if (!camera)
        return;
    CaptureReadings now;
    double frame = usualFrame, firstFrame = 0;
    bool adjusting = false;
    {
        const std::lock_guard lock(mutex_);
        if (ended_)
            return; // the clock may have gone with the phone
        firstFrame = started_ ? std::max(nextFrame_, world_->state().clock().now()) : world_->state().clock().now();
        if (change > changeInForce_) { // a late one does not undo what came after it
            changeInForce_ = change;
            const Condition next = target(*camera, settings, condition_);
            const CaptureSettings before = std::exchange(condition_.settings, settings);
            const bool focusing = settings.focusMode != locked
                && (settings.focusMode != before.focusMode || settings.focusPointX != before.focusPointX
                    || settings.focusPointY != before.focusPointY || next.lens != condition_.lens);
            const bool exposing = settings.exposureMode != locked && settings.exposureMode != custom
                && (settings.exposureMode != before.exposureMode || settings.exposurePointX != before.exposurePointX
                    || settings.exposurePointY != before.exposurePointY || !(next.exposure == condition_.exposure));
            const bool balancing = settings.whiteBalanceMode != locked
                && (settings.whiteBalanceMode != before.whiteBalanceMode || next.gains != condition_.gains);
            if (!focusing)
                condition_.lens = next.lens;
            if (!exposing)
                condition_.exposure = next.exposure;
            if (!balancing)
                condition_.gains = next.gains;
            now = readings(condition_);
            now.adjustingFocus = focusing;
            now.adjustingExposure = exposing;
            now.adjustingWhiteBalance = balancing;
            adjusting = focusing || exposing || balancing;
            frame = secondsOfFrame(*camera, condition_);
        }
    }
    report(now);
    if (adjusting)
        queue_.after(frame, [weak = weak_from_this(), change] {
            if (const auto self = weak.lock())
                self->settle(change);
        });
    if (tookEffect)
        tookEffect(CMTimeMakeWithSeconds(firstFrame, fineTimescale));
}

void PhoneCamera::settle(std::uint64_t change)
{
    const auto phone = world_->description();
    const Camera* camera = world_->find(*phone, id_);
    if (!camera)
        return;
    CaptureReadings now;
    {
        const std::lock_guard lock(mutex_);
        if (change != changeInForce_)
            return; // the later change settles
        condition_ = target(*camera, condition_.settings, condition_);
        now = readings(condition_);
    }
    report(now);
}

CaptureReadings PhoneCamera::readings(const Condition& condition) const
{
    CaptureReadings all;
    all.ISO = condition.exposure.ISO;
    all.exposureDuration = condition.exposure.duration;
    all.lensPosition = condition.lens;
    all.exposureTargetBias = condition.settings.exposureTargetBias;
    all.exposureTargetOffset = model::offset(condition.exposure, condition.settings.exposureTargetBias);
    all.whiteBalanceGains = condition.gains;
    all.adjustingFocus = all.adjustingExposure = all.adjustingWhiteBalance = false;
    return all;
}

void PhoneCamera::report(const CaptureReadings& readings)
{
    if (const auto told = events(); told->readingsChanged)
        told->readingsChanged(readings);
}

std::optional<NSError> PhoneCamera::start(
    const StreamRequest& request, std::function<void(std::shared_ptr<CMSampleBuffer>)> deliver)
{
    world_->state().note("start", id_);
    if (const auto fault = world_->state().strike(Step::Start, { Outcome::Error }, id_))
        return errorOf(*fault);
    constexpr int wasDisconnected = -11808, formatUnsupported = -11846;
    if (!canConvertTo(request.pixelFormat))
        return NSError(AVFoundationErrorDomain, formatUnsupported,
            "The camera \"" + id_ + "\" has no frames in the format '" + fourCharacterCode(request.pixelFormat)
                + "'; ask for '420f', '420v' or 'BGRA'.");
    const auto phone = world_->description();
    const Camera* camera = world_->find(*phone, id_);
    double frame = usualFrame;
    std::uint64_t run = 0;
    {
        const std::lock_guard lock(mutex_);
        if (unplugged_ || !camera)
            return NSError(AVFoundationErrorDomain, wasDisconnected,
                "The camera \"" + id_ + "\" was unplugged, so it cannot start.");
        started_ = true;
        broken_ = false;
        request_ = request;
        deliver_ = std::move(deliver);
        run = ++run_;
        framesOfRun_ = 0;
        frame = secondsOfFrame(*camera, condition_);
        nextFrame_ = world_->state().clock().now() + frame;
    }
    queue_.after(frame, [weak = weak_from_this(), run] {
        if (const auto self = weak.lock())
            self->tick(run);
    });
    return std::nullopt;
}

void PhoneCamera::stop()
{
    world_->state().note("stop", id_);
    end();
    if (!queue_.isCurrent())
        queue_.sync([] {}); // a frame may be on its way
}

void PhoneCamera::end()
{
    std::function<void(std::shared_ptr<CMSampleBuffer>)> released; // its destructor may call back
    const std::lock_guard lock(mutex_);
    started_ = false;
    ++run_;
    released = std::move(deliver_);
}

void PhoneCamera::endWithPhone(bool waits)
{
    end();
    {
        const std::lock_guard lock(mutex_);
        ended_ = true;
    }
    if (waits)
        queue_.sync([] {});
}

void PhoneCamera::tick(std::uint64_t run)
{
    const auto phone = world_->description();
    const Camera* camera = world_->find(*phone, id_);
    double wait = 0;
    bool paused = false;
    {
        const std::lock_guard lock(mutex_);
        if (run != run_ || !started_ || unplugged_ || !camera)
            return;
        paused = interrupted_ || broken_;
        const double frame = secondsOfFrame(*camera, condition_);
        const double now = world_->state().clock().now();
        nextFrame_ += frame;
        if (nextFrame_ < now) { // frames that nobody had time for are lost, and counted
            const double lost = std::ceil((now - nextFrame_) / frame);
            sequence_ += static_cast<std::uint64_t>(lost);
            nextFrame_ += lost * frame;
        }
        wait = nextFrame_ - now;
    }
    queue_.after(wait, [weak = weak_from_this(), run] {
        if (const auto self = weak.lock())
            self->tick(run);
    });
    if (!paused)
        deliverFrame();
}

void PhoneCamera::sendFrame()
{
    const auto send = [this] { deliverFrame(); };
    if (queue_.isCurrent())
        send();
    else
        queue_.sync(send);
}

Shot PhoneCamera::shot(
    const Camera& camera, const Condition& condition, CMVideoDimensions size, double lamp, int stabilization) const
{
    const auto phone = world_->description();
    Shot result;
    result.view.width = size.width;
    result.view.height = size.height;
    constexpr int authorised = 3;
    if (phone->permissions.camera != authorised) { // whoever may not look sees nothing, not even noise
        result.gain = 0;
        return result;
    }
    result.view.moment = world_->scene()->moment(world_->state().now());
    result.view.turn = world_->turn(camera.position);
    result.view.zoom = std::max(1.0, condition.settings.zoomFactor);
    const auto neutral = model::neutralGains(camera);
    result.balance = { static_cast<double>(condition.gains.redGain / neutral.redGain),
        static_cast<double>(condition.gains.greenGain / neutral.greenGain),
        static_cast<double>(condition.gains.blueGain / neutral.blueGain) };
    result.gain = model::gain(condition.exposure) * lamp;
    constexpr int on = 1, automatic = 2;
    const int torch = condition.settings.torchMode;
    if (torch == on || (torch == automatic && condition.exposure.ISO > model::darkISO))
        result.gain *= model::torchLight(phone->sceneDistance);
    if (model::focuses(camera))
        result.blur = model::blur(condition.lens, phone->sceneDistance, camera) * result.view.zoom;
    result.noise = model::noise(condition.exposure.ISO);
    if (!condition.settings.distortionCorrection)
        result.warp.barrel = camera.barrel;
    const auto [crop, rest] = phone::stabilization(stabilization);
    result.warp.crop = crop;
    const auto [x, y] = tremor(world_->state().now());
    result.warp.shiftX = phone->handShake * rest * x;
    result.warp.shiftY = phone->handShake * rest * y;
    return result;
}

std::shared_ptr<CVPixelBuffer> PhoneCamera::rendered(Rendered& cache, const Shot& shot, std::uint32_t pixelFormat)
{
    auto scene = world_->scene();
    if (!cache.pixels || cache.scene != scene || !(cache.shot == shot) || cache.pixelFormat != pixelFormat)
        cache = { scene, shot, pixelFormat, converted(develop(*scene, shot), pixelFormat) };
    return cache.pixels;
}

void PhoneCamera::deliverFrame()
{
    const auto phone = world_->description();
    const Camera* camera = world_->find(*phone, id_);
    std::function<void(std::shared_ptr<CMSampleBuffer>)> deliver;
    Condition condition;
    std::uint32_t pixelFormat = 0;
    int stabilization = 0;
    std::uint64_t sequence = 0;
    bool last = false, lost = false;
    {
        const std::lock_guard lock(mutex_);
        if (!started_ || unplugged_ || !camera || !deliver_)
            return;
        sequence = ++sequence_;
        last = unplugAfter_ && ++framesOfRun_ >= *unplugAfter_;
        lost = isLost(sequence, phone->lostFrames);
        deliver = deliver_;
        condition = condition_;
        pixelFormat = request_.pixelFormat;
        stabilization = request_.stabilizationMode;
    }
    if (lost) {
        if (last)
            unplugNow();
        return;
    }
    Shot taken = shot(*camera, condition, format(*camera, condition.settings.activeFormat).size, 1, stabilization);
    if (taken.noise > 0)
        taken.seed = sequence;
    deliver(make<CMSampleBuffer>(rendered(frame_, taken, pixelFormat),
        CMTimeMakeWithSeconds(world_->state().clock().now(), fineTimescale), sequence));
    if (last)
        unplugNow();
}

void PhoneCamera::showFaces(std::size_t count)
{
    std::vector<CaptureMetadataObject> faces;
    const auto phone = world_->description();
    for (std::size_t i = 0; i < count; ++i) {
        const double width = 1.0 / static_cast<double>(count + 1);
        faces.push_back({ AVMetadataObjectTypeFace, width * (static_cast<double>(i) + 0.5), 0.35, width * 0.8, 0.3,
            world_->state().clock().now() });
    }
    queue_.async([weak = weak_from_this(), faces] {
        const auto self = weak.lock();
        if (!self || !self->isStarted())
            return;
        if (const auto told = self->events(); told->metadata)
            told->metadata(faces);
    });
}

void PhoneCamera::interrupt(const std::optional<NSError>& error)
{
    {
        const std::lock_guard lock(mutex_);
        interrupted_ = true;
    }
    queue_.async([weak = weak_from_this(), error] {
        if (const auto self = weak.lock())
            if (const auto told = self->events(); told->interrupted)
                told->interrupted(error);
    });
}

void PhoneCamera::resume()
{
    {
        const std::lock_guard lock(mutex_);
        interrupted_ = broken_ = false;
    }
    queue_.async([weak = weak_from_this()] {
        if (const auto self = weak.lock())
            if (const auto told = self->events(); told->interruptionEnded)
                told->interruptionEnded();
    });
}

void PhoneCamera::fail(const NSError& error)
{
    {
        const std::lock_guard lock(mutex_);
        broken_ = true; // nothing more comes, until somebody resumes or starts it again
    }
    queue_.async([weak = weak_from_this(), error] {
        if (const auto self = weak.lock())
            if (const auto told = self->events(); told->failed)
                told->failed(error);
    });
}

void PhoneCamera::unplug(std::uint64_t afterFrame)
{
    if (afterFrame == 0)
        return unplugNow();
    const std::lock_guard lock(mutex_);
    unplugAfter_ = afterFrame;
    framesOfRun_ = 0;
}

void PhoneCamera::unplugNow()
{
    {
        const std::lock_guard lock(mutex_);
        if (std::exchange(unplugged_, true))
            return;
    }
    whenUnplugged_();
    constexpr int wasDisconnected = -11808;
    fail(NSError(AVFoundationErrorDomain, wasDisconnected,
        "The camera \"" + id_ + "\" was unplugged; nothing more comes from it."));
}

void PhoneCamera::moveLens(float position)
{
    CaptureReadings moving;
    moving.adjustingFocus = true;
    moving.lensPosition = position;
    {
        const std::lock_guard lock(mutex_);
        condition_.lens = position;
    }
    report(moving);
    queue_.after(usualFrame, [weak = weak_from_this()] {
        const auto self = weak.lock();
        if (!self)
            return;
        CaptureReadings there;
        there.adjustingFocus = false;
        self->report(there);
    });
}

std::optional<AVCaptureWhiteBalanceGains> PhoneCamera::gains(
    const AVCaptureWhiteBalanceTemperatureAndTintValues& values) const
{
    const auto phone = world_->description();
    const Camera* camera = world_->find(*phone, id_);
    if (!camera)
        return std::nullopt;
    return model::gains(*camera, values.temperature, values.tint);
}

}
