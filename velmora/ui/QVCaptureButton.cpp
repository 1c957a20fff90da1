// SPDX-License-Identifier: Apache-2.0
#include "velmora/ui/QVCaptureButton.h"

#include "platform/QuartzCore/CAShapeLayer.h"
#include "platform/UIKit/UIBezierPath.h"
#include "platform/UIKit/UIColor.h"

namespace velmora {

namespace {

// Points.
constexpr double ringWidth = 2, discInset = 4;

constexpr double feedbackTime = 0.5; // seconds
constexpr double pressedScale = 0.7F; // in single precision

}

QVCaptureButton::QVCaptureButton(CGRect frame)
    : UIControl(frame)
{
}

QVCaptureButton::QVCaptureButton(const NSCoder& coder)
    : UIControl(coder)
{
}

const ClassInfo& QVCaptureButton::staticClass()
{
    using Self = QVCaptureButton;
    static constexpr auto methods = methodTable(method<&Self::outlineColor>("outlineColor"),
        method<&Self::setOutlineColor>("setOutlineColor:"), method<&Self::disabledColor>("disabledColor"),
        method<&Self::setDisabledColor>("setDisabledColor:"), method<&Self::setEnabled>("setEnabled:"),
        method<&Self::layoutSubviews>("layoutSubviews"), method<&Self::tintColorDidChange>("tintColorDidChange"),
        method<&Self::touchesBegan>("touchesBegan:withEvent:"), method<&Self::touchesEnded>("touchesEnded:withEvent:"));
    static constexpr auto classMethods = methodTable(initialiser<Self>("init"),
        initialiser<Self, CGRect>("initWithFrame:"), initialiser<Self, const NSCoder&>("initWithCoder:"));
    static const ClassInfo info { "Velmora.QVCaptureButton", &UIControl::staticClass(), methods, classMethods };
    return info;
}

void QVCaptureButton::didConstruct()
{
    UIControl::didConstruct();
    _initialize();
}

void QVCaptureButton::_initialize()
{
    setBackgroundColor(UIColor::clearColor());
    outerRingLayer_ = CAShapeLayer::layer();
    outerRingLayer_->setStrokeColor(layerColorOf(outlineColor()));
    outerRingLayer_->setFillColor(UIColor::clearColor()->cgColor());
    outerRingLayer_->setLineWidth(ringWidth);
    layer()->addSublayer(outerRingLayer_);
    innerButtonLayer_ = CALayer::layer();
    innerButtonLayer_->setBackgroundColor(layerColorOf(tintColor()));
    layer()->addSublayer(innerButtonLayer_);
}

std::shared_ptr<UIColor> QVCaptureButton::outlineColor() const
{
    return outlineColor_ ? outlineColor_ : tintColor();
}

void QVCaptureButton::setOutlineColor(const std::shared_ptr<UIColor>& color)
{
    outlineColor_ = color;
    outerRingLayer_->setStrokeColor(layerColorOf(color));
}

std::shared_ptr<UIColor> QVCaptureButton::disabledColor() const
{
    return disabledColor_ ? disabledColor_ : UIColor::lightGrayColor();
}

void QVCaptureButton::layoutSubviews()
{
    UIControl::layoutSubviews();
    const CGRect disc = CGRectInset(bounds(), discInset, discInset);
    innerButtonLayer_->setFrame(disc);
    innerButtonLayer_->setCornerRadius(disc.size.width / 2);
    outerRingLayer_->setPath(UIBezierPath::bezierPathWithOvalInRect(bounds())->cgPath());
    outerRingLayer_->setFrame(bounds());
    outerRingLayer_->setCornerRadius(bounds().size.width / 2);
}

void QVCaptureButton::restoreColors()
{
    outerRingLayer_->setStrokeColor(layerColorOf(outlineColor()));
    innerButtonLayer_->setBackgroundColor(layerColorOf(tintColor()));
}

void QVCaptureButton::tintColorDidChange()
{
    UIControl::tintColorDidChange();
    if (innerButtonLayer_) // a tint may come before the layers
        restoreColors();
}

void QVCaptureButton::setEnabled(bool enabled)
{
    UIControl::setEnabled(enabled);
    if (enabled || !disabledColor_) {
        restoreColors();
        return;
    }
    outerRingLayer_->setStrokeColor(layerColorOf(disabledColor_));
    innerButtonLayer_->setBackgroundColor(layerColorOf(disabledColor_));
}

void QVCaptureButton::touchesBegan(const UITouches& touches, const std::shared_ptr<UIEvent>& event)
{
    UIControl::touchesBegan(touches, event);
    animateWithDuration(feedbackTime, 0, UIViewAnimationOptionBeginFromCurrentState, [this] {
        innerButtonLayer_->setBackgroundColor(layerColorOf(disabledColor()));
        innerButtonLayer_->setTransform(CATransform3DMakeScale(pressedScale, pressedScale, pressedScale));
        outerRingLayer_->setOpacity(0);
    });
}

void QVCaptureButton::touchesEnded(const UITouches& touches, const std::shared_ptr<UIEvent>& event)
{
    UIControl::touchesEnded(touches, event);
    animateWithDuration(feedbackTime, 0, UIViewAnimationOptionBeginFromCurrentState, [this] {
        innerButtonLayer_->setBackgroundColor(layerColorOf(tintColor()));
        innerButtonLayer_->setTransform(CATransform3DIdentity);
        outerRingLayer_->setOpacity(1);
    });
}

}
