// SPDX-License-Identifier: Apache-2.0
#include "velmora/results/QVCaptureLocationInfo.h"

#include "platform/Foundation/NSException.h"
#include "platform/Foundation/NSKeyedArchiver.h"

#include <array>
#include <type_traits>

#include "tests/velmora/results/ProviderTest.h"

using namespace velmora;
using tests::park;
using tests::town;

namespace {

std::shared_ptr<CLLocation> here()
{
    return make<CLLocation>(CLLocation::Reading { .coordinate = { 48.8584, 2.2945 }, .timestamp = 7 });
}

template <class T> std::shared_ptr<T> roundTrip(const std::shared_ptr<T>& object)
{
    return NSKeyedUnarchiver::unarchiveObject<T>(NSKeyedArchiver::archivedDataWithRootObject(object)->bytes());
}

/// Archives whatever a test puts under the keys, as a location record.
class ForgedInfo : public QVCaptureLocationInfo {
public:
    explicit ForgedInfo(std::vector<std::pair<std::string, ArchiveValue>> entries)
        : QVCaptureLocationInfo(here())
        , entries_(std::move(entries))
    {
    }
    void encodeWithCoder(NSCoder& coder) const override
    {
        for (const auto& [key, value] : entries_)
            coder.encodeObject(value, key);
    }

private:
    std::vector<std::pair<std::string, ArchiveValue>> entries_;
};

std::shared_ptr<QVCaptureLocationInfo> forged(std::vector<std::pair<std::string, ArchiveValue>> entries)
{
    return roundTrip<QVCaptureLocationInfo>(make<ForgedInfo>(std::move(entries)));
}

ArchiveValue object(std::shared_ptr<NSObject> value)
{
    return value;
}

/// An application's record that is made in its own way.
class MarkedInfo : public QVCaptureLocationInfo {
public:
    explicit MarkedInfo(std::shared_ptr<CLLocation> location)
        : QVCaptureLocationInfo(std::move(location))
    {
        setLocaleName("marked");
    }
    static const ClassInfo& staticClass()
    {
        static constexpr auto classMethods
            = methodTable(initialiser<MarkedInfo, std::shared_ptr<CLLocation>>("initWithLocation:"));
        static const ClassInfo info { "Test.MarkedInfo", &QVCaptureLocationInfo::staticClass(), {}, classMethods };
        return info;
    }
    const ClassInfo& classInfo() const override { return staticClass(); }
};

class CaptureLocationInfo : public tests::ProviderTest { };

}

TEST_F(CaptureLocationInfo, OfALocationHasNoNames)
{
    const auto location = here();
    const auto info = make<QVCaptureLocationInfo>(location);
    EXPECT_EQ(info->location(), location);
    EXPECT_FALSE(info->placemark());
    EXPECT_EQ(info->landmarkName(), std::nullopt);
    EXPECT_EQ(info->localeName(), std::nullopt);
}

TEST_F(CaptureLocationInfo, OfAProviderWithoutALocationIsNil)
{
    provider->setCurrentPlacemark(town("Town"));
    EXPECT_FALSE(QVCaptureLocationInfo::initWithLocationProvider(provider));
}

TEST_F(CaptureLocationInfo, OfAProviderWithoutAPlaceMarkHasItsLocationAlone)
{
    provider->setCurrentLocation(here());
    const auto info = QVCaptureLocationInfo::initWithLocationProvider(provider);
    ASSERT_TRUE(info);
    EXPECT_EQ(info->location(), provider->currentLocation());
    EXPECT_FALSE(info->placemark());
    EXPECT_EQ(info->landmarkName(), std::nullopt);
    EXPECT_EQ(info->localeName(), std::nullopt);
}

TEST_F(CaptureLocationInfo, TheLocaleNameReceivesTheLandmarkName)
{
    provider->setCurrentLocation(here());
    provider->setCurrentPlacemark(park("Champ de Mars", "Paris"));
    const auto info = QVCaptureLocationInfo::initWithLocationProvider(provider);
    EXPECT_EQ(info->landmarkName(), "Champ de Mars");
    EXPECT_EQ(info->localeName(), "Champ de Mars");
    EXPECT_EQ(info->placemark(), provider->currentPlacemark());
}

TEST_F(CaptureLocationInfo, ASubclassIsMadeByItsOwnInitWithLocation)
{
    provider->setCurrentLocation(here());
    const auto info = unbox<std::shared_ptr<QVCaptureLocationInfo>>(
        MarkedInfo::staticClass().performSelector("initWithLocationProvider:", provider));
    EXPECT_TRUE(std::dynamic_pointer_cast<MarkedInfo>(info));
    EXPECT_EQ(info->location(), provider->currentLocation());
}

