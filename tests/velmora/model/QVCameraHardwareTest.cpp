// SPDX-License-Identifier: Apache-2.0
#include "velmora/model/QVCameraHardware.h"

#include "velmora/capture/QVCameraController.h"

#include "platform/AVFoundation/AVCaptureDevice.h"
#include "platform/AVFoundation/AVCaptureSession.h"
#include "platform/Foundation/NSRunLoop.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/PhoneTest.h"

#include <gmock/gmock.h>

#include <limits>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace velmora::tests {

using namespace drivers::phone;
using testing::ElementsAre;
using testing::Gt;
using testing::IsEmpty;
using testing::SizeIs;
using Stats = QVCameraHardware::Stats;

namespace {

/// Models live until the process ends; here it stays visible that they do.
std::shared_ptr<QVCameraHardware> kept(std::shared_ptr<QVCameraHardware> model)
{
    static auto* all = new std::vector<std::shared_ptr<QVCameraHardware>>;
    all->push_back(model);
    return model;
}

PhoneDescription wideAndTele()
{
    PhoneDescription description = smallPhone();
    Camera tele = smallCamera("tele");
    tele.type = AVCaptureDeviceTypeBuiltInTelephotoCamera;
    tele.aperture = 2.75F;
    description.cameras.push_back(std::move(tele));
    return description;
}

/// The only field in which two readings differ.
std::string changedField(const Stats& from, const Stats& to)
{
    std::string fields;
    fields += from.preciseISO != to.preciseISO ? "ISO" : "";
    fields += from.aperture != to.aperture ? "aperture" : "";
    fields += from.focussedDistance != to.focussedDistance ? "distance" : "";
    fields += CMTimeCompare(from.exposureDuration, to.exposureDuration) != 0 ? "duration" : "";
    fields += from.exposureOffset != to.exposureOffset ? "offset" : "";
    fields += from.exposureBias != to.exposureBias ? "bias" : "";
    return fields;
}

std::string iso(float precise)
{
    Stats stats;
    stats.preciseISO = precise;
    return stats.displayISO();
}

std::string shutter(const CMTime& duration)
{
    Stats stats;
    stats.exposureDuration = duration;
    return stats.displayShutterSpeed();
}

}

class CameraHardware : public PhoneTest {
protected:
    explicit CameraHardware(PhoneDescription description = wideAndTele())
        : PhoneTest(std::move(description))
        , model(kept(make<QVCameraHardware>(
              AVCaptureDevicePositionBack, QVCameraCaptureIntentStillImage, std::optional<std::string>())))
    {
    }
    /// The model outlives the test, its session must not.
    ~CameraHardware() override
    {
        model->controller()->stopSession();
        settle();
    }

    static void turn() { NSRunLoop::mainRunLoop().turn(); }
    /// Every hand-over has arrived; time stands still.
    void settle() { clock.advance(0); }
    void read(double iso, double lensPosition, double duration, double offset, double bias)
    {
        phone.setReading("back", "ISO", iso);
        phone.setReading("back", "lensPosition", lensPosition);
        phone.setReading("back", "exposureDuration", duration);
        phone.setReading("back", "exposureTargetOffset", offset);
        phone.setReading("back", "exposureTargetBias", bias);
    }
    void setModesToLocked()
    {
        const auto camera = model->controller()->currentVideoCaptureDevice();
        ASSERT_TRUE(camera->lockForConfiguration());
        camera->setFocusMode(AVCaptureFocusModeLocked);
        camera->setExposureMode(AVCaptureExposureModeLocked);
        camera->unlockForConfiguration();
    }

    CapturedLog log;
    std::shared_ptr<QVCameraHardware> model;
};

class CameraHardwareWithoutCamera : public CameraHardware {
protected:
    CameraHardwareWithoutCamera()
        : CameraHardware(PhoneDescription {})
    {
    }
};

TEST_F(CameraHardware, ShowsItsDefaultsUntilTheMainRunLoopTurns)
{
    EXPECT_EQ(model->stats().preciseISO, 123.0F);
    EXPECT_EQ(model->stats().aperture, 4.5F);
    EXPECT_EQ(CMTimeCompare(model->stats().exposureDuration, CMTimeMake(1, 543)), 0);
    EXPECT_EQ(model->stats().exposureOffset, 0.0F);
    EXPECT_EQ(model->stats().exposureBias, 0.0F);
    EXPECT_EQ(model->stats().focussedDistance, 0.5F);
    EXPECT_EQ(model->stats().displayISO(), "200");
    EXPECT_EQ(model->stats().displayShutterSpeed(), "1/750");
    EXPECT_FALSE(model->isRunning());
    EXPECT_EQ(model->deviceOrientation(), 0);
    EXPECT_EQ(model->focusMode(), 2);
    EXPECT_FALSE(model->isAdjustingFocus());
    EXPECT_EQ(model->exposureMode(), 2);
    EXPECT_FALSE(model->isAdjustingExposure());
}

