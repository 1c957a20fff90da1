// SPDX-License-Identifier: Apache-2.0
#include "drivers/phone/CameraModel.h"

#include <algorithm>
#include <cmath>

namespace velmora::drivers::phone::model {

namespace {

constexpr double neutralProduct = baseISO * neutralSeconds;
constexpr std::array<double, 9> sRGBFromXYZ { 3.2404542, -1.5371385, -0.4985314, -0.9692660, 1.8760108, 0.0415560,
    0.0556434, -0.2040259, 1.0572252 };

struct Chromaticity {
    double x, y;
};

/// The Planckian locus, by Kim and others' cubic splines.
Chromaticity blackBody(double kelvin)
{
    const double t = 1000 / kelvin;
    const double x = kelvin < 4000 ? -0.2661239 * t * t * t - 0.2343589 * t * t + 0.8776956 * t + 0.179910
                                   : -3.0258469 * t * t * t + 2.1070379 * t * t + 0.2226347 * t + 0.240390;
    if (kelvin < 2222)
        return { x, -1.1063814 * x * x * x - 1.34811020 * x * x + 2.18555832 * x - 0.20219683 };
    if (kelvin < 4000)
        return { x, -0.9549476 * x * x * x - 1.37418593 * x * x + 2.09137015 * x - 0.16748867 };
    return { x, 3.0817580 * x * x * x - 5.87338670 * x * x + 3.75112997 * x - 0.37001483 };
}

/// The CIE daylight locus, from 4000 K.
Chromaticity daylight(double kelvin)
{
    const double t = 1000 / kelvin;
    const double x = kelvin <= 7000 ? -4.6070 * t * t * t + 2.9678 * t * t + 0.09911 * t + 0.244063
                                    : -2.0064 * t * t * t + 1.9018 * t * t + 0.24748 * t + 0.237040;
    return { x, -3.000 * x * x + 2.870 * x - 0.275 };
}

/// Lamps are black bodies and days are not: between the two the light goes over.
Chromaticity light(double kelvin, double tint)
{
    constexpr double lastLamp = 4000, firstDay = 5000, tintStep = 1.0 / 3000;
    const double k = std::clamp(kelvin, 1667.0, 25000.0);
    const double day = std::clamp((k - lastLamp) / (firstDay - lastLamp), 0.0, 1.0);
    const Chromaticity lamp = blackBody(k), sky = daylight(std::max(k, lastLamp));
    const Chromaticity mixed { lamp.x + (sky.x - lamp.x) * day, lamp.y + (sky.y - lamp.y) * day };

    // The tint moves along the green axis of the CIE 1960 diagram.
    const double below = -2 * mixed.x + 12 * mixed.y + 3;
    const double u = 4 * mixed.x / below, v = 6 * mixed.y / below + tint * tintStep;
    const double back = 2 * u - 8 * v + 4;
    return { 3 * u / back, 2 * v / back };
}

}

std::array<double, 9> colorMatrix()
{
    std::array<double, 9> matrix = sRGBFromXYZ;
    for (std::size_t i = 0; i < matrix.size(); ++i)
        matrix[i] *= sensorWhite[i / 3];
    return matrix;
}

Exposure metered(const Format& format, float bias, double secondsOfFrame)
{
    constexpr std::int32_t fine = 1000000000;
    const double product = neutralProduct * std::exp2(static_cast<double>(bias));
    const double shortest = CMTimeGetSeconds(format.shortestExposure);
    const double longest = std::max(shortest, std::min(CMTimeGetSeconds(format.longestExposure), secondsOfFrame));

    const double preferred = std::clamp(neutralSeconds, shortest, longest);
    const double ISO = std::clamp(
        product / preferred, static_cast<double>(format.lowestISO), static_cast<double>(format.highestISO));
    const double seconds = std::clamp(product / ISO, shortest, longest);
    const bool exactly = std::abs(seconds - neutralSeconds) < 1e-9;
    return { static_cast<float>(ISO), exactly ? CMTimeMake(1, 60) : CMTimeMakeWithSeconds(seconds, fine) };
}

Exposure limited(const Exposure& wanted, const Exposure& current, const Format& format)
{
    Exposure result = current;
    if (wanted.ISO > 0) // false for what is no number, too
        result.ISO = wanted.ISO;
    if (CMTIME_IS_NUMERIC(wanted.duration) && wanted.duration.value > 0)
        result.duration = wanted.duration;
    result.ISO = std::clamp(result.ISO, format.lowestISO, std::max(format.lowestISO, format.highestISO));
    if (CMTimeCompare(result.duration, format.shortestExposure) < 0)
        result.duration = format.shortestExposure;
    if (CMTimeCompare(result.duration, format.longestExposure) > 0)
        result.duration = format.longestExposure;
    return result;
}

Exposure shifted(const Exposure& exposure, double stops, const Format& format)
{
    Exposure result = exposure;
    const double wanted = static_cast<double>(exposure.ISO) * std::exp2(stops);
    result.ISO = static_cast<float>(
        std::clamp(wanted, static_cast<double>(format.lowestISO), static_cast<double>(format.highestISO)));
    const double rest = wanted / static_cast<double>(result.ISO);
    if (std::abs(rest - 1) > 1e-6) {
        constexpr std::int32_t fine = 1000000000;
        result.duration = CMTimeMakeWithSeconds(CMTimeGetSeconds(exposure.duration) * rest, fine);
    }
    return limited(result, exposure, format);
}

double gain(const Exposure& exposure)
{
    const double gain = static_cast<double>(exposure.ISO) * CMTimeGetSeconds(exposure.duration) / neutralProduct;
    return std::abs(gain - 1) < 1e-6 ? 1 : gain; // exactly neutral in spite of rounding: nothing is computed then
}

float offset(const Exposure& exposure, float bias)
{
    return static_cast<float>(std::log2(gain(exposure))) - bias;
}

double noise(float ISO)
{
    constexpr double atTwiceTheBase = 0.003;
    return atTwiceTheBase * std::sqrt(std::max(0.0, static_cast<double>(ISO) / baseISO - 1));
}

namespace {
constexpr double nearestDioptres = 10; // 0.1 m
constexpr double nearestScene = 0.01; // metres; nearer nothing is a scene

double dioptres(double metres)
{
    return 1 / std::max(metres, nearestScene);
}
}

float lensPositionFor(double metres)
{
    return static_cast<float>(std::clamp(1 - dioptres(metres) / nearestDioptres, 0.0, 1.0));
}

double blur(float lensPosition, double sceneMetres, const Camera& camera)
{
    constexpr double most = 0.2, film = 36; // millimetres, the width that 35 mm equivalents go by
    // A thin lens: what should meet at the distance v meets the sensor at v_s, as a disc of the opening's diameter
    // times |v_s - v| / v.
    const double focal = static_cast<double>(camera.focalLength) / 1000;
    const double focused = nearestDioptres * (1 - std::clamp(static_cast<double>(lensPosition), 0.0, 1.0));
    const double bendingLeft = std::max(1 / focal - focused, 1e-3);
    const double opening = focal / static_cast<double>(camera.aperture);
    const double disc = opening * std::abs((1 / focal - dioptres(sceneMetres)) / bendingLeft - 1);
    const double sensorWidth
        = film / 1000 * static_cast<double>(camera.focalLength) / static_cast<double>(camera.focalLengthIn35mm);
    return std::min(disc / sensorWidth, most);
}

bool focuses(const Camera& camera)
{
    return std::any_of(camera.focusModes.begin(), camera.focusModes.end(), [](int mode) { return mode > 0; });
}

AVCaptureWhiteBalanceGains gains(const Camera& camera, float kelvin, float tint)
{
    if (camera.gains)
        return camera.gains(kelvin, tint);
    const auto [x, y] = light(static_cast<double>(kelvin), static_cast<double>(tint));
    const std::array<double, 3> XYZ { x / y, 1, (1 - x - y) / y };
    const auto matrix = colorMatrix();
    std::array<double, 3> reading {};
    for (std::size_t row = 0; row < 3; ++row)
        reading[row]
            = std::max(matrix[3 * row] * XYZ[0] + matrix[3 * row + 1] * XYZ[1] + matrix[3 * row + 2] * XYZ[2], 1e-2);
    return { static_cast<float>(reading[1] / reading[0]), 1, static_cast<float>(reading[1] / reading[2]) };
}

AVCaptureWhiteBalanceGains neutralGains(const Camera& camera)
{
    const auto usable = [&](float gain) { return gain >= 1 ? std::min(gain, std::max(1.0F, camera.highestGain)) : 1; };
    const auto [red, green, blue] = gains(camera, static_cast<float>(neutralKelvin), 0);
    return { usable(red), usable(green), usable(blue) };
}

double torchLight(double sceneMetres)
{
    constexpr double atOneMetre = 1;
    return 1 + atOneMetre * dioptres(sceneMetres) * dioptres(sceneMetres);
}

double flashLight(double sceneMetres)
{
    constexpr double atOneMetre = 4;
    return 1 + atOneMetre * dioptres(sceneMetres) * dioptres(sceneMetres);
}

}
