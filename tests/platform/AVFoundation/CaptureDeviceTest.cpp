// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/DispatchQueue.h"
#include "platform/Foundation/NSNotificationCenter.h"

#include "tests/support/SessionTest.h"

#include <cmath>

using namespace velmora;
using namespace velmora::drivers::phone;
using namespace velmora::tests;

namespace {

PhoneDescription phoneWithFormats()
{
    auto description = smallPhone();
    auto& back = description.cameras[0];
    Format fast = back.formats[0];
    fast.size = fast.highResolutionStill = { 320, 240 };
    fast.frameRates = { { .minimum = 1, .maximum = 240, .shortestFrame = CMTimeMake(1001, 240000) } };
    fast.highestZoom = 4;
    back.formats.push_back(fast);
    return description;
}

class Device : public SessionTest {
protected:
    Device()
        : SessionTest(phoneWithFormats())
    {
    }

    const std::shared_ptr<AVCaptureDevice> back = device("back");
};

TEST_F(Device, ThatIsPluggedInOrGoesIsPostedOnTheMainThread)
{
    std::vector<std::string> posted;
    std::vector<std::shared_ptr<const NSObject>> objects;
    const auto listen = [&](const char* name) {
        return NSNotificationCenter::defaultCenter().addObserver(
            name, nullptr, [&posted, &objects](const NSNotification& notification) {
                posted.push_back(notification.name + (DispatchQueue::main().isCurrent() ? "" : " elsewhere"));
                objects.push_back(notification.object);
            });
    };
    const auto came = listen(AVCaptureDeviceWasConnectedNotification);
    const auto went = listen(AVCaptureDeviceWasDisconnectedNotification);
    phone.change([](PhoneDescription& description) {
        auto other = description.cameras[0];
        other.id = "webcam";
        description.cameras.push_back(other);
    });
    EXPECT_TRUE(posted.empty());
    settle();
    ASSERT_EQ(posted, std::vector<std::string> { "AVCaptureDeviceWasConnectedNotification" });
    EXPECT_EQ(objects[0], device("webcam"));

    phone.unplug("back", 0);
    phone.change([](PhoneDescription& description) { description.microphone = false; });
    settle();
    ASSERT_EQ(posted.size(), 3U);
    EXPECT_EQ(posted[1], "AVCaptureDeviceWasDisconnectedNotification");
    EXPECT_EQ(objects[1], back);
    EXPECT_EQ(posted[2], "AVCaptureDeviceWasDisconnectedNotification");
}

TEST_F(Device, OfADriverThatIsNoLongerInForceIsNotPosted)
{
    int posted = 0;
    const auto token = NSNotificationCenter::defaultCenter().addObserver(
        AVCaptureDeviceWasDisconnectedNotification, nullptr, [&posted](const NSNotification&) { ++posted; });
    const auto driver = CaptureDriver::installed();
    CaptureDriver::install(nullptr);
    phone.unplug("back", 0);
    settle();
    EXPECT_EQ(posted, 0);
    CaptureDriver::install(driver);
    phone.unplug("front", 0);
    settle();
    EXPECT_EQ(posted, 1);
}

TEST_F(Device, IsTheSameObjectHoweverItIsFound)
{
    const auto found = AVCaptureDeviceDiscoverySession::discoverySessionWithDeviceTypes(
        { AVCaptureDeviceTypeBuiltInWideAngleCamera }, AVMediaTypeVideo, AVCaptureDevicePositionBack);

    ASSERT_EQ(found->devices().size(), 1U);
    EXPECT_EQ(found->devices()[0], back);
    EXPECT_EQ(AVCaptureDevice::defaultDeviceWithMediaType(AVMediaTypeVideo), back);
}

TEST_F(Device, IsListedOnceThoughItsTypeIsAskedForTwice)
{
    const std::string wide = AVCaptureDeviceTypeBuiltInWideAngleCamera;
    const auto found = AVCaptureDeviceDiscoverySession::discoverySessionWithDeviceTypes(
        { wide, wide }, AVMediaTypeVideo, AVCaptureDevicePositionUnspecified);

    EXPECT_EQ(found->devices().size(), 2U); // the back and the front one
}

TEST_F(Device, LocksNestAndTheDriverHearsOfTheOuterOnes)
{
    const std::size_t locksBefore = journalled("lock"), unlocksBefore = journalled("unlock");
    EXPECT_TRUE(back->lockForConfiguration());
    EXPECT_TRUE(back->lockForConfiguration());
    back->unlockForConfiguration();
    EXPECT_EQ(journalled("unlock"), unlocksBefore);
    back->unlockForConfiguration();

    EXPECT_EQ(journalled("lock"), locksBefore + 1);
    EXPECT_EQ(journalled("unlock"), unlocksBefore + 1);
}

TEST_F(Device, AFailedLockGivesItsErrorAndTheNextOneSucceeds)
{
    phone.failNextLock(NSError("test", 7));
    std::optional<NSError> error;

    EXPECT_FALSE(back->lockForConfiguration(&error));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code(), 7);
    back->unlockForConfiguration();
    EXPECT_TRUE(back->lockForConfiguration());
}

