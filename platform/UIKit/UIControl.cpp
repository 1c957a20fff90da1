// SPDX-License-Identifier: Apache-2.0
#include "platform/UIKit/UIControl.h"

#include "platform/UIKit/InterfaceValues.h"
#include "platform/UIKit/UIApplication.h"
#include "platform/UIKit/UITapGestureRecognizer.h"
#include "platform/UIKit/UIWindow.h"

#include <algorithm>
#include <utility>

namespace velmora {

namespace {

bool share(UIControlEvents a, UIControlEvents b)
{
    return raw(a & b) != 0;
}

}

UIControl::UIControl(CGRect frame)
    : UIView(frame)
{
}

UIControl::UIControl(const NSCoder& coder)
    : UIView(coder)
    , enabled_(decodedFlag(coder, "enabled").value_or(true))
    , selected_(decodedFlag(coder, "selected").value_or(false))
    , highlighted_(decodedFlag(coder, "highlighted").value_or(false))
{
}

const ClassInfo& UIControl::staticClass()
{
    static constexpr auto methods = methodTable(method<&UIControl::addTarget>("addTarget:action:forControlEvents:"),
        method<&UIControl::removeTarget>("removeTarget:action:forControlEvents:"),
        method<&UIControl::allTargets>("allTargets"),
        method<&UIControl::actionsForTarget>("actionsForTarget:forControlEvent:"),
        method<&UIControl::sendActionsForControlEvents>("sendActionsForControlEvents:"),
        method<&UIControl::sendAction>("sendAction:to:forEvent:"), method<&UIControl::isEnabled>("isEnabled"),
        method<&UIControl::setEnabled>("setEnabled:"), method<&UIControl::isSelected>("isSelected"),
        method<&UIControl::setSelected>("setSelected:"), method<&UIControl::isHighlighted>("isHighlighted"),
        method<&UIControl::setHighlighted>("setHighlighted:"), method<&UIControl::state>("state"),
        method<&UIControl::isTracking>("isTracking"), method<&UIControl::isTouchInside>("isTouchInside"));
    static constexpr auto classMethods = methodTable(initialiser<UIControl>("init"),
        initialiser<UIControl, CGRect>("initWithFrame:"), initialiser<UIControl, const NSCoder&>("initWithCoder:"));
    static const ClassInfo info { "Velmora.UIControl", &UIView::staticClass(), methods, classMethods };
    return info;
}

void UIControl::addTarget(const std::weak_ptr<NSObject>& target, const std::string& action, UIControlEvents events)
{
    const auto object = target.lock();
    for (Target& each : targets_)
        if (!each.function && each.action == action && each.target.lock() == object
            && each.isFirstResponder == !object) {
            each.events |= events;
            return;
        }
    targets_.push_back({ target, !object, action, nullptr, events, 0 });
}

void UIControl::removeTarget(const std::shared_ptr<NSObject>& target, const std::string& action, UIControlEvents events)
{
    for (Target& each : targets_)
        if (!each.function && (!target || each.target.lock() == target) && (action.empty() || each.action == action))
            each.events &= ~events;
    std::erase_if(targets_, [](const Target& each) { return raw(each.events) == 0; });
}

Cancellable UIControl::addAction(UIControlEvents events, std::function<void()> action)
{
    const std::uint64_t token = ++lastToken_;
    targets_.push_back({ {}, false, {}, std::move(action), events, token });
    return Cancellable([weak = weakFromThis(*this), token] {
        if (const auto self = weak.lock())
            self->removeFunction(token);
    });
}

void UIControl::removeFunction(std::uint64_t token)
{
    std::erase_if(targets_, [&](const Target& each) { return each.function && each.token == token; });
}

std::vector<std::shared_ptr<NSObject>> UIControl::allTargets() const
{
    std::vector<std::shared_ptr<NSObject>> all;
    for (const Target& each : targets_)
        if (auto target = each.target.lock(); target && std::find(all.begin(), all.end(), target) == all.end())
            all.push_back(std::move(target));
    return all;
}

std::vector<std::string> UIControl::actionsForTarget(
    const std::shared_ptr<NSObject>& target, UIControlEvents event) const
{
    std::vector<std::string> actions;
    for (const Target& each : targets_)
        if (!each.function && each.target.lock() == target && share(each.events, event))
            actions.push_back(each.action);
    return actions;
}

void UIControl::sendActions(UIControlEvents events, const std::shared_ptr<UIEvent>& event)
{
    const auto keepsAlive = shared_from_this(); // an action may remove the control
    const auto targets = targets_;
    for (const Target& each : targets) {
        if (!share(each.events, events))
            continue;
        if (each.function) {
            each.function();
            continue;
        }
        const auto target = each.target.lock();
        if (target || each.isFirstResponder)
            sendAction(each.action, target, event);
    }
}

void UIControl::sendAction(
    const std::string& action, const std::shared_ptr<NSObject>& target, const std::shared_ptr<UIEvent>& event)
{
    UIApplication::sharedApplication()->sendAction(action, target, shared_from_this(), event);
}

void UIControl::change(bool& member, bool value)
{
    if (std::exchange(member, value) != value)
        stateDidChange();
}

void UIControl::setEnabled(bool enabled)
{
    change(enabled_, enabled);
}

void UIControl::setSelected(bool selected)
{
    change(selected_, selected);
}

void UIControl::setHighlighted(bool highlighted)
{
    change(highlighted_, highlighted);
}

UIControlState UIControl::state() const
{
    auto state = UIControlStateNormal;
    if (highlighted_)
        state |= UIControlStateHighlighted;
    if (!enabled_)
        state |= UIControlStateDisabled;
    if (selected_)
        state |= UIControlStateSelected;
    return state;
}

/// A tap on a control is the control's, not that of a view around it.
bool UIControl::gestureRecognizerShouldBegin(UIGestureRecognizer& recognizer)
{
    const auto* tap = dynamic_cast<const UITapGestureRecognizer*>(&recognizer);
    return !tap || tap->numberOfTapsRequired() > 1 || recognizer.view().get() == this;
}

void UIControl::touchesBegan(const UITouches& touches, const std::shared_ptr<UIEvent>& event)
{
    const auto& touch = touches.front();
    tracking_ = beginTracking(touch, event);
    if (!tracking_)
        return;
    touchInside_ = true;
    setHighlighted(true);
    const bool again = touch->tapCount() > 1;
    sendActions(again ? UIControlEventTouchDown | UIControlEventTouchDownRepeat : UIControlEventTouchDown, event);
}

void UIControl::touchesMoved(const UITouches& touches, const std::shared_ptr<UIEvent>& event)
{
    if (!tracking_)
        return;
    const bool inside = pointInside(touches.front()->locationInView(this), event.get());
    const bool before = std::exchange(touchInside_, inside);
    if (!continueTracking(touches.front(), event)) {
        stopTracking();
        return;
    }
    setHighlighted(inside);
    auto events = inside ? UIControlEventTouchDragInside : UIControlEventTouchDragOutside;
    if (inside != before)
        events |= inside ? UIControlEventTouchDragEnter : UIControlEventTouchDragExit;
    sendActions(events, event);
}

void UIControl::touchesEnded(const UITouches& touches, const std::shared_ptr<UIEvent>& event)
{
    if (!tracking_)
        return;
    const bool inside = pointInside(touches.front()->locationInView(this), event.get());
    touchInside_ = inside;
    endTracking(touches.front(), event);
    stopTracking();
    sendActions(inside ? UIControlEventTouchUpInside : UIControlEventTouchUpOutside, event);
}

void UIControl::touchesCancelled(const UITouches&, const std::shared_ptr<UIEvent>& event)
{
    if (!tracking_)
        return;
    cancelTracking(event);
    stopTracking();
    sendActions(UIControlEventTouchCancel, event);
}

void UIControl::stopTracking()
{
    tracking_ = touchInside_ = false;
    setHighlighted(false);
}

}
