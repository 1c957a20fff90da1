// SPDX-License-Identifier: Apache-2.0
#include "velmora/capture/QVCameraController.h"

#include "platform/AVFoundation/AVCaptureDevice.h"
#include "platform/Foundation/NSLog.h"

#include <utility>

namespace velmora {

bool QVCameraController::supportsExposureMode(AVCaptureExposureMode mode) const
{
    const auto device = currentVideoCaptureDevice();
    return device && device->isExposureModeSupported(mode);
}

bool QVCameraController::canExposeOnPoint() const
{
    const auto device = currentVideoCaptureDevice();
    if (device && device->isExposurePointOfInterestSupported()
        && device->isExposureModeSupported(AVCaptureExposureModeContinuousAutoExposure))
        return true;
    NSLog("[QVCameraController] Device doesn't support exposure. Ignored.");
    return false;
}

void QVCameraController::exposeOnDevicePoint(CGPoint point)
{
    configureDevice([point](AVCaptureDevice& device) {
        device.setExposurePointOfInterest(point);
        device.setExposureMode(AVCaptureExposureModeContinuousAutoExposure);
    });
}

bool QVCameraController::exposeOnPreviewLayerPoint(CGPoint point)
{
    if (!canExposeOnPoint())
        return false;
    exposeOnDevicePoint(_captureDevicePointForPreviewLayerPoint(point));
    return true;
}

bool QVCameraController::exposeOnPoint(CGPoint point, CGSize size)
{
    if (!canExposeOnPoint())
        return false;
    exposeOnDevicePoint(_captureDevicePointForPoint(point, size));
    return true;
}

void QVCameraController::useAutoExposure()
{
    if (supportsExposureMode(AVCaptureExposureModeContinuousAutoExposure))
        configureDevice(
            [](AVCaptureDevice& device) { device.setExposureMode(AVCaptureExposureModeContinuousAutoExposure); });
    else
        NSLog("[QVCameraController] Device doesn't support auto exposure. Ignored.");
}

void QVCameraController::lockCurrentExposure()
{
    if (supportsExposureMode(AVCaptureExposureModeLocked))
        configureDevice([](AVCaptureDevice& device) { device.setExposureMode(AVCaptureExposureModeLocked); });
    else
        NSLog("[QVCameraController] Device doesn't support locking exposure. Ignored.");
}

void QVCameraController::useManualShutterSpeed(const CMTime& duration, DeviceSettingCompletion completion)
{
    const auto device = currentVideoCaptureDevice();
    const auto format = device ? device->activeFormat() : nullptr;
    const CMTime shortest = format ? format->minExposureDuration() : CMTime {};
    const CMTime longest = format ? format->maxExposureDuration() : CMTime {};
    if (CMTimeCompare(duration, shortest) < 0 || CMTimeCompare(duration, longest) > 0) {
        NSLog("[QVCameraController] Unsupported shutter speed %@. Ignored.", duration);
        return;
    }
    configureDevice([&](AVCaptureDevice& camera) {
        camera.setExposureModeCustomWithDuration(duration, AVCaptureISOCurrent, std::move(completion));
    });
}

void QVCameraController::useManualISO(float iso, DeviceSettingCompletion completion)
{
    const auto device = currentVideoCaptureDevice();
    const auto format = device ? device->activeFormat() : nullptr;
    const float lowest = format ? format->minISO() : 0;
    const float highest = format ? format->maxISO() : 0;
    if (!(lowest <= iso && iso <= highest)) {
        NSLog("[QVCameraController] Unsupported ISO %f. Ignored.", iso);
        return;
    }
    configureDevice([&](AVCaptureDevice& camera) {
        camera.setExposureModeCustomWithDuration(AVCaptureExposureDurationCurrent, iso, std::move(completion));
    });
}

void QVCameraController::setExposureBias(float bias, DeviceSettingCompletion completion)
{
    const auto device = currentVideoCaptureDevice();
    const float lowest = device ? device->minExposureTargetBias() : 0;
    const float highest = device ? device->maxExposureTargetBias() : 0;
    if (!(lowest <= bias && bias <= highest)) {
        NSLog("[QVCameraController] Unsupported exposure bias %f. Ignored.", bias);
        return;
    }
    configureDevice([&](AVCaptureDevice& camera) {
        camera.setExposureMode(AVCaptureExposureModeLocked); // a bias counts from the exposure that stands now
        camera.setExposureTargetBias(bias, std::move(completion));
    });
}

void QVCameraController::resetExposureBias()
{
    setExposureBias(0.0F, nullptr);
}

void QVCameraController::useAutoWhiteBalance()
{
    const auto device = currentVideoCaptureDevice();
    if (device && device->isWhiteBalanceModeSupported(AVCaptureWhiteBalanceModeContinuousAutoWhiteBalance))
        configureDevice([](AVCaptureDevice& camera) {
            camera.setWhiteBalanceMode(AVCaptureWhiteBalanceModeContinuousAutoWhiteBalance);
        });
    else
        NSLog("[QVCameraController] Device doesn't support auto white balance. Ignored.");
}

void QVCameraController::useManualTemperature(float kelvin, DeviceSettingCompletion completion)
{
    const auto device = currentVideoCaptureDevice();
    AVCaptureWhiteBalanceGains gains { 0, 0, 0 };
    if (device)
        gains = device->deviceWhiteBalanceGainsForTemperatureAndTintValues({ kelvin, 0.0F });
    const float highest = device ? device->maxWhiteBalanceGain() : 0;
    const auto fits = [highest](float gain) { return gain >= 1.0F && gain <= highest; };
    if (!fits(gains.redGain) || !fits(gains.greenGain) || !fits(gains.blueGain)) {
        NSLog("[QVCameraController] Device doesn't support gain value R: %f G: %f B: %f. Ignored.", gains.redGain,
            gains.greenGain, gains.blueGain);
        return;
    }
    configureDevice([&](AVCaptureDevice& camera) {
        camera.setWhiteBalanceModeLockedWithDeviceWhiteBalanceGains(gains, std::move(completion));
    });
}

float QVCameraController::temperatureForCurrentVideoCaptureDevice() const
{
    const auto device = currentVideoCaptureDevice();
    if (!device)
        return 0;
    return device->temperatureAndTintValuesForDeviceWhiteBalanceGains(device->deviceWhiteBalanceGains()).temperature;
}

}
