// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/ManualClock.h"
#include "platform/Foundation/Scheduler.h"

#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace velmora {

/// Runs everything on the calling thread, in order of time. Blocks that other threads add wait for it too. When it
/// ends, what still waits is forgotten, also on the main run loop: its times mean nothing to another clock.
class VELMORA_EXPORT SteppedScheduler final : public Scheduler {
public:
    explicit SteppedScheduler(ManualClock& clock);
    ~SteppedScheduler() override;

    const Clock& clock() const override { return clock_; }
    void blockAdded(const std::shared_ptr<QueueState>& queue) override;
    void deadlineAdded(const std::shared_ptr<QueueState>& queue, double when) override;
    void runSync(const std::shared_ptr<QueueState>& queue, const Block& block) override;
    bool waitForWork(QueueState& runLoop, double seconds) override;
    void runUntil(const std::function<bool()>& done) override;

    void advanceTo(double time);
    void turnMainRunLoop();

private:
    bool runNextReady();
    std::shared_ptr<QueueState> enterFirstReady();
    void forgetEntry(const std::shared_ptr<QueueState>& queue);
    bool discardWaiting();
    void runBackground();
    void runEverything();
    std::optional<double> nextDeadline();
    void releaseDue();
    bool stepTo(double limit);

    ManualClock& clock_;
    std::mutex mutex_;
    std::deque<std::shared_ptr<QueueState>> ready_; // one entry for each ready block, in the order of adding
    std::vector<std::shared_ptr<QueueState>> timed_; // queues that have deadlines
};

}
