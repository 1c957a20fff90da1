// SPDX-License-Identifier: Apache-2.0
#include "platform/UIKit/UIGestureRecognizer.h"

#include "platform/Foundation/NSException.h"
#include "platform/Foundation/Scheduler.h"
#include "platform/UIKit/UIView.h"
#include "platform/UIKit/UIWindow.h"

#include <algorithm>
#include <array>
#include <utility>

namespace velmora {

UIGestureRecognizer::UIGestureRecognizer(const std::weak_ptr<NSObject>& target, const std::string& action)
    : targets_ { { target, action } }
{
}

UIGestureRecognizer::~UIGestureRecognizer() = default;

const ClassInfo& UIGestureRecognizer::staticClass()
{
    static constexpr auto methods = methodTable(method<&UIGestureRecognizer::addTarget>("addTarget:action:"),
        method<&UIGestureRecognizer::removeTarget>("removeTarget:action:"),
        method<&UIGestureRecognizer::state>("state"), method<&UIGestureRecognizer::view>("view"),
        method<&UIGestureRecognizer::isEnabled>("isEnabled"), method<&UIGestureRecognizer::setEnabled>("setEnabled:"),
        method<&UIGestureRecognizer::delegate>("delegate"), method<&UIGestureRecognizer::setDelegate>("setDelegate:"),
        method<&UIGestureRecognizer::cancelsTouchesInView>("cancelsTouchesInView"),
        method<&UIGestureRecognizer::setCancelsTouchesInView>("setCancelsTouchesInView:"),
        method<&UIGestureRecognizer::requireGestureRecognizerToFail>("requireGestureRecognizerToFail:"),
        method<&UIGestureRecognizer::locationInView>("locationInView:"),
        method<&UIGestureRecognizer::numberOfTouches>("numberOfTouches"),
        method<&UIGestureRecognizer::locationOfTouch>("locationOfTouch:inView:"));
    static const ClassInfo info { "Velmora.UIGestureRecognizer", &NSObject::staticClass(), methods };
    return info;
}

void UIGestureRecognizer::addTarget(const std::weak_ptr<NSObject>& target, const std::string& action)
{
    targets_.push_back({ target, action });
}

void UIGestureRecognizer::removeTarget(const std::shared_ptr<NSObject>& target, const std::string& action)
{
    std::erase_if(targets_, [&](const Target& each) {
        return (!target || each.target.lock() == target) && (action.empty() || each.action == action);
    });
}

void UIGestureRecognizer::setEnabled(bool enabled)
{
    enabled_ = enabled;
    if (enabled)
        return;
    setState(UIGestureRecognizerStateCancelled);
    live_.clear();
    startAgain();
}

void UIGestureRecognizer::setView(const std::weak_ptr<UIView>& view)
{
    view_ = view;
}

void UIGestureRecognizer::requireGestureRecognizerToFail(const std::shared_ptr<UIGestureRecognizer>& other)
{
    required_.push_back(other);
}

double UIGestureRecognizer::now() const
{
    return Scheduler::current().clock().now();
}

CGPoint UIGestureRecognizer::locationInView(const std::shared_ptr<UIView>& view) const
{
    const auto from = locationView_.lock();
    if (!from)
        return location_;
    return from == view ? location_ : from->convertPointToView(location_, view);
}

CGPoint UIGestureRecognizer::locationOfTouch(std::size_t index, const std::shared_ptr<UIView>& view) const
{
    if (index >= live_.size())
        throw NSException(NSInvalidArgumentException,
            "Touch " + std::to_string(index) + " of " + std::to_string(live_.size()) + " was asked for");
    return live_[index]->locationInView(view.get());
}

void UIGestureRecognizer::drive(UIGestureRecognizerState state, CGPoint location, const std::shared_ptr<UIView>& in)
{
    location_ = location;
    locationView_ = in;
    state_ = state;
    if (state != UIGestureRecognizerStatePossible && state != UIGestureRecognizerStateFailed)
        sendActions();
}

bool UIGestureRecognizer::wants(const std::shared_ptr<UITouch>& touch)
{
    if (!enabled_)
        return false;
    const auto delegate = this->delegate();
    return !delegate || delegate->shouldReceiveTouch(sharedFromThis(*this), touch);
}

void UIGestureRecognizer::deliver(UITouchPhase phase, const UITouches& touches, const std::shared_ptr<UIEvent>& event)
{
    const auto keepsAlive = shared_from_this(); // an action may remove it
    event_ = event;
    if (phase == UITouchPhaseBegan)
        for (const auto& touch : touches) {
            live_.push_back(touch);
            sequence_.push_back(touch);
        }
    if (live_.empty())
        return; // it was disabled meanwhile
    CGPoint sum;
    for (const auto& touch : live_) {
        const CGPoint point = touch->locationInView(nullptr);
        sum = { sum.x + point.x, sum.y + point.y };
    }
    const auto count = static_cast<double>(live_.size());
    location_ = { sum.x / count, sum.y / count };
    locationView_ = live_.front()->window();
    if (isOver())
        return;
    switch (phase) {
    case UITouchPhaseBegan:
        touchesBegan(touches, event);
        break;
    case UITouchPhaseMoved:
        touchesMoved(touches, event);
        break;
    case UITouchPhaseEnded:
        touchesEnded(touches, event);
        break;
    case UITouchPhaseCancelled:
        touchesCancelled(touches, event);
        break;
    case UITouchPhaseStationary:
        break;
    }
}

void UIGestureRecognizer::touchesCancelled(const UITouches&, const std::shared_ptr<UIEvent>&)
{
    setState(UIGestureRecognizerStateCancelled);
}

void UIGestureRecognizer::touchIsOver(const UITouch& touch)
{
    std::erase_if(live_, [&](const auto& each) { return each.get() == &touch; });
    if (!live_.empty())
        return;
    if (isOver() || (!waiting_ && !expectsMoreTouches()))
        startAgain();
}

void UIGestureRecognizer::startAgain()
{
    const bool undecided = state_ == UIGestureRecognizerStatePossible;
    state_ = UIGestureRecognizerStatePossible;
    waiting_.reset();
    sequence_.clear();
    event_ = nullptr;
    reset();
    if (undecided)
        tellWaiters(true);
}

void UIGestureRecognizer::setState(UIGestureRecognizerState next)
{
    if (isOver())
        return;
    if (state_ != UIGestureRecognizerStatePossible) {
        enter(next);
        return;
    }
    if (next == UIGestureRecognizerStateBegan || next == UIGestureRecognizerStateEnded)
        begin(next);
    else if (next == UIGestureRecognizerStateFailed || next == UIGestureRecognizerStateCancelled)
        enter(UIGestureRecognizerStateFailed);
}

void UIGestureRecognizer::begin(UIGestureRecognizerState next)
{
    if (mustWait()) {
        waiting_ = next;
        return;
    }
    if (!mayBegin() || isPrevented()) {
        enter(UIGestureRecognizerStateFailed);
        return;
    }
    preventOthers();
    if (cancelsTouchesInView_)
        takeTouches();
    enter(next);
}

void UIGestureRecognizer::enter(UIGestureRecognizerState next)
{
    const bool first = state_ == UIGestureRecognizerStatePossible;
    state_ = next;
    waiting_.reset();
    if (next != UIGestureRecognizerStateFailed)
        sendActions();
    if (first)
        tellWaiters(next == UIGestureRecognizerStateFailed);
    if (isOver() && live_.empty() && !sequence_.empty())
        startAgain(); // a timer, or another's failing, decided when all fingers had gone
}

bool UIGestureRecognizer::mustWait()
{
    auto required = Recognizers();
    for (const auto& weak : required_)
        if (const auto other = weak.lock())
            required.push_back(other);
    const auto self = sharedFromThis(*this);
    if (const auto delegate = this->delegate())
        for (const auto& other : others())
            if (delegate->shouldRequireFailure(self, other))
                required.push_back(other);
    bool waits = false;
    for (const auto& other : required) {
        const bool undecided = other->state_ == UIGestureRecognizerStatePossible && !other->sequence_.empty();
        if (!undecided)
            continue;
        other->waiters_.push_back(self);
        waits = true;
    }
    return waits;
}

void UIGestureRecognizer::tellWaiters(bool failed)
{
    for (const auto& weak : std::exchange(waiters_, {})) {
        const auto waiter = weak.lock();
        if (!waiter || !waiter->waiting_ || waiter->state_ != UIGestureRecognizerStatePossible)
            continue;
        if (failed)
            waiter->begin(*std::exchange(waiter->waiting_, std::nullopt));
        else
            waiter->enter(UIGestureRecognizerStateFailed);
    }
}

bool UIGestureRecognizer::mayBegin()
{
    const auto delegate = this->delegate();
    if (delegate && !delegate->gestureRecognizerShouldBegin(sharedFromThis(*this)))
        return false;
    const auto touched = sequence_.empty() ? view() : sequence_.front()->view();
    return !touched || touched->gestureRecognizerShouldBegin(*this);
}

UIGestureRecognizer::Recognizers UIGestureRecognizer::others() const
{
    Recognizers found;
    for (const auto& touch : sequence_)
        for (const auto& other : touch->gestureRecognizers())
            if (other.get() != this && std::find(found.begin(), found.end(), other) == found.end())
                found.push_back(other);
    return found;
}

bool UIGestureRecognizer::goesTogetherWith(const std::shared_ptr<UIGestureRecognizer>& other)
{
    const auto self = sharedFromThis(*this);
    const auto mine = delegate(), its = other->delegate();
    return (mine && mine->shouldRecognizeSimultaneously(self, other))
        || (its && its->shouldRecognizeSimultaneously(other, self));
}

bool UIGestureRecognizer::isPrevented()
{
    for (const auto& other : others()) {
        const bool recognised = other->state_ == UIGestureRecognizerStateBegan
            || other->state_ == UIGestureRecognizerStateChanged || other->state_ == UIGestureRecognizerStateEnded;
        if (recognised && other->canPreventGestureRecognizer(*this) && canBePreventedByGestureRecognizer(*other)
            && !goesTogetherWith(other))
            return true;
    }
    return false;
}

void UIGestureRecognizer::preventOthers()
{
    for (const auto& other : others())
        if (other->state_ == UIGestureRecognizerStatePossible && canPreventGestureRecognizer(*other)
            && other->canBePreventedByGestureRecognizer(*this) && !goesTogetherWith(other))
            other->enter(UIGestureRecognizerStateFailed);
}

void UIGestureRecognizer::takeTouches()
{
    for (const auto& touch : live_) {
        const auto view = touch->view();
        if (!std::exchange(touch->reachesView_, false) || !view || touch->phase() == UITouchPhaseBegan)
            continue; // one that begins right now has not reached the view yet
        view->touchesCancelled({ touch }, event_);
    }
}

void UIGestureRecognizer::sendActions()
{
    const auto self = sharedFromThis(*this);
    const auto targets = targets_;
    for (const Target& each : targets) {
        const auto target = each.target.lock();
        if (!target)
            continue;
        const std::array<Value, 1> arguments { box(self) };
        const bool takesOne = each.action.find(':') != std::string::npos;
        target->send(each.action, std::span(arguments).first(takesOne ? 1 : 0));
    }
}

}
