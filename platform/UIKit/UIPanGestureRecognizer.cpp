// SPDX-License-Identifier: Apache-2.0
#include "platform/UIKit/UIPanGestureRecognizer.h"

#include "platform/UIKit/UIView.h"
#include "platform/UIKit/UIWindow.h"

#include <algorithm>
#include <cmath>
#include <iterator>

namespace velmora {

namespace {

constexpr double beginDistance = 10; // points
constexpr double velocityWindow = 0.1; // seconds
constexpr double restTime = 0.05; // seconds without an event: longer than between those of any screen

/// Without the touches that end right now.
CGPoint middleOf(const UITouches& touches, const UITouches& without)
{
    CGPoint sum;
    double count = 0;
    for (const auto& touch : touches) {
        if (std::find(without.begin(), without.end(), touch) != without.end())
            continue;
        const CGPoint point = touch->locationInView(nullptr);
        sum = { sum.x + point.x, sum.y + point.y };
        ++count;
    }
    return count > 0 ? CGPointMake(sum.x / count, sum.y / count) : CGPointZero;
}

}

const ClassInfo& UIPanGestureRecognizer::staticClass()
{
    static constexpr auto methods
        = methodTable(method<&UIPanGestureRecognizer::minimumNumberOfTouches>("minimumNumberOfTouches"),
            method<&UIPanGestureRecognizer::setMinimumNumberOfTouches>("setMinimumNumberOfTouches:"),
            method<&UIPanGestureRecognizer::maximumNumberOfTouches>("maximumNumberOfTouches"),
            method<&UIPanGestureRecognizer::setMaximumNumberOfTouches>("setMaximumNumberOfTouches:"),
            method<&UIPanGestureRecognizer::translationInView>("translationInView:"),
            method<&UIPanGestureRecognizer::setTranslation>("setTranslation:inView:"),
            method<&UIPanGestureRecognizer::velocityInView>("velocityInView:"));
    static constexpr auto classMethods = methodTable(
        initialiser<UIPanGestureRecognizer, std::weak_ptr<NSObject>, std::string>("initWithTarget:action:"));
    static const ClassInfo info { "Velmora.UIPanGestureRecognizer", &UIGestureRecognizer::staticClass(), methods,
        classMethods };
    return info;
}

CGPoint UIPanGestureRecognizer::shiftInWindow() const
{
    const CGPoint here = middleOf(touches(), {});
    return { carried_.x + here.x - start_.x, carried_.y + here.y - start_.y };
}

/// A distance, not a place: it turns and scales with the view and does not move with it.
CGPoint UIPanGestureRecognizer::vectorInView(CGPoint inWindow, const std::shared_ptr<UIView>& view) const
{
    if (!view)
        return inWindow;
    const auto window = view->window();
    const CGPoint from = view->convertPointFromView(CGPointZero, window);
    const CGPoint to = view->convertPointFromView(inWindow, window);
    return { to.x - from.x, to.y - from.y };
}

CGPoint UIPanGestureRecognizer::translationInView(const std::shared_ptr<UIView>& view) const
{
    const CGPoint shift = samples_.empty() ? CGPointZero : samples_.back().shift;
    return vectorInView({ shift.x - offset_.x, shift.y - offset_.y }, view);
}

void UIPanGestureRecognizer::setTranslation(CGPoint translation, const std::shared_ptr<UIView>& view)
{
    const CGPoint shift = samples_.empty() ? CGPointZero : samples_.back().shift;
    CGPoint inWindow = translation;
    if (view) {
        const auto window = view->window();
        const CGPoint from = view->convertPointToView(CGPointZero, window);
        const CGPoint to = view->convertPointToView(translation, window);
        inWindow = { to.x - from.x, to.y - from.y };
    }
    offset_ = { shift.x - inWindow.x, shift.y - inWindow.y };
}

CGPoint UIPanGestureRecognizer::velocityInView(const std::shared_ptr<UIView>& view) const
{
    if (velocity_)
        return vectorInView(*velocity_, view);
    if (samples_.empty())
        return CGPointZero;
    const double until = now(), since = until - velocityWindow;
    const Sample& last = samples_.back();
    // From the place where the window of time begins.
    auto first = samples_.begin();
    while (std::next(first) != samples_.end() && std::next(first)->time <= since)
        ++first;
    // A finger that rests sends nothing: it was still there when the window began.
    const bool rested = std::next(first) != samples_.end() && std::next(first)->time - first->time > restTime;
    const double seconds = last.time - (rested ? std::max(first->time, since) : first->time);
    if (last.time < since || seconds <= 0)
        return CGPointZero;
    return vectorInView({ (last.shift.x - first->shift.x) / seconds, (last.shift.y - first->shift.y) / seconds }, view);
}

void UIPanGestureRecognizer::setVelocity(CGPoint velocity, const std::shared_ptr<UIView>& view)
{
    velocity_ = velocity;
    if (!view)
        return;
    const auto window = view->window();
    const CGPoint from = view->convertPointToView(CGPointZero, window);
    const CGPoint to = view->convertPointToView(velocity, window);
    velocity_ = CGPointMake(to.x - from.x, to.y - from.y);
}

void UIPanGestureRecognizer::touchesBegan(const UITouches& began, const std::shared_ptr<UIEvent>&)
{
    velocity_.reset();
    if (touches().size() > maximum_ && state() == UIGestureRecognizerStatePossible) {
        setState(UIGestureRecognizerStateFailed);
        return;
    }
    carried_ = samples_.empty() ? CGPointZero : samples_.back().shift;
    start_ = middleOf(touches(), {});
    samples_.push_back({ began.front()->timestamp(), carried_ });
}

void UIPanGestureRecognizer::touchesMoved(const UITouches& moved, const std::shared_ptr<UIEvent>&)
{
    samples_.push_back({ moved.front()->timestamp(), shiftInWindow() });
    if (state() != UIGestureRecognizerStatePossible)
        setState(UIGestureRecognizerStateChanged);
    else if (touches().size() >= minimum_ && isEnough(samples_.back().shift))
        setState(UIGestureRecognizerStateBegan);
}

bool UIPanGestureRecognizer::isEnough(CGPoint shift) const
{
    return std::hypot(shift.x, shift.y) >= beginDistance;
}

void UIPanGestureRecognizer::touchesEnded(const UITouches& ended, const std::shared_ptr<UIEvent>&)
{
    if (touches().size() - ended.size() >= minimum_) {
        carried_ = samples_.back().shift;
        start_ = middleOf(touches(), ended);
        return;
    }
    setState(
        state() == UIGestureRecognizerStatePossible ? UIGestureRecognizerStateFailed : UIGestureRecognizerStateEnded);
}

void UIPanGestureRecognizer::reset()
{
    samples_.clear();
    offset_ = carried_ = CGPointZero;
}

}
