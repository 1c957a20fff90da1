// SPDX-License-Identifier: Apache-2.0
#include "drivers/phone/Light.h"

#include "drivers/phone/Parts.h"

#include <algorithm>
#include <cmath>

namespace velmora::drivers::phone {

namespace {

// BT.601, times 65536.
constexpr int redFromRedness = 91881, greenFromBlueness = -22554, greenFromRedness = -46802, blueFromBlueness = 116130;

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
float bell(std::uint64_t random)
{
    constexpr int middle = 2 * 65535;
    constexpr float deviation = 37837.2F; // of the sum: 65536 / sqrt(3)
    const int sum
        = static_cast<int>((random & 0xFFFF) + ((random >> 16) & 0xFFFF) + ((random >> 32) & 0xFFFF) + (random >> 48));
    return static_cast<float>(sum - middle) / deviation;
}

constexpr std::size_t bellCount = 1 << 16, bellBlock = 1 << 12;

/// Random numbers to begin reading anywhere among the first `bellCount`, a whole block long.
const std::vector<float>& bellTable()
{
    // Never destroyed: a frame may be on its way while the process ends.
    static const auto* table = [] {
        auto* made = new std::vector<float>(bellCount + bellBlock);
        for (std::size_t i = 0; i < made->size(); ++i)
            (*made)[i] = bell(mixed(i));
        return made;
    }();
    return *table;
}

/// Lines that are blurred side by side: columns of a picture lie next to each other in memory.
constexpr int abreast = 16;
using Samples = std::array<float, abreast>;

/// The running mean over 2 w + 3 samples, of which the outermost two count in part; edges are repeated.
class Box {
public:
    /// The part of the outermost is what makes the variance exact: (w (w + 1) (2 w + 1) / 3 + 2 part (w + 1)^2) over
    /// (2 w + 1 + 2 part).
    explicit Box(double variance)
        : whole_(static_cast<int>((std::sqrt(12 * variance + 1) - 1) / 2))
    {
        const double w = whole_, next = (w + 1) * (w + 1);
        const double part = (variance * (2 * w + 1) - w * (w + 1) * (2 * w + 1) / 3) / (2 * (next - variance));
        part_ = static_cast<float>(part);
        scale_ = static_cast<float>(1 / (2 * w + 1 + 2 * part));
    }

