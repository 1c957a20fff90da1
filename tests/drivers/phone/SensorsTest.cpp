// SPDX-License-Identifier: Apache-2.0
#include "platform/CoreLocation/CLLocation.h"
#include "platform/CoreLocation/LocationDriver.h"
#include "platform/CoreMotion/MotionDriver.h"
#include "platform/Foundation/NSBundle.h"
#include "platform/Foundation/NSNotificationCenter.h"
#include "platform/Foundation/NSUserDefaults.h"
#include "platform/Foundation/ProcessState.h"
#include "platform/Foundation/SystemVersion.h"
#include "platform/UIKit/UIApplication.h"

#include "tests/support/PhoneTest.h"

#include <vector>

namespace velmora::tests {

using namespace velmora::drivers::phone;

namespace {

class Accelerometer : public PhoneTest {
protected:
    explicit Accelerometer(PhoneDescription description = smallPhone())
        : PhoneTest(std::move(description))
    {
    }
    Cancellable listen()
    {
        return MotionDriver::installed()->start(0.25, [this](const auto& data, const auto& error) {
            if (data)
                seen.push_back(data->acceleration.y);
            if (error)
                errors.push_back(error->code());
        });
    }

    std::vector<double> seen;
    std::vector<std::int64_t> errors;
};

TEST_F(Accelerometer, TellsNothingUntilThePhoneMoves)
{
    const auto token = listen();
    clock.advance(2);
    EXPECT_TRUE(seen.empty());
}

TEST_F(Accelerometer, TellsOneReadingForEachTilt)
{
    const auto token = listen();
    phone.tilt(0, -1, 0);
    phone.tilt(0, -0.5, 0.5);
    clock.advance(1);
    EXPECT_EQ(seen, (std::vector<double> { -1, -0.5 }));
}

TEST_F(Accelerometer, TellsAnErrorInPlaceOfTheReading)
{
    const auto token = listen();
    phone.tilt(0, -1, 0, NSError("CMErrorDomain", 109));
    clock.advance(1);
    EXPECT_TRUE(seen.empty());
    EXPECT_EQ(errors, (std::vector<std::int64_t> { 109 }));
}

TEST_F(Accelerometer, TellsNothingAfterTheTokensEnd)
{
    auto token = listen();
    phone.tilt(0, -1, 0);
    token.cancel();
    clock.advance(1);
    EXPECT_TRUE(seen.empty());
}

PhoneDescription turningPhone()
{
    PhoneDescription description = smallPhone();
    description.motion = { { 0, { 0, -1, 0 } }, { 0.6, { 0, 1, 0 } } };
    return description;
}

class ScriptedAccelerometer : public Accelerometer {
protected:
    ScriptedAccelerometer()
        : Accelerometer(turningPhone())
    {
    }
};

TEST_F(ScriptedAccelerometer, FollowsTheScriptAtTheInterval)
{
    const auto token = listen();
    clock.advance(1);
    EXPECT_EQ(seen, (std::vector<double> { -1, -1, 1, 1 }));
}

std::shared_ptr<CLLocation> at(double latitude, double longitude)
{
    return std::make_shared<CLLocation>(latitude, longitude);
}

class Positions : public PhoneTest {
protected:
    explicit Positions(PhoneDescription description = smallPhone())
        : PhoneTest(std::move(description))
    {
        LocationEvents events;
        events.moved = [this](const auto& batch) {
            batches.push_back(batch.size());
            latitudes.push_back(batch.back()->coordinate().latitude);
        };
        events.failed = [this](const NSError& error) { failures.push_back(error.code()); };
        events.authorizationChanged = [this](int status) { statuses.push_back(status); };
        token = driver->attach(std::move(events));
    }

