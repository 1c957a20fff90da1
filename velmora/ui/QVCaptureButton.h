// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/UIKit/UIControl.h"

#include <memory>

namespace velmora {

class CALayer;
class CAShapeLayer;
class UIColor;

/// The round shutter button: a disc in a ring. A touch makes the disc small and grey and the ring disappear. Main
/// thread only.
class VELMORA_EXPORT QVCaptureButton : public UIControl {
public:
    explicit QVCaptureButton(CGRect frame = CGRectZero);
    explicit QVCaptureButton(const NSCoder& coder);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    /// The ring's; the tint when none is set.
    std::shared_ptr<UIColor> outlineColor() const;
    /// Seen at once; without a colour the ring is not stroked until the tint changes.
    void setOutlineColor(const std::shared_ptr<UIColor>& color);
    /// The disc's while it is pressed, and the ring's and the disc's while it is disabled; light grey when none is set,
    /// and then only while it is pressed.
    std::shared_ptr<UIColor> disabledColor() const;
    void setDisabledColor(const std::shared_ptr<UIColor>& color) { disabledColor_ = color; }

    void setEnabled(bool enabled) override;
    void layoutSubviews() override;
    void tintColorDidChange() override;
    void touchesBegan(const UITouches& touches, const std::shared_ptr<UIEvent>& event) override;
    // Nothing is made of a cancelled touch: the next one that ends restores the look.
    void touchesEnded(const UITouches& touches, const std::shared_ptr<UIEvent>& event) override;

protected:
    void didConstruct() override;

private:
    void _initialize();
    void restoreColors();

    std::shared_ptr<CALayer> innerButtonLayer_;
    std::shared_ptr<CAShapeLayer> outerRingLayer_;
    std::shared_ptr<UIColor> outlineColor_, disabledColor_;
};

}
