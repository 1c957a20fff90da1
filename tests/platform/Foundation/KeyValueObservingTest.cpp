// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/NSException.h"

#include <gtest/gtest.h>

#include <thread>

#include "tests/platform/Foundation/Lamp.h"

namespace velmora::tests {

namespace {
constexpr auto initial = NSKeyValueObservingOptionInitial;
constexpr auto newValues = NSKeyValueObservingOptionNew;
constexpr auto oldValues = NSKeyValueObservingOptionOld;
constexpr auto prior = NSKeyValueObservingOptionPrior;

/// "new 2, old 1" of each change that arrives.
class Journal {
public:
    Cancellable observe(Lamp& lamp, NSKeyValueObservingOptions options)
    {
        return lamp.observe("brightness", options, [this](const NSKeyValueChange& change) { write(change); });
    }
    void write(const NSKeyValueChange& change)
    {
        std::string line = change.isPrior ? "prior" : "change";
        if (change.newValue.has_value())
            line += " new " + std::to_string(unbox<int>(change.newValue));
        if (change.oldValue.has_value())
            line += " old " + std::to_string(unbox<int>(change.oldValue));
        lines.push_back(line);
    }
    std::vector<std::string> lines;
};
using Lines = std::vector<std::string>;
}

TEST(KeyValueObserving, EachSettingIsOneChange)
{
    const auto lamp = make<Lamp>(1);
    Journal journal;
    const auto token = journal.observe(*lamp, newValues);
    lamp->setBrightness(2);
    lamp->setBrightness(2);
    EXPECT_EQ(journal.lines, Lines({ "change new 2", "change new 2" }));
}

TEST(KeyValueObserving, ValuesCarryOnlyWhatWasAskedFor)
{
    const auto lamp = make<Lamp>(1);
    Journal journal;
    const auto none = journal.observe(*lamp, {});
    const auto old = journal.observe(*lamp, oldValues);
    const auto both = journal.observe(*lamp, newValues | oldValues);
    lamp->setBrightness(2);
    EXPECT_EQ(journal.lines, Lines({ "change", "change old 1", "change new 2 old 1" }));
}

TEST(KeyValueObserving, TheInitialValueComesBeforeObserveReturns)
{
    const auto lamp = make<Lamp>(5);
    Journal journal;
    const auto token = journal.observe(*lamp, initial | newValues);
    EXPECT_EQ(journal.lines, Lines({ "change new 5" }));
}

TEST(KeyValueObserving, AnInitialCallWithoutNewCarriesNoValue)
{
    const auto lamp = make<Lamp>(5);
    Journal journal;
    const auto token = journal.observe(*lamp, initial);
    EXPECT_EQ(journal.lines, Lines({ "change" }));
}

TEST(KeyValueObserving, ThePriorCallComesBeforeTheChange)
{
    const auto lamp = make<Lamp>(1);
    Journal journal;
    const auto token = journal.observe(*lamp, prior | oldValues | newValues);
    lamp->willChangeValueForKey("brightness");
    EXPECT_EQ(journal.lines, Lines({ "prior old 1" }));
    lamp->didChangeValueForKey("brightness");
    EXPECT_EQ(journal.lines, Lines({ "prior old 1", "change new 1 old 1" }));
}

TEST(KeyValueObserving, TheTokensEndIsTheObservationsEnd)
{
    const auto lamp = make<Lamp>();
    Journal journal;
    auto token = journal.observe(*lamp, newValues);
    token.cancel();
    lamp->setBrightness(2);
    EXPECT_EQ(journal.lines, Lines());
}

TEST(KeyValueObserving, ATokenMayOutliveItsObject)
{
    auto lamp = make<Lamp>();
    Journal journal;
    auto token = journal.observe(*lamp, newValues);
    lamp.reset();
    token.cancel();
    EXPECT_EQ(journal.lines, Lines());
}

TEST(KeyValueObserving, AnObservationEndsFromInsideItsOwnCall)
{
    const auto lamp = make<Lamp>();
    int calls = 0;
    Cancellable token;
    token = lamp->observe("brightness", newValues, [&](const auto&) {
        ++calls;
        token.cancel();
    });
    lamp->setBrightness(1);
    lamp->setBrightness(2);
    EXPECT_EQ(calls, 1);
}

TEST(KeyValueObserving, AnObservationEndedByAnotherObserverIsNotCalledAnyMore)
{
    const auto lamp = make<Lamp>();
    Journal journal;
    Cancellable second;
    const auto first = lamp->observe("brightness", newValues, [&](const auto&) { second.cancel(); });
    second = journal.observe(*lamp, newValues);
    lamp->setBrightness(1);
    EXPECT_EQ(journal.lines, Lines());
}

TEST(KeyValueObserving, AnObserverAddedInACallHearsTheNextChange)
{
    const auto lamp = make<Lamp>();
    Journal journal;
    std::vector<Cancellable> tokens;
    tokens.push_back(lamp->observe("brightness", newValues, [&](const auto&) {
        if (tokens.size() == 1)
            tokens.push_back(journal.observe(*lamp, newValues));
    }));
    lamp->setBrightness(1);
    EXPECT_EQ(journal.lines, Lines());
    lamp->setBrightness(2);
    EXPECT_EQ(journal.lines, Lines({ "change new 2" }));
}

TEST(KeyValueObserving, AnObserverAddedBetweenTheAnnouncementsHearsTheChangeWithoutAnOldValue)
{
    const auto lamp = make<Lamp>(1);
    Journal journal;
    lamp->willChangeValueForKey("brightness");
    const auto token = journal.observe(*lamp, newValues | oldValues);
    lamp->didChangeValueForKey("brightness");
    EXPECT_EQ(journal.lines, Lines({ "change new 1" }));
}

TEST(KeyValueObserving, WhoBeginsToObserveWithinAChangeHearsItsEnd)
{
    const auto lamp = make<Lamp>(1);
    Journal journal;
    Cancellable token;
    {
        const ChangeOfValue change(*lamp, "brightness");
        token = journal.observe(*lamp, initial | newValues);
    }
    EXPECT_EQ(journal.lines, Lines({ "change new 1", "change new 1" }));
}

TEST(KeyValueObserving, AnObserverThatLeavesWithinAChangeLeavesNoOldValueBehind)
{
    const auto lamp = make<Lamp>(1);
    Journal journal;
    auto leaving = journal.observe(*lamp, oldValues);
    lamp->willChangeValueForKey("brightness");
    leaving.cancel();
    lamp->didChangeValueForKey("brightness");

    lamp->setBrightness(7);
    const auto token = journal.observe(*lamp, newValues | oldValues);
    lamp->didChangeValueForKey("brightness"); // without its first half: there is no old value
    EXPECT_EQ(journal.lines, Lines({ "change new 7" }));
}

TEST(KeyValueObserving, NestedChangesOfOneKeyEachHaveTheirOwnOldValue)
{
    const auto lamp = make<Lamp>(1);
    Journal journal;
    const auto token = journal.observe(*lamp, newValues | oldValues);
    {
        const ChangeOfValue outer(*lamp, "brightness");
        lamp->setBrightness(2);
        lamp->setBrightness(3);
    }
    EXPECT_EQ(journal.lines, Lines({ "change new 2 old 1", "change new 3 old 2", "change new 3 old 1" }));
}

TEST(KeyValueObserving, TheTypedFormReceivesWhatTheGetterAnswers)
{
    const auto lamp = make<Lamp>(1);
    std::vector<double> seen;
    const auto token = observe(*lamp, Property { "brightness", &Lamp::brightness }, initial | newValues | prior,
        [&](double brightness) { seen.push_back(brightness); });
    lamp->setBrightness(2.5);
    EXPECT_EQ(seen, std::vector<double>({ 1, 2.5 }));
}

TEST(KeyValueObserving, AKeyWithoutAGetterIsRefused)
{
    const auto lamp = make<Lamp>();
    EXPECT_THROW(static_cast<void>(lamp->observe("voltage", newValues, [](const auto&) {})), NSException);
}

TEST(KeyValueObserving, WhatAnObserverCapturedMayEndOtherObservationsWhenItEnds)
{
    const auto lamp = make<Lamp>();
    Journal journal;
    auto inner = std::make_shared<Cancellable>(journal.observe(*lamp, newValues));
    auto outer = lamp->observe("brightness", newValues, [inner](const auto&) {});
    inner.reset();
    outer.cancel(); // with it its capture, the last owner of the other token
    lamp->setBrightness(1);
    EXPECT_EQ(journal.lines, Lines());
}

TEST(KeyValueObservingThreads, AChangeOfAnotherThreadComesAfterTheInitialValue)
{
    const auto lamp = make<Lamp>(1);
    std::vector<int> seen;
    const auto token = lamp->observe("brightness", initial | newValues, [&](const NSKeyValueChange& change) {
        if (seen.empty())
            std::thread([&] { lamp->setBrightness(2); }).join(); // while the initial value is being delivered
        seen.push_back(unbox<int>(change.newValue));
    });
    EXPECT_EQ(seen, std::vector<int>({ 1, 2 }));
}

TEST(KeyValueObservingThreads, TheLastValueSeenIsTheLastValueSet)
{
    for (int round = 0; round < 200; ++round) {
        const auto lamp = make<Lamp>(0);
        std::thread setter([&] {
            for (int i = 1; i <= 20; ++i)
                lamp->setBrightness(i);
        });
        std::atomic<int> last { -1 };
        auto token = lamp->observe("brightness", initial | newValues,
            [&](const NSKeyValueChange& change) { last = unbox<int>(change.newValue); });
        setter.join();
        EXPECT_EQ(last, 20);
    }
}

TEST(KeyValueObservingThreads, ThePairOfAHopKeepsItsOldValue)
{
    const auto lamp = make<Lamp>(4);
    Journal journal;
    const auto token = journal.observe(*lamp, newValues | oldValues);
    lamp->willChangeValueForKey("brightness");
    std::thread([&] { lamp->didChangeValueForKey("brightness"); }).join();
    EXPECT_EQ(journal.lines, Lines({ "change new 4 old 4" }));
}

TEST(KeyValueObservingThreads, ObserversComeAndGoWhileValuesChange)
{
    const auto lamp = make<Lamp>(0);
    std::atomic<bool> stop { false };
    std::thread setter([&] {
        for (int i = 0; !stop; ++i)
            lamp->setBrightness(i);
    });
    std::atomic<int> calls { 0 };
    for (int i = 0; i < 500; ++i) {
        const auto token = lamp->observe("brightness", initial | newValues | oldValues, [&](const auto&) { ++calls; });
    }
    stop = true;
    setter.join();
    EXPECT_GE(calls, 500);
}

}
