// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/QueueState.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <exception>
#include <utility>

namespace velmora {

bool isMainThread()
{
    static thread_local const bool main = gettid() == getpid();
    return main;
}

struct QueueState::Thread {
    std::thread::id id;
    bool main = false;
};

/// A block that a thread is inside of. One that another thread waits for also lists that thread and its blocks.
struct QueueState::Frame {
    const QueueState* queue;
    const Frame* before;
    const Frame* waiting = nullptr;
    std::optional<Thread> waitingThread {};
};

thread_local const QueueState::Frame* QueueState::frames_ = nullptr;

class QueueState::RunningAs {
public:
    explicit RunningAs(const QueueState* queue)
        : frame_ { queue, frames_ }
    {
        frames_ = &frame_;
    }
    RunningAs(const QueueState* queue, const Frame* waiting, const Thread& waitingThread)
        : frame_ { queue, frames_, waiting, waitingThread }
    {
        frames_ = &frame_;
    }
    ~RunningAs() { frames_ = frame_.before; }
    RunningAs(const RunningAs&) = delete;
    RunningAs& operator=(const RunningAs&) = delete;

private:
    Frame frame_;
};

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
            complete = epoll_ctl(all, EPOLL_CTL_ADD, each, &wanted) == 0 && complete;
        }
    }
    ~Descriptor()
    {
        for (const int each : { all, event, timer })
            if (each >= 0)
                close(each);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int all, event, timer;
    bool complete = true;
};

QueueState::QueueState(std::string label, Kind kind)
    : label_(std::move(label))
    , kind_(kind)
{
}

QueueState::Thread QueueState::thisThread()
{
    return { std::this_thread::get_id(), isMainThread() };
}

bool QueueState::belongsTo(const Thread& thread) const
{
    return kind_ == Kind::MainRunLoop ? thread.main : thread.id == thread_;
}

bool QueueState::belongsToThisThread() const
{
    return belongsTo(thisThread());
}

void QueueState::add(Block block)
{
    {
        const std::lock_guard lock(mutex_);
        ready_.push_back(std::move(block));
        if (ready_.size() == 1)
            signalDescriptor();
    }
    if (isRunLoop())
        changed_.notify_all();
}

bool QueueState::addAndTryEnter(Block block)
{
    const std::lock_guard lock(mutex_);
    ready_.push_back(std::move(block));
    return !std::exchange(running_, true);
}

void QueueState::addAt(double when, Block block)
{
    {
        const std::lock_guard lock(mutex_);
        timed_.emplace(std::isnan(when) ? 0.0 : when, std::move(block));
    }
    if (isRunLoop())
        wake();
}

std::size_t QueueState::releaseDue(double now)
{
    const std::lock_guard lock(mutex_);
    const bool wasIdle = ready_.empty();
    const auto end = timed_.upper_bound(now);
    std::size_t count = 0;
    for (auto due = timed_.begin(); due != end; ++due, ++count)
        ready_.push_back(std::move(due->second));
    timed_.erase(timed_.begin(), end);
    if (wasIdle && count > 0)
        signalDescriptor();
    return count;
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
    const Block running = std::move(block); // ends within its queue, also when it throws
    running();
    return true;
}

bool QueueState::runReady()
{
    {
        const std::lock_guard lock(mutex_);
        if (ready_.empty())
            return false;
        batch_.swap(ready_);
        clearDescriptorIfIdle();
    }
    const RunningAs as(this);
    for (Block& each : batch_) {
        const Block running = std::move(each);
        running();
    }
    batch_.clear();
    return true;
}

void QueueState::runAs(const Block& block)
{
    const RunningAs as(this);
    block();
}

void QueueState::addAndWait(const Block& block, const Block& announce)
{
    std::mutex mutex;
    std::condition_variable changed;
    bool done = false;
    std::exception_ptr thrown;
    add([&, waiting = frames_, waitingThread = thisThread()] {
        try {
            const RunningAs as(this, waiting, waitingThread);
            block();
        } catch (...) {
            thrown = std::current_exception();
        }
        const std::lock_guard lock(mutex);
        done = true;
        changed.notify_one();
    });
    announce();
    std::unique_lock lock(mutex);
    changed.wait(lock, [&] { return done; });
    if (thrown)
        std::rethrow_exception(thrown);
}

bool QueueState::isIn(const Frame* frames) const
{
    for (; frames; frames = frames->before) {
        if (frames->queue == this || isIn(frames->waiting))
            return true;
        if (isRunLoop() && frames->waitingThread && belongsTo(*frames->waitingThread))
            return true;
    }
    return false;
}

bool QueueState::isCurrent() const
{
    return (isRunLoop() && belongsToThisThread()) || isIn(frames_);
}

const QueueState* QueueState::innermost()
{
    return frames_ ? frames_->queue : nullptr;
}

void QueueState::waitForWork(double seconds)
{
    constexpr double longest = 1e6; // far from what overflows the machine's clock
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, std::chrono::duration<double>(std::clamp(seconds, 0.0, longest)),
        [this] { return woken_ || !ready_.empty(); });
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
        auto made = std::make_shared<Descriptor>();
        if (!made->complete)
            return -1;
        descriptor_ = std::move(made);
        if (!ready_.empty())
            signalDescriptor();
    }
    return descriptor_->all;
}

void QueueState::armDescriptor(double now)
{
    constexpr double longest = 1e9;
    const std::lock_guard lock(mutex_);
    if (!descriptor_)
        return;
    itimerspec wanted {}; // all zero disarms
    if (!timed_.empty()) {
        const double wait = std::clamp(timed_.begin()->first - now, 0.0, longest);
        wanted.it_value.tv_sec = static_cast<time_t>(wait);
        wanted.it_value.tv_nsec = std::max(1L, static_cast<long>((wait - std::floor(wait)) * 1e9));
    }
    timerfd_settime(descriptor_->timer, 0, &wanted, nullptr);
}

bool QueueState::discard()
{
    std::deque<Block> ready; // destroyed outside the lock
    std::multimap<double, Block> timed;
    const std::lock_guard lock(mutex_);
    ready.swap(ready_);
    timed.swap(timed_);
    clearDescriptorIfIdle();
    return !ready.empty() || !timed.empty();
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
