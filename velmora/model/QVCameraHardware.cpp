// SPDX-License-Identifier: Apache-2.0
#include "velmora/model/QVCameraHardware.h"

#include "velmora/capture/QVCameraController.h"

#include "platform/AVFoundation/AVCaptureDevice.h"
#include "platform/AVFoundation/AVCaptureSession.h"
#include "platform/Combine/KeyValuePublisher.h"
#include "platform/Foundation/NSLog.h"
#include "platform/Foundation/NSRunLoop.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <utility>

namespace velmora {

namespace {

namespace keys {
constexpr Property running { "running", &AVCaptureSession::isRunning };
constexpr Property deviceOrientation { "deviceOrientation", &QVCameraController::deviceOrientation };
constexpr Property currentVideoCaptureDevice { "currentVideoCaptureDevice",
    &QVCameraController::currentVideoCaptureDevice };
constexpr Property flashMode { "flashMode", &QVCameraController::flashMode };
constexpr Property ISO { "ISO", &AVCaptureDevice::ISO };
constexpr Property lensPosition { "lensPosition", &AVCaptureDevice::lensPosition };
constexpr Property exposureDuration { "exposureDuration", &AVCaptureDevice::exposureDuration };
constexpr Property exposureTargetOffset { "exposureTargetOffset", &AVCaptureDevice::exposureTargetOffset };
constexpr Property exposureTargetBias { "exposureTargetBias", &AVCaptureDevice::exposureTargetBias };
constexpr Property focusMode { "focusMode", &AVCaptureDevice::focusMode };
constexpr Property adjustingFocus { "adjustingFocus", &AVCaptureDevice::isAdjustingFocus };
constexpr Property exposureMode { "exposureMode", &AVCaptureDevice::exposureMode };
constexpr Property adjustingExposure { "adjustingExposure", &AVCaptureDevice::isAdjustingExposure };
}

// What people read on cameras, the largest first.
constexpr std::array<std::int64_t, 12> isoStops { 12000, 6400, 3200, 1600, 800, 400, 200, 100, 50, 25, 10, 5 };
constexpr std::array<std::int64_t, 13> shutterStops { 2000, 1000, 750, 500, 250, 125, 60, 30, 15, 8, 4, 2, 1 };
// Shown beyond the last stop: what an ordinary picture has, rather than a limit that the reading is not at.
constexpr std::int64_t isoBeyondStops = 100;
constexpr std::int64_t shutterBeyondStops = 125;

/// The smallest stop that is not below the reading.
template <std::size_t N>
std::int64_t roundUpToStop(std::int64_t reading, const std::array<std::int64_t, N>& stops, std::int64_t beyond)
{
    for (auto stop = stops.rbegin(); stop != stops.rend(); ++stop)
        if (*stop >= reading)
            return *stop;
    return beyond;
}

/// A reading that no integer can hold is a mistake of the device's driver, and would be shown as a plausible one.
std::int64_t wholeNumber(double value, const char* what)
{
    constexpr double limit = 9223372036854775808.0; // 2^63
    if (!(value >= -limit && value < limit))
        fatalError(std::string(what) + " is not a number that can be shown: " + std::to_string(value));
    return static_cast<std::int64_t>(value);
}

}

std::string QVCameraHardware::Stats::displayISO() const
{
    const auto iso = wholeNumber(static_cast<double>(preciseISO), "The ISO");
    return std::to_string(roundUpToStop(iso, isoStops, isoBeyondStops));
}

std::string QVCameraHardware::Stats::displayShutterSpeed() const
{
    const double seconds = CMTimeGetSeconds(exposureDuration);
    if (!std::isfinite(seconds))
        return {};
    const auto denominator = wholeNumber(std::round(1 / seconds), "The denominator of the exposure");
    return "1/" + std::to_string(roundUpToStop(denominator, shutterStops, shutterBeyondStops));
}

QVCameraHardware::QVCameraHardware(
    AVCaptureDevicePosition position, QVCameraCaptureIntent intent, std::optional<std::string> captureSessionPreset)
    : position_(position)
    , intent_(intent)
    , captureSessionPreset_(std::move(captureSessionPreset))
{
}

void QVCameraHardware::didConstruct()
{
    controller_ = make<QVCameraController>(position_, intent_, captureSessionPreset_);
    followController();
}

/// Writes every value on the main thread, the first one too: nothing arrives before the main run loop turns. The sink
/// holds the model, which therefore lives on; whoever watches it may come and go.
template <class Owner, class T, class Write>
void QVCameraHardware::follow(
    const std::shared_ptr<Owner>& object, Property<Owner, T> property, std::vector<Cancellable>& bag, Write write)
{
    publisher(object, property, NSKeyValueObservingOptionInitial | NSKeyValueObservingOptionNew)
        .receiveOn(NSRunLoop::mainRunLoop())
        .sink([self = shared_from_this(), write](const T& value) { write(*self, value); })
        .storeIn(bag);
}

void QVCameraHardware::followController()
{
    auto& bag = generalObservations_;
    if (const auto session = controller_->captureSession())
        follow(session, keys::running, bag, [](auto& self, bool running) { self.isRunning_.set(running); });
    follow(controller_, keys::deviceOrientation, bag,
        [](auto& self, UIDeviceOrientation orientation) { self.deviceOrientation_.set(orientation); });
    follow(controller_, keys::currentVideoCaptureDevice, bag,
        [](auto& self, const std::shared_ptr<AVCaptureDevice>& device) { self.followDevice(device); });
    flashMode_.set(controller_->flashMode());
    follow(controller_, keys::flashMode, bag, [](auto& self, AVCaptureFlashMode mode) { self.flashMode_.set(mode); });
}

void QVCameraHardware::followDevice(std::shared_ptr<AVCaptureDevice> device)
{
    if (!device)
        device = controller_->currentVideoCaptureDevice();
    if (!device)
        return; // the last readings stand until there is a camera again
    currentCaptureDeviceObservations_.clear();
    copyReadings(*device);
    observeReadings(device);
}

void QVCameraHardware::copyReadings(const AVCaptureDevice& device)
{
    stats_.update([&](Stats& stats) { stats.preciseISO = device.ISO(); });
    stats_.update([&](Stats& stats) { stats.aperture = device.lensAperture(); });
    stats_.update([&](Stats& stats) { stats.focussedDistance = device.lensPosition(); });
    stats_.update([&](Stats& stats) { stats.exposureDuration = device.exposureDuration(); });
    stats_.update([&](Stats& stats) { stats.exposureOffset = device.exposureTargetOffset(); });
    stats_.update([&](Stats& stats) { stats.exposureBias = device.exposureTargetBias(); });
    focusMode_.set(device.focusMode());
    exposureMode_.set(device.exposureMode());
}

void QVCameraHardware::observeReadings(const std::shared_ptr<AVCaptureDevice>& device)
{
    auto& bag = currentCaptureDeviceObservations_;
    const auto reading = [&](const auto& property, auto member) {
        follow(device, property, bag, [member](QVCameraHardware& self, const auto& value) {
            self.stats_.update([&](Stats& stats) { stats.*member = value; });
        });
    };
    reading(keys::ISO, &Stats::preciseISO);
    reading(keys::lensPosition, &Stats::focussedDistance);
    reading(keys::exposureDuration, &Stats::exposureDuration);
    reading(keys::exposureTargetOffset, &Stats::exposureOffset);
    reading(keys::exposureTargetBias, &Stats::exposureBias);
    follow(device, keys::focusMode, bag, [](auto& self, AVCaptureFocusMode mode) { self.focusMode_.set(mode); });
    follow(
        device, keys::adjustingFocus, bag, [](auto& self, bool adjusting) { self.isAdjustingFocus_.set(adjusting); });
    follow(
        device, keys::exposureMode, bag, [](auto& self, AVCaptureExposureMode mode) { self.exposureMode_.set(mode); });
    follow(device, keys::adjustingExposure, bag,
        [](auto& self, bool adjusting) { self.isAdjustingExposure_.set(adjusting); });
}

}
