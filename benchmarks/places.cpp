// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/ManualClock.h"
#include "platform/Foundation/SteppedScheduler.h"

#include "drivers/places/OfflinePlaces.h"

#include <benchmark/benchmark.h>

#include <array>

namespace velmora {

namespace {

const std::array points { std::pair { 35.0116, 135.7681 }, std::pair { 48.8584, 2.2945 }, std::pair { 30.0, -40.0 },
    std::pair { -33.8568, 151.2153 }, std::pair { 51.5007, 7.4653 }, std::pair { 23.1291, 113.2644 } };

void ask(drivers::places::OfflinePlaces& places, ManualClock& clock, std::pair<double, double> point)
{
    places.reverseGeocode(make<CLLocation>(point.first, point.second),
        [](const auto& found, const auto&) { benchmark::DoNotOptimize(found); });
    clock.advance(0);
}

/// With the reading of the tables.
void firstPlaceName(benchmark::State& state)
{
    ManualClock clock;
    SteppedScheduler scheduler(clock);
    const ScopedScheduler inForce(scheduler);
    for (auto each : state) {
        drivers::places::OfflinePlaces places;
        ask(places, clock, points.front());
    }
}

void placeName(benchmark::State& state)
{
    ManualClock clock;
    SteppedScheduler scheduler(clock);
    const ScopedScheduler inForce(scheduler);
    drivers::places::OfflinePlaces places;
    ask(places, clock, points.front());
    std::size_t next = 0;
    for (auto each : state)
        ask(places, clock, points.at(next++ % points.size()));
}

void distance(benchmark::State& state)
{
    const auto from = make<CLLocation>(35.0116, 135.7681), to = make<CLLocation>(35.0206, 135.7681);
    for (auto each : state)
        benchmark::DoNotOptimize(from->distanceFromLocation(to));
}

/// Where the formula does not settle.
void distanceToTheFarSide(benchmark::State& state)
{
    const auto from = make<CLLocation>(0.0, 0.0), to = make<CLLocation>(0.5, 179.7);
    for (auto each : state)
        benchmark::DoNotOptimize(from->distanceFromLocation(to));
}

}

BENCHMARK(firstPlaceName)->Unit(benchmark::kMillisecond);
BENCHMARK(placeName)->Unit(benchmark::kMicrosecond);
BENCHMARK(distance);
BENCHMARK(distanceToTheFarSide)->Unit(benchmark::kMicrosecond);

}
