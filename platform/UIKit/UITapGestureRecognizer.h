// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/UIKit/UIGestureRecognizer.h"

#include <cstddef>
#include <cstdint>

namespace velmora {

/// A number of quick taps with a number of fingers. Recognised when the last finger of the last tap goes up.
class VELMORA_EXPORT UITapGestureRecognizer : public UIGestureRecognizer {
public:
    using UIGestureRecognizer::UIGestureRecognizer;
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    std::size_t numberOfTapsRequired() const { return tapsRequired_; } ///< 1 at first
    void setNumberOfTapsRequired(std::size_t taps) { tapsRequired_ = taps; }
    std::size_t numberOfTouchesRequired() const { return touchesRequired_; } ///< fingers; 1 at first
    void setNumberOfTouchesRequired(std::size_t touches) { touchesRequired_ = touches; }

protected:
    void touchesBegan(const UITouches& touches, const std::shared_ptr<UIEvent>& event) override;
    void touchesMoved(const UITouches& touches, const std::shared_ptr<UIEvent>& event) override;
    void touchesEnded(const UITouches& touches, const std::shared_ptr<UIEvent>& event) override;
    void reset() override;
    bool expectsMoreTouches() const override { return taps_ > 0; }

private:
    void failAfter(double seconds);

    std::size_t tapsRequired_ = 1, touchesRequired_ = 1, taps_ = 0;
    std::size_t most_ = 0; // fingers that were down together in this tap
    CGPoint start_; // of the first tap, in the window
    std::uint64_t deadline_ = 0; // counts them: an older one is void
};

}
