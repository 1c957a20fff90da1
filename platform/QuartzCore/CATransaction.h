// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Export.h"
#include "platform/QuartzCore/CAMediaTimingFunction.h"

#include <functional>
#include <limits>
#include <optional>
#include <variant>

namespace velmora {

/// Settles as a critically damped spring does, without a swing: what curve number 7 of view animations stands for.
struct CACriticalCurve {
    bool operator==(const CACriticalCurve&) const = default;
};
/// A spring that has settled when the animation ends.
struct CASpringCurve {
    double dampingRatio = 1, initialVelocity = 0; ///< distances a second
    bool operator==(const CASpringCurve&) const = default;
};
using CACurve = std::variant<CAMediaTimingFunction, CASpringCurve, CACriticalCurve>;

/// How a block of changes is animated.
struct CABlockAnimation {
    double duration = 0.25, delay = 0; ///< seconds
    CACurve curve = kCAMediaTimingFunctionEaseInEaseOut;
    /// Each property starts at what it shows now; otherwise at its value before the change.
    bool beginFromCurrentState = false;
    double repeatCount = 1; ///< infinity for ever
    bool autoreverses = false;
};

/// Groups changes of layers. Main thread only.
///
/// A layer without a delegate animates a change by itself (0.25 s, default curve), once it has been on a display; a
/// layer with one (a view's) only when the delegate's actionForLayer says so, or within animateBlock.
class VELMORA_EXPORT CATransaction {
public:
    static void begin();
    /// Without a begin, it does nothing.
    static void commit();
    static bool disableActions();
    /// Until the end of the transaction: no change is animated, neither by itself nor by a block.
    static void setDisableActions(bool disable);
    static double animationDuration(); ///< seconds; 0.25 at first
    static void setAnimationDuration(double seconds);
    static std::optional<CAMediaTimingFunction> animationTimingFunction();
    static void setAnimationTimingFunction(const std::optional<CAMediaTimingFunction>& function);
    /// Called on the main queue when all animations that the transaction added have ended, never inline; soon, when it
    /// added none.
    static void setCompletionBlock(std::function<void()> completion);

    /// Runs `changes` at once; every animatable property of every layer that it changes, with a delegate or without,
    /// goes to its new value in time. The values themselves change at once: what moves is the presentation.
    ///
    /// `completion` (may be empty) is called once, on the main queue, never inline: after delay and duration with true,
    /// also when nothing changed; with false when a later animation of the same property, or the removal of the layer
    /// from its superlayer, ended one of the block's animations early: at once when it was the last one that ran, else
    /// with the others' end. A duration of 0 or less applies everything at once and completes on the next turn of the
    /// main run loop, after the delay. Completions come in the order of ending.
    static void animateBlock(const CABlockAnimation& animation, const std::function<void()>& changes,
        std::function<void(bool finished)> completion = {});
    /// Of the innermost block that is running its changes; empty outside any.
    static std::optional<CABlockAnimation> currentBlockAnimation();
};

}
