// SPDX-License-Identifier: Apache-2.0
#include "velmora/capture/QVCameraController.h"

#include "platform/AVFoundation/AVCaptureDevice.h"
#include "platform/AVFoundation/AVCaptureVideoPreviewLayer.h"
#include "platform/Foundation/NSLog.h"

#include <utility>

namespace velmora {

CGPoint QVCameraController::_captureDevicePointForPreviewLayerPoint(CGPoint point) const
{
    return previewLayer_->captureDevicePointOfInterestForPoint(point);
}

CGPoint QVCameraController::_captureDevicePointForPoint(CGPoint point, CGSize size) const
{
    switch (captureOrientation_.load()) {
    case AVCaptureVideoOrientationPortrait:
        return { 1 - point.x / size.width, point.y / size.height };
    // Applications say where the finger was in portrait only. The corner is what the others get, and is applied.
    case AVCaptureVideoOrientationPortraitUpsideDown:
        NSLog("[QVCameraController] `devicePointInSize` not supported in portrait upside-down. Please implement");
        break;
    case AVCaptureVideoOrientationLandscapeRight:
        NSLog("[QVCameraController] `devicePointInSize` not supported in landscape right. Please implement");
        break;
    case AVCaptureVideoOrientationLandscapeLeft:
        NSLog("[QVCameraController] `devicePointInSize` not supported in landscape left. Please implement");
        break;
    }
    return {};
}

bool QVCameraController::supportsFocusMode(AVCaptureFocusMode mode) const
{
    const auto device = currentVideoCaptureDevice();
    return device && device->isFocusModeSupported(mode);
}

bool QVCameraController::canFocusOnPoint() const
{
    const auto device = currentVideoCaptureDevice();
    if (device && device->isFocusPointOfInterestSupported()
        && device->isFocusModeSupported(AVCaptureFocusModeAutoFocus))
        return true;
    NSLog("[QVCameraController] Device doesn't support focusing. Ignored.");
    return false;
}

void QVCameraController::focusOnDevicePoint(CGPoint point)
{
    configureDevice([point](AVCaptureDevice& device) {
        device.setFocusPointOfInterest(point);
        device.setFocusMode(AVCaptureFocusModeAutoFocus);
    });
}

bool QVCameraController::focusOnPreviewLayerPoint(CGPoint point)
{
    if (!canFocusOnPoint())
        return false;
    focusOnDevicePoint(_captureDevicePointForPreviewLayerPoint(point));
    return true;
}

bool QVCameraController::focusOnPoint(CGPoint point, CGSize size)
{
    if (!canFocusOnPoint())
        return false;
    focusOnDevicePoint(_captureDevicePointForPoint(point, size));
    return true;
}

void QVCameraController::useAutoFocus()
{
    if (supportsFocusMode(AVCaptureFocusModeContinuousAutoFocus))
        configureDevice([](AVCaptureDevice& device) { device.setFocusMode(AVCaptureFocusModeContinuousAutoFocus); });
    else
        NSLog("[QVCameraController] Device doesn't support auto focus. Ignored.");
}

void QVCameraController::lockCurrentFocus()
{
    if (supportsFocusMode(AVCaptureFocusModeLocked))
        configureDevice([](AVCaptureDevice& device) { device.setFocusMode(AVCaptureFocusModeLocked); });
    else
        NSLog("[QVCameraController] Device doesn't support locked focus. Ignored.");
}

void QVCameraController::useManualFocus(float lensPosition, DeviceSettingCompletion completion)
{
    if (!supportsFocusMode(AVCaptureFocusModeLocked)) {
        NSLog("[QVCameraController] Manual focus is not supported on this device.");
        return;
    }
    if (!(lensPosition >= 0.0F && lensPosition <= 1.0F)) { // so that what is not a number is refused too
        NSLog("[QVCameraController] Unsupported lens position %f. Ignoring.", lensPosition);
        return;
    }
    configureDevice([&](AVCaptureDevice& device) {
        device.setFocusModeLockedWithLensPosition(lensPosition, std::move(completion));
    });
}

double QVCameraController::currentZoomScale() const
{
    const auto device = currentVideoCaptureDevice();
    return device ? device->videoZoomFactor() : 0;
}

double QVCameraController::maximumZoomScale() const
{
    const auto device = currentVideoCaptureDevice();
    const auto format = device ? device->activeFormat() : nullptr;
    return format ? format->videoMaxZoomFactor() : 0;
}

void QVCameraController::setZoomScale(double scale)
{
    configureDevice([&](AVCaptureDevice& device) { device.setVideoZoomFactor(scale); });
}

void QVCameraController::rampToZoomScale(double scale, double rate)
{
    configureDevice([&](AVCaptureDevice& device) { device.rampToVideoZoomFactor(scale, static_cast<float>(rate)); });
}

}
