// SPDX-License-Identifier: Apache-2.0
// A picture of 12 megapixels, data in hand to the bytes of a file: libjpeg-turbo alone, our encoder on one core and on
// two, and everything that makes a photo (EXIF and thumbnail too).
#include "drivers/media/JPEGEncoder.h"
#include "drivers/media/MediaStillEncoder.h"

#include <benchmark/benchmark.h>
#include <turbojpeg.h>

#include <cmath>

namespace {

using namespace velmora;
using drivers::media::JPEGEncoder;

constexpr int width = 4032, height = 3024, quality = 95;

std::shared_ptr<CVPixelBuffer> picture()
{
    static const auto pixels = [] {
        auto made = CVPixelBuffer::create(width, height, kCVPixelFormatType_420YpCbCr8BiPlanarFullRange);
        std::uint32_t noise = 1;
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x) {
                noise = noise * 1664525 + 1013904223;
                const double light
                    = 128 + 60 * std::sin(x * 0.011) * std::cos(y * 0.013) + 30 * std::sin((x + y) * 0.2);
                made->planes()[0]
                    .data[static_cast<std::size_t>(y) * made->planes()[0].stride + static_cast<std::size_t>(x)]
                    = static_cast<std::uint8_t>(light + (noise >> 29));
            }
        for (int y = 0; y < height / 2; ++y)
            for (int x = 0; x < width; ++x)
                made->planes()[1]
                    .data[static_cast<std::size_t>(y) * made->planes()[1].stride + static_cast<std::size_t>(x)]
                    = static_cast<std::uint8_t>(128 + 60 * std::sin(x * 0.005));
        return made;
    }();
    return pixels;
}

/// The floor: planes that are apart already, a buffer that is kept.
void LibjpegTurboAlone(benchmark::State& state)
{
    const auto pixels = picture();
    std::vector<std::uint8_t> blue(width / 2 * height / 2), red(blue.size());
    for (std::size_t i = 0; i < blue.size(); ++i) {
        const std::size_t row = i / (width / 2), column = i % (width / 2);
        blue[i] = pixels->planes()[1].data[row * pixels->planes()[1].stride + 2 * column];
        red[i] = pixels->planes()[1].data[row * pixels->planes()[1].stride + 2 * column + 1];
    }
    const unsigned char* planes[] { pixels->planes()[0].data, blue.data(), red.data() };
    const int strides[] { static_cast<int>(pixels->planes()[0].stride), width / 2, width / 2 };
    tjhandle handle = tjInitCompress();
    unsigned char* bytes = nullptr;
    unsigned long size = 0;
    for (auto _ : state)
        tjCompressFromYUVPlanes(handle, planes, width, strides, height, TJSAMP_420, &bytes, &size, quality, 0);
    state.counters["bytes"] = static_cast<double>(size);
    tjFree(bytes);
    tjDestroy(handle);
}
BENCHMARK(LibjpegTurboAlone)->Unit(benchmark::kMillisecond)->UseRealTime();

void Encode(benchmark::State& state)
{
    const JPEGEncoder encoder(static_cast<int>(state.range(0)));
    for (auto _ : state)
        benchmark::DoNotOptimize(encoder.encode(*picture(), quality, {}));
}
BENCHMARK(Encode)->ArgName("threads")->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime();

void Photo(benchmark::State& state)
{
    const ArchiveDictionary image { { "Make", std::string("Velmora") }, { "Model", std::string("Phone") } };
    const ArchiveDictionary photo { { "ExposureTime", 1 / 120.0 }, { "FNumber", 1.8 } };
    const ArchiveDictionary metadata { { "{TIFF}", std::make_shared<NSDictionary>(image) },
        { "{Exif}", std::make_shared<NSDictionary>(photo) } };
    drivers::media::MediaStillEncoder encoder;
    for (auto _ : state)
        benchmark::DoNotOptimize(encoder.encodeJPEG(*picture(), metadata, quality));
}
BENCHMARK(Photo)->Unit(benchmark::kMillisecond)->UseRealTime();

}
