// SPDX-License-Identifier: Apache-2.0
#include "drivers/places/OfflinePlaces.h"

#include "platform/CoreLocation/CLGeocoder.h"

#include "drivers/places/install.h"

#include "tests/support/SteppedTest.h"

#include <cmath>
#include <filesystem>
#include <fstream>

using namespace velmora;
using drivers::places::OfflinePlaces;

namespace {

struct Answered {
    std::optional<std::vector<std::shared_ptr<CLPlacemark>>> places;
    std::optional<NSError> error;
    int times = 0;
};

class OfflinePlaceNames : public tests::SteppedTest {
protected:
    /// The tables of the machine are read once for all tests.
    static std::shared_ptr<OfflinePlaces> installed()
    {
        static const auto places = std::make_shared<OfflinePlaces>();
        return places;
    }

    Answered ask(const std::shared_ptr<OfflinePlaces>& places, double latitude, double longitude)
    {
        Answered answered;
        places->reverseGeocode(make<CLLocation>(latitude, longitude), [&answered](auto found, auto error) {
            answered.places = std::move(found);
            answered.error = std::move(error);
            ++answered.times;
        });
        clock.advance(0);
        return answered;
    }

    std::shared_ptr<CLPlacemark> placeAt(double latitude, double longitude)
    {
        const auto answered = ask(installed(), latitude, longitude);
        return answered.places && !answered.places->empty() ? answered.places->front() : nullptr;
    }

    std::string named(double latitude, double longitude)
    {
        const auto place = placeAt(latitude, longitude);
        return place ? place->locality().value_or("no town") + ", " + place->isoCountryCode().value_or("no country")
                     : "nowhere";
    }
};

class OfflinePlaceTables : public OfflinePlaceNames {
protected:
    OfflinePlaceTables() { std::filesystem::create_directories(folder); }
    ~OfflinePlaceTables() override { std::filesystem::remove_all(folder); }

    void write(const std::string& name, const std::string& content) const
    {
        std::ofstream(folder / name, std::ios::binary) << content;
    }
    static std::string place(const std::string& name, const std::string& latitude, const std::string& longitude,
        const std::string& feature, const std::string& population)
    {
        return "1\t" + name + "\t" + name + "\t\t" + latitude + "\t" + longitude + "\tP\t" + feature
            + "\tXX\t\t07\t\t\t\t" + population + "\t\t9\tEurope/Nowhere\t2015-01-01\n";
    }
    void writeAll(const std::string& cities) const
    {
        write("cities15000.txt", cities);
        write("admin1Codes.txt", "XX.07\tHill Country\tHill Country\t5\nshort\n\n");
        write("countryInfo.txt", "# a comment\nXX\tXXX\t1\tXX\tExland\tTown\nXY\tshort\n");
    }
    Answered askTables(double latitude, double longitude)
    {
        return ask(std::make_shared<OfflinePlaces>(folder.string()), latitude, longitude);
    }
    std::string townFrom(const std::string& cities, double latitude, double longitude)
    {
        writeAll(cities);
        const auto answered = askTables(latitude, longitude);
        return answered.places && !answered.places->empty() ? answered.places->front()->locality().value_or("") : "";
    }

    std::filesystem::path folder = std::filesystem::temp_directory_path()
        / ("velmora-places-" + std::to_string(::getpid()) + "-"
            + testing::UnitTest::GetInstance()->current_test_info()->name());
};

}

TEST_F(OfflinePlaceNames, KyotoIsKyoto)
{
    const auto kyoto = placeAt(35.0116, 135.7681);
    ASSERT_TRUE(kyoto);
    EXPECT_EQ(kyoto->locality(), "Kyoto");
    EXPECT_EQ(kyoto->administrativeArea(), "Kyōto");
    EXPECT_EQ(kyoto->country(), "Japan");
    EXPECT_EQ(kyoto->isoCountryCode(), "JP");
}

TEST_F(OfflinePlaceNames, TheEiffelTowerStandsInParis)
{
    EXPECT_EQ(named(48.8584, 2.2945), "Paris, FR");
}

TEST_F(OfflinePlaceNames, TableMountainStandsInCapeTown)
{
    EXPECT_EQ(named(-33.9628, 18.4098), "Cape Town, ZA");
}

TEST_F(OfflinePlaceNames, TheObeliskStandsInBuenosAires)
{
    EXPECT_EQ(named(-34.6037, -58.3816), "Buenos Aires, AR");
}

TEST_F(OfflinePlaceNames, TheOperaHouseStandsInSydney)
{
    EXPECT_EQ(named(-33.8568, 151.2153), "Sydney, AU");
}

TEST_F(OfflinePlaceNames, TheGoldenGateBelongsToSanFrancisco)
{
    EXPECT_EQ(named(37.8078, -122.4750), "San Francisco, US");
}

TEST_F(OfflinePlaceNames, IslandsBesideTheHundredEightiethMeridianHaveNames)
{
    EXPECT_EQ(named(-16.45, 179.36), "Lambasa, FJ");
    EXPECT_EQ(named(-8.53, 179.21), "Funafuti, TV");
}

