// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/DispatchQueue.h"
#include "platform/Foundation/NSBundle.h"
#include "platform/UIKit/UIApplication.h"

#include <cmath>
#include <limits>

#include "tests/velmora/results/ProviderTest.h"

using namespace velmora;
using tests::park;
using tests::town;

namespace {

class LocationProvider : public tests::ProviderTest { };

/// A provider that updates, with its first location looked up: geocoding is paused.
class TrackingProvider : public LocationProvider {
protected:
    TrackingProvider()
    {
        start();
        answer({ town("Home") });
        moveTo(0);
        forget();
    }
};

/// A location whose distance from (0, 0) is 1000 metres to the last bit.
std::shared_ptr<CLLocation> exactlyAKilometreAway()
{
    const auto origin = make<CLLocation>(0.0, 0.0);
    for (double latitude = 0; latitude < 0.001; latitude += 1e-6) {
        double low = 0, high = 1;
        for (double middle = 0.5; low < middle && middle < high; middle = (low + high) / 2)
            (make<CLLocation>(latitude, middle)->distanceFromLocation(origin) < 1000 ? low : high) = middle;
        const auto there = make<CLLocation>(latitude, high);
        if (there->distanceFromLocation(origin) == 1000.0)
            return there;
    }
    return nullptr;
}

}

// Starting and stopping

TEST_F(LocationProvider, HasNoManagerBeforeTheFirstStart)
{
    EXPECT_FALSE(provider->locationManager());
    start();
    EXPECT_TRUE(provider->locationManager());
}

TEST_F(LocationProvider, StartsAndStopsAtTheNextTurnOfTheMainQueue)
{
    provider->start();
    EXPECT_FALSE(provider->locationManager());
    clock.advance(0);
    EXPECT_EQ(count("start"), 1U);
    provider->stop();
    EXPECT_EQ(count("stop"), 0U);
    clock.advance(0);
    EXPECT_EQ(count("stop"), 1U);
}

TEST_F(LocationProvider, KeepsItsManagerFromStartToStart)
{
    start();
    const auto manager = provider->locationManager();
    start();
    EXPECT_EQ(provider->locationManager(), manager);
}

