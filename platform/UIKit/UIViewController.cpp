// SPDX-License-Identifier: Apache-2.0
#include "platform/UIKit/UIViewController.h"

#include "platform/Foundation/NSBundle.h"
#include "platform/Foundation/NSException.h"
#include "platform/UIKit/InterfaceValues.h"
#include "platform/UIKit/UIApplication.h"
#include "platform/UIKit/UINavigationController.h"
#include "platform/UIKit/UINib.h"
#include "platform/UIKit/UIScreen.h"
#include "platform/UIKit/UITraitCollection.h"
#include "platform/UIKit/UIViewControllerTransitionCoordinator.h"
#include "platform/UIKit/UIWindow.h"

#include <algorithm>
#include <utility>

namespace velmora {

UIViewController::UIViewController(const std::optional<std::string>& nibName, const std::shared_ptr<NSBundle>& bundle)
    : nibName_(nibName)
    , nibBundle_(bundle)
{
}

UIViewController::UIViewController(const NSCoder& coder)
    : nibName_(decodedText(coder, "nibName"))
    , title_(decodedText(coder, "title"))
{
}

UIViewController::~UIViewController()
{
    if (view_)
        view_->setViewController({});
}

const ClassInfo& UIViewController::staticClass()
{
    static constexpr auto methods = methodTable(method<&UIViewController::view>("view"),
        method<&UIViewController::setView>("setView:"), method<&UIViewController::viewIfLoaded>("viewIfLoaded"),
        method<&UIViewController::isViewLoaded>("isViewLoaded"),
        method<&UIViewController::loadViewIfNeeded>("loadViewIfNeeded"), method<&UIViewController::nibName>("nibName"),
        method<&UIViewController::title>("title"), method<&UIViewController::setTitle>("setTitle:"),
        method<&UIViewController::loadView>("loadView"), method<&UIViewController::viewDidLoad>("viewDidLoad"),
        method<&UIViewController::awakeFromNib>("awakeFromNib"),
        method<&UIViewController::viewWillAppear>("viewWillAppear:"),
        method<&UIViewController::viewDidAppear>("viewDidAppear:"),
        method<&UIViewController::viewWillDisappear>("viewWillDisappear:"),
        method<&UIViewController::viewDidDisappear>("viewDidDisappear:"),
        method<&UIViewController::viewWillLayoutSubviews>("viewWillLayoutSubviews"),
        method<&UIViewController::viewDidLayoutSubviews>("viewDidLayoutSubviews"),
        method<&UIViewController::viewSafeAreaInsetsDidChange>("viewSafeAreaInsetsDidChange"),
        method<&UIViewController::parentViewController>("parentViewController"),
        method<&UIViewController::childViewControllers>("childViewControllers"),
        method<&UIViewController::addChildViewController>("addChildViewController:"),
        method<&UIViewController::removeFromParentViewController>("removeFromParentViewController"),
        method<&UIViewController::willMoveToParentViewController>("willMoveToParentViewController:"),
        method<&UIViewController::didMoveToParentViewController>("didMoveToParentViewController:"),
        method<&UIViewController::beginAppearanceTransition>("beginAppearanceTransition:animated:"),
        method<&UIViewController::endAppearanceTransition>("endAppearanceTransition"),
        method<&UIViewController::navigationController>("navigationController"),
        method<&UIViewController::prefersStatusBarHidden>("prefersStatusBarHidden"),
        method<&UIViewController::preferredStatusBarUpdateAnimation>("preferredStatusBarUpdateAnimation"),
        method<&UIViewController::childViewControllerForStatusBarHidden>("childViewControllerForStatusBarHidden"),
        method<&UIViewController::setNeedsStatusBarAppearanceUpdate>("setNeedsStatusBarAppearanceUpdate"),
        method<&UIViewController::shouldAutorotate>("shouldAutorotate"),
        method<&UIViewController::supportedInterfaceOrientations>("supportedInterfaceOrientations"),
        method<&UIViewController::interfaceOrientation>("interfaceOrientation"),
        method<&UIViewController::viewWillTransitionToSize>("viewWillTransitionToSize:withTransitionCoordinator:"),
        method<&UIViewController::traitCollection>("traitCollection"),
        method<&UIViewController::traitCollectionDidChange>("traitCollectionDidChange:"),
        method<&UIViewController::presentViewController>("presentViewController:animated:completion:"),
        method<&UIViewController::dismissViewControllerAnimated>("dismissViewControllerAnimated:completion:"),
        method<&UIViewController::presentedViewController>("presentedViewController"),
        method<&UIViewController::presentingViewController>("presentingViewController"),
        method<&UIViewController::modalPresentationStyle>("modalPresentationStyle"),
        method<&UIViewController::setModalPresentationStyle>("setModalPresentationStyle:"),
        method<&UIViewController::definesPresentationContext>("definesPresentationContext"),
        method<&UIViewController::setDefinesPresentationContext>("setDefinesPresentationContext:"),
        method<&UIViewController::transitioningDelegate>("transitioningDelegate"),
        method<&UIViewController::setTransitioningDelegate>("setTransitioningDelegate:"),
        method<&UIViewController::transitionCoordinator>("transitionCoordinator"));
    static constexpr auto classMethods = methodTable(initialiser<UIViewController>("init"),
        initialiser<UIViewController, std::optional<std::string>, std::shared_ptr<NSBundle>>("initWithNibName:bundle:"),
        initialiser<UIViewController, const NSCoder&>("initWithCoder:"));
    static const ClassInfo info { "Velmora.UIViewController", &UIResponder::staticClass(), methods, classMethods };
    return info;
}

const std::shared_ptr<UIView>& UIViewController::view()
{
    if (view_ || loading_)
        return view_;
    loading_ = true;
    try {
        loadView();
    } catch (...) {
        loading_ = false;
        throw;
    }
    loading_ = false;
    if (!view_)
        throw NSException("NSInternalInconsistencyException",
            description() + " has no view after loadView: the override must call setView");
    viewDidLoad();
    return view_;
}

void UIViewController::setView(const std::shared_ptr<UIView>& view)
{
    if (view_)
        view_->setViewController({});
    view_ = view;
    if (view_)
        view_->setViewController(weakFromThis(*this));
}

void UIViewController::loadView()
{
    if (nibName_) {
        UINib::nibWithNibName(*nibName_, nibBundle_)->instantiateWithOwner(shared_from_this());
        return;
    }
    const auto plain = make<UIView>(UIScreen::mainScreen()->bounds());
    plain->setAutoresizingMask(UIViewAutoresizingFlexibleWidth | UIViewAutoresizingFlexibleHeight);
    setView(plain);
}

void UIViewController::setAdditionalSafeAreaInsets(UIEdgeInsets insets)
{
    additionalSafeAreaInsets_ = insets;
    if (view_)
        view_->updateSafeArea();
}

void UIViewController::addChildViewController(const std::shared_ptr<UIViewController>& child)
{
    if (!child)
        return;
    const auto self = sharedFromThis(*this);
    for (auto each = self; each; each = each->parentViewController())
        if (each == child)
            throw NSException(
                NSInvalidArgumentException, "A controller cannot become a child of itself or of one inside it");
    const auto before = child->parentViewController();
    if (before == self)
        return;
    if (before)
        child->removeFromParentViewController();
    child->willMoveToParentViewController(self);
    children_.push_back(child);
    child->parent_ = self;
}

void UIViewController::removeFromParentViewController()
{
    const auto before = parentViewController();
    if (!before)
        return;
    const auto self = sharedFromThis(*this); // the parent may hold the last reference
    std::erase(before->children_, self);
    before->overriddenTraits_.erase(this);
    parent_.reset();
    didMoveToParentViewController(nullptr);
}

std::vector<std::shared_ptr<UIViewController>> UIViewController::childrenThatAppear() const
{
    std::vector<std::shared_ptr<UIViewController>> there;
    if (!shouldAutomaticallyForwardAppearanceMethods() || !view_)
        return there;
    for (const auto& child : children_)
        if (child->view_ && child->view_->isDescendantOfView(*view_))
            there.push_back(child);
    return there;
}

void UIViewController::beginAppearanceTransition(bool isAppearing, bool animated)
{
    if (isAppearing == isOnScreen())
        return;
    appearsAnimated_ = animated;
    if (isAppearing) {
        view(); // what appears is there
        appearance_ = Appearance::Appearing;
        viewWillAppear(animated);
    } else {
        appearance_ = Appearance::Disappearing;
        viewWillDisappear(animated);
    }
    for (const auto& child : childrenThatAppear())
        child->beginAppearanceTransition(isAppearing, animated);
}

void UIViewController::endAppearanceTransition()
{
    if (appearance_ == Appearance::Appearing) {
        appearance_ = Appearance::Appeared;
        viewDidAppear(appearsAnimated_);
    } else if (appearance_ == Appearance::Disappearing) {
        appearance_ = Appearance::Disappeared;
        viewDidDisappear(appearsAnimated_);
    } else {
        return;
    }
    for (const auto& child : childrenThatAppear())
        child->endAppearanceTransition();
}

/// A child whose view is added to a container that is on the screen appears with that, and so it leaves.
void UIViewController::viewMovesToWindow(const std::shared_ptr<UIWindow>& window, bool will)
{
    const auto parent = parentViewController();
    if (!parent || parent->managesAppearance_ || !parent->shouldAutomaticallyForwardAppearanceMethods())
        return;
    const bool comes = window != nullptr;
    if (comes && parent->appearance_ != Appearance::Appeared)
        return; // it will be told with its parent
    if (!comes && !parent->isOnScreen())
        return;
    if (will)
        beginAppearanceTransition(comes, false);
    else
        endAppearanceTransition();
}

std::shared_ptr<UINavigationController> UIViewController::navigationController() const
{
    for (auto above = parentViewController(); above; above = above->parentViewController())
        if (auto navigation = std::dynamic_pointer_cast<UINavigationController>(above))
            return navigation;
    return nullptr;
}

void UIViewController::setNeedsStatusBarAppearanceUpdate()
{
    UIApplication::sharedApplication()->updateStatusBar();
}

UIInterfaceOrientation UIViewController::interfaceOrientation() const
{
    return UIApplication::sharedApplication()->statusBarOrientation();
}

void UIViewController::viewWillTransitionToSize(
    CGSize size, const std::shared_ptr<UIViewControllerTransitionCoordinator>& coordinator)
{
    const auto children = children_;
    for (const auto& child : children)
        child->viewWillTransitionToSize(size, coordinator);
}

std::shared_ptr<UITraitCollection> UIViewController::traitCollection() const
{
    if (const auto parent = parentViewController()) {
        const auto found = parent->overriddenTraits_.find(this);
        return found == parent->overriddenTraits_.end() ? parent->traitCollection() : found->second;
    }
    const auto window = view_ ? view_->window() : nullptr;
    const auto screen = UIScreen::mainScreen();
    const CGSize size = window ? window->bounds().size : screen->bounds().size;
    return UITraitCollection::forSize(size.width, size.height, screen->scale());
}

void UIViewController::setOverrideTraitCollection(
    const std::shared_ptr<UITraitCollection>& traits, const std::shared_ptr<UIViewController>& child)
{
    if (!child || child->parentViewController().get() != this)
        return;
    const auto before = child->traitCollection();
    if (traits)
        overriddenTraits_[child.get()] = traits;
    else
        overriddenTraits_.erase(child.get());
    if (!before->isEqual(child->traitCollection().get()))
        child->tellTraits(before);
}

void UIViewController::tellTraits(const std::shared_ptr<UITraitCollection>& previous)
{
    traitCollectionDidChange(previous);
    const auto children = children_;
    for (const auto& child : children)
        if (!overriddenTraits_.contains(child.get()))
            child->tellTraits(previous);
}

std::shared_ptr<UIViewControllerTransitionCoordinator> UIViewController::transitionCoordinator() const
{
    if (auto own = coordinator_.lock())
        return own;
    const auto parent = parentViewController();
    return parent ? parent->transitionCoordinator() : nullptr;
}

std::shared_ptr<UIResponder> UIViewController::nextResponder() const
{
    if (view_)
        if (auto above = view_->superview())
            return above;
    return parentViewController();
}

}
