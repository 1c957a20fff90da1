// SPDX-License-Identifier: Apache-2.0
// How soon a movie has its first bytes, and how soon it is closed: the ends of a recording by the real clock.
#include "platform/AVFoundation/AVCaptureDevice.h"
#include "platform/AVFoundation/AVCaptureDeviceInput.h"
#include "platform/AVFoundation/AVCaptureMovieFileOutput.h"
#include "platform/AVFoundation/AVCaptureSession.h"
#include "platform/Foundation/Clock.h"
#include "platform/Foundation/NSURL.h"

#include "drivers/media/install.h"
#include "drivers/phone/VirtualPhone.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <memory>
#include <mutex>
#include <thread>

namespace velmora {

namespace {

class Closed : public AVCaptureFileOutputRecordingDelegate {
public:
    void captureOutput(const std::shared_ptr<AVCaptureMovieFileOutput>&, const std::shared_ptr<NSURL>&,
        const Connections&, const std::optional<NSError>&) override
    {
        const std::lock_guard lock(mutex_);
        closed_ = true;
        changed_.notify_all();
    }
    void wait()
    {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return closed_; });
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool closed_ = false;
};

double milliseconds(std::chrono::steady_clock::time_point since)
{
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - since).count();
}

std::uint64_t sizeOf(const std::string& path)
{
    std::error_code ignored;
    const auto size = std::filesystem::file_size(path, ignored);
    return ignored ? 0 : size;
}

/// One second of 30 frames at `range` pixels' width; what counts are its two ends.
void recording(benchmark::State& state)
{
    drivers::media::install();
    auto description = drivers::phone::single();
    description.cameras[0].formats.resize(1);
    const auto width = static_cast<std::int32_t>(state.range(0));
    description.cameras[0].formats[0].size = { width, width * 9 / 16 };
    static SteadyClock time;
    drivers::phone::VirtualPhone phone(std::move(description), time);
    const auto session = make<AVCaptureSession>();
    session->addInput(AVCaptureDeviceInput::initWithDevice(AVCaptureDevice::allDevices().at(0)));
    session->addInput(
        AVCaptureDeviceInput::initWithDevice(AVCaptureDevice::defaultDeviceWithMediaType(AVMediaTypeAudio)));
    const auto movie = AVCaptureMovieFileOutput::init();
    session->addOutput(movie);
    session->startRunning();
    const std::string path = std::string(P_tmpdir) + "/velmora-bench-recording.mov";
    double started = 0, stopped = 0;
    for (auto _ : state) {
        std::filesystem::remove(path);
        const auto closed = std::make_shared<Closed>();
        const auto start = std::chrono::steady_clock::now();
        movie->startRecordingToOutputFileURL(NSURL::fileURLWithPath(path), closed);
        while (sizeOf(path) == 0 && milliseconds(start) < 1000)
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        started += milliseconds(start);
        std::this_thread::sleep_for(std::chrono::seconds(1));
        const auto stop = std::chrono::steady_clock::now();
        movie->stopRecording();
        closed->wait();
        stopped += milliseconds(stop);
    }
    session->stopRunning();
    std::filesystem::remove(path);
    state.counters["start_to_first_bytes_ms"] = benchmark::Counter(started, benchmark::Counter::kAvgIterations);
    state.counters["stop_to_closed_ms"] = benchmark::Counter(stopped, benchmark::Counter::kAvgIterations);
}

BENCHMARK(recording)->Arg(640)->Arg(1280)->Arg(1920)->Iterations(10)->Unit(benchmark::kMillisecond)->UseRealTime();

}

}
