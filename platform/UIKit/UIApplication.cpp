// SPDX-License-Identifier: Apache-2.0
#include "platform/UIKit/UIApplication.h"

#include "platform/Foundation/NSNotificationCenter.h"
#include "platform/Foundation/ProcessState.h"
#include "platform/QuartzCore/CADisplay.h"
#include "platform/UIKit/UIScreen.h"
#include "platform/UIKit/UITraitCollection.h"
#include "platform/UIKit/UIViewControllerTransitionCoordinator.h"
#include "platform/UIKit/UIWindow.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <span>
#include <utility>

namespace velmora {

namespace {

constexpr double tapInterval = 0.35; // seconds from the end of one tap to the begin of the next
constexpr double tapDistance = 45; // points between two taps that count together

std::shared_ptr<UIApplication>& shared()
{
    static auto* application = [] {
        auto* made = new std::shared_ptr<UIApplication>;
        ProcessState::add([made] { std::exchange(*made, nullptr); });
        return made;
    }();
    return *application;
}

UITouchPhase phaseOf(DisplayTouchPhase phase)
{
    switch (phase) {
    case DisplayTouchPhase::Began:
        return UITouchPhaseBegan;
    case DisplayTouchPhase::Moved:
        return UITouchPhaseMoved;
    case DisplayTouchPhase::Ended:
        return UITouchPhaseEnded;
    case DisplayTouchPhase::Cancelled:
        break;
    }
    return UITouchPhaseCancelled;
}

}

std::shared_ptr<UIApplication> UIApplication::sharedApplication()
{
    auto& application = shared();
    if (!application)
        application = make<UIApplication>();
    return application;
}

UIApplication::UIApplication() = default;

UIApplication::~UIApplication()
{
    if (display_)
        display_->setEventHandlers({});
}

const ClassInfo& UIApplication::staticClass()
{
    static constexpr auto methods = methodTable(method<&UIApplication::applicationState>("applicationState"),
        method<&UIApplication::windows>("windows"), method<&UIApplication::keyWindow>("keyWindow"),
        method<&UIApplication::statusBarOrientation>("statusBarOrientation"),
        method<&UIApplication::sendEvent>("sendEvent:"),
        method<&UIApplication::beginIgnoringInteractionEvents>("beginIgnoringInteractionEvents"),
        method<&UIApplication::endIgnoringInteractionEvents>("endIgnoringInteractionEvents"),
        method<&UIApplication::isIgnoringInteractionEvents>("isIgnoringInteractionEvents"),
        method<&UIApplication::sendAction>("sendAction:to:from:forEvent:"));
    static constexpr auto classMethods
        = methodTable(classMethod<&UIApplication::sharedApplication>("sharedApplication"));
    static const ClassInfo info { "Velmora.UIApplication", &UIResponder::staticClass(), methods, classMethods };
    return info;
}

void UIApplication::didConstruct()
{
    UIResponder::didConstruct();
    const auto follow = [this](const char* name, UIApplicationState state) { // the tokens end with the application
        NSNotificationCenter::defaultCenter()
            .addObserver(name, nullptr, [this, state](const NSNotification&) { state_ = state; })
            .storeIn(observations_);
    };
    follow(UIApplicationDidBecomeActiveNotification, UIApplicationStateActive);
    follow(UIApplicationWillResignActiveNotification, UIApplicationStateInactive);
    follow(UIApplicationDidEnterBackgroundNotification, UIApplicationStateBackground);
    follow(UIApplicationWillEnterForegroundNotification, UIApplicationStateInactive);
}

void UIApplication::becomeActive()
{
    if (state_ == UIApplicationStateBackground)
        enterForeground();
    else if (state_ == UIApplicationStateInactive)
        NSNotificationCenter::defaultCenter().postNotificationName(
            UIApplicationDidBecomeActiveNotification, shared_from_this());
}

void UIApplication::resignActive()
{
    if (state_ == UIApplicationStateActive)
        NSNotificationCenter::defaultCenter().postNotificationName(
            UIApplicationWillResignActiveNotification, shared_from_this());
}

void UIApplication::enterBackground()
{
    resignActive();
    if (state_ != UIApplicationStateBackground)
        NSNotificationCenter::defaultCenter().postNotificationName(
            UIApplicationDidEnterBackgroundNotification, shared_from_this());
}

void UIApplication::enterForeground()
{
    if (state_ != UIApplicationStateBackground)
        return;
    NSNotificationCenter::defaultCenter().postNotificationName(
        UIApplicationWillEnterForegroundNotification, shared_from_this());
    becomeActive();
}

std::vector<std::shared_ptr<UIWindow>> UIApplication::windows() const
{
    std::vector<std::shared_ptr<UIWindow>> all;
    for (const auto& weak : windows_)
        if (auto window = weak.lock())
            all.push_back(std::move(window));
    std::stable_sort(
        all.begin(), all.end(), [](const auto& a, const auto& b) { return a->windowLevel() < b->windowLevel(); });
    return all;
}

void UIApplication::addWindow(const std::shared_ptr<UIWindow>& window)
{
    joinDisplay();
    windows_.push_back(window);
}

void UIApplication::removeWindow(const UIWindow& window)
{
    std::erase_if(windows_, [&](const auto& weak) { return weak.expired() || weak.lock().get() == &window; });
}

void UIApplication::joinDisplay()
{
    const auto& display = UIScreen::mainScreen()->display();
    if (!display || display == display_)
        return;
    display_ = display;
    DisplayEvents events;
    const auto weak = weakFromThis(*this);
    const auto withSelf = [weak](auto use) {
        return [weak, use](const auto&... arguments) {
            if (const auto self = weak.lock())
                use(*self, arguments...);
        };
    };
    events.touch = withSelf([](UIApplication& self, const DisplayTouch& touch) { self.handleTouch(touch); });
    events.key = withSelf([](UIApplication& self, const DisplayKey& key) { self.handleKey(key); });
    events.modeChanged = withSelf([](UIApplication& self, const DisplayMode& mode) { self.displayChanged(mode); });
    events.closed = withSelf([](UIApplication& self) {
        if (self.closeHandler_)
            self.closeHandler_();
    });
    display_->setEventHandlers(std::move(events));
}

namespace {

bool isLandscape(UIInterfaceOrientation orientation)
{
    return orientation == UIInterfaceOrientationLandscapeLeft || orientation == UIInterfaceOrientationLandscapeRight;
}

/// From an upright interface, clockwise as it is seen on the display.
double angleOf(UIInterfaceOrientation orientation)
{
    switch (orientation) {
    case UIInterfaceOrientationPortraitUpsideDown:
        return std::numbers::pi;
    case UIInterfaceOrientationLandscapeRight:
        return std::numbers::pi / 2;
    case UIInterfaceOrientationLandscapeLeft:
        return -std::numbers::pi / 2;
    case UIInterfaceOrientationPortrait:
    case UIInterfaceOrientationUnknown:
        break;
    }
    return 0;
}

std::shared_ptr<UIViewController> topmostOf(const std::shared_ptr<UIWindow>& window)
{
    auto controller = window ? window->rootViewController() : nullptr;
    while (controller && controller->presentedViewController()
        && !controller->presentedViewController()->isBeingDismissed())
        controller = controller->presentedViewController();
    return controller;
}

}

/// Another size of the display is no turn of it: the interface stands as it is broad.
void UIApplication::displayChanged(const DisplayMode& mode)
{
    orientation_ = mode.width > mode.height ? UIInterfaceOrientationLandscapeRight : UIInterfaceOrientationPortrait;
    resize(0, UIScreen::mainScreen()->bounds().size, 0);
}

bool UIApplication::turnTo(UIInterfaceOrientation orientation)
{
    constexpr double turnDuration = 0.3; // seconds
    if (orientation == orientation_)
        return true;
    const auto top = topmostOf(keyWindow());
    const auto bit = static_cast<UIInterfaceOrientationMask>(std::uint64_t { 1 } << orientation);
    if (top && (!top->shouldAutorotate() || !contains(top->supportedInterfaceOrientations(), bit)))
        return false;
    orientation_ = orientation;
    CGSize size = UIScreen::mainScreen()->bounds().size;
    if (isLandscape(orientation))
        std::swap(size.width, size.height);
    resize(angleOf(orientation), size, turnDuration);
    return true;
}

void UIApplication::resize(double angle, CGSize size, double duration)
{
    const CGRect screen = UIScreen::mainScreen()->bounds();
    for (const auto& window : windows()) {
        const auto root = window->rootViewController();
        const auto before = root ? root->traitCollection() : nullptr;
        const auto coordinator = make<UIViewControllerTransitionCoordinator>(duration, root, root, window);
        if (root)
            root->viewWillTransitionToSize(size, coordinator);
        const auto place = [&] {
            window->setTransform(angle == 0 ? CGAffineTransformIdentity : CGAffineTransformMakeRotation(angle));
            window->setBounds({ {}, size });
            window->setCenter({ CGRectGetMidX(screen), CGRectGetMidY(screen) });
            window->layoutIfNeeded();
        };
        if (duration > 0) {
            UIView::animateWithDuration(duration, place, [coordinator](bool) { coordinator->end(true); });
            coordinator->begin();
        } else {
            place();
            coordinator->begin();
            coordinator->end(true);
        }
        if (root && !root->traitCollection()->isEqual(before.get()))
            root->tellTraits(before);
    }
}

void UIApplication::updateStatusBar()
{
    auto controller = topmostOf(keyWindow());
    if (!controller)
        return;
    while (const auto child = controller->childViewControllerForStatusBarHidden())
        controller = child;
    const bool hidden = controller->prefersStatusBarHidden();
    if (std::exchange(statusBarHidden_, hidden) != hidden)
        statusBarAnimation_ = controller->preferredStatusBarUpdateAnimation();
}

void UIApplication::endIgnoringInteractionEvents()
{
    ignoring_ = std::max(0, ignoring_ - 1);
}

CGPoint UIApplication::inWindow(const UIWindow& window, CGPoint onDisplay) const
{
    return window.layer()->convertPointFromLayer(onDisplay, display_ ? display_->rootLayer() : nullptr);
}

void UIApplication::handleTouch(const DisplayTouch& from)
{
    const auto found
        = std::find_if(touches_.begin(), touches_.end(), [&](const auto& touch) { return touch->id_ == from.id; });
    if (from.phase == DisplayTouchPhase::Began) {
        if (found != touches_.end()) // its end was lost
            handleTouch({ from.id, DisplayTouchPhase::Cancelled, from.point, from.time });
        beginTouch(from);
        return;
    }
    if (found == touches_.end())
        return;
    const auto touch = *found;
    touch->phase_ = phaseOf(from.phase);
    touch->time_ = from.time;
    touch->previous_ = touch->point_;
    if (const auto window = touch->window())
        touch->point_ = inWindow(*window, from.point);
    send(touch);
    if (touch->phase_ == UITouchPhaseEnded || touch->phase_ == UITouchPhaseCancelled) {
        std::erase(touches_, touch);
        lastTouch_ = touch;
    }
}

void UIApplication::beginTouch(const DisplayTouch& from)
{
    if (isIgnoringInteractionEvents())
        return;
    const auto all = windows();
    for (auto window = all.rbegin(); window != all.rend(); ++window) {
        const CGPoint point = inWindow(**window, from.point);
        if (!(*window)->hitTest(point, nullptr))
            continue;
        auto touch = make<UITouch>();
        touch->id_ = from.id;
        touch->time_ = from.time;
        touch->point_ = touch->previous_ = point;
        touch->beginning_ = point;
        touch->window_ = *window;
        touch->tapCount_ = tapCountOf(*touch);
        touches_.push_back(touch);
        send(touch);
        return;
    }
}

std::int64_t UIApplication::tapCountOf(const UITouch& touch) const
{
    if (!lastTouch_ || lastTouch_->phase_ != UITouchPhaseEnded || lastTouch_->window() != touch.window()
        || touch.time_ - lastTouch_->time_ > tapInterval)
        return 1;
    const CGPoint from = lastTouch_->point_, to = touch.point_;
    return std::hypot(to.x - from.x, to.y - from.y) <= tapDistance ? lastTouch_->tapCount_ + 1 : 1;
}

void UIApplication::send(const std::shared_ptr<UITouch>& changed)
{
    for (const auto& touch : touches_)
        if (touch != changed)
            touch->phase_ = UITouchPhaseStationary;
    const auto keepsAlive = shared_from_this(); // an action may make a fresh application
    sendEvent(make<UIEvent>(UIEventTypeTouches, changed->time_, touches_));
}

void UIApplication::sendEvent(const std::shared_ptr<UIEvent>& event)
{
    for (const auto& window : windows())
        if (!event->touchesForWindow(*window).empty())
            window->sendEvent(event);
}

void UIApplication::handleKey(const DisplayKey& key)
{
    std::shared_ptr<UIResponder> receiver = firstResponder();
    if (!receiver)
        receiver = topmostOf(keyWindow());
    if (!receiver)
        receiver = keyWindow();
    if (!receiver)
        return;
    const bool down = key.phase == DisplayKeyPhase::Pressed;
    const UIPress press { key.name, down ? UIPressPhaseBegan : UIPressPhaseEnded, key.time };
    if (down)
        receiver->pressBegan(press);
    else
        receiver->pressEnded(press);
}

Cancellable UIApplication::addPressHandler(std::function<void(const UIPress&)> handler)
{
    const auto token = ++lastPressHandler_;
    pressHandlers_[token] = std::move(handler);
    return Cancellable([weak = weakFromThis(*this), token] {
        if (const auto self = weak.lock())
            self->pressHandlers_.erase(token);
    });
}

void UIApplication::tellPressHandlers(const UIPress& press)
{
    for (const auto& [token, handler] : std::map(pressHandlers_)) // a handler may add and end others
        if (pressHandlers_.contains(token))
            handler(press);
}

bool UIApplication::sendAction(const std::string& action, const std::shared_ptr<NSObject>& target,
    const std::shared_ptr<NSObject>& sender, const std::shared_ptr<UIEvent>& event)
{
    auto receiver = target;
    if (!receiver) {
        auto responder = std::dynamic_pointer_cast<UIResponder>(sender);
        while (responder && !responder->respondsToSelector(action))
            responder = responder->nextResponder();
        receiver = responder;
    }
    if (!receiver)
        return false;
    const std::array<Value, 2> arguments { box(sender), box(event) };
    const auto taken = static_cast<std::size_t>(std::count(action.begin(), action.end(), ':'));
    receiver->send(action, std::span(arguments).first(std::min(taken, arguments.size())));
    return true;
}

}
