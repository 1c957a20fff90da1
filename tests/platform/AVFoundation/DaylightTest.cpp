// SPDX-License-Identifier: Apache-2.0
#include "tests/support/SessionTest.h"

using namespace velmora;
using namespace velmora::tests;

namespace {

/// The microphone is the phone's one device that has no conversion of its own: it shows the service's.
class Daylight : public SessionTest {
protected:
    AVCaptureWhiteBalanceGains gains(float kelvin, float tint = 0) const
    {
        return plain->deviceWhiteBalanceGainsForTemperatureAndTintValues({ kelvin, tint });
    }

    const std::shared_ptr<AVCaptureDevice> plain = AVCaptureDevice::defaultDeviceWithMediaType(AVMediaTypeAudio);
};

// Expected values: the CIE's tabulated white points through the Bradford matrix, the smallest gain made 1.

TEST_F(Daylight, MakesD65Neutral)
{
    EXPECT_NEAR(gains(6504).redGain, 1.158, 0.004);
    EXPECT_NEAR(gains(6504).greenGain, 1.047, 0.004);
    EXPECT_FLOAT_EQ(gains(6504).blueGain, 1);
}

TEST_F(Daylight, MakesD50Neutral)
{
    EXPECT_NEAR(gains(5003).redGain, 1.024, 0.004);
    EXPECT_FLOAT_EQ(gains(5003).greenGain, 1);
    EXPECT_NEAR(gains(5003).blueGain, 1.247, 0.004);
}

TEST_F(Daylight, IsContinuousWhereItsCurvesMeet)
{
    for (const float kelvin : { 4000.0F, 7000.0F }) {
        EXPECT_NEAR(gains(kelvin - 0.5F).blueGain, gains(kelvin + 0.5F).blueGain, 0.001);
        EXPECT_NEAR(gains(kelvin - 0.5F).redGain, gains(kelvin + 0.5F).redGain, 0.001);
    }
}

TEST_F(Daylight, FiftyOfTintHalveGreen)
{
    EXPECT_FLOAT_EQ(gains(5003, 50).greenGain, 0.5F);
    EXPECT_FLOAT_EQ(gains(5003, -50).greenGain, 2);
}

TEST_F(Daylight, ComesBackFromItsGains)
{
    for (const float kelvin : { 1600.0F, 2856.0F, 4100.0F, 5003.0F, 7504.0F, 20000.0F }) {
        const auto values = plain->temperatureAndTintValuesForDeviceWhiteBalanceGains(gains(kelvin, 12));
        EXPECT_NEAR(values.temperature, kelvin, kelvin * 1e-3);
        EXPECT_NEAR(values.tint, 12, 0.05);
    }
}

TEST_F(Daylight, ComesBackFromGainsInAnotherScale)
{
    auto scaled = gains(5600);
    scaled.redGain *= 1.7F;
    scaled.greenGain *= 1.7F;
    scaled.blueGain *= 1.7F;

    EXPECT_NEAR(plain->temperatureAndTintValuesForDeviceWhiteBalanceGains(scaled).temperature, 5600, 5);
}

TEST_F(Daylight, ExtremeTemperaturesAnswerTheEndsOfTheCurve)
{
    EXPECT_EQ(gains(100), gains(1500));
    EXPECT_EQ(gains(-3), gains(1500));
    EXPECT_EQ(gains(1e9F), gains(100000));
}

}
