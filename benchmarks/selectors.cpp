// SPDX-License-Identifier: Apache-2.0
// A send by selector, typed and by name, against the virtual call beneath it.
#include "platform/Foundation/NSObject.h"
#include "platform/Foundation/Selector.h"

#include <benchmark/benchmark.h>

namespace velmora {

namespace {

class Dial : public NSObject {
public:
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }
    virtual void turn(double angle) { angle_ += angle; }
    virtual double angle() const { return angle_; }

private:
    double angle_ = 0;
};

const ClassInfo& Dial::staticClass()
{
    static constexpr auto methods = methodTable(method<&Dial::turn>("turn:"), method<&Dial::angle>("angle"));
    static const ClassInfo info { "Benchmarks.Dial", &NSObject::staticClass(), methods };
    return info;
}

/// A superclass with as many selectors as the largest class of the framework.
class Controller : public NSObject {
public:
    template <int> void operation() { }
    void last(double value) { value_ += value; }
    static const ClassInfo& staticClass()
    {
        static constexpr auto methods = []<int... I>(std::integer_sequence<int, I...>)
        {
            constexpr std::array names { "operationNumber10:", "operationNumber11:", "operationNumber12:",
                "operationNumber13:", "operationNumber14:", "operationNumber15:", "operationNumber16:",
                "operationNumber17:", "operationNumber18:", "operationNumber19:", "operationNumber20:",
                "operationNumber21:", "operationNumber22:", "operationNumber23:", "operationNumber24:",
                "operationNumber25:" };
            return methodTable(
                method<&Controller::last>("last:"), method<&Controller::operation<I>>(names[std::size_t { I }])...);
        }
        (std::make_integer_sequence<int, 16> {});
        static const ClassInfo info { "Benchmarks.Controller", &NSObject::staticClass(), methods };
        return info;
    }
    const ClassInfo& classInfo() const override { return staticClass(); }

private:
    double value_ = 0;
};

void virtualCall(benchmark::State& state)
{
    const auto dial = make<Dial>();
    Dial* receiver = dial.get();
    for (auto _ : state) {
        benchmark::DoNotOptimize(receiver);
        receiver->turn(1);
    }
}

void typedSend(benchmark::State& state)
{
    const auto dial = make<Dial>();
    const Selector<void(double)> turn("turn:");
    NSObject* receiver = dial.get();
    for (auto _ : state) {
        benchmark::DoNotOptimize(receiver);
        turn(*receiver, 1);
    }
}

void performByName(benchmark::State& state)
{
    const auto dial = make<Dial>();
    NSObject* receiver = dial.get();
    for (auto _ : state) {
        benchmark::DoNotOptimize(receiver);
        receiver->performSelector("turn:", 1.0);
    }
}

void performByNameInALargeClass(benchmark::State& state)
{
    const auto controller = make<Controller>();
    NSObject* receiver = controller.get();
    for (auto _ : state) {
        benchmark::DoNotOptimize(receiver);
        receiver->performSelector("last:", 1.0);
    }
}

BENCHMARK(virtualCall);
BENCHMARK(typedSend);
BENCHMARK(performByName);
BENCHMARK(performByNameInALargeClass);

}

}
