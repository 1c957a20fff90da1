// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/AVMediaTypes.h"
#include "platform/Foundation/Export.h"

#include <functional>
#include <optional>

namespace velmora {

/// Gains that make a light of this temperature neutral, for a sensor of which nothing more is known: the light is
/// daylight of the CIE's D series (CIE 15:2004, 3.1), continued along the black body's curve below 4000 K, and the
/// channels are the sharpened ones of the Bradford adaptation. The smallest gain is 1 where tint is 0; 50 of tint
/// double or halve green.
VELMORA_EXPORT AVCaptureWhiteBalanceGains daylightGains(const AVCaptureWhiteBalanceTemperatureAndTintValues& values);

/// Temperature and tint for which `gainsFor` answers gains in these proportions; nothing when it never does.
using GainsForTemperature
    = std::function<AVCaptureWhiteBalanceGains(const AVCaptureWhiteBalanceTemperatureAndTintValues&)>;
VELMORA_EXPORT std::optional<AVCaptureWhiteBalanceTemperatureAndTintValues> temperatureAndTint(
    const AVCaptureWhiteBalanceGains& gains, const GainsForTemperature& gainsFor);

}
