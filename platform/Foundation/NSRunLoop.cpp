// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/NSRunLoop.h"

#include "platform/Foundation/NSLog.h"
#include "platform/Foundation/QueueState.h"
#include "platform/Foundation/Scheduler.h"

#include <algorithm>
#include <utility>

namespace velmora {

NSRunLoop::NSRunLoop(DispatchQueue queue)
    : queue_(std::move(queue))
    , stopped_(std::make_shared<bool>(false))
{
}

NSRunLoop& NSRunLoop::mainRunLoop()
{
    static auto* loop
        = new NSRunLoop(DispatchQueue(std::make_shared<QueueState>("org.velmora.main", QueueState::Kind::MainRunLoop)));
    return *loop;
}

NSRunLoop& NSRunLoop::currentRunLoop()
{
    if (isMainThread())
        return mainRunLoop();
    static thread_local NSRunLoop loop(
        DispatchQueue(std::make_shared<QueueState>("org.velmora.runloop", QueueState::Kind::RunLoop)));
    return loop;
}

QueueState& NSRunLoop::state() const
{
    return *queue_.state_;
}

const std::shared_ptr<QueueState>& NSRunLoop::sharedState() const
{
    return queue_.state_;
}

void NSRunLoop::run()
{
    constexpr double longestSleep = 3600;
    while (!std::exchange(*stopped_, false)) {
        if (turn())
            continue;
        const auto deadline = state().nextDeadline();
        Scheduler& scheduler = Scheduler::current();
        const double wait = deadline ? *deadline - scheduler.clock().now() : longestSleep;
        if (!scheduler.waitForWork(state(), std::clamp(wait, 0.0, longestSleep)))
            return;
    }
}

void NSRunLoop::stop() const
{
    perform([stopped = stopped_] { *stopped = true; });
}

bool NSRunLoop::turn(double seconds)
{
    if (!state().belongsToThisThread())
        fatalError("[NSRunLoop] The run loop \"" + queue_.label()
            + "\" was turned by another thread than its own, where its blocks must not run.");

    Scheduler& scheduler = Scheduler::current();
    const Clock& clock = scheduler.clock();
    const double end = clock.now() + seconds;
    state().releaseDue(clock.now());
    while (state().readyCount() == 0 && clock.now() < end) {
        const double until = std::min(end, state().nextDeadline().value_or(end));
        if (!scheduler.waitForWork(state(), until - clock.now()))
            break;
        state().releaseDue(clock.now());
    }

    const std::size_t count = state().readyCount();
    for (std::size_t i = 0; i < count; ++i)
        if (!state().runNext())
            break;
    state().armDescriptor(clock.now());
    return count > 0;
}

void NSRunLoop::perform(Block block) const
{
    queue_.async(std::move(block));
}

void NSRunLoop::performAfter(double seconds, Block block) const
{
    queue_.after(seconds, std::move(block));
}

int NSRunLoop::descriptor() const
{
    const int descriptor = state().descriptor();
    state().armDescriptor(Scheduler::current().clock().now());
    return descriptor;
}

}
