// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/Scheduler.h"

#include "platform/Foundation/QueueState.h"
#include "platform/Foundation/ThreadScheduler.h"

#include <atomic>
#include <utility>

namespace velmora {

namespace {
std::atomic<Scheduler*> installed { nullptr };
}

Scheduler& Scheduler::current()
{
    if (Scheduler* scheduler = installed.load(std::memory_order_acquire))
        return *scheduler;
    static auto* threads = new ThreadScheduler; // its threads end with the process
    return *threads;
}

void Scheduler::add(const std::shared_ptr<QueueState>& queue, Block block)
{
    queue->add(std::move(block));
    blockAdded(queue);
}

void Scheduler::install(Scheduler* scheduler)
{
    installed.store(scheduler, std::memory_order_release);
}

ScopedScheduler::ScopedScheduler(Scheduler& scheduler)
    : before_(installed.exchange(&scheduler, std::memory_order_acq_rel))
{
}

ScopedScheduler::~ScopedScheduler()
{
    Scheduler::install(before_);
}

}
