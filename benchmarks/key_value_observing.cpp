// SPDX-License-Identifier: Apache-2.0
// A setter that announces its change, by number of observers, against a plain store.
#include "platform/Foundation/NSObject.h"

#include <benchmark/benchmark.h>

#include <vector>

namespace velmora {

namespace {

class Meter : public NSObject {
public:
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }
    double level() const { return level_; }
    [[gnu::noinline]] void setLevel(double level)
    {
        ChangeOfValue change(*this, "level");
        level_ = level;
    }
    [[gnu::noinline]] void storeLevel(double level) { level_ = level; }

private:
    double level_ = 0;
};

const ClassInfo& Meter::staticClass()
{
    static constexpr auto methods = methodTable(method<&Meter::level>("level"), method<&Meter::setLevel>("setLevel:"));
    static const ClassInfo info { "Benchmarks.Meter", &NSObject::staticClass(), methods };
    return info;
}

void plainStore(benchmark::State& state)
{
    const auto meter = make<Meter>();
    Meter* receiver = meter.get();
    for (auto _ : state) {
        benchmark::DoNotOptimize(receiver);
        receiver->storeLevel(1);
    }
}

void unobservedChange(benchmark::State& state)
{
    const auto meter = make<Meter>();
    Meter* receiver = meter.get();
    for (auto _ : state) {
        benchmark::DoNotOptimize(receiver);
        receiver->setLevel(1);
    }
}

void observedChange(benchmark::State& state)
{
    const auto meter = make<Meter>();
    std::vector<Cancellable> tokens;
    double sum = 0;
    for (std::int64_t i = 0; i < state.range(0); ++i)
        meter
            ->observe("level", NSKeyValueObservingOptionNew,
                [&sum](const NSKeyValueChange& change) { sum += unbox<double>(change.newValue); })
            .storeIn(tokens);
    for (auto _ : state)
        meter->setLevel(1);
    benchmark::DoNotOptimize(sum);
    state.SetComplexityN(state.range(0));
}

BENCHMARK(plainStore);
BENCHMARK(unobservedChange);
BENCHMARK(observedChange)->Arg(1)->Arg(10)->Arg(100)->Complexity();

}

}
