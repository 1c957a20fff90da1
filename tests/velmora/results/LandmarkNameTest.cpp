// SPDX-License-Identifier: Apache-2.0
#include "tests/velmora/results/ProviderTest.h"

using namespace velmora;
using tests::park;
using tests::town;

namespace {

using Placemarks = std::vector<std::shared_ptr<CLPlacemark>>;

std::optional<std::string> mostDetailed(const std::optional<Placemarks>& placemarks)
{
    return unbox<std::optional<std::string>>(
        QVLocationProvider::staticClass().performSelector("_mostDetailedNameFromPlacemarks:", placemarks));
}

std::shared_ptr<CLPlacemark> named(CLPlacemark::Names names)
{
    return make<CLPlacemark>(std::move(names));
}

/// An application's provider that shouts.
class LoudProvider : public QVLocationProvider {
public:
    static const ClassInfo& staticClass()
    {
        static constexpr auto classMethods
            = methodTable(classMethod<&LoudProvider::loudName>("_mostDetailedNameFromPlacemarks:"));
        static const ClassInfo info { "Test.LoudProvider", &QVLocationProvider::staticClass(), {}, classMethods };
        return info;
    }
    const ClassInfo& classInfo() const override { return staticClass(); }

private:
    static std::optional<std::string> loudName(const QVLocationProvider::Placemarks& placemarks)
    {
        return mostDetailed(placemarks).value_or("nowhere") + "!";
    }
};

class LandmarkName : public tests::ProviderTest {
protected:
    void fetch(const ClassInfo& from)
    {
        from.performSelector("fetchLandmarkNameForLocation:completion:", here,
            QVLocationProvider::LandmarkNameCompletion(
                [this](std::optional<std::string> name) { names.push_back(std::move(name)); }));
    }

    std::shared_ptr<CLLocation> here = make<CLLocation>(48.8584, 2.2945);
    std::vector<std::optional<std::string>> names;
};

}

TEST(MostDetailedName, OfNoPlaceMarksIsNil)
{
    EXPECT_EQ(mostDetailed(Placemarks {}), std::nullopt);
    EXPECT_EQ(mostDetailed(std::nullopt), std::nullopt);
}

TEST(MostDetailedName, IsTheFirstAreaOfInterestOfTheFirstPlaceMarkThatHasAny)
{
    EXPECT_EQ(mostDetailed(Placemarks {
                  town("Town"), named({ .areasOfInterest = { { "Castle", "Moat" } } }), park("Other", "Town") }),
        "Castle");
}

TEST(MostDetailedName, AnEmptyListOfAreasDoesNotCount)
{
    EXPECT_EQ(
        mostDetailed(Placemarks { named({ .locality = "Town", .areasOfInterest = { {} } }), park("Park", "Town") }),
        "Park");
}

TEST(MostDetailedName, OnceAPlaceMarkWithAreasWasFoundLaterOnesAreNotAskedEvenWhenItsFirstEntryIsNil)
{
    EXPECT_EQ(mostDetailed(Placemarks {
                  town("Town"), named({ .areasOfInterest = { { std::nullopt, "Moat" } } }), park("Park", "Other") }),
        "Town");
}

TEST(MostDetailedName, GoesFromThePartOfATownOverTheTownToTheRegion)
{
    EXPECT_EQ(mostDetailed(
                  Placemarks { named({ .subLocality = "Part", .locality = "Town", .administrativeArea = "Region" }) }),
        "Part");
    EXPECT_EQ(mostDetailed(Placemarks { named({ .locality = "Town", .administrativeArea = "Region" }) }), "Town");
    EXPECT_EQ(mostDetailed(Placemarks { named({ .administrativeArea = "Region", .country = "Land" }) }), "Region");
    EXPECT_EQ(mostDetailed(Placemarks { named({ .name = "Name", .country = "Land" }) }), std::nullopt);
}

TEST(MostDetailedName, WithoutAreasOnlyTheFirstPlaceMarkCounts)
{
    EXPECT_EQ(mostDetailed(Placemarks { named({ .country = "Land" }), town("Town") }), std::nullopt);
}

TEST(MostDetailedName, AnEmptyTextIsAName)
{
    EXPECT_EQ(mostDetailed(Placemarks { named({ .subLocality = "", .locality = "Town" }) }), "");
}

TEST_F(LandmarkName, IsRefinedByASubclass)
{
    const auto loud = make<LoudProvider>();
    loud->setCurrentPlacemark(town("Home"));
    EXPECT_EQ(loud->currentLandmarkName(), "Home!");
}

TEST_F(LandmarkName, OfASubclassWithoutAPlaceMarkIsNil)
{
    EXPECT_EQ(make<LoudProvider>()->currentLandmarkName(), std::nullopt);
}

TEST_F(LandmarkName, OfAnyLocationIsFetched)
{
    answer({ town("Town"), park("Park", "Town") });
    fetch(QVLocationProvider::staticClass());
    EXPECT_TRUE(names.empty());
    clock.advance(0);
    EXPECT_EQ(names, std::vector<std::optional<std::string>> { "Park" });
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(LandmarkName, IsFetchedNatively)
{
    answer({ town("Town") });
    std::optional<std::string> fetched;
    QVLocationProvider::fetchLandmarkNameForLocation(here, [&](const auto& name) { fetched = name; });
    clock.advance(0);
    EXPECT_EQ(fetched, "Town");
}

TEST_F(LandmarkName, IsFetchedThroughTheClassThatWasAsked)
{
    answer({ town("Town") });
    fetch(LoudProvider::staticClass());
    clock.advance(0);
    EXPECT_EQ(names, std::vector<std::optional<std::string>> { "Town!" });
}

TEST_F(LandmarkName, AFailedFetchIsLoggedAndCompletesWithNil)
{
    const NSError error("kCLErrorDomain", 2);
    phone.answerNextGeocode({ .error = error, .delay = 0 });
    fetch(QVLocationProvider::staticClass());
    clock.advance(0);
    EXPECT_EQ(names, std::vector<std::optional<std::string>> { std::nullopt });
    EXPECT_EQ(log.lines(),
        std::vector<std::string> { "[QVLocationProvider] Unable to geocode location " + here->description() + " ("
            + error.description() + ")" });
}

TEST_F(LandmarkName, AnErrorWithPlaceMarksIsLoggedAndCompletesWithTheName)
{
    phone.answerNextGeocode({ .places = { { town("Town") } }, .error = NSError("kCLErrorDomain", 2), .delay = 0 });
    fetch(QVLocationProvider::staticClass());
    clock.advance(0);
    EXPECT_EQ(names, std::vector<std::optional<std::string>> { "Town" });
    EXPECT_EQ(log.lines().size(), 1U);
}

TEST_F(LandmarkName, AFetchTouchesNoProvider)
{
    answer({ town("Town") });
    fetch(QVLocationProvider::staticClass());
    clock.advance(0);
    EXPECT_FALSE(provider->currentPlacemark());
    EXPECT_FALSE(provider->currentLocation());
}