    std::shared_ptr<LocationDriver> driver = LocationDriver::installed();
    std::vector<std::size_t> batches;
    std::vector<double> latitudes;
    std::vector<std::int64_t> failures;
    std::vector<int> statuses;
    Cancellable token;
};

TEST_F(Positions, ABatchArrivesWhole)
{
    driver->start();
    phone.moveTo({ at(48, 2), at(49, 3) });
    clock.advance(0);
    EXPECT_EQ(batches, (std::vector<std::size_t> { 2 }));
    EXPECT_EQ(latitudes, (std::vector<double> { 49 }));
}

TEST_F(Positions, AStartTellsWhereThePhoneIs)
{
    phone.moveTo({ at(48, 2) });
    clock.advance(0);
    EXPECT_TRUE(latitudes.empty());
    driver->start();
    clock.advance(0);
    EXPECT_EQ(latitudes, (std::vector<double> { 48 }));
}

TEST_F(Positions, NothingArrivesAfterTheStop)
{
    driver->start();
    driver->stop();
    phone.moveTo({ at(48, 2) });
    clock.advance(1);
    EXPECT_TRUE(latitudes.empty());
}

TEST_F(Positions, NothingArrivesWithoutPermission)
{
    phone.change([](PhoneDescription& description) { description.permissions.location = 2; });
    driver->start();
    phone.moveTo({ at(48, 2) });
    clock.advance(1);
    EXPECT_TRUE(latitudes.empty());
}

TEST_F(Positions, AChangeOfThePermissionIsAnnouncedOnce)
{
    phone.change([](PhoneDescription& description) { description.permissions.location = 3; });
    phone.change([](PhoneDescription& description) { description.sceneDistance = 5; });
    clock.advance(0);
    EXPECT_EQ(statuses, (std::vector<int> { 3 }));
    EXPECT_EQ(driver->authorizationStatus(), 3);
}

TEST_F(Positions, ARequestIsNotedAndAnsweredByNobody)
{
    phone.change([](PhoneDescription& description) { description.permissions.location = 0; });
    clock.advance(0);
    driver->requestWhenInUseAuthorization();
    clock.advance(10);
    EXPECT_EQ(phone.journal().back().what, "requestWhenInUseAuthorization");
    EXPECT_EQ(statuses, (std::vector<int> { 0 }));
}

TEST_F(Positions, AFailureReachesEveryManager)
{
    phone.failLocation(NSError("kCLErrorDomain", 1));
    clock.advance(0);
    EXPECT_EQ(failures, (std::vector<std::int64_t> { 1 }));
}

PhoneDescription travellingPhone()
{
    PhoneDescription description = smallPhone();
    description.track = { { 0, at(10, 0) }, { 5, at(20, 0) }, { 7, at(30, 0) } };
    return description;
}

class Track : public Positions {
protected:
    Track()
        : Positions(travellingPhone())
    {
    }
};

TEST_F(Track, IsFollowedOnThePhonesClock)
{
    driver->start();
    clock.advance(4.9);
    EXPECT_EQ(latitudes, (std::vector<double> { 10 }));
    clock.advance(3);
    EXPECT_EQ(latitudes, (std::vector<double> { 10, 20, 30 }));
}

TEST_F(Track, AMoveStaysUntilTheNextEntry)
{
    clock.advance(1);
    phone.moveTo({ at(-5, 0) });
    driver->start();
    clock.advance(5);
    EXPECT_EQ(latitudes, (std::vector<double> { -5, 20 }));
}

class Places : public PhoneTest {
protected:
    void ask()
    {
        GeocodingDriver::installed()->reverseGeocode(
            at(1, 1), [this, question = ++questions](const auto& places, const auto& error) {
                answered.push_back(question);
                counts.push_back(places ? static_cast<int>(places->size()) : -1);
                codes.push_back(error ? error->code() : 0);
            });
    }

