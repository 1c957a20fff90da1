// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/AVCapturePhotoOutput.h"
#include "platform/AVFoundation/AVCaptureVideoDataOutput.h"

#include "tests/support/ControllerTest.h"

#include <algorithm>

namespace velmora::tests {

using namespace drivers::phone;

FrameRates upTo(double maximum, double minimum = 1)
{
    return { minimum, maximum, std::nullopt };
}

Format formatOf(
    CMVideoDimensions size, std::vector<FrameRates> rates = { {} }, std::vector<CMVideoDimensions> depth = {})
{
    Format format;
    format.size = size;
    format.highResolutionStill = { size.width * 2, size.height * 2 };
    format.frameRates = std::move(rates);
    format.depth = std::move(depth);
    return format;
}

class FormatTest : public ControllerTest {
protected:
    /// A phone with one back camera of these formats, whose presets choose none.
    void constructWith(std::vector<Format> formats, QVCameraCaptureIntent intent = QVCameraCaptureIntentStillImage)
    {
        phone.change([&](PhoneDescription& description) {
            description.cameras = { smallCamera("back") };
            description.cameras[0].formats = std::move(formats);
            description.cameras[0].presets
                = { { AVCaptureSessionPresetPhoto, std::nullopt }, { AVCaptureSessionPresetHigh, std::nullopt } };
        });
        construct(intent);
        log.clear();
    }
    void changeCamera(const std::function<void(Camera&)>& edit)
    {
        phone.change([&](PhoneDescription& description) { edit(description.cameras[0]); });
    }
    std::size_t indexOfActiveFormat() const
    {
        const auto device = controller->currentVideoCaptureDevice();
        const auto formats = device->formats();
        return static_cast<std::size_t>(
            std::find(formats.begin(), formats.end(), device->activeFormat()) - formats.begin());
    }
    std::size_t changes(const std::string& what) const
    {
        const auto& journal = phone.journal();
        return static_cast<std::size_t>(std::count_if(
            journal.begin(), journal.end(), [&](const JournalEntry& entry) { return entry.what.starts_with(what); }));
    }
};

using FrameRate = FormatTest;

TEST_F(FrameRate, IsTheTimescaleOfTheLongestFrame)
{
    constructWith({ formatOf({ 640, 480 }, { upTo(60) }) });
    const auto device = controller->currentVideoCaptureDevice();
    device->lockForConfiguration();
    device->setActiveVideoMaxFrameDuration(CMTimeMake(2, 60));
    EXPECT_EQ(controller->videoFrameRate(), 60U);

    device->setActiveVideoMaxFrameDuration(CMTimeMake(1001, 30000));
    EXPECT_EQ(controller->videoFrameRate(), 30000U);
    device->unlockForConfiguration();
}

TEST_F(FrameRate, BetweenTheLimitsIsSetForBothDurations)
{
    constructWith({ formatOf({ 640, 480 }, { upTo(60) }) });
    controller->setVideoFrameRate(24);

    EXPECT_EQ(controller->videoFrameRate(), 24U);
    const auto device = controller->currentVideoCaptureDevice();
    EXPECT_EQ(CMTimeCompare(device->activeVideoMinFrameDuration(), CMTimeMake(1, 24)), 0);
    EXPECT_EQ(CMTimeCompare(device->activeVideoMaxFrameDuration(), CMTimeMake(1, 24)), 0);
}

TEST_F(FrameRate, TheMaximumOfTheOnlyRangeIsRefused)
{
    constructWith({ formatOf({ 640, 480 }) });
    controller->setVideoFrameRate(30);

    EXPECT_EQ(log.lines(),
        Lines { "[QVCameraController] Device does not support video capture at 30 frames per second. Ignoring." });
}

TEST_F(FrameRate, TheMinimumIsRefusedToo)
{
    constructWith({ formatOf({ 640, 480 }) });
    controller->setVideoFrameRate(1);

    EXPECT_EQ(controller->videoFrameRate(), 30U);
    EXPECT_EQ(log.lines(),
        Lines { "[QVCameraController] Device does not support video capture at 1 frames per second. Ignoring." });
}

TEST_F(FrameRate, AnyRangeOfTheActiveFormatWillDo)
{
    constructWith({ formatOf({ 640, 480 }, { upTo(30), upTo(60, 20) }), formatOf({ 640, 480 }, { upTo(240) }) });
    controller->setVideoFrameRate(30);
    EXPECT_EQ(controller->videoFrameRate(), 30U);

    controller->setVideoFrameRate(120);
    EXPECT_EQ(controller->videoFrameRate(), 30U);
    EXPECT_EQ(log.lines().size(), 1U);
}

TEST_F(FrameRate, AHugeRatePrintsCutTo32Bits)
{
    constructWith({ formatOf({ 640, 480 }) });
    controller->setVideoFrameRate(4294967295U);

    EXPECT_EQ(log.lines(),
        Lines { "[QVCameraController] Device does not support video capture at -1 frames per second. Ignoring." });
}

TEST_F(FrameRate, AFailedLockLeavesTheRateOfTheDeviceAlone)
{
    constructWith({ formatOf({ 640, 480 }, { upTo(60) }) });
    phone.failNextLock(NSError("Camera", 5, "Somebody has it."));
    controller->setVideoFrameRate(24);

    EXPECT_EQ(controller->videoFrameRate(), 60U);
    EXPECT_EQ(log.lines(),
        Lines { "[QVCameraController] Unable to lock camera (Error Domain=Camera Code=5 \"Somebody has it.\")" });
}

TEST_F(FrameRate, IsPreferredEvenWhenTheLockFailed)
{
    constructWith({ formatOf({ 640, 480 }, { upTo(60) }) });
    phone.failNextLock(NSError("Camera", 5));
    controller->setVideoFrameRate(24);
    controller->resetToSessionPreset();

    EXPECT_EQ(controller->videoFrameRate(), 24U);
}

TEST_F(FrameRate, WithoutACameraIsRefused)
{
    phone.change([](PhoneDescription& description) { description.cameras.clear(); });
    construct();
    log.clear();
    controller->setVideoFrameRate(24);

    EXPECT_EQ(log.lines(),
        Lines { "[QVCameraController] Device does not support video capture at 24 frames per second. Ignoring." });
}

using HighSpeed = FormatTest;

TEST_F(HighSpeed, TakesTheFirstOfTheFastestFormats)
{
    constructWith({ formatOf({ 640, 480 }), formatOf({ 640, 480 }, { upTo(60), upTo(240) }),
        formatOf({ 320, 240 }, { upTo(240) }) });
    controller->enableHighSpeedCaptureWithFrameRate(120);

    EXPECT_EQ(indexOfActiveFormat(), 1U);
    EXPECT_EQ(controller->videoFrameRate(), 120U);
}

TEST_F(HighSpeed, ItsMaximumItselfSucceeds)
{
    constructWith({ formatOf({ 640, 480 }), formatOf({ 640, 480 }, { upTo(240) }) });
    controller->enableHighSpeedCaptureWithFrameRate(240);

    EXPECT_EQ(controller->videoFrameRate(), 240U);
}

TEST_F(HighSpeed, BeyondItsMaximumNothingHappensInSilence)
{
    constructWith({ formatOf({ 640, 480 }), formatOf({ 640, 480 }, { upTo(240) }) });
    controller->enableHighSpeedCaptureWithFrameRate(241);

    EXPECT_EQ(indexOfActiveFormat(), 0U);
    EXPECT_EQ(log.lines(), Lines {});
}

TEST_F(HighSpeed, AFailedLockIsSilent)
{
    constructWith({ formatOf({ 640, 480 }), formatOf({ 640, 480 }, { upTo(240) }) });
    phone.failNextLock(NSError("Camera", 5));
    controller->enableHighSpeedCaptureWithFrameRate(120);

    EXPECT_EQ(indexOfActiveFormat(), 0U);
    EXPECT_EQ(log.lines(), Lines {});
}

TEST_F(HighSpeed, IsNotAPreferredRate)
{
    constructWith({ formatOf({ 640, 480 }), formatOf({ 640, 480 }, { upTo(240) }) });
    controller->enableHighSpeedCaptureWithFrameRate(120);
    controller->resetToSessionPreset();

    EXPECT_EQ(log.lines(), Lines {});
    EXPECT_EQ(controller->videoFrameRate(), 120U);
}

TEST_F(HighSpeed, ItsMaximumReadsAsTheTimescaleOfTheShortestFrame)
{
    constructWith({ formatOf({ 640, 480 }, { { 1, 239.76, CMTimeMake(1001, 240000) } }) });

    EXPECT_EQ(controller->maximumSupportedFrameRateForHighSpeedCapture(), 240000U);
}

TEST_F(HighSpeed, WithoutFormatsThereIsNoBestOne)
{
    constructWith({});
    auto format = make<AVCaptureDeviceFormat>(CaptureFormat {});
    auto range = make<AVFrameRateRange>(CaptureFrameRateRange {});
    controller->performSelector("_getMaxFrameRateFormat:frameRateRange:", &format, &range);

    EXPECT_EQ(format, nullptr);
    EXPECT_EQ(range, nullptr);
    EXPECT_EQ(controller->maximumSupportedFrameRateForHighSpeedCapture(), 0U);
}

TEST_F(FormatTest, StillDimensionsAreTheActiveFormats)
{
    constructWith({ formatOf({ 640, 480 }), formatOf({ 320, 240 }, { upTo(240) }) });
    EXPECT_EQ(controller->stillImageOutputDimensions(), (CMVideoDimensions { 1280, 960 }));

    controller->enableHighSpeedCaptureWithFrameRate(240);
    EXPECT_EQ(controller->stillImageOutputDimensions(), (CMVideoDimensions { 640, 480 }));
}

class Stabilisation : public FormatTest {
protected:
    void constructWithModes(std::vector<int> modes)
    {
        phone.change([&](PhoneDescription& description) { description.cameras[0].stabilizationModes = modes; });
        construct(QVCameraCaptureIntentSampleBuffers);
        settle();
    }
    AVCaptureVideoStabilizationMode preferred() const
    {
        return output<AVCaptureVideoDataOutput>()
            ->connectionWithMediaType(AVMediaTypeVideo)
            ->preferredVideoStabilizationMode();
    }
};

TEST_F(Stabilisation, ReachesTheFramesConnection)
{
    constructWithModes({ 0, 1, 2 });
    controller->setPreferredVideoStabilizationMode(AVCaptureVideoStabilizationModeCinematic);

    EXPECT_EQ(preferred(), AVCaptureVideoStabilizationModeCinematic);
    EXPECT_EQ(controller->preferredVideoStabilizationMode(), AVCaptureVideoStabilizationModeCinematic);
    EXPECT_EQ(log.lines(), Lines {});
}

TEST_F(Stabilisation, AModeThatTheDeviceDoesNotTakeIsLogged)
{
    constructWithModes({ 0, 1 });
    controller->setPreferredVideoStabilizationMode(AVCaptureVideoStabilizationModeCinematic);

    EXPECT_EQ(log.lines(),
        Lines { "[QVCameraController] Unable to set the preferred stabilization mode 2; not available (it has been "
                "reset to 0)." });
    EXPECT_EQ(controller->preferredVideoStabilizationMode(), AVCaptureVideoStabilizationModeCinematic);
}

TEST_F(Stabilisation, AConnectionWithoutItIsLoggedWithTheModeAskedFor)
{
    constructWithModes({ 0 });
    controller->setPreferredVideoStabilizationMode(AVCaptureVideoStabilizationModeStandard);

    EXPECT_EQ(
        log.lines(), Lines { "[QVCameraController] Connection does not support preferred video stabilization: 1" });
    EXPECT_EQ(controller->preferredVideoStabilizationMode(), AVCaptureVideoStabilizationModeStandard);
}

TEST_F(Stabilisation, WithoutAVideoDataOutputItIsOnlyStored)
{
    construct();
    controller->setPreferredVideoStabilizationMode(AVCaptureVideoStabilizationModeStandard);

    EXPECT_EQ(controller->preferredVideoStabilizationMode(), AVCaptureVideoStabilizationModeStandard);
    EXPECT_EQ(log.lines(), Lines {});
}

TEST_F(Stabilisation, WithoutAConnectionItIsOnlyStored)
{
    phone.change([](PhoneDescription& description) { description.cameras.clear(); });
    construct(QVCameraCaptureIntentSampleBuffers);
    log.clear();
    controller->setPreferredVideoStabilizationMode(AVCaptureVideoStabilizationModeStandard);

    EXPECT_EQ(controller->preferredVideoStabilizationMode(), AVCaptureVideoStabilizationModeStandard);
    EXPECT_EQ(log.lines(), Lines {});
}

using LateFrames = FormatTest;

TEST_F(LateFrames, ThePolicyReachesTheOutputButReadsNo)
{
    construct(QVCameraCaptureIntentSampleBuffers);
    controller->setDiscardLateVideoFrames(false);
    EXPECT_FALSE(output<AVCaptureVideoDataOutput>()->alwaysDiscardsLateVideoFrames());

    controller->setDiscardLateVideoFrames(true);
    EXPECT_TRUE(output<AVCaptureVideoDataOutput>()->alwaysDiscardsLateVideoFrames());
    EXPECT_FALSE(controller->discardLateVideoFrames());
}

TEST_F(LateFrames, WithoutAnOutputThePolicyGoesNowhere)
{
    construct();
    controller->setDiscardLateVideoFrames(true);

    EXPECT_FALSE(controller->discardLateVideoFrames());
    EXPECT_EQ(log.lines(), Lines {});
}

class Distortion : public FormatTest {
protected:
    void constructWithCorrection(bool supported)
    {
        changeCamera([&](Camera& camera) { camera.distortionCorrection = supported; });
        construct();
    }
};

TEST_F(Distortion, CorrectionIsTheDevices)
{
    constructWithCorrection(true);
    controller->setGeometricDistortionCorrectionEnabled(true);
    EXPECT_TRUE(controller->isGeometricDistortionCorrectionEnabled());

    controller->setGeometricDistortionCorrectionEnabled(false);
    EXPECT_FALSE(controller->isGeometricDistortionCorrectionEnabled());
}

TEST_F(Distortion, UnsupportedCorrectionIsLoggedWithTheDevice)
{
    constructWithCorrection(false);
    controller->setGeometricDistortionCorrectionEnabled(true);

    EXPECT_EQ(log.lines(),
        Lines { "[QVCameraController] Geometric Distortion Correction not supported on "
            + controller->currentVideoCaptureDevice()->description() });
}

TEST_F(Distortion, ChangesWithoutTheLockToo)
{
    constructWithCorrection(true);
    phone.failNextLock(NSError("Camera", 5));
    controller->setGeometricDistortionCorrectionEnabled(true);

    EXPECT_TRUE(controller->isGeometricDistortionCorrectionEnabled());
    EXPECT_EQ(log.lines(), Lines {});
}

TEST_F(Distortion, BeforeSystem13ThereIsNone)
{
    constructWithCorrection(true);
    controller->setGeometricDistortionCorrectionEnabled(true);
    phone.change([](PhoneDescription& description) { description.systemVersion = { 12, 4 }; });
    EXPECT_FALSE(controller->isGeometricDistortionCorrectionEnabled());

    controller->setGeometricDistortionCorrectionEnabled(false);
    phone.change([](PhoneDescription& description) { description.systemVersion = { 13, 0 }; });
    EXPECT_TRUE(controller->isGeometricDistortionCorrectionEnabled());
    EXPECT_EQ(log.lines(), Lines {});
}

using Depth = FormatTest;

TEST_F(Depth, SwitchingOnTakesTheWidestFormatWithDepth)
{
    constructWith({ formatOf({ 4032, 3024 }), formatOf({ 640, 480 }, { {} }, { { 320, 240 } }),
        formatOf({ 1920, 1080 }, { {} }, { { 320, 240 } }) });
    EXPECT_FALSE(controller->isDepthCaptureSupported());

    controller->setDepthCaptureEnabled(true);
    EXPECT_EQ(indexOfActiveFormat(), 2U);
    EXPECT_TRUE(controller->isDepthCaptureSupported());
    EXPECT_TRUE(controller->isDepthCaptureEnabled());
}

TEST_F(Depth, OfEqualWidthsTheLastOneWins)
{
    constructWith({ formatOf({ 640, 480 }), formatOf({ 640, 360 }, { {} }, { { 320, 240 } }),
        formatOf({ 640, 240 }, { {} }, { { 320, 240 } }) });
    controller->setDepthCaptureEnabled(true);

    EXPECT_EQ(indexOfActiveFormat(), 2U);
}

TEST_F(Depth, AnOutputThatSupportsItKeepsItsFormat)
{
    constructWith(
        { formatOf({ 640, 480 }, { {} }, { { 320, 240 } }), formatOf({ 1920, 1080 }, { {} }, { { 320, 240 } }) });
    controller->setDepthCaptureEnabled(true);

    EXPECT_EQ(indexOfActiveFormat(), 0U);
    EXPECT_TRUE(controller->isDepthCaptureEnabled());
}

TEST_F(Depth, WithoutADepthFormatItIsRefusedAndLogged)
{
    constructWith({ formatOf({ 640, 480 }) });
    controller->setDepthCaptureEnabled(true);

    EXPECT_FALSE(controller->isDepthCaptureEnabled());
    EXPECT_EQ(log.lines(),
        Lines { "[QVCameraController] Unable to set depth capture preference: could not find an appropriate capture "
                "device format" });
}

TEST_F(Depth, SwitchingOffWithoutSupportLogsNothing)
{
    constructWith({ formatOf({ 640, 480 }) });
    controller->setDepthCaptureEnabled(false);

    EXPECT_EQ(log.lines(), Lines {});
}

TEST_F(Depth, SwitchingOffKeepsTheFormat)
{
    constructWith({ formatOf({ 640, 480 }), formatOf({ 320, 240 }, { {} }, { { 320, 240 } }) });
    controller->setDepthCaptureEnabled(true);
    controller->setDepthCaptureEnabled(false);

    EXPECT_FALSE(controller->isDepthCaptureEnabled());
    EXPECT_EQ(indexOfActiveFormat(), 1U);
}

TEST_F(Depth, TheMatteFollowsTheSameFlag)
{
    constructWith({ formatOf({ 640, 480 }, { {} }, { { 320, 240 } }) });
    changeCamera([](Camera& camera) { camera.matte = true; });
    construct();
    controller->setDepthCaptureEnabled(true);
    EXPECT_TRUE(output<AVCapturePhotoOutput>()->isPortraitEffectsMatteDeliveryEnabled());

    controller->setDepthCaptureEnabled(false);
    EXPECT_FALSE(output<AVCapturePhotoOutput>()->isPortraitEffectsMatteDeliveryEnabled());
}

TEST_F(Depth, WithoutAPhotoOutputTheFormatChangesAllTheSame)
{
    constructWith(
        { formatOf({ 640, 480 }), formatOf({ 320, 240 }, { {} }, { { 320, 240 } }) }, QVCameraCaptureIntentReserved);
    controller->setDepthCaptureEnabled(true);

    EXPECT_EQ(indexOfActiveFormat(), 1U);
    EXPECT_FALSE(controller->isDepthCaptureEnabled());
}

TEST_F(Depth, TheFormatChangesWithoutTheLockToo)
{
    constructWith({ formatOf({ 640, 480 }), formatOf({ 320, 240 }, { {} }, { { 320, 240 } }) });
    phone.failNextLock(NSError("Camera", 5));
    controller->setDepthCaptureEnabled(true);

    EXPECT_EQ(indexOfActiveFormat(), 1U);
    EXPECT_EQ(log.lines(), Lines {});
}

class Torch : public FormatTest {
protected:
    void constructWithModes(std::vector<int> modes)
    {
        changeCamera([&](Camera& camera) { camera.torchModes = std::move(modes); });
        construct();
    }
};

TEST_F(Torch, SwitchesOnAndOff)
{
    constructWithModes({ 0, 1 });
    EXPECT_TRUE(controller->hasTorch());

    controller->setTorchOn(true);
    EXPECT_TRUE(controller->isTorchOn());
    controller->setTorchOn(false);
    EXPECT_FALSE(controller->isTorchOn());
}

TEST_F(Torch, AnUnsupportedOnIsLoggedWithMode1)
{
    constructWithModes({ 0 });
    controller->setTorchOn(true);

    EXPECT_FALSE(controller->hasTorch());
    EXPECT_EQ(log.lines(), Lines { "[QVCameraController] Torch mode 1 is not supported. Ignored." });
}

TEST_F(Torch, AnUnsupportedOffIsLoggedWithMode0)
{
    constructWithModes({ 1 });
    controller->setTorchOn(true);
    controller->setTorchOn(false);

    EXPECT_TRUE(controller->isTorchOn());
    EXPECT_EQ(log.lines(), Lines { "[QVCameraController] Torch mode 0 is not supported. Ignored." });
}

TEST_F(Torch, AFailedLockIsLogged)
{
    constructWithModes({ 0, 1 });
    phone.failNextLock(NSError("Camera", 5, "Somebody has it."));
    controller->setTorchOn(true);

    EXPECT_FALSE(controller->isTorchOn());
    EXPECT_EQ(log.lines(),
        Lines { "[QVCameraController] Unable to lock camera (Error Domain=Camera Code=5 \"Somebody has it.\")" });
}

}
