// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/DispatchQueue.h"

#include "platform/Foundation/NSLog.h"
#include "platform/Foundation/NSRunLoop.h"
#include "platform/Foundation/QueueState.h"
#include "platform/Foundation/Scheduler.h"

#include <utility>

namespace velmora {

DispatchQueue::DispatchQueue(std::string label)
    : state_(std::make_shared<QueueState>(std::move(label), QueueState::Kind::Serial))
{
}

DispatchQueue::DispatchQueue(std::shared_ptr<QueueState> state)
    : state_(std::move(state))
{
}

DispatchQueue& DispatchQueue::main()
{
    static auto* queue = new DispatchQueue(NSRunLoop::mainRunLoop().queue()); // outlives the static objects that use it
    return *queue;
}

DispatchQueue& DispatchQueue::global()
{
    static auto* queue
        = new DispatchQueue(std::make_shared<QueueState>("org.velmora.global.default", QueueState::Kind::Concurrent));
    return *queue;
}

void DispatchQueue::async(Block block) const
{
    const auto state = state_; // the block may end this queue's owner before the call is through
    Scheduler::current().add(state, std::move(block));
}

void DispatchQueue::after(double seconds, Block block) const
{
    Scheduler& scheduler = Scheduler::current();
    const double when = scheduler.clock().now() + seconds;
    const auto state = state_; // as in async
    state->addAt(when, std::move(block));
    scheduler.deadlineAdded(state, when);
}

void DispatchQueue::sync(const Block& block) const
{
    if (state_->kind() == QueueState::Kind::Concurrent) {
        state_->runAs(block); // nothing to wait for: it is never busy
        return;
    }
    if (state_->isCurrent())
        fatalError("[DispatchQueue] The serial queue \"" + state_->label()
            + "\" waits for itself: sync was called from one of its own blocks and could never answer.");
    const auto state = state_; // as in async
    Scheduler::current().runSync(state, block);
}

bool DispatchQueue::isCurrent() const
{
    return state_->isCurrent();
}

const std::string& DispatchQueue::label() const
{
    return state_->label();
}

std::string DispatchQueue::currentLabel()
{
    const QueueState* queue = QueueState::innermost();
    return queue ? queue->label() : std::string();
}

void DispatchQueue::drain() const
{
    if (!state_->isRunLoop() || !state_->belongsToThisThread()) {
        sync([] {});
        return;
    }
    state_->releaseDue(Scheduler::current().clock().now());
    while (state_->runNext()) { }
}

}
