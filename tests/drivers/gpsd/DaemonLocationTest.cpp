// SPDX-License-Identifier: Apache-2.0
#include "platform/CoreLocation/CLLocation.h"
#include "platform/CoreLocation/LocationDriver.h"

#include "drivers/gpsd/install.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/Child.h"
#include "tests/support/Collected.h"
#include "tests/support/NMEAFeed.h"
#include "tests/support/Require.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace velmora::tests {

using Locations = std::vector<std::shared_ptr<CLLocation>>;

/// A gpsd on a port of its own, which reads what the test sends.
class Gpsd : public testing::Test {
protected:
    void SetUp() override
    {
        if (!requirePart("gpsd", drivers::gpsd::isBuilt() && GpsDaemon::isHere()))
            return;
        daemon = std::make_unique<GpsDaemon>();
    }
    void TearDown() override
    {
        if (started)
            driver->stop();
        token.cancel();
        LocationDriver::install(nullptr);
    }
    void begin()
    {
        ASSERT_TRUE(daemon->waitUntilItListens());
        ASSERT_TRUE(drivers::gpsd::install({ "127.0.0.1", daemon->port() }));
        driver = LocationDriver::installed();
        LocationEvents events;
        events.moved = [to = movedHeld](const Locations& all) { to->add(all.back()); };
        events.failed = [to = failuresHeld](const NSError& error) { to->add(error.localizedDescription()); };
        token = driver->attach(std::move(events));
        driver->start();
        started = true;
    }

    /// Says where the receiver is until gpsd believes it: it must learn first which sentence ends a report.
    testing::AssertionResult stand(double latitude, double longitude)
    {
        constexpr int mostFixes = 60;
        constexpr double betweenFixes = 0.1; // seconds
        const auto isThere = [=](const Locations& all) {
            return !all.empty() && std::abs(all.back()->coordinate().latitude - latitude) < 1e-5
                && std::abs(all.back()->coordinate().longitude - longitude) < 1e-5;
        };
        for (int i = 0; i < mostFixes; ++i) {
            daemon->feed().fix(second++ % 60, latitude, longitude);
            if (moved.waitUntil(isThere, betweenFixes))
                return testing::AssertionSuccess();
        }
        return testing::AssertionFailure() << "gpsd told nothing of it";
    }

    CapturedLog log;
    int second = 0;
    std::unique_ptr<GpsDaemon> daemon;
    std::shared_ptr<LocationDriver> driver;
    Cancellable token;
    bool started = false;
    const std::shared_ptr<Collected<std::shared_ptr<CLLocation>>> movedHeld
        = std::make_shared<Collected<std::shared_ptr<CLLocation>>>();
    const std::shared_ptr<Collected<std::string>> failuresHeld = std::make_shared<Collected<std::string>>();
    Collected<std::shared_ptr<CLLocation>>& moved = *movedHeld;
};

TEST_F(Gpsd, AWalkArrivesStepByStep)
{
    ASSERT_NO_FATAL_FAILURE(begin());
    for (int step = 0; step < 5; ++step)
        ASSERT_TRUE(stand(48.8584 + 0.001 * step, 2.2945)) << step;
    ASSERT_TRUE(stand(-33.8568, -151.2153));
}

TEST_F(Gpsd, AFixTellsHeightCourseSpeedTimeAndAccuracy)
{
    ASSERT_NO_FATAL_FAILURE(begin());
    ASSERT_TRUE(stand(48.8584, 2.2945));
    ASSERT_TRUE(stand(48.8585, 2.2946));
    const auto last = moved.all().back();
    EXPECT_NEAR(last->altitude(), 35, 0.01) << "above the sea, not the ellipsoid";
    EXPECT_NEAR(last->speed(), 0.77, 0.01) << "1.5 knots";
    EXPECT_NEAR(last->course(), 45, 0.1);
    EXPECT_GT(last->horizontalAccuracy(), 0);
    EXPECT_NEAR(last->timestamp(), 789042000, 60) << "2026-01-02 10:20 UTC";
}

TEST_F(Gpsd, NothingArrivesAfterStopping)
{
    ASSERT_NO_FATAL_FAILURE(begin());
    ASSERT_TRUE(stand(48.8584, 2.2945));
    driver->stop();
    started = false;
    const auto count = moved.all().size();
    daemon->feed().fix(1, 48.9, 2.3);
    EXPECT_FALSE(moved.waitFor(count + 1, 0.2));
}

TEST_F(Gpsd, ADaemonThatDiesIsFoundAgain)
{
    ASSERT_NO_FATAL_FAILURE(begin());
    ASSERT_TRUE(stand(48.8584, 2.2945));
    daemon->restart();
    ASSERT_TRUE(failuresHeld->waitFor(1));
    EXPECT_THAT(failuresHeld->all()[0], testing::StartsWith("The place is not known, because gpsd at 127.0.0.1:"));
    EXPECT_TRUE(stand(48.9584, 2.2945));
}

TEST_F(Gpsd, WithoutADaemonNothingIsInstalled)
{
    EXPECT_FALSE(drivers::gpsd::install({ "127.0.0.1", "1" }));
    EXPECT_FALSE(LocationDriver::installed());
}

}