TEST_F(CameraHardware, OnlyTheFlashModeIsTheControllersAtOnce)
{
    EXPECT_EQ(model->flashMode(), AVCaptureFlashModeOff); // not the declared default, which is automatic
}

TEST_F(CameraHardware, MakingItStartsNothing)
{
    settle();
    EXPECT_FALSE(model->controller()->isSessionRunning());
    EXPECT_FALSE(model->isRunning());
}

TEST_F(CameraHardware, TakesTheReadingsOfTheCameraAtTheFirstTurn)
{
    read(320, 0.125, 0.01, -0.25, 0.5);
    setModesToLocked();
    turn();
    EXPECT_EQ(model->stats().preciseISO, 320.0F);
    EXPECT_EQ(model->stats().aperture, 1.8F);
    EXPECT_EQ(model->stats().displayShutterSpeed(), "1/125");
    EXPECT_EQ(model->stats().exposureOffset, -0.25F);
    EXPECT_EQ(model->stats().exposureBias, 0.5F);
    EXPECT_EQ(model->stats().focussedDistance, 0.125F);
    EXPECT_EQ(model->focusMode(), 0);
    EXPECT_EQ(model->exposureMode(), 0);
}

TEST_F(CameraHardware, TakesEverythingInItsOrderAndThenFollowsItInAnother)
{
    read(320, 0.125, 0.01, -0.25, 0.5);
    std::vector<std::string> heard;
    Stats latest = model->stats();
    std::vector<Cancellable> subscriptions;
    const auto watch = [&](const auto& publisher, const std::string& name) {
        subscriptions.push_back(publisher.sink([&heard, name](const auto&) { heard.push_back(name); }));
    };
    watch(model->isRunningPublisher(), "running");
    watch(model->deviceOrientationPublisher(), "orientation");
    watch(model->focusModePublisher(), "focus");
    watch(model->isAdjustingFocusPublisher(), "adjusting focus");
    watch(model->exposureModePublisher(), "exposure");
    watch(model->isAdjustingExposurePublisher(), "adjusting exposure");
    watch(model->flashModePublisher(), "flash");
    subscriptions.push_back(model->statsPublisher().sink(
        [&](const Stats& stats) { heard.push_back(changedField(std::exchange(latest, stats), stats)); }));
    heard.clear();
    // The readings change between the copy and the subscriptions, whose first values are seen by that.
    bool copied = false;
    subscriptions.push_back(model->exposureModePublisher().sink([&](AVCaptureExposureMode) {
        if (std::exchange(copied, true))
            read(640, 0.25, 0.02, 0.25, 1);
    }));

    turn();
    EXPECT_THAT(heard,
        ElementsAre("running", "orientation", "ISO", "aperture", "distance", "duration", "offset", "bias", "focus",
            "exposure", "flash"));
    heard.clear();
    turn();
    EXPECT_THAT(heard,
        ElementsAre("ISO", "distance", "duration", "offset", "bias", "focus", "adjusting focus", "exposure",
            "adjusting exposure"));
}

TEST_F(CameraHardware, WhatTheCameraIsAdjustingNeedsTheSecondTurn)
{
    phone.setReading("back", "adjustingFocus", 1);
    phone.setReading("back", "adjustingExposure", 1);
    turn();
    EXPECT_FALSE(model->isAdjustingFocus());
    EXPECT_FALSE(model->isAdjustingExposure());
    turn();
    EXPECT_TRUE(model->isAdjustingFocus());
    EXPECT_TRUE(model->isAdjustingExposure());
}

