// SPDX-License-Identifier: Apache-2.0
#include "platform/Combine/KeyValuePublisher.h"
#include "platform/Combine/Published.h"
#include "platform/Foundation/DispatchQueue.h"
#include "platform/Foundation/NSRunLoop.h"

#include "tests/support/SteppedTest.h"

#include <gmock/gmock.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace velmora::tests {

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr auto initialAndNew = NSKeyValueObservingOptionInitial | NSKeyValueObservingOptionNew;

/// Something with a property to watch.
class Lamp : public NSObject {
public:
    static const ClassInfo& staticClass()
    {
        static constexpr auto methods = methodTable(method<&Lamp::brightness>("brightness"));
        static const ClassInfo info { "Tests.Lamp", &NSObject::staticClass(), methods };
        return info;
    }
    const ClassInfo& classInfo() const override { return staticClass(); }

    float brightness() const { return brightness_; }
    void setBrightness(float brightness)
    {
        const ChangeOfValue change(*this, "brightness");
        brightness_ = brightness;
    }

private:
    float brightness_ = 0.5F;
};
constexpr Property brightness { "brightness", &Lamp::brightness };

class Thermostat : public ObservableObject {
public:
    struct Reading {
        int temperature = 20, humidity = 40;
    };
    Published<Reading> reading { *this, {} };
    Published<bool> heating { *this, false };
};

}

class Publishers : public SteppedTest {
protected:
    static void turn() { NSRunLoop::mainRunLoop().turn(); }

    std::shared_ptr<Lamp> lamp = make<Lamp>();
    std::vector<float> heard;
    std::function<void(const float&)> hear = [this](const float& value) { heard.push_back(value); };
};

TEST_F(Publishers, KeyValuePublisherSendsThePresentValueAndThenEveryChange)
{
    const auto subscription = publisher(lamp, brightness, initialAndNew).sink(hear);
    lamp->setBrightness(0.75F);
    lamp->setBrightness(0.75F);
    EXPECT_THAT(heard, ElementsAre(0.5F, 0.75F, 0.75F));
}

TEST_F(Publishers, WithoutTheInitialOptionNothingIsSentBeforeAChange)
{
    const auto subscription = publisher(lamp, brightness, NSKeyValueObservingOptionNew).sink(hear);
    EXPECT_THAT(heard, IsEmpty());
    lamp->setBrightness(1);
    EXPECT_THAT(heard, ElementsAre(1.0F));
}

TEST_F(Publishers, APriorAnnouncementIsNotAValue)
{
    const auto subscription
        = publisher(lamp, brightness, NSKeyValueObservingOptionPrior | NSKeyValueObservingOptionNew).sink(hear);
    lamp->setBrightness(1);
    EXPECT_THAT(heard, ElementsAre(1.0F));
}

TEST_F(Publishers, NobodyIsAskedBeforeASinkSubscribes)
{
    const auto source = publisher(lamp, brightness, initialAndNew);
    EXPECT_FALSE(lamp->wasObserved());
    const auto subscription = source.sink(hear);
    EXPECT_TRUE(lamp->wasObserved());
}

TEST_F(Publishers, ASubscriptionKeepsTheObjectAndItsEndLetsItGo)
{
    const std::weak_ptr weak = lamp;
    auto subscription = publisher(lamp, brightness, initialAndNew).sink(hear);
    lamp.reset();
    EXPECT_FALSE(weak.expired());
    subscription.cancel();
    subscription = Cancellable();
    EXPECT_TRUE(weak.expired());
}

TEST_F(Publishers, ValuesForARunLoopArriveInOrderAtItsNextTurnTheFirstOneToo)
{
    const auto subscription = publisher(lamp, brightness, initialAndNew).receiveOn(NSRunLoop::mainRunLoop()).sink(hear);
    lamp->setBrightness(0.75F);
    lamp->setBrightness(1);
    EXPECT_THAT(heard, IsEmpty());
    turn();
    EXPECT_THAT(heard, ElementsAre(0.5F, 0.75F, 1.0F));
}

TEST_F(Publishers, AValueThatIsHandedOverIsTheAnnouncedOneWhateverThePropertyIsByThen)
{
    const auto subscription
        = publisher(lamp, brightness, NSKeyValueObservingOptionNew).receiveOn(NSRunLoop::mainRunLoop()).sink(hear);
    lamp->setBrightness(0.25F);
    lamp->setBrightness(0.125F);
    turn();
    EXPECT_THAT(heard, ElementsAre(0.25F, 0.125F));
}

TEST_F(Publishers, AValueThatWaitsWhenItsSubscriptionEndsDoesNotArrive)
{
    auto subscription = publisher(lamp, brightness, initialAndNew).receiveOn(NSRunLoop::mainRunLoop()).sink(hear);
    subscription.cancel();
    turn();
    EXPECT_THAT(heard, IsEmpty());
}

TEST_F(Publishers, TheEndOfAHandedOverSubscriptionFreesWhatItsSinkHeld)
{
    auto held = std::make_shared<int>(1);
    const std::weak_ptr weak = held;
    auto subscription = publisher(lamp, brightness, initialAndNew)
                            .receiveOn(NSRunLoop::mainRunLoop())
                            .sink([held = std::move(held)](float) {});
    EXPECT_FALSE(weak.expired());
    subscription.cancel();
    EXPECT_TRUE(weak.expired());
}