    void along(const std::vector<Samples>& source, std::vector<Samples>& target) const
    {
        const int last = static_cast<int>(source.size()) - 1;
        const auto at
            = [&](int i) -> const Samples& { return source[static_cast<std::size_t>(std::clamp(i, 0, last))]; };
        Samples sum {}; // of whole numbers and a few thirds of them: exact enough in single precision
        for (int i = -whole_; i <= whole_; ++i)
            for (std::size_t lane = 0; lane < abreast; ++lane)
                sum[lane] += at(i)[lane];
        for (int i = 0; i <= last; ++i) {
            const Samples &before = at(i - whole_ - 1), &after = at(i + whole_ + 1), &leaving = at(i - whole_);
            Samples& result = target[static_cast<std::size_t>(i)];
            for (std::size_t lane = 0; lane < abreast; ++lane) {
                result[lane] = (sum[lane] + part_ * (before[lane] + after[lane])) * scale_;
                sum[lane] += after[lane] - leaving[lane];
            }
        }
    }

private:
    int whole_;
    float part_ = 0, scale_ = 1;
};

/// Three boxes after each other look round. `place` finds a sample by line and position.
template <class Place>
void blurLines(std::vector<std::uint16_t>& channel, int lines, int length, const Box& box, Place place)
{
    std::vector<Samples> line(static_cast<std::size_t>(length)), other(line.size());
    for (int first = 0; first < lines; first += abreast) {
        const int count = std::min(abreast, lines - first);
        for (int i = 0; i < length; ++i)
            for (int lane = 0; lane < count; ++lane)
                line[static_cast<std::size_t>(i)][static_cast<std::size_t>(lane)]
                    = static_cast<float>(channel[place(first + lane, i)]);
        box.along(line, other);
        box.along(other, line);
        box.along(line, other);
        for (int i = 0; i < length; ++i)
            for (int lane = 0; lane < count; ++lane) {
                const float level = other[static_cast<std::size_t>(i)][static_cast<std::size_t>(lane)] + 0.5F;
                channel[place(first + lane, i)] = static_cast<std::uint16_t>(std::clamp(level, 0.0F, 65535.0F));
            }
    }
}

}

std::array<std::uint8_t, 3> decoded(int luma, int blueness, int redness)
{
    const int y = luma << 16, cb = blueness - 128, cr = redness - 128;
    constexpr int half = 1 << 15;
    const auto level = [](int value) { return static_cast<std::uint8_t>(std::clamp((value + half) >> 16, 0, 255)); };
    return { level(y + redFromRedness * cr), level(y + greenFromBlueness * cb + greenFromRedness * cr),
        level(y + blueFromBlueness * cb) };
}

Light linearised(const Picture& picture)
{
    Light light { picture.luma.width, picture.luma.height, {} };
    const std::size_t count = picture.luma.samples.size();
    for (auto& channel : light.channels)
        channel.resize(count);
    const auto& linear = toLinear();
    // A stretch at a time, which stays in the cache; the three loops become vectors.
    constexpr std::size_t stretch = 1024;
    constexpr int half = 1 << 15;
    const auto add = [&](std::size_t c, std::size_t first, std::size_t length, int fromBlueness, int fromRedness) {
        std::array<std::int32_t, stretch> levels;
        const std::uint8_t* luma = picture.luma.samples.data() + first;
        const std::uint8_t* blueness = picture.blueness.samples.data() + first;
        const std::uint8_t* redness = picture.redness.samples.data() + first;
        for (std::size_t i = 0; i < length; ++i) {
            const int value
                = (luma[i] << 16) + fromBlueness * (blueness[i] - 128) + fromRedness * (redness[i] - 128) + half;
            levels[i] = std::clamp(value >> 16, 0, 255);
        }
        std::uint16_t* target = light.channels[c].data() + first;
        for (std::size_t i = 0; i < length; ++i)
            target[i] = linear[static_cast<std::size_t>(levels[i])];
    };
    inParts(light.height, [&](int from, int to) {
        const auto width = static_cast<std::size_t>(light.width);
        const std::size_t end = static_cast<std::size_t>(to) * width;
        for (std::size_t first = static_cast<std::size_t>(from) * width; first < end; first += stretch) {
            const std::size_t length = std::min(stretch, end - first);
            add(0, first, length, 0, redFromRedness);
            add(1, first, length, greenFromBlueness, greenFromRedness);
            add(2, first, length, blueFromBlueness, 0);
        }
    });
    return light;
}

void blur(Light& light, double diameter)
{
    if (diameter < sharpBelow)
        return;
    // An even disc of this diameter has the variance d²/16 along each axis; each of three boxes takes a third.
    const Box box(diameter * diameter / 16 / 3);
    const auto width = static_cast<std::size_t>(light.width);
    for (auto& channel : light.channels) {
        blurLines(channel, light.height, light.width, box,
            [width](int y, int x) { return static_cast<std::size_t>(y) * width + static_cast<std::size_t>(x); });
        blurLines(channel, light.width, light.height, box,
            [width](int x, int y) { return static_cast<std::size_t>(y) * width + static_cast<std::size_t>(x); });
    }
}

void Noise::add(float* signals, int count, std::size_t place) const
{
    if (none())
        return;
    constexpr float readPart = 0.02F; // of the variance at full signal
    const auto& bells = bellTable();
    for (int done = 0; done < count;) {
        // Each block of the picture begins anywhere in the table: no pattern repeats at a distance.
        const std::size_t block = place / bellBlock, within = place % bellBlock;
        const int length = std::min(count - done, static_cast<int>(bellBlock - within));
        const float* random = bells.data() + (mixed(start_ + block) % bellCount) + within;
        for (int i = 0; i < length; ++i) {
            const float signal = signals[done + i];
            signals[done + i] = signal + deviation_ * std::sqrt(std::max(signal, 0.0F) + readPart) * random[i];
        }
        done += length;
        place += static_cast<std::size_t>(length);
    }
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
    const auto factor = static_cast<float>(gain / Light::white);
    std::vector<float> signals(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i)
        signals[static_cast<std::size_t>(i)]
            = static_cast<float>(channel[first + static_cast<std::size_t>(i)]) * factor;
    noise.add(signals.data(), count, first);
    for (int i = 0; i < count; ++i) {
        const float signal = std::min(std::max(signals[static_cast<std::size_t>(i)], 0.0F), 1.0F);
        target[i] = table[static_cast<std::size_t>(signal * 65535.0F + 0.5F)];
    }
}

}
