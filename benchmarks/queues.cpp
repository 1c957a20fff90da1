// SPDX-License-Identifier: Apache-2.0
// Serial queues on real threads: sync on an idle queue, a hop to another thread and back, and blocks in bulk. Run the
// hop pinned to one core (taskset -c 0): across cores it measures the machine's mood.
#include "platform/Foundation/DispatchQueue.h"

#include <benchmark/benchmark.h>

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <semaphore>
#include <thread>

namespace velmora {

namespace {

void syncOnIdleQueue(benchmark::State& state)
{
    const DispatchQueue queue("idle");
    int count = 0;
    const Block block = [&count] { ++count; };
    for (auto _ : state)
        queue.sync(block);
    benchmark::DoNotOptimize(count);
}

void hop(benchmark::State& state)
{
    const DispatchQueue queue("hop");
    std::binary_semaphore done { 0 };
    for (auto _ : state) {
        queue.async([&done] { done.release(); });
        done.acquire();
    }
}

/// Blocks that one thread adds while the queue runs them.
void throughput(benchmark::State& state)
{
    const DispatchQueue queue("bulk");
    std::int64_t count = 0;
    for (auto _ : state) {
        for (std::int64_t i = 0; i < state.range(0); ++i)
            queue.async([&count] { ++count; });
        queue.drain();
    }
    benchmark::DoNotOptimize(count);
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.SetComplexityN(state.range(0));
}

/// What a mutex and a deque cost without any queue: the floor of `throughput`.
void throughputFloor(benchmark::State& state)
{
    std::mutex mutex;
    std::condition_variable changed;
    std::deque<std::function<void()>> blocks;
    std::int64_t count = 0;
    bool stop = false;
    std::thread worker([&] {
        std::unique_lock lock(mutex);
        while (!stop) {
            changed.wait(lock, [&] { return stop || !blocks.empty(); });
            while (!blocks.empty()) {
                const auto block = std::move(blocks.front());
                blocks.pop_front();
                lock.unlock();
                block();
                lock.lock();
            }
        }
    });
    for (auto _ : state) {
        for (std::int64_t i = 0; i < state.range(0); ++i) {
            const std::lock_guard lock(mutex);
            blocks.emplace_back([&count] { ++count; });
            changed.notify_one();
        }
        std::binary_semaphore drained { 0 };
        {
            const std::lock_guard lock(mutex);
            blocks.emplace_back([&drained] { drained.release(); });
            changed.notify_one();
        }
        drained.acquire();
    }
    {
        const std::lock_guard lock(mutex);
        stop = true;
        changed.notify_one();
    }
    worker.join();
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

BENCHMARK(syncOnIdleQueue);
BENCHMARK(hop)->UseRealTime();
BENCHMARK(throughput)->Arg(100)->Arg(1000)->Arg(10000)->UseRealTime()->Complexity();
BENCHMARK(throughputFloor)->Arg(10000)->UseRealTime();

}

}
