// SPDX-License-Identifier: Apache-2.0
#include "platform/UIKit/UINavigationController.h"

#include "platform/Foundation/NSException.h"
#include "platform/UIKit/UIApplication.h"
#include "platform/UIKit/UIButton.h"
#include "platform/UIKit/UINavigationBar.h"
#include "platform/UIKit/UIScreen.h"
#include "platform/UIKit/UIViewControllerTransitionCoordinator.h"

#include <algorithm>
#include <utility>

namespace velmora {

namespace {

constexpr double duration = 0.35, barDuration = 0.2; // seconds
constexpr double parallax = 0.3; // of the width that the lower controller moves
constexpr auto slide = static_cast<UIViewAnimationOptions>(0x70000);

/// Holds the views of the controllers. One that others have placed is put right by the next layout.
class ContentView final : public UIView {
public:
    using UIView::UIView;
    void subviewDidMove(const UIView&) override
    {
        if (const auto above = superview())
            above->setNeedsLayout();
    }
};

}

UINavigationController::UINavigationController(const std::shared_ptr<UIViewController>& root)
    : stack_(root ? 1 : 0, root)
{
}

UINavigationController::UINavigationController(const NSCoder& coder)
    : UIViewController(coder)
{
}

const ClassInfo& UINavigationController::staticClass()
{
    static constexpr auto methods = methodTable(method<&UINavigationController::viewControllers>("viewControllers"),
        method<&UINavigationController::setViewControllers>("setViewControllers:animated:"),
        method<&UINavigationController::topViewController>("topViewController"),
        method<&UINavigationController::visibleViewController>("visibleViewController"),
        method<&UINavigationController::pushViewController>("pushViewController:animated:"),
        method<&UINavigationController::popViewControllerAnimated>("popViewControllerAnimated:"),
        method<&UINavigationController::popToRootViewControllerAnimated>("popToRootViewControllerAnimated:"),
        method<&UINavigationController::navigationBar>("navigationBar"),
        method<&UINavigationController::isNavigationBarHidden>("isNavigationBarHidden"),
        method<&UINavigationController::setNavigationBarHidden>("setNavigationBarHidden:animated:"),
        method<&UINavigationController::delegate>("delegate"),
        method<&UINavigationController::setDelegate>("setDelegate:"),
        method<&UINavigationController::goBack>("_goBack"));
    static constexpr auto classMethods = methodTable(initialiser<UINavigationController>("init"),
        initialiser<UINavigationController, std::shared_ptr<UIViewController>>("initWithRootViewController:"),
        initialiser<UINavigationController, const NSCoder&>("initWithCoder:"));
    static const ClassInfo info { "Velmora.UINavigationController", &UIViewController::staticClass(), methods,
        classMethods };
    return info;
}

void UINavigationController::didConstruct()
{
    UIViewController::didConstruct();
    setManagesAppearance(true);
    const auto controllers = std::exchange(stack_, {});
    if (!controllers.empty())
        setViewControllers(controllers, false);
}

std::shared_ptr<UIViewController> UINavigationController::topViewController() const
{
    return stack_.empty() ? nullptr : stack_.back();
}

std::shared_ptr<UIViewController> UINavigationController::visibleViewController() const
{
    if (auto presented = presentedViewController())
        return presented;
    return topViewController();
}

void UINavigationController::setViewControllers(
    const std::vector<std::shared_ptr<UIViewController>>& controllers, bool animated)
{
    const auto before = topViewController();
    const auto old = std::exchange(stack_, controllers);
    for (const auto& controller : controllers)
        addChildViewController(controller);
    for (const auto& controller : old)
        if (std::find(controllers.begin(), controllers.end(), controller) == controllers.end()) {
            controller->willMoveToParentViewController(nullptr);
            if (controller != before)
                controller->removeFromParentViewController();
        }
    const bool isBack = std::find(old.begin(), old.end(), topViewController()) != old.end();
    stackChanged(before, animated, !isBack);
}

void UINavigationController::pushViewController(const std::shared_ptr<UIViewController>& controller, bool animated)
{
    if (!controller || std::find(stack_.begin(), stack_.end(), controller) != stack_.end())
        throw NSException(NSInvalidArgumentException, "A controller is pushed once, and there must be one");
    auto controllers = stack_;
    controllers.push_back(controller);
    setViewControllers(controllers, animated);
}

std::shared_ptr<UIViewController> UINavigationController::popViewControllerAnimated(bool animated)
{
    if (stack_.size() < 2)
        return nullptr;
    auto gone = stack_.back();
    setViewControllers({ stack_.begin(), stack_.end() - 1 }, animated);
    return gone;
}

void UINavigationController::popToRootViewControllerAnimated(bool animated)
{
    if (stack_.size() > 1)
        setViewControllers({ stack_.front() }, animated);
}

void UINavigationController::goBack()
{
    popViewControllerAnimated(true);
}

const std::shared_ptr<UINavigationBar>& UINavigationController::navigationBar()
{
    if (bar_)
        return bar_;
    bar_ = make<UINavigationBar>();
    bar_->backButton()->addTarget(weakFromThis(*this), "_goBack", UIControlEventTouchUpInside);
    return bar_;
}

void UINavigationController::setNavigationBarHidden(bool hidden, bool animated)
{
    barHidden_ = hidden;
    if (!isViewLoaded())
        return;
    if (animated && isOnScreen())
        UIView::animateWithDuration(barDuration, [this] { layOut(); });
    else
        layOut();
}

void UINavigationController::loadView()
{
    const auto root = make<UIView>(UIScreen::mainScreen()->bounds());
    root->setAutoresizingMask(UIViewAutoresizingFlexibleWidth | UIViewAutoresizingFlexibleHeight);
    content_ = make<ContentView>(root->bounds());
    content_->setClipsToBounds(true);
    content_->setAutoresizingMask(UIViewAutoresizingFlexibleWidth | UIViewAutoresizingFlexibleHeight);
    root->addSubview(content_);
    root->addSubview(navigationBar());
    setView(root);
}

void UINavigationController::viewDidLayoutSubviews()
{
    UIViewController::viewDidLayoutSubviews();
    layOut();
}

/// The bar below what the screen covers; controllers reach up under it and know by their safe area.
void UINavigationController::layOut()
{
    const CGRect bounds = view()->bounds();
    const double top = view()->safeAreaInsets().top, height = bar_->barHeight();
    bar_->setAlpha(barHidden_ ? 0 : 1);
    bar_->setFrame(CGRectMake(0, barHidden_ ? -height : top, bounds.size.width, height));
    bar_->setNeedsLayout(); // what lies above it may have changed
    for (const auto& controller : stack_)
        controller->setAdditionalSafeAreaInsets({ barHidden_ ? 0 : height, 0, 0, 0 });
    if (shown_ && shown_->view()->superview() == content_ && CGAffineTransformIsIdentity(shown_->view()->transform()))
        settleShown();
}

/// While it moves, it is brought to its place along with the transition, not at once.
void UINavigationController::settleShown()
{
    const auto shown = shown_->view();
    const CGRect place = content_->bounds();
    if (shown->frame() == place)
        return;
    const auto coordinator = transitionCoordinator();
    const bool moves = shown->layer()->presentationLayer()->position() != shown->center();
    if (coordinator && moves)
        UIView::animateWithDuration(coordinator->transitionDuration(), 0,
            slide | UIViewAnimationOptionBeginFromCurrentState, [&] { shown->setFrame(place); });
    else
        shown->setFrame(place);
}

void UINavigationController::updateBar()
{
    const auto top = topViewController();
    navigationBar()->setTitle(top ? top->title() : std::nullopt);
    bar_->backButton()->setHidden(stack_.size() < 2);
}

std::vector<std::shared_ptr<UIViewController>> UINavigationController::childrenThatAppear() const
{
    return shown_ ? std::vector { shown_ } : std::vector<std::shared_ptr<UIViewController>> {};
}

UIInterfaceOrientationMask UINavigationController::supportedInterfaceOrientations()
{
    const auto top = topViewController();
    return top ? top->supportedInterfaceOrientations() : UIViewController::supportedInterfaceOrientations();
}

void UINavigationController::viewWillAppear(bool animated)
{
    UIViewController::viewWillAppear(animated);
    show();
    announces_ = true;
    if (const auto delegate = this->delegate(); delegate && shown_)
        delegate->willShowViewController(sharedFromThis(*this), shown_, animated);
}

void UINavigationController::viewDidAppear(bool animated)
{
    UIViewController::viewDidAppear(animated);
    if (const auto delegate = this->delegate(); delegate && shown_ && std::exchange(announces_, false))
        delegate->didShowViewController(sharedFromThis(*this), shown_, animated);
}

/// Puts the top controller's view where it belongs, while nobody looks.
void UINavigationController::show()
{
    updateBar();
    const auto top = topViewController();
    if (shown_ != top && shown_ && shown_->isViewLoaded())
        shown_->view()->removeFromSuperview();
    shown_ = top;
    if (!top)
        return;
    const auto topView = top->view();
    topView->setFrame(content_->bounds());
    topView->setAutoresizingMask(UIViewAutoresizingFlexibleWidth | UIViewAutoresizingFlexibleHeight);
    content_->addSubview(topView);
    layOut();
}

void UINavigationController::stackChanged(const std::shared_ptr<UIViewController>& before, bool animated, bool forwards)
{
    updateBar();
    const auto top = topViewController();
    const auto settle = [&] {
        if (before && before != top && std::find(stack_.begin(), stack_.end(), before) == stack_.end())
            before->removeFromParentViewController();
        if (top && top != before)
            top->didMoveToParentViewController(sharedFromThis(*this));
    };
    if (top == before)
        return;
    if (!isOnScreen()) {
        if (shown_ && shown_->isViewLoaded())
            shown_->view()->removeFromSuperview();
        shown_ = nullptr;
        settle();
        return;
    }
    move(before, animated && top && before, forwards);
}

void UINavigationController::move(const std::shared_ptr<UIViewController>& from, bool animated, bool forwards)
{
    const auto top = topViewController();
    const auto self = sharedFromThis(*this);
    if (moving_) // one that is still under way ends where it was going
        arrived(movingFrom_.lock(), true);
    shown_ = top;
    movingFrom_ = from;
    if (animated) {
        moving_ = make<UIViewControllerTransitionCoordinator>(duration, from, top, content_, slide);
        setTransitionCoordinator(moving_);
    }
    if (const auto delegate = this->delegate(); delegate && top)
        delegate->willShowViewController(self, top, animated);
    if (from)
        from->beginAppearanceTransition(false, animated);
    const CGRect place = content_->bounds();
    if (top) {
        const auto topView = top->view();
        topView->setAutoresizingMask(UIViewAutoresizingFlexibleWidth | UIViewAutoresizingFlexibleHeight);
        top->beginAppearanceTransition(true, animated);
        topView->setFrame(place);
        content_->insertSubview(topView, forwards ? content_->subviews().size() : 0);
        layOut();
        topView->layoutIfNeeded();
    }
    if (animated)
        slideIn(top->view(), from, forwards);
    else
        arrived(from, false);
}

/// Views are moved by their transforms: what lays them out meanwhile moves them as well.
void UINavigationController::slideIn(
    const std::shared_ptr<UIView>& view, const std::shared_ptr<UIViewController>& from, bool forwards)
{
    const double width = content_->bounds().size.width, before = forwards ? width : -parallax * width,
                 after = forwards ? -parallax * width : width;
    view->setTransform(CGAffineTransformMakeTranslation(before, 0));
    UIView::animateWithDuration(
        duration, 0, slide,
        [&] {
            view->setTransform(CGAffineTransformIdentity);
            from->view()->setTransform(CGAffineTransformMakeTranslation(after, 0));
        },
        [self = sharedFromThis(*this), moving = moving_, from](bool) {
            if (self->moving_ == moving) // no later one ended it
                self->arrived(from, true);
        });
    moving_->begin();
    this->view()->layoutIfNeeded(); // where others placed the view along with it
}

void UINavigationController::arrived(const std::shared_ptr<UIViewController>& from, bool animated)
{
    const auto self = sharedFromThis(*this);
    const auto coordinator = std::exchange(moving_, nullptr);
    setTransitionCoordinator(nullptr);
    if (from && from != shown_) {
        from->view()->removeFromSuperview();
        from->view()->setTransform(CGAffineTransformIdentity);
        from->endAppearanceTransition();
        if (std::find(stack_.begin(), stack_.end(), from) == stack_.end())
            from->removeFromParentViewController();
    }
    if (shown_) {
        shown_->endAppearanceTransition();
        shown_->didMoveToParentViewController(self);
    }
    if (coordinator)
        coordinator->end(true);
    UIApplication::sharedApplication()->updateStatusBar();
    if (const auto delegate = this->delegate(); delegate && shown_)
        delegate->didShowViewController(self, shown_, animated);
}

}
