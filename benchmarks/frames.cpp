// SPDX-License-Identifier: Apache-2.0
// A frame from the driver's thread to the processor: by reference, so its size must not matter.
#include "platform/AVFoundation/AVCaptureConnection.h"
#include "platform/AVFoundation/AVCaptureDevice.h"
#include "platform/AVFoundation/AVCaptureDeviceInput.h"
#include "platform/AVFoundation/AVCaptureSession.h"
#include "platform/AVFoundation/AVCaptureVideoDataOutput.h"
#include "platform/CoreMedia/CMSampleBuffer.h"
#include "platform/Foundation/Clock.h"
#include "platform/Foundation/DispatchQueue.h"

#include "drivers/phone/VirtualPhone.h"

#include <benchmark/benchmark.h>

#include <condition_variable>
#include <cstring>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

namespace velmora {

namespace {

std::shared_ptr<CMSampleBuffer> frame(const benchmark::State& state)
{
    const auto width = static_cast<int>(state.range(0)), height = width * 9 / 16;
    return make<CMSampleBuffer>(
        CVPixelBuffer::create(width, height, kCVPixelFormatType_420YpCbCr8BiPlanarFullRange), CMTimeMake(1, 30), 1);
}

/// One place for one thing that crosses from one thread to another.
class Arrival {
public:
    void come()
    {
        {
            const std::lock_guard lock(mutex_);
            come_ = true;
        }
        condition_.notify_one();
    }
    void wait()
    {
        std::unique_lock lock(mutex_);
        condition_.wait(lock, [this] { return come_; });
        come_ = false;
    }

private:
    std::mutex mutex_;
    std::condition_variable condition_;
    bool come_ = false;
};

class Processor : public AVCaptureVideoDataOutputSampleBufferDelegate {
public:
    void captureOutput(const std::shared_ptr<AVCaptureOutput>&, const std::shared_ptr<CMSampleBuffer>& buffer,
        const std::shared_ptr<AVCaptureConnection>&) override
    {
        same = same && (!sent || buffer->imageBuffer()->planes()[0].data == sent);
        arrival.come();
    }

    Arrival arrival;
    const std::uint8_t* sent = nullptr;
    bool same = true; ///< the processor saw the driver's own memory
};

/// There, through the output and its queue, and word back.
void delivery(benchmark::State& state)
{
    static SteadyClock clock;
    drivers::phone::VirtualPhone phone(drivers::phone::single(), clock);
    const auto session = make<AVCaptureSession>(); // which does not run: the frames are the benchmark's
    session->addInput(AVCaptureDeviceInput::initWithDevice(AVCaptureDevice::allDevices().at(0)));
    const auto output = AVCaptureVideoDataOutput::init();
    session->addOutput(output);
    const auto connection = output->connectionWithMediaType(AVMediaTypeVideo);
    const auto processor = std::make_shared<Processor>();
    output->setSampleBufferDelegate(
        std::weak_ptr<AVCaptureVideoDataOutputSampleBufferDelegate>(processor), DispatchQueue("processing"));
    output->setAlwaysDiscardsLateVideoFrames(false);
    const auto buffer = frame(state);
    processor->sent = buffer->imageBuffer()->planes()[0].data;
    for (auto _ : state) {
        output->receive(buffer, connection);
        processor->arrival.wait();
    }
    state.counters["copies"] = processor->same ? 0 : 1;
}

/// The floor: a thread that waits for a reference, and word back.
void floorOfDelivery(benchmark::State& state)
{
    Arrival there, back;
    std::shared_ptr<CMSampleBuffer> place;
    bool ends = false;
    std::thread thread([&] {
        for (;;) {
            there.wait();
            if (ends)
                return;
            benchmark::DoNotOptimize(place->imageBuffer());
            back.come();
        }
    });
    const auto buffer = frame(state);
    for (auto _ : state) {
        place = buffer;
        there.come();
        back.wait();
    }
    ends = true;
    there.come();
    thread.join();
}

/// What one copy would add.
void copyOfTheFrame(benchmark::State& state)
{
    const auto buffer = frame(state), copy = frame(state);
    for (auto _ : state) {
        for (std::size_t i = 0; i < 2; ++i) {
            const auto& plane = buffer->imageBuffer()->planes()[i];
            std::memcpy(copy->imageBuffer()->planes()[i].data, plane.data,
                plane.stride * static_cast<std::size_t>(plane.height));
        }
        benchmark::ClobberMemory();
    }
}

BENCHMARK(delivery)->Arg(1920)->Arg(3840)->UseRealTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(floorOfDelivery)->Arg(1920)->Arg(3840)->UseRealTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(copyOfTheFrame)->Arg(1920)->Arg(3840)->Unit(benchmark::kMicrosecond);

}

}