TEST_F(CameraHardware, FollowsEachReadingOfTheCamera)
{
    settle();
    phone.setReading("back", "ISO", 800);
    phone.setReading("back", "lensPosition", 0.75);
    phone.setReading("back", "exposureDuration", 0.5);
    phone.setReading("back", "exposureTargetOffset", 1.5);
    phone.setReading("back", "exposureTargetBias", -2);
    phone.setReading("back", "adjustingFocus", 1);
    phone.setReading("back", "adjustingExposure", 1);
    EXPECT_NE(model->stats().preciseISO, 800.0F) << "written before the main run loop turned";
    settle();
    EXPECT_EQ(model->stats().preciseISO, 800.0F);
    EXPECT_EQ(model->stats().focussedDistance, 0.75F);
    EXPECT_EQ(model->stats().displayShutterSpeed(), "1/2");
    EXPECT_EQ(model->stats().exposureOffset, 1.5F);
    EXPECT_EQ(model->stats().exposureBias, -2.0F);
    EXPECT_TRUE(model->isAdjustingFocus());
    EXPECT_TRUE(model->isAdjustingExposure());
}

TEST_F(CameraHardware, FollowsTheModesOfTheCamera)
{
    settle();
    setModesToLocked();
    settle();
    EXPECT_EQ(model->focusMode(), 0);
    EXPECT_EQ(model->exposureMode(), 0);
}

TEST_F(CameraHardware, FollowsTheSession)
{
    model->controller()->startSession();
    EXPECT_FALSE(model->isRunning());
    settle();
    EXPECT_TRUE(model->isRunning());
    model->controller()->stopSession();
    settle();
    EXPECT_FALSE(model->isRunning());
}

TEST_F(CameraHardware, FollowsTheOrientationOfTheDevice)
{
    model->controller()->setDeviceOrientation(UIDeviceOrientationLandscapeLeft);
    settle();
    EXPECT_EQ(model->deviceOrientation(), 3);
}

TEST_F(CameraHardware, FollowsTheFlashModeAndHearsARefusedOneAsTheOldValue)
{
    settle();
    std::vector<AVCaptureFlashMode> heard;
    const auto subscription = model->flashModePublisher().sink([&](AVCaptureFlashMode mode) { heard.push_back(mode); });
    model->controller()->setFlashMode(AVCaptureFlashModeOn);
    phone.change([](PhoneDescription& description) { description.cameras[0].flashModes = { 0 }; });
    model->controller()->setFlashMode(AVCaptureFlashModeAuto);
    settle();
    EXPECT_THAT(heard, ElementsAre(0, 1, 1));
}

TEST_F(CameraHardware, AnotherLensBringsItsApertureAndTheOldCameraIsNotHeardAnyMore)
{
    settle();
    model->controller()->setLensType(QVLensTypeTelephoto);
    settle();
    EXPECT_EQ(model->stats().aperture, 2.75F);
    phone.setReading("tele", "ISO", 400);
    phone.setReading("back", "ISO", 1600);
    settle();
    EXPECT_EQ(model->stats().preciseISO, 400.0F);
}

TEST_F(CameraHardware, AReadingOfTheOldCameraThatWaitsWhenTheLensChangesDoesNotArrive)
{
    settle();
    phone.setReading("tele", "ISO", 400);
    model->controller()->setLensType(QVLensTypeTelephoto);
    phone.setReading("back", "ISO", 1600); // waits behind the change of the lens
    settle();
    EXPECT_EQ(model->stats().preciseISO, 400.0F);
}

TEST_F(CameraHardware, TheApertureIsReadOnlyWhenTheCameraChanges)
{
    settle();
    phone.change([](PhoneDescription& description) { description.cameras[0].aperture = 16; });
    phone.setReading("back", "ISO", 640);
    settle();
    EXPECT_EQ(model->stats().preciseISO, 640.0F);
    EXPECT_EQ(model->stats().aperture, 1.8F);
}

TEST_F(CameraHardware, WithoutACameraTheLastReadingsAndTheOldSubscriptionsStay)
{
    settle();
    phone.setReading("back", "ISO", 640);
    settle();
    model->controller()->setCurrentVideoCaptureDevice(nullptr);
    settle();
    EXPECT_EQ(model->stats().preciseISO, 640.0F);
    phone.setReading("back", "ISO", 50);
    settle();
    EXPECT_EQ(model->stats().preciseISO, 50.0F);
}

TEST_F(CameraHardware, ToldOfNoCameraItTakesTheOneThatIsCurrentByThen)
{
    settle();
    const auto camera = model->controller()->currentVideoCaptureDevice();
    model->controller()->setCurrentVideoCaptureDevice(nullptr);
    model->controller()->setCurrentVideoCaptureDevice(camera);
    int changes = 0;
    const auto object = model->objectWillChange().sink([&] { ++changes; });
    turn();
    EXPECT_EQ(changes, 2 * (6 + 2)); // the readings and the two modes, for either announcement
}

