// SPDX-License-Identifier: Apache-2.0
#include "apps/camera/OpenCamera.h"

#include "velmora/results/QVLocationProvider.h"

#include "platform/AVFoundation/AVCaptureDevice.h"
#include "platform/Foundation/NSError.h"
#include "platform/Foundation/NSLog.h"
#include "platform/Foundation/NSNotificationCenter.h"
#include "platform/Foundation/NSRunLoop.h"

#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <utility>

#include "apps/camera/CameraSource.h"
#include "apps/camera/Interruption.h"
#include "apps/camera/Refusal.h"
#include "apps/camera/Words.h"

namespace velmora::camera {

namespace {

// Seconds.
constexpr double longestWaitForPlace = 3;
constexpr double longestWaitForSetting = 5;

std::string lensesOf(const QVCameraController& controller)
{
    std::string words;
    for (const auto& lens : lensWords)
        if (controller.hasLensTypeInCurrentDevicePosition(lens.value))
            words += (words.empty() ? "" : ", ") + std::string(lens.word);
    return words;
}

std::string shortNumber(double value)
{
    std::array<char, 32> text {};
    std::snprintf(text.data(), text.size(), "%.6g", value);
    return text.data();
}

/// "1/8000", or seconds.
std::string shutterText(const CMTime& duration)
{
    const double seconds = CMTimeGetSeconds(duration);
    const double denominator = 1 / seconds;
    if (seconds > 0 && seconds < 1 && std::abs(denominator - std::round(denominator)) < 1e-3 * denominator)
        return "1/" + shortNumber(std::round(denominator));
    return shortNumber(seconds);
}

Refusal outside(const std::string& option, const std::string& value, const std::string& low, const std::string& high)
{
    return { option + " " + value + " cannot be used", "this camera goes from " + low + " to " + high,
        "use a value in that range" };
}

/// The temperatures that a camera's gains reach, in kelvin, as far as anybody would ask.
std::optional<std::pair<int, int>> temperaturesOf(const AVCaptureDevice& device)
{
    constexpr int lowest = 1000, highest = 25000, step = 50;
    const float most = device.maxWhiteBalanceGain();
    const auto fits = [most](float gain) { return gain >= 1 && gain <= most; };
    std::optional<std::pair<int, int>> range;
    for (int kelvin = lowest; kelvin <= highest; kelvin += step) {
        const auto gains
            = device.deviceWhiteBalanceGainsForTemperatureAndTintValues({ static_cast<float>(kelvin), 0.0F });
        if (fits(gains.redGain) && fits(gains.greenGain) && fits(gains.blueGain))
            range = { range ? range->first : kelvin, kelvin };
    }
    return range;
}

void checkTemperature(const AVCaptureDevice& device, double kelvin)
{
    const auto range = temperaturesOf(device);
    if (!range)
        throw Refusal("--temperature cannot be used", "this camera balances by itself only", "leave it out");
    const auto gains = device.deviceWhiteBalanceGainsForTemperatureAndTintValues({ static_cast<float>(kelvin), 0.0F });
    for (const float gain : { gains.redGain, gains.greenGain, gains.blueGain })
        if (!(gain >= 1 && gain <= device.maxWhiteBalanceGain()))
            throw outside(
                "--temperature", shortNumber(kelvin), std::to_string(range->first), std::to_string(range->second));
}

}

/// What went wrong with the session; on the main thread.
struct OpenCamera::Failure {
    std::optional<NSError> error;
};

OpenCamera::OpenCamera(const Options& options, const Interruption& interruption, QVCameraCaptureIntent intent,
    std::optional<std::string> preset)
    : options_(options)
    , interruption_(interruption)
    , source_(std::make_unique<CameraSource>(options))
    , failure_(std::make_shared<Failure>())
{
    open(intent, std::move(preset));
    chooseLens();
}

OpenCamera::~OpenCamera()
{
    if (options_.camera.torch && controller_->isTorchOn())
        controller_->setTorchOn(false);
    failureObservation_.cancel();
    controller_->stopSession();
    controller_.reset();
}

void OpenCamera::open(QVCameraCaptureIntent intent, std::optional<std::string> preset)
{
    failureObservation_ = NSNotificationCenter::defaultCenter().addObserver(
        kQVCaptureSessionErrorOccurredNotification, nullptr, [failure = failure_](const NSNotification& notification) {
            if (const auto error = std::dynamic_pointer_cast<const NSError>(notification.object))
                DispatchQueue::main().async([failure, error] { failure->error = *error; });
        });
    controller_ = make<QVCameraController>(options_.camera.position, intent, std::move(preset));
    const auto device = controller_->currentVideoCaptureDevice();
    if (device && device->position() == options_.camera.position)
        return;
    const auto other = device ? device : AVCaptureDevice::defaultDeviceWithMediaType(AVMediaTypeVideo);
    if (!other)
        throw Refusal("There is no camera", "this phone has none", "use another --phone");
    throw Refusal("There is no " + wordFor(positionWords, options_.camera.position) + " camera",
        "this phone has none there", "use --position " + wordFor(positionWords, other->position()));
}

void OpenCamera::chooseLens()
{
    const auto lens = options_.camera.lens;
    if (!controller_->hasLensTypeInCurrentDevicePosition(lens))
        throw Refusal("There is no " + wordFor(lensWords, lens) + " camera at the "
                + wordFor(positionWords, options_.camera.position),
            "this phone has none there", "use --lens with one of: " + lensesOf(*controller_));
    controller_->setLensType(lens);
}

void OpenCamera::checkSettings() const
{
    const auto& wanted = options_.camera;
    const auto device = controller_->currentVideoCaptureDevice();
    const auto format = device->activeFormat();
    if (wanted.torch && !controller_->hasTorch())
        throw Refusal("The torch cannot be lit", "this camera has none", "use --torch off");
    if (wanted.zoom && !(*wanted.zoom <= controller_->maximumZoomScale()))
        throw outside("--zoom", shortNumber(*wanted.zoom), "1", shortNumber(controller_->maximumZoomScale()));
    if (wanted.iso && !(format && *wanted.iso >= format->minISO() && *wanted.iso <= format->maxISO()))
        throw outside("--iso", shortNumber(*wanted.iso), shortNumber(format ? format->minISO() : 0),
            shortNumber(format ? format->maxISO() : 0));
    if (wanted.shutter
        && !(format && CMTimeCompare(*wanted.shutter, format->minExposureDuration()) >= 0
            && CMTimeCompare(*wanted.shutter, format->maxExposureDuration()) <= 0))
        throw outside("--shutter", shutterText(*wanted.shutter),
            shutterText(format ? format->minExposureDuration() : kCMTimeZero),
            shutterText(format ? format->maxExposureDuration() : kCMTimeZero));
    if (wanted.bias
        && !(*wanted.bias >= device->minExposureTargetBias() && *wanted.bias <= device->maxExposureTargetBias()))
        throw outside("--bias", shortNumber(*wanted.bias), shortNumber(device->minExposureTargetBias()),
            shortNumber(device->maxExposureTargetBias()));
    if (wanted.temperature)
        checkTemperature(*device, *wanted.temperature);
    if (wanted.focus && !device->isFocusModeSupported(AVCaptureFocusModeLocked))
        throw Refusal("--focus cannot be used", "this camera does not hold its focus", "leave it out");
}

void OpenCamera::start()
{
    if (AVCaptureDevice::authorizationStatusForMediaType(AVMediaTypeVideo) != AVAuthorizationStatusAuthorized)
        throw Refusal("The camera may not be used", "permission is missing", "grant it, and try again");
    checkSettings();
    controller_->startSession();
    if (!controller_->isSessionRunning()) {
        NSRunLoop::mainRunLoop().turn(); // brings the reason
        throw Refusal("The camera does not start", reason({}, "it gave no reason"), "try another --lens or --phone");
    }
    // The first reading of the sensors comes too late for the first photo.
    if (options_.camera.orientation)
        controller_->setDeviceOrientation(*options_.camera.orientation);
    applySettings();
    if (source_->hasPlace())
        waitForPlace();
}

/// One after the other: each keeps what the ones before it set.
void OpenCamera::applySettings() const
{
    const auto& wanted = options_.camera;
    if (wanted.torch)
        controller_->setTorchOn(true);
    if (wanted.zoom)
        controller_->setZoomScale(*wanted.zoom);
    if (wanted.shutter)
        apply("--shutter", [&](auto done) { controller_->useManualShutterSpeed(*wanted.shutter, std::move(done)); });
    if (wanted.iso)
        apply("--iso", [&](auto done) { controller_->useManualISO(static_cast<float>(*wanted.iso), std::move(done)); });
    if (wanted.bias)
        apply("--bias",
            [&](auto done) { controller_->setExposureBias(static_cast<float>(*wanted.bias), std::move(done)); });
    if (wanted.temperature)
        apply("--temperature", [&](auto done) {
            controller_->useManualTemperature(static_cast<float>(*wanted.temperature), std::move(done));
        });
    if (wanted.focus)
        apply("--focus",
            [&](auto done) { controller_->useManualFocus(static_cast<float>(*wanted.focus), std::move(done)); });
}

void OpenCamera::apply(const char* option, const Setting& setting) const
{
    const auto done = std::make_shared<bool>(false);
    setting([done](CMTime) { DispatchQueue::main().async([done] { *done = true; }); });
    if (!turnUntil([&] { return *done || failure_->error; }, longestWaitForSetting) || failure_->error)
        throw Refusal(std::string(option) + " was not taken", reason({}, "the camera did not obey within 5 s"),
            "leave it out, or try again");
}

void OpenCamera::waitForPlace() const
{
    const auto& provider = controller_->locationProvider();
    const auto isNamed = [&] { return provider->currentLocation() && provider->currentLandmarkName(); };
    if (!turnUntil(isNamed, longestWaitForPlace))
        NSLog("No name was found for the place within %i s", static_cast<int>(longestWaitForPlace));
}

bool OpenCamera::hasFailed() const
{
    return failure_->error.has_value();
}

std::string OpenCamera::reason(const std::optional<NSError>& error, const char* otherwise) const
{
    if (failure_->error)
        return asClause(failure_->error->localizedDescription());
    return error ? asClause(error->localizedDescription()) : otherwise;
}

bool OpenCamera::turnUntil(const std::function<bool()>& done, double seconds) const
{
    const auto stopped = [this] { return interruption_.signal() != 0; };
    const bool inTime = finishUntil([&] { return done() || stopped(); }, seconds);
    if (!done() && stopped())
        throw Refusal("Stopped", "a signal came", "start again to go on", ExitBySignal + interruption_.signal());
    return inTime;
}

bool OpenCamera::finishUntil(const std::function<bool()>& done, double seconds)
{
    using namespace std::chrono;
    const auto end = steady_clock::now() + duration<double>(seconds);
    while (!done()) {
        const auto left = duration<double>(end - steady_clock::now()).count();
        if (left <= 0)
            return false;
        NSRunLoop::mainRunLoop().turn(left);
    }
    return true;
}

}
