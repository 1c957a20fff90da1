// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/AVCaptureDevice.h"

#include "platform/AVFoundation/AVError.h"
#include "platform/Foundation/NSLog.h"
#include "platform/Foundation/ProcessState.h"

#include <algorithm>
#include <atomic>
#include <map>
#include <utility>

namespace velmora {

namespace {

/// The objects that stand for the drivers' devices. A device that is there is kept, with all that was set on it; one
/// that was unplugged is forgotten when nobody else holds it.
class Registry {
public:
    static Registry& shared()
    {
        static auto* registry = [] {
            auto* made = new Registry;
            ProcessState::add([made] { made->clear(); });
            return made;
        }();
        return *registry;
    }

    std::shared_ptr<AVCaptureDevice> deviceFor(const std::shared_ptr<CaptureDeviceDriver>& driver)
    {
        const std::lock_guard lock(mutex_);
        Entry& entry = entries_[driver.get()];
        auto device = entry.device.lock();
        if (!device) {
            device = make<AVCaptureDevice>(driver);
            entry.device = device;
        }
        entry.kept = device;
        return device;
    }

    void forgetAllBut(const std::vector<std::shared_ptr<CaptureDeviceDriver>>& drivers)
    {
        std::vector<std::shared_ptr<AVCaptureDevice>> released; // after the lock
        const std::lock_guard lock(mutex_);
        for (auto& [driver, entry] : entries_)
            if (std::none_of(drivers.begin(), drivers.end(), [d = driver](const auto& e) { return e.get() == d; }))
                released.push_back(std::move(entry.kept));
        std::erase_if(entries_, [](const auto& each) { return !each.second.kept && each.second.device.expired(); });
    }

