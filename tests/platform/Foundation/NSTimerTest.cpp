// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/NSTimer.h"

#include "platform/Foundation/NSRunLoop.h"

#include "tests/support/SteppedTest.h"

#include <gtest/gtest.h>

#include <thread>

namespace velmora::tests {

namespace {
/// Counts, and does what a test wants when its timer fires.
class Target : public NSObject {
public:
    static const ClassInfo& staticClass()
    {
        static constexpr auto methods
            = methodTable(method<&Target::fired>("fired"), method<&Target::timerFired>("timerFired:"));
        static const ClassInfo info { "Tests.Target", &NSObject::staticClass(), methods };
        return info;
    }
    const ClassInfo& classInfo() const override { return staticClass(); }
    void fired()
    {
        ++count;
        if (then)
            then();
    }
    void timerFired(const std::shared_ptr<NSTimer>& timer) { last = timer; }

    int count = 0;
    std::function<void()> then;
    std::shared_ptr<NSTimer> last;
};

class Timers : public SteppedTest {
protected:
    std::shared_ptr<Target> target = make<Target>();
};
}

TEST_F(Timers, FireOnceAtTheirTime)
{
    const auto timer = NSTimer::scheduledTimerWithTimeInterval(5, target, "fired");
    clock.advance(4.9);
    EXPECT_EQ(target->count, 0);
    EXPECT_TRUE(timer->isValid());
    clock.advance(0.1);
    EXPECT_EQ(target->count, 1);
    EXPECT_FALSE(timer->isValid());
    clock.advance(20);
    EXPECT_EQ(target->count, 1);
}

TEST_F(Timers, FireAlthoughNobodyHoldsThem)
{
    NSTimer::scheduledTimerWithTimeInterval(5, target, "fired");
    clock.advance(5);
    EXPECT_EQ(target->count, 1);
}

TEST_F(Timers, TwoPendingOnesBothFire)
{
    NSTimer::scheduledTimerWithTimeInterval(5, target, "fired");
    NSTimer::scheduledTimerWithTimeInterval(5, target, "fired");
    clock.advance(5);
    EXPECT_EQ(target->count, 2);
}

TEST_F(Timers, HandThemselvesToASelectorWithAnArgument)
{
    const auto timer = NSTimer::scheduledTimerWithTimeInterval(1, target, "timerFired:", box("why"));
    clock.advance(1);
    EXPECT_EQ(target->last, timer);
    EXPECT_EQ(unbox<std::string>(target->last->userInfo()), "why");
}

TEST_F(Timers, NeverFireAfterTheyWereInvalidated)
{
    const auto timer = NSTimer::scheduledTimerWithTimeInterval(1, target, "fired");
    timer->invalidate();
    clock.advance(2);
    EXPECT_EQ(target->count, 0);
}

TEST_F(Timers, HoldTheirTargetUntilTheyHaveFired)
{
    const std::weak_ptr<Target> weak = target;
    const auto timer = NSTimer::scheduledTimerWithTimeInterval(1, std::move(target), "fired");
    EXPECT_FALSE(weak.expired());
    clock.advance(1);
    EXPECT_TRUE(weak.expired());
}

TEST_F(Timers, LetTheirTargetGoWhenTheyAreInvalidated)
{
    const std::weak_ptr<Target> weak = target;
    const auto timer = NSTimer::scheduledTimerWithTimeInterval(1, std::move(target), "fired");
    timer->invalidate();
    EXPECT_TRUE(weak.expired());
}

TEST_F(Timers, RepeatUntilInvalidatedAlsoFromInside)
{
    const auto timer = NSTimer::scheduledTimerWithTimeInterval(1, target, "fired", {}, true);
    target->then = [&] {
        if (target->count == 3)
            timer->invalidate();
    };
    clock.advance(10);
    EXPECT_EQ(target->count, 3);
    target->then = nullptr;
}

TEST_F(Timers, ARepeatingOneSkipsWhatItMissed)
{
    std::vector<double> times;
    const auto timer = NSTimer::scheduledTimerWithTimeInterval(1, target, "fired", {}, true);
    target->then = [&] {
        times.push_back(clock.now());
        if (target->count == 1)
            clock.advance(2.5); // busy from 1 to 3.5: the firings at 2 and 3 are missed
    };
    clock.advance(5);
    EXPECT_EQ(times, std::vector<double>({ 1, 4, 5 }));
    timer->invalidate();
    target->then = nullptr;
}

TEST(TimersThreads, InvalidatingOnAnotherThreadIsSafeWhileItFires)
{
    for (int round = 0; round < 50; ++round) {
        const auto target = make<Target>();
        std::shared_ptr<NSTimer> timer = NSTimer::scheduledTimerWithTimeInterval(0.0001, target, "fired", {}, true);
        std::thread other([timer] { timer->invalidate(); });
        while (timer->isValid())
            NSRunLoop::mainRunLoop().turn(0.001);
        other.join();
        const int count = target->count;
        NSRunLoop::mainRunLoop().turn(0.001);
        EXPECT_EQ(target->count, count);
    }
}

}