TEST_F(OfflinePlaceNames, LongitudesMayRunPastTheHundredEightiethMeridian)
{
    EXPECT_EQ(named(-16.45, 179.36 - 360), "Lambasa, FJ");
}

TEST_F(OfflinePlaceNames, APartOfATownIsNamedBesideIt)
{
    const auto marrickville = placeAt(-33.911, 151.155);
    ASSERT_TRUE(marrickville);
    EXPECT_EQ(marrickville->subLocality(), "Marrickville");
    EXPECT_EQ(marrickville->locality(), "Sydney");
    EXPECT_EQ(marrickville->administrativeArea(), "New South Wales");
}

TEST_F(OfflinePlaceNames, OceansHaveNoNames)
{
    EXPECT_EQ(named(30, -40), "nowhere"); // Atlantic
    EXPECT_EQ(named(0, -150), "nowhere"); // Pacific
    EXPECT_EQ(named(-30, 80), "nowhere"); // Indian Ocean
    EXPECT_EQ(named(36, 18.5), "nowhere"); // Mediterranean
    EXPECT_EQ(named(-60, 180), "nowhere"); // Southern Ocean
}

TEST_F(OfflinePlaceNames, APointAtSeaIsAnsweredByAnEmptyListAndNoError)
{
    const auto answered = ask(installed(), 30, -40);
    ASSERT_TRUE(answered.places);
    EXPECT_TRUE(answered.places->empty());
    EXPECT_FALSE(answered.error);
    EXPECT_EQ(answered.times, 1);
}

TEST_F(OfflinePlaceNames, PolesHaveNoNames)
{
    EXPECT_EQ(named(90, 0), "nowhere");
    EXPECT_EQ(named(-90, 0), "nowhere");
}

TEST_F(OfflinePlaceNames, TheSamePlaceIsAnEqualPlaceMarkFromAnotherPoint)
{
    const auto first = placeAt(35.0116, 135.7681), second = placeAt(35.0120, 135.7690);
    ASSERT_TRUE(first && second);
    EXPECT_TRUE(first->isEqual(second.get()));
}

TEST_F(OfflinePlaceNames, ACoordinateThatIsNoneIsAnError)
{
    const auto answered = ask(installed(), NAN, 0);
    EXPECT_FALSE(answered.places);
    EXPECT_TRUE(answered.error);
}

TEST_F(OfflinePlaceNames, AreAnsweredToTheGeocoderOnceInstalled)
{
    const auto before = GeocodingDriver::installed();
    drivers::places::install();
    std::string town;
    make<CLGeocoder>()->reverseGeocodeLocation(make<CLLocation>(35.0116, 135.7681),
        [&](const auto& places, const auto&) { town = places->front()->locality().value_or(""); });
    clock.advance(0);
    GeocodingDriver::install(before);
    EXPECT_EQ(town, "Kyoto");
}

TEST_F(OfflinePlaceNames, NothingIsAnsweredBeforeTheQueueRan)
{
    bool answered = false;
    installed()->reverseGeocode(make<CLLocation>(35.0, 135.0), [&](const auto&, const auto&) { answered = true; });
    EXPECT_FALSE(answered);
    clock.advance(0);
    EXPECT_TRUE(answered);
}

TEST_F(OfflinePlaceTables, MissingTablesAreAnErrorThatSaysWhatToInstall)
{
    const auto answered = askTables(1, 1);
    EXPECT_FALSE(answered.places);
    ASSERT_TRUE(answered.error);
    EXPECT_EQ(answered.error->domain(), NSPOSIXErrorDomain);
    EXPECT_EQ(answered.error->code(), 2);
    EXPECT_NE(answered.error->localizedDescription().find("libtimezonemap-data"), std::string::npos);
    EXPECT_NE(answered.error->localizedDescription().find("cities15000.txt"), std::string::npos);
}

TEST_F(OfflinePlaceTables, TablesThatAppearLaterAreReadAtTheNextQuestion)
{
    const auto places = std::make_shared<OfflinePlaces>(folder.string());
    EXPECT_TRUE(ask(places, 1, 1).error);
    writeAll(place("Town", "1", "1", "PPL", "20000"));
    EXPECT_FALSE(ask(places, 1, 1).error);
}

TEST_F(OfflinePlaceTables, ATableWithoutAnyTownIsAnError)
{
    writeAll("");
    const auto answered = askTables(1, 1);
    ASSERT_TRUE(answered.error);
    EXPECT_EQ(answered.error->domain(), NSCocoaErrorDomain);
}

TEST_F(OfflinePlaceTables, DamagedLinesAreLeftOut)
{
    EXPECT_EQ(townFrom("\n\t\t\t\n1\tShort\tShort\t\t1\t1\n" + place("Nonsense", "one", "1", "PPL", "20000")
                      + place("Beyond", "91", "1", "PPL", "20000") + place("", "1", "1", "PPL", "20000")
                      + place("Whole", "1.1", "1", "PPL", "20000") + "2\tCut off in the mid",
                  1, 1),
        "Whole");
}

