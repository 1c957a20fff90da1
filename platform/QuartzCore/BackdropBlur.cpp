// SPDX-License-Identifier: Apache-2.0
#include "platform/QuartzCore/BackdropBlur.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace velmora {

namespace {

constexpr int boxes = 3, greatestFactor = 8;

/// Means of squares of `factor` pixels; the last ones are narrower.
BlurredPicture shrunk(const std::uint8_t* pixels, std::size_t stride, int width, int height, int factor)
{
    BlurredPicture small { (width + factor - 1) / factor, (height + factor - 1) / factor, factor, {} };
    small.pixels.resize(4 * static_cast<std::size_t>(small.width) * static_cast<std::size_t>(small.height));
    auto* out = small.pixels.data();
    for (int y = 0; y < height; y += factor)
        for (int x = 0; x < width; x += factor) {
            const int right = std::min(x + factor, width), bottom = std::min(y + factor, height);
            std::array<unsigned, 4> sum {};
            for (int row = y; row < bottom; ++row)
                for (int column = x; column < right; ++column)
                    for (std::size_t channel = 0; channel < 4; ++channel)
                        sum[channel] += pixels[static_cast<std::size_t>(row) * stride
                            + 4 * static_cast<std::size_t>(column) + channel];
            const auto count = static_cast<unsigned>((right - x) * (bottom - y));
            for (const unsigned each : sum)
                *out++ = static_cast<std::uint8_t>((each + count / 2) / count);
        }
    return small;
}

/// The mean of 2 radius + 1 values around each of a row or column.
void box(std::vector<std::uint8_t>& line, std::vector<std::uint8_t>& result, int count, int radius)
{
    const auto at = [&](int index, std::size_t channel) {
        return line[4 * static_cast<std::size_t>(std::clamp(index, 0, count - 1)) + channel];
    };
    const auto width = static_cast<unsigned>(2 * radius + 1);
    for (std::size_t channel = 0; channel < 4; ++channel) {
        unsigned sum = 0;
        for (int i = -radius; i <= radius; ++i)
            sum += at(i, channel);
        for (int i = 0; i < count; ++i) {
            result[4 * static_cast<std::size_t>(i) + channel] = static_cast<std::uint8_t>((sum + width / 2) / width);
            sum += at(i + radius + 1, channel);
            sum -= at(i - radius, channel);
        }
    }
    line.swap(result);
}

/// Radii of boxes whose variances add up to the wanted one, as nearly as whole numbers do.
std::array<int, boxes> radiiFor(double deviation)
{
    const double ideal = std::sqrt(12 * deviation * deviation / boxes + 1);
    int lower = static_cast<int>(ideal);
    lower -= lower % 2 == 0 ? 1 : 0;
    const double narrow
        = (12 * deviation * deviation - boxes * lower * lower - 4 * boxes * lower - 3 * boxes) / (-4.0 * lower - 4);
    std::array<int, boxes> radii {};
    for (int i = 0; i < boxes; ++i)
        radii[static_cast<std::size_t>(i)] = ((i < std::lround(narrow) ? lower : lower + 2) - 1) / 2;
    return radii;
}

void blurLines(BlurredPicture& picture, const std::array<int, boxes>& radii, bool rows)
{
    const int count = rows ? picture.width : picture.height, lines = rows ? picture.height : picture.width;
    std::vector<std::uint8_t> line(4 * static_cast<std::size_t>(count)), spare(line.size());
    for (int i = 0; i < lines; ++i) {
        const auto place = [&](int j) {
            const int x = rows ? j : i, y = rows ? i : j;
            return picture.pixels.data()
                + 4
                * (static_cast<std::size_t>(y) * static_cast<std::size_t>(picture.width) + static_cast<std::size_t>(x));
        };
        for (int j = 0; j < count; ++j)
            std::copy_n(place(j), 4, line.data() + 4 * static_cast<std::size_t>(j));
        for (const int radius : radii)
            if (radius > 0)
                box(line, spare, count, radius);
        for (int j = 0; j < count; ++j)
            std::copy_n(line.data() + 4 * static_cast<std::size_t>(j), 4, place(j));
    }
}

}

BlurredPicture blurred(const std::uint8_t* pixels, std::size_t stride, int width, int height, double deviation)
{
    const int factor = std::clamp(static_cast<int>(deviation / 2), 1, greatestFactor);
    auto picture = shrunk(pixels, stride, width, height, factor);
    const auto radii = radiiFor(deviation / factor);
    blurLines(picture, radii, true);
    blurLines(picture, radii, false);
    return picture;
}

}
