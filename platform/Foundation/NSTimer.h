// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/NSObject.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <string>

namespace velmora {

/// Sends a selector later, on the run loop of the thread that scheduled it, by the clock in force.
class VELMORA_EXPORT NSTimer : public NSObject {
public:
    /// Holds `target` until it has fired for the last time or was invalidated. The selector takes no argument, or
    /// the timer. Letting go of the timer does not cancel it. A repeating one skips what it missed.
    static std::shared_ptr<NSTimer> scheduledTimerWithTimeInterval(double seconds, std::shared_ptr<NSObject> target,
        std::string selector, Value userInfo = {}, bool repeats = false);

    NSTimer() = default;
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    /// It never fires afterwards, and lets its target go. From any thread; another thread that it is firing on ends
    /// that call.
    void invalidate();
    bool isValid() const { return valid_; }
    double timeInterval() const { return interval_; }
    const Value& userInfo() const { return userInfo_; }

private:
    void schedule(double seconds);
    void fire();

    double interval_ = 0;
    double due_ = 0; // touched on the loop's own thread
    bool repeats_ = false;
    std::string selector_;
    Value userInfo_;
    std::atomic<bool> valid_ { false };
    std::mutex mutex_; // guards the target
    std::shared_ptr<NSObject> target_;
};

}
