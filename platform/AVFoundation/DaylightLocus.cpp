// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/DaylightLocus.h"

#include <algorithm>
#include <cmath>

namespace velmora {

namespace {

constexpr double coolestLight = 1500, hottestLight = 100000; // kelvin: where the curve is monotonous
constexpr double tintPerDoubling = 50;
constexpr double largestTint = 500;

/// Chromaticity x of daylight, CIE 15:2004; the black body below 4000 K by Kim et al. (US patent 7024034), moved by
/// what the two curves differ by at 4000 K.
double chromaticityX(double kelvin)
{
    const double t = 1000 / kelvin;
    if (kelvin > 7000)
        return ((-2.0064 * t + 1.9018) * t + 0.24748) * t + 0.237040;
    if (kelvin >= 4000)
        return ((-4.6070 * t + 2.9678) * t + 0.09911) * t + 0.244063;
    const auto blackBody = [](double u) { return ((-0.2661239 * u - 0.2343589) * u + 0.8776956) * u + 0.179910; };
    return blackBody(t) + chromaticityX(4000) - blackBody(0.25);
}

struct Response {
    double red, green, blue;
};

/// What the sharpened channels read of the light, by the Bradford matrix.
Response responseTo(double kelvin)
{
    const double x = chromaticityX(kelvin);
    const double y = (-3.000 * x + 2.870) * x - 0.275; // the daylight locus
    const double X = x / y, Z = (1 - x - y) / y;
    return { 0.8951 * X + 0.2664 - 0.1614 * Z, -0.7502 * X + 1.7135 + 0.0367 * Z, 0.0389 * X - 0.0685 + 1.0296 * Z };
}

/// The x in [low, high] where `f` changes its sign, to the last bit; nothing when it does not.
template <class F> std::optional<double> signChange(double low, double high, F f)
{
    const double atLow = f(low), atHigh = f(high);
    if (!(atLow * atHigh <= 0)) // also for what is not a number
        return std::nullopt;
    for (int i = 0; i < 100; ++i) {
        const double middle = (low + high) / 2;
        (f(middle) * atLow > 0 ? low : high) = middle;
    }
    return (low + high) / 2;
}

AVCaptureWhiteBalanceTemperatureAndTintValues values(double reciprocal, double tint)
{
    return { static_cast<float>(1 / reciprocal), static_cast<float>(tint) };
}

}

AVCaptureWhiteBalanceGains daylightGains(const AVCaptureWhiteBalanceTemperatureAndTintValues& wanted)
{
    const double kelvin = std::isnan(wanted.temperature)
        ? coolestLight
        : std::clamp<double>(wanted.temperature, coolestLight, hottestLight);
    const Response light = responseTo(kelvin);
    const double brightest = std::max({ light.red, light.green, light.blue });
    const double green = std::exp2(-wanted.tint / tintPerDoubling);
    return { static_cast<float>(brightest / light.red), static_cast<float>(brightest / light.green * green),
        static_cast<float>(brightest / light.blue) };
}

std::optional<AVCaptureWhiteBalanceTemperatureAndTintValues> temperatureAndTint(
    const AVCaptureWhiteBalanceGains& gains, const GainsForTemperature& gainsFor)
{
    const auto redToBlue = [](const AVCaptureWhiteBalanceGains& g) {
        return std::log(static_cast<double>(g.redGain)) - std::log(static_cast<double>(g.blueGain));
    };
    const auto greenness = [](const AVCaptureWhiteBalanceGains& g) {
        return 2 * std::log(static_cast<double>(g.greenGain)) - std::log(static_cast<double>(g.redGain))
            - std::log(static_cast<double>(g.blueGain));
    };
    // Reciprocals of temperatures are about evenly spaced to the eye and to the gains.
    const auto reciprocal = signChange(1 / hottestLight, 1 / coolestLight,
        [&](double each) { return redToBlue(gainsFor(values(each, 0))) - redToBlue(gains); });
    if (!reciprocal)
        return std::nullopt;
    const auto tint = signChange(-largestTint, largestTint,
        [&](double each) { return greenness(gainsFor(values(*reciprocal, each))) - greenness(gains); });
    return values(*reciprocal, tint.value_or(0));
}

}