TEST_F(CameraHardwareWithoutCamera, KeepsTheDefaults)
{
    settle();
    EXPECT_EQ(model->stats().displayISO(), "200");
    EXPECT_EQ(model->stats().displayShutterSpeed(), "1/750");
    EXPECT_EQ(model->stats().aperture, 4.5F);
}

TEST_F(CameraHardware, ACameraThatBecomesCurrentAnnouncesEachFieldOfTheReadingsByItself)
{
    settle();
    std::vector<float> isos;
    int changes = 0;
    model->controller()->setLensType(QVLensTypeTelephoto);
    const auto stats = model->statsPublisher().sink([&](const Stats& each) { isos.push_back(each.preciseISO); });
    const auto object = model->objectWillChange().sink([&] { ++changes; });
    turn();
    EXPECT_THAT(isos, SizeIs(1 + 6)); // the present value first
    EXPECT_EQ(changes, 6 + 2); // and the two modes
}

TEST_F(CameraHardware, OneReadingCostsOneAnnouncement)
{
    settle();
    int changes = 0;
    const auto object = model->objectWillChange().sink([&] { ++changes; });
    phone.setReading("back", "ISO", 800);
    settle();
    EXPECT_EQ(changes, 1);
}

TEST_F(CameraHardware, AnnouncesBeforeItChanges)
{
    settle();
    std::vector<float> before;
    const float old = model->stats().preciseISO;
    const auto object = model->objectWillChange().sink([&] { before.push_back(model->stats().preciseISO); });
    phone.setReading("back", "ISO", 800);
    settle();
    EXPECT_THAT(before, ElementsAre(old));
}

TEST_F(CameraHardware, HoldsOnToItself)
{
    settle();
    const std::weak_ptr weak
        = make<QVCameraHardware>(AVCaptureDevicePositionFront, QVCameraCaptureIntentStillImage, std::nullopt);
    EXPECT_FALSE(weak.expired());
    kept(weak.lock());
}

TEST_F(CameraHardware, HandsThePresetToItsController)
{
    const auto other = kept(make<QVCameraHardware>(AVCaptureDevicePositionFront, QVCameraCaptureIntentStillImage,
        std::optional<std::string>(AVCaptureSessionPresetHigh)));
    EXPECT_EQ(model->controller()->captureSessionPreset(), "AVCaptureSessionPresetPhoto");
    EXPECT_EQ(other->controller()->captureSessionPreset(), "AVCaptureSessionPresetHigh");
    EXPECT_EQ(other->controller()->devicePosition(), AVCaptureDevicePositionFront);
}

TEST_F(CameraHardware, WatchesWithoutATimer)
{
    settle();
    int changes = 0;
    const auto object = model->objectWillChange().sink([&] { ++changes; });
    clock.advance(10);
    EXPECT_EQ(changes, 0);
}

TEST(DisplayISO, IsTheSmallestStopThatIsNotBelowTheTruncatedReading)
{
    EXPECT_EQ(iso(0), "5");
    EXPECT_EQ(iso(3), "5");
    EXPECT_EQ(iso(5), "5");
    EXPECT_EQ(iso(5.9F), "5"); // truncated
    EXPECT_EQ(iso(6), "10");
    EXPECT_EQ(iso(10), "10");
    EXPECT_EQ(iso(11), "25");
    EXPECT_EQ(iso(25), "25");
    EXPECT_EQ(iso(26), "50");
    EXPECT_EQ(iso(50), "50");
    EXPECT_EQ(iso(51), "100");
    EXPECT_EQ(iso(100), "100");
    EXPECT_EQ(iso(100.9F), "100");
    EXPECT_EQ(iso(101), "200");
    EXPECT_EQ(iso(123), "200");
    EXPECT_EQ(iso(200), "200");
    EXPECT_EQ(iso(201), "400");
    EXPECT_EQ(iso(400), "400");
    EXPECT_EQ(iso(401), "800");
    EXPECT_EQ(iso(800), "800");
    EXPECT_EQ(iso(801), "1600");
    EXPECT_EQ(iso(1600), "1600");
    EXPECT_EQ(iso(1601), "3200");
    EXPECT_EQ(iso(3200), "3200");
    EXPECT_EQ(iso(3201), "6400");
    EXPECT_EQ(iso(6400), "6400");
    EXPECT_EQ(iso(6401), "12000");
    EXPECT_EQ(iso(12000), "12000");
}

TEST(DisplayISO, BeyondTheLastStopItIs100AndNotTheLastStop)
{
    EXPECT_EQ(iso(12001), "100");
    EXPECT_EQ(iso(102400), "100");
}

