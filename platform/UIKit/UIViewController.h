// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/NSCoder.h"
#include "platform/UIKit/UIGeometry.h"
#include "platform/UIKit/UIOrientation.h"
#include "platform/UIKit/UIResponder.h"
#include "platform/UIKit/UIViewControllerTransitioning.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace velmora {

class NSBundle;
class UINavigationController;
class UITraitCollection;
class UIView;
class UIViewControllerTransitionCoordinator;
class UIWindow;

enum UIStatusBarAnimation : std::int64_t {
    UIStatusBarAnimationNone = 0,
    UIStatusBarAnimationFade = 1,
    UIStatusBarAnimationSlide = 2,
};

/// Bit 1 << orientation for each.
enum UIInterfaceOrientationMask : std::uint64_t {
    UIInterfaceOrientationMaskPortrait = 2,
    UIInterfaceOrientationMaskPortraitUpsideDown = 4,
    UIInterfaceOrientationMaskLandscapeRight = 8,
    UIInterfaceOrientationMaskLandscapeLeft = 16,
    UIInterfaceOrientationMaskLandscape = 24,
    UIInterfaceOrientationMaskAllButUpsideDown = 26,
    UIInterfaceOrientationMaskAll = 30,
};
template <> inline constexpr bool isOptionSet<UIInterfaceOrientationMask> = true;

/// Runs one screen, or a part of one: makes its view when it is first asked for, and hears when it comes and goes. What
/// is overridden calls the superclass first. Main thread only.
class VELMORA_EXPORT UIViewController : public UIResponder {
public:
    /// Without a nib the view is a plain one, as large as the main screen. With one, its objects are connected to this
    /// controller; without a bundle it comes from the main one.
    explicit UIViewController(
        const std::optional<std::string>& nibName = {}, const std::shared_ptr<NSBundle>& bundle = {});
    /// Reads "nibName" and "title".
    explicit UIViewController(const NSCoder& coder);
    ~UIViewController() override;
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    // The view.
    const std::shared_ptr<UIView>& view();
    void setView(const std::shared_ptr<UIView>& view);
    const std::shared_ptr<UIView>& viewIfLoaded() const { return view_; }
    bool isViewLoaded() const { return view_ != nullptr; }
    void loadViewIfNeeded() { view(); }
    const std::optional<std::string>& nibName() const { return nibName_; }
    const std::shared_ptr<NSBundle>& nibBundle() const { return nibBundle_; }
    const std::optional<std::string>& title() const { return title_; }
    virtual void setTitle(const std::optional<std::string>& title) { title_ = title; }
    /// Calls setView. Throws NSException where the nib is missing or does not fit.
    virtual void loadView();
    virtual void viewDidLoad() { }
    virtual void awakeFromNib() { }

    // Its life on the screen: will before a transition, did after it.
    virtual void viewWillAppear(bool /*animated*/) { }
    virtual void viewDidAppear(bool /*animated*/) { }
    virtual void viewWillDisappear(bool /*animated*/) { }
    virtual void viewDidDisappear(bool /*animated*/) { }
    virtual void viewWillLayoutSubviews() { }
    virtual void viewDidLayoutSubviews() { }
    virtual void viewSafeAreaInsetsDidChange() { }
    /// Added to what the screen covers, for the view and all in it; of bars that a container lays over it.
    UIEdgeInsets additionalSafeAreaInsets() const { return additionalSafeAreaInsets_; }
    void setAdditionalSafeAreaInsets(UIEdgeInsets insets);

    // Containers. The child's view is the container's to place; its appearance follows the container's.
    std::shared_ptr<UIViewController> parentViewController() const { return parent_.lock(); }
    const std::vector<std::shared_ptr<UIViewController>>& childViewControllers() const { return children_; }
    /// Tells the child that it will move; a child of another parent leaves it. The caller tells it that it did.
    void addChildViewController(const std::shared_ptr<UIViewController>& child);
    /// Tells that it did move; the caller has told that it will.
    void removeFromParentViewController();
    virtual void willMoveToParentViewController(const std::shared_ptr<UIViewController>&) { }
    virtual void didMoveToParentViewController(const std::shared_ptr<UIViewController>&) { }
    /// False: a container calls the two below for its children itself.
    virtual bool shouldAutomaticallyForwardAppearanceMethods() const { return true; }
    void beginAppearanceTransition(bool isAppearing, bool animated);
    void endAppearanceTransition();
    /// Itself or the next one outwards.
    virtual std::shared_ptr<UINavigationController> navigationController() const;

    // Status bar.
    virtual bool prefersStatusBarHidden() { return false; }
    virtual UIStatusBarAnimation preferredStatusBarUpdateAnimation() { return UIStatusBarAnimationFade; }
    /// Empty: this controller decides.
    virtual std::shared_ptr<UIViewController> childViewControllerForStatusBarHidden() { return nullptr; }
    /// Asks again, now.
    void setNeedsStatusBarAppearanceUpdate();

