// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/OptionSet.h"

#include <cstdint>

namespace velmora {

/// How a block of changes is animated. The curve is a number in bits 16 to 18; 7 settles as a critically damped spring
/// does, any other number without a name is the first curve.
enum UIViewAnimationOptions : std::uint64_t {
    UIViewAnimationOptionNone = 0,
    UIViewAnimationOptionAllowUserInteraction = 2, ///< otherwise touches miss the views that it moves, until it ends
    UIViewAnimationOptionBeginFromCurrentState = 4, ///< from what is shown, not from the value before the change
    UIViewAnimationOptionRepeat = 8, ///< for ever
    UIViewAnimationOptionAutoreverse = 16,
    UIViewAnimationOptionOverrideInheritedDuration = 32,
    UIViewAnimationOptionOverrideInheritedCurve = 64,
    UIViewAnimationOptionCurveEaseInOut = 0,
    UIViewAnimationOptionCurveEaseIn = 0x10000,
    UIViewAnimationOptionCurveEaseOut = 0x20000,
    UIViewAnimationOptionCurveLinear = 0x30000,
};
template <> inline constexpr bool isOptionSet<UIViewAnimationOptions> = true;

/// What a block was asked for.
struct UIViewAnimation {
    double duration = 0, delay = 0; ///< seconds
    UIViewAnimationOptions options = UIViewAnimationOptionNone;
    double springDamping = 0, springVelocity = 0; ///< a damping of 0: no spring
    bool operator==(const UIViewAnimation&) const = default;
};

}
