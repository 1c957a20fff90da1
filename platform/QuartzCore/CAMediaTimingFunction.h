// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Export.h"

namespace velmora {

/// How far an animation has come at a fraction of its time: a cubic curve from (0, 0) to (1, 1) with two control
/// points.
struct VELMORA_EXPORT CAMediaTimingFunction {
    double x1 = 0, y1 = 0, x2 = 1, y2 = 1;
    bool operator==(const CAMediaTimingFunction&) const = default;

    /// `fraction` of the time, 0 to 1.
    double valueAt(double fraction) const;
};

inline constexpr CAMediaTimingFunction kCAMediaTimingFunctionLinear { 0, 0, 1, 1 };
inline constexpr CAMediaTimingFunction kCAMediaTimingFunctionEaseIn { 0.42, 0, 1, 1 };
inline constexpr CAMediaTimingFunction kCAMediaTimingFunctionEaseOut { 0, 0, 0.58, 1 };
inline constexpr CAMediaTimingFunction kCAMediaTimingFunctionEaseInEaseOut { 0.42, 0, 0.58, 1 };
inline constexpr CAMediaTimingFunction kCAMediaTimingFunctionDefault { 0.25, 0.1, 0.25, 1 };

/// A spring that is pulled from 0 to 1, in closed form.
struct VELMORA_EXPORT CASpringMotion {
    double dampingRatio = 1; ///< below 1 it swings over, at 1 and above it does not
    double frequency = 1; ///< radians a second, without damping
    double initialVelocity = 0; ///< distances a second

    /// The spring that is settled to a thousandth after `duration` seconds; a ratio below 0.01 counts as that.
    static CASpringMotion settlingAfter(double duration, double dampingRatio, double initialVelocity);
    /// `seconds` from its begin.
    double valueAt(double seconds) const;
    /// Seconds until no more than a thousandth is left.
    double settlingDuration() const;
    bool operator==(const CASpringMotion&) const = default;
};

}
