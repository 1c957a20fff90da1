// SPDX-License-Identifier: Apache-2.0
#include "platform/UIKit/UIScrollView.h"

#include "platform/Foundation/NSRunLoop.h"
#include "platform/Foundation/Scheduler.h"
#include "platform/UIKit/UIPanGestureRecognizer.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <utility>

namespace velmora {

namespace {

constexpr double stepLength = 1.0 / 60; // seconds
constexpr double resistance = 0.55; // of a pull past the end, at its beginning
constexpr double swingFrequency = 10; // radians a second, of the way back
constexpr double restingSpeed = 5, restingDistance = 0.25; // points a second, points: what nobody sees
constexpr double leastFlick = 20; // points a second that set it rolling
constexpr double offsetDuration = 0.3; // seconds

/// Tells when a finger comes down: it stops what rolls.
class ScrollPan final : public UIPanGestureRecognizer {
public:
    using UIPanGestureRecognizer::UIPanGestureRecognizer;
    void setTouched(std::function<void()> touched) { touched_ = std::move(touched); }

protected:
    void touchesBegan(const UITouches& touches, const std::shared_ptr<UIEvent>& event) override
    {
        touched_();
        UIPanGestureRecognizer::touchesBegan(touches, event);
    }

private:
    std::function<void()> touched_;
};

}

UIScrollView::UIScrollView(CGRect frame)
    : UIView(frame)
{
}

UIScrollView::UIScrollView(const NSCoder& coder)
    : UIView(coder)
{
}

const ClassInfo& UIScrollView::staticClass()
{
    static constexpr auto methods = methodTable(method<&UIScrollView::contentOffset>("contentOffset"),
        method<overload<CGPoint>(&UIScrollView::setContentOffset)>("setContentOffset:"),
        method<overload<CGPoint, bool>(&UIScrollView::setContentOffset)>("setContentOffset:animated:"),
        method<&UIScrollView::contentSize>("contentSize"), method<&UIScrollView::setContentSize>("setContentSize:"),
        method<&UIScrollView::contentInset>("contentInset"), method<&UIScrollView::setContentInset>("setContentInset:"),
        method<&UIScrollView::adjustedContentInset>("adjustedContentInset"),
        method<&UIScrollView::isScrollEnabled>("isScrollEnabled"),
        method<&UIScrollView::setScrollEnabled>("setScrollEnabled:"), method<&UIScrollView::bounces>("bounces"),
        method<&UIScrollView::setBounces>("setBounces:"), method<&UIScrollView::isDragging>("isDragging"),
        method<&UIScrollView::isDecelerating>("isDecelerating"),
        method<&UIScrollView::panGestureRecognizer>("panGestureRecognizer"),
        method<&UIScrollView::handlePan>("_handlePan"));
    static constexpr auto classMethods
        = methodTable(initialiser<UIScrollView>("init"), initialiser<UIScrollView, CGRect>("initWithFrame:"),
            initialiser<UIScrollView, const NSCoder&>("initWithCoder:"));
    static const ClassInfo info { "Velmora.UIScrollView", &UIView::staticClass(), methods, classMethods };
    return info;
}

void UIScrollView::didConstruct()
{
    UIView::didConstruct();
    setClipsToBounds(true);
    const auto pan = make<ScrollPan>(weakFromThis(*this), "_handlePan");
    pan->setTouched([weak = weakFromThis(*this)] {
        if (const auto self = weak.lock())
            self->stop();
    });
    pan_ = pan;
    addGestureRecognizer(pan_);
}

void UIScrollView::setBounds(CGRect bounds)
{
    if (bounds.origin == contentOffset()) {
        UIView::setBounds(bounds);
        return;
    }
    {
        const ChangeOfValue change(*this, "contentOffset");
        UIView::setBounds(bounds);
    }
    if (const auto delegate = this->delegate())
        delegate->scrollViewDidScroll(*this);
}

void UIScrollView::setContentOffset(CGPoint offset)
{
    stop();
    setBounds({ offset, bounds().size });
}

void UIScrollView::setContentOffset(CGPoint offset, bool animated)
{
    if (animated)
        UIView::animateWithDuration(
            offsetDuration, 0, UIViewAnimationOptionAllowUserInteraction, [&] { setContentOffset(offset); });
    else
        setContentOffset(offset);
}

UIEdgeInsets UIScrollView::adjustedContentInset() const
{
    if (adjustment_ == UIScrollViewContentInsetAdjustmentNever)
        return contentInset_;
    const UIEdgeInsets safe = safeAreaInsets();
    return { contentInset_.top + safe.top, contentInset_.left + safe.left, contentInset_.bottom + safe.bottom,
        contentInset_.right + safe.right };
}

void UIScrollView::setContentInset(UIEdgeInsets inset)
{
    contentInset_ = inset;
}

void UIScrollView::setContentInsetAdjustmentBehavior(UIScrollViewContentInsetAdjustmentBehavior behavior)
{
    adjustment_ = behavior;
}

/// A content that lies at its top stays there when bars come or go above it.
void UIScrollView::safeAreaInsetsDidChange()
{
    UIView::safeAreaInsetsDidChange();
    if (dragging_ || decelerating_ || adjustment_ == UIScrollViewContentInsetAdjustmentNever)
        return;
    const double before = std::exchange(safeTop_, safeAreaInsets().top);
    if (contentOffset().y == -(contentInset_.top + before))
        setContentOffset({ contentOffset().x, -adjustedContentInset().top });
}

void UIScrollView::setScrollEnabled(bool enabled)
{
    scrollEnabled_ = enabled;
    pan_->setEnabled(enabled);
}

UIScrollView::Range UIScrollView::range(bool vertical) const
{
    const UIEdgeInsets inset = adjustedContentInset();
    const CGSize size = bounds().size;
    const double low = vertical ? -inset.top : -inset.left;
    const double high
        = vertical ? contentSize_.height + inset.bottom - size.height : contentSize_.width + inset.right - size.width;
    return { low, std::max(low, high) };
}

/// Past the ends it follows the finger less and less, never by more than the view is long.
double UIScrollView::resisting(double offset, bool vertical) const
{
    const auto [low, high] = range(vertical);
    const double length = vertical ? bounds().size.height : bounds().size.width;
    const double end = std::clamp(offset, low, high), beyond = std::abs(offset - end);
    if (beyond == 0 || length <= 0)
        return end;
    const bool pulls = bounces_ && (high > low || (vertical ? alwaysVertical_ : alwaysHorizontal_));
    if (!pulls)
        return end;
    const double shown = (1 - 1 / (beyond * resistance / length + 1)) * length;
    return offset < end ? end - shown : end + shown;
}

void UIScrollView::handlePan()
{
    switch (pan_->state()) {
    case UIGestureRecognizerStateBegan:
        beginDragging();
        break;
    case UIGestureRecognizerStateChanged:
        drag();
        break;
    case UIGestureRecognizerStateEnded:
    case UIGestureRecognizerStateCancelled:
        endDragging();
        break;
    case UIGestureRecognizerStatePossible:
    case UIGestureRecognizerStateFailed:
        break;
    }
}

void UIScrollView::beginDragging()
{
    dragStart_ = contentOffset();
    pan_->setTranslation(CGPointZero, sharedFromThis(*this)); // what it took to begin does not jump
    dragging_ = true;
    if (const auto delegate = this->delegate())
        delegate->scrollViewWillBeginDragging(*this);
}

void UIScrollView::drag()
{
    const CGPoint moved = pan_->translationInView(sharedFromThis(*this));
    setBounds({ { resisting(dragStart_.x - moved.x, false), resisting(dragStart_.y - moved.y, true) }, bounds().size });
}

void UIScrollView::endDragging()
{
    if (!std::exchange(dragging_, false))
        return;
    const auto isOut = [&](double offset, bool vertical) {
        const auto [low, high] = range(vertical);
        return offset < low || offset > high;
    };
    const CGPoint pan = pan_->velocityInView(sharedFromThis(*this)), offset = contentOffset();
    const auto scrolls = [&](bool vertical) { return range(vertical).high > range(vertical).low; };
    const CGPoint speed { scrolls(false) ? -pan.x : 0, scrolls(true) ? -pan.y : 0 };
    const bool rolls = std::hypot(speed.x, speed.y) >= leastFlick || isOut(offset.x, false) || isOut(offset.y, true);
    decelerating_ = rolls;
    if (const auto delegate = this->delegate())
        delegate->scrollViewDidEndDragging(*this, rolls);
    if (rolls)
        roll(speed);
}

void UIScrollView::stop()
{
    ++rolling_;
    velocity_ = CGPointZero;
    if (std::exchange(decelerating_, false))
        if (const auto delegate = this->delegate())
            delegate->scrollViewDidEndDecelerating(*this);
}

void UIScrollView::roll(CGPoint velocity)
{
    velocity_ = velocity;
    ++rolling_;
    scheduleStep();
}

void UIScrollView::scheduleStep()
{
    const double now = Scheduler::current().clock().now();
    NSRunLoop::mainRunLoop().performAfter(stepLength, [weak = weakFromThis(*this), rolling = rolling_, now] {
        if (const auto self = weak.lock(); self && self->rolling_ == rolling)
            self->step(Scheduler::current().clock().now() - now);
    });
}

void UIScrollView::step(double seconds)
{
    const auto rolling = rolling_;
    CGPoint offset = contentOffset();
    const bool restsAcross = stepAxis(offset.x, velocity_.x, seconds, false);
    const bool restsDown = stepAxis(offset.y, velocity_.y, seconds, true);
    setBounds({ offset, bounds().size });
    if (rolling != rolling_)
        return; // somebody who heard of it stopped it
    if (restsAcross && restsDown)
        stop();
    else
        scheduleStep();
}

/// True: it rests.
bool UIScrollView::stepAxis(double& offset, double& velocity, double seconds, bool vertical) const
{
    const auto [low, high] = range(vertical);
    const double end = std::clamp(offset, low, high), beyond = offset - end;
    if (beyond == 0) {
        const double left = std::pow(decelerationRate_, seconds * 1000);
        offset += velocity * (left - 1) / (std::log(decelerationRate_) * 1000);
        velocity *= left;
        if (!bounces_ && (offset < low || offset > high)) {
            offset = std::clamp(offset, low, high);
            velocity = 0;
        }
        return std::abs(velocity) < restingSpeed && offset >= low && offset <= high;
    }
    // A critically damped spring to the end.
    const double decay = std::exp(-swingFrequency * seconds), slope = velocity + swingFrequency * beyond;
    const double after = (beyond + slope * seconds) * decay;
    velocity = (velocity - swingFrequency * slope * seconds) * decay;
    const bool back = after * beyond <= 0 || (std::abs(after) < restingDistance && std::abs(velocity) < restingSpeed);
    offset = back ? end : end + after;
    if (back)
        velocity = 0;
    return back;
}

}
