// SPDX-License-Identifier: Apache-2.0
#include "platform/CoreLocation/CLLocationManager.h"

#include "platform/Foundation/DispatchQueue.h"

#include "tests/support/PhoneTest.h"
#include "tests/support/SteppedTest.h"

using namespace velmora;

namespace {

/// Notes what the manager says, and whether it says so on the main queue.
class Listener : public CLLocationManagerDelegate {
public:
    void locationManagerDidChangeAuthorizationStatus(CLLocationManager&, CLAuthorizationStatus status) override
    {
        statuses.push_back(status);
        onMain = onMain && DispatchQueue::main().isCurrent();
    }
    void locationManagerDidFailWithError(CLLocationManager&, const NSError& error) override
    {
        errors.push_back(error.code());
        onMain = onMain && DispatchQueue::main().isCurrent();
    }
    void locationManagerDidUpdateLocations(
        CLLocationManager&, const std::vector<std::shared_ptr<CLLocation>>& locations) override
    {
        batches.push_back(locations);
        onMain = onMain && DispatchQueue::main().isCurrent();
    }

    std::vector<int> statuses;
    std::vector<std::int64_t> errors;
    std::vector<std::vector<std::shared_ptr<CLLocation>>> batches;
    bool onMain = true;
};

class LocationManager : public tests::PhoneTest {
protected:
    std::shared_ptr<CLLocationManager> made()
    {
        auto manager = make<CLLocationManager>();
        manager->setDelegate(listener);
        return manager;
    }
    void permit(int status)
    {
        phone.change([status](auto& description) { description.permissions.location = status; });
    }
    std::size_t journalled(const std::string& what) const
    {
        std::size_t count = 0;
        for (const auto& entry : phone.journal())
            count += entry.what == what && entry.device == "location" ? 1 : 0;
        return count;
    }

    std::shared_ptr<Listener> listener = std::make_shared<Listener>();
};

class NoLocationDriver : public tests::SteppedTest {
protected:
    NoLocationDriver()
        : before(LocationDriver::installed())
    {
        LocationDriver::install(nullptr);
    }
    ~NoLocationDriver() override { LocationDriver::install(before); }

    std::shared_ptr<LocationDriver> before;
};

}

TEST_F(LocationManager, AnnouncesItsAuthorisationOnceAfterItsCreation)
{
    const auto manager = made();
    EXPECT_TRUE(listener->statuses.empty());
    clock.advance(1);
    EXPECT_EQ(listener->statuses, std::vector<int> { 4 });
    EXPECT_TRUE(listener->onMain);
}

TEST_F(LocationManager, SaysNothingAtItsCreationWhereTheDeviceDoesNotAnnounce)
{
    phone.change([](auto& description) { description.permissions.locationAnnouncedAtCreation = false; });
    const auto manager = made();
    clock.advance(1);
    EXPECT_TRUE(listener->statuses.empty());
}

TEST_F(LocationManager, ReadsTheAuthorisationAfresh)
{
    for (const int status : { 0, 1, 2, 3, 4 }) {
        permit(status);
        EXPECT_EQ(CLLocationManager::authorizationStatus(), status);
    }
}

TEST_F(LocationManager, HearsThatTheAuthorisationChanged)
{
    const auto manager = made();
    clock.advance(0);
    permit(2);
    clock.advance(0);
    EXPECT_EQ(listener->statuses, (std::vector<int> { 4, 2 }));
}

TEST_F(LocationManager, DeliversBatchesWholeAndOnTheMainQueue)
{
    const auto manager = made();
    manager->startUpdatingLocation();
    const auto first = make<CLLocation>(1.0, 2.0), second = make<CLLocation>(3.0, 4.0);
    phone.moveTo({ first, second });
    EXPECT_TRUE(listener->batches.empty());
    clock.advance(0);
    ASSERT_FALSE(listener->batches.empty());
    EXPECT_EQ(listener->batches.back(), (std::vector { first, second }));
    EXPECT_TRUE(listener->onMain);
}

