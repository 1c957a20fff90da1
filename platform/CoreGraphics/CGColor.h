// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace velmora {

/// A colour of sRGB, each component from 0 to 1, not premultiplied. No colour is an empty std::optional.
struct CGColor {
    double red = 0, green = 0, blue = 0, alpha = 1;
    bool operator==(const CGColor&) const = default;
};

/// `color` as transparent as `alpha` makes it besides.
constexpr CGColor CGColorMultiplyAlpha(CGColor color, double alpha)
{
    color.alpha *= alpha;
    return color;
}

/// On the way from one colour to another, premultiplied, so that a fading colour does not darken.
constexpr CGColor CGColorBetween(CGColor from, CGColor to, double fraction)
{
    const double alpha = from.alpha + (to.alpha - from.alpha) * fraction;
    if (alpha <= 0)
        return { to.red, to.green, to.blue, 0 };
    const auto component = [&](double a, double b) {
        const double premultiplied = a * from.alpha + (b * to.alpha - a * from.alpha) * fraction;
        return premultiplied / alpha;
    };
    return { component(from.red, to.red), component(from.green, to.green), component(from.blue, to.blue), alpha };
}

}
