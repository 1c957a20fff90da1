// SPDX-License-Identifier: Apache-2.0
#include "velmora/ui/QVSlider.h"

#include "velmora/ui/QVSliderKnobView.h"
#include "velmora/ui/QVSliderTrackView.h"

#include "platform/Foundation/NSException.h"
#include "platform/UIKit/UIColor.h"
#include "platform/UIKit/UIFont.h"
#include "platform/UIKit/UIImage.h"
#include "platform/UIKit/UIImageView.h"
#include "platform/UIKit/UILabel.h"
#include "platform/UIKit/UILongPressGestureRecognizer.h"
#include "platform/UIKit/UIPanGestureRecognizer.h"
#include "platform/UIKit/UIVisualEffect.h"
#include "platform/UIKit/UIVisualEffectView.h"

#include <algorithm>
#include <cmath>
#include <compare>
#include <utility>

namespace velmora {

namespace {

// Points.
constexpr double dotSize = 8, knobAspect = 1.5, trackShift = 2, pressMovement = 100;
constexpr double idleFontSize = 12, invokedFontSize = 18;

// Seconds.
constexpr double changeTime = 0.25, popTime = 0.75, hideTime = 0.25;
constexpr double popDamping = 0.5;

constexpr double hiddenScale = 0.1F; // in single precision

/// Where the label pops out of: it is small, and lies over the knob.
CGAffineTransform hiddenTransform(QVSliderOrientation orientation)
{
    switch (orientation) {
    case QVSliderOrientationHorizontal:
        return { hiddenScale, 0, 0, hiddenScale, 0, 35 };
    case QVSliderOrientationVertical:
        return { hiddenScale, 0, 0, hiddenScale, 75, 0 };
    }
    return {};
}

}

QVSlider::QVSlider(CGRect frame)
    : UIControl(frame)
{
}

QVSlider::QVSlider(const NSCoder& coder)
    : UIControl(coder)
{
}

const ClassInfo& QVSlider::staticClass()
{
    using Self = QVSlider;
    static constexpr auto methods = methodTable(method<&Self::currentValue>("currentValue"),
        method<overload<float>(&Self::setCurrentValue)>("setCurrentValue:"),
        method<overload<float, bool>(&Self::setCurrentValue)>("setCurrentValue:animated:"),
        method<&Self::minimumValue>("minimumValue"), method<&Self::setMinimumValue>("setMinimumValue:"),
        method<&Self::maximumValue>("maximumValue"), method<&Self::setMaximumValue>("setMaximumValue:"),
        method<&Self::permittedValues>("permittedValues"), method<&Self::setPermittedValues>("setPermittedValues:"),
        method<&Self::pointPositions>("pointPositions"), method<&Self::setPointPositions>("setPointPositions:"),
        method<&Self::sliderOrientation>("sliderOrientation"),
        method<&Self::setSliderOrientation>("setSliderOrientation:"), method<&Self::isInvoked>("invoked"),
        method<overload<bool>(&Self::setInvoked)>("setInvoked:"),
        method<overload<bool, bool>(&Self::setInvoked)>("setInvoked:animated:"),
        method<&Self::setEnabled>("setEnabled:"), method<&Self::valueDisplayStyle>("valueDisplayStyle"),
        method<&Self::setValueDisplayStyle>("setValueDisplayStyle:"), method<&Self::valueFormatter>("valueFormatter"),
        method<&Self::setValueFormatter>("setValueFormatter:"), method<&Self::inactiveColor>("inactiveColor"),
        method<&Self::setInactiveColor>("setInactiveColor:"), method<&Self::minimumImage>("minimumImage"),
        method<&Self::setMinimumImage>("setMinimumImage:"), method<&Self::maximumImage>("maximumImage"),
        method<&Self::setMaximumImage>("setMaximumImage:"), method<&Self::localizedControlName>("localizedControlName"),
        method<&Self::setLocalizedControlName>("setLocalizedControlName:"), method<&Self::awakeFromNib>("awakeFromNib"),
        method<&Self::layoutSubviews>("layoutSubviews"), method<&Self::tintColorDidChange>("tintColorDidChange"),
        method<&Self::shouldRecognizeSimultaneously>(
            "gestureRecognizer:shouldRecognizeSimultaneouslyWithGestureRecognizer:"),
        method<&Self::_pressKnob>("_pressKnob:"), method<&Self::_panKnob>("_panKnob:"),
        method<&Self::_updateKnobPosition>("_updateKnobPosition"),
        method<&Self::_updateValueLabel>("_updateValueLabel"), method<&Self::_updateColors>("_updateColors"),
        method<&Self::_setValueLabelVisible>("_setValueLabelVisible:"),
        method<&Self::_permittedValueAtPosition>("_permittedValueAtPosition:"));
    static constexpr auto classMethods = methodTable(initialiser<Self>("init"),
        initialiser<Self, CGRect>("initWithFrame:"), initialiser<Self, const NSCoder&>("initWithCoder:"));
    static const ClassInfo info { "Velmora.QVSlider", &UIControl::staticClass(), methods, classMethods };
    return info;
}

void QVSlider::didConstruct()
{
    UIControl::didConstruct();
    _initialize();
}

void QVSlider::_initialize()
{
    setBackgroundColor(nullptr);
    setOpaque(false);
    setClipsToBounds(false);
    effectsContainerView_ = make<UIVisualEffectView>(
        UIVibrancyEffect::effectForBlurEffect(UIBlurEffect::effectWithStyle(UIBlurEffectStyleLight)));
    effectsContainerView_->setFrame(bounds());
    effectsContainerView_->setAutoresizingMask(UIViewAutoresizingFlexibleWidth | UIViewAutoresizingFlexibleHeight);
    addSubview(effectsContainerView_);
    trackView_ = make<QVSliderTrackView>(bounds());
    trackView_->setOpaque(false);
    trackView_->setContentMode(UIViewContentModeRedraw);
    addSubview(trackView_);
    valueLabel_ = make<UILabel>(CGRectZero);
    valueLabel_->setBackgroundColor(UIColor::clearColor());
    valueLabel_->setFont(UIFont::boldSystemFontOfSize(invokedFontSize));
    valueLabel_->setHidden(true);
    addSubview(valueLabel_);
    knobDotView_ = make<UIView>(CGRectMake(0, 0, dotSize, dotSize));
    knobDotView_->setClipsToBounds(true);
    knobDotView_->layer()->setCornerRadius(dotSize / 2);
    effectsContainerView_->contentView()->addSubview(knobDotView_);
    knobView_ = make<QVSliderKnobView>(CGRectZero);
    knobView_->setContentMode(UIViewContentModeRedraw);
    addSubview(knobView_);
    _updateColors();
    addRecognizers();
}

void QVSlider::addRecognizers()
{
    const auto self = weakFromThis(*this);
    const auto pan = make<UIPanGestureRecognizer>(self, "_panKnob:");
    pan->setDelegate(self);
    const auto press = make<UILongPressGestureRecognizer>(self, "_pressKnob:");
    press->setAllowableMovement(pressMovement);
    press->setMinimumPressDuration(0);
    press->setDelegate(self);
    knobView_->addGestureRecognizer(pan);
    knobView_->addGestureRecognizer(press);
    knobView_->setUserInteractionEnabled(true);
}

void QVSlider::awakeFromNib()
{
    UIControl::awakeFromNib();
    _updateColors();
}

void QVSlider::tintColorDidChange()
{
    UIControl::tintColorDidChange();
    if (knobView_) // a tint may come before it
        _updateColors();
}

/// What the knob's centre has to move in.
double QVSlider::length() const
{
    return (isHorizontal() ? bounds().size.width : bounds().size.height) - leadingInset_ - trailingInset_;
}

void QVSlider::layoutSubviews()
{
    UIControl::layoutSubviews();
    const double width = bounds().size.width, height = bounds().size.height;
    const bool sizesKnob = knobView_->frame().size == CGSizeZero;
    if (sizesKnob && isHorizontal())
        knobView_->setFrame(CGRectMake(0, 0, knobAspect * height, height));
    else if (sizesKnob && isVertical())
        knobView_->setFrame(CGRectMake(0, 0, width, knobAspect * width));

    // The image that adds to an inset is drawn at the other end.
    leadingInset_ = trailingInset_ = knobView_->bounds().size.height / 2;
    const auto extent = [this](const std::shared_ptr<UIImageView>& image) {
        if (!image || !image->superview())
            return 0.0;
        return isHorizontal() ? image->bounds().size.width : isVertical() ? image->bounds().size.height : 0.0;
    };
    leadingInset_ += extent(minimumImageView_);
    trailingInset_ += extent(maximumImageView_);
    if (sizesKnob)
        _updateKnobPosition();

    // Moved, and not made shorter for it.
    if (isHorizontal())
        trackView_->setFrame(CGRectMake(leadingInset_ + trackShift, 0, length(), height));
    else if (isVertical())
        trackView_->setFrame(CGRectMake(0, leadingInset_ + trackShift, width, length()));
    layOutEndImages();
}

void QVSlider::layOutEndImages()
{
    const double width = bounds().size.width, height = bounds().size.height;
    for (const auto& image : { maximumImageView_, minimumImageView_ }) {
        if (!image)
            continue;
        CGRect frame = image->frame();
        if (isHorizontal())
            frame.size.width = height;
        else if (isVertical())
            frame.size.width = width;
        image->setFrame(frame);
    }
    if (!minimumImageView_)
        return;
    CGRect frame = minimumImageView_->frame();
    if (isHorizontal())
        frame.origin.x = width - minimumImageView_->bounds().size.width;
    else if (isVertical())
        frame.origin.y = height - minimumImageView_->bounds().size.height;
    minimumImageView_->setFrame(frame);
}

void QVSlider::placeKnob(CGPoint center)
{
    knobView_->setCenter(center);
    knobDotView_->setCenter(center);
}

void QVSlider::_updateKnobPosition()
{
    const double fraction = static_cast<double>(currentValue_ - minimumValue_) / (maximumValue_ - minimumValue_);
    const double place = std::isfinite(fraction) ? fraction : 0; // bounds that coincide
    if (isHorizontal())
        placeKnob({ leadingInset_ + length() * place, bounds().size.height / 2 });
    else if (isVertical())
        placeKnob({ bounds().size.width / 2, leadingInset_ + length() * (1 - place) });
    else
        placeKnob(CGPointZero);
}

void QVSlider::setCurrentValue(float value, bool animated)
{
    if (std::isnan(value))
        return;
    currentValue_ = value;
    animateWithDuration(animated ? changeTime : 0, 0,
        UIViewAnimationOptionAllowUserInteraction | UIViewAnimationOptionBeginFromCurrentState, [this] {
            _updateKnobPosition();
            _updateValueLabel();
        });
}

void QVSlider::setMinimumValue(float value)
{
    minimumValue_ = value;
    permittedValues_.reset();
}

void QVSlider::setMaximumValue(float value)
{
    maximumValue_ = value;
    permittedValues_.reset();
}

void QVSlider::setPermittedValues(std::optional<std::vector<double>> values)
{
    // The array that is replaced is looked at, not the new one.
    if (permittedValues_ && permittedValues_->size() == 1)
        throw NSException(NSInvalidArgumentException, "Must have at least 2 permitted values");
    permittedValues_ = std::move(values);
    if (permittedValues_)
        std::sort(permittedValues_->begin(), permittedValues_->end(),
            [](double a, double b) { return std::strong_order(a, b) < 0; });
    const bool empty = !permittedValues_ || permittedValues_->empty();
    minimumValue_ = empty ? 0 : static_cast<float>(permittedValues_->front());
    maximumValue_ = empty ? 0 : static_cast<float>(permittedValues_->back());
}

void QVSlider::setPointPositions(std::optional<std::vector<float>> values)
{
    pointPositions_ = std::move(values);
    std::vector<double> fractions;
    if (pointPositions_)
        for (const float value : *pointPositions_) {
            const float fraction = (value - minimumValue_) / (maximumValue_ - minimumValue_);
            fractions.push_back(std::isfinite(fraction) ? static_cast<double>(fraction) : 0.0);
        }
    trackView_->setPointPositions(std::move(fractions));
}

float QVSlider::_permittedValueAtPosition(CGPoint point) const
{
    if (!permittedValues_ || permittedValues_->empty())
        return 0;
    const CGPoint onTrack = convertPointToView(point, trackView_);
    const CGSize track = trackView_->bounds().size;
    double place = 0, length = 0;
    if (isHorizontal()) {
        place = onTrack.x;
        length = track.width;
    } else if (isVertical()) {
        length = track.height;
        place = length - onTrack.y;
    }
    const auto& values = *permittedValues_;
    const auto count = static_cast<float>(values.size());
    const float index = std::round(static_cast<float>(place / (length / static_cast<double>(values.size()))));
    // What lies before the first value selects the last one, as what lies beyond that one does.
    if (!(index >= 0 && index < count))
        return static_cast<float>(values.back());
    return static_cast<float>(values[static_cast<std::size_t>(index)]);
}

void QVSlider::drag(CGPoint finger)
{
    const double width = bounds().size.width, height = bounds().size.height;
    const auto between
        = [this](double place, double end) { return std::min(std::max(place, leadingInset_), end - trailingInset_); };
    CGPoint point = CGPointZero;
    double fraction = 0;
    if (isHorizontal()) {
        point = { between(finger.x, width), height / 2 };
        fraction = (point.x - leadingInset_) / length();
    } else if (isVertical()) {
        point = { width / 2, between(finger.y, height) };
        fraction = 1 - (point.y - leadingInset_) / length();
    }
    if (permittedValues_ && !permittedValues_->empty())
        currentValue_ = _permittedValueAtPosition(point);
    else
        currentValue_ = static_cast<float>(
            std::fma(static_cast<double>(maximumValue_ - minimumValue_), fraction, static_cast<double>(minimumValue_)));
    placeKnob(point); // under the finger, whatever the value
}

void QVSlider::_panKnob(const std::shared_ptr<UIGestureRecognizer>& pan)
{
    if (pan->state() == UIGestureRecognizerStateEnded)
        sendActionsForControlEvents(UIControlEventTouchUpInside);
    if (pan->state() != UIGestureRecognizerStateChanged)
        return;
    drag(pan->locationInView(sharedFromThis(*this)));
    if (contains(valueDisplayStyle_, QVSliderValueDisplayStyleWhileTouching))
        _updateValueLabel();
    sendActionsForControlEvents(UIControlEventValueChanged);
}

void QVSlider::_pressKnob(const std::shared_ptr<UIGestureRecognizer>& press)
{
    if (press->state() == UIGestureRecognizerStateBegan) {
        if (contains(valueDisplayStyle_, QVSliderValueDisplayStyleWhileTouching) && valueFormatter_) {
            _updateValueLabel();
            _setValueLabelVisible(true);
        }
        sendActionsForControlEvents(UIControlEventTouchDown);
    } else if (press->state() == UIGestureRecognizerStateEnded && valueDisplayStyle_ != 0)
        _setValueLabelVisible(false);
}

bool QVSlider::shouldRecognizeSimultaneously(
    const std::shared_ptr<UIGestureRecognizer>&, const std::shared_ptr<UIGestureRecognizer>&)
{
    return true;
}

void QVSlider::setSliderOrientation(QVSliderOrientation orientation)
{
    sliderOrientation_ = orientation;
    trackView_->setOrientation(orientation);
    knobView_->setFrame(CGRectZero); // the next layout sizes it
    setNeedsLayout();
}

void QVSlider::setEnabled(bool enabled)
{
    UIControl::setEnabled(enabled);
    setTintAdjustmentMode(enabled ? UIViewTintAdjustmentModeAutomatic : UIViewTintAdjustmentModeDimmed);
    knobView_->setHidden(!enabled);
    knobDotView_->setHidden(!enabled);
}

void QVSlider::setInvoked(bool invoked, bool animated)
{
    invoked_ = invoked;
    const bool shownWhenIdle = contains(valueDisplayStyle_, QVSliderValueDisplayStyleWhenIdle);
    knobView_->setShrunk(!invoked);
    if (invoked) {
        insertSubviewAbove(knobDotView_, trackView_);
        valueLabel_->setFont(UIFont::boldSystemFontOfSize(invokedFontSize));
        if (shownWhenIdle)
            _setValueLabelVisible(false);
    } else {
        effectsContainerView_->contentView()->addSubview(knobDotView_);
        valueLabel_->setFont(UIFont::boldSystemFontOfSize(idleFontSize));
        if (shownWhenIdle) {
            _updateValueLabel();
            _setValueLabelVisible(true);
        }
    }
    if (animated)
        animateWithDuration(changeTime, [this] { _updateColors(); });
    else
        _updateColors();
}

std::shared_ptr<UIColor> QVSlider::inactiveColor() const
{
    return inactiveColor_ ? inactiveColor_ : UIColor::lightGrayColor();
}

void QVSlider::_updateColors()
{
    const auto active = tintColor(), inactive = inactiveColor();
    const auto& main = invoked_ ? active : inactive;
    knobView_->setTintColor(main);
    knobView_->setAlternateColor(invoked_ ? inactive : active);
    valueLabel_->setTextColor(main);
    trackView_->setTintColor(main);
    knobDotView_->setBackgroundColor(inactive);
}

void QVSlider::_updateValueLabel()
{
    if (valueFormatter_) {
        valueLabel_->setText(valueFormatter_(currentValue_));
        valueLabel_->sizeToFit();
    } else
        valueLabel_->setText(std::nullopt);
    const CGPoint knob = knobView_->center();
    if (isHorizontal())
        valueLabel_->setCenter({ knob.x, invoked_ ? -15.0 : -10.0 }); // above
    else if (isVertical())
        valueLabel_->setCenter({ invoked_ ? -40.0 : -10.0, knob.y }); // to the left
}

void QVSlider::_setValueLabelVisible(bool visible)
{
    const auto label = valueLabel_;
    const auto hidden = hiddenTransform(sliderOrientation_);
    if (visible) {
        label->setHidden(false);
        label->setTransform(hidden);
        animateWithDuration(popTime, 0, popDamping, 0, UIViewAnimationOptionBeginFromCurrentState,
            [label] { label->setTransform(CGAffineTransform {}); });
        return;
    }
    animateWithDuration(
        hideTime, 0, UIViewAnimationOptionBeginFromCurrentState, [&] { label->setTransform(hidden); },
        [label](bool) {
            label->setTransform(CGAffineTransform {});
            label->setHidden(true);
        });
}

std::shared_ptr<UIImageView> QVSlider::showImage(const std::shared_ptr<UIImage>& image)
{
    const auto view = make<UIImageView>(image);
    view->setContentMode(UIViewContentModeCenter);
    addSubview(view);
    setNeedsDisplay();
    setNeedsLayout();
    return view;
}

void QVSlider::setMinimumImage(const std::shared_ptr<UIImage>& image)
{
    if (minimumImageView_)
        minimumImageView_->removeFromSuperview();
    minimumImage_ = image ? image->imageWithRenderingMode(UIImageRenderingModeAlwaysTemplate) : nullptr;
    if (image)
        minimumImageView_ = showImage(minimumImage_);
}

void QVSlider::setMaximumImage(const std::shared_ptr<UIImage>& image)
{
    if (maximumImageView_)
        maximumImageView_->removeFromSuperview();
    maximumImage_ = image ? image->imageWithRenderingMode(UIImageRenderingModeAlwaysTemplate) : nullptr;
    if (!image)
        return;
    maximumImageView_ = showImage(maximumImage_);
    _updateKnobPosition();
}

}
