// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/UIKit/UIGestureRecognizer.h"

#include <cstddef>
#include <cstdint>

namespace velmora {

/// Fingers that stay down. Begins after the duration, by the clock in force; then changes with every movement and ends
/// when a finger goes up.
class VELMORA_EXPORT UILongPressGestureRecognizer : public UIGestureRecognizer {
public:
    using UIGestureRecognizer::UIGestureRecognizer;
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    /// Seconds, 0.5 at first; 0 begins when the finger comes down.
    double minimumPressDuration() const { return duration_; }
    void setMinimumPressDuration(double seconds) { duration_ = seconds; }
    /// Points that the finger may go before it has begun; 10 at first. Afterwards it may go anywhere.
    double allowableMovement() const { return movement_; }
    void setAllowableMovement(double points) { movement_ = points; }
    std::size_t numberOfTouchesRequired() const { return touchesRequired_; } ///< fingers; 1 at first
    void setNumberOfTouchesRequired(std::size_t touches) { touchesRequired_ = touches; }

protected:
    void touchesBegan(const UITouches& touches, const std::shared_ptr<UIEvent>& event) override;
    void touchesMoved(const UITouches& touches, const std::shared_ptr<UIEvent>& event) override;
    void touchesEnded(const UITouches& touches, const std::shared_ptr<UIEvent>& event) override;
    void reset() override { ++press_; }

private:
    double duration_ = 0.5, movement_ = 10;
    std::size_t touchesRequired_ = 1;
    CGPoint start_; // in the window
    std::uint64_t press_ = 0; // counts them: an older one's deadline is void
};

}