    // Room and orientation.
    virtual bool shouldAutorotate() { return true; }
    virtual UIInterfaceOrientationMask supportedInterfaceOrientations()
    {
        return UIInterfaceOrientationMaskAllButUpsideDown;
    }
    UIInterfaceOrientation interfaceOrientation() const;
    /// Before the view takes the size; goes on to children and to the presented controller.
    virtual void viewWillTransitionToSize(
        CGSize size, const std::shared_ptr<UIViewControllerTransitionCoordinator>& coordinator);
    virtual std::shared_ptr<UITraitCollection> traitCollection() const;
    virtual void traitCollectionDidChange(const std::shared_ptr<UITraitCollection>& /*previous*/) { }
    /// In place of those from outside; empty ends it.
    void setOverrideTraitCollection(
        const std::shared_ptr<UITraitCollection>& traits, const std::shared_ptr<UIViewController>& child);

    // Presentation. Another controller over this one's outermost parent; it is held while it is there. One that
    // presents already, or is not on a window, logs that and does nothing. `completion` (may be empty) runs after
    // everything.
    void presentViewController(
        const std::shared_ptr<UIViewController>& controller, bool animated, std::function<void()> completion = {});
    /// The one that it or its parents present, else the one of them that is presented itself goes, with all above it.
    void dismissViewControllerAnimated(bool animated, std::function<void()> completion = {});
    /// By this controller or one of its parents.
    std::shared_ptr<UIViewController> presentedViewController() const;
    /// Of this controller or of one of its parents.
    std::shared_ptr<UIViewController> presentingViewController() const;
    UIModalPresentationStyle modalPresentationStyle() const { return presentationStyle_; }
    void setModalPresentationStyle(UIModalPresentationStyle style) { presentationStyle_ = style; }
    bool definesPresentationContext() const { return definesContext_; }
    void setDefinesPresentationContext(bool defines) { definesContext_ = defines; }
    // Held weakly; it may be the controller itself.
    std::shared_ptr<UIViewControllerTransitioningDelegate> transitioningDelegate() const
    {
        return transitioningDelegate_.lock();
    }
    void setTransitioningDelegate(const std::weak_ptr<UIViewControllerTransitioningDelegate>& delegate)
    {
        transitioningDelegate_ = delegate;
    }
    bool isBeingPresented() const;
    bool isBeingDismissed() const;
    /// Of the animated transition that this controller or one of its parents takes part in; empty without one.
    virtual std::shared_ptr<UIViewControllerTransitionCoordinator> transitionCoordinator() const;

    std::shared_ptr<UIResponder> nextResponder() const override;

    // For views, windows and containers.
    void viewMovesToWindow(const std::shared_ptr<UIWindow>& window, bool will);
    void tellTraits(const std::shared_ptr<UITraitCollection>& previous);
    void setTransitionCoordinator(const std::shared_ptr<UIViewControllerTransitionCoordinator>& coordinator)
    {
        coordinator_ = coordinator;
    }
    bool isOnScreen() const { return appearance_ == Appearance::Appeared || appearance_ == Appearance::Appearing; }

protected:
    /// Those whose appearance follows this one's.
    virtual std::vector<std::shared_ptr<UIViewController>> childrenThatAppear() const;
    /// While it is set, views that join or leave the window tell this controller's children nothing.
    void setManagesAppearance(bool manages) { managesAppearance_ = manages; }

private:
    enum class Appearance { Disappeared, Appearing, Appeared, Disappearing };
    class Presentation;
    friend class Presentation;
    std::shared_ptr<UIViewController> presenterFor(UIModalPresentationStyle style);

    const std::optional<std::string> nibName_;
    const std::shared_ptr<NSBundle> nibBundle_;
    std::optional<std::string> title_;
    std::shared_ptr<UIView> view_;
    bool loading_ = false;
    Appearance appearance_ = Appearance::Disappeared;
    bool appearsAnimated_ = false, managesAppearance_ = false;
    UIEdgeInsets additionalSafeAreaInsets_;
    std::weak_ptr<UIViewController> parent_;
    std::vector<std::shared_ptr<UIViewController>> children_;
    std::map<const UIViewController*, std::shared_ptr<UITraitCollection>> overriddenTraits_;
    UIModalPresentationStyle presentationStyle_ = UIModalPresentationFullScreen;
    bool definesContext_ = false;
    std::weak_ptr<UIViewControllerTransitioningDelegate> transitioningDelegate_;
    std::shared_ptr<Presentation> presentation_; // of what this one presents
    std::weak_ptr<Presentation> presentedBy_;
    std::weak_ptr<UIViewControllerTransitionCoordinator> coordinator_;
};

}