TEST_F(OfflinePlaceTables, WindowsLineEndsDoNoHarm)
{
    EXPECT_EQ(townFrom("bad\r\n" + place("Town", "1", "1", "PPL", "20000") + "\r\n", 1, 1), "Town");
}

TEST_F(OfflinePlaceTables, NamesOfRegionAndCountryComeFromTheirTables)
{
    writeAll(place("Town", "1", "1", "PPL", "20000"));
    const auto answered = askTables(1.01, 1);
    ASSERT_TRUE(answered.places && answered.places->size() == 1);
    const auto& town = *answered.places->front();
    EXPECT_EQ(town.name(), "Town");
    EXPECT_EQ(town.administrativeArea(), "Hill Country");
    EXPECT_EQ(town.country(), "Exland");
    EXPECT_EQ(town.isoCountryCode(), "XX");
    EXPECT_EQ(town.subLocality(), std::nullopt);
    EXPECT_EQ(town.location()->coordinate().latitude, 1);
}

TEST_F(OfflinePlaceTables, ALargeCityReachesFartherThanAVillage)
{
    // A degree of latitude is 111 km: 11 km from the city, 7 km from the village.
    const auto both = place("City", "1", "1", "PPL", "2000000") + place("Village", "1.16", "1", "PPL", "15000");
    EXPECT_EQ(townFrom(both, 1.1, 1), "City");
    EXPECT_EQ(townFrom(both, 1.15, 1), "Village");
}

TEST_F(OfflinePlaceTables, FiftyKilometresFromATownItsNameEnds)
{
    const auto town = place("Town", "1", "1", "PPL", "9000000");
    EXPECT_EQ(townFrom(town, 1.449, 1), "Town"); // 49.9 km
    EXPECT_EQ(townFrom(town, 1.451, 1), ""); // 50.1 km
}

TEST_F(OfflinePlaceTables, EachOfManyTownsIsFoundFromEverySide)
{
    std::string towns;
    for (int latitude = -5; latitude <= 5; ++latitude)
        for (int longitude = 175; longitude <= 185; ++longitude)
            towns += place(std::to_string(latitude) + "/" + std::to_string(longitude), std::to_string(latitude),
                std::to_string(longitude > 180 ? longitude - 360 : longitude), "PPL", "20000");
    writeAll(towns);
    const auto places = std::make_shared<OfflinePlaces>(folder.string());
    for (int latitude = -5; latitude <= 5; ++latitude)
        for (int longitude = 175; longitude <= 185; ++longitude)
            for (const auto& [north, east] : { std::pair { 0.4, 0.0 }, { -0.4, 0.0 }, { 0.0, 0.4 }, { 0.0, -0.4 } }) {
                const auto found = ask(places, latitude + north, longitude + east).places;
                ASSERT_TRUE(found && found->size() == 1) << latitude << " " << longitude;
                EXPECT_EQ(found->front()->locality(), std::to_string(latitude) + "/" + std::to_string(longitude));
            }
}

TEST_F(OfflinePlaceTables, ASectionIsNeverATown)
{
    EXPECT_EQ(townFrom(place("Section", "1", "1", "PPLX", "900000") + place("Town", "1.2", "1", "PPL", "20000"), 1, 1),
        "Town");
    EXPECT_EQ(
        townFrom(place("Section", "1", "1", "PPLX", "900000") + place("Far", "9", "1", "PPL", "20000"), 1, 1), "");
}

TEST_F(OfflinePlaceTables, FourKilometresFromASectionItsNameEnds)
{
    writeAll(place("Section", "1", "1", "PPLX", "50000") + place("Town", "1.1", "1", "PPL", "200000"));
    EXPECT_EQ(askTables(1.0355, 1).places->front()->subLocality(), "Section"); // 3.95 km
    EXPECT_EQ(askTables(1.0365, 1).places->front()->subLocality(), std::nullopt); // 4.06 km
}

TEST_F(OfflinePlaceTables, PlacesThatAreNoMoreHaveNoName)
{
    for (const char* feature : { "PPLH", "PPLQ", "PPLW" })
        EXPECT_EQ(
            townFrom(place("Gone", "1", "1", feature, "90000") + place("Here", "1.1", "1", "PPL", "1"), 1, 1), "Here")
            << feature;
}

TEST_F(OfflinePlaceTables, AcrossTheHundredEightiethMeridianATownIsNear)
{
    EXPECT_EQ(townFrom(place("East", "0", "-179.9", "PPL", "20000"), 0, 179.9), "East");
}

TEST_F(OfflinePlaceTables, AtThePoleEveryLongitudeIsNear)
{
    EXPECT_EQ(townFrom(place("Polar", "89.9", "0", "PPL", "20000"), 89.9, 180), "Polar");
    EXPECT_EQ(townFrom(place("Polar", "-89.9", "90", "PPL", "20000"), -89.9, -90), "Polar");
}
