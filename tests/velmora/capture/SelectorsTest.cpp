// SPDX-License-Identifier: Apache-2.0
#include "velmora/Velmora.h"

#include <gtest/gtest.h>

namespace velmora::tests {

TEST(ControllerSelectors, EveryPropertyIsReachedByName)
{
    const auto& info = QVCameraController::staticClass();
    for (const char* name : { "captureSessionPreset", "captureSession", "currentVideoCaptureDevice",
             "deviceOrientation", "motionManager", "videoSampleBufferProcessor", "audioSampleBufferProcessor",
             "delegate", "devicePosition", "captureOrientation", "sampleBufferOrientation", "videoFrameRate",
             "preferredVideoStabilizationMode", "lensType", "discardLateVideoFrames", "disableLocationProvider",
             "detectFaces", "includePreviewImageDuringPhotoCapture", "flashMode", "rawCaptureMode",
             "defaultImageOrientation", "cameraConfigurationCompletionBlock" }) {
        EXPECT_NE(info.find(name), nullptr) << name;
        const std::string key = name;
        const std::string setter
            = "set" + std::string(1, static_cast<char>(std::toupper(key[0]))) + key.substr(1) + ":";
        EXPECT_NE(info.find(setter), nullptr) << setter;
    }
    for (const char* name : { "visibleFaces", "previewLayer", "stillImageOutputDimensions", "locationProvider" })
        EXPECT_NE(info.find(name), nullptr) << name;
}

TEST(ControllerSelectors, EverySwitchIsReachedByName)
{
    const auto& info = QVCameraController::staticClass();
    for (const std::string name : { "TorchOn", "LivePhotoCaptureEnabled", "LivePhotoAutoTrimmingEnabled",
             "GeometricDistortionCorrectionEnabled", "DepthCaptureEnabled", "MirroringSelfiesEnabled" }) {
        EXPECT_NE(info.find("is" + name), nullptr) << name;
        EXPECT_NE(info.find("set" + name + ":"), nullptr) << name;
    }
}

TEST(ControllerSelectors, EveryOperationIsReachedByName)
{
    const auto& info = QVCameraController::staticClass();
    for (const char* name : { "startSession", "startSessionAsynchronously:", "stopSession", "stopSessionAfterDelay:",
             "isSessionRunning", "_configureCamera:", "_startAdditionalServices", "_stopSessionIfAllowed",
             "_handleSessionNotification:", "setLensType:inDevicePosition:", "hasLensTypeInCurrentDevicePosition:",
             "_availableDeviceWithLensType:position:fallbackToDefaultDevice:", "_isVideoFrameRateSupported:",
             "_getMaxFrameRateFormat:frameRateRange:", "maximumSupportedFrameRateForHighSpeedCapture",
             "enableHighSpeedCaptureWithFrameRate:", "isDepthCaptureSupported", "isRAWCaptureSupported",
             "isFlashModeSupported:", "_availablePreferredFlashMode", "hasTorch", "prepareToCaptureStillImage",
             "captureStillImage:completion:", "captureStillImage:", "captureLivePhoto:completion:",
             "_capturePhoto:output:completion:", "_matchStillImageOutputToDeviceOrientation",
             "photoCaptureDidComplete:with:", "prepareToReceiveSampleBuffers:", "_setupSessionToReceiveSampleBuffers:",
             "beginReceivingVideoSampleBuffer:", "beginReceivingVideoSampleBuffer:audioSampleBuffer:",
             "endReceivingSampleBuffer", "captureOutput:didOutputSampleBuffer:fromConnection:",
             "captureOutput:didOutputMetadataObjects:fromConnection:",
             "_matchVideoOutputOrientationToSampleBufferOrientation", "resetToSessionPreset",
             "recommendedAudioSettingsForAssetWriterWithOutputFileType:",
             "recommendedVideoSettingsForAssetWriterWithOutputFileType:" })
        EXPECT_NE(info.find(name), nullptr) << name;
}

TEST(ControllerSelectors, EveryInitialiserIsReachedByName)
{
    const auto& info = QVCameraController::staticClass();
    for (const char* name : { "init", "initWithDevicePosition:", "initWithDevicePosition:captureIntent:",
             "initWithDevicePosition:captureIntent:captureSessionPreset:" })
        EXPECT_NE(info.findClassMethod(name), nullptr) << name;
}

}
