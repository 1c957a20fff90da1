// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/ManualClock.h"

#include "platform/Foundation/NSRunLoop.h"

#include "tests/support/SteppedTest.h"

#include <gtest/gtest.h>

namespace velmora::tests {

namespace {
class SteppedTime : public SteppedTest { };
}

TEST(ManualTime, BeginsAtZeroAndAtAFixedDate)
{
    const ManualClock clock;
    EXPECT_EQ(clock.now(), 0);
    EXPECT_EQ(clock.absoluteTime(), 789015845.0); // 2026-01-02 03:04:05 UTC
}

TEST(ManualTime, MovesWithoutAScheduler)
{
    ManualClock clock(100);
    clock.advance(2.5);
    EXPECT_EQ(clock.now(), 2.5);
    EXPECT_EQ(clock.absoluteTime(), 102.5);
}

TEST(ManualTime, TheWallClockJumpsAlone)
{
    ManualClock clock(100);
    clock.advance(1);
    clock.setAbsoluteTime(50);
    EXPECT_EQ(clock.absoluteTime(), 50);
    EXPECT_EQ(clock.now(), 1);
    clock.advance(1);
    EXPECT_EQ(clock.absoluteTime(), 51);
}

TEST_F(SteppedTime, IsWhatTheProcessReads)
{
    clock.setAbsoluteTime(1234.5);
    EXPECT_EQ(CFAbsoluteTimeGetCurrent(), 1234.5);
}

TEST_F(SteppedTime, StandsStillAtEachDeadlineOnTheWay)
{
    std::vector<double> times;
    for (const double seconds : { 0.75, 0.25, 0.5 })
        DispatchQueue::main().after(seconds, [&] { times.push_back(clock.now()); });
    clock.advance(1);
    EXPECT_EQ(times, std::vector<double>({ 0.25, 0.5, 0.75 }));
    EXPECT_EQ(clock.now(), 1);
}

TEST_F(SteppedTime, ATurnOfTheMainRunLoopRunsOtherQueuesFirst)
{
    std::vector<std::string> lines;
    const DispatchQueue queue("q");
    DispatchQueue::main().async([&] { lines.emplace_back("main"); });
    queue.async([&] {
        lines.emplace_back("queue");
        DispatchQueue::main().async([&] { lines.emplace_back("main from queue"); });
    });
    clock.turnMainRunLoop();
    EXPECT_EQ(lines, std::vector<std::string>({ "queue", "main", "main from queue" }));
}

TEST_F(SteppedTime, AnAdvanceInsideABlockIsPartOfTheOuterOne)
{
    std::vector<double> times;
    DispatchQueue::main().after(1, [&] {
        clock.advance(2);
        times.push_back(clock.now());
    });
    DispatchQueue::main().after(2, [&] { times.push_back(clock.now()); });
    clock.advance(2);
    EXPECT_EQ(times, std::vector<double>({ 2, 3 }));
    EXPECT_EQ(clock.now(), 3);
}

TEST(MachineTime, NeverGoesBack)
{
    const SteadyClock clock;
    const double first = clock.now();
    EXPECT_GE(clock.now(), first);
    EXPECT_GT(clock.absoluteTime(), 789015845.0 - 31536000.0 * 10);
}

}
