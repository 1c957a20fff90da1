// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/AVCaptureVideoPreviewLayer.h"
#include "platform/CoreMedia/CMTime.h"

#include "tests/support/ControllerTest.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace velmora::tests {

using namespace drivers::phone;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

/// A running camera with the limits that the tests name: exposures of 1/1000 to 1/4 s, ISO 50 to 1600, bias -2 to 2.
class ManualControls : public ControllerTest {
protected:
    ManualControls()
    {
        changeCamera([](Camera& camera) {
            Format& format = camera.formats[0];
            format.shortestExposure = CMTimeMake(1, 1000);
            format.longestExposure = CMTimeMake(1, 4);
            format.lowestISO = 50;
            format.highestISO = 1600;
            format.highestZoom = 8;
            camera.lowestBias = -2;
            camera.highestBias = 2;
            camera.highestGain = 4;
        });
        constructAndStart();
        skipped = phone.journal().size();
    }

    void changeCamera(const std::function<void(Camera&)>& edit)
    {
        phone.change([&](PhoneDescription& description) { edit(description.cameras[0]); });
    }
    std::shared_ptr<AVCaptureDevice> device() const { return controller->currentVideoCaptureDevice(); }
    /// What reached the device since the test began, but for what it does by itself.
    Lines changes() const
    {
        Lines found;
        const auto& journal = phone.journal();
        for (std::size_t i = skipped; i < journal.size(); ++i)
            if (!journal[i].what.starts_with("auto "))
                found.push_back(journal[i].what);
        return found;
    }
    /// The device heard nothing, not even a lock.
    void expectUntouched(const std::string& line) const
    {
        EXPECT_THAT(changes(), IsEmpty());
        EXPECT_THAT(log.lines(), ElementsAre(line));
    }
    QVCameraController::DeviceSettingCompletion counting()
    {
        return [this](CMTime time) {
            ++completions;
            completedAt = time;
        };
    }
    /// A frame, or what else the device needs to show a setting.
    void frames() { clock.advance(0.5); }

    std::size_t skipped = 0;
    int completions = 0;
    CMTime completedAt;
};

using TapToFocus = ManualControls;

TEST_F(TapToFocus, SetsThePointAndThenFocusesOnceInsideOneLock)
{
    EXPECT_TRUE(controller->focusOnPoint({ 25, 50 }, { 100, 200 }));
    EXPECT_THAT(changes(), ElementsAre("lock", "focusPoint 0.75 0.25", "focusMode 1", "unlock"));
    EXPECT_EQ(device()->focusPointOfInterest(), CGPointMake(0.75, 0.25));
    EXPECT_EQ(device()->focusMode(), 1);
}

TEST_F(TapToFocus, InPortraitTheTopLeftIsOneZeroAndTheBottomRightIsZeroOne)
{
    controller->focusOnPoint({ 0, 0 }, { 100, 200 });
    EXPECT_EQ(device()->focusPointOfInterest(), CGPointMake(1, 0));
    controller->focusOnPoint({ 100, 200 }, { 100, 200 });
    EXPECT_EQ(device()->focusPointOfInterest(), CGPointMake(0, 1));
}

TEST_F(TapToFocus, APointOfThePreviewLayerIsConvertedByTheLayer)
{
    controller->previewLayer()->setFrame(CGRectMake(0, 0, 300, 600));
    controller->previewLayer()->setVideoGravity(AVLayerVideoGravityResizeAspectFill);
    // The upright picture is 450 points wide: 75 are cropped on either side.
    EXPECT_TRUE(controller->focusOnPreviewLayerPoint({ 37.5, 150 }));
    EXPECT_EQ(device()->focusPointOfInterest(), CGPointMake(0.25, 0.75));
    EXPECT_EQ(device()->focusMode(), 1);
}