TEST_F(LocationProvider, AsksTheUserWhenNothingWasDetermined)
{
    permit(0);
    NSBundle::mainBundle()->overrideInformation(
        { { "NSLocationWhenInUseUsageDescription", std::string("Photos remember where they were taken.") } });
    start();
    EXPECT_EQ(count("requestWhenInUseAuthorization"), 1U);
    EXPECT_EQ(count("start"), 0U);
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(LocationProvider, AMissingUsageDescriptionIsLoggedAndTheUserIsAskedAnyway)
{
    permit(0);
    start();
    EXPECT_EQ(log.lines(),
        std::vector<std::string> { "[QVLocationProvider] Missing NSLocationWhenInUseUsageDescription key in Info.plist "
                                   "- location manager won't work." });
    EXPECT_EQ(count("requestWhenInUseAuthorization"), 1U);
}

TEST_F(LocationProvider, StartsUpdatingWhenTheUserAllowsTheUseWhileInUse)
{
    permit(0);
    start();
    permit(4);
    EXPECT_EQ(count("start"), 1U);
}

TEST_F(LocationProvider, ADeniedProviderStartsUpdatingAllTheSameAndHearsTheFailure)
{
    phone.change([](auto& description) { description.permissions.locationAnnouncedAtCreation = false; });
    permit(2);
    start();
    EXPECT_EQ(log.lines(), std::vector<std::string> { "[QVLocationProvider] Stopping. User denied location access." });
    EXPECT_EQ(count("requestWhenInUseAuthorization"), 0U);
}

TEST_F(LocationProvider, AlwaysAllowedAccessStopsTracking)
{
    start();
    permit(3);
    EXPECT_EQ(count("stop"), 1U);
    moveTo(0);
    EXPECT_FALSE(provider->currentLocation());
}

TEST_F(LocationProvider, TheAnnouncementAfterItsCreationStopsAManagerThatIsAlwaysAllowed)
{
    permit(3);
    start();
    EXPECT_EQ(count("start"), 1U);
    EXPECT_EQ(count("stop"), 1U);
}

TEST_F(LocationProvider, AccessWhileInUseWithoutTrackingStops)
{
    start();
    provider->stop();
    clock.advance(0);
    provider->locationManager()->startUpdatingLocation();
    permit(0);
    forget();
    permit(4);
    EXPECT_EQ(count("start"), 0U);
    EXPECT_EQ(count("stop"), 1U);
}

TEST_F(LocationProvider, AnUndeterminedAuthorisationDoesNothing)
{
    start();
    permit(0);
    EXPECT_EQ(count("stop"), 0U);
}

TEST_F(LocationProvider, RestrictedAccessStopsTracking)
{
    start();
    permit(1);
    EXPECT_EQ(count("stop"), 1U);
}

TEST_F(TrackingProvider, StopKeepsLocationAndPlaceMark)
{
    provider->stop();
    clock.advance(0);
    EXPECT_TRUE(provider->currentLocation());
    EXPECT_EQ(provider->currentLocaleName(), "Home");
}

// Location failures

TEST_F(TrackingProvider, TheFifthFailureStopsAndTheFirstFourAreSurvived)
{
    for (int i = 0; i < 4; ++i)
        failLocation(0);
    EXPECT_EQ(count("stop"), 0U);
    failLocation(0);
    EXPECT_EQ(count("stop"), 1U);
}

TEST_F(TrackingProvider, EveryLaterFailureStopsAgain)
{
    for (int i = 0; i < 5; ++i)
        failLocation(0);
    provider->locationManager()->startUpdatingLocation();
    failLocation(0);
    EXPECT_EQ(count("stop"), 2U);
}

TEST_F(TrackingProvider, FailuresAreLoggedEachTime)
{
    failLocation(0);
    failLocation(7);
    EXPECT_EQ(log.lines(),
        (std::vector<std::string> {
            "[QVLocationProvider] Failed to get location: " + NSError("kCLErrorDomain", 0).description(),
            "[QVLocationProvider] Failed to get location: " + NSError("kCLErrorDomain", 7).description() }));
}

TEST_F(TrackingProvider, CodeOneStopsAtOnce)
{
    failLocation(1);
    EXPECT_EQ(log.lines(), std::vector<std::string> { "[QVLocationProvider] Stopping. User denied location access." });
    EXPECT_EQ(count("stop"), 1U);
}

TEST_F(TrackingProvider, CodeOneStopsAtOnceWhateverTheDomain)
{
    phone.failLocation(NSError("SomebodyElse", 1));
    clock.advance(0);
    EXPECT_EQ(log.lines(), std::vector<std::string> { "[QVLocationProvider] Stopping. User denied location access." });
    EXPECT_EQ(count("stop"), 1U);
}

TEST_F(TrackingProvider, AStartForgetsTheFailures)
{
    for (int i = 0; i < 4; ++i)
        failLocation(0);
    start();
    for (int i = 0; i < 4; ++i)
        failLocation(0);
    EXPECT_EQ(count("stop"), 0U);
}

// Updates and geocoding

TEST_F(TrackingProvider, TheLastLocationOfABatchCounts)
{
    const auto last = make<CLLocation>(0.0, 0.001);
    phone.moveTo({ make<CLLocation>(50.0, 8.0), last });
    clock.advance(0);
    EXPECT_EQ(provider->currentLocation(), last);
}

TEST_F(TrackingProvider, TheLocationIsStoredEvenWhenNothingIsLookedUp)
{
    const auto near = make<CLLocation>(0.0, 0.001);
    moveTo(near);
    EXPECT_EQ(geocodes(), 0U);
    EXPECT_EQ(provider->currentLocation(), near);
}

TEST_F(TrackingProvider, TheFirstUpdateWithoutAPreviousLocationIsLookedUpEvenWhilePaused)
{
    provider->setCurrentLocation(nullptr);
    moveTo(1);
    EXPECT_EQ(geocodes(), 1U);
}

TEST_F(TrackingProvider, NineHundredAndNinetyNineMetresWhilePausedAreNotLookedUp)
{
    moveTo(999);
    EXPECT_EQ(geocodes(), 0U);
}

TEST_F(TrackingProvider, ThousandAndAHalfMetresAreLookedUp)
{
    moveTo(1000.5);
    EXPECT_EQ(geocodes(), 1U);
}

TEST_F(TrackingProvider, AMillimetreMoreThanAThousandMetresIsLookedUp)
{
    moveTo(1000.001);
    EXPECT_EQ(geocodes(), 1U);
}

TEST_F(TrackingProvider, ExactlyAThousandMetresAreNotLookedUp)
{
    const auto there = exactlyAKilometreAway();
    ASSERT_TRUE(there);
    moveTo(there);
    EXPECT_EQ(geocodes(), 0U);
}

TEST_F(TrackingProvider, TheDistanceIsMeasuredToThePreviousUpdate)
{
    for (int i = 1; i <= 5; ++i)
        moveTo(900.0 * i);
    EXPECT_EQ(geocodes(), 0U);
    moveTo(900.0 * 5 - 1001);
    EXPECT_EQ(geocodes(), 1U);
}

TEST_F(TrackingProvider, ADistanceThatIsNotANumberCountsAsGreater)
{
    moveTo(make<CLLocation>(std::numeric_limits<double>::quiet_NaN(), 0.0));
    EXPECT_EQ(geocodes(), 1U);
    moveTo(0);
    EXPECT_EQ(geocodes(), 2U);
}

TEST_F(LocationProvider, ThePausedFlagIsSetAfterTheGeocodeCall)
{
    start();
    phone.answerNextGeocode({ .delay = 0, .meanwhile = [this] {
                                 provider->locationManagerDidUpdateLocations(
                                     *provider->locationManager(), { make<CLLocation>(0.0, 0.0) });
                             } });
    moveTo(0);
    EXPECT_EQ(geocodes(), 2U); // the update within the call found it unpaused
}

TEST_F(LocationProvider, TheFirstThreeGeocodeFailuresAreRetriedAtTheNextUpdate)
{
    start();
    for (int i = 0; i < 4; ++i)
        failGeocoding();
    for (int i = 0; i < 3; ++i)
        moveTo(i);
    EXPECT_EQ(geocodes(), 3U);
    moveTo(3);
    EXPECT_EQ(geocodes(), 4U); // the third failure was still retried
    moveTo(4);
    moveTo(5);
    EXPECT_EQ(geocodes(), 4U); // the fourth was not
}

TEST_F(LocationProvider, AfterTheFourthGeocodeFailureOnlyAJumpOrAStartLooksUpAgain)
{
    start();
    for (int i = 0; i < 4; ++i) {
        failGeocoding();
        moveTo(i);
    }
    forget();
    failGeocoding();
    moveTo(2000);
    EXPECT_EQ(geocodes(), 1U);
    moveTo(2001);
    EXPECT_EQ(geocodes(), 1U);
    start();
    moveTo(2002);
    EXPECT_EQ(geocodes(), 2U);
}

TEST_F(LocationProvider, ASignificantTimeChangeLooksUpAgain)
{
    start();
    for (int i = 0; i < 4; ++i) {
        failGeocoding();
        moveTo(i);
    }
    forget();
    phone.significantTimeChange();
    moveTo(5);
    EXPECT_EQ(geocodes(), 1U);
}

TEST_F(LocationProvider, GeocodeFailuresWhileTrackingAreNotLogged)
{
    start();
    failGeocoding();
    moveTo(0);
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(TrackingProvider, AGeocodeFailureLeavesThePlaceMark)
{
    failGeocoding();
    moveTo(2000);
    EXPECT_EQ(provider->currentLocaleName(), "Home");
}

TEST_F(TrackingProvider, AnErrorWinsOverPlaceMarks)
{
    phone.answerNextGeocode({ .places = { { town("Elsewhere") } }, .error = NSError("kCLErrorDomain", 2), .delay = 0 });
    moveTo(2000);
    EXPECT_EQ(provider->currentLocaleName(), "Home");
}

TEST_F(TrackingProvider, EachRequestHasAGeocoderOfItsOwnAndNoneIsCancelled)
{
    phone.answerNextGeocode({ .places = { { town("Late") } }, .delay = 2 });
    phone.answerNextGeocode({ .places = { { town("Early") } }, .delay = 1 });
    moveTo(2000);
    moveTo(4000);
    clock.advance(1);
    EXPECT_EQ(provider->currentLocaleName(), "Early");
    clock.advance(1);
    EXPECT_EQ(provider->currentLocaleName(), "Late");
}

TEST_F(TrackingProvider, AGeocoderKeepsTheProviderAlive)
{
    phone.answerNextGeocode({ .places = { { town("Late") } }, .delay = 2 });
    moveTo(2000);
    const std::weak_ptr<QVLocationProvider> weak = provider;
    provider = nullptr;
    clock.advance(1);
    EXPECT_FALSE(weak.expired());
    clock.advance(2);
    EXPECT_TRUE(weak.expired());
}

// Notifications of the place mark

namespace {

class AnnouncedPlacemark : public TrackingProvider {
protected:
    std::vector<std::shared_ptr<const NSObject>> posted;
    std::size_t userInfo = 0;
    bool onMain = true;
    Cancellable observation = NSNotificationCenter::defaultCenter().addObserver(
        "QVLocationProviderCurrentPlacemarkDidUpdateNotification", nullptr, [this](const NSNotification& notification) {
            posted.push_back(notification.object);
            userInfo += notification.userInfo.size();
            onMain = onMain && DispatchQueue::main().isCurrent();
        });
};

}

TEST_F(AnnouncedPlacemark, IsPostedWithTheNewPlaceMarkOnTheMainQueue)
{
    const auto away = town("Away");
    answer({ away });
    moveTo(2000);
    EXPECT_EQ(posted, std::vector<std::shared_ptr<const NSObject>> { away });
    EXPECT_EQ(userInfo, 0U);
    EXPECT_TRUE(onMain);
}

TEST_F(AnnouncedPlacemark, AnEqualPlaceMarkPostsNothingAndChangesNothing)
{
    const auto before = provider->currentPlacemark();
    answer({ town("Home") });
    moveTo(2000);
    EXPECT_TRUE(posted.empty());
    EXPECT_EQ(provider->currentPlacemark(), before);
}

TEST_F(AnnouncedPlacemark, ANilPlaceMarkIsPostedWithANilObject)
{
    answer({});
    moveTo(2000);
    EXPECT_EQ(posted, std::vector<std::shared_ptr<const NSObject>> { nullptr });
    EXPECT_FALSE(provider->currentPlacemark());
}

TEST_F(AnnouncedPlacemark, ANilPlaceMarkIsPostedAlsoWhenTheCurrentOneIsNilAlready)
{
    provider->setCurrentPlacemark(nullptr);
    phone.answerNextGeocode({ .delay = 0 });
    moveTo(2000);
    EXPECT_EQ(posted.size(), 1U);
}

TEST_F(AnnouncedPlacemark, TheLastPlaceMarkOfTheAnswerIsTaken)
{
    const auto last = town("Last");
    answer({ town("First"), last });
    moveTo(2000);
    EXPECT_EQ(provider->currentPlacemark(), last);
}

TEST_F(AnnouncedPlacemark, IsSetBeforeItIsPosted)
{
    std::optional<std::string> name;
    const Cancellable reading
        = NSNotificationCenter::defaultCenter().addObserver(kQVLocationProviderCurrentPlacemarkDidUpdateNotification,
            nullptr, [&](const NSNotification&) { name = provider->currentLocaleName(); });
    answer({ town("Away") });
    moveTo(2000);
    EXPECT_EQ(name, "Away");
}

TEST_F(AnnouncedPlacemark, ASignificantTimeChangeClearsLocationAndPlaceMarkWithoutANotification)
{
    phone.significantTimeChange();
    EXPECT_FALSE(provider->currentLocation());
    EXPECT_FALSE(provider->currentPlacemark());
    EXPECT_TRUE(posted.empty());
}

// The application's state

TEST_F(TrackingProvider, StopsUpdatingWhileTheApplicationIsNotActive)
{
    phone.resignActive();
    EXPECT_EQ(count("stop"), 1U);
    phone.becomeActive();
    EXPECT_EQ(count("start"), 1U);
}

TEST_F(TrackingProvider, BecomingActiveWithoutAPauseStartsNothing)
{
    phone.becomeActive();
    EXPECT_EQ(count("start"), 0U);
}

TEST_F(LocationProvider, AnIdleProviderIsNotPausedAndNotResumed)
{
    start();
    provider->stop();
    clock.advance(0);
    forget();
    phone.resignActive();
    phone.becomeActive();
    EXPECT_EQ(count("start"), 0U);
    EXPECT_EQ(count("stop"), 0U);
}

TEST_F(TrackingProvider, AStoppedProviderIsNotResumed)
{
    phone.resignActive();
    provider->stop();
    clock.advance(0);
    phone.becomeActive();
    EXPECT_EQ(count("start"), 0U);
}

TEST_F(TrackingProvider, ThePauseIsNotForgottenByAStop)
{
    phone.resignActive();
    provider->stop();
    clock.advance(0);
    start();
    provider->locationManager()->stopUpdatingLocation();
    forget();
    phone.becomeActive(); // the mark of the pause is still there, and tracking is active again
    EXPECT_EQ(count("start"), 1U);
}

TEST_F(TrackingProvider, ResumingDoesNotResetTheFailures)
{
    for (int i = 0; i < 4; ++i)
        failLocation(0);
    phone.resignActive();
    phone.becomeActive();
    forget();
    failLocation(0);
    EXPECT_EQ(count("stop"), 1U);
}

// The end

TEST_F(TrackingProvider, GoesWithItsLastOwnerAndStopsTheDevice)
{
    const std::weak_ptr<QVLocationProvider> weak = provider;
    provider = nullptr;
    EXPECT_TRUE(weak.expired());
    EXPECT_EQ(count("stop"), 1U);
}

TEST_F(TrackingProvider, LeavesItsManagerWithoutADelegate)
{
    const auto manager = provider->locationManager();
    EXPECT_EQ(manager->delegate(), provider);
    provider = nullptr;
    EXPECT_FALSE(manager->delegate());
    moveTo(5);
}

TEST_F(LocationProvider, AStopThatWaitsKeepsTheProviderUntilItIsDone)
{
    start();
    provider->stop();
    provider = nullptr;
    clock.advance(0);
    EXPECT_EQ(count("stop"), 1U);
}

// Names

TEST_F(TrackingProvider, TheLocaleNameIsTheTownAndTheLandmarkNameTheLandmark)
{
    answer({ park("Central Park", "New York") });
    moveTo(2000);
    EXPECT_EQ(provider->currentLocaleName(), "New York");
    EXPECT_EQ(provider->currentLandmarkName(), "Central Park");
}

TEST_F(LocationProvider, HasNoNamesBeforeTheFirstGeocodeSucceeded)
{
    start();
    failGeocoding();
    moveTo(0);
    EXPECT_EQ(provider->currentLocaleName(), std::nullopt);
    EXPECT_EQ(provider->currentLandmarkName(), std::nullopt);
}

TEST_F(TrackingProvider, HasNoNamesAfterASignificantTimeChange)
{
    ASSERT_EQ(provider->currentLandmarkName(), "Home");
    phone.significantTimeChange();
    EXPECT_EQ(provider->currentLocaleName(), std::nullopt);
    EXPECT_EQ(provider->currentLandmarkName(), std::nullopt);
}

TEST_F(TrackingProvider, AnnouncesItsLocationAndPlaceMarkToObservers)
{
    std::vector<std::string> changed;
    const auto location = provider->observe("currentLocation", NSKeyValueObservingOptionNew,
        [&](const NSKeyValueChange&) { changed.push_back("location"); });
    const auto placemark = provider->observe("currentPlacemark", NSKeyValueObservingOptionNew,
        [&](const NSKeyValueChange&) { changed.push_back("placemark"); });
    answer({ town("Away") });
    moveTo(2000);
    EXPECT_EQ(changed, (std::vector<std::string> { "location", "placemark" }));
}
