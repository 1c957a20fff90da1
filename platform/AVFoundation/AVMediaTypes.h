// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/OptionSet.h"

#include <cstdint>

namespace velmora {

inline constexpr const char* AVMediaTypeVideo = "vide";
inline constexpr const char* AVMediaTypeAudio = "soun";
inline constexpr const char* AVFoundationErrorDomain = "AVFoundationErrorDomain";

enum AVCaptureDevicePosition : std::int64_t {
    AVCaptureDevicePositionUnspecified = 0,
    AVCaptureDevicePositionBack = 1,
    AVCaptureDevicePositionFront = 2,
};
enum AVCaptureVideoOrientation : std::int64_t {
    AVCaptureVideoOrientationPortrait = 1,
    AVCaptureVideoOrientationPortraitUpsideDown = 2,
    AVCaptureVideoOrientationLandscapeRight = 3,
    AVCaptureVideoOrientationLandscapeLeft = 4,
};
enum AVCaptureFlashMode : std::int64_t {
    AVCaptureFlashModeOff = 0,
    AVCaptureFlashModeOn = 1,
    AVCaptureFlashModeAuto = 2
};
enum AVCaptureTorchMode : std::int64_t {
    AVCaptureTorchModeOff = 0,
    AVCaptureTorchModeOn = 1,
    AVCaptureTorchModeAuto = 2
};
enum AVCaptureFocusMode : std::int64_t {
    AVCaptureFocusModeLocked = 0,
    AVCaptureFocusModeAutoFocus = 1,
    AVCaptureFocusModeContinuousAutoFocus = 2,
};
enum AVCaptureExposureMode : std::int64_t {
    AVCaptureExposureModeLocked = 0,
    AVCaptureExposureModeAutoExpose = 1,
    AVCaptureExposureModeContinuousAutoExposure = 2,
    AVCaptureExposureModeCustom = 3,
};
enum AVCaptureWhiteBalanceMode : std::int64_t {
    AVCaptureWhiteBalanceModeLocked = 0,
    AVCaptureWhiteBalanceModeAutoWhiteBalance = 1,
    AVCaptureWhiteBalanceModeContinuousAutoWhiteBalance = 2,
};
enum AVCaptureVideoStabilizationMode : std::int64_t {
    AVCaptureVideoStabilizationModeAuto = -1,
    AVCaptureVideoStabilizationModeOff = 0,
    AVCaptureVideoStabilizationModeStandard = 1,
    AVCaptureVideoStabilizationModeCinematic = 2,
    AVCaptureVideoStabilizationModeCinematicExtended = 3,
    AVCaptureVideoStabilizationModePreviewOptimized = 4,
};
enum AVAuthorizationStatus : std::int64_t {
    AVAuthorizationStatusNotDetermined = 0,
    AVAuthorizationStatusRestricted = 1,
    AVAuthorizationStatusDenied = 2,
    AVAuthorizationStatusAuthorized = 3,
};

/// Factors on the linear colour channels of the sensor, from 1.0 to the device's maximum.
struct AVCaptureWhiteBalanceGains {
    float redGain = 1, greenGain = 1, blueGain = 1;
    bool operator==(const AVCaptureWhiteBalanceGains&) const = default;
};
/// Kelvin, and the distance from the daylight curve (0 lies on it).
struct AVCaptureWhiteBalanceTemperatureAndTintValues {
    float temperature = 0, tint = 0;
};

inline constexpr const char* AVCaptureDeviceTypeBuiltInWideAngleCamera = "AVCaptureDeviceTypeBuiltInWideAngleCamera";
inline constexpr const char* AVCaptureDeviceTypeBuiltInTelephotoCamera = "AVCaptureDeviceTypeBuiltInTelephotoCamera";
inline constexpr const char* AVCaptureDeviceTypeBuiltInDualCamera = "AVCaptureDeviceTypeBuiltInDualCamera";
inline constexpr const char* AVCaptureDeviceTypeBuiltInTrueDepthCamera = "AVCaptureDeviceTypeBuiltInTrueDepthCamera";
inline constexpr const char* AVCaptureDeviceTypeBuiltInDualWideCamera = "AVCaptureDeviceTypeBuiltInDualWideCamera";
inline constexpr const char* AVCaptureDeviceTypeBuiltInTripleCamera = "AVCaptureDeviceTypeBuiltInTripleCamera";
inline constexpr const char* AVCaptureDeviceTypeBuiltInUltraWideCamera = "AVCaptureDeviceTypeBuiltInUltraWideCamera";
inline constexpr const char* AVCaptureDeviceTypeBuiltInMicrophone = "AVCaptureDeviceTypeBuiltInMicrophone";

inline constexpr const char* AVCaptureSessionPresetPhoto = "AVCaptureSessionPresetPhoto";
inline constexpr const char* AVCaptureSessionPresetHigh = "AVCaptureSessionPresetHigh";

inline constexpr const char* AVMetadataObjectTypeFace = "face";
inline constexpr const char* AVVideoCodecKey = "AVVideoCodecKey";
inline constexpr const char* AVVideoCodecTypeJPEG = "jpeg";
inline constexpr const char* AVFileTypeQuickTimeMovie = "com.apple.quicktime-movie";

}
