// SPDX-License-Identifier: Apache-2.0
#include "velmora/capture/QVCameraController.h"

#include "velmora/results/QVLocationProvider.h"

#include "platform/AVFoundation/AVCaptureConnection.h"
#include "platform/AVFoundation/AVCaptureDevice.h"
#include "platform/AVFoundation/AVCapturePhotoOutput.h"
#include "platform/AVFoundation/AVCapturePhotoSettings.h"
#include "platform/AVFoundation/AVCaptureSession.h"
#include "platform/Foundation/Clock.h"
#include "platform/Foundation/NSLog.h"
#include "platform/Foundation/NSURL.h"

#include <algorithm>
#include <utility>

namespace velmora {

namespace {

constexpr std::int64_t previewWidth = 512; // pixels; the height follows the picture's shape

/// A small picture beside the photo, of the camera's preferred kind; none where the camera makes none.
void requestPreviewImage(AVCapturePhotoSettings& settings)
{
    const auto types = settings.availablePreviewPhotoPixelFormatTypes();
    if (types.empty())
        return;

    // The width stands twice and the height nowhere: one entry of 512 results, and the height is the platform's choice.
    settings.setPreviewPhotoFormat(ArchiveDictionary {
        { kCVPixelBufferPixelFormatTypeKey, static_cast<std::int64_t>(types.front()) },
        { kCVPixelBufferWidthKey, previewWidth },
        { kCVPixelBufferWidthKey, previewWidth },
    });
}

/// The device's number is used as the video's: 3 and 4 name opposite sides in the two enumerations.
AVCaptureVideoOrientation videoOrientationFor(UIDeviceOrientation orientation)
{
    switch (orientation) {
    case UIDeviceOrientationPortraitUpsideDown:
    case UIDeviceOrientationLandscapeLeft:
    case UIDeviceOrientationLandscapeRight:
        return static_cast<AVCaptureVideoOrientation>(orientation);
    default:
        return AVCaptureVideoOrientationPortrait;
    }
}

}

void QVCameraController::prepareToCaptureStillImage()
{
    std::call_once(preparedToCaptureStillImage_, [this] {
        const auto output = AVCapturePhotoOutput::init();
        if (!output)
            return;
        output->setHighResolutionCaptureEnabled(true);
        photoOutput_.set(output);
        if (const auto session = captureSession())
            session->addOutput(output);
    });
}

bool QVCameraController::captureStillImage(CaptureBeganHandler began, PhotoOutputHandler output)
{
    if (!isSessionRunning()
        || AVCaptureDevice::authorizationStatusForMediaType(AVMediaTypeVideo) != AVAuthorizationStatusAuthorized)
        return false;

    prepareToCaptureStillImage();
    _capturePhoto(std::move(began), std::move(output), nullptr);
    return true;
}

void QVCameraController::captureStillImage(CaptureCompletedHandler completed)
{
    if (!isSessionRunning())
        return;

    prepareToCaptureStillImage();
    _capturePhoto(nullptr, nullptr, std::move(completed));
}

void QVCameraController::_capturePhoto(
    CaptureBeganHandler began, PhotoOutputHandler output, CaptureCompletedHandler completed)
{
    _matchStillImageOutputToDeviceOrientation();
    const auto settings = photoSettings();
    const auto capture = newPhotoCapture(std::move(began), std::move(output));
    capture->setDelegate(weakFromThis(*this));
    capture->setCaptureCompletedHandler(std::move(completed));
    if (isMirroringSelfiesEnabled() && devicePosition() == AVCaptureDevicePositionFront)
        capture->setMirrorOutput(true);
    startCapture(settings, capture);
}

void QVCameraController::_matchStillImageOutputToDeviceOrientation()
{
    const auto output = photoOutput_.get();
    const auto connections = output ? output->connections() : std::vector<std::shared_ptr<AVCaptureConnection>> {};
    if (!connections.empty())
        connections.front()->setVideoOrientation(videoOrientationFor(deviceOrientation()));
}

/// One shot's settings, as the controller is set now.
std::shared_ptr<AVCapturePhotoSettings> QVCameraController::photoSettings() const
{
    const auto output = photoOutput_.get();
    auto settings = photoSettingsForRawCaptureMode();
    settings->setFlashMode(_availablePreferredFlashMode());
    if (output && output->isDepthDataDeliveryEnabled())
        settings->setDepthDataDeliveryEnabled(isDepthCaptureEnabled());
    if (output && output->isPortraitEffectsMatteDeliveryEnabled())
        settings->setPortraitEffectsMatteDeliveryEnabled(isDepthCaptureEnabled());
    if (includePreviewImageDuringPhotoCapture())
        requestPreviewImage(*settings);
    return settings;
}

std::shared_ptr<AVCapturePhotoSettings> QVCameraController::photoSettingsForRawCaptureMode() const
{
    const auto mode = rawCaptureMode();
    const auto output = photoOutput_.get();
    const auto rawFormats = output ? output->availableRawPhotoPixelFormatTypes() : std::vector<std::uint32_t> {};
    if (mode == QVRawCaptureModeNone || rawFormats.empty())
        return AVCapturePhotoSettings::photoSettings();
    if (mode == QVRawCaptureModeRAWOnly)
        return AVCapturePhotoSettings::photoSettingsWithRawPixelFormatType(rawFormats.front());
    return AVCapturePhotoSettings::photoSettingsWithRawPixelFormatType(
        rawFormats.front(), ArchiveDictionary { { AVVideoCodecKey, std::string(AVVideoCodecTypeJPEG) } });
}

std::shared_ptr<QVPhotoCapture> QVCameraController::newPhotoCapture(
    CaptureBeganHandler began, PhotoOutputHandler output)
{
    auto capture = make<QVPhotoCapture>(devicePosition(), deviceOrientation(), defaultImageOrientation());
    capture->setLocationProvider(locationProvider_);
    capture->setCaptureBeganHandler(std::move(began));
    capture->setCapturePhotoOutputHandler(std::move(output));
    return capture;
}

void QVCameraController::startCapture(
    const std::shared_ptr<AVCapturePhotoSettings>& settings, const std::shared_ptr<QVPhotoCapture>& capture)
{
    activeCaptures_.with([&](auto& captures) { captures[settings->uniqueID()] = capture; });
    if (const auto output = photoOutput_.get())
        output->capturePhotoWithSettings(settings, capture);
}

bool QVCameraController::captureLivePhoto(CaptureBeganHandler began, PhotoOutputHandler output)
{
    if (!isLivePhotoCaptureEnabled())
        return false;

    _matchStillImageOutputToDeviceOrientation();
    const auto settings = AVCapturePhotoSettings::photoSettings();
    settings->setFlashMode(_availablePreferredFlashMode());
    settings->setLivePhotoMovieFileURL(NSURL::fileURLWithPath(
        NSTemporaryDirectory() + stringWithFormat("QVCapture-%f.mov", CFAbsoluteTimeGetCurrent())));
    // Without a delegate it never reports its end, and so stays among the active captures.
    startCapture(settings, newPhotoCapture(std::move(began), std::move(output)));
    return true;
}

void QVCameraController::photoCaptureDidComplete(const std::shared_ptr<QVPhotoCapture>&, std::int64_t uniqueID)
{
    // The capture may end with its entry: outside the lock.
    const auto ended = activeCaptures_.with([&](auto& captures) { return captures.extract(uniqueID); });
}

bool QVCameraController::isLivePhotoCaptureEnabled() const
{
    const auto output = photoOutput_.get();
    return output && output->isLivePhotoCaptureEnabled();
}

void QVCameraController::setLivePhotoCaptureEnabled(bool enabled)
{
    const auto output = photoOutput_.get();
    if (output && output->isLivePhotoCaptureSupported())
        output->setLivePhotoCaptureEnabled(enabled);
}

bool QVCameraController::isLivePhotoAutoTrimmingEnabled() const
{
    const auto output = photoOutput_.get();
    return output && output->isLivePhotoAutoTrimmingEnabled();
}

void QVCameraController::setLivePhotoAutoTrimmingEnabled(bool enabled)
{
    const auto output = photoOutput_.get();
    if (output && output->isLivePhotoCaptureSupported())
        output->setLivePhotoAutoTrimmingEnabled(enabled);
}

bool QVCameraController::isRAWCaptureSupported() const
{
    const auto output = photoOutput_.get();
    return output && !output->availableRawPhotoPixelFormatTypes().empty();
}

bool QVCameraController::isFlashModeSupported(AVCaptureFlashMode mode) const
{
    const auto output = photoOutput_.get();
    if (!output)
        return false;
    const auto modes = output->supportedFlashModes();
    return std::find(modes.begin(), modes.end(), mode) != modes.end();
}

void QVCameraController::setFlashMode(AVCaptureFlashMode mode)
{
    const ChangeOfValue change(*this, "flashMode"); // also for a mode that is refused: observers ask again
    if (isFlashModeSupported(mode))
        flashMode_ = mode;
}

AVCaptureFlashMode QVCameraController::_availablePreferredFlashMode() const
{
    return isFlashModeSupported(flashMode_) ? flashMode_.load() : AVCaptureFlashModeOff;
}

}
