// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Scheduler.h"

#include <atomic>
#include <memory>

namespace velmora {

/// Real threads on the machine's time: what is in force unless a test installs another. A serial queue borrows a
/// thread of a pool while it has blocks; the concurrent one borrows as many as it has blocks, up to a limit. A thread
/// without work sleeps until there is some.
class ThreadScheduler final : public Scheduler {
public:
    ThreadScheduler();
    ~ThreadScheduler() override; ///< Never called for the process's own: threads end with the process.

    const Clock& clock() const override { return clock_; }
    void add(const std::shared_ptr<QueueState>& queue, Block block) override;
    void blockAdded(const std::shared_ptr<QueueState>& queue) override;
    void deadlineAdded(const std::shared_ptr<QueueState>& queue, double when) override;
    void runSync(const std::shared_ptr<QueueState>& queue, const Block& block) override;
    bool waitForWork(QueueState& runLoop, double seconds) override;
    void runUntil(const std::function<bool()>& done) override;

private:
    class Pool;
    class Alarm;

    void startDraining(const std::shared_ptr<QueueState>& queue);
    void drain(const std::shared_ptr<QueueState>& queue);
    void drainConcurrently(const std::shared_ptr<QueueState>& queue);
    bool takeConcurrentThread();

    SteadyClock clock_;
    std::unique_ptr<Pool> pool_;
    std::unique_ptr<Alarm> alarm_;
    std::atomic<int> concurrentThreads_ { 0 };
};

}
