// SPDX-License-Identifier: Apache-2.0
#include "velmora/navigation/QVCameraReturnViewController.h"

#include "velmora/navigation/QVCCameraReturnViewControllerChild.h"
#include "velmora/navigation/QVCameraReturnBarView.h"
#include "velmora/navigation/QVCameraReturnTransitioner.h"
#include "velmora/resources/QVFrameworkIdentifier.h"
#include "velmora/resources/QVLocalizedString.h"

#include "platform/Foundation/NSBundle.h"
#include "platform/Foundation/NSException.h"
#include "platform/Foundation/NSLocale.h"
#include "platform/Foundation/ProcessState.h"
#include "platform/UIKit/NSLayoutConstraint.h"
#include "platform/UIKit/UIButton.h"
#include "platform/UIKit/UIColor.h"
#include "platform/UIKit/UIImageView.h"
#include "platform/UIKit/UINib.h"
#include "platform/UIKit/UIScrollView.h"
#include "platform/UIKit/UIViewControllerTransitionCoordinator.h"

#include <algorithm>
#include <array>
#include <utility>

namespace velmora {

namespace {

constexpr const char* interfaceFile = "QVCameraReturnViewController";
constexpr double childTopBelowBar = 20; // points
constexpr double titleRiseBelowNotch = 6; // points
constexpr double backgroundCornerRadius = 8; // points

struct Defaults {
    std::shared_ptr<UIColor> barColor, barButtonColor;
    std::optional<std::string> title;
};

Defaults& defaults()
{
    static auto* made = [] {
        auto* fresh = new Defaults;
        ProcessState::add([fresh] { *fresh = {}; });
        return fresh;
    }();
    return *made;
}

std::optional<std::string> capitals(const std::optional<std::string>& text)
{
    if (!text)
        return std::nullopt;
    return uppercaseStringWithLocale(*text, *NSLocale::currentLocale());
}

/// The first scroll view on the way down through the first subviews that are not hidden.
std::shared_ptr<UIScrollView> scrollViewIn(std::shared_ptr<UIView> view)
{
    while (view) {
        if (auto scrollView = std::dynamic_pointer_cast<UIScrollView>(view))
            return scrollView;
        const auto& views = view->subviews();
        const auto next
            = std::find_if(views.begin(), views.end(), [](const auto& inside) { return !inside->isHidden(); });
        view = next == views.end() ? nullptr : std::shared_ptr<UIView>(*next);
    }
    return nullptr;
}

}

QVCameraReturnViewController::QVCameraReturnViewController(
    const std::shared_ptr<UIViewController>& initialViewController)
    : UIViewController(interfaceFile, NSBundle::bundleWithIdentifier(QVFrameworkIdentifier))
    , initialViewController_(initialViewController)
{
    if (!initialViewController)
        throw NSException(NSInvalidArgumentException, "A camera return screen needs a view controller to show");
}

const ClassInfo& QVCameraReturnViewController::staticClass()
{
    using Self = QVCameraReturnViewController;
    static constexpr auto methods
        = methodTable(method<&Self::barColor>("barColor"), method<&Self::setBarColor>("setBarColor:"),
            method<&Self::barButtonColor>("barButtonColor"), method<&Self::setBarButtonColor>("setBarButtonColor:"),
            method<&Self::backToCameraLocalizedTitle>("backToCameraLocalizedTitle"),
            method<&Self::setBackToCameraLocalizedTitle>("setBackToCameraLocalizedTitle:"),
            method<&Self::backToCameraBackgroundColor>("backToCameraBackgroundColor"),
            method<&Self::setBackToCameraBackgroundColor>("setBackToCameraBackgroundColor:"),
            method<&Self::cameraReturnBarIsHidden>("cameraReturnBarIsHidden"),
            method<&Self::setNeedsReturnBarAppearanceUpdate>("setNeedsReturnBarAppearanceUpdate"),
            method<&Self::dismiss>("dismiss:"), method<&Self::navigationController>("navigationController"),
            method<&Self::willShowViewController>("navigationController:willShowViewController:animated:"),
            method<&Self::animationControllerForPresentedController>(
                "animationControllerForPresentedController:presentingController:sourceController:"),
            method<&Self::animationControllerForDismissedController>("animationControllerForDismissedController:"),
            method<&Self::barView>("barView"), method<&Self::setBarView>("setBarView:"),
            method<&Self::barFillerView>("barFillerView"), method<&Self::setBarFillerView>("setBarFillerView:"),
            method<&Self::containerView>("containerView"), method<&Self::setContainerView>("setContainerView:"),
            method<&Self::backToCameraButton>("backToCameraButton"),
            method<&Self::setBackToCameraButton>("setBackToCameraButton:"),
            method<&Self::backToCameraBackgroundView>("backToCameraBackgroundView"),
            method<&Self::setBackToCameraBackgroundView>("setBackToCameraBackgroundView:"),
            method<&Self::pullDownImageView>("pullDownImageView"),
            method<&Self::setPullDownImageView>("setPullDownImageView:"),
            method<&Self::bigCameraImageView>("bigCameraImageView"),
            method<&Self::setBigCameraImageView>("setBigCameraImageView:"),
            method<&Self::barViewHeightConstraint>("barViewHeightConstraint"),
            method<&Self::setBarViewHeightConstraint>("setBarViewHeightConstraint:"),
            method<&Self::barViewTopConstraint>("barViewTopConstraint"),
            method<&Self::setBarViewTopConstraint>("setBarViewTopConstraint:"),
            method<&Self::backToCameraVerticalCenteringConstraint>("backToCameraVerticalCenteringConstraint"),
            method<&Self::setBackToCameraVerticalCenteringConstraint>("setBackToCameraVerticalCenteringConstraint:"),
            method<&Self::childViewTopConstraint>("childViewTopConstraint"),
            method<&Self::setChildViewTopConstraint>("setChildViewTopConstraint:"));
    static constexpr auto classMethods
        = methodTable(initialiser<Self, std::shared_ptr<UIViewController>>("initWithInitialViewController:"),
            unavailableInitialiser(), classMethod<&Self::defaultBarColor>("defaultBarColor"),
            classMethod<&Self::setDefaultBarColor>("setDefaultBarColor:"),
            classMethod<&Self::defaultBarButtonColor>("defaultBarButtonColor"),
            classMethod<&Self::setDefaultBarButtonColor>("setDefaultBarButtonColor:"),
            classMethod<&Self::defaultBackToCameraLocalizedTitle>("defaultBackToCameraLocalizedTitle"),
            classMethod<&Self::setDefaultBackToCameraLocalizedTitle>("setDefaultBackToCameraLocalizedTitle:"));
    static const ClassInfo info { "Velmora.QVCameraReturnViewController", &UIViewController::staticClass(), methods,
        classMethods };
    return info;
}

void QVCameraReturnViewController::didConstruct()
{
    UIViewController::didConstruct();
    const auto self = sharedFromThis(*this);
    const auto navigation = makeNavigationController();
    navigation->setDelegate(self);
    navigation->willMoveToParentViewController(self); // adding tells it once more, which does no harm
    addChildViewController(navigation);
    navigation->setViewControllers({ std::exchange(initialViewController_, nullptr) }, false);
    setModalPresentationStyle(UIModalPresentationFullScreen);
    setTransitioningDelegate(self);
    setDefinesPresentationContext(true);
}

std::shared_ptr<UINavigationController> QVCameraReturnViewController::makeNavigationController() const
{
    return make<UINavigationController>();
}

std::shared_ptr<UINavigationController> QVCameraReturnViewController::navigationController() const
{
    if (childViewControllers().empty())
        return nullptr;
    return std::dynamic_pointer_cast<UINavigationController>(childViewControllers().front());
}

std::shared_ptr<UIColor> QVCameraReturnViewController::defaultBarColor()
{
    return defaults().barColor;
}

void QVCameraReturnViewController::setDefaultBarColor(const std::shared_ptr<UIColor>& color)
{
    defaults().barColor = color;
}

std::shared_ptr<UIColor> QVCameraReturnViewController::defaultBarButtonColor()
{
    return defaults().barButtonColor;
}

void QVCameraReturnViewController::setDefaultBarButtonColor(const std::shared_ptr<UIColor>& color)
{
    defaults().barButtonColor = color;
}

std::optional<std::string> QVCameraReturnViewController::defaultBackToCameraLocalizedTitle()
{
    return defaults().title;
}

void QVCameraReturnViewController::setDefaultBackToCameraLocalizedTitle(const std::optional<std::string>& title)
{
    defaults().title = title;
}

std::shared_ptr<UIColor> QVCameraReturnViewController::barColor() const
{
    const auto bar = barView();
    return bar ? bar->tintColor() : nullptr;
}

void QVCameraReturnViewController::setBarColor(const std::shared_ptr<UIColor>& color)
{
    loadViewIfNeeded();
    barView()->setTintColor(color);
    barFillerView()->setTintColor(color);
}

std::shared_ptr<UIColor> QVCameraReturnViewController::barButtonColor() const
{
    const auto button = backToCameraButton();
    return button ? button->tintColor() : nullptr;
}

void QVCameraReturnViewController::setBarButtonColor(const std::shared_ptr<UIColor>& color)
{
    loadViewIfNeeded();
    backToCameraButton()->setTintColor(color);
    if (!backToCameraBackgroundView()->backgroundColor())
        tintIcons(color);
}

std::optional<std::string> QVCameraReturnViewController::backToCameraLocalizedTitle() const
{
    const auto button = backToCameraButton();
    return button ? button->titleForState(UIControlStateNormal) : std::nullopt;
}

void QVCameraReturnViewController::setBackToCameraLocalizedTitle(const std::optional<std::string>& title)
{
    loadViewIfNeeded();
    backToCameraButton()->setTitle(capitals(title), UIControlStateNormal);
}

std::shared_ptr<UIColor> QVCameraReturnViewController::backToCameraBackgroundColor() const
{
    const auto background = backToCameraBackgroundView();
    return background ? background->backgroundColor() : nullptr;
}

void QVCameraReturnViewController::setBackToCameraBackgroundColor(const std::shared_ptr<UIColor>& color)
{
    loadViewIfNeeded();
    backToCameraBackgroundView()->setBackgroundColor(color);
    tintIcons(color ? color : backToCameraButton()->tintColor());
}

void QVCameraReturnViewController::tintIcons(const std::shared_ptr<UIColor>& color)
{
    pullDownImageView()->setTintColor(color);
    bigCameraImageView()->setTintColor(color);
}

bool QVCameraReturnViewController::cameraReturnBarIsHidden() const
{
    const auto height = barViewHeightConstraint();
    return height && height->constant() == 0;
}

void QVCameraReturnViewController::dismiss(const std::shared_ptr<NSObject>&)
{
    dismissViewControllerAnimated(true);
}

/// An interface file that lacks one of them is not ours.
void QVCameraReturnViewController::loadView()
{
    UINib::registerClasses({ &QVCameraReturnBarView::staticClass() });
    UIViewController::loadView();
    for (const char* outlet : { "barView", "barFillerView", "containerView", "backToCameraButton",
             "backToCameraBackgroundView", "pullDownImageView", "bigCameraImageView", "barViewHeightConstraint",
             "barViewTopConstraint", "backToCameraVerticalCenteringConstraint", "childViewTopConstraint" })
        if (!unbox<std::shared_ptr<NSObject>>(valueForKey(outlet)))
            throw NSException("NSInternalInconsistencyException",
                "The interface file " + std::string(interfaceFile) + " sets no outlet \"" + outlet + "\"");
}

void QVCameraReturnViewController::viewDidLoad()
{
    UIViewController::viewDidLoad();
    if (const auto color = defaultBarColor())
        setBarColor(color);
    if (const auto color = defaultBarButtonColor())
        setBarButtonColor(color);
    const auto title = defaultBackToCameraLocalizedTitle();
    setBackToCameraLocalizedTitle(title ? title : QVLocalizedString("BACK_TO_CAMERA"));
    backToCameraBackgroundView()->layer()->setCornerRadius(backgroundCornerRadius);

    const auto navigation = navigationController();
    if (!navigation)
        return;
    const auto& inside = navigation->view();
    containerView()->addSubview(inside);
    inside->setTranslatesAutoresizingMaskIntoConstraints(false);
    for (const char* format : { "|-0-[view]-0-|", "V:|-0-[view]-0-|" })
        containerView()->addConstraints(
            NSLayoutConstraint::constraintsWithVisualFormat(format, {}, { { "view", inside } }));
    navigation->didMoveToParentViewController(sharedFromThis(*this));
}

void QVCameraReturnViewController::viewWillAppear(bool animated)
{
    UIViewController::viewWillAppear(animated);
    const auto navigation = navigationController();
    if (const auto top = navigation ? navigation->topViewController() : nullptr)
        updateForCurrentChildViewController(top);
    barView()->setBackgroundColor(barView()->tintColor());
    barFillerView()->setBackgroundColor(barView()->tintColor());
}

void QVCameraReturnViewController::viewSafeAreaInsetsDidChange()
{
    UIViewController::viewSafeAreaInsetsDidChange();
    const auto button = backToCameraButton();
    if (!button)
        return; // the interface file is being read
    backToCameraVerticalCenteringConstraint()->setConstant(view()->safeAreaInsets().top > 0 ? -titleRiseBelowNotch : 0);
    updateSafeAreaConstraints(button->alpha() == 0);
}

void QVCameraReturnViewController::updateSafeAreaConstraints(bool returnBarHidden)
{
    const double safeTop = view()->safeAreaInsets().top;
    childViewTopConstraint()->setConstant(returnBarHidden ? -safeTop : childTopBelowBar);
    barViewTopConstraint()->setConstant(returnBarHidden ? -safeTop : 0);
}

std::shared_ptr<UIViewController> QVCameraReturnViewController::childViewControllerForStatusBarHidden()
{
    const auto navigation = navigationController();
    return cameraReturnBarIsHidden() && navigation ? navigation->topViewController() : nullptr;
}

void QVCameraReturnViewController::willShowViewController(
    const std::shared_ptr<UINavigationController>&, const std::shared_ptr<UIViewController>& controller, bool)
{
    updateForCurrentChildViewController(controller);
}

void QVCameraReturnViewController::setNeedsReturnBarAppearanceUpdate()
{
    if (const auto visible = currentlyVisibleViewController())
        updateForCurrentChildViewController(visible);
}

std::shared_ptr<UIViewController> QVCameraReturnViewController::currentlyVisibleViewController() const
{
    if (childViewControllers().empty())
        return nullptr;
    const auto navigation = navigationController();
    auto visible = navigation ? navigation->topViewController() : nullptr;
    if (!visible)
        visible = childViewControllers().front();
    for (;;) {
        auto next = visible->presentedViewController();
        if (const auto inside = std::dynamic_pointer_cast<UINavigationController>(visible); inside && !next)
            next = inside->topViewController();
        if (!next)
            return visible;
        visible = next;
    }
}

void QVCameraReturnViewController::setBarAlpha(double alpha)
{
    backToCameraButton()->setAlpha(alpha);
    backToCameraBackgroundView()->setAlpha(alpha);
    barFillerView()->setAlpha(alpha);
}

/// The frame of the container's view is meant, although it is another view's place: a navigation controller puts the
/// view right when it is laid out, and a view elsewhere lies where the content does.
void QVCameraReturnViewController::placeChildView(const std::shared_ptr<UIViewController>& child) const
{
    child->view()->setFrame(containerView()->frame());
}

void QVCameraReturnViewController::updateForCurrentChildViewController(const std::shared_ptr<UIViewController>& child)
{
    loadViewIfNeeded();
    const auto bearer = std::dynamic_pointer_cast<QVCCameraReturnViewControllerChild>(child);
    const bool hides = bearer && bearer->prefersCameraReturnBarHidden();
    const double height = hides ? 0 : shownBarHeight, alpha = hides ? 0 : 1;
    setObservedScrollView(nullptr);
    const bool changes = barViewHeightConstraint()->constant() != height
        || childViewTopConstraint()->constant() != height || backToCameraButton()->alpha() != alpha;
    barViewHeightConstraint()->setConstant(height);
    const bool fills = hides && bearer->prefersFullScreenWhenCameraReturnBarHidden();
    updateSafeAreaConstraints(fills);

    const auto navigation = navigationController();
    if (const auto coordinator = navigation ? navigation->transitionCoordinator() : nullptr; changes && coordinator) {
        const auto self = weakFromThis(*this);
        const bool runs = coordinator->animateAlongsideTransition(
            [this, alpha, fills, child](auto&) {
                setBarAlpha(alpha);
                // Coming into the window has changed the safe area since, while the button was still to be seen.
                updateSafeAreaConstraints(fills);
                view()->layoutIfNeeded();
                placeChildView(child);
                setNeedsStatusBarAppearanceUpdate();
            },
            [self, child](auto&) {
                if (const auto there = self.lock()) {
                    there->placeChildView(child);
                    there->setObservedScrollView(scrollViewIn(child->view()));
                }
            });
        if (runs)
            return;
    }
    setBarAlpha(alpha);
    setNeedsStatusBarAppearanceUpdate();
    view()->layoutIfNeeded();
    placeChildView(child);
    setObservedScrollView(scrollViewIn(child->view()));
}

std::shared_ptr<UIViewControllerAnimatedTransitioning>
QVCameraReturnViewController::animationControllerForPresentedController(
    const std::shared_ptr<UIViewController>& presented, const std::shared_ptr<UIViewController>&,
    const std::shared_ptr<UIViewController>&)
{
    if (!std::dynamic_pointer_cast<QVCameraReturnViewController>(presented))
        return nullptr;
    auto transitioner = make<QVCameraReturnTransitioner>();
    transitioner->setIsPresenting(true);
    return transitioner;
}

std::shared_ptr<UIViewControllerAnimatedTransitioning>
QVCameraReturnViewController::animationControllerForDismissedController(
    const std::shared_ptr<UIViewController>& dismissed)
{
    if (!std::dynamic_pointer_cast<QVCameraReturnViewController>(dismissed))
        return nullptr;
    auto transitioner = make<QVCameraReturnTransitioner>();
    transitioner->setIsPresenting(false);
    return transitioner;
}

std::shared_ptr<QVCameraReturnViewController> cameraReturnViewController(const UIViewController& controller)
{
    using Container = QVCameraReturnViewController;
    for (auto above = controller.parentViewController(); above; above = above->parentViewController())
        if (auto container = std::dynamic_pointer_cast<Container>(above))
            return container;
    for (auto below = controller.presentingViewController(); below; below = below->presentingViewController()) {
        if (auto container = std::dynamic_pointer_cast<Container>(below))
            return container;
        if (auto container = std::dynamic_pointer_cast<Container>(below->parentViewController()))
            return container;
    }
    return nullptr;
}

}
