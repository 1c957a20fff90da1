// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/DispatchQueue.h"

#include "platform/Foundation/NSRunLoop.h"

#include "tests/support/SteppedTest.h"

#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <semaphore>
#include <stdexcept>
#include <thread>

namespace velmora::tests {

namespace {
using Lines = std::vector<std::string>;

class SteppedQueues : public SteppedTest {
protected:
    Lines lines;
    Block write(const std::string& line)
    {
        return [this, line] { lines.push_back(line); };
    }
};

/// Adds a block to the queue when it ends.
class Farewell {
public:
    Farewell(DispatchQueue queue, Block block)
        : queue_(std::move(queue))
        , block_(std::move(block))
    {
    }
    ~Farewell() { queue_.async(block_); }

private:
    DispatchQueue queue_;
    Block block_;
};
}

TEST_F(SteppedQueues, NothingRunsBeforeTheClockIsTouched)
{
    const DispatchQueue queue("q");
    queue.async(write("a"));
    EXPECT_EQ(lines, Lines());
    clock.advance(0);
    EXPECT_EQ(lines, Lines({ "a" }));
}

TEST_F(SteppedQueues, BlocksRunInTheOrderInWhichTheyWereAddedAcrossQueues)
{
    const DispatchQueue one("one");
    const DispatchQueue two("two");
    one.async(write("one a"));
    two.async(write("two b"));
    one.async(write("one c"));
    clock.advance(0);
    EXPECT_EQ(lines, Lines({ "one a", "two b", "one c" }));
}

TEST_F(SteppedQueues, SyncRunsWhatWaitsFirst)
{
    const DispatchQueue queue("q");
    queue.async(write("waiting"));
    queue.sync(write("sync"));
    EXPECT_EQ(lines, Lines({ "waiting", "sync" }));
}

TEST_F(SteppedQueues, ASyncLeavesNoPlaceBehindForLaterBlocks)
{
    const DispatchQueue one("one");
    const DispatchQueue two("two");
    one.async(write("one a"));
    one.sync([] {});
    two.async(write("two b"));
    one.async(write("one c"));
    clock.advance(0);
    EXPECT_EQ(lines, Lines({ "one a", "two b", "one c" }));
}

TEST_F(SteppedQueues, SyncLeavesTheBlocksOfTheMainQueueForTheNextTurn)
{
    const DispatchQueue queue("q");
    DispatchQueue::main().async(write("main"));
    queue.sync(write("sync"));
    EXPECT_EQ(lines, Lines({ "sync" }));
}

TEST_F(SteppedQueues, TheMainQueueIsNeverInline)
{
    DispatchQueue::main().async([this] {
        lines.emplace_back("first");
        DispatchQueue::main().async(write("second"));
        lines.emplace_back("still first");
    });
    clock.advance(0);
    EXPECT_EQ(lines, Lines({ "first", "still first", "second" }));
}

TEST_F(SteppedQueues, DelayedBlocksComeInTheOrderOfTheirTimes)
{
    const DispatchQueue queue("q");
    queue.after(0.5, write("late"));
    DispatchQueue::main().after(0.25, write("early"));
    clock.advance(0.25);
    EXPECT_EQ(lines, Lines({ "early" }));
    clock.advance(0.25);
    EXPECT_EQ(lines, Lines({ "early", "late" }));
}

TEST_F(SteppedQueues, SeveralBlocksOfOneTimeAllRun)
{
    const DispatchQueue queue("q");
    queue.async(write("ready"));
    for (const char* name : { "a", "b", "c" })
        queue.after(1, write(name));
    DispatchQueue::global().after(1, write("global d"));
    DispatchQueue::global().after(1, write("global e"));
    clock.advance(1);
    EXPECT_EQ(lines, Lines({ "ready", "a", "b", "c", "global d", "global e" }));
}

TEST_F(SteppedQueues, ADeadlineOfADeadlineIsMetOnTheWay)
{
    const DispatchQueue queue("q");
    std::vector<double> times;
    queue.after(1, [&] { queue.after(1, [&] { times.push_back(clock.now()); }); });
    clock.advance(5);
    EXPECT_EQ(times, std::vector<double>({ 2 }));
    EXPECT_EQ(clock.now(), 5);
}

TEST_F(SteppedQueues, DrainRunsOneQueueOnly)
{
    const DispatchQueue one("one");
    const DispatchQueue two("two");
    one.async(write("one"));
    two.async(write("two"));
    clock.drain(two);
    EXPECT_EQ(lines, Lines({ "two" }));
}

TEST_F(SteppedQueues, ABlockKnowsItsQueueAndLabel)
{
    const DispatchQueue queue("camera");
    queue.async([&] {
        EXPECT_TRUE(queue.isCurrent());
        EXPECT_EQ(DispatchQueue::currentLabel(), "camera");
    });
    clock.advance(0);
    EXPECT_FALSE(queue.isCurrent());
    EXPECT_EQ(DispatchQueue::currentLabel(), "");
}

TEST_F(SteppedQueues, WaitingBlocksOutliveTheirQueue)
{
    DispatchQueue("short-lived").async(write("ran"));
    clock.advance(0);
    EXPECT_EQ(lines, Lines({ "ran" }));
}

TEST_F(SteppedQueues, ABlockEndsOutsideTheLockAndInsideItsQueue)
{
    const DispatchQueue queue("q");
    bool inside = false;
    auto farewell = std::make_shared<Farewell>(queue, write("farewell"));
    auto observer = std::shared_ptr<void>(nullptr, [&](void*) { inside = queue.isCurrent(); });
    queue.async([farewell, observer] {});
    farewell.reset();
    observer.reset();
    clock.advance(0);
    EXPECT_TRUE(inside);
    EXPECT_EQ(lines, Lines({ "farewell" }));
}

TEST_F(SteppedQueues, WhatASyncBlockThrowsArrivesAndTheQueueGoesOn)
{
    const DispatchQueue queue("q");
    EXPECT_THROW(queue.sync([] { throw std::runtime_error("no"); }), std::runtime_error);
    queue.async(write("after"));
    clock.advance(0);
    EXPECT_EQ(lines, Lines({ "after" }));
}

TEST_F(SteppedQueues, WhatABlockThrowsLeavesTheQueueUsable)
{
    const DispatchQueue queue("q");
    queue.async([] { throw std::runtime_error("no"); });
    EXPECT_THROW(clock.advance(0), std::runtime_error);
    queue.sync(write("after"));
    EXPECT_EQ(lines, Lines({ "after" }));
}

TEST_F(SteppedQueues, AJumpOfTheWallClockMovesNoDeadline)
{
    DispatchQueue::main().after(1, write("due"));
    clock.setAbsoluteTime(0);
    clock.advance(0.5);
    EXPECT_EQ(lines, Lines());
}

TEST(SteppedScheduling, WhatStillWaitsWhenItEndsIsForgotten)
{
    auto captured = std::make_shared<int>(1);
    const std::weak_ptr<int> weak = captured;
    bool ran = false;
    {
        ManualClock clock;
        SteppedScheduler scheduler(clock);
        const ScopedScheduler inForce(scheduler);
        DispatchQueue::main().after(1, [captured] {});
        const auto farewell = std::make_shared<Farewell>(DispatchQueue("q"), [&] { ran = true; });
        DispatchQueue::main().async([farewell] {});
        captured.reset();
    }
    EXPECT_TRUE(weak.expired());
    EXPECT_FALSE(NSRunLoop::mainRunLoop().turn());
    EXPECT_FALSE(ran);
}

TEST(DispatchQueueDeathTest, SyncFromItsOwnBlockStopsTheProcessWithTheQueuesName)
{
    const auto act = [] {
        ManualClock clock;
        SteppedScheduler scheduler(clock);
        const ScopedScheduler inForce(scheduler);
        const DispatchQueue queue("org.example.session");
        const DispatchQueue other("org.example.other");
        queue.async([&] { other.sync([&] { queue.sync([] {}); }); });
        clock.advance(0);
    };
    EXPECT_DEATH(act(), "serial queue \"org.example.session\" waits for itself");
}

TEST(DispatchQueueDeathTest, SyncFromItsOwnBlockOnThreadsStopsTheProcessWithTheQueuesName)
{
    const DispatchQueue queue("org.example.session");
    EXPECT_DEATH(queue.sync([&] { queue.sync([] {}); }), "serial queue \"org.example.session\" waits for itself");
    EXPECT_DEATH(DispatchQueue::main().sync([] {}), "serial queue \"org.velmora.main\" waits for itself");
}

TEST(DispatchQueueDeathTest, SyncThroughABusyQueueStopsTheProcessToo)
{
    const auto act = [] {
        const DispatchQueue queue("org.example.session");
        const DispatchQueue busy("org.example.busy");
        std::binary_semaphore begun { 0 };
        std::binary_semaphore goOn { 0 };
        busy.async([&] {
            begun.release();
            goOn.acquire();
        });
        begun.acquire();
        queue.sync([&] {
            goOn.release();
            busy.sync([&] { queue.sync([] {}); }); // on a thread of its own, while this one waits
        });
    };
    EXPECT_DEATH(act(), "serial queue \"org.example.session\" waits for itself");
}

TEST(DispatchQueueThreads, BlocksOfManyThreadsRunOneAtATimeAndEachInItsOrder)
{
    const DispatchQueue queue("q");
    std::vector<std::vector<int>> seen(4);
    int inside = 0;
    std::vector<std::thread> threads;
    for (std::size_t t = 0; t < seen.size(); ++t)
        threads.emplace_back([&, t] {
            for (int i = 0; i < 500; ++i)
                queue.async([&, t, i] {
                    EXPECT_EQ(++inside, 1);
                    seen[t].push_back(i);
                    --inside;
                });
        });
    for (auto& thread : threads)
        thread.join();
    queue.drain();
    std::vector<int> expected(500);
    for (int i = 0; i < 500; ++i)
        expected[static_cast<std::size_t>(i)] = i;
    for (const auto& each : seen)
        EXPECT_EQ(each, expected);
}

TEST(DispatchQueueThreads, SyncOnAnIdleQueueRunsOnTheCallersThread)
{
    const DispatchQueue queue("idle");
    std::thread::id ranOn;
    queue.sync([&] {
        ranOn = std::this_thread::get_id();
        EXPECT_TRUE(queue.isCurrent());
        EXPECT_EQ(DispatchQueue::currentLabel(), "idle");
    });
    EXPECT_EQ(ranOn, std::this_thread::get_id());
}

TEST(DispatchQueueThreads, SyncWaitsForWhatWasAddedBefore)
{
    const DispatchQueue queue("q");
    int count = 0;
    for (int round = 0; round < 200; ++round) {
        queue.async([&] { ++count; });
        queue.sync([&] { ++count; });
        EXPECT_EQ(count, 2 * (round + 1));
    }
}

TEST(DispatchQueueThreads, SyncsOfManyThreadsDoNotOverlap)
{
    const DispatchQueue queue("q");
    int count = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < 300; ++i) {
                queue.sync([&] { ++count; });
                queue.async([&] { ++count; });
            }
        });
    for (auto& thread : threads)
        thread.join();
    queue.sync([] {});
    EXPECT_EQ(count, 2400);
}

