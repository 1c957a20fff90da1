// SPDX-License-Identifier: Apache-2.0
#include "velmora/navigation/QVCameraReturnTransitioner.h"

#include "platform/Foundation/NSBundle.h"
#include "platform/Foundation/NSException.h"

#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <array>
#include <string>
#include <vector>

#include "tests/velmora/navigation/ReturnTest.h"

namespace velmora::tests {
namespace {

using testing::Contains;
using testing::HasSubstr;
using Words = std::vector<std::string>;

class CameraReturn : public ReturnTest {
protected:
    CameraReturn()
    {
        for (auto& color : colors)
            color = UIColor::colorWithRed(0.1, 0.2, 0.3);
    }
    std::shared_ptr<UINavigationController> navigation() const { return container->navigationController(); }
    double alphaShown() const { return container->backToCameraButton()->layer()->presentationLayer()->opacity(); }
    std::array<std::shared_ptr<UIColor>, 3> colors; // told apart by identity
};

// Construction.

TEST_F(CameraReturn, HoldsItsPageInANavigationControllerOfItsOwn)
{
    ASSERT_TRUE(navigation());
    EXPECT_EQ(container->childViewControllers().front(), navigation());
    EXPECT_EQ(navigation()->topViewController(), page);
    EXPECT_EQ(navigation()->delegate(), std::static_pointer_cast<UINavigationControllerDelegate>(container));
    EXPECT_FALSE(container->isViewLoaded());
}

TEST_F(CameraReturn, CoversTheScreenByItsOwnTransition)
{
    EXPECT_EQ(container->modalPresentationStyle(), UIModalPresentationFullScreen);
    EXPECT_EQ(
        container->transitioningDelegate(), std::static_pointer_cast<UIViewControllerTransitioningDelegate>(container));
    EXPECT_TRUE(container->definesPresentationContext());
}

TEST_F(CameraReturn, IsMadeBySelector)
{
    const auto made = unbox<std::shared_ptr<QVCameraReturnViewController>>(
        QVCameraReturnViewController::staticClass().performSelector(
            "initWithInitialViewController:", std::static_pointer_cast<UIViewController>(choosy)));
    EXPECT_EQ(made->navigationController()->topViewController(), choosy);
}

TEST_F(CameraReturn, CannotBeMadeWithoutAController)
{
    EXPECT_THROW(make<QVCameraReturnViewController>(nullptr), NSException);
    EXPECT_DEATH(QVCameraReturnViewController::staticClass().performSelector("init"), "QVCameraReturnViewController");
}

/// Says when it joins a parent.
class TellingNavigation : public UINavigationController {
public:
    explicit TellingNavigation(Words& diary)
        : diary_(diary)
    {
    }
    void willMoveToParentViewController(const std::shared_ptr<UIViewController>&) override
    {
        diary_.push_back(parentViewController() ? "will again" : "will");
    }
    void didMoveToParentViewController(const std::shared_ptr<UIViewController>&) override { diary_.push_back("did"); }

private:
    Words& diary_;
};

class TellingContainer : public QVCameraReturnViewController {
public:
    TellingContainer(const std::shared_ptr<UIViewController>& content, Words& diary)
        : QVCameraReturnViewController(content)
        , diary_(diary)
    {
    }

protected:
    std::shared_ptr<UINavigationController> makeNavigationController() const override
    {
        return make<TellingNavigation>(diary_);
    }

private:
    Words& diary_;
};

TEST_F(CameraReturn, WillMoveComesBeforeAddingAndDidMoveOnlyWhenTheViewLoads)
{
    Words diary;
    const auto telling = make<TellingContainer>(page, diary);
    EXPECT_EQ(diary, (Words { "will", "will" })); // the second one is sent by adding
    telling->loadViewIfNeeded();
    EXPECT_EQ(diary, (Words { "will", "will", "did" }));
}

TEST_F(CameraReturn, AnswersTheNavigationControllerOnlyWhereItIsTheFirstChild)
{
    const auto inside = navigation();
    inside->willMoveToParentViewController(nullptr);
    inside->removeFromParentViewController();
    EXPECT_EQ(container->navigationController(), nullptr);
    container->addChildViewController(camera);
    container->addChildViewController(inside);
    EXPECT_EQ(container->navigationController(), nullptr);
}

// The interface file.

TEST_F(CameraReturn, TheInterfaceFileSetsEveryOutlet)
{
    container->loadViewIfNeeded();
    EXPECT_TRUE(container->barView() && container->barFillerView() && container->containerView()
        && container->backToCameraButton() && container->backToCameraBackgroundView() && container->pullDownImageView()
        && container->bigCameraImageView());
    EXPECT_EQ(container->barViewHeightConstraint()->constant(), 20);
    EXPECT_EQ(container->barViewTopConstraint()->constant(), 0);
    EXPECT_EQ(container->backToCameraVerticalCenteringConstraint()->constant(), 0);
    EXPECT_EQ(container->childViewTopConstraint()->constant(), 20);
    EXPECT_EQ(container->bigCameraImageView()->alpha(), 0);
    EXPECT_EQ(container->pullDownImageView()->alpha(), 1);
}

TEST_F(CameraReturn, OutletsAreHeldByTheViewsAlone)
{
    container->loadViewIfNeeded();
    container->backToCameraButton()->removeFromSuperview();
    EXPECT_EQ(container->backToCameraButton(), nullptr);
    container->setView(make<UIView>());
    EXPECT_EQ(container->barView(), nullptr);
    EXPECT_EQ(container->barViewHeightConstraint(), nullptr);
}

TEST_F(CameraReturn, WithoutTheFrameworksResourcesTheViewSaysWhatIsMissing)
{
    NSBundle::hideBundle(frameworkBundleIdentifier);
    contain(choosy);
    try {
        container->view();
        FAIL();
    } catch (const NSException& why) {
        EXPECT_THAT(why.reason(), HasSubstr("no interface file QVCameraReturnViewController.nib.xml"));
    }
}

TEST_F(CameraReturn, AnInterfaceFileWithoutAnOutletIsRefusedByName)
{
    const TemporaryFolder folder;
    const std::string text = "<nib><view outlet=\"view\"><view outlet=\"containerView\"/>"
                             "<view class=\"Velmora.QVCameraReturnBarView\" outlet=\"barView\"/></view></nib>";
    folder.write(
        "QVCameraReturnViewController.nib.xml", { reinterpret_cast<const std::uint8_t*>(text.data()), text.size() });
    const auto ours = NSBundle::bundleWithIdentifier(frameworkBundleIdentifier);
    NSBundle::registerBundle(make<NSBundle>(frameworkBundleIdentifier, folder.path()));
    contain(choosy);
    NSBundle::registerBundle(ours);
    try {
        container->view();
        FAIL();
    } catch (const NSException& why) {
        EXPECT_EQ(why.reason(), "The interface file QVCameraReturnViewController sets no outlet \"barFillerView\"");
    }
}

TEST_F(CameraReturn, ThePageIsPinnedBelowTheBar)
{
    present();
    EXPECT_EQ(container->barView()->frame(), CGRectMake(0, 0, 320, 20));
    EXPECT_EQ(container->containerView()->frame(), CGRectMake(0, 20, 320, 460));
    EXPECT_EQ(navigation()->view()->superview(), container->containerView());
    EXPECT_EQ(navigation()->view()->frame(), CGRectMake(0, 0, 320, 460));
    EXPECT_EQ(page->view()->frame(), CGRectMake(0, 0, 320, 460));
    screen->setSize({ 480, 320 }, 1);
    settle();
    EXPECT_EQ(navigation()->view()->frame(), CGRectMake(0, 0, 480, 300));
}

// Looks.

TEST_F(CameraReturn, TheBarIsOneAreaOfItsTint)
{
    const auto bar = make<QVCameraReturnBarView>();
    bar->setTintColor(colors[0]);
    EXPECT_EQ(bar->backgroundColor(), colors[0]);
    const auto around = make<UIView>();
    around->setTintColor(colors[1]);
    bar->setTintColor(nullptr);
    around->addSubview(bar);
    EXPECT_EQ(bar->backgroundColor(), colors[1]);
}

TEST_F(CameraReturn, TheBarColorTintsTheBarAndWhatFillsTheRoomAboveIt)
{
    EXPECT_EQ(container->barColor(), nullptr);
    container->setBarColor(colors[0]);
    EXPECT_TRUE(container->isViewLoaded());
    EXPECT_EQ(container->barColor(), colors[0]);
    EXPECT_EQ(container->barView()->backgroundColor(), colors[0]);
    EXPECT_EQ(container->barFillerView()->tintColor(), colors[0]);
    EXPECT_EQ(container->barFillerView()->backgroundColor(), colors[0]);
}

TEST_F(CameraReturn, TheButtonColorTintsThePicturesOnlyWhileThereIsNoBackground)
{
    EXPECT_EQ(container->barButtonColor(), nullptr);
    container->setBarButtonColor(colors[0]);
    EXPECT_TRUE(container->isViewLoaded());
    EXPECT_EQ(container->barButtonColor(), colors[0]);
    EXPECT_EQ(container->pullDownImageView()->tintColor(), colors[0]);
    EXPECT_EQ(container->bigCameraImageView()->tintColor(), colors[0]);
    container->setBackToCameraBackgroundColor(colors[1]);
    container->setBarButtonColor(colors[2]);
    EXPECT_EQ(container->backToCameraButton()->tintColor(), colors[2]);
    EXPECT_EQ(container->pullDownImageView()->tintColor(), colors[1]);
    EXPECT_EQ(container->bigCameraImageView()->tintColor(), colors[1]);
}

TEST_F(CameraReturn, WithoutABackgroundThePicturesHaveTheButtonsColor)
{
    container->setBarButtonColor(colors[0]);
    container->setBackToCameraBackgroundColor(colors[1]);
    EXPECT_EQ(container->backToCameraBackgroundColor(), colors[1]);
    EXPECT_EQ(container->backToCameraBackgroundView()->backgroundColor(), colors[1]);
    container->setBackToCameraBackgroundColor(nullptr);
    EXPECT_EQ(container->backToCameraBackgroundColor(), nullptr);
    EXPECT_EQ(container->pullDownImageView()->tintColor(), colors[0]);
    EXPECT_EQ(container->bigCameraImageView()->tintColor(), colors[0]);
}

TEST_F(CameraReturn, TheTitleIsInCapitals)
{
    EXPECT_EQ(container->backToCameraLocalizedTitle(), std::nullopt);
    container->loadViewIfNeeded();
    EXPECT_EQ(container->backToCameraLocalizedTitle(), "BACK TO CAMERA");
    container->setBackToCameraLocalizedTitle("Straße");
    EXPECT_EQ(container->backToCameraButton()->titleForState(UIControlStateNormal), "STRASSE");
    container->setBackToCameraLocalizedTitle(std::nullopt);
    EXPECT_EQ(container->backToCameraLocalizedTitle(), std::nullopt);
}

TEST_F(CameraReturn, ClassDefaultsCountOnlyWhenTheViewLoads)
{
    EXPECT_EQ(QVCameraReturnViewController::defaultBarColor(), nullptr);
    EXPECT_EQ(QVCameraReturnViewController::defaultBarButtonColor(), nullptr);
    EXPECT_EQ(QVCameraReturnViewController::defaultBackToCameraLocalizedTitle(), std::nullopt);
    contain(choosy);
    const auto earlier = make<QVCameraReturnViewController>(page);
    earlier->loadViewIfNeeded();
    QVCameraReturnViewController::setDefaultBarColor(colors[0]);
    QVCameraReturnViewController::setDefaultBarButtonColor(colors[1]);
    QVCameraReturnViewController::setDefaultBackToCameraLocalizedTitle("zurück");
    EXPECT_NE(earlier->barColor(), colors[0]);
    container->loadViewIfNeeded();
    EXPECT_EQ(container->barColor(), colors[0]);
    EXPECT_EQ(container->barFillerView()->tintColor(), colors[0]);
    EXPECT_EQ(container->barButtonColor(), colors[1]);
    EXPECT_EQ(container->bigCameraImageView()->tintColor(), colors[1]);
    EXPECT_EQ(container->backToCameraLocalizedTitle(), "ZURÜCK");
    EXPECT_EQ(earlier->backToCameraLocalizedTitle(), "BACK TO CAMERA");
}

TEST_F(CameraReturn, BothBarViewsTakeTheBarsTintWhenItAppears)
{
    container->loadViewIfNeeded();
    container->barView()->setTintColor(colors[0]);
    container->barFillerView()->setTintColor(colors[1]);
    container->barView()->setBackgroundColor(nullptr);
    present();
    EXPECT_EQ(container->barView()->backgroundColor(), colors[0]);
    EXPECT_EQ(container->barFillerView()->backgroundColor(), colors[0]);
}

// The bar, as the page wishes it.

TEST_F(CameraReturn, APageWithoutWishesGetsTheBar)
{
    present();
    EXPECT_EQ(barHeight(), 20);
    EXPECT_EQ(childTop(), 20);
    EXPECT_FALSE(container->cameraReturnBarIsHidden());
    EXPECT_EQ(container->backToCameraButton()->alpha(), 1);
}

TEST_F(CameraReturn, AHiddenBarAloneLeavesThePageAtTwentyPoints)
{
    choosy->hidesBar = true;
    contain(choosy);
    present();
    EXPECT_TRUE(container->cameraReturnBarIsHidden());
    EXPECT_EQ(barHeight(), 0);
    EXPECT_EQ(childTop(), 20);
    EXPECT_EQ(barTop(), 0);
    EXPECT_EQ(container->backToCameraButton()->alpha(), 0);
    EXPECT_EQ(container->backToCameraBackgroundView()->alpha(), 0);
    EXPECT_EQ(container->barFillerView()->alpha(), 0);
}

TEST_F(CameraReturn, AHiddenBarAndAWishForItLetThePageFillTheScreen)
{
    window->setScreenInsets(UIEdgeInsetsMake(44, 0, 0, 0));
    choosy->hidesBar = choosy->fillsScreen = true;
    contain(choosy);
    present();
    EXPECT_EQ(childTop(), -44);
    EXPECT_EQ(barTop(), -44);
    EXPECT_EQ(container->containerView()->frame(), CGRectMake(0, 0, 320, 480));
}

TEST_F(CameraReturn, AWishToFillTheScreenAloneChangesNothing)
{
    window->setScreenInsets(UIEdgeInsetsMake(44, 0, 0, 0));
    choosy->fillsScreen = true;
    contain(choosy);
    present();
    EXPECT_EQ(childTop(), 20);
    EXPECT_EQ(barTop(), 0);
    EXPECT_EQ(container->barView()->frame(), CGRectMake(0, 44, 320, 20));
    EXPECT_EQ(container->barFillerView()->frame(), CGRectMake(0, 0, 320, 44));
    EXPECT_EQ(container->containerView()->frame(), CGRectMake(0, 64, 320, 416));
}

TEST_F(CameraReturn, TheTitleRisesBelowANotch)
{
    present();
    const auto rise = container->backToCameraVerticalCenteringConstraint();
    EXPECT_EQ(rise->constant(), 0);
    window->setScreenInsets(UIEdgeInsetsMake(44, 0, 0, 0));
    EXPECT_EQ(rise->constant(), -6);
    window->setScreenInsets(UIEdgeInsetsZero);
    EXPECT_EQ(rise->constant(), 0);
}

TEST_F(CameraReturn, AChangeOfTheSafeAreaTakesAnInvisibleButtonForAHiddenBar)
{
    present();
    container->backToCameraButton()->setAlpha(0);
    window->setScreenInsets(UIEdgeInsetsMake(30, 0, 0, 0));
    EXPECT_EQ(childTop(), -30);
    EXPECT_EQ(barTop(), -30);
    EXPECT_FALSE(container->cameraReturnBarIsHidden());
    container->backToCameraButton()->setAlpha(0.1);
    window->setScreenInsets(UIEdgeInsetsMake(40, 0, 0, 0));
    EXPECT_EQ(childTop(), 20);
    EXPECT_EQ(barTop(), 0);
}

TEST_F(CameraReturn, APageThatChangesItsMindIsAskedAgain)
{
    contain(choosy);
    present();
    choosy->hidesBar = true;
    EXPECT_FALSE(container->cameraReturnBarIsHidden());
    container->setNeedsReturnBarAppearanceUpdate();
    EXPECT_TRUE(container->cameraReturnBarIsHidden());
    EXPECT_EQ(alphaShown(), 0); // at once
}

TEST_F(CameraReturn, TheControllerThatIsSeenIsAsked)
{
    present();
    choosy->hidesBar = true;
    choosy->setModalPresentationStyle(UIModalPresentationOverFullScreen);
    page->presentViewController(choosy, false);
    container->setNeedsReturnBarAppearanceUpdate();
    EXPECT_TRUE(container->cameraReturnBarIsHidden());
    page->dismissViewControllerAnimated(false);
    container->setNeedsReturnBarAppearanceUpdate();
    EXPECT_FALSE(container->cameraReturnBarIsHidden());
}

TEST_F(CameraReturn, OfAPresentedNavigationControllerItsTopIsAsked)
{
    present();
    choosy->hidesBar = true;
    const auto over = make<UINavigationController>(choosy);
    over->setModalPresentationStyle(UIModalPresentationOverFullScreen);
    page->presentViewController(over, false);
    container->setNeedsReturnBarAppearanceUpdate();
    EXPECT_TRUE(container->cameraReturnBarIsHidden());
    page->dismissViewControllerAnimated(false);
}

// Status bar.

TEST_F(CameraReturn, TheStatusBarIsHiddenWhileTheBarIsShownAndThePageDecidesWhileItIsHidden)
{
    contain(choosy);
    present();
    EXPECT_EQ(container->childViewControllerForStatusBarHidden(), nullptr);
    EXPECT_TRUE(container->prefersStatusBarHidden());
    EXPECT_TRUE(UIApplication::sharedApplication()->isStatusBarHidden());
    choosy->hidesBar = true;
    container->setNeedsReturnBarAppearanceUpdate();
    EXPECT_EQ(container->childViewControllerForStatusBarHidden(), choosy);
    EXPECT_TRUE(container->prefersStatusBarHidden());
    EXPECT_FALSE(UIApplication::sharedApplication()->isStatusBarHidden());
    choosy->hidesStatusBar = true;
    container->setNeedsReturnBarAppearanceUpdate();
    EXPECT_TRUE(UIApplication::sharedApplication()->isStatusBarHidden());
}

TEST_F(CameraReturn, TheStatusBarSlides)
{
    EXPECT_EQ(container->preferredStatusBarUpdateAnimation(), UIStatusBarAnimationSlide);
    present();
    EXPECT_EQ(UIApplication::sharedApplication()->statusBarAnimation(), UIStatusBarAnimationSlide);
}

// Navigation.

TEST_F(CameraReturn, TheBarGoesAlongWithAPush)
{
    present();
    choosy->hidesBar = true;
    navigation()->pushViewController(choosy, true);
    EXPECT_EQ(barHeight(), 0);
    EXPECT_EQ(alphaShown(), 1);
    EXPECT_FALSE(UIApplication::sharedApplication()->isStatusBarHidden()); // the page decides from now on
    clock.advance(0.1);
    EXPECT_GT(alphaShown(), 0.1);
    EXPECT_LT(alphaShown(), 0.9);
    const double heightShown = container->barView()->layer()->presentationLayer()->bounds().size.height;
    EXPECT_NEAR(heightShown, 20 * alphaShown(), 1e-6);
    EXPECT_FALSE(choosy->scrollView->wasObserved()); // not before the end
    clock.advance(0.3);
    EXPECT_EQ(alphaShown(), 0);
    EXPECT_TRUE(choosy->scrollView->wasObserved());
}

TEST_F(CameraReturn, TheBarComesBackAlongWithAPop)
{
    present();
    choosy->hidesBar = true;
    navigation()->pushViewController(choosy, false);
    settle();
    EXPECT_EQ(container->barView()->frame().size.height, 0);
    navigation()->popViewControllerAnimated(true);
    EXPECT_EQ(barHeight(), 20);
    EXPECT_EQ(alphaShown(), 0);
    settle();
    EXPECT_EQ(alphaShown(), 1);
    EXPECT_EQ(container->barView()->frame(), CGRectMake(0, 0, 320, 20));
    EXPECT_EQ(page->view()->frame(), CGRectMake(0, 0, 320, 460));
}

TEST_F(CameraReturn, WithoutATransitionTheBarGoesAtOnce)
{
    present();
    choosy->hidesBar = true;
    navigation()->pushViewController(choosy, false);
    EXPECT_EQ(alphaShown(), 0);
    EXPECT_EQ(container->barView()->frame().size.height, 0);
    EXPECT_TRUE(choosy->scrollView->wasObserved());
}

TEST_F(CameraReturn, WhereNothingChangesThePageIsObservedBeforeTheTransitionEnds)
{
    present();
    navigation()->pushViewController(choosy, true);
    EXPECT_TRUE(choosy->scrollView->wasObserved());
    settle();
}

TEST_F(CameraReturn, ThePageBeforeIsLetGoWhenTheTransitionBegins)
{
    present();
    choosy->hidesBar = true;
    navigation()->pushViewController(choosy, true);
    const std::weak_ptr<UIScrollView> before = page->scrollView;
    page->scrollView->removeFromSuperview();
    page->scrollView = nullptr;
    EXPECT_TRUE(before.expired());
    settle();
}

TEST_F(CameraReturn, TheHeightTheTopAndTheButtonAreWhatAChangeIsJudgedBy)
{
    const auto pushes = [&](const std::shared_ptr<ChoosyPage>& next) {
        navigation()->pushViewController(next, true);
        const bool waits = !next->scrollView->wasObserved();
        settle();
        return waits;
    };
    present();
    EXPECT_FALSE(pushes(make<ChoosyPage>()));
    container->barViewHeightConstraint()->setConstant(30);
    EXPECT_TRUE(pushes(make<ChoosyPage>()));
    container->childViewTopConstraint()->setConstant(30);
    EXPECT_TRUE(pushes(make<ChoosyPage>()));
    container->backToCameraButton()->setAlpha(0.5);
    EXPECT_TRUE(pushes(make<ChoosyPage>()));
    EXPECT_FALSE(pushes(make<ChoosyPage>()));
    // A hidden bar leaves the page at 20 points, which is not the bar's height.
    const auto hidden = [] {
        auto made = make<ChoosyPage>();
        made->hidesBar = true;
        return made;
    };
    EXPECT_TRUE(pushes(hidden()));
    EXPECT_TRUE(pushes(hidden()));
}

/// Writes down where it is put, and whether that is animated.
class PlacedView : public UIView {
public:
    void setFrame(CGRect frame) override
    {
        places.push_back({ frame, currentAnimation().has_value() });
        UIView::setFrame(frame);
    }
    struct Place {
        CGRect frame;
        bool animated;
        bool operator==(const Place&) const = default;
    };
    std::vector<Place> places;
};

TEST_F(CameraReturn, ThePagesViewGetsTheFrameOfTheContainersView)
{
    present();
    container->setNeedsReturnBarAppearanceUpdate();
    EXPECT_EQ(container->containerView()->frame(), CGRectMake(0, 20, 320, 460));
    EXPECT_EQ(page->view()->frame(), CGRectMake(0, 20, 320, 460)); // not its bounds
    settle();
    EXPECT_EQ(page->view()->frame(), CGRectMake(0, 0, 320, 460)); // the navigation controller's layout
}

TEST_F(CameraReturn, ThePagesViewGetsThatFrameInTheAnimationAndAgainAtItsEnd)
{
    present();
    const auto view = make<PlacedView>();
    choosy->setView(view);
    choosy->hidesBar = true;
    navigation()->pushViewController(choosy, true);
    const PlacedView::Place along { CGRectMake(0, 20, 320, 460), true }, again { along.frame, false };
    EXPECT_THAT(view->places, Contains(along));
    view->places.clear();
    clock.advance(0.5);
    EXPECT_THAT(view->places, Contains(again));
}

// Back.

TEST_F(CameraReturn, TheButtonLeadsBackToTheCamera)
{
    present();
    tap({ 160, 10 });
    EXPECT_TRUE(container->isBeingDismissed());
    settle();
    EXPECT_FALSE(isPresented());
    EXPECT_EQ(camera->view()->superview(), window);
}

TEST_F(CameraReturn, DismissIsKnownBySelector)
{
    present();
    container->performSelector("dismiss:", std::shared_ptr<NSObject>());
    EXPECT_TRUE(container->isBeingDismissed());
    settle();
}

TEST_F(CameraReturn, EachTransitionOfAContainerHasItsOwnTransitioner)
{
    const auto of = [](const std::shared_ptr<UIViewControllerAnimatedTransitioning>& animator) {
        return std::dynamic_pointer_cast<QVCameraReturnTransitioner>(animator);
    };
    const auto coming = of(container->animationControllerForPresentedController(container, camera, camera));
    const auto going = of(container->animationControllerForDismissedController(container));
    ASSERT_TRUE(coming && going);
    EXPECT_TRUE(coming->isPresenting());
    EXPECT_FALSE(going->isPresenting());
    EXPECT_NE(of(container->animationControllerForDismissedController(container)), going);
}

TEST_F(CameraReturn, OthersMoveByTheirOwnTransitions)
{
    EXPECT_EQ(container->animationControllerForPresentedController(page, camera, camera), nullptr);
    EXPECT_EQ(container->animationControllerForDismissedController(page), nullptr);
}

// Finding the container.

TEST_F(CameraReturn, APageFindsTheContainerAroundIt)
{
    const auto inside = make<UIViewController>();
    page->addChildViewController(inside);
    EXPECT_EQ(cameraReturnViewController(*page), container);
    EXPECT_EQ(cameraReturnViewController(*inside), container);
    EXPECT_EQ(cameraReturnViewController(*navigation()), container);
}

TEST_F(CameraReturn, AControllerPresentedFromThePageFindsTheContainer)
{
    present();
    const auto inside = make<UIViewController>();
    const auto sheet = make<UINavigationController>(inside);
    page->presentViewController(sheet, false);
    EXPECT_EQ(cameraReturnViewController(*sheet), container);
    EXPECT_EQ(cameraReturnViewController(*inside), container);
    const auto another = make<UIViewController>(); // the container is one step further
    sheet->presentViewController(another, false);
    EXPECT_EQ(cameraReturnViewController(*another), container);
    sheet->dismissViewControllerAnimated(false);
    page->dismissViewControllerAnimated(false);
}

TEST_F(CameraReturn, TheParentOfThePresenterCountsToo)
{
    present();
    navigation()->setDefinesPresentationContext(true);
    const auto sheet = make<UIViewController>();
    sheet->setModalPresentationStyle(UIModalPresentationCurrentContext);
    page->presentViewController(sheet, false);
    ASSERT_EQ(sheet->presentingViewController(), navigation());
    EXPECT_EQ(cameraReturnViewController(*sheet), container);
    page->dismissViewControllerAnimated(false);
}

TEST_F(CameraReturn, ElsewhereThereIsNoContainer)
{
    present();
    EXPECT_EQ(cameraReturnViewController(*camera), nullptr);
    EXPECT_EQ(cameraReturnViewController(*container), nullptr); // never itself
}

}
}
