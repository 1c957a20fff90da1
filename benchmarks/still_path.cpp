// SPDX-License-Identifier: Apache-2.0
// A photo of 12 megapixels from the request to the record, on a clock that never waits: what is not encoding is ours.
#include "velmora/capture/QVCameraController.h"
#include "velmora/results/QVPhotoCaptureOutput.h"

#include "platform/AVFoundation/StillEncoder.h"
#include "platform/Foundation/ManualClock.h"

#include "drivers/media/install.h"
#include "drivers/phone/VirtualPhone.h"

#include <benchmark/benchmark.h>

#include <chrono>

namespace velmora {

namespace {

using Time = std::chrono::steady_clock;

double secondsSince(Time::time_point begun)
{
    return std::chrono::duration<double>(Time::now() - begun).count();
}

/// Hands on to the real encoder and adds up what that takes.
class TimedEncoder final : public StillEncoder {
public:
    explicit TimedEncoder(std::shared_ptr<StillEncoder> encoder)
        : encoder_(std::move(encoder))
    {
    }
    std::shared_ptr<NSData> encodeJPEG(
        const CVPixelBuffer& pixels, const ArchiveDictionary& metadata, int quality) override
    {
        const auto begun = Time::now();
        auto data = encoder_->encodeJPEG(pixels, metadata, quality);
        seconds += secondsSince(begun);
        return data;
    }
    std::shared_ptr<NSData> encodeDNG(
        const RawImage& raw, const CVPixelBuffer* preview, const ArchiveDictionary& metadata) override
    {
        return encoder_->encodeDNG(raw, preview, metadata);
    }
    double seconds = 0;

private:
    const std::shared_ptr<StillEncoder> encoder_;
};

/// Stills of 12 megapixels beside small frames, which nobody looks at here.
drivers::phone::PhoneDescription phoneWithBigStills()
{
    drivers::phone::Format format;
    format.size = { 64, 48 };
    format.highResolutionStill = { 4032, 3024 };
    drivers::phone::Camera camera;
    camera.id = "back";
    camera.type = AVCaptureDeviceTypeBuiltInWideAngleCamera;
    camera.position = AVCaptureDevicePositionBack;
    camera.formats = { format };
    camera.presets = { { AVCaptureSessionPresetPhoto, 0 }, { AVCaptureSessionPresetHigh, 0 } };
    drivers::phone::PhoneDescription phone;
    phone.cameras = { camera };
    phone.footage = VELMORA_FOOTAGE;
    return phone;
}

/// The counters are milliseconds a photo. The sensor's picture is made before: a real one comes from the hardware.
void photo(benchmark::State& state)
{
    drivers::media::install();
    drivers::phone::VirtualPhone phone(phoneWithBigStills());
    const auto encoder = std::make_shared<TimedEncoder>(StillEncoder::installed());
    StillEncoder::install(encoder);
    const auto controller
        = make<QVCameraController>(AVCaptureDevicePositionBack, QVCameraCaptureIntentStillImage, std::nullopt);
    controller->startSession();
    std::size_t bytes = 0;
    const auto shoot = [&] {
        bytes = 0;
        controller->captureStillImage(
            nullptr, [&](const auto& output, const auto&) { bytes = output ? output->jpgImageData()->length() : 0; });
        phone.clock().advance(0.1);
    };
    shoot();
    encoder->seconds = 0;
    const auto begun = Time::now();
    for (auto each : state) {
        shoot();
        if (bytes == 0)
            state.SkipWithError("no photo arrived");
    }
    const double photos = static_cast<double>(state.iterations()), all = secondsSince(begun);
    state.counters["encoding"] = 1000 * encoder->seconds / photos;
    state.counters["everything_else"] = 1000 * (all - encoder->seconds) / photos;
    controller->stopSession();
    phone.clock().advance(0);
    StillEncoder::install(nullptr);
}

BENCHMARK(photo)->Unit(benchmark::kMillisecond)->UseRealTime();

}

}
