// SPDX-License-Identifier: Apache-2.0
#include "velmora/results/QVLocationProvider.h"

#include "platform/CoreLocation/CLLocation.h"
#include "platform/CoreLocation/CLPlacemark.h"
#include "platform/Foundation/Clock.h"
#include "platform/Foundation/NSRunLoop.h"

#include "drivers/phone/VirtualPhone.h"

#include "tests/support/PhoneTest.h"

#include <atomic>
#include <thread>

using namespace velmora;

namespace {

/// A phone on the machine's own time; the test's thread is the main one.
class LocationProviderThreads : public testing::Test {
protected:
    /// Runs `work` on a few threads while the main run loop turns.
    void whileMainTurns(const std::function<void(int round)>& work, const std::function<void(int turn)>& onMain)
    {
        std::atomic<int> running = 3;
        std::vector<std::thread> threads;
        for (int i = 0; i < 3; ++i)
            threads.emplace_back([&] {
                for (int round = 0; round < 200; ++round)
                    work(round);
                --running;
            });
        for (int turn = 0; running > 0; ++turn) {
            onMain(turn);
            NSRunLoop::mainRunLoop().turn();
        }
        for (auto& thread : threads)
            thread.join();
        drainMain();
    }
    static void drainMain()
    {
        while (NSRunLoop::mainRunLoop().turn()) { }
    }
    /// Turns until `done`; a test that never gets there runs into its time limit.
    static void turnUntil(const std::function<bool()>& done)
    {
        while (!done())
            NSRunLoop::mainRunLoop().turn(1);
    }

    SteadyClock clock;
    drivers::phone::VirtualPhone phone { tests::smallPhone(), clock };
};

}

TEST_F(LocationProviderThreads, StartedAndStoppedFromManyThreadsItStillFollowsTheLastCall)
{
    const auto provider = make<QVLocationProvider>();
    whileMainTurns([&](int round) { round % 2 == 0 ? provider->start() : provider->stop(); },
        [&](int turn) { phone.moveTo({ make<CLLocation>(0.0, 0.001 * (turn % 1000)) }); });

    provider->start();
    phone.moveTo({ make<CLLocation>(48.0, 2.0) });
    turnUntil([&] {
        const auto location = provider->currentLocation();
        return location && location->coordinate().latitude == 48.0;
    });
    provider->stop();
    drainMain();
    EXPECT_TRUE(provider->currentLocation());
}

TEST_F(LocationProviderThreads, NamesAreReadFromAnyThreadWhileTheyChange)
{
    const auto provider = make<QVLocationProvider>();
    std::atomic<int> strange = 0;
    whileMainTurns(
        [&](int) {
            const auto landmark = provider->currentLandmarkName();
            if (landmark && *landmark != "Even" && *landmark != "Odd")
                ++strange;
            static_cast<void>(provider->currentLocaleName());
            static_cast<void>(provider->currentLocation());
            static_cast<void>(provider->locationManager());
        },
        [&](int turn) {
            CLPlacemark::Names names;
            names.locality = turn % 2 == 0 ? "Even" : "Odd";
            provider->setCurrentPlacemark(make<CLPlacemark>(names));
            provider->setCurrentLocation(make<CLLocation>(0.0, 0.0));
        });
    EXPECT_EQ(strange, 0);
}

TEST_F(LocationProviderThreads, MayGoOnAnyThread)
{
    for (int i = 0; i < 20; ++i) {
        auto provider = make<QVLocationProvider>();
        const std::weak_ptr<QVLocationProvider> weak = provider;
        provider->start();
        drainMain();
        phone.moveTo({ make<CLLocation>(0.0, 0.001 * i) });
        std::thread([last = std::move(provider)]() mutable { last = nullptr; }).join();
        turnUntil([&] { return weak.expired(); });
        EXPECT_TRUE(weak.expired());
    }
}