TEST(DisplayISO, BelowZeroItIsTheSmallestStop)
{
    EXPECT_EQ(iso(-50), "5");
}

TEST(DisplayISODeathTest, AReadingThatNoIntegerHoldsStopsTheProcess)
{
    EXPECT_DEATH(iso(std::numeric_limits<float>::quiet_NaN()), "The ISO is not a number that can be shown");
    EXPECT_DEATH(iso(std::numeric_limits<float>::infinity()), "The ISO is not a number that can be shown");
    EXPECT_DEATH(iso(9223372036854775808.0F), "The ISO is not a number that can be shown"); // 2^63
}

TEST(DisplayShutterSpeed, IsTheSmallestStopThatIsNotBelowTheRoundedDenominator)
{
    EXPECT_EQ(shutter(CMTimeMake(1, 1)), "1/1");
    EXPECT_EQ(shutter(CMTimeMake(2, 3)), "1/2"); // 1.5 is rounded away from zero
    EXPECT_EQ(shutter(CMTimeMake(1, 2)), "1/2");
    EXPECT_EQ(shutter(CMTimeMake(2, 5)), "1/4"); // 2.5 too, and not to the even 2
    EXPECT_EQ(shutter(CMTimeMake(1, 3)), "1/4");
    EXPECT_EQ(shutter(CMTimeMake(1, 4)), "1/4");
    EXPECT_EQ(shutter(CMTimeMake(1, 5)), "1/8");
    EXPECT_EQ(shutter(CMTimeMake(1, 8)), "1/8");
    EXPECT_EQ(shutter(CMTimeMake(1, 9)), "1/15");
    EXPECT_EQ(shutter(CMTimeMake(1, 15)), "1/15");
    EXPECT_EQ(shutter(CMTimeMake(1, 16)), "1/30");
    EXPECT_EQ(shutter(CMTimeMake(1, 30)), "1/30");
    EXPECT_EQ(shutter(CMTimeMake(1, 31)), "1/60");
    EXPECT_EQ(shutter(CMTimeMake(1, 60)), "1/60");
    EXPECT_EQ(shutter(CMTimeMake(1, 61)), "1/125");
    EXPECT_EQ(shutter(CMTimeMake(1, 125)), "1/125");
    EXPECT_EQ(shutter(CMTimeMake(1, 126)), "1/250");
    EXPECT_EQ(shutter(CMTimeMake(1, 250)), "1/250");
    EXPECT_EQ(shutter(CMTimeMake(1, 251)), "1/500");
    EXPECT_EQ(shutter(CMTimeMake(1, 500)), "1/500");
    EXPECT_EQ(shutter(CMTimeMake(1, 501)), "1/750");
    EXPECT_EQ(shutter(CMTimeMake(1, 543)), "1/750");
    EXPECT_EQ(shutter(CMTimeMake(1, 750)), "1/750");
    EXPECT_EQ(shutter(CMTimeMake(1, 751)), "1/1000");
    EXPECT_EQ(shutter(CMTimeMake(1, 1000)), "1/1000");
    EXPECT_EQ(shutter(CMTimeMake(1, 1001)), "1/2000");
    EXPECT_EQ(shutter(CMTimeMake(1, 2000)), "1/2000");
}

TEST(DisplayShutterSpeed, BeyondTheLastStopItIs125AndNotTheLastStop)
{
    EXPECT_EQ(shutter(CMTimeMake(1, 2001)), "1/125");
    EXPECT_EQ(shutter(CMTimeMake(1, 4000)), "1/125");
}

TEST(DisplayShutterSpeed, NeverShowsWholeSeconds)
{
    EXPECT_EQ(shutter(CMTimeMake(2, 1)), "1/1"); // 0.5 is rounded to 1
    EXPECT_EQ(shutter(CMTimeMake(4, 1)), "1/1"); // 0.25 is rounded to 0, and no stop lies below 1
    EXPECT_EQ(shutter(CMTimeMake(30, 1)), "1/1");
}

TEST(DisplayShutterSpeed, IsEmptyWithoutAValidTime)
{
    EXPECT_EQ(shutter(kCMTimeInvalid), "");
    EXPECT_EQ(shutter(kCMTimeIndefinite), "");
    EXPECT_EQ(shutter(kCMTimePositiveInfinity), "");
}

TEST(DisplayShutterSpeedDeathTest, AnExposureOfNoTimeStopsTheProcess)
{
    EXPECT_DEATH(shutter(kCMTimeZero), "The denominator of the exposure is not a number that can be shown");
}

}
