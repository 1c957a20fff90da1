// SPDX-License-Identifier: Apache-2.0
#include "drivers/phone/Light.h"

#include <algorithm>
#include <cmath>

namespace velmora::drivers::phone {

namespace {

/// sRGB to linear, for each of the 256 levels.
const std::array<std::uint16_t, 256>& toLinear()
{
    static const auto table = [] {
        std::array<std::uint16_t, 256> made {};
        for (std::size_t i = 0; i < made.size(); ++i) {
            const double c = static_cast<double>(i) / 255;
            const double linear = c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
            made[i] = static_cast<std::uint16_t>(std::lround(linear * Light::white));
        }
        return made;
    }();
    return table;
}

/// Linear to sRGB, for each of the 65536 levels: two levels of sRGB are 20 of these apart where they are nearest.
const std::vector<std::uint8_t>& toSRGB()
{
    static const auto table = [] {
        std::vector<std::uint8_t> made(65536);
        for (std::size_t i = 0; i < made.size(); ++i) {
            const double linear = static_cast<double>(i) / Light::white;
            const double c = linear <= 0.0031308 ? 12.92 * linear : 1.055 * std::pow(linear, 1 / 2.4) - 0.055;
            made[i] = static_cast<std::uint8_t>(std::lround(c * 255));
        }
        return made;
    }();
    return table;
}

std::uint64_t mixed(std::uint64_t x)
{
    x += 0x9E3779B97F4A7C15;
    x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9;
    x = (x ^ (x >> 27)) * 0x94D049BB133111EB;
    return x ^ (x >> 31);
}

/// Nearly normal, of deviation 1: the sum of four even ones.
double bell(std::uint64_t random)
{
    constexpr double middle = 4 * 65535 / 2.0;
    const double sum = static_cast<double>(
        (random & 0xFFFF) + ((random >> 16) & 0xFFFF) + ((random >> 32) & 0xFFFF) + (random >> 48));
    return (sum - middle) / (65536 / std::sqrt(3.0));
}

/// The running mean over 2 r + 1 samples, of which the outermost count in part; edges are repeated.
class Box {
public:
    explicit Box(double variance)
        : radius_((std::sqrt(12 * variance + 1) - 1) / 2)
        , whole_(static_cast<int>(radius_))
        , part_(static_cast<float>(radius_ - whole_))
    {
    }

    void along(const float* source, float* target, int count) const
    {
        const auto at = [&](int i) { return source[std::clamp(i, 0, count - 1)]; };
        double sum = 0;
        for (int i = -whole_; i <= whole_; ++i)
            sum += static_cast<double>(at(i));
        const auto scale = static_cast<float>(1 / (2 * radius_ + 1));
        for (int i = 0; i < count; ++i) {
            const float outer = at(i - whole_ - 1) + at(i + whole_ + 1);
            target[i] = (static_cast<float>(sum) + part_ * outer) * scale;
            sum += static_cast<double>(at(i + whole_ + 1)) - static_cast<double>(at(i - whole_));
        }
    }

private:
    double radius_;
    int whole_;
    float part_;
};

/// Three boxes after each other look round.
void blurLine(const std::array<Box, 3>& boxes, std::vector<float>& line, std::vector<float>& other)
{
    const int count = static_cast<int>(line.size());
    for (const Box& box : boxes) {
        box.along(line.data(), other.data(), count);
        line.swap(other);
    }
}

void blurChannel(std::vector<std::uint16_t>& channel, int width, int height, const std::array<Box, 3>& boxes)
{
    const auto pass = [&](int lines, int length, auto place) {
        std::vector<float> line(static_cast<std::size_t>(length)), other(line.size());
        for (int l = 0; l < lines; ++l) {
            for (int i = 0; i < length; ++i)
                line[static_cast<std::size_t>(i)] = static_cast<float>(channel[place(l, i)]);
            blurLine(boxes, line, other);
            for (int i = 0; i < length; ++i)
                channel[place(l, i)] = static_cast<std::uint16_t>(line[static_cast<std::size_t>(i)] + 0.5F);
        }
    };
    const auto w = static_cast<std::size_t>(width);
    pass(height, width, [w](int y, int x) { return static_cast<std::size_t>(y) * w + static_cast<std::size_t>(x); });
    pass(width, height, [w](int x, int y) { return static_cast<std::size_t>(y) * w + static_cast<std::size_t>(x); });
}

}

std::array<std::uint8_t, 3> decoded(int luma, int blueness, int redness)
{
    const int y = luma << 16, cb = blueness - 128, cr = redness - 128;
    constexpr int half = 1 << 15;
    const auto level = [](int value) { return static_cast<std::uint8_t>(std::clamp((value + half) >> 16, 0, 255)); };
    return { level(y + 91881 * cr), level(y - 22554 * cb - 46802 * cr), level(y + 116130 * cb) };
}

Light linearised(const Picture& picture)
{
    Light light { picture.luma.width, picture.luma.height, {} };
    const std::size_t count = picture.luma.samples.size();
    for (auto& channel : light.channels)
        channel.resize(count);
    const auto& linear = toLinear();
    for (std::size_t i = 0; i < count; ++i) {
        const auto colour = decoded(picture.luma.samples[i], picture.blueness.samples[i], picture.redness.samples[i]);
        for (std::size_t c = 0; c < 3; ++c)
            light.channels[c][i] = linear[colour[c]];
    }
    return light;
}

void blur(Light& light, double diameter)
{
    if (diameter < sharpBelow)
        return;
    // An even disc of this diameter has the variance d²/16 along each axis; each of three boxes takes a third.
    const Box box(diameter * diameter / 16 / 3);
    const std::array<Box, 3> boxes { box, box, box };
    for (auto& channel : light.channels)
        blurChannel(channel, light.width, light.height, boxes);
}

double Noise::added(double signal, std::size_t place) const
{
    if (none())
        return signal;
    constexpr double readPart = 0.02; // of the variance at full signal
    const double random = bell(mixed(seed_ * 0x9E3779B97F4A7C15 + place));
    return signal + deviation_ * std::sqrt(std::max(signal, 0.0) + readPart) * random;
}

void encode(const std::vector<std::uint16_t>& channel, std::size_t first, int count, double gain, const Noise& noise,
    std::uint8_t* target)
{
    const auto& table = toSRGB();
    if (noise.none()) {
        const auto factor = static_cast<float>(gain);
        for (int i = 0; i < count; ++i) {
            const float signal = static_cast<float>(channel[first + static_cast<std::size_t>(i)]) * factor + 0.5F;
            target[i] = table[static_cast<std::size_t>(std::min(signal, 65535.0F))];
        }
        return;
    }
    for (int i = 0; i < count; ++i) {
        const std::size_t at = first + static_cast<std::size_t>(i);
        const double signal = noise.added(channel[at] / Light::white * gain, at);
        target[i] = table[static_cast<std::size_t>(std::clamp(signal, 0.0, 1.0) * Light::white + 0.5)];
    }
}

}
