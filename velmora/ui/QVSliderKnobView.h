// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/UIKit/UIView.h"

#include <memory>

namespace velmora {

class CAShapeLayer;
class UIColor;

/// The round knob of a slider: a plain disc in a thin circle while it is shrunk, else a larger one with a clear ring.
/// The disc has the tint. Main thread only.
class VELMORA_EXPORT QVSliderKnobView : public UIView {
public:
    explicit QVSliderKnobView(CGRect frame = CGRectZero);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    bool isShrunk() const { return shrunk_; } ///< at first
    void setShrunk(bool shrunk);
    const std::shared_ptr<UIColor>& alternateColor() const { return alternateColor_; } ///< of the thin circle
    void setAlternateColor(const std::shared_ptr<UIColor>& color);

    void tintColorDidChange() override;
    bool displayLayer(const std::shared_ptr<CALayer>& layer) override;

protected:
    void didConstruct() override;

private:
    std::shared_ptr<CAShapeLayer> knobLayer_, stripeLayer_;
    bool shrunk_ = true;
    std::shared_ptr<UIColor> alternateColor_;
};

}
