// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/SteppedScheduler.h"

#include "platform/Foundation/NSRunLoop.h"
#include "platform/Foundation/QueueState.h"

#include <algorithm>
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
    clock_.scheduler_ = nullptr;
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

void SteppedScheduler::runSync(const std::shared_ptr<QueueState>& queue, const Block& block)
{
    queue->enter(); // another thread may be inside
    try {
        while (queue->runNext()) { }
        queue->runAs(block);
    } catch (...) {
        queue->leave();
        throw;
    }
    queue->leave();
}

bool SteppedScheduler::runNextReady()
{
    std::shared_ptr<QueueState> queue;
    {
        const std::lock_guard lock(mutex_);
        // A queue that somebody is inside of keeps its place: the others go on.
        for (auto entry = ready_.begin(); entry != ready_.end(); ++entry) {
            if ((*entry)->kind() == QueueState::Kind::Concurrent || (*entry)->tryEnter()) {
                queue = *entry;
                ready_.erase(entry);
                break;
            }
        }
    }
    if (!queue)
        return false;
    queue->runNext(); // nothing, when a sync has run it in place
    if (queue->kind() != QueueState::Kind::Concurrent)
        queue->leave();
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
    const std::lock_guard lock(mutex_);
    std::erase_if(timed_, [](const auto& queue) { return !queue->nextDeadline(); });
    std::optional<double> next;
    for (const auto& queue : timed_)
        if (const auto deadline = queue->nextDeadline(); deadline && (!next || *deadline < *next))
            next = deadline;
    return next;
}

void SteppedScheduler::releaseDue()
{
    std::vector<std::shared_ptr<QueueState>> queues;
    {
        const std::lock_guard lock(mutex_);
        queues = timed_;
    }
    for (const auto& queue : queues) {
        const std::size_t before = queue->readyCount();
        if (!queue->releaseDue(clock_.now()))
            continue;
        for (std::size_t i = before; i < queue->readyCount(); ++i)
            blockAdded(queue);
    }
}

void SteppedScheduler::advanceTo(double time)
{
    runEverything();
    for (auto next = nextDeadline(); next && *next <= time; next = nextDeadline()) {
        clock_.now_ = std::max(clock_.now(), *next);
        releaseDue();
        runEverything();
    }
    clock_.now_ = std::max(clock_.now(), time);
}

void SteppedScheduler::runUntil(const std::function<bool()>& done)
{
    while (!done()) {
        if (runNextReady() || NSRunLoop::mainRunLoop().turn())
            continue;
        const auto next = nextDeadline();
        if (!next)
            return;
        clock_.now_ = std::max(clock_.now(), *next);
        releaseDue();
    }
}

}
