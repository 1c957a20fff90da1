// SPDX-License-Identifier: Apache-2.0
#include "drivers/phone/DrawnScene.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <numbers>

namespace velmora::drivers::phone {

namespace {

constexpr double momentsASecond = 1000;

/// Luma, blueness, redness.
using Colour = std::array<double, 3>;

constexpr Colour colour(double red, double green, double blue)
{
    const double luma = 0.299 * red + 0.587 * green + 0.114 * blue;
    return { luma, 128 + (blue - luma) / 1.772, 128 + (red - luma) / 1.402 };
}

struct Disc {
    Colour colour;
    double x, y, radius; // of the shorter side, around the centre
    double swingX, swingY, turnsASecond;
};
constexpr std::array discs {
    Disc { colour(250, 214, 90), -0.22, -0.27, 0.11, 0.03, 0.02, 0.05 },
    Disc { colour(208, 64, 52), 0.1, 0.05, 0.07, 0.3, 0.08, 0.11 },
    Disc { colour(40, 70, 160), 0.0, 0.3, 0.06, 0.36, 0.05, 0.17 },
    Disc { colour(235, 235, 235), 0.25, -0.18, 0.05, 0.12, 0.12, 0.23 },
    Disc { colour(24, 24, 28), -0.3, 0.24, 0.05, 0.05, 0.1, 0.31 },
};

/// From the top of the world (0) to its bottom (1).
Colour background(double v)
{
    constexpr double horizon = 0.6;
    constexpr Colour zenith = colour(70, 130, 205), haze = colour(205, 224, 240);
    constexpr Colour far = colour(118, 150, 84), near = colour(66, 96, 48);
    const bool sky = v < horizon;
    const double t = std::clamp(sky ? v / horizon : (v - horizon) / (1 - horizon), 0.0, 1.0);
    const Colour &from = sky ? zenith : far, &to = sky ? haze : near;
    return { from[0] + (to[0] - from[0]) * t, from[1] + (to[1] - from[1]) * t, from[2] + (to[2] - from[2]) * t };
}

std::uint8_t sample(double value)
{
    return static_cast<std::uint8_t>(std::lround(std::clamp(value, 0.0, 255.0)));
}

void fillRow(const Canvas& canvas, int y, std::uint8_t value)
{
    std::uint8_t* row = canvas.row(y);
    if (canvas.step == 1)
        std::memset(row, value, static_cast<std::size_t>(canvas.width));
    else
        for (int x = 0; x < canvas.width; ++x)
            row[static_cast<std::ptrdiff_t>(x) * canvas.step] = value;
}

void copyRow(const Canvas& canvas, const std::vector<std::uint8_t>& values, int y)
{
    std::uint8_t* row = canvas.row(y);
    if (canvas.step == 1)
        std::memcpy(row, values.data(), values.size());
    else
        for (int x = 0; x < canvas.width; ++x)
            row[static_cast<std::ptrdiff_t>(x) * canvas.step] = values[static_cast<std::size_t>(x)];
}

void paintBackground(const Scene::View& view, const Canvas& canvas, std::size_t channel)
{
    const bool lying = view.turn == Turn::Left || view.turn == Turn::Right;
    const int length = lying ? canvas.width : canvas.height;
    // To the right, the top of the world comes to lie on the right side; around, at the bottom.
    const bool backwards = view.turn == Turn::Right || view.turn == Turn::Around;
    std::vector<std::uint8_t> values(static_cast<std::size_t>(length));
    for (int i = 0; i < length; ++i) {
        const double v = (i + 0.5) / length;
        const double zoomed = 0.5 + ((backwards ? 1 - v : v) - 0.5) / view.zoom;
        values[static_cast<std::size_t>(i)] = sample(background(zoomed)[channel]);
    }
    for (int y = 0; y < canvas.height; ++y)
        lying ? copyRow(canvas, values, y) : fillRow(canvas, y, values[static_cast<std::size_t>(y)]);
}

/// The disc's centre and radius in the luma's pixels.
struct Placed {
    double x, y, radius;
};

Placed placed(const Disc& disc, const Scene::View& view)
{
    const double angle = 2 * std::numbers::pi * disc.turnsASecond * static_cast<double>(view.moment) / momentsASecond;
    const double side = std::min(view.width, view.height) * view.zoom;
    const double right = (disc.x + disc.swingX * std::sin(angle)) * side;
    const double down = (disc.y + disc.swingY * std::cos(angle)) * side;
    const double middleX = view.width / 2.0, middleY = view.height / 2.0;
    switch (view.turn) {
    case Turn::None:
        return { middleX + right, middleY + down, disc.radius * side };
    case Turn::Right:
        return { middleX - down, middleY + right, disc.radius * side };
    case Turn::Around:
        return { middleX - right, middleY - down, disc.radius * side };
    case Turn::Left:
        break;
    }
    return { middleX + down, middleY - right, disc.radius * side };
}

/// Smooth at its edge: a sample is covered as far as the edge is away.
void paintDisc(const Placed& disc, double value, double shrink, const Canvas& canvas)
{
    const double cx = disc.x / shrink, cy = disc.y / shrink, radius = disc.radius / shrink;
    const int top = std::max(0, static_cast<int>(cy - radius - 1));
    const int bottom = std::min(canvas.height, static_cast<int>(std::ceil(cy + radius + 1)));
    for (int y = top; y < bottom; ++y) {
        const double dy = y + 0.5 - cy;
        const double half = std::sqrt(std::max(0.0, (radius + 1) * (radius + 1) - dy * dy));
        const int left = std::max(0, static_cast<int>(cx - half - 1));
        const int right = std::min(canvas.width, static_cast<int>(std::ceil(cx + half + 1)));
        std::uint8_t* row = canvas.row(y);
        for (int x = left; x < right; ++x) {
            const double dx = x + 0.5 - cx;
            const double covered = std::clamp(radius + 0.5 - std::sqrt(dx * dx + dy * dy), 0.0, 1.0);
            std::uint8_t& target = row[static_cast<std::ptrdiff_t>(x) * canvas.step];
            target = sample(target + (value - target) * covered);
        }
    }
}

}

std::uint64_t DrawnScene::moment(double time)
{
    return static_cast<std::uint64_t>(std::llround(std::max(0.0, time) * momentsASecond));
}

void DrawnScene::paint(const View& view, const Canvas& luma, const Canvas& blueness, const Canvas& redness)
{
    const Canvas* const canvases[] { &luma, &blueness, &redness };
    for (std::size_t channel = 0; channel < 3; ++channel) {
        const Canvas& canvas = *canvases[channel];
        paintBackground(view, canvas, channel);
        const double shrink = canvas.width == view.width ? 1 : 2;
        for (const Disc& disc : discs)
            paintDisc(placed(disc, view), disc.colour[channel], shrink, canvas);
    }
}

}
