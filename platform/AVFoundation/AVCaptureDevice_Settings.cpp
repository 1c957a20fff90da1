// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/AVCaptureDevice.h"

#include "platform/AVFoundation/DaylightLocus.h"
#include "platform/Foundation/NSLog.h"
#include "platform/Foundation/Scheduler.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <utility>

namespace velmora {

namespace {

constexpr double zoomStep = 1.0 / 30; // seconds between two steps of a ramp

bool has(const std::vector<int>& modes, std::int64_t mode)
{
    return std::find(modes.begin(), modes.end(), mode) != modes.end();
}

/// A number as the journal of a device shows it: "200", "1.5".
std::string number(double value)
{
    std::array<char, 32> text {};
    std::snprintf(text.data(), text.size(), "%g", value);
    return text.data();
}

std::string numbers(CGPoint point)
{
    return number(point.x) + " " + number(point.y);
}

bool isWithin(float value, float low, float high)
{
    return low <= value && value <= high; // false for what is not a number
}

bool isSame(const CMTime& a, const CMTime& b)
{
    return a.value == b.value && a.timescale == b.timescale && a.flags == b.flags;
}

}

bool AVCaptureDevice::isTorchModeSupported(AVCaptureTorchMode mode) const
{
    return has(driver_->description().torchModes, mode);
}

AVCaptureTorchMode AVCaptureDevice::torchMode() const
{
    return static_cast<AVCaptureTorchMode>(settings().torchMode);
}

void AVCaptureDevice::setTorchMode(AVCaptureTorchMode mode)
{
    if (!isTorchModeSupported(mode)) {
        NSLog("[AVCaptureDevice] Torch mode %li is not supported. Ignored.", mode);
        return;
    }
    change("torchMode " + std::to_string(mode), {},
        [&](CaptureSettings& settings) { settings.torchMode = static_cast<int>(mode); });
}

bool AVCaptureDevice::isGeometricDistortionCorrectionSupported() const
{
    return driver_->description().distortionCorrection;
}

bool AVCaptureDevice::isGeometricDistortionCorrectionEnabled() const
{
    return settings().distortionCorrection;
}

void AVCaptureDevice::setGeometricDistortionCorrectionEnabled(bool enabled)
{
    if (!isGeometricDistortionCorrectionSupported()) {
        NSLog("[AVCaptureDevice] Geometric distortion correction is not supported. Ignored.");
        return;
    }
    change(enabled ? "distortionCorrection 1" : "distortionCorrection 0", {},
        [&](CaptureSettings& settings) { settings.distortionCorrection = enabled; });
}

bool AVCaptureDevice::isFocusPointOfInterestSupported() const
{
    return driver_->description().focusPoint;
}

CGPoint AVCaptureDevice::focusPointOfInterest() const
{
    const CaptureSettings now = settings();
    return { now.focusPointX, now.focusPointY };
}

void AVCaptureDevice::setFocusPointOfInterest(CGPoint point)
{
    if (!isFocusPointOfInterestSupported()) {
        NSLog("[AVCaptureDevice] A focus point is not supported. Ignored.");
        return;
    }
    change("focusPoint " + numbers(point), {}, [&](CaptureSettings& settings) {
        settings.focusPointX = point.x;
        settings.focusPointY = point.y;
    });
}

bool AVCaptureDevice::isFocusModeSupported(AVCaptureFocusMode mode) const
{
    return has(driver_->description().focusModes, mode);
}

AVCaptureFocusMode AVCaptureDevice::focusMode() const
{
    return static_cast<AVCaptureFocusMode>(settings().focusMode);
}

void AVCaptureDevice::setFocusMode(AVCaptureFocusMode mode)
{
    if (!isFocusModeSupported(mode)) {
        NSLog("[AVCaptureDevice] Focus mode %li is not supported. Ignored.", mode);
        return;
    }
    const float lens = lensPosition(); // locking keeps what is in force
    change("focusMode " + std::to_string(mode), { "focusMode" }, [&](CaptureSettings& settings) {
        settings.focusMode = static_cast<int>(mode);
        settings.lensPosition = lens;
    });
}

bool AVCaptureDevice::isAdjustingFocus() const
{
    return currentReadings().adjustingFocus.value_or(false);
}

float AVCaptureDevice::lensPosition() const
{
    return *currentReadings().lensPosition;
}

void AVCaptureDevice::setFocusModeLockedWithLensPosition(float position, CompletionHandler handler)
{
    const float lens = position == AVCaptureLensPositionCurrent ? lensPosition() : position;
    if (!isWithin(lens, 0, 1) || !isFocusModeSupported(AVCaptureFocusModeLocked)) {
        NSLog("[AVCaptureDevice] Lens position %f is outside 0 to 1, or focus cannot be locked. Ignored.", position);
        return;
    }
    change(
        "lensPosition " + number(lens), { "focusMode", "lensPosition" },
        [&](CaptureSettings& settings) {
            settings.focusMode = AVCaptureFocusModeLocked;
            settings.lensPosition = lens;
        },
        std::move(handler));
}

bool AVCaptureDevice::isExposurePointOfInterestSupported() const
{
    return driver_->description().exposurePoint;
}

CGPoint AVCaptureDevice::exposurePointOfInterest() const
{
    const CaptureSettings now = settings();
    return { now.exposurePointX, now.exposurePointY };
}

void AVCaptureDevice::setExposurePointOfInterest(CGPoint point)
{
    if (!isExposurePointOfInterestSupported()) {
        NSLog("[AVCaptureDevice] An exposure point is not supported. Ignored.");
        return;
    }
    change("exposurePoint " + numbers(point), {}, [&](CaptureSettings& settings) {
        settings.exposurePointX = point.x;
        settings.exposurePointY = point.y;
    });
}

bool AVCaptureDevice::isExposureModeSupported(AVCaptureExposureMode mode) const
{
    return has(driver_->description().exposureModes, mode);
}

AVCaptureExposureMode AVCaptureDevice::exposureMode() const
{
    return static_cast<AVCaptureExposureMode>(settings().exposureMode);
}

void AVCaptureDevice::setExposureMode(AVCaptureExposureMode mode)
{
    if (!isExposureModeSupported(mode)) {
        NSLog("[AVCaptureDevice] Exposure mode %li is not supported. Ignored.", mode);
        return;
    }
    const CaptureReadings now = currentReadings(); // locking keeps what is in force
    change("exposureMode " + std::to_string(mode), { "exposureMode" }, [&](CaptureSettings& settings) {
        settings.exposureMode = static_cast<int>(mode);
        settings.exposureDuration = *now.exposureDuration;
        settings.ISO = *now.ISO;
    });
}

bool AVCaptureDevice::isAdjustingExposure() const
{
    return currentReadings().adjustingExposure.value_or(false);
}

CMTime AVCaptureDevice::exposureDuration() const
{
    return *currentReadings().exposureDuration;
}

float AVCaptureDevice::ISO() const
{
    return *currentReadings().ISO;
}

float AVCaptureDevice::lensAperture() const
{
    return driver_->description().aperture;
}

void AVCaptureDevice::setExposureModeCustomWithDuration(const CMTime& duration, float iso, CompletionHandler handler)
{
    const bool keepsDuration = !CMTIME_IS_VALID(duration), keepsISO = iso == AVCaptureISOCurrent;
    const auto format = activeFormat();
    if (format && !keepsISO && !isWithin(iso, format->minISO(), format->maxISO())) {
        NSLog("[AVCaptureDevice] ISO %f is outside %f to %f. Ignored.", iso, format->minISO(), format->maxISO());
        return;
    }
    if (format && !keepsDuration
        && (CMTimeCompare(duration, format->minExposureDuration()) < 0
            || CMTimeCompare(duration, format->maxExposureDuration()) > 0)) {
        NSLog("[AVCaptureDevice] Exposure duration %@ is outside %@ to %@. Ignored.", duration,
            format->minExposureDuration(), format->maxExposureDuration());
        return;
    }

    const CaptureReadings now = currentReadings();
    std::string what = keepsDuration ? "" : "exposureDuration " + CMTimeCopyDescription(duration);
    if (!keepsISO || keepsDuration)
        what += (what.empty() ? "ISO " : ", ISO ") + number(keepsISO ? *now.ISO : iso);
    change(
        what, { "exposureMode", "exposureDuration", "ISO" },
        [&](CaptureSettings& settings) {
            settings.exposureMode = AVCaptureExposureModeCustom;
            settings.exposureDuration = keepsDuration ? *now.exposureDuration : duration;
            settings.ISO = keepsISO ? *now.ISO : iso;
        },
        std::move(handler));
}

float AVCaptureDevice::minExposureTargetBias() const
{
    return driver_->description().minExposureBias;
}

float AVCaptureDevice::maxExposureTargetBias() const
{
    return driver_->description().maxExposureBias;
}

float AVCaptureDevice::exposureTargetBias() const
{
    return *currentReadings().exposureTargetBias;
}

float AVCaptureDevice::exposureTargetOffset() const
{
    return *currentReadings().exposureTargetOffset;
}

void AVCaptureDevice::setExposureTargetBias(float bias, CompletionHandler handler)
{
    const float low = minExposureTargetBias(), high = maxExposureTargetBias();
    if (!isWithin(bias, low, high)) {
        NSLog("[AVCaptureDevice] Exposure bias %f is outside %f to %f. Ignored.", bias, low, high);
        return;
    }
    change(
        "exposureTargetBias " + number(bias), { "exposureTargetBias" },
        [&](CaptureSettings& settings) { settings.exposureTargetBias = bias; }, std::move(handler));
}

bool AVCaptureDevice::isWhiteBalanceModeSupported(AVCaptureWhiteBalanceMode mode) const
{
    return has(driver_->description().whiteBalanceModes, mode);
}

AVCaptureWhiteBalanceMode AVCaptureDevice::whiteBalanceMode() const
{
    return static_cast<AVCaptureWhiteBalanceMode>(settings().whiteBalanceMode);
}

void AVCaptureDevice::setWhiteBalanceMode(AVCaptureWhiteBalanceMode mode)
{
    if (!isWhiteBalanceModeSupported(mode)) {
        NSLog("[AVCaptureDevice] White balance mode %li is not supported. Ignored.", mode);
        return;
    }
    const auto gains = deviceWhiteBalanceGains(); // locking keeps what is in force
    change("whiteBalanceMode " + std::to_string(mode), {}, [&](CaptureSettings& settings) {
        settings.whiteBalanceMode = static_cast<int>(mode);
        settings.whiteBalanceGains = gains;
    });
}

bool AVCaptureDevice::isAdjustingWhiteBalance() const
{
    return currentReadings().adjustingWhiteBalance.value_or(false);
}

float AVCaptureDevice::maxWhiteBalanceGain() const
{
    return driver_->description().maxWhiteBalanceGain;
}

AVCaptureWhiteBalanceGains AVCaptureDevice::deviceWhiteBalanceGains() const
{
    return *currentReadings().whiteBalanceGains;
}

void AVCaptureDevice::setWhiteBalanceModeLockedWithDeviceWhiteBalanceGains(
    const AVCaptureWhiteBalanceGains& gains, CompletionHandler handler)
{
    const float most = maxWhiteBalanceGain();
    for (const float gain : { gains.redGain, gains.greenGain, gains.blueGain }) {
        if (isWithin(gain, 1, most))
            continue;
        NSLog("[AVCaptureDevice] White balance gain %f is outside 1 to %f. Ignored.", gain, most);
        return;
    }
    change(
        "whiteBalanceGains " + number(gains.redGain) + " " + number(gains.greenGain) + " " + number(gains.blueGain), {},
        [&](CaptureSettings& settings) {
            settings.whiteBalanceMode = AVCaptureWhiteBalanceModeLocked;
            settings.whiteBalanceGains = gains;
        },
        std::move(handler));
}

AVCaptureWhiteBalanceGains AVCaptureDevice::deviceWhiteBalanceGainsForTemperatureAndTintValues(
    const AVCaptureWhiteBalanceTemperatureAndTintValues& values) const
{
    const auto own = driver_->gains(values);
    return own ? *own : daylightGains(values);
}

AVCaptureWhiteBalanceTemperatureAndTintValues AVCaptureDevice::temperatureAndTintValuesForDeviceWhiteBalanceGains(
    const AVCaptureWhiteBalanceGains& gains) const
{
    const auto answer = temperatureAndTint(
        gains, [this](const auto& values) { return deviceWhiteBalanceGainsForTemperatureAndTintValues(values); });
    return answer ? *answer
                  : temperatureAndTint(gains, daylightGains).value_or(AVCaptureWhiteBalanceTemperatureAndTintValues {});
}

double AVCaptureDevice::videoZoomFactor() const
{
    return settings().zoomFactor;
}

bool AVCaptureDevice::zoomFits(double factor) const
{
    const auto format = activeFormat();
    const double most = format ? format->videoMaxZoomFactor() : 1;
    if (factor >= 1 && factor <= most)
        return true;
    NSLog("[AVCaptureDevice] Zoom factor %f is outside 1 to %f. Ignored.", factor, most);
    return false;
}

void AVCaptureDevice::setVideoZoomFactor(double factor)
{
    if (!zoomFits(factor))
        return;
    cancelVideoZoomRamp();
    setZoom(factor);
}

void AVCaptureDevice::setZoom(double factor)
{
    change("zoomFactor " + number(factor), { "videoZoomFactor" },
        [&](CaptureSettings& settings) { settings.zoomFactor = factor; });
}

void AVCaptureDevice::rampToVideoZoomFactor(double factor, float rate)
{
    if (!zoomFits(factor))
        return;
    if (!(rate > 0)) {
        NSLog("[AVCaptureDevice] Zoom rate %f is not above 0. Ignored.", rate);
        return;
    }
    std::uint64_t ramp = 0;
    {
        const std::lock_guard lock(mutex_);
        ramp = ++ramp_;
        ramping_ = true;
        rampFrom_ = settings_.zoomFactor;
        rampTo_ = factor;
        rampRate_ = rate;
        rampBegan_ = Scheduler::current().clock().now();
    }
    DispatchQueue::global().after(zoomStep, [weak = weakFromThis(*this), ramp] {
        if (const auto device = weak.lock())
            device->stepRamp(ramp);
    });
}

void AVCaptureDevice::stepRamp(std::uint64_t ramp)
{
    double factor = 1;
    bool arrived = false;
    willChangeValueForKey("videoZoomFactor");
    {
        const std::lock_guard lock(mutex_);
        if (ramping_ && ramp == ramp_) {
            const double doublings = rampRate_ * (Scheduler::current().clock().now() - rampBegan_);
            factor = rampTo_ > rampFrom_ ? std::min(rampTo_, rampFrom_ * std::exp2(doublings))
                                         : std::max(rampTo_, rampFrom_ * std::exp2(-doublings));
            arrived = factor == rampTo_;
            ramping_ = !arrived;
            settings_.zoomFactor = factor;
        } else
            ramp = 0; // another zoom took its place
    }
    didChangeValueForKey("videoZoomFactor");
    if (ramp == 0)
        return;

    hand("auto zoomFactor " + number(factor));
    if (arrived)
        return;
    DispatchQueue::global().after(zoomStep, [weak = weakFromThis(*this), ramp] {
        if (const auto device = weak.lock())
            device->stepRamp(ramp);
    });
}

void AVCaptureDevice::cancelVideoZoomRamp()
{
    const std::lock_guard lock(mutex_);
    ramping_ = false;
    ++ramp_;
}

bool AVCaptureDevice::isRampingVideoZoom() const
{
    const std::lock_guard lock(mutex_);
    return ramping_;
}

CaptureReadings AVCaptureDevice::currentReadings() const
{
    const std::lock_guard lock(mutex_);
    // What the driver never reported is what it was told.
    CaptureReadings now;
    now.ISO = readings_.ISO.value_or(settings_.ISO);
    now.lensPosition = readings_.lensPosition.value_or(settings_.lensPosition);
    now.exposureDuration = readings_.exposureDuration.value_or(settings_.exposureDuration);
    now.exposureTargetBias = readings_.exposureTargetBias.value_or(settings_.exposureTargetBias);
    now.exposureTargetOffset = readings_.exposureTargetOffset.value_or(0.0F);
    now.whiteBalanceGains = readings_.whiteBalanceGains.value_or(settings_.whiteBalanceGains);
    now.adjustingFocus = readings_.adjustingFocus.value_or(false);
    now.adjustingExposure = readings_.adjustingExposure.value_or(false);
    now.adjustingWhiteBalance = readings_.adjustingWhiteBalance.value_or(false);
    return now;
}

void AVCaptureDevice::take(const CaptureReadings& readings)
{
    const CaptureReadings before = currentReadings();
    std::vector<std::string_view> keys;
    const auto compare = [&](std::string_view key, const auto& was, const auto& is) {
        if (is && !(*is == *was))
            keys.push_back(key);
    };
    compare("ISO", before.ISO, readings.ISO);
    compare("lensPosition", before.lensPosition, readings.lensPosition);
    compare("exposureTargetOffset", before.exposureTargetOffset, readings.exposureTargetOffset);
    compare("exposureTargetBias", before.exposureTargetBias, readings.exposureTargetBias);
    compare("adjustingFocus", before.adjustingFocus, readings.adjustingFocus);
    compare("adjustingExposure", before.adjustingExposure, readings.adjustingExposure);
    if (readings.exposureDuration && !isSame(*readings.exposureDuration, *before.exposureDuration))
        keys.emplace_back("exposureDuration");

    for (const auto key : keys)
        willChangeValueForKey(key);
    {
        const std::lock_guard lock(mutex_);
        const auto store = [](auto& stored, const auto& is) {
            if (is)
                stored = is;
        };
        store(readings_.ISO, readings.ISO);
        store(readings_.lensPosition, readings.lensPosition);
        store(readings_.exposureTargetOffset, readings.exposureTargetOffset);
        store(readings_.exposureTargetBias, readings.exposureTargetBias);
        store(readings_.exposureDuration, readings.exposureDuration);
        store(readings_.whiteBalanceGains, readings.whiteBalanceGains);
        store(readings_.adjustingFocus, readings.adjustingFocus);
        store(readings_.adjustingExposure, readings.adjustingExposure);
        store(readings_.adjustingWhiteBalance, readings.adjustingWhiteBalance);
    }
    for (const auto key : keys)
        didChangeValueForKey(key);
}

}
