// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Clock.h"
#include "platform/Foundation/DispatchQueue.h"

#include <atomic>
#include <functional>

namespace velmora {

class SteppedScheduler;

/// Time that is moved by hand. Together with the stepped scheduler it runs every block, timer and animation on the
/// thread that moves it, in order of time.
class VELMORA_EXPORT ManualClock final : public Clock {
public:
    /// Starts at `absoluteTime` (default: 2026-01-02 03:04:05 UTC); now() starts at 0.
    explicit ManualClock(double absoluteTime = 789015845.0);

    double now() const override { return now_; }
    double absoluteTime() const override { return start_ + now_; }
    /// The wall clock jumps; timers do not.
    void setAbsoluteTime(double seconds) { start_ = seconds - now_; }

    /// Walks through every deadline on the way, running what becomes ready, until nothing is left at the end time.
    /// 0 runs what is ready now.
    void advance(double seconds);
    /// Runs the other queues until they have nothing ready, then one turn of the main run loop.
    void turnMainRunLoop();
    /// Runs all ready blocks of one queue.
    void drain(const DispatchQueue& queue);

private:
    friend class SteppedScheduler;

    std::atomic<double> now_ { 0 };
    std::atomic<double> start_;
    SteppedScheduler* scheduler_ = nullptr;
};

}
