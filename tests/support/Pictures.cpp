// SPDX-License-Identifier: Apache-2.0
#include "tests/support/Pictures.h"

#include <algorithm>
#include <cmath>

namespace velmora::tests {

namespace {

std::uint8_t* at(const CVPixelBuffer::Plane& plane, int x, int y, int step)
{
    return plane.data + static_cast<std::size_t>(y) * plane.stride + static_cast<std::size_t>(x * step);
}

std::uint8_t rounded(double value)
{
    return static_cast<std::uint8_t>(std::clamp(std::lround(value), 0L, 255L));
}

}

std::array<int, 3> colourAt(const CVPixelBuffer& pixels, int x, int y)
{
    const std::uint8_t* pixel = at(pixels.planes()[0], x, y, 4);
    return { pixel[2], pixel[1], pixel[0] };
}

std::shared_ptr<CVPixelBuffer> as420f(const CVPixelBuffer& picture)
{
    const int width = picture.width(), height = picture.height();
    auto result = CVPixelBuffer::create(width, height, kCVPixelFormatType_420YpCbCr8BiPlanarFullRange);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const auto [red, green, blue] = colourAt(picture, x, y);
            *at(result->planes()[0], x, y, 1) = rounded(0.299 * red + 0.587 * green + 0.114 * blue);
        }
    for (int y = 0; y < height; y += 2)
        for (int x = 0; x < width; x += 2) {
            double sums[3] {};
            for (int k = 0; k < 4; ++k) {
                const auto colour = colourAt(picture, std::min(x + k % 2, width - 1), std::min(y + k / 2, height - 1));
                for (std::size_t i = 0; i < 3; ++i)
                    sums[i] += colour[i] / 4.0;
            }
            std::uint8_t* pair = at(result->planes()[1], x / 2, y / 2, 2);
            pair[0] = rounded(128 - 0.168736 * sums[0] - 0.331264 * sums[1] + 0.5 * sums[2]);
            pair[1] = rounded(128 + 0.5 * sums[0] - 0.418688 * sums[1] - 0.081312 * sums[2]);
        }
    return result;
}

std::shared_ptr<CVPixelBuffer> wavyPicture(int width, int height)
{
    auto picture = CVPixelBuffer::create(width, height, kCVPixelFormatType_32BGRA);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            std::uint8_t* pixel = at(picture->planes()[0], x, y, 4);
            pixel[0] = rounded(128 + 90 * std::sin(x * 0.031) * std::cos(y * 0.017));
            pixel[1] = rounded(128 + 70 * std::sin(x * 0.011 + y * 0.023));
            pixel[2] = rounded(128 + 80 * std::cos(x * 0.019 - y * 0.007));
            pixel[3] = 255;
        }
    return picture;
}

std::string footage(const std::string& name)
{
    return std::string(VELMORA_SOURCE_DIR) + "/footage/" + name;
}

double lumaSignalToNoise(const CVPixelBuffer& a, const CVPixelBuffer& b)
{
    double sum = 0;
    for (int y = 0; y < a.height(); ++y)
        for (int x = 0; x < a.width(); ++x) {
            const double difference = *at(a.planes()[0], x, y, 1) - *at(b.planes()[0], x, y, 1);
            sum += difference * difference;
        }
    return 10 * std::log10(255.0 * 255.0 * a.width() * a.height() / std::max(sum, 1e-9));
}

}
