// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/QueueState.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <vector>

namespace velmora {

namespace {

/// The queues whose blocks this thread is inside of, the innermost last.
thread_local std::vector<const QueueState*> running;

class RunningAs {
public:
    explicit RunningAs(const QueueState* queue) { running.push_back(queue); }
    ~RunningAs() { running.pop_back(); }
    RunningAs(const RunningAs&) = delete;
    RunningAs& operator=(const RunningAs&) = delete;
};

}

bool isMainThread()
{
    static thread_local const bool main = gettid() == getpid();
    return main;
}

/// An epoll descriptor over an event (blocks are ready) and a timer (a deadline has come): one number for a foreign
/// main loop to wait on.
struct QueueState::Descriptor {
    Descriptor()
        : all(epoll_create1(EPOLL_CLOEXEC))
        , event(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
        , timer(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK))
    {
        for (const int each : { event, timer }) {
            epoll_event wanted {};
            wanted.events = EPOLLIN;
            epoll_ctl(all, EPOLL_CTL_ADD, each, &wanted);
        }
    }
    ~Descriptor()
    {
        for (const int each : { all, event, timer })
            close(each);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int all, event, timer;
};

QueueState::QueueState(std::string label, Kind kind)
    : label_(std::move(label))
    , kind_(kind)
{
}

bool QueueState::belongsToThisThread() const
{
    return kind_ == Kind::MainRunLoop ? isMainThread() : std::this_thread::get_id() == thread_;
}

void QueueState::add(Block block)
{
    {
        const std::lock_guard lock(mutex_);
        ready_.push_back(std::move(block));
        signalDescriptor();
    }
    if (isRunLoop())
        changed_.notify_all();
}

void QueueState::addAt(double when, Block block)
{
    {
        const std::lock_guard lock(mutex_);
        timed_.emplace(when, std::move(block));
    }
    if (isRunLoop())
        wake();
}

bool QueueState::releaseDue(double now)
{
    const std::lock_guard lock(mutex_);
    const auto end = timed_.upper_bound(now);
    const bool any = end != timed_.begin();
    for (auto due = timed_.begin(); due != end; ++due)
        ready_.push_back(std::move(due->second));
    timed_.erase(timed_.begin(), end);
    if (any)
        signalDescriptor();
    return any;
}

std::optional<double> QueueState::nextDeadline() const
{
    const std::lock_guard lock(mutex_);
    return timed_.empty() ? std::nullopt : std::optional(timed_.begin()->first);
}

std::size_t QueueState::readyCount() const
{
    const std::lock_guard lock(mutex_);
    return ready_.size();
}

bool QueueState::tryEnterIdle()
{
    const std::lock_guard lock(mutex_);
    if (running_ || !ready_.empty())
        return false;
    return running_ = true;
}

bool QueueState::tryEnter()
{
    const std::lock_guard lock(mutex_);
    if (running_)
        return false;
    return running_ = true;
}

void QueueState::enter()
{
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return !running_; });
    running_ = true;
}

void QueueState::leave()
{
    const std::lock_guard lock(mutex_);
    running_ = false;
    changed_.notify_all();
}

bool QueueState::runNext()
{
    Block block; // destroyed outside the lock: its destructor may call back
    {
        const std::lock_guard lock(mutex_);
        if (ready_.empty())
            return false;
        block = std::move(ready_.front());
        ready_.pop_front();
        clearDescriptorIfIdle();
    }
    const RunningAs as(this);
    block();
    block = nullptr;
    return true;
}

void QueueState::runAs(const Block& block)
{
    const RunningAs as(this);
    block();
}

bool QueueState::isCurrent() const
{
    if (isRunLoop() && belongsToThisThread())
        return true;
    return std::find(running.begin(), running.end(), this) != running.end();
}

const QueueState* QueueState::innermost()
{
    return running.empty() ? nullptr : running.back();
}

void QueueState::waitForWork(std::optional<double> seconds)
{
    std::unique_lock lock(mutex_);
    const auto work = [this] { return woken_ || !ready_.empty(); };
    if (seconds)
        changed_.wait_for(lock, std::chrono::duration<double>(std::min(*seconds, 1e6)), work);
    else
        changed_.wait(lock, work);
    woken_ = false;
}

void QueueState::wake()
{
    const std::lock_guard lock(mutex_);
    woken_ = true;
    changed_.notify_all();
}

int QueueState::descriptor()
{
    const std::lock_guard lock(mutex_);
    if (!descriptor_) {
        descriptor_ = std::make_shared<Descriptor>();
        if (!ready_.empty())
            signalDescriptor();
    }
    return descriptor_->all;
}

void QueueState::armDescriptor(std::optional<double> seconds)
{
    const std::lock_guard lock(mutex_);
    if (!descriptor_)
        return;
    itimerspec wanted {}; // all zero disarms
    if (seconds) {
        const double wait = std::clamp(*seconds, 0.0, 1e9);
        wanted.it_value.tv_sec = static_cast<time_t>(wait);
        wanted.it_value.tv_nsec = std::max(1L, static_cast<long>((wait - std::floor(wait)) * 1e9));
    }
    timerfd_settime(descriptor_->timer, 0, &wanted, nullptr);
}

void QueueState::signalDescriptor()
{
    if (!descriptor_)
        return;
    const std::uint64_t one = 1;
    static_cast<void>(write(descriptor_->event, &one, sizeof one));
}

void QueueState::clearDescriptorIfIdle()
{
    if (!descriptor_ || !ready_.empty())
        return;
    std::uint64_t count = 0;
    static_cast<void>(read(descriptor_->event, &count, sizeof count));
}

}
