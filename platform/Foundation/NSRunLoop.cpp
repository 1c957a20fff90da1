// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/NSRunLoop.h"

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

void NSRunLoop::run()
{
    *stopped_ = false;
    while (!*stopped_) {
        const auto deadline = state().nextDeadline();
        const double wait = deadline ? *deadline - Scheduler::current().clock().now() : 3600;
        turn(std::max(0.0, wait));
    }
}

void NSRunLoop::stop()
{
    perform([stopped = stopped_] { *stopped = true; });
}

bool NSRunLoop::turn(double seconds)
{
    const Clock& clock = Scheduler::current().clock();
    if (seconds > 0 && state().readyCount() == 0) {
        const auto deadline = state().nextDeadline();
        const double wait = deadline ? std::min(seconds, *deadline - clock.now()) : seconds;
        if (wait > 0)
            state().waitForWork(wait);
    }

    state().releaseDue(clock.now());
    const std::size_t count = state().readyCount();
    for (std::size_t i = 0; i < count; ++i)
        if (!state().runNext())
            break;

    if (const auto deadline = state().nextDeadline())
        state().armDescriptor(*deadline - clock.now());
    else
        state().armDescriptor(std::nullopt);
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
    if (const auto deadline = state().nextDeadline())
        state().armDescriptor(*deadline - Scheduler::current().clock().now());
    return descriptor;
}

}