    int questions = 0;
    std::vector<int> answered, counts;
    std::vector<std::int64_t> codes;
};

TEST_F(Places, AreNotFoundUnlessAnAnswerWasPrepared)
{
    ask();
    clock.advance(1);
    EXPECT_EQ(counts, (std::vector<int> { -1 }));
    EXPECT_EQ(codes, (std::vector<std::int64_t> { 8 }));
}

TEST_F(Places, AnswersComeInTheOrderOfTheirDelays)
{
    phone.answerNextGeocode({ .places = std::vector<std::shared_ptr<CLPlacemark>> {}, .delay = 2 });
    phone.answerNextGeocode({ .error = NSError("kCLErrorDomain", 2), .delay = 1 });
    ask();
    ask();
    clock.advance(1.5);
    EXPECT_EQ(answered, (std::vector<int> { 2 }));
    clock.advance(1);
    EXPECT_EQ(answered, (std::vector<int> { 2, 1 }));
    EXPECT_EQ(counts, (std::vector<int> { -1, 0 }));
}

TEST(PhoneInstallation, ItsEndPutsBackWhatWasThere)
{
    const auto before = MotionDriver::installed();
    {
        const VirtualPhone phone { smallPhone() };
        EXPECT_NE(MotionDriver::installed(), before);
    }
    EXPECT_EQ(MotionDriver::installed(), before);
    EXPECT_EQ(LocationDriver::installed(), nullptr);
    EXPECT_EQ(SystemVersion::current(), (SystemVersion { 17, 2 }));
}

TEST(PhoneInstallation, ANewPhoneResetsWhatIsKeptForTheProcess)
{
    auto resets = std::make_shared<int>(0);
    ProcessState::add([resets] { ++*resets; });
    const VirtualPhone phone { smallPhone() };
    EXPECT_EQ(*resets, 1);
}

TEST(PhoneInstallation, TheSystemVersionIsReadAfresh)
{
    PhoneDescription description = smallPhone();
    description.systemVersion = { 12, 4 };
    VirtualPhone phone { description };
    EXPECT_EQ(SystemVersion::current(), (SystemVersion { 12, 4 }));
    phone.change([](PhoneDescription& edited) { edited.systemVersion = { 18, 0 }; });
    EXPECT_GT(SystemVersion::current(), (SystemVersion { 17, 2 }));
}

TEST(PhoneInstallation, TextsAndInformationAreTheDescriptions)
{
    PhoneDescription description = smallPhone();
    description.applicationStrings = { { "OFF", "Aus" } };
    description.information = { { "NSLocationWhenInUseUsageDescription", "For maps." } };
    VirtualPhone phone { description };
    const auto bundle = NSBundle::mainBundle();
    EXPECT_EQ(bundle->localizedStringForKey("OFF"), "Aus");
    EXPECT_EQ(bundle->localizedStringForKey("ON"), "ON");
    EXPECT_TRUE(bundle->objectForInfoDictionaryKey("NSLocationWhenInUseUsageDescription"));
    phone.change([](PhoneDescription& edited) { edited.information.clear(); });
    EXPECT_FALSE(bundle->objectForInfoDictionaryKey("NSLocationWhenInUseUsageDescription"));
}

TEST(PhoneInstallation, DefaultsBeginAsDescribedAndKeepWhatIsWritten)
{
    PhoneDescription description = smallPhone();
    description.defaults = { { "album", "A-1" } };
    VirtualPhone phone { description };
    const auto defaults = [] { return NSUserDefaults::standardUserDefaults(); };
    EXPECT_EQ(defaults()->stringForKey("album"), "A-1");
    defaults()->setObject(std::string("B-2"), "album");
    phone.change([](PhoneDescription& edited) { edited.sceneDistance = 3; });
    EXPECT_EQ(defaults()->stringForKey("album"), "B-2");
    phone.change([](PhoneDescription& edited) { edited.defaults["album"] = "C-3"; });
    EXPECT_EQ(defaults()->stringForKey("album"), "C-3");
}

TEST(PhoneInstallation, TheApplicationsNotificationsArePosted)
{
    VirtualPhone phone { smallPhone() };
    std::vector<std::string> names;
    const auto token = NSNotificationCenter::defaultCenter().addObserver(
        "", nullptr, [&](const NSNotification& notification) { names.push_back(notification.name); });
    phone.resignActive();
    phone.becomeActive();
    phone.significantTimeChange();
    EXPECT_EQ(names,
        (std::vector<std::string> { "UIApplicationWillResignActiveNotification",
            "UIApplicationDidBecomeActiveNotification", "UIApplicationSignificantTimeChangeNotification" }));
}

}
}
