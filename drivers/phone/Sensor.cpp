// SPDX-License-Identifier: Apache-2.0
#include "drivers/phone/Sensor.h"

#include "drivers/phone/CameraModel.h"
#include "drivers/phone/Light.h"
#include "drivers/phone/Parts.h"

#include <algorithm>
#include <cmath>

namespace velmora::drivers::phone {

namespace {

Canvas canvasOf(const CVPixelBuffer& pixels, std::size_t plane, int offset = 0, int step = 1)
{
    const auto& p = pixels.planes()[plane];
    return { p.data + offset, p.stride, p.width, p.height, step };
}

Canvas canvasOf(Channel& channel)
{
    return { channel.samples.data(), static_cast<std::size_t>(channel.width), channel.width, channel.height, 1 };
}

/// The light that falls on the sensor, before it answers.
Light lightOf(Scene& scene, const Shot& shot)
{
    const int width = shot.view.width, height = shot.view.height;
    Picture picture { { width, height }, { width, height }, { width, height } };
    scene.paint(shot.view, canvasOf(picture.luma), canvasOf(picture.blueness), canvasOf(picture.redness));
    if (!shot.warp.isNone())
        for (Channel* channel : { &picture.luma, &picture.blueness, &picture.redness }) {
            Channel source(width, height);
            source.samples.swap(channel->samples);
            warped(canvasOf(source), shot.warp, canvasOf(*channel));
        }
    Light light = linearised(picture);
    blur(light, shot.blur * width);
    return light;
}

std::uint8_t clamped(int value)
{
    return static_cast<std::uint8_t>(std::clamp(value, 0, 255));
}

/// Two rows of red, green and blue become two rows of luma and one of colour.
void encodeRows(const std::array<std::vector<std::uint8_t>, 3>* rows, int count, int y, const CVPixelBuffer& pixels)
{
    const Canvas luma = canvasOf(pixels, 0), colour = canvasOf(pixels, 1);
    constexpr int half = 1 << 15, middle = (128 << 16) + half - 1;
    for (int i = 0; i < count; ++i) {
        const auto& [red, green, blue] = rows[i];
        std::uint8_t* target = luma.row(y + i);
        for (int x = 0; x < luma.width; ++x) {
            const auto at = static_cast<std::size_t>(x);
            target[x] = static_cast<std::uint8_t>((19595 * red[at] + 38470 * green[at] + 7471 * blue[at] + half) >> 16);
        }
    }
    std::uint8_t* target = colour.row(y / 2);
    for (int x = 0; x < colour.width; ++x) {
        const auto left = static_cast<std::size_t>(2 * x);
        const auto right = static_cast<std::size_t>(std::min(2 * x + 1, luma.width - 1));
        const auto& lower = rows[count - 1];
        const auto mean = [&](std::size_t c) {
            return (rows[0][c][left] + rows[0][c][right] + lower[c][left] + lower[c][right] + 2) / 4;
        };
        const int red = mean(0), green = mean(1), blue = mean(2);
        target[2 * x] = clamped((-11059 * red - 21709 * green + 32768 * blue + middle) >> 16);
        target[2 * x + 1] = clamped((32768 * red - 27439 * green - 5329 * blue + middle) >> 16);
    }
}

std::shared_ptr<CVPixelBuffer> seenThrough(const Warp& warp, const CVPixelBuffer& picture)
{
    auto result = CVPixelBuffer::create(picture.width(), picture.height(), picture.pixelFormat());
    warped(canvasOf(picture, 0), warp, canvasOf(*result, 0));
    for (const int channel : { 0, 1 })
        warped(canvasOf(picture, 1, channel, 2), warp, canvasOf(*result, 1, channel, 2));
    return result;
}

std::shared_ptr<CVPixelBuffer> exposed(const Light& light, const Shot& shot)
{
    const int width = shot.view.width, height = shot.view.height;
    auto pixels = CVPixelBuffer::create(width, height, kCVPixelFormatType_420YpCbCr8BiPlanarFullRange);
    inParts(height, [&](int first, int last) {
        std::array<std::vector<std::uint8_t>, 3> rows[2];
        for (auto& row : rows)
            for (auto& channel : row)
                channel.resize(static_cast<std::size_t>(width));
        for (int y = first; y < last; y += 2) {
            const int count = std::min(2, last - y);
            for (int i = 0; i < count; ++i)
                for (std::size_t c = 0; c < 3; ++c) {
                    const Noise noise(shot.noise, shot.seed * 3 + c);
                    encode(light.channels[c], static_cast<std::size_t>(y + i) * static_cast<std::size_t>(width), width,
                        shot.gain * shot.balance[c], noise, rows[i][c].data());
                }
            encodeRows(rows, count, y, *pixels);
        }
    });
    return pixels;
}

}

bool Shot::operator==(const Shot& other) const
{
    return view.moment == other.view.moment && view.turn == other.view.turn && view.zoom == other.view.zoom
        && view.width == other.view.width && view.height == other.view.height && gain == other.gain
        && warp == other.warp && balance == other.balance && blur == other.blur && noise == other.noise
        && seed == other.seed;
}

bool Shot::isPlain() const
{
    return gain == 1 && balance == std::array<double, 3> { 1, 1, 1 } && noise == 0 && blur * view.width < sharpBelow;
}

std::shared_ptr<CVPixelBuffer> develop(Scene& scene, const Shot& shot)
{
    if (!shot.isPlain())
        return exposed(lightOf(scene, shot), shot);
    auto pixels
        = CVPixelBuffer::create(shot.view.width, shot.view.height, kCVPixelFormatType_420YpCbCr8BiPlanarFullRange);
    scene.paint(shot.view, canvasOf(*pixels, 0), canvasOf(*pixels, 1, 0, 2), canvasOf(*pixels, 1, 1, 2));
    return shot.warp.isNone() ? pixels : seenThrough(shot.warp, *pixels);
}

bool canConvertTo(std::uint32_t pixelFormat)
{
    return pixelFormat == kCVPixelFormatType_420YpCbCr8BiPlanarFullRange
        || pixelFormat == kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange || pixelFormat == kCVPixelFormatType_32BGRA;
}

namespace {

std::shared_ptr<CVPixelBuffer> videoRange(const CVPixelBuffer& picture)
{
    auto result
        = CVPixelBuffer::create(picture.width(), picture.height(), kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange);
    for (const std::size_t plane : { std::size_t { 0 }, std::size_t { 1 } }) {
        const Canvas from = canvasOf(picture, plane), to = canvasOf(*result, plane);
        const int samples = plane == 0 ? from.width : 2 * from.width;
        for (int y = 0; y < from.height; ++y)
            for (int x = 0; x < samples; ++x)
                to.row(y)[x] = plane == 0 ? static_cast<std::uint8_t>(16 + (from.row(y)[x] * 219 + 127) / 255)
                                          : static_cast<std::uint8_t>(128 + ((from.row(y)[x] - 128) * 112) / 127);
    }
    return result;
}

std::shared_ptr<CVPixelBuffer> BGRA(const CVPixelBuffer& picture)
{
    auto result = CVPixelBuffer::create(picture.width(), picture.height(), kCVPixelFormatType_32BGRA);
    const Canvas luma = canvasOf(picture, 0), colour = canvasOf(picture, 1), to = canvasOf(*result, 0);
    for (int y = 0; y < luma.height; ++y)
        for (int x = 0; x < luma.width; ++x) {
            const std::uint8_t* pair = colour.row(y / 2) + x / 2 * 2;
            const auto [red, green, blue] = decoded(luma.row(y)[x], pair[0], pair[1]);
            std::uint8_t* target = to.row(y) + 4 * x;
            target[0] = blue;
            target[1] = green;
            target[2] = red;
            target[3] = 255;
        }
    return result;
}

}

std::shared_ptr<CVPixelBuffer> converted(const std::shared_ptr<CVPixelBuffer>& picture, std::uint32_t pixelFormat)
{
    if (pixelFormat == kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange)
        return videoRange(*picture);
    if (pixelFormat == kCVPixelFormatType_32BGRA)
        return BGRA(*picture);
    return picture;
}

RawImage readOut(Scene& scene, const Shot& shot, const std::array<double, 3>& asShot)
{
    constexpr std::uint16_t black = 512, white = 16383;
    RawImage raw;
    raw.blackLevel = black;
    raw.whiteLevel = white;
    raw.colorMatrix = model::colorMatrix();
    raw.asShotNeutral = asShot;
    raw.samples = CVPixelBuffer::create(shot.view.width, shot.view.height, kCVPixelFormatType_14Bayer_BGGR);

    const Light light = lightOf(scene, shot);
    const auto& plane = raw.samples->planes()[0];
    const Noise noise(shot.noise, shot.seed * 3);
    std::vector<float> signals(static_cast<std::size_t>(plane.width));
    std::array<float, 3> factors {};
    for (std::size_t c = 0; c < 3; ++c)
        factors[c] = static_cast<float>(shot.gain * model::sensorWhite[c] / Light::white);
    for (int y = 0; y < plane.height; ++y) {
        auto* row = reinterpret_cast<std::uint16_t*>(plane.data + static_cast<std::size_t>(y) * plane.stride);
        const std::size_t line = static_cast<std::size_t>(y) * static_cast<std::size_t>(plane.width);
        for (int x = 0; x < plane.width; ++x) {
            const std::size_t channel = raw.pattern[static_cast<std::size_t>(y % 2 * 2 + x % 2)];
            signals[static_cast<std::size_t>(x)]
                = static_cast<float>(light.channels[channel][line + static_cast<std::size_t>(x)]) * factors[channel];
        }
        noise.add(signals.data(), plane.width, line);
        for (int x = 0; x < plane.width; ++x) {
            const float signal = signals[static_cast<std::size_t>(x)] * (white - black);
            row[x] = static_cast<std::uint16_t>(std::clamp(signal + black, 0.0F, float { white }) + 0.5F);
        }
    }
    return raw;
}

}
