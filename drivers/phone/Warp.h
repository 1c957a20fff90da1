// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "drivers/phone/Picture.h"

namespace velmora::drivers::phone {

/// How the lens and the hand bend and move the picture on its way to the sensor.
struct Warp {
    double barrel = 0; ///< by which fraction of their distance from the middle the corners come inwards
    double crop = 1; ///< enlarges the middle: what is cut off is the room for the hand's movement
    double shiftX = 0, shiftY = 0; ///< of the picture, as fractions of its width and height

    bool operator==(const Warp&) const = default;
    bool isNone() const { return *this == Warp {}; }
};

/// Fills `to` with `from`, of the same size, seen so; between samples, and with its edge repeated beyond it.
void warped(const Canvas& from, const Warp& warp, const Canvas& to);

/// How far a hand has moved the picture, from -1 to 1, at `seconds`: the tremor of a few movements a second.
struct Tremor {
    double x = 0, y = 0;
};
Tremor tremor(double seconds);

/// What a video stabilisation mode leaves of the tremor, and what it cuts off for that.
struct Stabilization {
    double crop = 1, rest = 1;
};
Stabilization stabilization(int mode);

}
