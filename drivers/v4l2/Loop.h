// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "drivers/CameraSource.h"

#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <thread>

namespace velmora::drivers::v4l2 {

/// The thread that waits for all devices of a capture, and its timers.
class Loop final : public cameras::EventLoop {
public:
    /// Ends with its last owner, also where that one lets it go on the loop's own thread.
    static std::shared_ptr<Loop> begin();
    ~Loop() override;
    Loop(const Loop&) = delete;
    Loop& operator=(const Loop&) = delete;

    void lock() override { mutex_.lock(); }
    void unlock() override { mutex_.unlock(); }
    std::unique_ptr<cameras::LoopTimer> timer(std::function<void()> fire) override;

    // With the loop locked.
    /// Calls, with what poll() told, when one of `events` happens to a descriptor, until the watch is ended; that may
    /// happen in the call.
    using Watch = std::shared_ptr<void>;
    Watch watch(int descriptor, short events, std::function<void(short)> happened);

private:
    struct Watched;
    class Timer;

    Loop();
    void run();
    void wake() const;
    int untilNextTimer() const; // milliseconds; -1: none
    void fireTimers();
    void round(std::unique_lock<std::recursive_mutex>& lock);

    const int wakeUp_; // an eventfd
    mutable std::recursive_mutex mutex_;
    std::list<std::weak_ptr<Watched>> watched_;
    std::list<Timer*> timers_;
    bool ends_ = false;
    std::thread thread_;
};

}
