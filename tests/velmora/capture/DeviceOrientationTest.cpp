// SPDX-License-Identifier: Apache-2.0
#include "platform/CoreMotion/CMMotionManager.h"

#include "tests/support/ControllerTest.h"

#include <cmath>

namespace velmora::tests {

class DeviceOrientation : public ControllerTest {
protected:
    DeviceOrientation() { constructAndStart(); }

    UIDeviceOrientation after(double x, double y, double z)
    {
        phone.tilt(x, y, z);
        settle();
        return controller->deviceOrientation();
    }
    /// Two equal readings: their average is the reading.
    UIDeviceOrientation heldAt(double x, double y, double z)
    {
        after(x, y, z);
        return after(x, y, z);
    }
};

// The limits are single-precision numbers: 0.4F is a little more than 0.4, 1.4F a little less than 1.4.
constexpr double level = 0.4F, uprightFrom = 0.6F, uprightTo = 1.4F;

TEST_F(DeviceOrientation, IsUnknownUntilTheFirstReading)
{
    EXPECT_EQ(controller->deviceOrientation(), UIDeviceOrientationUnknown);
}

TEST_F(DeviceOrientation, UprightIsPortrait)
{
    EXPECT_EQ(heldAt(0, -1, 0), UIDeviceOrientationPortrait);
}

TEST_F(DeviceOrientation, UpsideDown)
{
    EXPECT_EQ(heldAt(0, 1, 0), UIDeviceOrientationPortraitUpsideDown);
}

TEST_F(DeviceOrientation, PositiveXIsLandscapeRight)
{
    EXPECT_EQ(heldAt(1, 0, 0), UIDeviceOrientationLandscapeRight);
}

TEST_F(DeviceOrientation, NegativeXIsLandscapeLeft)
{
    EXPECT_EQ(heldAt(-1, 0, 0), UIDeviceOrientationLandscapeLeft);
}

TEST_F(DeviceOrientation, PositiveZIsFaceDown)
{
    EXPECT_EQ(heldAt(0, 0, 1), UIDeviceOrientationFaceDown);
}

TEST_F(DeviceOrientation, NegativeZIsFaceUp)
{
    EXPECT_EQ(heldAt(0.1, -0.1, -1), UIDeviceOrientationFaceUp);
}

TEST_F(DeviceOrientation, InBetweenIsUnknown)
{
    heldAt(0, -1, 0);

    EXPECT_EQ(heldAt(0.5, -0.5, 0), UIDeviceOrientationUnknown);
    EXPECT_EQ(heldAt(0, 0, 0), UIDeviceOrientationUnknown);
}

TEST_F(DeviceOrientation, TheFirstReadingIsHalved)
{
    EXPECT_EQ(after(0, -1, 0), UIDeviceOrientationUnknown);
}

TEST_F(DeviceOrientation, AFirstReadingOfTwoIsPortraitForItsHalfIsOne)
{
    EXPECT_EQ(after(0, -2, 0), UIDeviceOrientationPortrait);
}

TEST_F(DeviceOrientation, TheReadingBeforeCountsAndNotTheAverageBefore)
{
    after(0, -2, 0);

    // The mean of -2 and 0.2 is -0.9; with the average before, -1, it would be -0.4.
    EXPECT_EQ(after(0, 0.2, 0), UIDeviceOrientationPortrait);
}

TEST_F(DeviceOrientation, FourTenthsSidewaysIsStillPortrait)
{
    EXPECT_EQ(heldAt(0.4, -1, 0), UIDeviceOrientationPortrait);
    EXPECT_EQ(heldAt(-0.4, -1, 0), UIDeviceOrientationPortrait);
}

TEST_F(DeviceOrientation, TheThresholdItselfIsNotPortrait)
{
    EXPECT_EQ(heldAt(level, -1, 0), UIDeviceOrientationUnknown);
    EXPECT_EQ(heldAt(-level, -1, 0), UIDeviceOrientationUnknown);
}

TEST_F(DeviceOrientation, SixTenthsUprightIsTheLowerThreshold)
{
    EXPECT_EQ(heldAt(0, -uprightFrom, 0), UIDeviceOrientationUnknown);
    EXPECT_EQ(heldAt(0, -std::nextafter(uprightFrom, 1), 0), UIDeviceOrientationPortrait);
    EXPECT_EQ(heldAt(0, -0.6, 0), UIDeviceOrientationUnknown);
}

TEST_F(DeviceOrientation, FourteenTenthsUprightIsTheUpperThreshold)
{
    EXPECT_EQ(heldAt(0, -uprightTo, 0), UIDeviceOrientationUnknown);
    EXPECT_EQ(heldAt(0, -std::nextafter(uprightTo, 0), 0), UIDeviceOrientationPortrait);
    EXPECT_EQ(heldAt(0, -1.4, 0), UIDeviceOrientationUnknown);
}

TEST_F(DeviceOrientation, TheThresholdsHoldUpsideDownAndSidewaysToo)
{
    EXPECT_EQ(heldAt(0, uprightFrom, 0), UIDeviceOrientationUnknown);
    EXPECT_EQ(heldAt(level, 1, 0), UIDeviceOrientationUnknown);
    EXPECT_EQ(heldAt(0.4, 1, 0), UIDeviceOrientationPortraitUpsideDown);
    EXPECT_EQ(heldAt(uprightTo, 0, 0), UIDeviceOrientationUnknown);
    EXPECT_EQ(heldAt(1, level, 0), UIDeviceOrientationUnknown);
    EXPECT_EQ(heldAt(1, -0.4, 0), UIDeviceOrientationLandscapeRight);
    EXPECT_EQ(heldAt(-uprightFrom, 0, 0), UIDeviceOrientationUnknown);
    EXPECT_EQ(heldAt(-1, -level, 0), UIDeviceOrientationUnknown);
    EXPECT_EQ(heldAt(-1, 0.4, 0), UIDeviceOrientationLandscapeLeft);
}

TEST_F(DeviceOrientation, TheThresholdsHoldLyingDownToo)
{
    EXPECT_EQ(heldAt(level, 0, 1), UIDeviceOrientationUnknown);
    EXPECT_EQ(heldAt(0, level, -1), UIDeviceOrientationUnknown);
    EXPECT_EQ(heldAt(0.4, -0.4, 1), UIDeviceOrientationFaceDown);
    EXPECT_EQ(heldAt(0, 0, uprightFrom), UIDeviceOrientationUnknown);
    EXPECT_EQ(heldAt(0, 0, -uprightTo), UIDeviceOrientationUnknown);
    EXPECT_EQ(heldAt(0, 0, -1.3), UIDeviceOrientationFaceUp);
}

TEST_F(DeviceOrientation, EveryReadingIsAnnouncedEqualOrNot)
{
    std::vector<UIDeviceOrientation> seen;
    const auto token = observe(*controller, Property { "deviceOrientation", &QVCameraController::deviceOrientation },
        NSKeyValueObservingOptionInitial | NSKeyValueObservingOptionNew,
        [&](UIDeviceOrientation orientation) { seen.push_back(orientation); });
    after(0, -1, 0);
    after(0, -1, 0);
    after(0, -1, 0);
    after(5, 5, 5);

    EXPECT_EQ(seen,
        (std::vector { UIDeviceOrientationUnknown, UIDeviceOrientationUnknown, UIDeviceOrientationPortrait,
            UIDeviceOrientationPortrait, UIDeviceOrientationUnknown }));
}

TEST_F(DeviceOrientation, AnErrorIsReadAsNoAcceleration)
{
    heldAt(0, -1.8, 0); // beyond the upper threshold
    phone.tilt(0, 0, 0, NSError("Motion", 1));
    settle();

    EXPECT_EQ(controller->deviceOrientation(), UIDeviceOrientationPortrait);
    EXPECT_EQ(log.lines(), Lines {});
}

TEST_F(DeviceOrientation, IsReadEveryFifthOfASecondInSinglePrecision)
{
    EXPECT_EQ(controller->motionManager()->accelerometerUpdateInterval(), 0.20000000298023224);
}

TEST_F(DeviceOrientation, ArrivesOnTheMainQueue)
{
    std::string label;
    const auto token = controller->observe("deviceOrientation", NSKeyValueObservingOptionNew,
        [&](const NSKeyValueChange&) { label = DispatchQueue::currentLabel(); });
    after(0, -1, 0);

    EXPECT_EQ(label, DispatchQueue::main().label());
}

TEST_F(DeviceOrientation, StaysWhenTheSessionWasStopped)
{
    heldAt(0, -1, 0);
    controller->stopSession();

    EXPECT_EQ(heldAt(1, 0, 0), UIDeviceOrientationPortrait);
}

}
