// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/UIKit/UIGestureRecognizer.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace velmora {

/// Fingers that move. Begins when their middle has gone 10 points, then changes with every movement.
class VELMORA_EXPORT UIPanGestureRecognizer : public UIGestureRecognizer {
public:
    using UIGestureRecognizer::UIGestureRecognizer;
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    std::size_t minimumNumberOfTouches() const { return minimum_; } ///< 1 at first
    void setMinimumNumberOfTouches(std::size_t touches) { minimum_ = touches; }
    std::size_t maximumNumberOfTouches() const { return maximum_; } ///< any number at first
    void setMaximumNumberOfTouches(std::size_t touches) { maximum_ = touches; }

    /// From where the fingers came down, in points of `view`'s coordinates (of the window when that is null).
    CGPoint translationInView(const std::shared_ptr<UIView>& view) const;
    /// Counts on from here: most often set to zero.
    void setTranslation(CGPoint translation, const std::shared_ptr<UIView>& view);
    /// Points a second over the last tenth of a second; zero when the fingers stood still that long.
    CGPoint velocityInView(const std::shared_ptr<UIView>& view) const;
    /// Answered in place of the measured velocity until the next touch; for whoever replays gestures. In `view`'s
    /// coordinates.
    void setVelocity(CGPoint velocity, const std::shared_ptr<UIView>& view);

protected:
    void touchesBegan(const UITouches& touches, const std::shared_ptr<UIEvent>& event) override;
    void touchesMoved(const UITouches& touches, const std::shared_ptr<UIEvent>& event) override;
    void touchesEnded(const UITouches& touches, const std::shared_ptr<UIEvent>& event) override;
    void reset() override;
    /// Whether a shift of this size begins it.
    virtual bool isEnough(CGPoint shift) const;

private:
    struct Sample {
        double time; // seconds
        CGPoint shift; // in the window
    };
    CGPoint shiftInWindow() const;
    CGPoint vectorInView(CGPoint inWindow, const std::shared_ptr<UIView>& view) const;

    std::size_t minimum_ = 1, maximum_ = SIZE_MAX;
    CGPoint start_, carried_; // the middle when fingers last came or went; the shift up to then
    CGPoint offset_; // what setTranslation took off
    std::vector<Sample> samples_;
    std::optional<CGPoint> velocity_; // that was set, in the window
};

}