TEST_F(TapToFocus, InPortraitUpsideDownThePointIsNotConvertedAndTheCornerIsApplied)
{
    controller->setCaptureOrientation(AVCaptureVideoOrientationPortraitUpsideDown);
    EXPECT_TRUE(controller->focusOnPoint({ 25, 50 }, { 100, 200 }));
    EXPECT_THAT(log.lines(),
        ElementsAre(
            "[QVCameraController] `devicePointInSize` not supported in portrait upside-down. Please implement"));
    EXPECT_EQ(device()->focusPointOfInterest(), CGPointMake(0, 0));
}

TEST_F(TapToFocus, InLandscapeRightThePointIsNotConvertedAndTheCornerIsApplied)
{
    controller->setCaptureOrientation(AVCaptureVideoOrientationLandscapeRight);
    EXPECT_TRUE(controller->focusOnPoint({ 25, 50 }, { 100, 200 }));
    EXPECT_THAT(log.lines(),
        ElementsAre("[QVCameraController] `devicePointInSize` not supported in landscape right. Please implement"));
    EXPECT_EQ(device()->focusPointOfInterest(), CGPointMake(0, 0));
    EXPECT_EQ(device()->focusMode(), 1);
}

TEST_F(TapToFocus, InLandscapeLeftThePointIsNotConvertedAndTheCornerIsApplied)
{
    controller->setCaptureOrientation(AVCaptureVideoOrientationLandscapeLeft);
    EXPECT_TRUE(controller->focusOnPoint({ 25, 50 }, { 100, 200 }));
    EXPECT_THAT(log.lines(),
        ElementsAre("[QVCameraController] `devicePointInSize` not supported in landscape left. Please implement"));
    EXPECT_EQ(device()->focusPointOfInterest(), CGPointMake(0, 0));
}

TEST_F(TapToFocus, AnOrientationThatIsNoneGivesTheCornerWithoutAMessage)
{
    controller->setCaptureOrientation(static_cast<AVCaptureVideoOrientation>(7));
    EXPECT_TRUE(controller->focusOnPoint({ 25, 50 }, { 100, 200 }));
    EXPECT_THAT(log.lines(), IsEmpty());
    EXPECT_EQ(device()->focusPointOfInterest(), CGPointMake(0, 0));
}

TEST_F(TapToFocus, WithoutFocusPointsIsRefused)
{
    changeCamera([](Camera& camera) { camera.focusPoint = false; });
    EXPECT_FALSE(controller->focusOnPoint({ 25, 50 }, { 100, 200 }));
    expectUntouched("[QVCameraController] Device doesn't support focusing. Ignored.");
}

TEST_F(TapToFocus, WithoutSingleAutoFocusIsRefused)
{
    changeCamera([](Camera& camera) { camera.focusModes = { 0, 2 }; });
    EXPECT_FALSE(controller->focusOnPreviewLayerPoint({ 25, 50 }));
    expectUntouched("[QVCameraController] Device doesn't support focusing. Ignored.");
}

TEST_F(TapToFocus, ARefusedOneDoesNotConvertItsPoint)
{
    changeCamera([](Camera& camera) { camera.focusPoint = false; });
    controller->setCaptureOrientation(AVCaptureVideoOrientationLandscapeRight);
    EXPECT_FALSE(controller->focusOnPoint({ 25, 50 }, { 100, 200 }));
    EXPECT_THAT(log.lines(), ElementsAre("[QVCameraController] Device doesn't support focusing. Ignored."));
}

TEST_F(TapToFocus, AnswersYesThoughTheLockFails)
{
    const auto before = device()->focusPointOfInterest();
    phone.failNextLock(NSError("AVFoundationErrorDomain", -11817, "Busy."));
    EXPECT_TRUE(controller->focusOnPoint({ 25, 50 }, { 100, 200 }));
    EXPECT_THAT(log.lines(),
        ElementsAre("[QVCameraController] Unable to lock camera (Error Domain=AVFoundationErrorDomain Code=-11817 "
                    "\"Busy.\")"));
    EXPECT_EQ(device()->focusPointOfInterest(), before);
}

using TapToExpose = ManualControls;

