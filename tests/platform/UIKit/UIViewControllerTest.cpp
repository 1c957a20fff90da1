// SPDX-License-Identifier: Apache-2.0
#include "platform/UIKit/UIViewController.h"

#include "platform/UIKit/UIColor.h"
#include "platform/UIKit/UINavigationBar.h"
#include "platform/UIKit/UINavigationController.h"
#include "platform/UIKit/UIScrollView.h"
#include "platform/UIKit/UITraitCollection.h"
#include "platform/UIKit/UIViewControllerTransitionCoordinator.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/WindowTest.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace velmora::tests {
namespace {

using Words = std::vector<std::string>;

/// Writes what it hears into a diary that several share.
class Page : public UIViewController {
public:
    Page(std::string name, Words& diary)
        : name_(std::move(name))
        , diary_(diary)
    {
    }
    void viewDidLoad() override { note("loaded"); }
    void viewWillAppear(bool) override { note("will appear"); }
    void viewDidAppear(bool) override { note("appeared"); }
    void viewWillDisappear(bool) override { note("will disappear"); }
    void viewDidDisappear(bool) override { note("disappeared"); }
    void willMoveToParentViewController(const std::shared_ptr<UIViewController>& parent) override
    {
        note(parent ? "will join" : "will leave");
    }
    void didMoveToParentViewController(const std::shared_ptr<UIViewController>& parent) override
    {
        note(parent ? "joined" : "left");
    }
    bool prefersStatusBarHidden() override { return hidesStatusBar; }
    std::shared_ptr<UIViewController> childViewControllerForStatusBarHidden() override { return decider; }
    UIInterfaceOrientationMask supportedInterfaceOrientations() override { return orientations; }

