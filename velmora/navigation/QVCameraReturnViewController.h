// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/UIKit/UINavigationController.h"
#include "platform/UIKit/UIViewController.h"

#include <memory>
#include <optional>
#include <string>

namespace velmora {

class NSLayoutConstraint;
class QVCameraReturnBarView;
class UIButton;
class UIColor;
class UIImageView;
class UIScrollView;

/// What a camera screen presents over itself to show something else, such as the photos: a navigation controller with
/// it, below a thin bar whose button leads back to the camera. Pulling down the content, where that is a scroll view at
/// its top, draws the bar out, and far enough it leads back too. What is shown can hide the bar, and forbid the pull,
/// by adopting QVCCameraReturnViewControllerChild.
///
///     const auto photos = make<QVCameraReturnViewController>(make<Photos>());
///     cameraScreen->presentViewController(photos, true);
///
/// Main thread only.
class VELMORA_EXPORT QVCameraReturnViewController : public UIViewController,
                                                    public UINavigationControllerDelegate,
                                                    public UIViewControllerTransitioningDelegate {
public:
    /// Throws NSException without a controller to show. The view throws one when it loads and the framework's resources
    /// are not there.
    explicit QVCameraReturnViewController(const std::shared_ptr<UIViewController>& initialViewController);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    // Looks. Setting any of them loads the view; before, they are empty.
    std::shared_ptr<UIColor> barColor() const;
    void setBarColor(const std::shared_ptr<UIColor>& color);
    /// The title's, and the pictures' that pulling shows while there is no background behind the title.
    std::shared_ptr<UIColor> barButtonColor() const;
    void setBarButtonColor(const std::shared_ptr<UIColor>& color);
    /// In capitals, whatever was set.
    std::optional<std::string> backToCameraLocalizedTitle() const;
    void setBackToCameraLocalizedTitle(const std::optional<std::string>& title);
    /// Behind the title, and of the pictures; they have the title's colour without it.
    std::shared_ptr<UIColor> backToCameraBackgroundColor() const;
    void setBackToCameraBackgroundColor(const std::shared_ptr<UIColor>& color);
    // For all containers whose views load later; empty at first, which leaves the interface file's colours and the
    // framework's own text.
    static std::shared_ptr<UIColor> defaultBarColor();
    static void setDefaultBarColor(const std::shared_ptr<UIColor>& color);
    static std::shared_ptr<UIColor> defaultBarButtonColor();
    static void setDefaultBarButtonColor(const std::shared_ptr<UIColor>& color);
    static std::optional<std::string> defaultBackToCameraLocalizedTitle();
    static void setDefaultBackToCameraLocalizedTitle(const std::optional<std::string>& title);

    bool cameraReturnBarIsHidden() const;
    /// Asks the controller that is seen what it prefers. Call it when that changed.
    void setNeedsReturnBarAppearanceUpdate();
    /// The button's action: back to the camera, animated.
    void dismiss(const std::shared_ptr<NSObject>& sender = {});

    /// The one inside; its navigation delegate is the container.
    std::shared_ptr<UINavigationController> navigationController() const override;

    void loadView() override;
    void viewDidLoad() override;
    void viewWillAppear(bool animated) override;
    void viewSafeAreaInsetsDidChange() override;
    /// Always: there is no status bar beside the bar. What is shown decides while the bar is hidden.
    bool prefersStatusBarHidden() override { return true; }
    UIStatusBarAnimation preferredStatusBarUpdateAnimation() override { return UIStatusBarAnimationSlide; }
    std::shared_ptr<UIViewController> childViewControllerForStatusBarHidden() override;

    void willShowViewController(const std::shared_ptr<UINavigationController>& navigationController,
        const std::shared_ptr<UIViewController>& controller, bool animated) override;
    std::shared_ptr<UIViewControllerAnimatedTransitioning> animationControllerForPresentedController(
        const std::shared_ptr<UIViewController>& presented, const std::shared_ptr<UIViewController>& presenting,
        const std::shared_ptr<UIViewController>& source) override;
    std::shared_ptr<UIViewControllerAnimatedTransitioning> animationControllerForDismissedController(
        const std::shared_ptr<UIViewController>& dismissed) override;

    // Outlets, set by the interface file; the view's hierarchy holds them.
    std::shared_ptr<QVCameraReturnBarView> barView() const { return barView_.lock(); }
    void setBarView(const std::shared_ptr<QVCameraReturnBarView>& view) { barView_ = view; }
    /// From the screen's edge down to the bar.
    std::shared_ptr<QVCameraReturnBarView> barFillerView() const { return barFillerView_.lock(); }
    void setBarFillerView(const std::shared_ptr<QVCameraReturnBarView>& view) { barFillerView_ = view; }
    std::shared_ptr<UIView> containerView() const { return containerView_.lock(); }
    void setContainerView(const std::shared_ptr<UIView>& view) { containerView_ = view; }
    std::shared_ptr<UIButton> backToCameraButton() const { return backToCameraButton_.lock(); }
    void setBackToCameraButton(const std::shared_ptr<UIButton>& button) { backToCameraButton_ = button; }
    std::shared_ptr<UIView> backToCameraBackgroundView() const { return backToCameraBackgroundView_.lock(); }
    void setBackToCameraBackgroundView(const std::shared_ptr<UIView>& view) { backToCameraBackgroundView_ = view; }
    std::shared_ptr<UIImageView> pullDownImageView() const { return pullDownImageView_.lock(); }
    void setPullDownImageView(const std::shared_ptr<UIImageView>& view) { pullDownImageView_ = view; }
    std::shared_ptr<UIImageView> bigCameraImageView() const { return bigCameraImageView_.lock(); }
    void setBigCameraImageView(const std::shared_ptr<UIImageView>& view) { bigCameraImageView_ = view; }
    std::shared_ptr<NSLayoutConstraint> barViewHeightConstraint() const { return barViewHeightConstraint_.lock(); }
    void setBarViewHeightConstraint(const std::shared_ptr<NSLayoutConstraint>& constraint)
    {
        barViewHeightConstraint_ = constraint;
    }
    std::shared_ptr<NSLayoutConstraint> barViewTopConstraint() const { return barViewTopConstraint_.lock(); }
    void setBarViewTopConstraint(const std::shared_ptr<NSLayoutConstraint>& constraint)
    {
        barViewTopConstraint_ = constraint;
    }
    std::shared_ptr<NSLayoutConstraint> backToCameraVerticalCenteringConstraint() const
    {
        return backToCameraVerticalCenteringConstraint_.lock();
    }
    void setBackToCameraVerticalCenteringConstraint(const std::shared_ptr<NSLayoutConstraint>& constraint)
    {
        backToCameraVerticalCenteringConstraint_ = constraint;
    }
    std::shared_ptr<NSLayoutConstraint> childViewTopConstraint() const { return childViewTopConstraint_.lock(); }
    void setChildViewTopConstraint(const std::shared_ptr<NSLayoutConstraint>& constraint)
    {
        childViewTopConstraint_ = constraint;
    }

protected:
    void didConstruct() override;
    /// Asked once, when the container is made; the container sets its controllers and its delegate.
    virtual std::shared_ptr<UINavigationController> makeNavigationController() const;

private:
    static constexpr double shownBarHeight = 20; // points

    void tintIcons(const std::shared_ptr<UIColor>& color);
    void setBarAlpha(double alpha);
    void placeChildView(const std::shared_ptr<UIViewController>& child) const;
    std::shared_ptr<UIViewController> currentlyVisibleViewController() const;
    void updateForCurrentChildViewController(const std::shared_ptr<UIViewController>& child);
    void updateSafeAreaConstraints(bool returnBarHidden);

    // Pulling down.
    void setObservedScrollView(const std::shared_ptr<UIScrollView>& scrollView);
    void contentOffsetDidChange();
    void pull(double overscroll);
    void setBigCameraShown(bool shown);
    void moveNavigationBar(double distance) const;

    std::shared_ptr<UIViewController> initialViewController_; // until it is constructed
    std::weak_ptr<QVCameraReturnBarView> barView_, barFillerView_;
    std::weak_ptr<UIView> containerView_, backToCameraBackgroundView_;
    std::weak_ptr<UIButton> backToCameraButton_;
    std::weak_ptr<UIImageView> pullDownImageView_, bigCameraImageView_;
    std::weak_ptr<NSLayoutConstraint> barViewHeightConstraint_, barViewTopConstraint_,
        backToCameraVerticalCenteringConstraint_, childViewTopConstraint_;
    std::shared_ptr<UIScrollView> observedScrollView_;
    Cancellable observation_; // of its content offset
    bool shouldDismissAfterDragging_ = false;
};

/// The container that `controller` is shown in: the nearest around it, else one that presented it, or whose content
/// did. Never the controller itself; empty without one. Main thread only.
VELMORA_EXPORT std::shared_ptr<QVCameraReturnViewController> cameraReturnViewController(
    const UIViewController& controller);

}
