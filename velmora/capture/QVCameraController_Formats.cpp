// SPDX-License-Identifier: Apache-2.0
#include "velmora/capture/QVCameraController.h"

#include "platform/AVFoundation/AVCaptureConnection.h"
#include "platform/AVFoundation/AVCaptureDevice.h"
#include "platform/AVFoundation/AVCaptureDeviceFormat.h"
#include "platform/AVFoundation/AVCapturePhotoOutput.h"
#include "platform/Foundation/NSLog.h"
#include "platform/Foundation/SystemVersion.h"

#include <algorithm>

namespace velmora {

namespace {

constexpr SystemVersion firstWithDistortionCorrection { 13, 0 };

/// One frame, at so many a second.
CMTime durationOfFrame(std::uint32_t framesPerSecond)
{
    return CMTimeMake(1, static_cast<std::int32_t>(framesPerSecond));
}

void setFrameDuration(AVCaptureDevice& device, std::uint32_t framesPerSecond)
{
    device.setActiveVideoMinFrameDuration(durationOfFrame(framesPerSecond));
    device.setActiveVideoMaxFrameDuration(durationOfFrame(framesPerSecond));
}

/// The widest with depth, the last of equals.
std::shared_ptr<AVCaptureDeviceFormat> bestDepthFormat(const std::shared_ptr<AVCaptureDevice>& device)
{
    std::shared_ptr<AVCaptureDeviceFormat> best;
    if (!device)
        return best;

    std::int32_t bestWidth = 0;
    for (const auto& format : device->formats()) {
        const std::int32_t width = CMVideoFormatDescriptionGetDimensions(format->formatDescription()).width;
        if (format->supportedDepthDataFormats().empty() || width < bestWidth)
            continue;
        best = format;
        bestWidth = width;
    }
    return best;
}

}

std::uint32_t QVCameraController::videoFrameRate() const
{
    const auto device = currentVideoCaptureDevice();
    return device ? static_cast<std::uint32_t>(device->activeVideoMaxFrameDuration().timescale) : 0;
}

bool QVCameraController::_isVideoFrameRateSupported(std::uint32_t framesPerSecond) const
{
    const auto device = currentVideoCaptureDevice();
    const auto format = device ? device->activeFormat() : nullptr;
    if (!format)
        return false;

    const auto ranges = format->videoSupportedFrameRateRanges();
    // Strict at both ends: a range's own limits are refused.
    return std::any_of(ranges.begin(), ranges.end(), [framesPerSecond](const auto& range) {
        return range->minFrameRate() < framesPerSecond && range->maxFrameRate() > framesPerSecond;
    });
}

void QVCameraController::setVideoFrameRate(std::uint32_t framesPerSecond)
{
    if (!_isVideoFrameRateSupported(framesPerSecond)) {
        NSLog("[QVCameraController] Device does not support video capture at %i frames per second. Ignoring.",
            framesPerSecond);
        return;
    }
    preferredFrameRate_ = framesPerSecond;
    _configureCamera([&] {
        if (const auto device = currentVideoCaptureDevice())
            setFrameDuration(*device, framesPerSecond);
    });
}

void QVCameraController::_getMaxFrameRateFormat(
    std::shared_ptr<AVCaptureDeviceFormat>* bestFormat, std::shared_ptr<AVFrameRateRange>* bestRange) const
{
    bestFormat->reset();
    bestRange->reset();
    const auto device = currentVideoCaptureDevice();
    if (!device)
        return;

    double bestRate = 0;
    for (const auto& format : device->formats())
        for (const auto& range : format->videoSupportedFrameRateRanges()) {
            if (range->maxFrameRate() <= bestRate)
                continue;
            bestRate = range->maxFrameRate();
            *bestFormat = format;
            *bestRange = range;
        }
}

std::uint32_t QVCameraController::maximumSupportedFrameRateForHighSpeedCapture() const
{
    std::shared_ptr<AVCaptureDeviceFormat> format;
    std::shared_ptr<AVFrameRateRange> range;
    _getMaxFrameRateFormat(&format, &range);
    return range ? static_cast<std::uint32_t>(range->minFrameDuration().timescale) : 0;
}

void QVCameraController::enableHighSpeedCaptureWithFrameRate(std::uint32_t framesPerSecond)
{
    std::shared_ptr<AVCaptureDeviceFormat> format;
    std::shared_ptr<AVFrameRateRange> range;
    _getMaxFrameRateFormat(&format, &range);
    if (!format || range->maxFrameRate() < framesPerSecond)
        return;

    const auto device = currentVideoCaptureDevice();
    if (!device->lockForConfiguration())
        return; // in silence, like every refusal here: the caller asks videoFrameRate()
    device->setActiveFormat(format);
    setFrameDuration(*device, framesPerSecond);
    device->unlockForConfiguration();
}

CMVideoDimensions QVCameraController::stillImageOutputDimensions() const
{
    const auto device = currentVideoCaptureDevice();
    const auto format = device ? device->activeFormat() : nullptr;
    return format ? format->highResolutionStillImageDimensions() : CMVideoDimensions {};
}

void QVCameraController::setPreferredVideoStabilizationMode(AVCaptureVideoStabilizationMode mode)
{
    stabilizationMode_ = mode;
    const auto connection = videoDataConnection();
    if (!connection)
        return;
    if (!connection->isVideoStabilizationSupported()) {
        NSLog("[QVCameraController] Connection does not support preferred video stabilization: %i", mode);
        return;
    }
    sessionQueue_.sync([&] { connection->setPreferredVideoStabilizationMode(mode); });
    const auto preferred = connection->preferredVideoStabilizationMode();
    const auto active = connection->activeVideoStabilizationMode();
    if (active != preferred)
        NSLog("[QVCameraController] Unable to set the preferred stabilization mode %i; not available (it has been "
              "reset to %i).",
            preferred, active);
}

void QVCameraController::setDiscardLateVideoFrames(bool discard)
{
    sessionQueue_.sync([&] {
        if (const auto output = videoDataOutput_.get())
            output->setAlwaysDiscardsLateVideoFrames(discard);
    });
}

bool QVCameraController::isGeometricDistortionCorrectionEnabled() const
{
    const auto device = currentVideoCaptureDevice();
    return SystemVersion::current() >= firstWithDistortionCorrection && device
        && device->isGeometricDistortionCorrectionEnabled();
}

void QVCameraController::setGeometricDistortionCorrectionEnabled(bool enabled)
{
    if (SystemVersion::current() < firstWithDistortionCorrection)
        return;

    const auto device = currentVideoCaptureDevice();
    if (!device || !device->isGeometricDistortionCorrectionSupported()) {
        NSLog("[QVCameraController] Geometric Distortion Correction not supported on %@", device);
        return;
    }
    device->lockForConfiguration(); // and without the lock the change is made all the same
    device->setGeometricDistortionCorrectionEnabled(enabled);
    device->unlockForConfiguration();
}

bool QVCameraController::isDepthCaptureSupported() const
{
    const auto output = photoOutput_.get();
    return output && output->isDepthDataDeliverySupported();
}

bool QVCameraController::isDepthCaptureEnabled() const
{
    const auto output = photoOutput_.get();
    return output && output->isDepthDataDeliveryEnabled();
}

void QVCameraController::setDepthCaptureEnabled(bool enabled)
{
    if (!isDepthCaptureSupported() && enabled) {
        const auto device = currentVideoCaptureDevice();
        const auto format = bestDepthFormat(device);
        if (!format) {
            NSLog("[QVCameraController] Unable to set depth capture preference: could not find an appropriate capture "
                  "device format");
            return;
        }
        device->lockForConfiguration(); // and without the lock the change is made all the same
        device->setActiveFormat(format);
        device->unlockForConfiguration();
    }
    applyDepthDelivery(enabled);
}

void QVCameraController::applyDepthDelivery(bool enabled)
{
    const auto output = photoOutput_.get();
    if (!output)
        return;
    if (output->isDepthDataDeliverySupported())
        output->setDepthDataDeliveryEnabled(enabled);
    if (output->isPortraitEffectsMatteDeliverySupported())
        output->setPortraitEffectsMatteDeliveryEnabled(enabled);
}

bool QVCameraController::hasTorch() const
{
    const auto device = currentVideoCaptureDevice();
    return device && device->isTorchModeSupported(AVCaptureTorchModeOn);
}

bool QVCameraController::isTorchOn() const
{
    const auto device = currentVideoCaptureDevice();
    return device && device->torchMode() == AVCaptureTorchModeOn;
}

void QVCameraController::setTorchOn(bool on)
{
    const auto mode = on ? AVCaptureTorchModeOn : AVCaptureTorchModeOff;
    const auto device = currentVideoCaptureDevice();
    if (!device || !device->isTorchModeSupported(mode)) {
        NSLog("[QVCameraController] Torch mode %li is not supported. Ignored.", mode);
        return;
    }
    _configureCamera([&] { device->setTorchMode(mode); });
}

}