TEST_F(Device, AnActiveFormatBringsItsShortestFrame)
{
    EXPECT_EQ(back->activeVideoMaxFrameDuration().timescale, 30);
    back->setActiveFormat(back->formats().at(1));

    EXPECT_EQ(back->activeFormat(), back->formats()[1]);
    EXPECT_EQ(back->activeVideoMinFrameDuration().value, 1001);
    EXPECT_EQ(back->activeVideoMaxFrameDuration().timescale, 240000);
}

TEST_F(Device, AFormatOfAnotherDeviceIsLoggedAndIgnored)
{
    const auto before = back->activeFormat();
    back->setActiveFormat(device("front")->activeFormat());

    EXPECT_EQ(back->activeFormat(), before);
    EXPECT_EQ(log.lines().size(), 1U);
}

TEST_F(Device, RefusesAZoomOutsideItsLimitsAndKeepsItsOwn)
{
    back->setVideoZoomFactor(16);
    EXPECT_EQ(back->videoZoomFactor(), 16.0);
    back->setVideoZoomFactor(16.5);
    back->setVideoZoomFactor(0.5);

    EXPECT_EQ(back->videoZoomFactor(), 16.0);
    EXPECT_EQ(log.lines(),
        (std::vector<std::string> { "[AVCaptureDevice] Zoom factor 16.500000 is outside 1 to 16.000000. Ignored.",
            "[AVCaptureDevice] Zoom factor 0.500000 is outside 1 to 16.000000. Ignored." }));
}

TEST_F(Device, RampsItsZoomByDoublingsASecond)
{
    back->rampToVideoZoomFactor(4, 1);
    clock.advance(1);
    EXPECT_NEAR(back->videoZoomFactor(), 2, 0.05);
    EXPECT_TRUE(back->isRampingVideoZoom());

    clock.advance(1.1);
    EXPECT_EQ(back->videoZoomFactor(), 4.0);
    EXPECT_FALSE(back->isRampingVideoZoom());
}

TEST_F(Device, RampsDownwardsToo)
{
    back->setVideoZoomFactor(4);
    back->rampToVideoZoomFactor(1, 2);
    clock.advance(0.5);
    EXPECT_NEAR(back->videoZoomFactor(), 2, 0.1);

    clock.advance(1);
    EXPECT_EQ(back->videoZoomFactor(), 1.0);
}

TEST_F(Device, AnotherZoomEndsARamp)
{
    back->rampToVideoZoomFactor(8, 1);
    clock.advance(0.5);
    back->setVideoZoomFactor(3);
    clock.advance(5);

    EXPECT_EQ(back->videoZoomFactor(), 3.0);
}

TEST_F(Device, KeepsItsISOWhenOnlyTheDurationIsSet)
{
    phone.setReading("back", "ISO", 400);
    settle();
    back->setExposureModeCustomWithDuration(CMTimeMake(1, 50), AVCaptureISOCurrent, nullptr);
    clock.advance(0.2);

    EXPECT_EQ(back->exposureMode(), AVCaptureExposureModeCustom);
    EXPECT_EQ(back->ISO(), 400.0F);
    EXPECT_EQ(CMTimeCompare(back->exposureDuration(), CMTimeMake(1, 50)), 0);
}

TEST_F(Device, KeepsItsDurationWhenOnlyTheISOIsSet)
{
    const CMTime before = back->exposureDuration();
    back->setExposureModeCustomWithDuration(AVCaptureExposureDurationCurrent, 200, nullptr);
    clock.advance(0.2);

    EXPECT_EQ(back->ISO(), 200.0F);
    EXPECT_EQ(CMTimeCompare(back->exposureDuration(), before), 0);
}

TEST_F(Device, RefusesValuesOutsideItsLimits)
{
    back->setExposureModeCustomWithDuration(AVCaptureExposureDurationCurrent, 1e6F, nullptr);
    back->setExposureTargetBias(9, nullptr);
    back->setFocusModeLockedWithLensPosition(1.5F, nullptr);
    back->setFocusModeLockedWithLensPosition(std::nanf(""), nullptr);
    back->setWhiteBalanceModeLockedWithDeviceWhiteBalanceGains({ 1, 0.99F, 1 }, nullptr);
    clock.advance(0.2);

    EXPECT_EQ(back->exposureMode(), AVCaptureExposureModeContinuousAutoExposure);
    EXPECT_EQ(back->exposureTargetBias(), 0.0F);
    EXPECT_EQ(back->focusMode(), AVCaptureFocusModeContinuousAutoFocus);
    EXPECT_EQ(back->whiteBalanceMode(), AVCaptureWhiteBalanceModeContinuousAutoWhiteBalance);
    EXPECT_EQ(log.lines().size(), 5U);
}

