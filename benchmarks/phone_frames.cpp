// SPDX-License-Identifier: Apache-2.0
// What a frame of the virtual phone's camera costs: it must keep up with thirty a second at 1080p whatever is set.
#include "platform/AVFoundation/CaptureDriver.h"
#include "platform/Foundation/ManualClock.h"

#include "drivers/phone/VirtualPhone.h"

#include <benchmark/benchmark.h>

#include <memory>

namespace velmora {

namespace {

/// A frame at this ISO, of the drawn scene, which moves: nothing is kept from the frame before.
void frame(benchmark::State& state)
{
    drivers::phone::VirtualPhone phone(drivers::phone::single());
    const auto camera = CaptureDriver::installed()->devices().front();
    CaptureSettings settings;
    settings.activeFormat = 0; // 1920 x 1080
    settings.exposureMode = 3;
    settings.focusMode = settings.whiteBalanceMode = 2;
    settings.ISO = static_cast<float>(state.range(0));
    settings.exposureDuration = CMTimeMake(1, 60);
    std::int64_t frames = 0;
    static_cast<void>(camera->start({}, [&](const std::shared_ptr<CMSampleBuffer>&) { ++frames; }));
    camera->apply(settings, "auto exposure", nullptr);
    phone.clock().advance(0.5);
    frames = 0;
    for (auto _ : state)
        phone.clock().advance(1.0 / 30);
    camera->stop();
    state.counters["frames"] = benchmark::Counter(static_cast<double>(frames), benchmark::Counter::kAvgIterations);
}

BENCHMARK(frame)->Unit(benchmark::kMillisecond)->Arg(100)->Arg(200)->Arg(1600);

}

}
