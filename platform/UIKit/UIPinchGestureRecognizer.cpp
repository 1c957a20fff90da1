// SPDX-License-Identifier: Apache-2.0
#include "platform/UIKit/UIPinchGestureRecognizer.h"

#include "platform/UIKit/UIView.h"

#include <algorithm>
#include <cmath>

namespace velmora {

namespace {

constexpr double beginChange = 8; // points
constexpr double leastDistance = 1; // points; fingers upon each other have no scale

}

const ClassInfo& UIPinchGestureRecognizer::staticClass()
{
    static constexpr auto methods = methodTable(method<&UIPinchGestureRecognizer::scale>("scale"),
        method<&UIPinchGestureRecognizer::setScale>("setScale:"),
        method<&UIPinchGestureRecognizer::velocity>("velocity"));
    static constexpr auto classMethods = methodTable(
        initialiser<UIPinchGestureRecognizer, std::weak_ptr<NSObject>, std::string>("initWithTarget:action:"));
    static const ClassInfo info { "Velmora.UIPinchGestureRecognizer", &UIGestureRecognizer::staticClass(), methods,
        classMethods };
    return info;
}

double UIPinchGestureRecognizer::distance() const
{
    const CGPoint a = locationOfTouch(0, nullptr), b = locationOfTouch(1, nullptr);
    return std::max(leastDistance, std::hypot(a.x - b.x, a.y - b.y));
}

void UIPinchGestureRecognizer::setScale(double scale)
{
    if (scale > 0)
        base_ *= scale_ / scale;
    scale_ = scale;
    velocity_ = 0;
}

void UIPinchGestureRecognizer::touchesBegan(const UITouches& began, const std::shared_ptr<UIEvent>&)
{
    if (touches().size() > 2 && state() == UIGestureRecognizerStatePossible)
        setState(UIGestureRecognizerStateFailed);
    if (touches().size() != 2)
        return;
    start_ = base_ = distance();
    time_ = began.front()->timestamp();
}

void UIPinchGestureRecognizer::touchesMoved(const UITouches& moved, const std::shared_ptr<UIEvent>&)
{
    if (touches().size() < 2 || base_ <= 0)
        return;
    const double before = scale_, time = moved.front()->timestamp();
    scale_ = distance() / base_;
    if (time > time_)
        velocity_ = (scale_ - before) / (time - time_);
    time_ = time;
    if (state() != UIGestureRecognizerStatePossible)
        setState(UIGestureRecognizerStateChanged);
    else if (std::abs(distance() - start_) >= beginChange)
        setState(UIGestureRecognizerStateBegan);
}

void UIPinchGestureRecognizer::touchesEnded(const UITouches&, const std::shared_ptr<UIEvent>&)
{
    if (touches().size() > 2)
        return;
    setState(
        state() == UIGestureRecognizerStatePossible ? UIGestureRecognizerStateFailed : UIGestureRecognizerStateEnded);
}

void UIPinchGestureRecognizer::reset()
{
    start_ = base_ = velocity_ = 0;
    scale_ = 1;
}

}