TEST_F(LocationManager, DeliversNothingBeforeItWasStarted)
{
    const auto manager = made();
    const auto other = make<CLLocationManager>();
    other->startUpdatingLocation();
    phone.moveTo({ make<CLLocation>(1.0, 2.0) });
    clock.advance(1);
    EXPECT_TRUE(listener->batches.empty());
}

TEST_F(LocationManager, DeliversNothingAfterItWasStopped)
{
    const auto manager = made();
    manager->startUpdatingLocation();
    phone.moveTo({ make<CLLocation>(1.0, 2.0) });
    phone.failLocation(NSError("kCLErrorDomain", 0));
    manager->stopUpdatingLocation();
    clock.advance(1);
    EXPECT_TRUE(listener->batches.empty());
    EXPECT_TRUE(listener->errors.empty());
}

TEST_F(LocationManager, StartsAndStopsTheDeviceOnce)
{
    const auto manager = made();
    manager->startUpdatingLocation();
    manager->startUpdatingLocation();
    EXPECT_EQ(journalled("start"), 1U);
    manager->stopUpdatingLocation();
    manager->stopUpdatingLocation();
    EXPECT_EQ(journalled("stop"), 1U);
}

TEST_F(LocationManager, StopsTheDeviceWhenItGoes)
{
    auto manager = made();
    manager->startUpdatingLocation();
    manager = nullptr;
    EXPECT_EQ(journalled("stop"), 1U);
}

TEST_F(LocationManager, GoneManagersHearNothing)
{
    auto manager = made();
    manager->startUpdatingLocation();
    phone.moveTo({ make<CLLocation>(1.0, 2.0) });
    manager = nullptr;
    clock.advance(1);
    EXPECT_TRUE(listener->batches.empty());
    EXPECT_TRUE(listener->statuses.empty());
}

TEST_F(LocationManager, ReportsCodeOneWhenStartedWhileAccessIsDeniedOrRestricted)
{
    const auto manager = made();
    for (const int status : { 2, 1 }) {
        permit(status);
        manager->startUpdatingLocation();
        clock.advance(0);
    }
    EXPECT_EQ(listener->errors, (std::vector<std::int64_t> { 1, 1 }));
    EXPECT_EQ(journalled("start"), 0U);
}

TEST_F(LocationManager, PassesFailuresOnWhileItUpdates)
{
    const auto manager = made();
    manager->startUpdatingLocation();
    phone.failLocation(NSError("kCLErrorDomain", 7));
    clock.advance(0);
    EXPECT_EQ(listener->errors, std::vector<std::int64_t> { 7 });
    EXPECT_TRUE(listener->onMain);
}

TEST_F(LocationManager, AsksTheUser)
{
    made()->requestWhenInUseAuthorization();
    EXPECT_EQ(journalled("requestWhenInUseAuthorization"), 1U);
}

TEST_F(LocationManager, HoldsItsDelegateWeakly)
{
    const auto manager = made();
    const std::weak_ptr<Listener> weak = listener;
    listener = nullptr;
    EXPECT_TRUE(weak.expired());
    EXPECT_FALSE(manager->delegate());
    clock.advance(1);
}

TEST_F(NoLocationDriver, TheAuthorisationIsNotDetermined)
{
    EXPECT_EQ(CLLocationManager::authorizationStatus(), kCLAuthorizationStatusNotDetermined);
}

TEST_F(NoLocationDriver, AStartIsAnsweredByAFailureThatIsNotDenial)
{
    const auto listener = std::make_shared<Listener>();
    const auto manager = make<CLLocationManager>();
    manager->setDelegate(listener);
    manager->requestWhenInUseAuthorization();
    manager->startUpdatingLocation();
    clock.advance(0);
    EXPECT_EQ(listener->errors, std::vector<std::int64_t> { 0 });
    EXPECT_TRUE(listener->statuses.empty());
}
