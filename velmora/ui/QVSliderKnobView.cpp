// SPDX-License-Identifier: Apache-2.0
#include "velmora/ui/QVSliderKnobView.h"

#include "platform/QuartzCore/CAAnimation.h"
#include "platform/QuartzCore/CAShapeLayer.h"
#include "platform/UIKit/UIBezierPath.h"
#include "platform/UIKit/UIColor.h"

namespace velmora {

namespace {

// Points.
constexpr double shrunkInset = 14, fullInset = 10;
constexpr double stripeRadius = 10, ringRadius = 6, dotRadius = 2;

}

QVSliderKnobView::QVSliderKnobView(CGRect frame)
    : UIView(frame)
{
}

const ClassInfo& QVSliderKnobView::staticClass()
{
    using Self = QVSliderKnobView;
    static constexpr auto methods
        = methodTable(method<&Self::isShrunk>("shrunk"), method<&Self::setShrunk>("setShrunk:"),
            method<&Self::alternateColor>("alternateColor"), method<&Self::setAlternateColor>("setAlternateColor:"),
            method<&Self::tintColorDidChange>("tintColorDidChange"), method<&Self::displayLayer>("displayLayer:"));
    static constexpr auto classMethods
        = methodTable(initialiser<Self>("init"), initialiser<Self, CGRect>("initWithFrame:"));
    static const ClassInfo info { "Velmora.QVSliderKnobView", &UIView::staticClass(), methods, classMethods };
    return info;
}

void QVSliderKnobView::didConstruct()
{
    UIView::didConstruct();
    knobLayer_ = CAShapeLayer::layer();
    stripeLayer_ = CAShapeLayer::layer();
    layer()->addSublayer(knobLayer_);
    layer()->addSublayer(stripeLayer_);
    layer()->setNeedsDisplay();
}

void QVSliderKnobView::setShrunk(bool shrunk)
{
    if (shrunk_ && !shrunk) {
        // No layer has a property of this name: nothing is seen of it.
        const auto animation = CABasicAnimation::animationWithKeyPath("translation.scale");
        animation->setToValue(static_cast<double>(0.1F));
        animation->setDuration(0.5);
        stripeLayer_->addAnimation(animation, "shrink");
    }
    shrunk_ = shrunk;
    layer()->setNeedsDisplay();
}

void QVSliderKnobView::setAlternateColor(const std::shared_ptr<UIColor>& color)
{
    alternateColor_ = color;
    layer()->setNeedsDisplay();
}

void QVSliderKnobView::tintColorDidChange()
{
    UIView::tintColorDidChange();
    if (knobLayer_)
        knobLayer_->setFillColor(layerColorOf(tintColor()));
}

bool QVSliderKnobView::displayLayer(const std::shared_ptr<CALayer>&)
{
    setBackgroundColor(UIColor::clearColor());
    setOpaque(false);
    const double width = bounds().size.width, height = bounds().size.height, radius = width / 2;
    const CGRect square = CGRectMake(0, (height - width) / 2, width, width);
    const auto circle
        = [&](double inset) { return UIBezierPath::bezierPathWithOvalInRect(CGRectInset(square, inset, inset)); };
    const auto disc = circle(shrunk_ ? shrunkInset : fullInset);
    if (shrunk_) {
        stripeLayer_->setPath(circle(radius - stripeRadius)->cgPath());
        stripeLayer_->setFillColor(std::nullopt);
        stripeLayer_->setLineWidth(1);
        stripeLayer_->setStrokeColor(layerColorOf(alternateColor_));
    } else {
        disc->appendPath(circle(radius - ringRadius));
        disc->appendPath(circle(radius - dotRadius));
    }
    knobLayer_->setBackgroundColor(std::nullopt);
    knobLayer_->setFillRule(kCAFillRuleEvenOdd);
    knobLayer_->setPath(disc->cgPath());
    knobLayer_->setFillColor(layerColorOf(tintColor()));
    return true;
}

}
