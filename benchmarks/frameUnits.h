// SPDX-License-Identifier: Apache-2.0
#pragma once

// What frames of 1080x2160 pixels are measured against: C, what libyuv needs to scale and convert the preview alone,
// and F, a copy of the frame.

#include "platform/CoreMedia/CVPixelBuffer.h"
#include "platform/QuartzCore/CALayer.h"

#include <benchmark/benchmark.h>
#include <libyuv.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

namespace {

using namespace velmora;

constexpr double width = 360, height = 720, scale = 3; // points
constexpr int columns = 1080, rows = 2160;

std::shared_ptr<CVPixelBuffer> cameraFrame(int w, int h, int shift)
{
    auto made = CVPixelBuffer::create(w, h, kCVPixelFormatType_420YpCbCr8BiPlanarFullRange);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            made->planes()[0].data[static_cast<std::size_t>(y) * made->planes()[0].stride + static_cast<std::size_t>(x)]
                = static_cast<std::uint8_t>(128 + 90 * std::sin((x + shift) * 0.021) * std::cos(y * 0.013));
    for (int y = 0; y < h / 2; ++y)
        std::memset(made->planes()[1].data + static_cast<std::size_t>(y) * made->planes()[1].stride, 110 + shift,
            static_cast<std::size_t>(w));
    return made;
}

/// A preview without a session.
class Camera : public CALayer {
public:
    Camera(int w, int h, int degrees)
        : rotation(degrees)
    {
        for (int i = 0; i < 4; ++i)
            frames[static_cast<std::size_t>(i)] = cameraFrame(w, h, i);
    }
    std::optional<LayerPreview> preview(CGRect bounds) override
    {
        return LayerPreview { frames[at % 4], rotation, false, bounds };
    }
    void next()
    {
        ++at;
        requestFrame();
    }

    int rotation;
    std::size_t at = 0;
    std::array<std::shared_ptr<CVPixelBuffer>, 4> frames;
};

void unitC(benchmark::State& state)
{
    const auto frame = cameraFrame(540, 1080, 0);
    std::vector<std::uint8_t> luma(columns * rows), chroma(columns * rows / 2), target(4 * columns * rows);
    for (auto _ : state) {
        const auto& planes = frame->planes();
        libyuv::NV12Scale(planes[0].data, static_cast<int>(planes[0].stride), planes[1].data,
            static_cast<int>(planes[1].stride), 540, 1080, luma.data(), columns, chroma.data(), columns, columns, rows,
            libyuv::kFilterBilinear);
        for (int y = 0; y < rows; y += 120)
            libyuv::NV12ToARGBMatrix(luma.data() + y * columns, columns, chroma.data() + y / 2 * columns, columns,
                target.data() + 4 * y * columns, 4 * columns, &libyuv::kYuvJPEGConstants, columns, 120);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(unitC)->Unit(benchmark::kMicrosecond);

void unitF(benchmark::State& state)
{
    const std::vector<std::uint8_t> from(4 * columns * rows, 7);
    std::vector<std::uint8_t> to(from.size());
    for (auto _ : state) {
        std::memcpy(to.data(), from.data(), from.size());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(unitF)->Unit(benchmark::kMicrosecond);

}