TEST_F(TapToExpose, SetsThePointAndThenExposesContinuouslyInsideOneLock)
{
    EXPECT_TRUE(controller->exposeOnPoint({ 25, 50 }, { 100, 200 }));
    EXPECT_THAT(changes(), ElementsAre("lock", "exposurePoint 0.75 0.25", "exposureMode 2", "unlock"));
    EXPECT_EQ(device()->exposurePointOfInterest(), CGPointMake(0.75, 0.25));
    EXPECT_EQ(device()->exposureMode(), 2);
}

TEST_F(TapToExpose, APointOfThePreviewLayerIsConvertedByTheLayer)
{
    controller->previewLayer()->setFrame(CGRectMake(0, 0, 300, 600));
    controller->previewLayer()->setVideoGravity(AVLayerVideoGravityResizeAspectFill);
    EXPECT_TRUE(controller->exposeOnPreviewLayerPoint({ 37.5, 150 }));
    EXPECT_EQ(device()->exposurePointOfInterest(), CGPointMake(0.25, 0.75));
}

TEST_F(TapToExpose, WithoutExposurePointsIsRefused)
{
    changeCamera([](Camera& camera) { camera.exposurePoint = false; });
    EXPECT_FALSE(controller->exposeOnPoint({ 25, 50 }, { 100, 200 }));
    expectUntouched("[QVCameraController] Device doesn't support exposure. Ignored.");
}

TEST_F(TapToExpose, WithoutContinuousExposureIsRefused)
{
    changeCamera([](Camera& camera) { camera.exposureModes = { 0, 1, 3 }; });
    EXPECT_FALSE(controller->exposeOnPreviewLayerPoint({ 25, 50 }));
    expectUntouched("[QVCameraController] Device doesn't support exposure. Ignored.");
}

TEST_F(TapToExpose, AnswersYesThoughTheLockFails)
{
    phone.failNextLock(NSError("AVFoundationErrorDomain", -11817));
    EXPECT_TRUE(controller->exposeOnPreviewLayerPoint({ 25, 50 }));
    EXPECT_THAT(log.lines(), SizeIs(1));
}

using Focus = ManualControls;

TEST_F(Focus, IsContinuousAutomatic)
{
    controller->lockCurrentFocus();
    controller->useAutoFocus();
    EXPECT_EQ(device()->focusMode(), 2);
}

TEST_F(Focus, AutomaticNeedsTheContinuousMode)
{
    changeCamera([](Camera& camera) { camera.focusModes = { 0, 1 }; });
    controller->useAutoFocus();
    expectUntouched("[QVCameraController] Device doesn't support auto focus. Ignored.");
}

TEST_F(Focus, IsLockedWhereItIs)
{
    const float before = device()->lensPosition();
    controller->lockCurrentFocus();
    EXPECT_EQ(device()->focusMode(), 0);
    EXPECT_EQ(device()->lensPosition(), before);
}

TEST_F(Focus, LockingNeedsTheLockedMode)
{
    changeCamera([](Camera& camera) { camera.focusModes = { 1, 2 }; });
    controller->lockCurrentFocus();
    expectUntouched("[QVCameraController] Device doesn't support locked focus. Ignored.");
}

