// SPDX-License-Identifier: Apache-2.0
#include "drivers/v4l2/Loop.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

namespace velmora::drivers::v4l2 {

using cameras::steadySeconds;

struct Loop::Watched {
    int descriptor;
    short events;
    std::function<void(short)> happened;
};

class Loop::Timer final : public cameras::LoopTimer {
public:
    Timer(Loop& loop, std::function<void()> fire)
        : loop_(loop)
        , fire_(std::move(fire))
    {
        loop_.timers_.push_back(this);
    }
    ~Timer() override { loop_.timers_.remove(this); }
    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;

    void once(double seconds) override { set(seconds, 0); }
    void every(double seconds) override { set(seconds, seconds); }
    void stop() override { due_.reset(); }

    std::optional<double> due() const { return due_; }
    void fire()
    {
        due_ = interval_ > 0 ? std::optional(steadySeconds() + interval_) : std::nullopt;
        const auto call = fire_; // it may end the timer
        call();
    }

private:
    void set(double first, double then)
    {
        due_ = steadySeconds() + first;
        interval_ = then;
        loop_.wake();
    }

    Loop& loop_;
    const std::function<void()> fire_;
    std::optional<double> due_;
    double interval_ = 0;
};

Loop::Loop()
    : wakeUp_(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC))
    , thread_([this] { run(); })
{
}

Loop::~Loop()
{
    {
        const std::lock_guard guard(mutex_);
        ends_ = true;
    }
    wake();
    thread_.join();
    close(wakeUp_);
}

std::shared_ptr<Loop> Loop::begin()
{
    return { new Loop, [](Loop* loop) {
                if (loop->thread_.get_id() != std::this_thread::get_id())
                    delete loop;
                else // which cannot wait for itself
                    std::thread([loop] { delete loop; }).detach();
            } };
}

std::unique_ptr<cameras::LoopTimer> Loop::timer(std::function<void()> fire)
{
    return std::make_unique<Timer>(*this, std::move(fire));
}

Loop::Watch Loop::watch(int descriptor, short events, std::function<void(short)> happened)
{
    auto watched = std::make_shared<Watched>(Watched { descriptor, events, std::move(happened) });
    watched_.push_back(watched);
    wake();
    return watched;
}

void Loop::wake() const
{
    const std::uint64_t one = 1;
    static_cast<void>(!write(wakeUp_, &one, sizeof one)); // a full counter wakes as well
}

int Loop::untilNextTimer() const
{
    std::optional<double> next;
    for (const Timer* timer : timers_)
        if (const auto due = timer->due())
            next = std::min(next.value_or(*due), *due);
    constexpr double millisecondsASecond = 1000;
    return next ? std::max(0, static_cast<int>(std::ceil((*next - steadySeconds()) * millisecondsASecond))) : -1;
}

void Loop::fireTimers()
{
    const double now = steadySeconds();
    const auto all = timers_;
    for (Timer* timer : all)
        if (std::find(timers_.begin(), timers_.end(), timer) != timers_.end() && timer->due() && *timer->due() <= now)
            timer->fire();
}

void Loop::round(std::unique_lock<std::recursive_mutex>& lock)
{
    std::vector<pollfd> descriptors { { wakeUp_, POLLIN, 0 } };
    std::vector<std::weak_ptr<Watched>> polled;
    watched_.remove_if([](const auto& each) { return each.expired(); });
    for (const auto& each : watched_)
        if (const auto watched = each.lock()) {
            descriptors.push_back({ watched->descriptor, watched->events, 0 });
            polled.push_back(each);
        }
    const int patience = untilNextTimer();
    lock.unlock();
    poll(descriptors.data(), descriptors.size(), patience);
    lock.lock();
    std::uint64_t count = 0;
    static_cast<void>(!read(wakeUp_, &count, sizeof count));
    for (std::size_t i = 0; i < polled.size() && !ends_; ++i)
        if (descriptors[i + 1].revents != 0)
            if (const auto watched = polled[i].lock())
                watched->happened(descriptors[i + 1].revents);
    if (!ends_)
        fireTimers();
}

void Loop::run()
{
    std::unique_lock lock(mutex_);
    while (!ends_)
        round(lock);
}

}
