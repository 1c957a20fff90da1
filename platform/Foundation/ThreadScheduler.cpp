// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/ThreadScheduler.h"

#include "platform/Foundation/NSRunLoop.h"
#include "platform/Foundation/QueueState.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <exception>
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
            const double now = scheduler_.clock_.now();
            const auto first = deadlines_.begin();
            if (first->first > now) {
                changed_.wait_for(lock, std::chrono::duration<double>(first->first - now));
                continue;
            }
            const auto queue = std::move(first->second);
            deadlines_.erase(first);
            lock.unlock();
            if (queue->releaseDue(now))
                scheduler_.blockAdded(queue);
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

void ThreadScheduler::blockAdded(const std::shared_ptr<QueueState>& queue)
{
    if (queue->isRunLoop())
        return; // its own thread runs it
    if (queue->kind() == QueueState::Kind::Concurrent)
        pool_->post([queue] { queue->runNext(); });
    else if (queue->tryEnter())
        pool_->post([this, queue] { drain(queue); });
}

void ThreadScheduler::drain(const std::shared_ptr<QueueState>& queue)
{
    // The queue was entered on this job's behalf. A block that is added between the last look and leaving finds the
    // queue taken, hence the look after leaving.
    do {
        while (queue->runNext()) { }
        queue->leave();
    } while (queue->readyCount() > 0 && queue->tryEnter());
}

void ThreadScheduler::deadlineAdded(const std::shared_ptr<QueueState>& queue, double when)
{
    if (!queue->isRunLoop())
        alarm_->add(queue, when);
}

void ThreadScheduler::runSync(const std::shared_ptr<QueueState>& queue, const Block& block)
{
    if (!queue->isRunLoop() && queue->tryEnterIdle()) {
        const auto leave = [&] {
            queue->leave();
            if (queue->readyCount() > 0)
                blockAdded(queue);
        };
        try {
            queue->runAs(block);
        } catch (...) {
            leave();
            throw;
        }
        leave();
        return;
    }

    std::mutex mutex;
    std::condition_variable changed;
    bool done = false;
    std::exception_ptr thrown;
    queue->add([&] {
        try {
            block();
        } catch (...) {
            thrown = std::current_exception();
        }
        const std::lock_guard lock(mutex);
        done = true;
        changed.notify_one();
    });
    blockAdded(queue);
    std::unique_lock lock(mutex);
    changed.wait(lock, [&] { return done; });
    if (thrown)
        std::rethrow_exception(thrown);
}

void ThreadScheduler::runUntil(const std::function<bool()>& done)
{
    constexpr double lookAgain = 0.01; // for conditions that no block of this loop announces
    NSRunLoop& loop = NSRunLoop::currentRunLoop();
    while (!done())
        loop.turn(lookAgain);
}

}
