// SPDX-License-Identifier: Apache-2.0
#include "platform/UIKit/UITapGestureRecognizer.h"

#include "platform/Foundation/NSRunLoop.h"
#include "platform/UIKit/UIView.h"

#include <algorithm>
#include <cmath>

namespace velmora {

namespace {

constexpr double longestTap = 0.75; // seconds that a finger stays down
constexpr double longestPause = 0.35; // seconds from one tap to the next
constexpr double allowableMovement = 45; // points

}

const ClassInfo& UITapGestureRecognizer::staticClass()
{
    static constexpr auto methods
        = methodTable(method<&UITapGestureRecognizer::numberOfTapsRequired>("numberOfTapsRequired"),
            method<&UITapGestureRecognizer::setNumberOfTapsRequired>("setNumberOfTapsRequired:"),
            method<&UITapGestureRecognizer::numberOfTouchesRequired>("numberOfTouchesRequired"),
            method<&UITapGestureRecognizer::setNumberOfTouchesRequired>("setNumberOfTouchesRequired:"));
    static constexpr auto classMethods = methodTable(
        initialiser<UITapGestureRecognizer, std::weak_ptr<NSObject>, std::string>("initWithTarget:action:"));
    static const ClassInfo info { "Velmora.UITapGestureRecognizer", &UIGestureRecognizer::staticClass(), methods,
        classMethods };
    return info;
}

void UITapGestureRecognizer::failAfter(double seconds)
{
    NSRunLoop::mainRunLoop().performAfter(seconds, [weak = weakFromThis(*this), deadline = ++deadline_] {
        if (const auto self = weak.lock(); self && self->deadline_ == deadline)
            self->setState(UIGestureRecognizerStateFailed);
    });
}

void UITapGestureRecognizer::touchesBegan(const UITouches&, const std::shared_ptr<UIEvent>&)
{
    most_ = std::max(most_, touches().size());
    if (touches().size() > touchesRequired_) {
        setState(UIGestureRecognizerStateFailed);
        return;
    }
    if (taps_ == 0 && touches().size() == 1)
        start_ = locationInView(nullptr);
    failAfter(longestTap);
}

void UITapGestureRecognizer::touchesMoved(const UITouches&, const std::shared_ptr<UIEvent>&)
{
    const CGPoint point = touches().front()->locationInView(nullptr);
    if (std::hypot(point.x - start_.x, point.y - start_.y) > allowableMovement)
        setState(UIGestureRecognizerStateFailed);
}

void UITapGestureRecognizer::touchesEnded(const UITouches& ended, const std::shared_ptr<UIEvent>&)
{
    if (touches().size() > ended.size())
        return; // another finger is still down
    if (most_ < touchesRequired_) {
        setState(UIGestureRecognizerStateFailed);
        return;
    }
    ++taps_;
    most_ = 0;
    if (taps_ < tapsRequired_)
        failAfter(longestPause);
    else
        setState(UIGestureRecognizerStateEnded);
}

void UITapGestureRecognizer::reset()
{
    taps_ = most_ = 0;
    ++deadline_;
}

}
