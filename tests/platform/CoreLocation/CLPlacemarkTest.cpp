// SPDX-License-Identifier: Apache-2.0
#include "platform/CoreLocation/CLPlacemark.h"

#include "platform/CoreLocation/CLLocation.h"
#include "platform/Foundation/NSKeyedArchiver.h"

#include <gtest/gtest.h>

#include <array>

using namespace velmora;

namespace {

CLPlacemark::Names allNames()
{
    return { .name = "Louvre",
        .subLocality = "1er",
        .locality = "Paris",
        .subAdministrativeArea = "Paris Department",
        .administrativeArea = "Île-de-France",
        .country = "France",
        .isoCountryCode = "FR",
        .areasOfInterest = { { "Musée du Louvre", std::nullopt } } };
}

std::shared_ptr<CLLocation> louvre()
{
    return make<CLLocation>(CLLocation::Reading { .coordinate = { 48.8606, 2.3376 },
        .altitude = 35,
        .horizontalAccuracy = 5,
        .verticalAccuracy = 6,
        .course = 7,
        .speed = 8,
        .timestamp = 9 });
}

template <class T> std::shared_ptr<T> roundTrip(const std::shared_ptr<T>& object)
{
    static const std::array classes { archivable<CLLocation>(), archivable<CLPlacemark>() };
    NSKeyedUnarchiver::registerClasses(classes);
    return NSKeyedUnarchiver::unarchiveObject<T>(NSKeyedArchiver::archivedDataWithRootObject(object)->bytes());
}

}

TEST(Placemark, EqualsAnotherWithTheSameContent)
{
    EXPECT_TRUE(make<CLPlacemark>(allNames(), louvre())->isEqual(make<CLPlacemark>(allNames(), louvre()).get()));
    EXPECT_TRUE(make<CLPlacemark>(allNames())->isEqual(make<CLPlacemark>(allNames()).get()));
}

TEST(Placemark, DiffersWhenAnyNameDiffers)
{
    using Names = CLPlacemark::Names;
    const auto whole = make<CLPlacemark>(allNames());
    for (const auto field : { &Names::name, &Names::subLocality, &Names::locality, &Names::subAdministrativeArea,
             &Names::administrativeArea, &Names::country, &Names::isoCountryCode }) {
        Names names = allNames();
        names.*field = std::nullopt;
        EXPECT_FALSE(whole->isEqual(make<CLPlacemark>(names).get()));
    }
}

TEST(Placemark, DiffersWhenItsAreasOrItsLocationDiffer)
{
    auto names = allNames();
    names.areasOfInterest->pop_back();
    EXPECT_FALSE(make<CLPlacemark>(allNames())->isEqual(make<CLPlacemark>(names).get()));
    EXPECT_FALSE(make<CLPlacemark>(allNames())->isEqual(make<CLPlacemark>(allNames(), louvre()).get()));
    EXPECT_FALSE(make<CLPlacemark>(allNames(), louvre())->isEqual(make<CLPlacemark>(allNames()).get()));
}

TEST(Placemark, EqualsNothingElse)
{
    EXPECT_FALSE(make<CLPlacemark>(allNames())->isEqual(nullptr));
    EXPECT_FALSE(make<CLPlacemark>(allNames())->isEqual(louvre().get()));
}

TEST(Placemark, ComesBackFromAnArchiveWithEveryName)
{
    const auto placemark = make<CLPlacemark>(allNames(), louvre());
    const auto decoded = roundTrip(placemark);
    ASSERT_TRUE(decoded);
    EXPECT_TRUE(placemark->isEqual(decoded.get()));
    EXPECT_EQ(decoded->subAdministrativeArea(), "Paris Department");
    EXPECT_EQ(decoded->areasOfInterest()->at(1), std::nullopt);
}

TEST(Placemark, WithoutNamesComesBackWithoutNames)
{
    const auto decoded = roundTrip(make<CLPlacemark>(CLPlacemark::Names {}));
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->name(), std::nullopt);
    EXPECT_FALSE(decoded->areasOfInterest());
    EXPECT_FALSE(decoded->location());
}

TEST(Placemark, KeepsAnEmptyListOfAreasApartFromNone)
{
    const auto decoded = roundTrip(make<CLPlacemark>(CLPlacemark::Names { .areasOfInterest = { {} } }));
    ASSERT_TRUE(decoded && decoded->areasOfInterest());
    EXPECT_TRUE(decoded->areasOfInterest()->empty());
}

TEST(Placemark, DescribesItselfFromTheLandmarkToTheCountry)
{
    EXPECT_EQ(make<CLPlacemark>(allNames())->description(),
        "Musée du Louvre, Louvre, 1er, Paris, Paris Department, Île-de-France, France");
}

TEST(Placemark, AnswersItsNamesBySelector)
{
    const auto placemark = make<CLPlacemark>(allNames(), louvre());
    EXPECT_EQ(unbox<std::string>(placemark->performSelector("locality")), "Paris");
    EXPECT_EQ(unbox<std::string>(placemark->performSelector("ISOcountryCode")), "FR");
    EXPECT_TRUE(isNil(make<CLPlacemark>(CLPlacemark::Names {})->performSelector("subLocality")));
}

TEST(ArchivedLocation, ComesBackWithEveryReading)
{
    const auto decoded = roundTrip(louvre());
    ASSERT_TRUE(decoded);
    EXPECT_TRUE(decoded->isEqual(louvre().get()));
}

TEST(ArchivedLocation, WithoutCoordinatesIsNil)
{
    struct NoCoordinates : CLLocation {
        using CLLocation::CLLocation;
        void encodeWithCoder(NSCoder& coder) const override { coder.encodeObject(ArchiveValue(1.0), "latitude"); }
    };
    EXPECT_FALSE(roundTrip<CLLocation>(make<NoCoordinates>(1.0, 2.0)));
}

TEST(ArchivedLocation, ReadsWholeDegrees)
{
    struct WholeDegrees : CLLocation {
        using CLLocation::CLLocation;
        void encodeWithCoder(NSCoder& coder) const override
        {
            coder.encodeObject(ArchiveValue(std::int64_t { 48 }), "latitude");
            coder.encodeObject(ArchiveValue(std::int64_t { -2 }), "longitude");
        }
    };
    const auto decoded = roundTrip<CLLocation>(make<WholeDegrees>(1.0, 2.0));
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->coordinate().latitude, 48);
    EXPECT_EQ(decoded->coordinate().longitude, -2);
}
