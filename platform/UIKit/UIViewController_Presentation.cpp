// SPDX-License-Identifier: Apache-2.0
#include "platform/UIKit/UIViewController.h"

#include "platform/Foundation/NSLog.h"
#include "platform/UIKit/UIApplication.h"
#include "platform/UIKit/UIViewControllerTransitionCoordinator.h"
#include "platform/UIKit/UIWindow.h"

#include <algorithm>
#include <utility>

namespace velmora {

namespace {

constexpr double defaultDuration = 0.4; // seconds
constexpr auto curve = static_cast<UIViewAnimationOptions>(0x70000); // what people know of such transitions

/// Slides up from below, and down again.
class DefaultAnimator final : public UIViewControllerAnimatedTransitioning {
public:
    explicit DefaultAnimator(bool presents)
        : presents_(presents)
    {
    }
    double transitionDuration(const std::shared_ptr<UIViewControllerContextTransitioning>&) override
    {
        return defaultDuration;
    }
    void animateTransition(const std::shared_ptr<UIViewControllerContextTransitioning>& context) override
    {
        const auto container = context->containerView();
        const auto from = context->viewForKey(UITransitionContextFromViewKey),
                   to = context->viewForKey(UITransitionContextToViewKey);
        const CGRect place = container->bounds(), below = CGRectOffset(place, 0, place.size.height);
        const auto moving = presents_ ? to : from;
        if (!presents_ && context->presentationStyle() != UIModalPresentationOverFullScreen) {
            container->insertSubview(to, 0);
            to->setFrame(place);
        }
        container->addSubview(moving);
        moving->setFrame(presents_ ? below : place);
        UIView::animateWithDuration(
            defaultDuration, 0, curve, [&] { moving->setFrame(presents_ ? place : below); },
            [context](bool) { context->completeTransition(!context->transitionWasCancelled()); });
    }

private:
    const bool presents_;
};

}

/// One controller over another, from its coming to its going; the context of both transitions.
class UIViewController::Presentation final : public UIViewControllerContextTransitioning,
                                             public std::enable_shared_from_this<Presentation> {
public:
    Presentation(std::shared_ptr<UIViewController> presenter, std::shared_ptr<UIViewController> presented)
        : presenter_(presenter)
        , presented_(std::move(presented))
        , style_(presented_->presentationStyle_)
    {
    }

    void present(const std::shared_ptr<UIViewController>& source, bool animated, std::function<void()> completion);
    void dismiss(bool animated, std::function<void()> completion);
    const std::shared_ptr<UIViewController>& presented() const { return presented_; }
    std::shared_ptr<UIViewController> presenter() const { return presenter_.lock(); }
    bool comes() const { return stage_ == Stage::Coming; }
    bool goes() const { return stage_ == Stage::Going; }

    std::shared_ptr<UIView> containerView() const override { return container_; }
    std::shared_ptr<UIViewController> viewControllerForKey(const std::string& key) const override;
    std::shared_ptr<UIView> viewForKey(const std::string& key) const override;
    bool isAnimated() const override { return animator_ != nullptr; }
    UIModalPresentationStyle presentationStyle() const override { return style_; }
    CGRect initialFrameForViewController(const std::shared_ptr<UIViewController>& controller) const override;
    CGRect finalFrameForViewController(const std::shared_ptr<UIViewController>& controller) const override;
    void completeTransition(bool didComplete) override;

private:
    enum class Stage { Coming, There, Going, Gone };
    void start(std::shared_ptr<UIViewControllerAnimatedTransitioning> animator, std::function<void()> completion);
    void placeWithoutAnimation();
    void settle(Stage stage);
    void putPresenterBack();
    bool coversPresenter() const { return style_ != UIModalPresentationOverFullScreen; }
    std::shared_ptr<UIViewController> from() const { return goes() ? presented_ : presenter(); }
    std::shared_ptr<UIViewController> to() const { return goes() ? presenter() : presented_; }

    const std::weak_ptr<UIViewController> presenter_; // it holds this
    const std::shared_ptr<UIViewController> presented_;
    const UIModalPresentationStyle style_;
    Stage stage_ = Stage::Coming;
    bool running_ = false;
    std::shared_ptr<UIView> container_;
    std::weak_ptr<UIView> presenterSuperview_;
    std::shared_ptr<UIViewControllerAnimatedTransitioning> animator_;
    std::shared_ptr<UIViewControllerTransitionCoordinator> coordinator_;
    std::function<void()> completion_;
};

void UIViewController::Presentation::present(
    const std::shared_ptr<UIViewController>& source, bool animated, std::function<void()> completion)
{
    const auto presenter = this->presenter();
    const auto host = presenter->view()->superview() ? presenter->view()->superview() : presenter->view()->window();
    presenterSuperview_ = host;
    container_ = make<UIView>(host->bounds());
    container_->setAutoresizingMask(UIViewAutoresizingFlexibleWidth | UIViewAutoresizingFlexibleHeight);
    host->addSubview(container_);
    const auto& view = presented_->view();
    if (view->autoresizingMask() == UIViewAutoresizingNone)
        view->setAutoresizingMask(UIViewAutoresizingFlexibleWidth | UIViewAutoresizingFlexibleHeight);

    std::shared_ptr<UIViewControllerAnimatedTransitioning> animator;
    if (animated) {
        if (const auto delegate = presented_->transitioningDelegate())
            animator = delegate->animationControllerForPresentedController(presented_, presenter, source);
        if (!animator)
            animator = std::make_shared<DefaultAnimator>(true);
    }
    start(std::move(animator), std::move(completion));
}

void UIViewController::Presentation::dismiss(bool animated, std::function<void()> completion)
{
    stage_ = Stage::Going;
    std::shared_ptr<UIViewControllerAnimatedTransitioning> animator;
    if (animated) {
        if (const auto delegate = presented_->transitioningDelegate())
            animator = delegate->animationControllerForDismissedController(presented_);
        if (!animator)
            animator = std::make_shared<DefaultAnimator>(false);
    }
    start(std::move(animator), std::move(completion));
}

void UIViewController::Presentation::start(
    std::shared_ptr<UIViewControllerAnimatedTransitioning> animator, std::function<void()> completion)
{
    const auto self = shared_from_this();
    const auto presenter = this->presenter();
    running_ = true;
    animator_ = std::move(animator);
    completion_ = std::move(completion);
    const bool animated = animator_ != nullptr;
    if (animated) {
        coordinator_ = make<UIViewControllerTransitionCoordinator>(
            animator_->transitionDuration(self), from(), to(), container_, curve);
        presenter->setTransitionCoordinator(coordinator_);
        presented_->setTransitionCoordinator(coordinator_);
    }
    if (coversPresenter() || goes())
        from()->beginAppearanceTransition(false, animated);
    if (coversPresenter() || !goes())
        to()->beginAppearanceTransition(true, animated);
    UIApplication::sharedApplication()->updateStatusBar();

    const auto moving = coordinator_; // an animator may end at once
    if (animated)
        animator_->animateTransition(self);
    else
        placeWithoutAnimation();
    if (moving && running_)
        moving->begin();
}

void UIViewController::Presentation::placeWithoutAnimation()
{
    if (!goes()) {
        container_->addSubview(presented_->view());
        presented_->view()->setFrame(container_->bounds());
    }
    completeTransition(true);
}

std::shared_ptr<UIViewController> UIViewController::Presentation::viewControllerForKey(const std::string& key) const
{
    if (key == UITransitionContextFromViewControllerKey)
        return from();
    return key == UITransitionContextToViewControllerKey ? to() : nullptr;
}

std::shared_ptr<UIView> UIViewController::Presentation::viewForKey(const std::string& key) const
{
    const auto controller = key == UITransitionContextFromViewKey ? from()
        : key == UITransitionContextToViewKey                     ? to()
                                                                  : nullptr;
    return controller ? controller->view() : nullptr;
}

CGRect UIViewController::Presentation::initialFrameForViewController(
    const std::shared_ptr<UIViewController>& controller) const
{
    return controller && controller == from() ? container_->bounds() : CGRectZero;
}

CGRect UIViewController::Presentation::finalFrameForViewController(
    const std::shared_ptr<UIViewController>& controller) const
{
    return controller && (controller == to() || !coversPresenter()) ? container_->bounds() : CGRectZero;
}

void UIViewController::Presentation::completeTransition(bool didComplete)
{
    if (!std::exchange(running_, false))
        return;
    const auto self = shared_from_this(); // the presenter lets go of it
    const auto presenter = this->presenter();
    const auto goer = from(), comer = to();
    const bool there = goes() ? !didComplete : didComplete;
    if (!didComplete) { // everything back
        if (coversPresenter() || !goes())
            comer->beginAppearanceTransition(false, false);
        if (coversPresenter() || goes())
            goer->beginAppearanceTransition(true, false);
    }
    if (there) {
        if (presented_->view()->superview() != container_)
            container_->addSubview(presented_->view());
        if (coversPresenter())
            presenter->view()->removeFromSuperview();
    } else {
        putPresenterBack();
        presented_->view()->removeFromSuperview();
        container_->removeFromSuperview();
    }
    settle(there ? Stage::There : Stage::Gone);

    const auto animator = std::exchange(animator_, nullptr);
    const auto coordinator = std::exchange(coordinator_, nullptr);
    presenter->setTransitionCoordinator(nullptr);
    presented_->setTransitionCoordinator(nullptr);
    goer->endAppearanceTransition();
    comer->endAppearanceTransition();
    if (animator)
        animator->animationEnded(didComplete);
    if (coordinator)
        coordinator->end(didComplete);
    UIApplication::sharedApplication()->updateStatusBar();
    if (const auto completion = std::exchange(completion_, nullptr))
        completion();
}

void UIViewController::Presentation::settle(Stage stage)
{
    stage_ = stage;
    if (stage != Stage::Gone)
        return;
    presented_->presentedBy_.reset();
    presenter()->presentation_ = nullptr;
}

/// Beneath the container, where it was.
void UIViewController::Presentation::putPresenterBack()
{
    const auto host = presenterSuperview_.lock();
    const auto view = presenter()->view();
    if (!host || view->superview() == host)
        return;
    host->insertSubviewBelow(view, container_);
    view->setFrame(host->bounds());
}

std::shared_ptr<UIViewController> UIViewController::presenterFor(UIModalPresentationStyle style)
{
    auto presenter = sharedFromThis(*this);
    while (const auto parent = presenter->parentViewController()) {
        if (style == UIModalPresentationCurrentContext && presenter->definesContext_)
            break;
        presenter = parent;
    }
    return presenter;
}

void UIViewController::presentViewController(
    const std::shared_ptr<UIViewController>& controller, bool animated, std::function<void()> completion)
{
    if (!controller)
        return;
    const auto presenter = presenterFor(controller->presentationStyle_);
    if (presenter->presentation_ || controller->presentedBy_.lock()) {
        NSLog("[UIViewController] %@ cannot present %@: one of them is in a presentation already.", presenter,
            controller);
        return;
    }
    if (!presenter->view()->window()) {
        NSLog("[UIViewController] %@ cannot present %@: its view is in no window.", presenter, controller);
        return;
    }
    const auto presentation = std::make_shared<Presentation>(presenter, controller);
    presenter->presentation_ = presentation;
    controller->presentedBy_ = presentation;
    presentation->present(sharedFromThis(*this), animated, std::move(completion));
}

void UIViewController::dismissViewControllerAnimated(bool animated, std::function<void()> completion)
{
    std::shared_ptr<Presentation> presentation;
    for (auto each = sharedFromThis(*this); each && !presentation; each = each->parentViewController())
        presentation = each->presentation_;
    for (auto each = sharedFromThis(*this); each && !presentation; each = each->parentViewController())
        presentation = each->presentedBy_.lock();
    if (!presentation || presentation->goes())
        return;
    presentation->completeTransition(true); // one that is still coming is there now
    if (presentation->presented()->presentation_)
        presentation->presented()->dismissViewControllerAnimated(false);
    presentation->dismiss(animated, std::move(completion));
}

std::shared_ptr<UIViewController> UIViewController::presentedViewController() const
{
    if (presentation_)
        return presentation_->presented();
    const auto parent = parentViewController();
    return parent ? parent->presentedViewController() : nullptr;
}

std::shared_ptr<UIViewController> UIViewController::presentingViewController() const
{
    if (const auto presentation = presentedBy_.lock())
        return presentation->presenter();
    const auto parent = parentViewController();
    return parent ? parent->presentingViewController() : nullptr;
}

bool UIViewController::isBeingPresented() const
{
    const auto presentation = presentedBy_.lock();
    return presentation && presentation->comes();
}

bool UIViewController::isBeingDismissed() const
{
    const auto presentation = presentedBy_.lock();
    return presentation && presentation->goes();
}

}
