// SPDX-License-Identifier: Apache-2.0
#include "platform/QuartzCore/CAMediaTimingFunction.h"

#include <algorithm>
#include <cmath>

namespace velmora {

namespace {

constexpr double settled = 0.001; // what is left of the way when a spring counts as still
constexpr double leastDamping = 0.01;

/// A cubic from 0 to 1 with the control values a and b.
double bezier(double a, double b, double t)
{
    const double u = 1 - t;
    return ((3 * u * a) + (3 * t * b)) * u * t + t * t * t;
}

double slope(double a, double b, double t)
{
    const double u = 1 - t;
    return 3 * u * u * a + 6 * u * t * (b - a) + 3 * t * t * (1 - b);
}

/// The parameter at which the curve's x is `x`. Newton's method finds it, unless the curve stands still there.
double parameterAt(double x1, double x2, double x)
{
    double t = x, low = 0, high = 1;
    for (int i = 0; i < 60; ++i) {
        const double error = bezier(x1, x2, t) - x;
        if (std::abs(error) < 1e-13)
            break;
        (error > 0 ? high : low) = t;
        const double steep = slope(x1, x2, t);
        const double next = std::abs(steep) > 1e-7 ? t - error / steep : -1;
        t = next > low && next < high ? next : (low + high) / 2;
    }
    return t;
}

/// The least w * D with left(w * D) == settled, for a function that falls.
template <class Left> double whereSettled(Left left)
{
    double low = 0, high = 1;
    while (left(high) > settled)
        high *= 2;
    for (int i = 0; i < 100; ++i) {
        const double middle = (low + high) / 2;
        (left(middle) > settled ? low : high) = middle;
    }
    return high;
}

/// Frequency times the time until no more than a thousandth is left.
double settlingPhase(double ratio)
{
    if (ratio < 1)
        return std::log(1 / (settled * std::sqrt(1 - ratio * ratio))) / ratio;
    return whereSettled([&](double phase) { return 1 - CASpringMotion { ratio, 1, 0 }.valueAt(phase); });
}

}

double CAMediaTimingFunction::valueAt(double fraction) const
{
    if (fraction <= 0)
        return 0;
    if (fraction >= 1)
        return 1;
    if (x1 == y1 && x2 == y2)
        return fraction;
    return bezier(y1, y2, parameterAt(x1, x2, fraction));
}

CASpringMotion CASpringMotion::settlingAfter(double duration, double dampingRatio, double initialVelocity)
{
    const double ratio = std::max(leastDamping, dampingRatio);
    return { ratio, duration > 0 ? settlingPhase(ratio) / duration : 0, initialVelocity };
}

double CASpringMotion::valueAt(double seconds) const
{
    const double w = frequency, z = dampingRatio, v = initialVelocity;
    if (seconds <= 0)
        return 0;
    if (z < 1) {
        const double wd = w * std::sqrt(1 - z * z), phase = wd * seconds;
        const double sine = wd > 0 ? (z * w - v) / wd : 0;
        return 1 - std::exp(-z * w * seconds) * (std::cos(phase) + sine * std::sin(phase));
    }
    if (z == 1)
        return 1 - std::exp(-w * seconds) * (1 + (w - v) * seconds);
    const double root = w * std::sqrt(z * z - 1), fast = -z * w - root, slow = -z * w + root;
    const double share = (-v - fast) / (slow - fast); // of the slow part; the rest is the fast one
    return 1 - (share * std::exp(slow * seconds) + (1 - share) * std::exp(fast * seconds));
}

double CASpringMotion::settlingDuration() const
{
    return frequency > 0 ? settlingPhase(std::max(leastDamping, dampingRatio)) / frequency : 0;
}

}
