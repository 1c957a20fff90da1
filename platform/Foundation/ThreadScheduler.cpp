// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/ThreadScheduler.h"

#include "platform/Foundation/NSRunLoop.h"
#include "platform/Foundation/QueueState.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

namespace velmora {

/// Threads that are made when all others are busy, and kept: a queue that waits for another never starves it.
class ThreadScheduler::Pool {
public:
    void post(Block job)
    {
        const std::lock_guard lock(mutex_);
        jobs_.push_back(std::move(job));
        if (jobs_.size() > idle_)
            std::thread([this] { work(); }).detach();
        else
            changed_.notify_one();
    }

private:
    void work()
    {
        std::unique_lock lock(mutex_);
        while (true) {
            while (!jobs_.empty()) {
                Block job = std::move(jobs_.front());
                jobs_.pop_front();
                lock.unlock();
                job();
                job = nullptr;
                lock.lock();
            }
            ++idle_;
            changed_.wait(lock, [this] { return !jobs_.empty(); });
            --idle_;
        }
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Block> jobs_;
    std::size_t idle_ = 0;
};

/// One thread that sleeps until the next deadline of a queue without a thread of its own.
class ThreadScheduler::Alarm {
public:
    explicit Alarm(ThreadScheduler& scheduler)
        : scheduler_(scheduler)
    {
    }

    void add(const std::shared_ptr<QueueState>& queue, double when)
    {
        const std::lock_guard lock(mutex_);
        if (!std::exchange(started_, true))
            std::thread([this] { watch(); }).detach();
        deadlines_.emplace(when, queue);
        changed_.notify_one();
    }

private:
    void watch()
    {
        std::unique_lock lock(mutex_);
        while (true) {
            if (deadlines_.empty()) {
                changed_.wait(lock);
                continue;
            }
            constexpr double longest = 1e6; // far from what overflows the machine's clock
            const double now = scheduler_.clock_.now();
            const auto first = deadlines_.begin();
            if (first->first > now) {
                changed_.wait_for(lock, std::chrono::duration<double>(std::min(first->first - now, longest)));
                continue;
            }
            auto queue = std::move(first->second);
            deadlines_.erase(first);
            lock.unlock();
            for (std::size_t released = queue->releaseDue(now); released > 0; --released)
                scheduler_.blockAdded(queue);
            queue = nullptr;
            lock.lock();
        }
    }

    ThreadScheduler& scheduler_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::multimap<double, std::shared_ptr<QueueState>> deadlines_;
    bool started_ = false;
};

ThreadScheduler::ThreadScheduler()
    : pool_(std::make_unique<Pool>())
    , alarm_(std::make_unique<Alarm>(*this))
{
}

ThreadScheduler::~ThreadScheduler() = default;

void ThreadScheduler::add(const std::shared_ptr<QueueState>& queue, Block block)
{
    if (queue->kind() != QueueState::Kind::Serial)
        Scheduler::add(queue, std::move(block));
    else if (queue->addAndTryEnter(std::move(block)))
        startDraining(queue);
}

void ThreadScheduler::startDraining(const std::shared_ptr<QueueState>& queue)
{
    pool_->post([this, queue] { drain(queue); });
}

void ThreadScheduler::blockAdded(const std::shared_ptr<QueueState>& queue)
{
    if (queue->isRunLoop())
        return; // its own thread runs it
    if (queue->kind() == QueueState::Kind::Concurrent)
        drainConcurrently(queue);
    else if (queue->tryEnter())
        startDraining(queue);
}

void ThreadScheduler::drain(const std::shared_ptr<QueueState>& queue)
{
    // The queue was entered on this job's behalf. A block that is added between the last look and leaving finds the
    // queue taken, hence the look after leaving.
    do {
        while (queue->runReady()) { }
        queue->leave();
    } while (queue->readyCount() > 0 && queue->tryEnter());
}

bool ThreadScheduler::takeConcurrentThread()
{
    constexpr int most = 64; // beyond it blocks wait, rather than take every thread that the system has
    int taken = concurrentThreads_;
    while (taken < most)
        if (concurrentThreads_.compare_exchange_weak(taken, taken + 1))
            return true;
    return false;
}

void ThreadScheduler::drainConcurrently(const std::shared_ptr<QueueState>& queue)
{
    if (!takeConcurrentThread())
        return; // each of those that were taken looks once more after it was given back
    pool_->post([this, queue] {
        do {
            while (queue->runNext()) { }
            --concurrentThreads_;
        } while (queue->readyCount() > 0 && takeConcurrentThread());
    });
}

void ThreadScheduler::deadlineAdded(const std::shared_ptr<QueueState>& queue, double when)
{
    if (queue->isRunLoop())
        queue->armDescriptor(clock_.now()); // who waits on it sleeps until the deadline that was the first before
    else
        alarm_->add(queue, when);
}

void ThreadScheduler::runSync(const std::shared_ptr<QueueState>& queue, const Block& block)
{
    if (queue->isRunLoop() || !queue->tryEnterIdle()) {
        queue->addAndWait(block, [&] { blockAdded(queue); });
        return;
    }

    struct Leaving {
        ThreadScheduler& scheduler;
        const std::shared_ptr<QueueState>& queue;
        ~Leaving()
        {
            queue->leave();
            if (queue->readyCount() > 0)
                scheduler.blockAdded(queue);
        }
    };
    const Leaving leaving { *this, queue };
    queue->runAs(block);
}

bool ThreadScheduler::waitForWork(QueueState& runLoop, double seconds)
{
    runLoop.waitForWork(seconds);
    return true; // another thread may always bring some
}

void ThreadScheduler::runUntil(const std::function<bool()>& done)
{
    constexpr double lookAgain = 0.01; // for conditions that no block of this loop announces
    NSRunLoop& loop = NSRunLoop::currentRunLoop();
    while (!done())
        loop.turn(lookAgain);
}

}
