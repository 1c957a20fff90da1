// SPDX-License-Identifier: Apache-2.0
#include "platform/UIKit/UIWindow.h"

#include "platform/QuartzCore/CADisplay.h"
#include "platform/UIKit/UIApplication.h"
#include "platform/UIKit/UIGestureRecognizer.h"
#include "platform/UIKit/UIScreen.h"
#include "platform/UIKit/UIViewController.h"

#include <algorithm>

namespace velmora {

UIWindow::UIWindow()
    : UIWindow(UIScreen::mainScreen()->bounds())
{
}

UIWindow::UIWindow(CGRect frame)
    : UIView(frame)
    , screen_(UIScreen::mainScreen())
{
}

UIWindow::~UIWindow()
{
    layer()->removeFromSuperlayer();
}

const ClassInfo& UIWindow::staticClass()
{
    static constexpr auto methods = methodTable(method<&UIWindow::screen>("screen"),
        method<&UIWindow::windowLevel>("windowLevel"), method<&UIWindow::setWindowLevel>("setWindowLevel:"),
        method<&UIWindow::makeKeyAndVisible>("makeKeyAndVisible"), method<&UIWindow::makeKeyWindow>("makeKeyWindow"),
        method<&UIWindow::isKeyWindow>("isKeyWindow"), method<&UIWindow::sendEvent>("sendEvent:"));
    static constexpr auto classMethods
        = methodTable(initialiser<UIWindow>("init"), initialiser<UIWindow, CGRect>("initWithFrame:"));
    static const ClassInfo info { "Velmora.UIWindow", &UIView::staticClass(), methods, classMethods };
    return info;
}

void UIWindow::didConstruct()
{
    UIView::didConstruct();
    UIView::setHidden(true);
}

std::shared_ptr<UIWindow> UIWindow::window() const
{
    return sharedFromThis(const_cast<UIWindow&>(*this)); // handed out as views hand out each other
}

std::shared_ptr<UIResponder> UIWindow::nextResponder() const
{
    return UIApplication::sharedApplication();
}

void UIWindow::makeKeyAndVisible()
{
    setHidden(false);
    makeKeyWindow();
}

void UIWindow::makeKeyWindow()
{
    UIApplication::sharedApplication()->setKeyWindow(sharedFromThis(*this));
    UIApplication::sharedApplication()->updateStatusBar();
}

bool UIWindow::isKeyWindow() const
{
    return UIApplication::sharedApplication()->keyWindow().get() == this;
}

void UIWindow::setHidden(bool hidden)
{
    const auto application = UIApplication::sharedApplication();
    UIView::setHidden(hidden);
    application->removeWindow(*this);
    layer()->removeFromSuperlayer();
    if (hidden) {
        if (root_)
            showRoot(false);
        return;
    }
    application->addWindow(sharedFromThis(*this));
    if (const auto& display = screen_->display())
        display->rootLayer()->addSublayer(layer());
    if (root_)
        showRoot(true);
}

void UIWindow::setScreenInsets(UIEdgeInsets insets)
{
    screenInsets_ = insets;
    updateSafeArea();
}

void UIWindow::setRootViewController(const std::shared_ptr<UIViewController>& controller)
{
    if (root_ == controller)
        return;
    if (root_) {
        showRoot(false);
        root_->view()->removeFromSuperview();
    }
    root_ = controller;
    if (root_ && !isHidden())
        showRoot(true);
}

void UIWindow::showRoot(bool visible)
{
    root_->beginAppearanceTransition(visible, false);
    if (visible) {
        const auto view = root_->view();
        view->setAutoresizingMask(UIViewAutoresizingFlexibleWidth | UIViewAutoresizingFlexibleHeight);
        view->setFrame(bounds());
        insertSubview(view, 0);
        layoutIfNeeded();
    }
    root_->endAppearanceTransition();
    UIApplication::sharedApplication()->updateStatusBar();
}

void UIWindow::sendEvent(const std::shared_ptr<UIEvent>& event)
{
    const UITouches touches = event->touchesForWindow(*this);
    for (const auto phase : { UITouchPhaseBegan, UITouchPhaseMoved, UITouchPhaseEnded, UITouchPhaseCancelled }) {
        UITouches changed;
        std::copy_if(touches.begin(), touches.end(), std::back_inserter(changed),
            [phase](const auto& touch) { return touch->phase() == phase; });
        if (changed.empty())
            continue;
        if (phase == UITouchPhaseBegan)
            for (const auto& touch : changed)
                begin(touch, *event);
        tellRecognizers(phase, changed, event);
        tellViews(phase, changed, event);
        if (phase == UITouchPhaseBegan || phase == UITouchPhaseMoved)
            continue;
        for (const auto& touch : changed)
            for (const auto& recognizer : touch->gestureRecognizers())
                recognizer->touchIsOver(*touch);
    }
}

/// Finds who is to hear of the touch: its view, and the recognisers from there outwards.
void UIWindow::begin(const std::shared_ptr<UITouch>& touch, const UIEvent& event) const
{
    auto self = std::const_pointer_cast<UIWindow>(std::static_pointer_cast<const UIWindow>(shared_from_this()));
    const auto view = self->hitTest(touch->locationInView(nullptr), &event);
    if (!view)
        return;
    touch->view_ = view;
    if (!view->acceptsTouches())
        return;
    for (auto each = view; each; each = each->superview())
        for (const auto& recognizer : each->gestureRecognizers())
            if (recognizer->wants(touch))
                touch->recognizers_.push_back(recognizer);
    const UITouches here = event.touchesForView(*view);
    const bool another = std::any_of(
        here.begin(), here.end(), [&](const auto& other) { return other != touch && other->reachesView_; });
    touch->reachesView_ = view->isMultipleTouchEnabled() || !another;
}

void UIWindow::tellRecognizers(UITouchPhase phase, const UITouches& touches, const std::shared_ptr<UIEvent>& event)
{
    std::vector<std::shared_ptr<UIGestureRecognizer>> all;
    for (const auto& touch : touches)
        for (const auto& recognizer : touch->gestureRecognizers())
            if (std::find(all.begin(), all.end(), recognizer) == all.end())
                all.push_back(recognizer);
    for (const auto& recognizer : all) {
        UITouches its;
        std::copy_if(touches.begin(), touches.end(), std::back_inserter(its), [&](const auto& touch) {
            const auto wanted = touch->gestureRecognizers();
            return std::find(wanted.begin(), wanted.end(), recognizer) != wanted.end();
        });
        recognizer->deliver(phase, its, event);
    }
}

void UIWindow::tellViews(UITouchPhase phase, const UITouches& touches, const std::shared_ptr<UIEvent>& event)
{
    UITouches left;
    std::copy_if(touches.begin(), touches.end(), std::back_inserter(left),
        [](const auto& touch) { return touch->reachesView_ && touch->view(); });
    while (!left.empty()) {
        const auto view = left.front()->view();
        UITouches its;
        std::copy_if(left.begin(), left.end(), std::back_inserter(its),
            [&](const auto& touch) { return touch->view() == view; });
        std::erase_if(left, [&](const auto& touch) { return touch->view() == view; });
        switch (phase) {
        case UITouchPhaseBegan:
            view->touchesBegan(its, event);
            break;
        case UITouchPhaseMoved:
            view->touchesMoved(its, event);
            break;
        case UITouchPhaseEnded:
            view->touchesEnded(its, event);
            break;
        case UITouchPhaseCancelled:
            view->touchesCancelled(its, event);
            break;
        case UITouchPhaseStationary:
            break;
        }
    }
}

}
