// SPDX-License-Identifier: Apache-2.0
#include "platform/CoreLocation/CLLocation.h"
#include "platform/CoreLocation/LocationDriver.h"

#include "drivers/geoclue/install.h"

#include "tests/support/Collected.h"
#include "tests/support/DesktopBus.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velmora::tests {

using Locations = std::vector<std::shared_ptr<CLLocation>>;

/// The service on a bus of the test's own, and what comes of it.
class DesktopLocation : public testing::TestWithParam<const char*> {
protected:
    void SetUp() override
    {
        if (!DesktopBus::isHere())
            return;
        bus = std::make_unique<DesktopBus>(GetParam());
        ASSERT_TRUE(drivers::geoclue::install());
        driver = LocationDriver::installed();
        LocationEvents events;
        events.moved = [to = movedHeld](const Locations& all) { to->add(all.back()); };
        events.failed = [to = toldHeld](const NSError& error) { to->add(error.localizedDescription()); };
        events.authorizationChanged
            = [to = toldHeld](int status) { to->add("authorization " + std::to_string(status)); };
        token = driver->attach(std::move(events));
    }
    void TearDown() override { LocationDriver::install(nullptr); }
    bool isPortal() const { return GetParam() == std::string(DesktopBus::portal); }
    void waitUntilItRuns() const { bus->heard(isPortal() ? "asked" : "started"); }

    std::unique_ptr<DesktopBus> bus;
    std::shared_ptr<LocationDriver> driver;
    Cancellable token;
    const std::shared_ptr<Collected<std::shared_ptr<CLLocation>>> movedHeld
        = std::make_shared<Collected<std::shared_ptr<CLLocation>>>();
    const std::shared_ptr<Collected<std::string>> toldHeld = std::make_shared<Collected<std::string>>();
    Collected<std::shared_ptr<CLLocation>>& moved = *movedHeld;
    Collected<std::string>& told = *toldHeld;
};

INSTANTIATE_TEST_SUITE_P(OfBothServices, DesktopLocation, testing::Values(DesktopBus::geoclue, DesktopBus::portal),
    [](const auto& each) { return each.param == std::string(DesktopBus::portal) ? "Portal" : "GeoClue"; });

TEST_P(DesktopLocation, TellsWhereTheDeviceIs)
{
    EXPECT_EQ(driver->authorizationStatus(), 0) << "nobody was asked yet";
    driver->start();
    waitUntilItRuns();
    ASSERT_TRUE(told.waitFor(1));
    EXPECT_EQ(told.all()[0], "authorization 4");
    bus->tell("at 35.0116 135.7681");
    ASSERT_TRUE(moved.waitFor(1));
    const auto place = moved.all()[0];
    EXPECT_EQ(place->coordinate().latitude, 35.0116);
    EXPECT_EQ(place->coordinate().longitude, 135.7681);
    EXPECT_EQ(place->horizontalAccuracy(), 12);
    EXPECT_EQ(place->altitude(), 35);
    EXPECT_EQ(place->speed(), 1.5);
    EXPECT_EQ(place->course(), 90);
    EXPECT_EQ(place->timestamp(), 1767348000.5 - 978307200);
    driver->stop();
    bus->heard(isPortal() ? "closed" : "stopped");
}

TEST_P(DesktopLocation, IsSilentAfterStopping)
{
    driver->start();
    ASSERT_TRUE(told.waitFor(1));
    driver->stop();
    bus->heard(isPortal() ? "closed" : "stopped");
    bus->tell("at 35.0116 135.7681");
    EXPECT_FALSE(moved.waitFor(1, 0.1));
}

TEST_P(DesktopLocation, TellsOfTheUsersRefusal)
{
    bus->tell("deny");
    driver->start();
    ASSERT_TRUE(told.waitFor(2));
    EXPECT_THAT(told.all(),
        testing::ElementsAre("authorization 2", "The place may not be read; allow it in the system's settings."));
    EXPECT_EQ(driver->authorizationStatus(), 2);
}

TEST_P(DesktopLocation, AsksTheUserBeforeItIsWanted)
{
    driver->requestWhenInUseAuthorization();
    ASSERT_TRUE(told.waitFor(1));
    EXPECT_EQ(driver->authorizationStatus(), 4);
    bus->heard(isPortal() ? "closed" : "stopped");
}

TEST(DesktopLocationElsewhere, NothingIsInstalledOnABusWithoutTheServices)
{
    if (!DesktopBus::isHere())
        return;
    const DesktopBus bus("");
    EXPECT_FALSE(drivers::geoclue::install());
}

}