TEST_F(Focus, ByHandGoesFromZeroToOneAndBothAreAccepted)
{
    controller->useManualFocus(1.0F, counting());
    frames();
    EXPECT_EQ(device()->lensPosition(), 1.0F);
    controller->useManualFocus(0.0F, counting());
    frames();
    EXPECT_EQ(device()->lensPosition(), 0.0F);
    EXPECT_EQ(device()->focusMode(), 0);
    EXPECT_EQ(completions, 2);
    EXPECT_TRUE(CMTIME_IS_NUMERIC(completedAt));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(Focus, ByHandNeedsTheLockedMode)
{
    changeCamera([](Camera& camera) { camera.focusModes = { 1, 2 }; });
    controller->useManualFocus(2.0F, counting()); // the mode is asked for first
    frames();
    expectUntouched("[QVCameraController] Manual focus is not supported on this device.");
    EXPECT_EQ(completions, 0);
}

TEST_F(Focus, ByHandBeyondTheEndsIsRefused)
{
    controller->useManualFocus(1.0001F, counting());
    frames();
    expectUntouched("[QVCameraController] Unsupported lens position 1.000100. Ignoring.");
    log.clear();
    controller->useManualFocus(-0.5F, counting());
    expectUntouched("[QVCameraController] Unsupported lens position -0.500000. Ignoring.");
    EXPECT_EQ(completions, 0);
}

TEST_F(Focus, ByHandWhatIsNotANumberIsRefusedAsALensPosition)
{
    controller->useManualFocus(std::numeric_limits<float>::quiet_NaN(), counting());
    expectUntouched("[QVCameraController] Unsupported lens position nan. Ignoring.");
}

TEST_F(Focus, ACompletionIsNotCalledWhenTheLockFails)
{
    phone.failNextLock(NSError("AVFoundationErrorDomain", -11817));
    controller->useManualFocus(0.25F, counting());
    frames();
    EXPECT_EQ(completions, 0);
}

using Exposure = ManualControls;

TEST_F(Exposure, IsContinuousAutomatic)
{
    controller->lockCurrentExposure();
    controller->useAutoExposure();
    EXPECT_EQ(device()->exposureMode(), 2);
}

TEST_F(Exposure, AutomaticNeedsTheContinuousMode)
{
    changeCamera([](Camera& camera) { camera.exposureModes = { 0, 1, 3 }; });
    controller->useAutoExposure();
    expectUntouched("[QVCameraController] Device doesn't support auto exposure. Ignored.");
}

TEST_F(Exposure, IsLockedAsItIs)
{
    const float before = device()->ISO();
    controller->lockCurrentExposure();
    EXPECT_EQ(device()->exposureMode(), 0);
    EXPECT_EQ(device()->ISO(), before);
}

TEST_F(Exposure, LockingNeedsTheLockedMode)
{
    changeCamera([](Camera& camera) { camera.exposureModes = { 2, 3 }; });
    controller->lockCurrentExposure();
    expectUntouched("[QVCameraController] Device doesn't support locking exposure. Ignored.");
}

TEST_F(Exposure, ShutterSpeedsIncludeTheFormatsLimits)
{
    controller->useManualShutterSpeed(CMTimeMake(1, 1000), counting());
    frames();
    EXPECT_EQ(CMTimeCompare(device()->exposureDuration(), CMTimeMake(1, 1000)), 0);
    controller->useManualShutterSpeed(CMTimeMake(1, 4), counting());
    clock.advance(2);
    EXPECT_EQ(CMTimeCompare(device()->exposureDuration(), CMTimeMake(1, 4)), 0);
    EXPECT_EQ(device()->exposureMode(), 3);
    EXPECT_EQ(completions, 2);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(Exposure, AShutterSpeedKeepsTheISO)
{
    controller->useManualISO(400, nullptr);
    frames();
    controller->useManualShutterSpeed(CMTimeMake(1, 100), nullptr);
    frames();
    EXPECT_EQ(device()->ISO(), 400.0F);
    EXPECT_EQ(CMTimeCompare(device()->exposureDuration(), CMTimeMake(1, 100)), 0);
}

TEST_F(Exposure, ShutterSpeedsBeyondTheFormatsLimitsAreRefused)
{
    controller->useManualShutterSpeed(CMTimeMake(1, 1001), counting());
    frames();
    expectUntouched("[QVCameraController] Unsupported shutter speed {1/1001 = 0.001}. Ignored.");
    log.clear();
    controller->useManualShutterSpeed(CMTimeMake(251, 1000), counting());
    expectUntouched("[QVCameraController] Unsupported shutter speed {251/1000 = 0.251}. Ignored.");
    EXPECT_EQ(completions, 0);
}

TEST_F(Exposure, AnInvalidShutterSpeedIsRefused)
{
    controller->useManualShutterSpeed(kCMTimeInvalid, counting());
    expectUntouched("[QVCameraController] Unsupported shutter speed {INVALID}. Ignored.");
}

TEST_F(Exposure, ShutterSpeedAndISODoNotAskForTheCustomMode)
{
    changeCamera([](Camera& camera) { camera.exposureModes = { 0, 2 }; });
    controller->useManualISO(400, nullptr);
    controller->useManualShutterSpeed(CMTimeMake(1, 100), nullptr);
    EXPECT_EQ(device()->exposureMode(), 3);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(Exposure, ISOsIncludeTheFormatsLimitsAndKeepTheShutterSpeed)
{
    controller->useManualShutterSpeed(CMTimeMake(1, 100), nullptr);
    frames();
    controller->useManualISO(50, counting());
    frames();
    EXPECT_EQ(device()->ISO(), 50.0F);
    controller->useManualISO(1600, counting());
    frames();
    EXPECT_EQ(device()->ISO(), 1600.0F);
    EXPECT_EQ(CMTimeCompare(device()->exposureDuration(), CMTimeMake(1, 100)), 0);
    EXPECT_EQ(completions, 2);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(Exposure, ISOsBeyondTheFormatsLimitsAreRefused)
{
    controller->useManualISO(49.5F, counting());
    expectUntouched("[QVCameraController] Unsupported ISO 49.500000. Ignored.");
    log.clear();
    controller->useManualISO(1600.5F, counting());
    expectUntouched("[QVCameraController] Unsupported ISO 1600.500000. Ignored.");
    log.clear();
    controller->useManualISO(std::numeric_limits<float>::quiet_NaN(), counting());
    frames();
    expectUntouched("[QVCameraController] Unsupported ISO nan. Ignored.");
    EXPECT_EQ(completions, 0);
}

TEST_F(Exposure, ABiasLocksTheExposureInTheSameLock)
{
    controller->setExposureBias(1.5F, counting());
    EXPECT_THAT(changes(), ElementsAre("lock", "exposureMode 0", "exposureTargetBias 1.5", "unlock"));
    frames();
    EXPECT_EQ(device()->exposureMode(), 0);
    EXPECT_EQ(device()->exposureTargetBias(), 1.5F);
    EXPECT_EQ(completions, 1);
}

TEST_F(Exposure, ABiasDoesNotAskForTheLockedMode)
{
    changeCamera([](Camera& camera) { camera.exposureModes = { 2 }; });
    controller->setExposureBias(1, nullptr);
    frames();
    EXPECT_EQ(device()->exposureTargetBias(), 1.0F);
    EXPECT_THAT(log.lines(), testing::Not(testing::Contains(testing::StartsWith("[QVCameraController]"))));
}

TEST_F(Exposure, BiasesIncludeTheDevicesLimits)
{
    controller->setExposureBias(-2, nullptr);
    frames();
    EXPECT_EQ(device()->exposureTargetBias(), -2.0F);
    controller->setExposureBias(2, nullptr);
    frames();
    EXPECT_EQ(device()->exposureTargetBias(), 2.0F);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(Exposure, BiasesBeyondTheDevicesLimitsAreRefusedAndLockNothing)
{
    controller->setExposureBias(2.25F, counting());
    frames();
    expectUntouched("[QVCameraController] Unsupported exposure bias 2.250000. Ignored.");
    EXPECT_EQ(device()->exposureMode(), 2);
    EXPECT_EQ(completions, 0);
}

TEST_F(Exposure, ResettingTheBiasLocksTheExposureToo)
{
    controller->setExposureBias(1, nullptr);
    frames();
    EXPECT_EQ(device()->exposureTargetBias(), 1.0F);
    controller->useAutoExposure();
    controller->resetExposureBias();
    frames();
    EXPECT_EQ(device()->exposureTargetBias(), 0.0F);
    EXPECT_EQ(device()->exposureMode(), 0);
}

class WhiteBalance : public ManualControls {
protected:
    /// What the sensor needs for any temperature.
    void sensorNeeds(AVCaptureWhiteBalanceGains gains)
    {
        changeCamera([gains](Camera& camera) { camera.gains = [gains](float, float) { return gains; }; });
    }
};

TEST_F(WhiteBalance, IsContinuousAutomatic)
{
    controller->useManualTemperature(5000, nullptr);
    controller->useAutoWhiteBalance();
    EXPECT_EQ(device()->whiteBalanceMode(), 2);
}

TEST_F(WhiteBalance, AutomaticNeedsTheContinuousMode)
{
    changeCamera([](Camera& camera) { camera.whiteBalanceModes = { 0 }; });
    controller->useAutoWhiteBalance();
    expectUntouched("[QVCameraController] Device doesn't support auto white balance. Ignored.");
}

TEST_F(WhiteBalance, ATemperatureLocksTheGainsOfThatTemperatureWithoutATint)
{
    std::vector<float> asked;
    changeCamera([&](Camera& camera) {
        camera.gains = [&asked](float kelvin, float tint) {
            asked = { kelvin, tint };
            return AVCaptureWhiteBalanceGains { 1.5F, 1, 2.5F };
        };
    });
    controller->useManualTemperature(4321, counting());
    EXPECT_THAT(asked, ElementsAre(4321.0F, 0.0F));
    frames();
    EXPECT_EQ(device()->deviceWhiteBalanceGains(), (AVCaptureWhiteBalanceGains { 1.5F, 1, 2.5F }));
    EXPECT_EQ(device()->whiteBalanceMode(), 0);
    EXPECT_EQ(completions, 1);
}

TEST_F(WhiteBalance, GainsIncludeOneAndTheDevicesMaximum)
{
    sensorNeeds({ 4, 1, 1 });
    controller->useManualTemperature(5000, nullptr);
    frames();
    EXPECT_EQ(device()->deviceWhiteBalanceGains(), (AVCaptureWhiteBalanceGains { 4, 1, 1 }));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(WhiteBalance, AGainBelowOneIsRefusedAndAllThreeAreLogged)
{
    sensorNeeds({ 2, 0.75F, 1.5F });
    controller->useManualTemperature(5000, counting());
    frames();
    expectUntouched(
        "[QVCameraController] Device doesn't support gain value R: 2.000000 G: 0.750000 B: 1.500000. Ignored.");
    EXPECT_EQ(completions, 0);
}

TEST_F(WhiteBalance, AGainBeyondTheMaximumIsRefusedInEachChannel)
{
    sensorNeeds({ 4.5F, 1, 1 });
    controller->useManualTemperature(5000, nullptr);
    expectUntouched(
        "[QVCameraController] Device doesn't support gain value R: 4.500000 G: 1.000000 B: 1.000000. Ignored.");
    log.clear();
    sensorNeeds({ 1, 1, 4.5F });
    controller->useManualTemperature(5000, nullptr);
    expectUntouched(
        "[QVCameraController] Device doesn't support gain value R: 1.000000 G: 1.000000 B: 4.500000. Ignored.");
}

TEST_F(WhiteBalance, DoesNotAskForTheLockedMode)
{
    changeCamera([](Camera& camera) { camera.whiteBalanceModes = { 2 }; });
    sensorNeeds({ 1.5F, 1, 2.5F });
    controller->useManualTemperature(5000, nullptr);
    frames();
    EXPECT_EQ(device()->deviceWhiteBalanceGains(), (AVCaptureWhiteBalanceGains { 1.5F, 1, 2.5F }));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(WhiteBalance, TheTemperatureOfTheGainsInForceIsTheOneThatTheyWereMadeOf)
{
    for (const float kelvin : { 4000.0F, 5200.0F, 6500.0F }) {
        controller->useManualTemperature(kelvin, nullptr);
        frames();
        EXPECT_NEAR(controller->temperatureForCurrentVideoCaptureDevice(), kelvin, kelvin * 0.005F);
    }
}

using Zoom = ManualControls;

TEST_F(Zoom, IsTheWholePictureAtFirstAndTheFormatsMaximumAtMost)
{
    EXPECT_EQ(controller->currentZoomScale(), 1.0);
    EXPECT_EQ(controller->maximumZoomScale(), 8.0);
}

TEST_F(Zoom, IsSetInsideTheLock)
{
    controller->setZoomScale(2.5);
    EXPECT_THAT(changes(), ElementsAre("lock", "zoomFactor 2.5", "unlock"));
    EXPECT_EQ(controller->currentZoomScale(), 2.5);
}

TEST_F(Zoom, BeyondTheMaximumIsRefusedByTheDevice)
{
    controller->setZoomScale(8.5);
    EXPECT_EQ(controller->currentZoomScale(), 1.0);
    EXPECT_THAT(log.lines(), ElementsAre("[AVCaptureDevice] Zoom factor 8.500000 is outside 1 to 8.000000. Ignored."));
    log.clear();
    controller->setZoomScale(0.5);
    EXPECT_EQ(controller->currentZoomScale(), 1.0);
    EXPECT_THAT(log.lines(), ElementsAre("[AVCaptureDevice] Zoom factor 0.500000 is outside 1 to 8.000000. Ignored."));
}

TEST_F(Zoom, ARampDoublesAtItsRateAndArrives)
{
    controller->rampToZoomScale(4, 1); // one doubling a second: two seconds
    clock.advance(1.01);
    EXPECT_NEAR(controller->currentZoomScale(), 2, 0.06);
    clock.advance(1.1);
    EXPECT_EQ(controller->currentZoomScale(), 4.0);
}

TEST_F(Zoom, IsNotSetWhenTheLockFails)
{
    phone.failNextLock(NSError("AVFoundationErrorDomain", -11817));
    controller->setZoomScale(2);
    EXPECT_EQ(controller->currentZoomScale(), 1.0);
}

TEST_F(ManualControls, NothingHereUsesTheSessionQueue)
{
    controller->focusOnPoint({ 25, 50 }, { 100, 200 });
    controller->useManualISO(400, nullptr);
    controller->setExposureBias(1, nullptr);
    controller->useManualTemperature(5000, nullptr);
    controller->setZoomScale(2);
    const auto& journal = phone.journal();
    for (std::size_t i = skipped; i < journal.size(); ++i)
        EXPECT_EQ(journal[i].queue, "") << journal[i].what;
    EXPECT_GE(journal.size(), skipped + 10);
}

/// A phone with no camera at all.
class ManualControlsWithoutACamera : public ControllerTest {
protected:
    ManualControlsWithoutACamera()
        : ControllerTest(PhoneDescription {})
    {
        construct();
        log.clear();
    }
};

TEST_F(ManualControlsWithoutACamera, AskForWhatIsNotThere)
{
    EXPECT_FALSE(controller->focusOnPoint({ 1, 1 }, { 2, 2 }));
    EXPECT_FALSE(controller->exposeOnPreviewLayerPoint({ 1, 1 }));
    controller->useAutoFocus();
    controller->lockCurrentFocus();
    controller->useManualFocus(0.5F, nullptr);
    controller->useAutoExposure();
    controller->lockCurrentExposure();
    controller->useManualShutterSpeed(CMTimeMake(1, 60), nullptr);
    controller->useManualISO(100, nullptr);
    controller->setExposureBias(1, nullptr);
    controller->useAutoWhiteBalance();
    controller->useManualTemperature(5000, nullptr);
    EXPECT_THAT(log.lines(),
        ElementsAre("[QVCameraController] Device doesn't support focusing. Ignored.",
            "[QVCameraController] Device doesn't support exposure. Ignored.",
            "[QVCameraController] Device doesn't support auto focus. Ignored.",
            "[QVCameraController] Device doesn't support locked focus. Ignored.",
            "[QVCameraController] Manual focus is not supported on this device.",
            "[QVCameraController] Device doesn't support auto exposure. Ignored.",
            "[QVCameraController] Device doesn't support locking exposure. Ignored.",
            "[QVCameraController] Unsupported shutter speed {1/60 = 0.017}. Ignored.",
            "[QVCameraController] Unsupported ISO 100.000000. Ignored.",
            "[QVCameraController] Unsupported exposure bias 1.000000. Ignored.",
            "[QVCameraController] Device doesn't support auto white balance. Ignored.",
            "[QVCameraController] Device doesn't support gain value R: 0.000000 G: 0.000000 B: 0.000000. Ignored."));
}

TEST_F(ManualControlsWithoutACamera, SettingsThatNeedNoSupportFailAtTheLock)
{
    controller->resetExposureBias();
    controller->setZoomScale(2);
    controller->rampToZoomScale(2, 1);
    EXPECT_THAT(log.lines(),
        ElementsAre("[QVCameraController] Unable to lock camera ((null))",
            "[QVCameraController] Unable to lock camera ((null))",
            "[QVCameraController] Unable to lock camera ((null))"));
    EXPECT_EQ(controller->currentZoomScale(), 0.0);
    EXPECT_EQ(controller->maximumZoomScale(), 0.0);
    EXPECT_EQ(controller->temperatureForCurrentVideoCaptureDevice(), 0.0F);
}

/// A camera that names no formats.
TEST_F(ManualControls, WithoutAFormatEveryValidShutterSpeedIsRefusedAndOneOfAllZeroesIsNot)
{
    changeCamera([](Camera& camera) { camera.formats.clear(); });
    construct();
    log.clear();
    controller->useManualShutterSpeed(CMTimeMake(1, 60), nullptr);
    EXPECT_THAT(log.lines(), ElementsAre("[QVCameraController] Unsupported shutter speed {1/60 = 0.017}. Ignored."));
    log.clear();
    controller->useManualShutterSpeed(CMTime {}, nullptr);
    EXPECT_THAT(log.lines(), IsEmpty());
    EXPECT_EQ(controller->maximumZoomScale(), 0.0);
}

TEST_F(ManualControls, EveryOperationIsThereByItsSelector)
{
    const QVCameraController::DeviceSettingCompletion none;
    EXPECT_TRUE(std::any_cast<bool>(
        controller->performSelector("focusOnPoint:inSize:", CGPointMake(25, 50), CGSize { 100, 200 })));
    EXPECT_TRUE(std::any_cast<bool>(
        controller->performSelector("exposeOnPoint:inSize:", CGPointMake(25, 50), CGSize { 100, 200 })));
    EXPECT_TRUE(std::any_cast<bool>(controller->performSelector("focusOnPreviewLayerPoint:", CGPointMake(1, 1))));
    EXPECT_TRUE(std::any_cast<bool>(controller->performSelector("exposeOnPreviewLayerPoint:", CGPointMake(1, 1))));
    EXPECT_EQ(unbox<CGPoint>(controller->performSelector(
                  "_captureDevicePointForPoint:inSize:", CGPointMake(0, 0), CGSize { 100, 200 })),
        CGPointMake(1, 0));
    EXPECT_EQ(
        unbox<CGPoint>(controller->performSelector("_captureDevicePointForPreviewLayerPoint:", CGPointMake(0, 0))),
        CGPointMake(0.5, 0.5)); // a layer without a size
    controller->performSelector("useManualFocus:completion:", 0.25, none);
    controller->performSelector("useManualShutterSpeed:completion:", CMTimeMake(1, 100), none);
    controller->performSelector("useManualISO:completion:", 200, none);
    controller->performSelector("setExposureBias:completion:", 1, none);
    controller->performSelector("useManualTemperature:completion:", 5000, none);
    controller->performSelector("setZoomScale:", 2);
    controller->performSelector("rampToZoomScale:withRate:", 3, 1);
    EXPECT_EQ(unbox<double>(controller->performSelector("currentZoomScale")), 2.0);
    EXPECT_EQ(unbox<double>(controller->performSelector("maximumZoomScale")), 8.0);
    EXPECT_GT(unbox<float>(controller->performSelector("temperatureForCurrentVideoCaptureDevice")), 1000.0F);
    for (const char* selector : { "useAutoFocus", "lockCurrentFocus", "useAutoExposure", "lockCurrentExposure",
             "resetExposureBias", "useAutoWhiteBalance" })
        controller->performSelector(selector);
    EXPECT_EQ(device()->focusMode(), 0);
    EXPECT_EQ(device()->exposureMode(), 0);
    EXPECT_THAT(log.lines(), IsEmpty());
}

}
