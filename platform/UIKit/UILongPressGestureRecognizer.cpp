// SPDX-License-Identifier: Apache-2.0
#include "platform/UIKit/UILongPressGestureRecognizer.h"

#include "platform/Foundation/NSRunLoop.h"
#include "platform/UIKit/UIView.h"

#include <cmath>

namespace velmora {

const ClassInfo& UILongPressGestureRecognizer::staticClass()
{
    static constexpr auto methods
        = methodTable(method<&UILongPressGestureRecognizer::minimumPressDuration>("minimumPressDuration"),
            method<&UILongPressGestureRecognizer::setMinimumPressDuration>("setMinimumPressDuration:"),
            method<&UILongPressGestureRecognizer::allowableMovement>("allowableMovement"),
            method<&UILongPressGestureRecognizer::setAllowableMovement>("setAllowableMovement:"),
            method<&UILongPressGestureRecognizer::numberOfTouchesRequired>("numberOfTouchesRequired"),
            method<&UILongPressGestureRecognizer::setNumberOfTouchesRequired>("setNumberOfTouchesRequired:"));
    static constexpr auto classMethods = methodTable(
        initialiser<UILongPressGestureRecognizer, std::weak_ptr<NSObject>, std::string>("initWithTarget:action:"));
    static const ClassInfo info { "Velmora.UILongPressGestureRecognizer", &UIGestureRecognizer::staticClass(), methods,
        classMethods };
    return info;
}

void UILongPressGestureRecognizer::touchesBegan(const UITouches&, const std::shared_ptr<UIEvent>&)
{
    if (state() != UIGestureRecognizerStatePossible || touches().size() < touchesRequired_)
        return;
    if (touches().size() > touchesRequired_) {
        setState(UIGestureRecognizerStateFailed);
        return;
    }
    start_ = locationInView(nullptr);
    if (duration_ <= 0) {
        setState(UIGestureRecognizerStateBegan);
        return;
    }
    NSRunLoop::mainRunLoop().performAfter(duration_, [weak = weakFromThis(*this), press = ++press_] {
        if (const auto self = weak.lock(); self && self->press_ == press)
            self->setState(UIGestureRecognizerStateBegan);
    });
}

void UILongPressGestureRecognizer::touchesMoved(const UITouches&, const std::shared_ptr<UIEvent>&)
{
    if (state() != UIGestureRecognizerStatePossible) {
        setState(UIGestureRecognizerStateChanged);
        return;
    }
    const CGPoint here = locationInView(nullptr);
    if (touches().size() == touchesRequired_ && std::hypot(here.x - start_.x, here.y - start_.y) > movement_)
        setState(UIGestureRecognizerStateFailed);
}

void UILongPressGestureRecognizer::touchesEnded(const UITouches&, const std::shared_ptr<UIEvent>&)
{
    setState(
        state() == UIGestureRecognizerStatePossible ? UIGestureRecognizerStateFailed : UIGestureRecognizerStateEnded);
}

}