TEST(DispatchQueueThreads, WhatASyncBlockThrowsArrivesFromTheOtherThread)
{
    const DispatchQueue queue("busy");
    std::binary_semaphore goOn { 0 };
    queue.async([&] { goOn.acquire(); });
    std::thread release([&] { goOn.release(); });
    EXPECT_THROW(queue.sync([] { throw std::runtime_error("no"); }), std::runtime_error);
    release.join();
}

TEST(DispatchQueueThreads, TheWaitingQueuesAreCurrentInWhatTheyWaitFor)
{
    const DispatchQueue queue("waiting");
    const DispatchQueue busy("busy");
    std::binary_semaphore goOn { 0 };
    busy.async([&] { goOn.acquire(); });
    bool current = false;
    bool main = false;
    queue.sync([&] {
        std::thread release([&] { goOn.release(); });
        busy.sync([&] {
            current = queue.isCurrent() && busy.isCurrent();
            main = DispatchQueue::main().isCurrent();
        });
        release.join();
    });
    EXPECT_TRUE(current);
    EXPECT_TRUE(main); // the main thread waits for it
}

TEST(DispatchQueueThreads, DelayedBlocksOfTheConcurrentQueueAllRun)
{
    std::latch ran(50);
    for (int i = 0; i < 50; ++i)
        DispatchQueue::global().after(0.001, [&] { ran.count_down(); });
    ran.wait();
}

