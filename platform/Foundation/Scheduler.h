// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Clock.h"
#include "platform/Foundation/DispatchQueue.h"

#include <functional>
#include <memory>

namespace velmora {

/// Decides on which thread, and when, the blocks of queues and timers run. One is in force for the process: threads
/// on the machine's time, unless another was installed.
class VELMORA_EXPORT Scheduler {
public:
    virtual ~Scheduler() = default;
    virtual const Clock& clock() const = 0;

    /// Adds a block to `queue`, to run when those before it have run.
    virtual void add(const std::shared_ptr<QueueState>& queue, Block block);
    /// `queue` has a block that may run.
    virtual void blockAdded(const std::shared_ptr<QueueState>& queue) = 0;
    /// `queue` has a block that may run at `when`.
    virtual void deadlineAdded(const std::shared_ptr<QueueState>& queue, double when) = 0;
    /// Runs `block` as the queue's next, behind those that wait, and returns when it has run.
    virtual void runSync(const std::shared_ptr<QueueState>& queue, const Block& block) = 0;
    /// Lets up to `seconds` pass, but no more than until the calling thread's run loop has something to do. False when
    /// nothing is left that could come.
    virtual bool waitForWork(QueueState& runLoop, double seconds) = 0;
    /// Turns the calling thread's run loop until `done` says so; with time that is moved by hand, moves it from
    /// deadline to deadline and returns when nothing is left to wait for.
    virtual void runUntil(const std::function<bool()>& done) = 0;

    static Scheduler& current();
    /// Null installs the threads again. The caller keeps `scheduler` alive until it has installed another.
    static void install(Scheduler* scheduler);
};

/// Replaces the scheduler for a scope.
class VELMORA_EXPORT ScopedScheduler {
public:
    explicit ScopedScheduler(Scheduler& scheduler);
    ~ScopedScheduler();
    ScopedScheduler(const ScopedScheduler&) = delete;
    ScopedScheduler& operator=(const ScopedScheduler&) = delete;

private:
    Scheduler* before_;
};

}