    void clear()
    {
        std::map<const CaptureDeviceDriver*, Entry> released;
        const std::lock_guard lock(mutex_);
        entries_.swap(released);
    }

private:
    struct Entry {
        std::weak_ptr<AVCaptureDevice> device;
        std::shared_ptr<AVCaptureDevice> kept;
    };
    std::mutex mutex_;
    std::map<const CaptureDeviceDriver*, Entry> entries_;
};

bool isAt(const AVCaptureDevice& device, AVCaptureDevicePosition position)
{
    return position == AVCaptureDevicePositionUnspecified || device.position() == position;
}

bool isSame(const CMTime& a, const CMTime& b)
{
    return a.value == b.value && a.timescale == b.timescale && a.flags == b.flags;
}

bool isSame(const CaptureFormat& a, const CaptureFormat& b)
{
    const auto sameRates = [](const CaptureFrameRateRange& x, const CaptureFrameRateRange& y) {
        return x.minFrameRate == y.minFrameRate && x.maxFrameRate == y.maxFrameRate
            && isSame(x.minFrameDuration, y.minFrameDuration) && isSame(x.maxFrameDuration, y.maxFrameDuration);
    };
    return a.dimensions == b.dimensions && a.highResolutionStill == b.highResolutionStill && a.depth == b.depth
        && std::equal(a.frameRates.begin(), a.frameRates.end(), b.frameRates.begin(), b.frameRates.end(), sameRates)
        && isSame(a.minExposureDuration, b.minExposureDuration) && isSame(a.maxExposureDuration, b.maxExposureDuration)
        && a.minISO == b.minISO && a.maxISO == b.maxISO && a.maxZoomFactor == b.maxZoomFactor;
}

/// What begins the names of changes that nobody asked for one by one.
constexpr const char* automatic = "auto ";

CMTime shortestFrame(const CaptureFormat& format)
{
    return format.frameRates.empty() ? kCMTimeInvalid : format.frameRates.front().minFrameDuration;
}

/// The most automatic mode that the device has.
int mostAutomatic(const std::vector<int>& modes)
{
    for (const int mode : { 2, 1 })
        if (std::find(modes.begin(), modes.end(), mode) != modes.end())
            return mode;
    return 0;
}

CaptureSettings initialSettings(const CaptureDeviceDescription& description)
{
    CaptureSettings settings;
    settings.activeFormat = description.activeFormat;
    settings.focusMode = mostAutomatic(description.focusModes);
    settings.exposureMode = mostAutomatic(description.exposureModes);
    settings.whiteBalanceMode = mostAutomatic(description.whiteBalanceModes);
    if (settings.activeFormat < description.formats.size()) {
        const CaptureFormat& format = description.formats[settings.activeFormat];
        settings.minFrameDuration = settings.maxFrameDuration = shortestFrame(format);
        settings.exposureDuration = format.maxExposureDuration;
        settings.ISO = format.minISO;
    }
    return settings;
}

}

std::shared_ptr<AVCaptureDevice> AVCaptureDevice::defaultDeviceWithDeviceType(
    const std::string& type, const std::string& mediaType, AVCaptureDevicePosition position)
{
    auto candidates = allDevices();
    const auto ordinary = defaultDeviceWithMediaType(mediaType);
    if (ordinary)
        candidates.insert(candidates.begin(), ordinary);
    for (const auto& device : candidates)
        if (device->hasMediaType(mediaType) && device->deviceType() == type && isAt(*device, position))
            return device;

    // A machine whose cameras are of other kinds still has an ordinary one, and that is what a wide angle means.
    const bool wantsOrdinary = type == AVCaptureDeviceTypeBuiltInWideAngleCamera;
    return wantsOrdinary && ordinary && isAt(*ordinary, position) ? ordinary : nullptr;
}

std::shared_ptr<AVCaptureDevice> AVCaptureDevice::defaultDeviceWithMediaType(const std::string& mediaType)
{
    const auto driver = CaptureDriver::installed();
    return driver ? deviceForDriver(driver->defaultDevice(mediaType)) : nullptr;
}

AVAuthorizationStatus AVCaptureDevice::authorizationStatusForMediaType(const std::string& mediaType)
{
    const auto driver = CaptureDriver::installed();
    return driver ? driver->authorizationStatus(mediaType) : AVAuthorizationStatusRestricted;
}

void AVCaptureDevice::requestAccessForMediaType(const std::string& mediaType, std::function<void(bool)> answer)
{
    if (const auto driver = CaptureDriver::installed())
        driver->requestAccess(mediaType, std::move(answer));
    else if (answer)
        answer(false);
}

std::vector<std::shared_ptr<AVCaptureDevice>> AVCaptureDevice::allDevices()
{
    const auto driver = CaptureDriver::installed();
    if (!driver)
        return {};
    const auto drivers = driver->devices();
    std::vector<std::shared_ptr<AVCaptureDevice>> devices;
    for (const auto& each : drivers)
        devices.push_back(deviceForDriver(each));
    Registry::shared().forgetAllBut(drivers);
    return devices;
}

std::shared_ptr<AVCaptureDevice> AVCaptureDevice::deviceForDriver(const std::shared_ptr<CaptureDeviceDriver>& driver)
{
    return driver ? Registry::shared().deviceFor(driver) : nullptr;
}

AVCaptureDevice::AVCaptureDevice(std::shared_ptr<CaptureDeviceDriver> driver)
    : driver_(std::move(driver))
    , settings_(initialSettings(driver_->description()))
{
}

void AVCaptureDevice::didConstruct()
{
    NSObject::didConstruct();
    const auto weak = weakFromThis(*this);
    const auto telling = [weak](auto member) {
        return [weak, member](const auto&... arguments) {
            if (const auto device = weak.lock())
                device->tellListeners([&](AVCaptureDeviceListener& each) { (each.*member)(arguments...); });
        };
    };
    CaptureDeviceEvents events;
    events.readingsChanged = [weak](const CaptureReadings& readings) {
        if (const auto device = weak.lock())
            device->take(readings);
    };
    events.failed = telling(&AVCaptureDeviceListener::deviceFailed);
    events.metadata = telling(&AVCaptureDeviceListener::deviceFound);
    events.interrupted = telling(&AVCaptureDeviceListener::deviceInterrupted);
    events.interruptionEnded = telling(&AVCaptureDeviceListener::deviceInterruptionEnded);
    driver_->setEvents(std::move(events));
}

const ClassInfo& AVCaptureDevice::staticClass()
{
    using Self = AVCaptureDevice;
    static constexpr auto methods = methodTable(method<&Self::uniqueID>("uniqueID"),
        method<&Self::localizedName>("localizedName"), method<&Self::deviceType>("deviceType"),
        method<&Self::position>("position"), method<&Self::hasMediaType>("hasMediaType:"),
        method<&Self::supportsAVCaptureSessionPreset>("supportsAVCaptureSessionPreset:"),
        method<&Self::lockForConfiguration>("lockForConfiguration:"),
        method<&Self::unlockForConfiguration>("unlockForConfiguration"), method<&Self::formats>("formats"),
        method<&Self::activeFormat>("activeFormat"), method<&Self::setActiveFormat>("setActiveFormat:"),
        method<&Self::activeVideoMinFrameDuration>("activeVideoMinFrameDuration"),
        method<&Self::activeVideoMaxFrameDuration>("activeVideoMaxFrameDuration"),
        method<&Self::setActiveVideoMinFrameDuration>("setActiveVideoMinFrameDuration:"),
        method<&Self::setActiveVideoMaxFrameDuration>("setActiveVideoMaxFrameDuration:"),
        method<&Self::isTorchModeSupported>("isTorchModeSupported:"), method<&Self::torchMode>("torchMode"),
        method<&Self::setTorchMode>("setTorchMode:"),
        method<&Self::isGeometricDistortionCorrectionSupported>("isGeometricDistortionCorrectionSupported"),
        method<&Self::isGeometricDistortionCorrectionEnabled>("isGeometricDistortionCorrectionEnabled"),
        method<&Self::setGeometricDistortionCorrectionEnabled>("setGeometricDistortionCorrectionEnabled:"),
        method<&Self::isFocusPointOfInterestSupported>("isFocusPointOfInterestSupported"),
        method<&Self::focusPointOfInterest>("focusPointOfInterest"),
        method<&Self::setFocusPointOfInterest>("setFocusPointOfInterest:"),
        method<&Self::isFocusModeSupported>("isFocusModeSupported:"), method<&Self::focusMode>("focusMode"),
        method<&Self::setFocusMode>("setFocusMode:"), method<&Self::isAdjustingFocus>("isAdjustingFocus"),
        method<&Self::lensPosition>("lensPosition"),
        method<&Self::setFocusModeLockedWithLensPosition>("setFocusModeLockedWithLensPosition:completionHandler:"),
        method<&Self::isExposurePointOfInterestSupported>("isExposurePointOfInterestSupported"),
        method<&Self::exposurePointOfInterest>("exposurePointOfInterest"),
        method<&Self::setExposurePointOfInterest>("setExposurePointOfInterest:"),
        method<&Self::isExposureModeSupported>("isExposureModeSupported:"), method<&Self::exposureMode>("exposureMode"),
        method<&Self::setExposureMode>("setExposureMode:"), method<&Self::isAdjustingExposure>("isAdjustingExposure"),
        method<&Self::exposureDuration>("exposureDuration"), method<&Self::ISO>("ISO"),
        method<&Self::lensAperture>("lensAperture"),
        method<&Self::setExposureModeCustomWithDuration>("setExposureModeCustomWithDuration:ISO:completionHandler:"),
        method<&Self::minExposureTargetBias>("minExposureTargetBias"),
        method<&Self::maxExposureTargetBias>("maxExposureTargetBias"),
        method<&Self::exposureTargetBias>("exposureTargetBias"),
        method<&Self::exposureTargetOffset>("exposureTargetOffset"),
        method<&Self::setExposureTargetBias>("setExposureTargetBias:completionHandler:"),
        method<&Self::isWhiteBalanceModeSupported>("isWhiteBalanceModeSupported:"),
        method<&Self::whiteBalanceMode>("whiteBalanceMode"), method<&Self::setWhiteBalanceMode>("setWhiteBalanceMode:"),
        method<&Self::isAdjustingWhiteBalance>("isAdjustingWhiteBalance"),
        method<&Self::maxWhiteBalanceGain>("maxWhiteBalanceGain"),
        method<&Self::deviceWhiteBalanceGains>("deviceWhiteBalanceGains"),
        method<&Self::setWhiteBalanceModeLockedWithDeviceWhiteBalanceGains>(
            "setWhiteBalanceModeLockedWithDeviceWhiteBalanceGains:completionHandler:"),
        method<&Self::deviceWhiteBalanceGainsForTemperatureAndTintValues>(
            "deviceWhiteBalanceGainsForTemperatureAndTintValues:"),
        method<&Self::temperatureAndTintValuesForDeviceWhiteBalanceGains>(
            "temperatureAndTintValuesForDeviceWhiteBalanceGains:"),
        method<&Self::videoZoomFactor>("videoZoomFactor"), method<&Self::setVideoZoomFactor>("setVideoZoomFactor:"),
        method<&Self::rampToVideoZoomFactor>("rampToVideoZoomFactor:withRate:"),
        method<&Self::cancelVideoZoomRamp>("cancelVideoZoomRamp"),
        method<&Self::isRampingVideoZoom>("isRampingVideoZoom"));
    static constexpr auto classMethods = methodTable(
        classMethod<&Self::defaultDeviceWithDeviceType>("defaultDeviceWithDeviceType:mediaType:position:"),
        classMethod<&Self::defaultDeviceWithMediaType>("defaultDeviceWithMediaType:"),
        classMethod<&Self::authorizationStatusForMediaType>("authorizationStatusForMediaType:"),
        classMethod<&Self::requestAccessForMediaType>("requestAccessForMediaType:completionHandler:"));
    static const ClassInfo info { "Velmora.AVCaptureDevice", &NSObject::staticClass(), methods, classMethods };
    return info;
}

std::string AVCaptureDevice::uniqueID() const
{
    return driver_->description().uniqueID;
}

std::string AVCaptureDevice::localizedName() const
{
    return driver_->description().name;
}

std::string AVCaptureDevice::deviceType() const
{
    return driver_->description().deviceType;
}

AVCaptureDevicePosition AVCaptureDevice::position() const
{
    return driver_->description().position;
}

bool AVCaptureDevice::hasMediaType(const std::string& mediaType) const
{
    return driver_->description().mediaType == mediaType;
}

bool AVCaptureDevice::supportsAVCaptureSessionPreset(const std::string& preset) const
{
    const auto presets = driver_->description().presets;
    return presets.empty() || presets.contains(preset);
}

std::string AVCaptureDevice::description() const
{
    const auto description = driver_->description();
    std::string text = NSObject::description();
    text.pop_back();
    return text + " [" + description.name + "][" + description.uniqueID + "]>";
}

bool AVCaptureDevice::lockForConfiguration(std::optional<NSError>* error)
{
    const std::lock_guard serial(lockMutex_);
    if (lockCount_ == 0) {
        if (auto refusal = driver_->lock()) {
            if (error)
                *error = std::move(refusal);
            return false;
        }
    }
    ++lockCount_;
    return true;
}

void AVCaptureDevice::unlockForConfiguration()
{
    const std::lock_guard serial(lockMutex_);
    if (lockCount_ == 0)
        return; // after a lock that failed
    if (--lockCount_ == 0)
        driver_->unlock();
}

std::vector<std::shared_ptr<AVCaptureDeviceFormat>> AVCaptureDevice::formats() const
{
    const auto description = driver_->description();
    const std::lock_guard lock(mutex_);
    const auto& now = description.formats;
    const bool same = std::equal(now.begin(), now.end(), formatValues_.begin(), formatValues_.end(),
        [](const CaptureFormat& a, const CaptureFormat& b) { return isSame(a, b); });
    if (!same) {
        formats_.clear();
        for (const auto& format : now)
            formats_.push_back(make<AVCaptureDeviceFormat>(format));
        formatValues_ = now;
    }
    return formats_;
}

std::shared_ptr<AVCaptureDeviceFormat> AVCaptureDevice::activeFormat() const
{
    const auto all = formats();
    const std::size_t index = settings().activeFormat;
    return index < all.size() ? all[index] : nullptr;
}

void AVCaptureDevice::setActiveFormat(const std::shared_ptr<AVCaptureDeviceFormat>& format)
{
    const auto all = formats();
    const auto found = std::find(all.begin(), all.end(), format);
    const auto index = static_cast<std::size_t>(found - all.begin());
    const auto values = driver_->description().formats;
    if (!format || index >= values.size()) {
        NSLog("[AVCaptureDevice] %@ is not a format of %@. Ignored.", format, *this);
        return;
    }
    {
        const std::lock_guard lock(mutex_);
        formatSetMoment_ = configurationMoment();
    }
    makeActive(index, values[index], "activeFormat " + std::to_string(index));
}

void AVCaptureDevice::useFormatForPreset(const std::string& preset)
{
    const auto description = driver_->description();
    const auto found = description.presets.find(preset);
    if (found == description.presets.end() || !found->second || *found->second >= description.formats.size())
        return;
    const std::size_t index = *found->second;
    const CMTime frame = shortestFrame(description.formats[index]);
    const CaptureSettings now = settings();
    if (now.activeFormat == index && isSame(now.minFrameDuration, frame) && isSame(now.maxFrameDuration, frame))
        return;
    makeActive(index, description.formats[index], automatic + ("activeFormat " + std::to_string(index)));
}

void AVCaptureDevice::makeActive(std::size_t index, const CaptureFormat& format, const std::string& what)
{
    {
        const std::lock_guard lock(mutex_);
        settings_.activeFormat = index;
        settings_.minFrameDuration = settings_.maxFrameDuration = shortestFrame(format);
        settings_.zoomFactor = std::min(settings_.zoomFactor, std::max(1.0, format.maxZoomFactor));
    }
    hand(what);
}

std::uint64_t AVCaptureDevice::formatSetMoment() const
{
    const std::lock_guard lock(mutex_);
    return formatSetMoment_;
}

std::uint64_t AVCaptureDevice::configurationMoment()
{
    static std::atomic<std::uint64_t> moment { 0 };
    return ++moment;
}

CMTime AVCaptureDevice::activeVideoMinFrameDuration() const
{
    return settings().minFrameDuration;
}

CMTime AVCaptureDevice::activeVideoMaxFrameDuration() const
{
    return settings().maxFrameDuration;
}

void AVCaptureDevice::setActiveVideoMinFrameDuration(const CMTime& duration)
{
    change("minFrameDuration " + CMTimeCopyDescription(duration), {},
        [&](CaptureSettings& settings) { settings.minFrameDuration = duration; });
}

void AVCaptureDevice::setActiveVideoMaxFrameDuration(const CMTime& duration)
{
    change("maxFrameDuration " + CMTimeCopyDescription(duration), {},
        [&](CaptureSettings& settings) { settings.maxFrameDuration = duration; });
}

CaptureSettings AVCaptureDevice::settings() const
{
    const std::lock_guard lock(mutex_);
    return settings_;
}

void AVCaptureDevice::change(
    const std::string& what, const std::vector<std::string_view>& keys, const Edit& edit, CompletionHandler tookEffect)
{
    for (const auto key : keys)
        willChangeValueForKey(key);
    {
        const std::lock_guard lock(mutex_);
        edit(settings_);
    }
    for (const auto key : keys)
        didChangeValueForKey(key);
    hand({ {}, what, std::move(tookEffect) });
}

void AVCaptureDevice::hand(PendingChange next)
{
    // Changes reach the driver one at a time and in order, without a lock that its answers could wait for. The thread
    // that is at it takes along what others add.
    std::unique_lock lock(mutex_);
    next.settings = settings_;
    pending_.push_back(std::move(next));
    if (std::exchange(applying_, true))
        return;
    while (!pending_.empty()) {
        PendingChange first = std::move(pending_.front());
        pending_.pop_front();
        lock.unlock();
        driver_->apply(first.settings, first.what, std::move(first.tookEffect));
        lock.lock();
    }
    applying_ = false;
}

std::optional<NSError> AVCaptureDevice::startStream(const std::shared_ptr<AVCaptureDeviceListener>& user,
    const StreamRequest& request, std::function<void(std::shared_ptr<CMSampleBuffer>)> deliver)
{
    const std::lock_guard serial(streamMutex_);
    const auto before = streamUser();
    if (before && before != user) {
        driver_->stop();
        before->deviceTaken();
    }
    auto error = driver_->start(request, std::move(deliver));
    setStreamUser(error ? nullptr : user);
    return error;
}

void AVCaptureDevice::stopStream(const std::shared_ptr<AVCaptureDeviceListener>& user)
{
    const std::lock_guard serial(streamMutex_);
    if (streamUser() != user)
        return;
    driver_->stop();
    setStreamUser(nullptr);
}

std::shared_ptr<AVCaptureDeviceListener> AVCaptureDevice::streamUser() const
{
    const std::lock_guard lock(mutex_);
    return streamUser_.lock();
}

void AVCaptureDevice::setStreamUser(const std::shared_ptr<AVCaptureDeviceListener>& user)
{
    {
        const std::lock_guard lock(mutex_);
        streamUser_ = user;
    }
    if (!user)
        tellListeners([](AVCaptureDeviceListener& each) { each.deviceReleased(); });
}

void AVCaptureDevice::addListener(const std::weak_ptr<AVCaptureDeviceListener>& listener)
{
    const std::lock_guard lock(mutex_);
    listeners_.push_back(listener);
}

void AVCaptureDevice::removeListener(const AVCaptureDeviceListener* listener)
{
    std::vector<std::shared_ptr<AVCaptureDeviceListener>> released; // after the lock
    const std::lock_guard lock(mutex_);
    std::erase_if(listeners_, [&](const auto& each) {
        released.push_back(each.lock());
        return !released.back() || released.back().get() == listener;
    });
}

template <class Call> void AVCaptureDevice::tellListeners(Call call)
{
    std::vector<std::weak_ptr<AVCaptureDeviceListener>> listeners;
    {
        const std::lock_guard lock(mutex_);
        listeners = listeners_;
    }
    for (const auto& each : listeners)
        if (const auto listener = each.lock())
            call(*listener);
}

}
