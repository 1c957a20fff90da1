// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/NSRunLoop.h"

#include "platform/Foundation/NSTimer.h"
#include "platform/Foundation/Scheduler.h"

#include "tests/support/SteppedTest.h"

#include <gtest/gtest.h>
#include <poll.h>

#include <future>
#include <thread>

#include "tests/platform/Foundation/Lamp.h"

namespace velmora::tests {

namespace {
using Lines = std::vector<std::string>;

class RunLoops : public SteppedTest {
protected:
    NSRunLoop& loop = NSRunLoop::mainRunLoop();
    Lines lines;
    Block write(const std::string& line)
    {
        return [this, line] { lines.push_back(line); };
    }
};

/// Whether the descriptor is readable within `milliseconds`.
bool readable(int descriptor, int milliseconds = 0)
{
    pollfd waiting { descriptor, POLLIN, 0 };
    return poll(&waiting, 1, milliseconds) == 1 && (waiting.revents & POLLIN) != 0;
}
constexpr int long_enough = 10'000; // a test that waits this long has failed
}

TEST_F(RunLoops, BlocksAddedInATurnWaitForTheNext)
{
    loop.perform([this] {
        lines.emplace_back("first");
        loop.perform(write("second"));
    });
    EXPECT_TRUE(loop.turn());
    EXPECT_EQ(lines, Lines({ "first" }));
    EXPECT_TRUE(loop.turn());
    EXPECT_EQ(lines, Lines({ "first", "second" }));
    EXPECT_FALSE(loop.turn());
}

TEST_F(RunLoops, ATurnRunsReadyBlocksBeforeThoseThatHaveJustComeDue)
{
    loop.performAfter(0, write("due"));
    loop.perform(write("ready"));
    loop.turn();
    EXPECT_EQ(lines, Lines({ "ready", "due" }));
}

TEST_F(RunLoops, TheMainRunLoopIsTheMainQueue)
{
    EXPECT_EQ(loop.queue(), DispatchQueue::main());
    EXPECT_EQ(&NSRunLoop::currentRunLoop(), &loop);
}

TEST_F(RunLoops, RunEndsAfterTheTurnThatStopsIt)
{
    loop.perform([this] { loop.stop(); });
    loop.perform(write("same turn"));
    loop.performAfter(3, write("too late"));
    loop.run();
    EXPECT_EQ(lines, Lines({ "same turn" }));
}

TEST_F(RunLoops, StopEndsTheInnermostRunOnly)
{
    loop.perform([this] {
        loop.perform([this] { loop.stop(); });
        loop.run();
        lines.emplace_back("inner run ended");
        loop.perform(write("outer run goes on"));
        loop.perform([this] { loop.stop(); });
    });
    loop.run();
    EXPECT_EQ(lines, Lines({ "inner run ended", "outer run goes on" }));
}

TEST_F(RunLoops, RunMovesTimeFromDeadlineToDeadlineAndReturnsWhenNothingIsLeft)
{
    loop.performAfter(2, write("two"));
    DispatchQueue("q").after(1, write("one"));
    loop.run();
    EXPECT_EQ(lines, Lines({ "one", "two" }));
    EXPECT_EQ(clock.now(), 2);
}

TEST_F(RunLoops, ATurnThatWaitsMovesTimeNoFurtherThanToItsWork)
{
    loop.performAfter(2, write("two"));
    EXPECT_FALSE(loop.turn(0.5));
    EXPECT_EQ(clock.now(), 0.5);
    EXPECT_TRUE(loop.turn(100));
    EXPECT_EQ(clock.now(), 2);
}

TEST_F(RunLoops, RunUntilTurnsUntilItsConditionHolds)
{
    bool done = false;
    loop.performAfter(7, [&] { done = true; });
    scheduler.runUntil([&] { return done; });
    EXPECT_TRUE(done);
    EXPECT_EQ(clock.now(), 7);
}

TEST_F(RunLoops, TheDescriptorIsReadableWhileBlocksAreReady)
{
    const int descriptor = loop.descriptor();
    EXPECT_FALSE(readable(descriptor));
    loop.perform([this] { loop.perform([] {}); });
    EXPECT_TRUE(readable(descriptor));
    loop.turn();
    EXPECT_TRUE(readable(descriptor)); // the second block waits for the next turn
    loop.turn();
    EXPECT_FALSE(readable(descriptor));
}

TEST(RunLoopDeathTest, TurningTheLoopOfAnotherThreadStopsTheProcess)
{
    EXPECT_DEATH(std::thread([] { NSRunLoop::mainRunLoop().turn(); }).join(),
        "run loop \"org.velmora.main\" was turned by another thread");
}

TEST(RunLoopThreads, ABlockOfAnotherThreadMakesTheDescriptorReadable)
{
    NSRunLoop& loop = NSRunLoop::mainRunLoop();
    const int descriptor = loop.descriptor();
    bool ran = false;
    std::thread other([&] { DispatchQueue::main().async([&] { ran = true; }); });
    EXPECT_TRUE(readable(descriptor, long_enough));
    loop.turn();
    EXPECT_TRUE(ran);
    other.join();
}

TEST(RunLoopThreads, ADeadlineThatIsAddedBetweenTurnsMakesTheDescriptorReadableInTime)
{
    NSRunLoop& loop = NSRunLoop::mainRunLoop();
    const int descriptor = loop.descriptor();
    loop.turn();
    bool ran = false;
    std::thread([&] { loop.performAfter(0.02, [&] { ran = true; }); }).join();
    EXPECT_FALSE(readable(descriptor));
    EXPECT_TRUE(readable(descriptor, long_enough));
    loop.turn(0.5);
    EXPECT_TRUE(ran);
    EXPECT_FALSE(readable(descriptor));
}

TEST(RunLoopThreads, ADeadlineNearerThanTheOneWaitedForWakesTheLoop)
{
    NSRunLoop& loop = NSRunLoop::mainRunLoop();
    std::atomic<bool> near { false };
    std::thread other([&] { loop.performAfter(0.01, [&] { near = true; }); });
    EXPECT_TRUE(loop.turn(10));
    EXPECT_TRUE(near);
    other.join();
}

TEST(RunLoopThreads, SyncOnTheMainQueueRunsOnTheMainThread)
{
    const auto mainThread = std::this_thread::get_id();
    std::thread::id ranOn;
    std::thread other([&] {
        DispatchQueue::main().sync([&] { ranOn = std::this_thread::get_id(); });
        NSRunLoop::mainRunLoop().stop();
    });
    NSRunLoop::mainRunLoop().run();
    other.join();
    EXPECT_EQ(ranOn, mainThread);
}

TEST(RunLoopThreads, SyncOnTheMainQueueOfASteppedSchedulerRunsOnTheMainThreadToo)
{
    ManualClock clock;
    SteppedScheduler scheduler(clock);
    const ScopedScheduler inForce(scheduler);
    const auto mainThread = std::this_thread::get_id();
    std::atomic<bool> done { false };
    std::thread::id ranOn;
    std::thread other([&] {
        DispatchQueue::main().sync([&] { ranOn = std::this_thread::get_id(); });
        done = true;
    });
    while (!done)
        clock.turnMainRunLoop();
    other.join();
    EXPECT_EQ(ranOn, mainThread);
}

TEST(RunLoopThreads, AWorkerHasALoopOfItsOwnThatOthersGiveBlocksTo)
{
    std::promise<NSRunLoop*> loop;
    bool onWorker = false;
    std::thread worker([&] {
        loop.set_value(&NSRunLoop::currentRunLoop());
        NSRunLoop::currentRunLoop().run();
    });
    NSRunLoop& workers = *loop.get_future().get();
    EXPECT_NE(&workers, &NSRunLoop::mainRunLoop());
    workers.queue().sync([&] { onWorker = std::this_thread::get_id() == worker.get_id(); });
    workers.stop();
    worker.join();
    EXPECT_TRUE(onWorker);
}

TEST(RunLoopThreads, ATimerScheduledOnAWorkerFiresThere)
{
    const auto lamp = make<Lamp>();
    std::thread worker([&] {
        const auto timer = NSTimer::scheduledTimerWithTimeInterval(0.01, lamp, "hearNothing");
        while (timer->isValid())
            NSRunLoop::currentRunLoop().turn(1);
    });
    worker.join();
    EXPECT_EQ(lamp->heard, Lines({ "nothing" }));
}

TEST(RunLoopThreads, RunUntilLooksAgainWhenNoBlockAnnouncesTheCondition)
{
    std::atomic<bool> done { false };
    std::thread other([&] { done = true; });
    Scheduler::current().runUntil([&] { return done.load(); });
    other.join();
    EXPECT_TRUE(done);
}

}
