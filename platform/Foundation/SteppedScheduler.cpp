// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/SteppedScheduler.h"

#include "platform/Foundation/NSRunLoop.h"
#include "platform/Foundation/QueueState.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace velmora {

ManualClock::ManualClock(double absoluteTime)
    : start_(absoluteTime)
{
}

void ManualClock::advance(double seconds)
{
    if (scheduler_)
        scheduler_->advanceTo(now_ + seconds);
    else
        now_ = now_ + seconds;
}

void ManualClock::turnMainRunLoop()
{
    if (scheduler_)
        scheduler_->turnMainRunLoop();
    else
        NSRunLoop::mainRunLoop().turn();
}

void ManualClock::drain(const DispatchQueue& queue)
{
    queue.drain();
}

SteppedScheduler::SteppedScheduler(ManualClock& clock)
    : clock_(clock)
{
    clock_.scheduler_ = this;
}

SteppedScheduler::~SteppedScheduler()
{
    // What the forgotten blocks captured may add blocks when it ends; they come here, not to real threads.
    const ScopedScheduler inForce(*this);
    while (discardWaiting()) { }
    clock_.scheduler_ = nullptr;
}

bool SteppedScheduler::discardWaiting()
{
    std::vector<std::shared_ptr<QueueState>> queues { NSRunLoop::mainRunLoop().sharedState() };
    {
        const std::lock_guard lock(mutex_);
        queues.insert(queues.end(), ready_.begin(), ready_.end());
        queues.insert(queues.end(), timed_.begin(), timed_.end());
        ready_.clear(); // `queues` keeps them: nothing is destroyed under the lock
        timed_.clear();
    }
    bool any = false;
    for (const auto& queue : queues)
        any = queue->discard() || any;
    return any;
}

void SteppedScheduler::blockAdded(const std::shared_ptr<QueueState>& queue)
{
    if (queue->isRunLoop())
        return; // the main one is turned by hand, a worker's by its thread
    const std::lock_guard lock(mutex_);
    ready_.push_back(queue);
}

void SteppedScheduler::deadlineAdded(const std::shared_ptr<QueueState>& queue, double)
{
    if (queue->kind() == QueueState::Kind::RunLoop)
        return;
    const std::lock_guard lock(mutex_);
    if (std::find(timed_.begin(), timed_.end(), queue) == timed_.end())
        timed_.push_back(queue);
}

namespace {
/// Leaves a queue that was entered, also when a block throws.
class Inside {
public:
    explicit Inside(QueueState& queue)
        : queue_(queue)
    {
    }
    ~Inside() { queue_.leave(); }
    Inside(const Inside&) = delete;
    Inside& operator=(const Inside&) = delete;

private:
    QueueState& queue_;
};
}

void SteppedScheduler::runSync(const std::shared_ptr<QueueState>& queue, const Block& block)
{
    if (queue->isRunLoop()) { // of another thread, or sync had stopped the process
        queue->addAndWait(block, [&] { blockAdded(queue); });
        return;
    }
    queue->enter(); // another thread may be inside; on this one, sync had stopped the process
    const Inside inside(*queue);
    while (queue->readyCount() > 0) {
        forgetEntry(queue); // or a later block would run in this one's place among the queues
        queue->runNext();
    }
    queue->runAs(block);
}

void SteppedScheduler::forgetEntry(const std::shared_ptr<QueueState>& queue)
{
    const std::lock_guard lock(mutex_);
    const auto entry = std::find(ready_.begin(), ready_.end(), queue);
    if (entry != ready_.end())
        ready_.erase(entry); // `queue` keeps it: nothing is destroyed under the lock
}

std::shared_ptr<QueueState> SteppedScheduler::enterFirstReady()
{
    const std::lock_guard lock(mutex_);
    // A queue that somebody is inside of keeps its place: the others go on.
    const auto entry = std::find_if(ready_.begin(), ready_.end(),
        [](const auto& queue) { return queue->kind() == QueueState::Kind::Concurrent || queue->tryEnter(); });
    if (entry == ready_.end())
        return nullptr;
    auto queue = std::move(*entry);
    ready_.erase(entry);
    return queue;
}

bool SteppedScheduler::runNextReady()
{
    const auto queue = enterFirstReady();
    if (!queue)
        return false;
    if (queue->kind() == QueueState::Kind::Concurrent) {
        queue->runNext();
        return true;
    }
    const Inside inside(*queue);
    queue->runNext();
    return true;
}

void SteppedScheduler::runBackground()
{
    while (runNextReady()) { }
}

void SteppedScheduler::turnMainRunLoop()
{
    releaseDue();
    runBackground();
    NSRunLoop::mainRunLoop().turn();
}

void SteppedScheduler::runEverything()
{
    do {
        runBackground();
    } while (NSRunLoop::mainRunLoop().turn());
}

std::optional<double> SteppedScheduler::nextDeadline()
{
    std::vector<std::shared_ptr<QueueState>> queues; // outlives the lock
    const std::lock_guard lock(mutex_);
    queues.swap(timed_);
    std::optional<double> next;
    for (const auto& queue : queues) {
        const auto deadline = queue->nextDeadline();
        if (!deadline)
            continue;
        timed_.push_back(queue);
        next = next ? std::min(*next, *deadline) : *deadline;
    }
    return next;
}

void SteppedScheduler::releaseDue()
{
    std::vector<std::shared_ptr<QueueState>> queues;
    {
        const std::lock_guard lock(mutex_);
        queues = timed_;
    }
    for (const auto& queue : queues)
        for (std::size_t released = queue->releaseDue(clock_.now()); released > 0; --released)
            blockAdded(queue);
}

/// Moves the clock to the next deadline; false when there is none up to `limit`.
bool SteppedScheduler::stepTo(double limit)
{
    const auto next = nextDeadline();
    if (!next || *next > limit)
        return false;
    clock_.now_ = std::max(clock_.now(), *next);
    releaseDue();
    return true;
}

void SteppedScheduler::advanceTo(double time)
{
    do {
        runEverything();
    } while (stepTo(time));
    clock_.now_ = std::max(clock_.now(), time);
}

bool SteppedScheduler::waitForWork(QueueState& runLoop, double seconds)
{
    if (runLoop.kind() == QueueState::Kind::RunLoop) {
        constexpr double lookAgain = 0.01; // of the machine's time: nobody tells a worker that the clock was moved
        runLoop.waitForWork(std::min(seconds, lookAgain));
        return true;
    }
    const double limit = clock_.now() + seconds;
    while (runLoop.readyCount() == 0) {
        if (runNextReady() || stepTo(limit))
            continue;
        if (!nextDeadline())
            return false;
        clock_.now_ = std::max(clock_.now(), limit);
        break;
    }
    return true;
}

void SteppedScheduler::runUntil(const std::function<bool()>& done)
{
    while (!done())
        if (!runNextReady() && !NSRunLoop::mainRunLoop().turn() && !stepTo(std::numeric_limits<double>::infinity()))
            return;
}

}