TEST_F(Publishers, EndingTheBagEndsEverySubscriptionInIt)
{
    std::vector<Cancellable> bag;
    publisher(lamp, brightness, NSKeyValueObservingOptionNew).sink(hear).storeIn(bag);
    publisher(lamp, brightness, NSKeyValueObservingOptionNew).sink(hear).storeIn(bag);
    lamp->setBrightness(1);
    bag.clear();
    lamp->setBrightness(0);
    EXPECT_THAT(heard, ElementsAre(1.0F, 1.0F));
}

TEST(PassthroughSubject, SendsToAllInTheOrderInWhichTheySubscribed)
{
    const PassthroughSubject<int> subject;
    std::vector<std::string> heard;
    const auto first = subject.sink([&](int value) { heard.push_back("first " + std::to_string(value)); });
    const auto second = subject.sink([&](int value) { heard.push_back("second " + std::to_string(value)); });
    subject.send(7);
    EXPECT_THAT(heard, ElementsAre("first 7", "second 7"));
}

TEST(PassthroughSubject, ASubscriberThatIsEndedWhileItSendsHearsNothingMore)
{
    const PassthroughSubject<int> subject;
    std::vector<std::string> heard;
    std::optional<Cancellable> second;
    const auto first = subject.sink([&](int) {
        heard.emplace_back("first");
        second.reset();
    });
    second = subject.sink([&](int) { heard.emplace_back("second"); });
    subject.send(1);
    EXPECT_THAT(heard, ElementsAre("first"));
}

TEST(PassthroughSubject, ASubscriberThatIsAddedWhileItSendsHearsTheNextValue)
{
    const PassthroughSubject<int> subject;
    std::vector<int> heard;
    std::optional<Cancellable> late;
    const auto first = subject.sink([&](int) {
        if (!late)
            late = subject.sink([&](int value) { heard.push_back(value); });
    });
    subject.send(1);
    subject.send(2);
    EXPECT_THAT(heard, ElementsAre(2));
}

TEST(PassthroughSubject, ASubscriberMayEndItself)
{
    const PassthroughSubject<int> subject;
    std::optional<Cancellable> own;
    const auto held = std::make_shared<int>(0);
    own = subject.sink([&own, held](int) {
        own.reset();
        ++*held; // what the sink captured still stands
    });
    subject.send(1);
    subject.send(2);
    EXPECT_EQ(*held, 1);
    EXPECT_EQ(held.use_count(), 1);
}

TEST(PassthroughSubject, SubscribersDoNotMindThatItHasGone)
{
    std::optional<PassthroughSubject<int>> subject;
    subject.emplace();
    const auto source = subject->publisher();
    auto subscription = subject->sink([](int) {});
    subject.reset();
    subscription.cancel();
    const auto late = source.sink([](int) { FAIL() << "a value of a subject that has gone"; });
}

TEST(PublishedProperty, AnnouncesThroughTheObjectBeforeItsValueStandsAndThenThroughItsOwnPublisher)
{
    Thermostat thermostat;
    std::vector<std::string> order;
    const auto object = thermostat.objectWillChange().sink(
        [&] { order.push_back("will change, still " + std::to_string(thermostat.heating.value())); });
    const auto own = thermostat.heating.publisher().sink([&](bool heating) {
        order.push_back("is " + std::to_string(heating) + ", reads " + std::to_string(thermostat.heating.value()));
    });
    order.clear();
    thermostat.heating.set(true);
    EXPECT_THAT(order, ElementsAre("will change, still 0", "is 1, reads 1"));
}

TEST(PublishedProperty, ItsPublisherGivesThePresentValueOnSubscription)
{
    Thermostat thermostat;
    thermostat.heating.set(true);
    std::vector<bool> heard;
    const auto subscription = thermostat.heating.publisher().sink([&](bool heating) { heard.push_back(heating); });
    EXPECT_THAT(heard, ElementsAre(true));
}

TEST(PublishedProperty, AnnouncesAnEqualValueToo)
{
    Thermostat thermostat;
    int changes = 0;
    const auto subscription = thermostat.objectWillChange().sink([&] { ++changes; });
    thermostat.heating.set(false);
    EXPECT_EQ(changes, 1);
}

TEST(PublishedProperty, AChangeInPlaceIsOneAnnouncementHoweverManyFieldsItWrites)
{
    Thermostat thermostat;
    int changes = 0;
    std::vector<int> humidities;
    const auto object = thermostat.objectWillChange().sink([&] { ++changes; });
    const auto own = thermostat.reading.publisher().sink(
        [&](const Thermostat::Reading& reading) { humidities.push_back(reading.humidity); });
    thermostat.reading.update([](Thermostat::Reading& reading) {
        reading.temperature = 21;
        reading.humidity = 45;
    });
    EXPECT_EQ(changes, 1);
    EXPECT_THAT(humidities, ElementsAre(40, 45));
}

}
