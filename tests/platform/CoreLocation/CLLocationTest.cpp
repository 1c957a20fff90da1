// SPDX-License-Identifier: Apache-2.0
#include "platform/CoreLocation/CLLocation.h"

#include "tests/support/SteppedTest.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace velmora;

namespace {

double metres(double latitude, double longitude, double otherLatitude, double otherLongitude)
{
    return make<CLLocation>(latitude, longitude)->distanceFromLocation(make<CLLocation>(otherLatitude, otherLongitude));
}

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

}

// The expected lengths are those of GeographicLib's GeodSolve.

TEST(Distance, OneDegreeOfTheEquatorIsAnArcOfTheEquatorialRadius)
{
    EXPECT_NEAR(metres(0, 0, 0, 1), 111319.4908, 0.001);
}

TEST(Distance, OneDegreeOfLatitudeIsShorterAtTheEquatorThanAtThePole)
{
    EXPECT_NEAR(metres(0, 0, 1, 0), 110574.3886, 0.001);
    EXPECT_NEAR(metres(89, 0, 90, 0), 111693.8649, 0.001);
}

TEST(Distance, FromEquatorToPoleIsAQuarterOfTheMeridian)
{
    EXPECT_NEAR(metres(0, 17, 90, 0), 10001965.7293, 0.001);
}

TEST(Distance, IsTheSameInBothDirections)
{
    EXPECT_DOUBLE_EQ(metres(35.0116, 135.7681, -33.8568, 151.2153), metres(-33.8568, 151.2153, 35.0116, 135.7681));
}

TEST(Distance, OfAPlaceToItselfIsNothing)
{
    EXPECT_EQ(metres(48.8584, 2.2945, 48.8584, 2.2945), 0);
    EXPECT_EQ(metres(90, 0, 90, 0), 0);
}

TEST(Distance, AtAPoleTheLongitudeDoesNotMatter)
{
    EXPECT_NEAR(metres(90, 0, 90, 120), 0, 0.001);
    EXPECT_NEAR(metres(-90, 10, -90, -170), 0, 0.001);
}

TEST(Distance, CrossesTheHundredEightiethMeridianTheShortWay)
{
    EXPECT_NEAR(metres(0, 179.5, 0, -179.5), 111319.4908, 0.001);
}

TEST(Distance, GoesOverThePoleWhenThatIsShorter)
{
    EXPECT_NEAR(metres(89.5, 0, 89.5, 180), 111693.9509, 0.001);
}

TEST(Distance, OfOppositePointsOnTheEquatorIsHalfAMeridian)
{
    EXPECT_NEAR(metres(0, 0, 0, 180), 20003931.4586, 0.001);
}

TEST(Distance, OfNearlyOppositePointsSettles)
{
    EXPECT_NEAR(metres(0, 0, 0.5, 179.7), 19944127.4208, 0.001);
}

TEST(Distance, OfNearlyOppositePointsAwayFromTheEquatorSettles)
{
    EXPECT_NEAR(metres(-30, 0, 29.9, 179.8), 19989832.8276, 0.001);
}

TEST(Distance, FromKyotoToSydneyIsKnown)
{
    EXPECT_NEAR(metres(35.0116, 135.7681, -33.8568, 151.2153), 7791871.6647, 0.001);
}

TEST(Distance, OfThePolesIsHalfAMeridian)
{
    EXPECT_NEAR(metres(90, 0, -90, 0), 20003931.4586, 0.001);
}

TEST(Distance, WithACoordinateThatIsNoneIsNotANumber)
{
    EXPECT_TRUE(std::isnan(metres(notANumber, 0, 0, 0)));
    EXPECT_TRUE(std::isnan(metres(0, notANumber, 0, 0)));
    EXPECT_TRUE(std::isnan(metres(0, 0, notANumber, 0)));
    EXPECT_TRUE(std::isnan(metres(0, 0, 0, std::numeric_limits<double>::infinity())));
}

TEST(Distance, FromNowhereIsNotANumber)
{
    EXPECT_TRUE(std::isnan(make<CLLocation>(1.0, 2.0)->distanceFromLocation(nullptr)));
}

/// Kilometre-long paths that are known by another way: along a parallel the chord of a circle, along a meridian the
/// ellipse's radius of curvature.
class KilometreDistance : public testing::TestWithParam<double> {
protected:
    static constexpr double radius = 6378137, squaredEccentricity = 0.00669437999014;
};

TEST_P(KilometreDistance, AlongAMeridianFollowsTheRadiusOfCurvature)
{
    const double latitude = GetParam() * M_PI / 180;
    const double curvature = radius * (1 - squaredEccentricity)
        / std::pow(1 - squaredEccentricity * std::sin(latitude) * std::sin(latitude), 1.5);
    const double halfKilometre = 500 / curvature * 180 / M_PI;
    EXPECT_NEAR(metres(GetParam() - halfKilometre, 20, GetParam() + halfKilometre, 20), 1000, 0.01);
}

TEST_P(KilometreDistance, AlongAParallelFollowsItsCircle)
{
    const double latitude = GetParam() * M_PI / 180;
    const double circle
        = radius * std::cos(latitude) / std::sqrt(1 - squaredEccentricity * std::sin(latitude) * std::sin(latitude));
    const double halfKilometre = 500 / circle * 180 / M_PI;
    EXPECT_NEAR(metres(GetParam(), 180 - halfKilometre, GetParam(), halfKilometre - 180), 1000, 0.01);
}

INSTANTIATE_TEST_SUITE_P(Latitudes, KilometreDistance, testing::Values(-80.0, -45.0, -10.0, 0.0, 35.0, 60.0, 85.0));

TEST(Location, EqualsAnotherReadingOfTheSameValues)
{
    const CLLocation::Reading reading { .coordinate = { 48.8584, 2.2945 }, .altitude = 35, .timestamp = 7 };
    auto other = reading;
    other.altitude = 36;
    EXPECT_TRUE(make<CLLocation>(reading)->isEqual(make<CLLocation>(reading).get()));
    EXPECT_FALSE(make<CLLocation>(reading)->isEqual(make<CLLocation>(other).get()));
    EXPECT_FALSE(make<CLLocation>(reading)->isEqual(nullptr));
}

class MadeLocation : public tests::SteppedTest { };

TEST_F(MadeLocation, IsMeasuredNow)
{
    clock.advance(2);
    EXPECT_EQ(make<CLLocation>(1.0, 2.0)->timestamp(), 789015847.0);
}

TEST(Location, DescribesWhatWasRead)
{
    const auto location = make<CLLocation>(CLLocation::Reading { .coordinate = { 48.8584, 2.2945 },
        .horizontalAccuracy = 5,
        .course = 90,
        .speed = 1.5,
        .timestamp = 789015845 });
    EXPECT_EQ(location->description(),
        "<+48.85840000,+2.29450000> +/- 5.00m (speed 1.50 mps / course 90.00) @ 2026-01-02 03:04:05 +0000");
}

TEST(Location, AnswersItsSelectors)
{
    const auto paris = CLLocation::staticClass().performSelector("initWithLatitude:longitude:", 48.8584, 2.2945);
    const auto location = unbox<std::shared_ptr<CLLocation>>(paris);
    EXPECT_EQ(unbox<CLLocationCoordinate2D>(location->performSelector("coordinate")).latitude, 48.8584);
    EXPECT_EQ(unbox<double>(location->performSelector("distanceFromLocation:", location)), 0);
}