    bool hidesStatusBar = false;
    std::shared_ptr<UIViewController> decider;
    UIInterfaceOrientationMask orientations = UIInterfaceOrientationMaskAll;

protected:
    void note(const std::string& word) { diary_.push_back(name_ + " " + word); }

private:
    const std::string name_;
    Words& diary_;
};

class Controllers : public WindowTest {
protected:
    std::shared_ptr<Page> page(const std::string& name) { return make<Page>(name, diary); }
    /// Shows it, and forgets what it said meanwhile.
    std::shared_ptr<Page> root()
    {
        const auto controller = page("root");
        window->setRootViewController(controller);
        diary.clear();
        return controller;
    }
    Words diary;
};

TEST_F(Controllers, TheViewIsLoadedWhenItIsFirstAskedFor)
{
    const auto controller = page("a");
    EXPECT_FALSE(controller->isViewLoaded());
    EXPECT_EQ(controller->view()->bounds().size, CGSizeMake(320, 480));
    EXPECT_EQ(controller->view()->viewController(), controller);
    controller->loadViewIfNeeded();
    EXPECT_EQ(diary, (Words { "a loaded" }));
}

TEST_F(Controllers, TheRootAppearsAndDisappearsWithItsWindow)
{
    window->setRootViewController(page("root"));
    EXPECT_EQ(diary, (Words { "root loaded", "root will appear", "root appeared" }));
    EXPECT_EQ(window->rootViewController()->view()->superview(), window);
    diary.clear();
    window->setHidden(true);
    EXPECT_EQ(diary, (Words { "root will disappear", "root disappeared" }));
}

TEST_F(Controllers, LayoutTellsTheController)
{
    class Laid : public UIViewController {
    public:
        void viewWillLayoutSubviews() override { words.push_back("will"); }
        void viewDidLayoutSubviews() override { words.push_back("did"); }
        Words words;
    };
    const auto controller = make<Laid>();
    window->setRootViewController(controller);
    controller->words.clear();
    controller->view()->setNeedsLayout();
    controller->view()->layoutIfNeeded();
    EXPECT_EQ(controller->words, (Words { "will", "did" }));
}

TEST_F(Controllers, ChildrenAppearWithTheirParent)
{
    const auto parent = page("parent"), child = page("child");
    parent->addChildViewController(child);
    parent->view()->addSubview(child->view());
    child->didMoveToParentViewController(parent);
    EXPECT_EQ(child->parentViewController(), parent);
    EXPECT_EQ(child->nextResponder(), parent->view());
    diary.clear();
    window->setRootViewController(parent);
    EXPECT_EQ(diary, (Words { "parent will appear", "child will appear", "parent appeared", "child appeared" }));
}

TEST_F(Controllers, AChildThatComesLaterAppearsWhenItsViewIsAdded)
{
    const auto parent = root(), child = page("child");
    parent->addChildViewController(child);
    parent->view()->addSubview(child->view());
    child->didMoveToParentViewController(parent);
    EXPECT_EQ(
        diary, (Words { "child will join", "child loaded", "child will appear", "child appeared", "child joined" }));
    diary.clear();
    child->willMoveToParentViewController(nullptr);
    child->view()->removeFromSuperview();
    child->removeFromParentViewController();
    EXPECT_EQ(diary, (Words { "child will leave", "child will disappear", "child disappeared", "child left" }));
}

TEST_F(Controllers, AControllerIsReleasedWithItsWindow)
{
    const std::weak_ptr<UIViewController> weak = root();
    window->setRootViewController(nullptr);
    EXPECT_TRUE(weak.expired());
}

TEST_F(Controllers, TheStatusBarFollowsTheChildWhereOneIsAnswered)
{
    const auto controller = root(), child = page("child");
    const auto application = UIApplication::sharedApplication();
    EXPECT_FALSE(application->isStatusBarHidden());
    child->hidesStatusBar = true;
    controller->decider = child;
    controller->setNeedsStatusBarAppearanceUpdate();
    EXPECT_TRUE(application->isStatusBarHidden());
    EXPECT_EQ(application->statusBarAnimation(), UIStatusBarAnimationFade);
}

TEST_F(Controllers, SafeAreaChangesAreTold)
{
    class Safe : public UIViewController {
    public:
        void viewSafeAreaInsetsDidChange() override { tops.push_back(view()->safeAreaInsets().top); }
        std::vector<double> tops;
    };
    const auto controller = make<Safe>();
    window->setRootViewController(controller);
    window->setScreenInsets(UIEdgeInsetsMake(20, 0, 0, 0));
    controller->setAdditionalSafeAreaInsets(UIEdgeInsetsMake(44, 0, 0, 0));
    controller->setAdditionalSafeAreaInsets(UIEdgeInsetsMake(44, 0, 0, 0));
    EXPECT_EQ(controller->tops, (std::vector<double> { 20, 64 }));
}

TEST_F(Controllers, APhoneOnItsSideIsCompactInHeight)
{
    const auto controller = root();
    EXPECT_EQ(controller->traitCollection()->verticalSizeClass(), UIUserInterfaceSizeClassRegular);
    screen->setSize({ 480, 320 }, 1);
    EXPECT_EQ(controller->view()->traitCollection()->verticalSizeClass(), UIUserInterfaceSizeClassCompact);
    EXPECT_EQ(window->bounds().size, CGSizeMake(480, 320));
    EXPECT_EQ(controller->view()->bounds().size, CGSizeMake(480, 320));
    EXPECT_EQ(controller->interfaceOrientation(), UIInterfaceOrientationLandscapeRight);
}

TEST_F(Controllers, AParentCanGiveItsChildOtherTraits)
{
    const auto parent = root(), child = page("child");
    parent->addChildViewController(child);
    parent->setOverrideTraitCollection(
        make<UITraitCollection>(UIUserInterfaceSizeClassRegular, UIUserInterfaceSizeClassCompact, 1.0), child);
    EXPECT_EQ(child->traitCollection()->verticalSizeClass(), UIUserInterfaceSizeClassCompact);
    EXPECT_EQ(parent->traitCollection()->verticalSizeClass(), UIUserInterfaceSizeClassRegular);
}

TEST_F(Controllers, ATurnedDeviceTurnsTheWindowWhereTheControllerSupportsIt)
{
    const auto controller = root();
    const auto application = UIApplication::sharedApplication();
    controller->orientations = UIInterfaceOrientationMaskPortrait;
    EXPECT_FALSE(application->turnTo(UIInterfaceOrientationLandscapeRight));
    controller->orientations = UIInterfaceOrientationMaskAllButUpsideDown;
    EXPECT_TRUE(application->turnTo(UIInterfaceOrientationLandscapeRight));
    clock.advance(1);
    EXPECT_EQ(controller->view()->bounds().size, CGSizeMake(480, 320));
    const CGPoint corner = window->layer()->convertPoint({ 0, 0 }, nullptr);
    EXPECT_NEAR(corner.x, 320, 1e-9); // the interface's top left is the display's top right
    EXPECT_NEAR(corner.y, 0, 1e-9);
}

TEST_F(Controllers, TheCoordinatorMovesAlongWithATurn)
{
    class Turning : public UIViewController {
    public:
        void viewWillTransitionToSize(
            CGSize size, const std::shared_ptr<UIViewControllerTransitionCoordinator>& coordinator) override
        {
            words.push_back("to " + std::to_string(static_cast<int>(size.width)));
            coordinator->animateAlongsideTransition(
                [this](auto& along) { words.push_back(along.isAnimated() ? "along" : "at once"); },
                [this](auto&) { words.push_back("done"); });
        }
        Words words;
    };
    const auto controller = make<Turning>();
    window->setRootViewController(controller);
    UIApplication::sharedApplication()->turnTo(UIInterfaceOrientationLandscapeLeft);
    EXPECT_EQ(controller->words, (Words { "to 480", "along" }));
    clock.advance(0.3);
    EXPECT_EQ(controller->words, (Words { "to 480", "along", "done" }));
}

/// Fades in half a second, and remembers what it was asked.
class Fade : public UIViewControllerAnimatedTransitioning {
public:
    double transitionDuration(const std::shared_ptr<UIViewControllerContextTransitioning>&) override { return 0.5; }
    void animateTransition(const std::shared_ptr<UIViewControllerContextTransitioning>& context) override
    {
        ++times;
        containerFrame = context->containerView()->frame();
        from = context->viewControllerForKey(UITransitionContextFromViewControllerKey);
        to = context->viewControllerForKey(UITransitionContextToViewControllerKey);
        finalFrame = context->finalFrameForViewController(to.lock());
        const auto comes = context->viewForKey(UITransitionContextToViewKey);
        const auto goes = context->viewForKey(UITransitionContextFromViewKey);
        context->containerView()->addSubview(comes);
        comes->setAlpha(0);
        UIView::animateWithDuration(
            0.5, [&] { comes->setAlpha(1); },
            [context, goes, completes = completes](bool) {
                if (completes)
                    goes->removeFromSuperview();
                context->completeTransition(completes);
            });
    }
    int times = 0;
    bool completes = true;
    CGRect containerFrame, finalFrame;
    std::weak_ptr<UIViewController> from, to;
};

class Chooser : public NSObject, public UIViewControllerTransitioningDelegate {
public:
    std::shared_ptr<UIViewControllerAnimatedTransitioning> animationControllerForPresentedController(
        const std::shared_ptr<UIViewController>&, const std::shared_ptr<UIViewController>& presenter,
        const std::shared_ptr<UIViewController>& from) override
    {
        presenting = presenter;
        source = from;
        return fade;
    }
    std::shared_ptr<UIViewControllerAnimatedTransitioning> animationControllerForDismissedController(
        const std::shared_ptr<UIViewController>&) override
    {
        return fade;
    }
    std::shared_ptr<Fade> fade = std::make_shared<Fade>();
    std::weak_ptr<UIViewController> presenting, source;
};

class Presenting : public Controllers {
protected:
    std::shared_ptr<Page> base = root(), sheet = page("sheet");
    std::shared_ptr<Chooser> chooser = make<Chooser>();
};

TEST_F(Presenting, WithoutAnimationIsDoneAtOnce)
{
    bool completed = false;
    base->presentViewController(sheet, false, [&] { completed = true; });
    EXPECT_TRUE(completed);
    EXPECT_EQ(diary,
        (Words { "sheet loaded", "root will disappear", "sheet will appear", "root disappeared", "sheet appeared" }));
    EXPECT_EQ(base->presentedViewController(), sheet);
    EXPECT_EQ(sheet->presentingViewController(), base);
    EXPECT_EQ(base->view()->window(), nullptr);
    EXPECT_EQ(sheet->view()->window(), window);
    EXPECT_EQ(sheet->view()->frame(), CGRectMake(0, 0, 320, 480));
    diary.clear();
    sheet->dismissViewControllerAnimated(false);
    EXPECT_EQ(diary, (Words { "sheet will disappear", "root will appear", "sheet disappeared", "root appeared" }));
    EXPECT_EQ(base->presentedViewController(), nullptr);
    EXPECT_EQ(base->view()->superview(), window);
    EXPECT_EQ(sheet->view()->window(), nullptr);
}

TEST_F(Presenting, TheDefaultTransitionSlidesUpFromBelow)
{
    base->presentViewController(sheet, true);
    EXPECT_TRUE(sheet->isBeingPresented());
    EXPECT_EQ(sheet->view()->layer()->presentationLayer()->frame().origin.y, 480);
    EXPECT_EQ(diary.back(), "sheet will appear");
    clock.advance(0.5);
    EXPECT_EQ(diary.back(), "sheet appeared");
    EXPECT_FALSE(sheet->isBeingPresented());
    base->dismissViewControllerAnimated(true);
    EXPECT_TRUE(sheet->isBeingDismissed());
    clock.advance(0.5);
    EXPECT_EQ(diary.back(), "root appeared");
    EXPECT_EQ(base->view()->frame(), CGRectMake(0, 0, 320, 480));
}

TEST_F(Presenting, TheDelegatesAnimatorMovesTheViews)
{
    sheet->setTransitioningDelegate(chooser);
    base->presentViewController(sheet, true);
    EXPECT_EQ(chooser->fade->times, 1);
    EXPECT_EQ(chooser->fade->from.lock(), base);
    EXPECT_EQ(chooser->fade->to.lock(), sheet);
    EXPECT_EQ(chooser->fade->containerFrame, CGRectMake(0, 0, 320, 480));
    EXPECT_EQ(chooser->fade->finalFrame, CGRectMake(0, 0, 320, 480));
    EXPECT_EQ(chooser->presenting.lock(), base);
    clock.advance(0.4);
    EXPECT_EQ(diary.back(), "sheet will appear");
    clock.advance(0.2);
    EXPECT_EQ(diary.back(), "sheet appeared");
    sheet->dismissViewControllerAnimated(true);
    EXPECT_EQ(chooser->fade->to.lock(), base);
    clock.advance(0.5);
    EXPECT_EQ(base->view()->superview(), window);
    EXPECT_EQ(window->subviews().size(), 1U);
}

TEST_F(Presenting, ACancelledTransitionPutsEverythingBack)
{
    sheet->setTransitioningDelegate(chooser);
    chooser->fade->completes = false;
    base->presentViewController(sheet, true);
    clock.advance(1);
    EXPECT_EQ(base->presentedViewController(), nullptr);
    EXPECT_EQ(base->view()->window(), window);
    EXPECT_EQ(sheet->view()->window(), nullptr);
    EXPECT_EQ(diary,
        (Words { "sheet loaded", "root will disappear", "sheet will appear", "sheet will disappear", "root will appear",
            "root appeared", "sheet disappeared" }));
}

TEST_F(Presenting, OthersMoveAlongWithTheTransition)
{
    class Along : public UIViewController {
    public:
        void viewWillAppear(bool animated) override
        {
            UIViewController::viewWillAppear(animated);
            const auto coordinator = transitionCoordinator();
            if (!coordinator)
                return;
            duration = coordinator->transitionDuration();
            coordinator->animateAlongsideTransition(
                [this](auto&) { words.push_back(UIView::currentAnimation() ? "along" : "still"); },
                [this](auto& over) { words.push_back(over.isCancelled() ? "cancelled" : "done"); });
        }
        double duration = 0;
        Words words;
    };
    const auto controller = make<Along>();
    controller->setTransitioningDelegate(chooser);
    base->presentViewController(controller, true);
    EXPECT_EQ(controller->duration, 0.5);
    EXPECT_EQ(controller->words, (Words { "along" }));
    EXPECT_TRUE(base->transitionCoordinator());
    clock.advance(0.5);
    EXPECT_EQ(controller->words, (Words { "along", "done" }));
    EXPECT_EQ(controller->transitionCoordinator(), nullptr);
}

TEST_F(Presenting, GoesByTheOutermostParent)
{
    const auto child = page("child");
    base->addChildViewController(child);
    sheet->setTransitioningDelegate(chooser);
    child->presentViewController(sheet, true);
    clock.advance(1);
    EXPECT_EQ(chooser->presenting.lock(), base);
    EXPECT_EQ(chooser->source.lock(), child);
    EXPECT_EQ(sheet->presentingViewController(), base);
    EXPECT_EQ(child->presentedViewController(), sheet);
}

TEST_F(Presenting, OverFullScreenLeavesTheViewBelow)
{
    sheet->setModalPresentationStyle(UIModalPresentationOverFullScreen);
    base->presentViewController(sheet, false);
    EXPECT_EQ(base->view()->window(), window);
    EXPECT_EQ(diary, (Words { "sheet loaded", "sheet will appear", "sheet appeared" }));
    sheet->dismissViewControllerAnimated(false);
    EXPECT_EQ(diary.back(), "sheet disappeared");
    EXPECT_EQ(base->view()->superview(), window);
}

TEST_F(Presenting, ASecondOneIsRefusedAndLogged)
{
    base->presentViewController(sheet, false);
    CapturedLog log;
    base->presentViewController(page("other"), false);
    EXPECT_EQ(base->presentedViewController(), sheet);
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_NE(log.lines()[0].find("cannot present"), std::string::npos);
}

TEST_F(Presenting, DismissingTheLowestTakesAllAboveAlong)
{
    const auto top = page("top");
    base->presentViewController(sheet, false);
    sheet->presentViewController(top, false);
    base->dismissViewControllerAnimated(false);
    EXPECT_EQ(base->presentedViewController(), nullptr);
    EXPECT_EQ(sheet->presentedViewController(), nullptr);
    EXPECT_EQ(window->subviews(), (std::vector { base->view() }));
}

TEST_F(Presenting, ADismissedControllerIsReleased)
{
    const std::weak_ptr<UIViewController> weak = sheet;
    base->presentViewController(sheet, true);
    sheet = nullptr;
    clock.advance(1);
    EXPECT_FALSE(weak.expired());
    base->dismissViewControllerAnimated(true);
    clock.advance(1);
    EXPECT_TRUE(weak.expired());
}

class Shows : public NSObject, public UINavigationControllerDelegate {
public:
    void willShowViewController(const std::shared_ptr<UINavigationController>& navigation,
        const std::shared_ptr<UIViewController>& controller, bool animated) override
    {
        words.push_back(std::string("will show ") + (animated ? "animated" : "at once"));
        isTop = navigation->topViewController() == controller;
        hasCoordinator = navigation->transitionCoordinator() != nullptr;
    }
    void didShowViewController(
        const std::shared_ptr<UINavigationController>&, const std::shared_ptr<UIViewController>&, bool) override
    {
        words.push_back("did show");
    }
    Words words;
    bool isTop = false, hasCoordinator = false;
};

class Navigation : public Controllers {
protected:
    Navigation()
    {
        navigation->setDelegate(shows);
        navigation->setViewControllers({ first }, false);
        window->setRootViewController(navigation);
    }
    std::shared_ptr<UINavigationController> navigation = make<UINavigationController>();
    std::shared_ptr<Page> first = page("first"), second = page("second");
    std::shared_ptr<Shows> shows = make<Shows>();
};

TEST_F(Navigation, ShowsItsFirstController)
{
    EXPECT_EQ(
        diary, (Words { "first will join", "first joined", "first loaded", "first will appear", "first appeared" }));
    EXPECT_EQ(shows->words, (Words { "will show at once", "did show" }));
    EXPECT_EQ(first->navigationController(), navigation);
    EXPECT_EQ(first->view()->window(), window);
}

TEST_F(Navigation, APushMovesToTheNextOne)
{
    diary.clear();
    shows->words.clear();
    navigation->pushViewController(second, true);
    EXPECT_EQ(navigation->topViewController(), second);
    EXPECT_EQ(shows->words, (Words { "will show animated" }));
    EXPECT_TRUE(shows->isTop);
    EXPECT_TRUE(shows->hasCoordinator);
    EXPECT_EQ(second->view()->layer()->presentationLayer()->frame().origin.x, 320);
    clock.advance(0.5);
    EXPECT_EQ(diary,
        (Words { "second will join", "first will disappear", "second loaded", "second will appear", "first disappeared",
            "second appeared", "second joined" }));
    EXPECT_EQ(shows->words, (Words { "will show animated", "did show" }));
    EXPECT_EQ(navigation->transitionCoordinator(), nullptr);
    EXPECT_EQ(first->view()->window(), nullptr);
}

TEST_F(Navigation, ThePagesSlidePastEachOther)
{
    const auto x = [](const std::shared_ptr<UIViewController>& controller) {
        return controller->view()->layer()->presentationLayer()->frame().origin.x;
    };
    navigation->pushViewController(second, true);
    clock.advance(0.1);
    EXPECT_GT(x(second), 20);
    EXPECT_LT(x(second), 300);
    EXPECT_NEAR(x(first), -0.3 * (320 - x(second)), 1e-6);
    clock.advance(1);
    EXPECT_EQ(x(second), 0);
    navigation->popViewControllerAnimated(true);
    EXPECT_EQ(x(first), -96);
    clock.advance(0.1);
    EXPECT_NEAR(x(second), 320 + x(first) / 0.3, 1e-6);
    clock.advance(1);
    EXPECT_EQ(x(first), 0);
    EXPECT_EQ(second->view()->transform(), CGAffineTransformIdentity);
}

TEST_F(Navigation, APageThatIsLaidOutMeanwhileSlidesOn)
{
    navigation->pushViewController(second, true);
    clock.advance(0.05);
    const auto shown = [&] { return second->view()->layer()->presentationLayer()->frame(); };
    const double x = shown().origin.x;
    UIView::animateWithDuration(0.3, [&] { navigation->view()->setFrame(CGRectMake(0, 100, 320, 380)); });
    EXPECT_NEAR(shown().origin.x, x, 1e-6);
    EXPECT_EQ(shown().size.height, 480);
    clock.advance(1);
    EXPECT_EQ(shown(), CGRectMake(0, 0, 320, 380));
}

TEST_F(Navigation, APushInTheMiddleOfAnotherEndsThatOne)
{
    const auto third = page("third");
    navigation->pushViewController(second, true);
    clock.advance(0.2);
    navigation->pushViewController(third, true);
    EXPECT_EQ(first->view()->superview(), nullptr);
    EXPECT_EQ(diary.back(), "third will appear");
    const auto coordinator = navigation->transitionCoordinator();
    clock.advance(0.3); // the first one would have ended
    EXPECT_EQ(navigation->transitionCoordinator(), coordinator);
    clock.advance(0.1);
    EXPECT_EQ(navigation->transitionCoordinator(), nullptr);
    EXPECT_EQ(diary.back(), "third joined");
    EXPECT_EQ(second->view()->superview(), nullptr);
}

TEST_F(Navigation, APopGoesBackAndLetsGo)
{
    navigation->pushViewController(second, false);
    diary.clear();
    EXPECT_EQ(navigation->popViewControllerAnimated(true), second);
    clock.advance(0.5);
    EXPECT_EQ(diary,
        (Words { "second will leave", "second will disappear", "first will appear", "second disappeared", "second left",
            "first appeared", "first joined" }));
    EXPECT_EQ(second->parentViewController(), nullptr);
    EXPECT_EQ(navigation->popViewControllerAnimated(true), nullptr);
}

TEST_F(Navigation, AViewThatOthersPlacedIsPutRightByTheNextLayout)
{
    first->view()->setFrame(CGRectMake(5, 20, 320, 480));
    EXPECT_EQ(first->view()->frame(), CGRectMake(5, 20, 320, 480));
    navigation->view()->layoutIfNeeded();
    EXPECT_EQ(first->view()->frame(), CGRectMake(0, 0, 320, 480));
    const auto turn = CGAffineTransformMakeRotation(0.5);
    first->view()->setTransform(turn); // it stands as it is meant to
    first->view()->setCenter({ 100, 100 });
    navigation->view()->layoutIfNeeded();
    EXPECT_EQ(first->view()->center(), CGPointMake(100, 100));
}

TEST_F(Navigation, AViewThatOthersMoveAlongWithATransitionIsBroughtToItsPlaceAlongWithIt)
{
    navigation->pushViewController(second, true);
    const auto shown = [&] { return second->view()->layer()->presentationLayer()->frame(); };
    navigation->transitionCoordinator()->animateAlongsideTransition(
        [&](auto&) { second->view()->setFrame(CGRectMake(0, 50, 320, 480)); }, {});
    EXPECT_EQ(second->view()->frame(), CGRectMake(0, 50, 320, 480));
    navigation->view()->layoutIfNeeded();
    EXPECT_EQ(second->view()->frame(), CGRectMake(0, 0, 320, 480));
    clock.advance(0.1);
    EXPECT_NEAR(shown().origin.y, 0, 1e-6);
    EXPECT_GT(shown().origin.x, 20);
    EXPECT_EQ(second->view()->layer()->animationKeys(), (Words { "transform", "position" }));
    clock.advance(0.4);
    EXPECT_EQ(shown(), CGRectMake(0, 0, 320, 480));
    EXPECT_EQ(diary.back(), "second joined");
}

TEST_F(Navigation, AViewThatDoesNotMoveIsPutRightAtOnceAlsoInATransition)
{
    const auto above = page("above");
    above->addChildViewController(navigation);
    window->setRootViewController(above);
    above->view()->addSubview(navigation->view());
    window->layoutIfNeeded();
    const auto modal = page("modal");
    above->presentViewController(modal, true);
    ASSERT_TRUE(navigation->transitionCoordinator());
    first->view()->setFrame(CGRectMake(0, 20, 320, 480));
    navigation->view()->layoutIfNeeded();
    EXPECT_EQ(first->view()->layer()->presentationLayer()->frame(), CGRectMake(0, 0, 320, 480));
    clock.advance(1);
}

TEST_F(Navigation, ALargeTitleCanBeSeenBelowItsBar)
{
    navigation->navigationBar()->setPrefersLargeTitles(true);
    EXPECT_FALSE(navigation->navigationBar()->subviews()[2]->clipsToBounds());
}

TEST_F(Navigation, TheBarShowsTheTitleAndStaysBelowTheStatusBar)
{
    first->setTitle("Photos");
    window->setScreenInsets(UIEdgeInsetsMake(20, 0, 0, 0));
    navigation->setViewControllers({ second }, false);
    second->setTitle("Albums");
    navigation->setViewControllers({ first }, false);
    navigation->view()->layoutIfNeeded();
    EXPECT_EQ(navigation->navigationBar()->title(), "Photos");
    EXPECT_EQ(navigation->navigationBar()->frame(), CGRectMake(0, 20, 320, 44));
    EXPECT_EQ(first->view()->safeAreaInsets().top, 64);
    EXPECT_EQ(navigation->navigationBar()->subviews().size(), 2U);
    navigation->navigationBar()->setPrefersLargeTitles(true);
    navigation->view()->layoutIfNeeded();
    EXPECT_EQ(navigation->navigationBar()->frame(), CGRectMake(0, 20, 320, 96));
    EXPECT_EQ(navigation->navigationBar()->subviews().size(), 3U);
    navigation->setNavigationBarHidden(true);
    EXPECT_EQ(first->view()->safeAreaInsets().top, 20);
}

TEST_F(Navigation, TheBarsBackgroundReachesUpToTheScreensEdge)
{
    const auto bar = navigation->navigationBar();
    window->setScreenInsets(UIEdgeInsetsMake(20, 0, 0, 0));
    window->layoutIfNeeded();
    EXPECT_EQ(bar->subviews()[0]->frame(), CGRectMake(0, -20, 320, 64));
    window->setScreenInsets(UIEdgeInsetsZero);
    window->layoutIfNeeded();
    EXPECT_EQ(bar->subviews()[0]->frame(), CGRectMake(0, 0, 320, 44));
}

TEST_F(Navigation, OthersThatMoveAlongKeepStepWithThePages)
{
    const auto beside = make<UIView>(CGRectMake(320, 0, 320, 10));
    window->addSubview(beside);
    navigation->pushViewController(second, true);
    navigation->transitionCoordinator()->animateAlongsideTransition(
        [&](auto&) { beside->setFrame(CGRectMake(0, 0, 320, 10)); }, {});
    clock.advance(0.1);
    const double x = second->view()->layer()->presentationLayer()->frame().origin.x;
    EXPECT_GT(x, 20);
    EXPECT_NEAR(beside->layer()->presentationLayer()->frame().origin.x, x, 1e-6);
    clock.advance(1);
}

TEST_F(Navigation, ItsSafeAreaSettlesAlsoWhereItIsTurned)
{
    const auto scrollView = make<UIScrollView>(CGRectMake(0, 0, 320, 480));
    first->view()->addSubview(scrollView);
    for (const double angle : { -1.5707963267948966, 0.3, 1.1 }) {
        navigation->view()->setTransform(CGAffineTransformMakeRotation(angle));
        window->setScreenInsets(UIEdgeInsetsMake(10 * angle * angle, 0, 0, 0));
        window->layoutIfNeeded();
        EXPECT_GE(scrollView->safeAreaInsets().top, 44) << angle;
        EXPECT_NEAR(scrollView->contentOffset().y, -scrollView->safeAreaInsets().top, 1e-6) << angle;
    }
    scrollView->setTransform(CGAffineTransformMakeRotation(0.3));
    for (double inset = 0.1; inset < 30; inset += 0.7) {
        window->setScreenInsets(UIEdgeInsetsMake(inset, 0, 0, 0));
        EXPECT_NEAR(scrollView->contentOffset().y, -scrollView->safeAreaInsets().top, 1e-6) << inset;
    }
}

TEST_F(Navigation, TheBackButtonGoesBack)
{
    navigation->pushViewController(second, false);
    render();
    tap({ 20, 20 });
    clock.advance(1);
    EXPECT_EQ(navigation->topViewController(), first);
}

}
}