TEST_F(CaptureLocationInfo, NamesOfTheProviderFollowAfterInitWithLocation)
{
    provider->setCurrentLocation(here());
    const auto info = unbox<std::shared_ptr<QVCaptureLocationInfo>>(
        MarkedInfo::staticClass().performSelector("initWithLocationProvider:", provider));
    EXPECT_EQ(info->localeName(), std::nullopt);
}

TEST_F(CaptureLocationInfo, InitWithLocationProviderAnswersNilBySelectorToo)
{
    EXPECT_TRUE(isNil(QVCaptureLocationInfo::staticClass().performSelector("initWithLocationProvider:", provider)));
}

TEST_F(CaptureLocationInfo, RefusesToBeWithoutALocation)
{
    EXPECT_THROW(make<QVCaptureLocationInfo>(nullptr), NSException);
    const auto info = make<QVCaptureLocationInfo>(here());
    EXPECT_THROW(info->setLocation(nullptr), NSException);
    EXPECT_TRUE(info->location());
}

TEST_F(CaptureLocationInfo, EveryFieldIsReadAndWrittenBySelector)
{
    const auto info = unbox<std::shared_ptr<QVCaptureLocationInfo>>(
        QVCaptureLocationInfo::staticClass().performSelector("initWithLocation:", here()));
    const auto other = make<CLLocation>(1.0, 2.0);
    const auto placemark = town("Town");
    info->performSelector("setLocation:", other);
    info->performSelector("setPlacemark:", placemark);
    info->performSelector("setLandmarkName:", "Landmark");
    info->performSelector("setLocaleName:", "Locale");
    EXPECT_EQ(unbox<std::shared_ptr<CLLocation>>(info->performSelector("location")), other);
    EXPECT_EQ(unbox<std::shared_ptr<CLPlacemark>>(info->performSelector("placemark")), placemark);
    EXPECT_EQ(unbox<std::string>(info->performSelector("landmarkName")), "Landmark");
    EXPECT_EQ(unbox<std::string>(info->performSelector("localeName")), "Locale");
    info->performSelector("setLandmarkName:", nullptr);
    EXPECT_TRUE(isNil(info->performSelector("landmarkName")));
}

TEST(ArchivedLocationInfo, ComesBackWithAllFields)
{
    const auto info = make<QVCaptureLocationInfo>(here());
    info->setPlacemark(park("Champ de Mars", "Paris"));
    info->setLandmarkName("Champ de Mars");
    info->setLocaleName("Paris");
    const auto decoded = roundTrip(info);
    ASSERT_TRUE(decoded);
    EXPECT_TRUE(decoded->location()->isEqual(here().get()));
    EXPECT_TRUE(decoded->placemark()->isEqual(info->placemark().get()));
    EXPECT_EQ(decoded->landmarkName(), "Champ de Mars");
    EXPECT_EQ(decoded->localeName(), "Paris");
}

TEST(ArchivedLocationInfo, WithoutNamesComesBackWithoutNames)
{
    const auto decoded = roundTrip(make<QVCaptureLocationInfo>(here()));
    ASSERT_TRUE(decoded);
    EXPECT_FALSE(decoded->placemark());
    EXPECT_EQ(decoded->landmarkName(), std::nullopt);
    EXPECT_EQ(decoded->localeName(), std::nullopt);
}

TEST(ArchivedLocationInfo, ANumberInPlaceOfTheLandmarkNameIsNoName)
{
    const auto decoded = forged({ { "location", object(here()) }, { "landmarkName", std::int64_t { 7 } },
        { "localeName", std::string("Paris") } });
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->landmarkName(), std::nullopt);
    EXPECT_EQ(decoded->localeName(), "Paris");
}

TEST(ArchivedLocationInfo, AnotherObjectInPlaceOfThePlaceMarkIsNone)
{
    const auto decoded
        = forged({ { "location", object(here()) }, { "localeName", true }, { "placemark", object(here()) } });
    ASSERT_TRUE(decoded);
    EXPECT_FALSE(decoded->placemark());
    EXPECT_EQ(decoded->localeName(), std::nullopt);
}

TEST(ArchivedLocationInfo, WithoutALocationDoesNotDecode)
{
    EXPECT_FALSE(forged({ { "landmarkName", std::string("Paris") } }));
    EXPECT_FALSE(forged({ { "location", ArchiveValue() } }));
    EXPECT_FALSE(forged({ { "location", object(town("Paris")) } }));
    EXPECT_FALSE(forged({ { "location", std::string("Paris") } }));
}

TEST(CaptureLocationInfoDeathTest, PlainInitStopsTheProcess)
{
    static_assert(!std::is_default_constructible_v<QVCaptureLocationInfo>);
    EXPECT_DEATH(
        QVCaptureLocationInfo::staticClass().performSelector("init"), "Velmora.QVCaptureLocationInfo.*init\\(\\)");
}