TEST_F(Device, CompletesWithTheTimeAtWhichASettingTookEffect)
{
    CMTime time;
    back->setFocusModeLockedWithLensPosition(0.25F, [&](CMTime at) { time = at; });
    EXPECT_FALSE(CMTIME_IS_VALID(time));
    clock.advance(0.5);

    EXPECT_GT(CMTimeGetSeconds(time), 0.0);
    EXPECT_EQ(back->lensPosition(), 0.25F);
}

TEST_F(Device, AnnouncesWhatItReadsWhenItChanges)
{
    std::vector<double> seen;
    const auto token = back->observe("ISO", NSKeyValueObservingOptionNew,
        [&](const NSKeyValueChange& change) { seen.push_back(unbox<double>(change.newValue)); });
    phone.setReading("back", "ISO", 640);
    phone.setReading("back", "ISO", 640);
    phone.setReading("back", "ISO", 800);
    settle();

    EXPECT_EQ(seen, (std::vector<double> { 640, 800 }));
}

TEST_F(Device, AnnouncesTimesAndModes)
{
    int durations = 0, modes = 0;
    const auto first = back->observe("exposureDuration",
        NSKeyValueObservingOptionInitial | NSKeyValueObservingOptionNew, [&](const NSKeyValueChange& change) {
            durations += std::any_cast<CMTime>(change.newValue).timescale > 0 ? 1 : 0;
        });
    const auto second
        = back->observe("focusMode", NSKeyValueObservingOptionNew, [&](const NSKeyValueChange&) { ++modes; });
    const auto third = back->observe("adjustingFocus", NSKeyValueObservingOptionNew, [](const NSKeyValueChange&) {});
    back->setFocusMode(AVCaptureFocusModeLocked);

    EXPECT_EQ(durations, 1);
    EXPECT_EQ(modes, 1);
}

TEST_F(Device, TemperatureToGainsAndBackIsTheTemperature)
{
    for (const float kelvin : { 2000.0F, 3999.0F, 5003.0F, 6504.0F, 7001.0F, 12000.0F }) {
        const auto gains = back->deviceWhiteBalanceGainsForTemperatureAndTintValues({ kelvin, 0 });
        EXPECT_NEAR(back->temperatureAndTintValuesForDeviceWhiteBalanceGains(gains).temperature, kelvin, kelvin * 1e-3);
    }
}

TEST_F(Device, AColderLightNeedsMoreRedAndLessBlue)
{
    const auto warm = back->deviceWhiteBalanceGainsForTemperatureAndTintValues({ 3000, 0 });
    const auto cold = back->deviceWhiteBalanceGainsForTemperatureAndTintValues({ 9000, 0 });

    EXPECT_GT(cold.redGain / cold.greenGain, warm.redGain / warm.greenGain);
    EXPECT_LT(cold.blueGain / cold.greenGain, warm.blueGain / warm.greenGain);
}

TEST_F(Device, CountsAChangeWithoutALockAndMakesItAllTheSame)
{
    back->setTorchMode(AVCaptureTorchModeOn);

    EXPECT_EQ(back->torchMode(), AVCaptureTorchModeOn);
    EXPECT_EQ(phone.journal().back().what, "torchMode 1 without a lock");
}

TEST_F(Device, IsReachedBySelectors)
{
    EXPECT_TRUE(unbox<bool>(back->performSelector("isFocusModeSupported:", AVCaptureFocusModeLocked)));
    back->performSelector("setVideoZoomFactor:", 2.0);
    EXPECT_EQ(unbox<double>(back->valueForKey("videoZoomFactor")), 2.0);
}

TEST_F(Device, AuthorisationIsReadAfresh)
{
    EXPECT_EQ(AVCaptureDevice::authorizationStatusForMediaType(AVMediaTypeVideo), AVAuthorizationStatusAuthorized);
    phone.change([](PhoneDescription& description) { description.permissions.camera = 2; });
    EXPECT_EQ(AVCaptureDevice::authorizationStatusForMediaType(AVMediaTypeVideo), AVAuthorizationStatusDenied);
}

TEST_F(Device, ItsInputMayFailWithBothAnErrorAndAnInput)
{
    phone.fail({ .step = Step::OpenVideoInput, .outcome = Outcome::ErrorWithResult, .error = NSError("test", 3) });
    std::optional<NSError> error;

    EXPECT_NE(AVCaptureDeviceInput::initWithDevice(back, &error), nullptr);
    EXPECT_EQ(error->code(), 3);
}

TEST_F(Device, WithoutOneThereIsAnErrorAndNoInput)
{
    std::optional<NSError> error;

    EXPECT_EQ(AVCaptureDeviceInput::initWithDevice(nullptr, &error), nullptr);
    EXPECT_TRUE(error);
}

}
