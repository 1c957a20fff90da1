// SPDX-License-Identifier: Apache-2.0
#include "drivers/phone/Scaling.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>

namespace velmora::drivers::phone {

namespace {

constexpr int weightBits = 14; // of the weights: 1.0 is 16384
constexpr int betweenBits = 6; // fractional bits of the rows between the two passes
constexpr int lanes = 8; // weights come in multiples, for the compiler's vectors

double lanczos(double x)
{
    constexpr double lobes = 3;
    if (x == 0)
        return 1;
    if (std::abs(x) >= lobes)
        return 0;
    const double p = std::numbers::pi * x;
    return lobes * std::sin(p) * std::sin(p / lobes) / (p * p);
}

/// For each target sample: where its weights begin in the source, and `taps` of them.
struct Filter {
    int taps = 0;
    std::vector<int> first;
    std::vector<std::int16_t> weights;
    const std::int16_t* of(int i) const { return weights.data() + static_cast<std::ptrdiff_t>(i) * taps; }
};

/// The weights around `centre`, edges repeated, adding up to exactly one.
void weigh(double centre, double widening, int sourceSize, int first, std::int16_t* weights, int taps)
{
    std::vector<double> exact(static_cast<std::size_t>(taps));
    double sum = 0;
    const int from = static_cast<int>(std::floor(centre - 3 * widening));
    const int to = static_cast<int>(std::ceil(centre + 3 * widening));
    for (int i = from; i <= to; ++i) {
        const double weight = lanczos((i + 0.5 - centre) / widening);
        const int inside = std::clamp(i, 0, sourceSize - 1) - first;
        exact[static_cast<std::size_t>(std::clamp(inside, 0, taps - 1))] += weight;
        sum += weight;
    }
    constexpr int one = 1 << weightBits;
    int left = one;
    for (int i = 0; i < taps; ++i) {
        weights[i] = static_cast<std::int16_t>(std::lround(exact[static_cast<std::size_t>(i)] / sum * one));
        left -= weights[i];
    }
    *std::max_element(weights, weights + taps)
        = static_cast<std::int16_t>(*std::max_element(weights, weights + taps) + left);
}

Filter filterFor(double from, double length, int sourceSize, int targetSize)
{
    const double ratio = length / targetSize;
    const double widening = std::max(1.0, ratio);
    Filter filter;
    const int needed = static_cast<int>(std::ceil(6 * widening)) + 2;
    filter.taps = std::min((needed + lanes - 1) / lanes * lanes, (sourceSize + lanes - 1) / lanes * lanes);
    filter.first.resize(static_cast<std::size_t>(targetSize));
    filter.weights.resize(static_cast<std::size_t>(targetSize) * static_cast<std::size_t>(filter.taps));
    for (int i = 0; i < targetSize; ++i) {
        const double centre = from + (i + 0.5) * ratio;
        const int first
            = std::clamp(static_cast<int>(std::floor(centre - 3 * widening)), 0, std::max(0, sourceSize - filter.taps));
        filter.first[static_cast<std::size_t>(i)] = first;
        weigh(centre, widening, sourceSize, first, filter.weights.data() + static_cast<std::ptrdiff_t>(i) * filter.taps,
            filter.taps);
    }
    return filter;
}

/// One row between the passes: the weighted sum of source rows.
void addRows(const Channel& channel, const Filter& filter, int target, std::int32_t* sums, std::int16_t* row)
{
    const int width = channel.width;
    std::fill(sums, sums + width, 1 << (weightBits - betweenBits - 1));
    const std::int16_t* weights = filter.of(target);
    for (int tap = 0; tap < filter.taps; ++tap) {
        const std::int32_t weight = weights[tap];
        if (weight == 0)
            continue;
        const std::uint8_t* source = channel.row(filter.first[static_cast<std::size_t>(target)] + tap);
        for (int x = 0; x < width; ++x)
            sums[x] += weight * source[x];
    }
    for (int x = 0; x < width; ++x)
        row[x] = static_cast<std::int16_t>(sums[x] >> (weightBits - betweenBits));
}

/// The number of weights is known when compiling where it is small, as it nearly always is.
template <int Taps>
void addColumns(const std::int16_t* row, const Filter& filter, std::uint8_t* target, int width, int step)
{
    constexpr int bits = weightBits + betweenBits;
    const int taps = Taps > 0 ? Taps : filter.taps;
    const std::int16_t* weights = filter.weights.data();
    for (int x = 0; x < width; ++x, weights += taps) {
        const std::int16_t* source = row + filter.first[static_cast<std::size_t>(x)];
        std::int32_t sum = 1 << (bits - 1);
        for (int tap = 0; tap < taps; ++tap)
            sum += std::int32_t { weights[tap] } * source[tap];
        target[static_cast<std::ptrdiff_t>(x) * step] = static_cast<std::uint8_t>(std::clamp(sum >> bits, 0, 255));
    }
}

void filtered(const Channel& channel, const Part& part, const Canvas& canvas)
{
    const Filter across = filterFor(part.x, part.width, channel.width, canvas.width);
    const Filter down = filterFor(part.y, part.height, channel.height, canvas.height);
    const auto columns = across.taps == 8 ? addColumns<8> : across.taps == 16 ? addColumns<16> : addColumns<0>;

    // A source that is smaller than the filter has weights beyond its end; they are zero there.
    const auto width = static_cast<std::size_t>(channel.width);
    std::vector<std::int32_t> sums(width);
    std::vector<std::int16_t> row(width + static_cast<std::size_t>(across.taps));
    for (int y = 0; y < canvas.height; ++y) {
        addRows(channel, down, y, sums.data(), row.data());
        columns(row.data(), across, canvas.row(y), canvas.width, canvas.step);
    }
}

void copied(const Channel& channel, int left, int top, const Canvas& canvas)
{
    for (int y = 0; y < canvas.height; ++y) {
        const std::uint8_t* source = channel.row(top + y) + left;
        std::uint8_t* target = canvas.row(y);
        if (canvas.step == 1)
            std::memcpy(target, source, static_cast<std::size_t>(canvas.width));
        else
            for (int x = 0; x < canvas.width; ++x)
                target[static_cast<std::ptrdiff_t>(x) * canvas.step] = source[x];
    }
}

void halved(const Channel& channel, int left, int top, const Canvas& canvas)
{
    for (int y = 0; y < canvas.height; ++y) {
        const std::uint8_t* upper = channel.row(top + 2 * y) + left;
        const std::uint8_t* lower = channel.row(top + 2 * y + 1) + left;
        std::uint8_t* target = canvas.row(y);
        for (int x = 0; x < canvas.width; ++x)
            target[static_cast<std::ptrdiff_t>(x) * canvas.step] = static_cast<std::uint8_t>(
                (upper[2 * x] + upper[2 * x + 1] + lower[2 * x] + lower[2 * x + 1] + 2) / 4);
    }
}

bool isWhole(double number)
{
    return std::abs(number - std::round(number)) < 1e-6;
}

}

void scale(const Channel& channel, const Part& part, const Canvas& canvas)
{
    const bool aligned = isWhole(part.x) && isWhole(part.y);
    const int left = static_cast<int>(std::lround(part.x)), top = static_cast<int>(std::lround(part.y));
    const auto fits = [&](double factor) {
        return aligned && std::abs(part.width - factor * canvas.width) < 1e-6
            && std::abs(part.height - factor * canvas.height) < 1e-6;
    };
    if (fits(1))
        copied(channel, left, top, canvas);
    else if (fits(2))
        halved(channel, left, top, canvas);
    else
        filtered(channel, part, canvas);
}

}
