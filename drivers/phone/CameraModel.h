// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "drivers/phone/PhoneDescription.h"

#include <array>

namespace velmora::drivers::phone {

/// How a camera of the phone answers light: pure functions.
///
/// The sensor's channels are the linear sRGB ones, of which red and blue are read weaker, as on real sensors; white of
/// the footage (D65) saturates green at the neutral exposure.
namespace model {

inline constexpr double baseISO = 100; ///< no noise up to here
inline constexpr double neutralSeconds = 1.0 / 60; ///< at the base ISO: the picture is as bright as the footage
inline constexpr double neutralKelvin = 6504; ///< of the scene's light
inline constexpr std::array<double, 3> sensorWhite { 0.5, 1, 0.6 }; ///< what white reads in the three channels

/// From XYZ (D65) to the sensor's channels, row by row.
std::array<double, 9> colorMatrix();

struct Exposure {
    float ISO = static_cast<float>(baseISO);
    CMTime duration = CMTimeMake(1, 60);
    bool operator==(const Exposure& other) const
    {
        return ISO == other.ISO && CMTimeCompare(duration, other.duration) == 0;
    }
};
/// What the meter chooses: the neutral exposure, `bias` stops brighter, within the format's limits and the frame's
/// time. It knows the light of the scene, not that of a lamp.
Exposure metered(const Format& format, float bias, double secondsOfFrame);
/// Within the format's limits; quantities that are no number keep those of `current`.
Exposure limited(const Exposure& wanted, const Exposure& current, const Format& format);
/// Brighter by that many stops: by the ISO as far as the format's limits go, then by the time.
Exposure shifted(const Exposure& exposure, double stops, const Format& format);
/// The factor on the scene's linear light, 1 at the neutral exposure.
double gain(const Exposure& exposure);
/// Stops by which the picture is brighter than the meter would make it with this bias.
float offset(const Exposure& exposure, float bias);
/// Standard deviation of the noise at full signal, 0 up to the base ISO.
double noise(float ISO);

/// 0 is 0.1 m, 1 infinity, evenly in dioptres.
float lensPositionFor(double metres);
/// Diameter of a point's image, as a fraction of the picture's width.
double blur(float lensPosition, double sceneMetres, const Camera& camera);
/// Whether the lens moves at all; one that does not is always sharp.
bool focuses(const Camera& camera);

/// Gains for a temperature and a tint: the camera's own function, or a daylight curve as the sensor sees it.
AVCaptureWhiteBalanceGains gains(const Camera& camera, float kelvin, float tint);
AVCaptureWhiteBalanceGains neutralGains(const Camera& camera);

/// Factors of a lamp on the scene's light.
double torchLight(double sceneMetres);
double flashLight(double sceneMetres);
/// Automatic lamps light up where the meter needs more than this.
inline constexpr float darkISO = 400;

}

}