TEST(DispatchQueueThreads, TheConcurrentQueueRunsBlocksSideBySide)
{
    std::latch both(2);
    std::latch ended(2);
    for (int i = 0; i < 2; ++i)
        DispatchQueue::global().async([&] {
            both.arrive_and_wait(); // returns only when the other one runs at the same time
            ended.count_down();
        });
    ended.wait();
}

TEST(DispatchQueueThreads, ASerialQueueRunsWhileTheConcurrentOneHasTakenAllItsThreads)
{
    constexpr int blocks = 100; // more than it may run at a time
    std::latch ended(blocks);
    std::atomic<bool> release { false };
    for (int i = 0; i < blocks; ++i)
        DispatchQueue::global().async([&] {
            release.wait(false);
            ended.count_down();
        });
    const DispatchQueue queue("q");
    queue.async([&] {
        release = true;
        release.notify_all();
    });
    ended.wait();
}

TEST(DispatchQueueThreads, DelayedBlocksComeInTheOrderOfTheirTimes)
{
    const DispatchQueue queue("q");
    std::vector<int> order;
    std::latch ended(3);
    for (const int hundredths : { 3, 1, 2 })
        queue.after(hundredths * 0.01, [&, hundredths] {
            order.push_back(hundredths);
            ended.count_down();
        });
    ended.wait();
    EXPECT_EQ(order, std::vector<int>({ 1, 2, 3 }));
}

TEST(DispatchQueueThreads, WaitingBlocksOutliveTheirQueue)
{
    std::latch ran(2);
    DispatchQueue("short-lived").async([&] { ran.count_down(); });
    DispatchQueue("short-lived too").after(0.001, [&] { ran.count_down(); });
    ran.wait();
}

}
