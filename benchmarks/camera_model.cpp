// SPDX-License-Identifier: Apache-2.0
// One reading of a camera on its way to a published value: device, key-value change, main run loop, sink.
#include "velmora/capture/QVCameraController.h"
#include "velmora/model/QVCameraHardware.h"

#include "platform/AVFoundation/AVCaptureDevice.h"
#include "platform/Foundation/ManualClock.h"
#include "platform/Foundation/NSRunLoop.h"

#include "drivers/phone/VirtualPhone.h"

#include <benchmark/benchmark.h>

#include <optional>
#include <string>
#include <vector>

namespace velmora {

namespace {

/// The device alone: what a reading costs before anybody watches it.
void readingOfTheDevice(benchmark::State& state)
{
    drivers::phone::VirtualPhone phone(drivers::phone::single());
    const std::string camera = AVCaptureDevice::allDevices().front()->uniqueID();
    double value = 0;
    for (auto _ : state)
        phone.setReading(camera, "ISO", value += 1);
}

/// To the model, with `watchers` sinks on its readings.
void readingToThePublishedValue(benchmark::State& state)
{
    drivers::phone::VirtualPhone phone(drivers::phone::single());
    // Models live until the process ends.
    static auto& models = *new std::vector<std::shared_ptr<QVCameraHardware>>;
    const auto& model = models.emplace_back(make<QVCameraHardware>(
        AVCaptureDevicePositionBack, QVCameraCaptureIntentStillImage, std::optional<std::string>()));
    phone.clock().advance(0);

    const std::string camera = model->controller()->currentVideoCaptureDevice()->uniqueID();
    std::vector<Cancellable> watchers;
    double sum = 0;
    for (std::int64_t i = 0; i < state.range(0); ++i)
        model->statsPublisher()
            .sink([&](const QVCameraHardware::Stats& stats) { sum += static_cast<double>(stats.preciseISO); })
            .storeIn(watchers);
    auto& loop = NSRunLoop::mainRunLoop();
    double value = 0;
    for (auto _ : state) {
        phone.setReading(camera, "ISO", value += 1);
        loop.turn();
    }
    benchmark::DoNotOptimize(sum);
    if (model->stats().preciseISO != static_cast<float>(value))
        state.SkipWithError("a reading did not arrive");
}

BENCHMARK(readingOfTheDevice);
BENCHMARK(readingToThePublishedValue)->Arg(0)->Arg(1)->Arg(10);

}

}
