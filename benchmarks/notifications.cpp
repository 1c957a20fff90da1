// SPDX-License-Identifier: Apache-2.0
// One post, by number of observers.
#include "platform/Foundation/NSNotificationCenter.h"

#include <benchmark/benchmark.h>

#include <vector>

namespace velmora {

namespace {

void post(benchmark::State& state)
{
    NSNotificationCenter center;
    const auto sender = make<NSObject>();
    std::vector<Cancellable> tokens;
    std::int64_t heard = 0;
    for (std::int64_t i = 0; i < state.range(0); ++i)
        center.addObserver("LevelDidChange", nullptr, [&heard](const NSNotification&) { ++heard; }).storeIn(tokens);
    const std::string name = "LevelDidChange";
    for (auto _ : state)
        center.postNotificationName(name, sender);
    benchmark::DoNotOptimize(heard);
    state.SetComplexityN(state.range(0));
}

void postToNobody(benchmark::State& state)
{
    NSNotificationCenter center;
    const auto sender = make<NSObject>();
    const std::string name = "LevelDidChange";
    for (auto _ : state)
        center.postNotificationName(name, sender);
}

void registration(benchmark::State& state)
{
    NSNotificationCenter center;
    std::vector<Cancellable> tokens;
    for (std::int64_t i = 0; i < state.range(0); ++i)
        center.addObserver("LevelDidChange", nullptr, [](const NSNotification&) {}).storeIn(tokens);
    for (auto _ : state)
        const auto token = center.addObserver("LevelDidChange", nullptr, [](const NSNotification&) {});
    state.SetComplexityN(state.range(0));
}

BENCHMARK(post)->Arg(1)->Arg(10)->Arg(100)->Complexity();
BENCHMARK(postToNobody);
BENCHMARK(registration)->Arg(1)->Arg(10)->Arg(100)->Complexity();

}

}
