// SPDX-License-Identifier: Apache-2.0
#include <vector>

#include "tests/velmora/navigation/ReturnTest.h"

namespace velmora::tests {
namespace {

/// A page in the container, pulled by hand: 44 points of navigation bar lie above its top.
class Pulling : public ReturnTest {
protected:
    explicit Pulling(CGSize size = { 320, 480 })
        : ReturnTest(size)
    {
        contain(choosy);
        present();
    }
    const std::shared_ptr<UIScrollView>& scrollView() const { return choosy->scrollView; }
    std::shared_ptr<UINavigationBar> navigationBar() const
    {
        return container->navigationController()->navigationBar();
    }
    double title() const { return container->backToCameraButton()->alpha(); }
    double bigCamera() const { return container->bigCameraImageView()->alpha(); }
    double arrow() const { return container->pullDownImageView()->alpha(); }

    /// A finger holds it so many points beyond its top, and moves so many points a second.
    void hold(double overscroll, double velocity = 0)
    {
        scrollView()->setDragging(true);
        scrollView()->panGestureRecognizer()->setVelocity({ 0, velocity }, scrollView());
        scrollView()->setContentOffset({ 0, -44 - overscroll });
    }
    /// No finger holds it.
    void release(double overscroll)
    {
        scrollView()->setDragging(false);
        scrollView()->setContentOffset({ 0, -44 - overscroll });
    }
    /// What a person sees of an armed pull: it leads back when it is let go.
    bool leadsBackWhenReleased()
    {
        release(30);
        const bool back = container->isBeingDismissed();
        clock.advance(1);
        return back;
    }
};

TEST_F(Pulling, TheBarGrowsByThePull)
{
    ASSERT_EQ(scrollView()->adjustedContentInset().top, 44);
    hold(10);
    EXPECT_EQ(barHeight(), 30);
    hold(33.5);
    EXPECT_EQ(barHeight(), 53.5);
    hold(0.25);
    EXPECT_EQ(barHeight(), 20.25);
    hold(0);
    EXPECT_EQ(barHeight(), 20);
    hold(10);
    hold(-100);
    EXPECT_EQ(barHeight(), 20);
}

TEST_F(Pulling, TheContentsOwnInsetCounts)
{
    scrollView()->setContentInset(UIEdgeInsetsMake(16, 0, 0, 0));
    hold(26);
    EXPECT_EQ(barHeight(), 30);
}

TEST_F(Pulling, InRegularHeightEightyPointsArm)
{
    hold(79);
    EXPECT_FALSE(leadsBackWhenReleased());
    hold(80);
    EXPECT_TRUE(leadsBackWhenReleased());
    EXPECT_FALSE(isPresented());
}

class PullingInCompactHeight : public Pulling {
protected:
    PullingInCompactHeight()
        : Pulling({ 568, 320 })
    {
    }
};

TEST_F(PullingInCompactHeight, SixtyPointsArm)
{
    hold(59);
    EXPECT_FALSE(leadsBackWhenReleased());
    hold(60);
    EXPECT_TRUE(leadsBackWhenReleased());
}

TEST_F(PullingInCompactHeight, TheTitleFadesByTheShorterWay)
{
    hold(39); // 0.65 of it
    EXPECT_NEAR(title(), 0.5, 1e-12);
    hold(50);
    EXPECT_EQ(title(), 0);
}

TEST_F(Pulling, AFingerThatMovesUpFastDoesNotArm)
{
    std::vector<double> arm;
    for (const double velocity : { 900, 0, -400, -499, -500, -501, -600 }) {
        contain(choosy = make<ChoosyPage>());
        if (camera->presentedViewController())
            camera->dismissViewControllerAnimated(false);
        present();
        hold(80, velocity);
        if (leadsBackWhenReleased())
            arm.push_back(velocity);
    }
    EXPECT_EQ(arm, (std::vector<double> { 900, 0, -400, -499 })); // 500 exactly is too fast
}

TEST_F(Pulling, GoingBackBelowTheThresholdDisarms)
{
    hold(80);
    hold(79);
    EXPECT_FALSE(leadsBackWhenReleased());
}

TEST_F(Pulling, TurningUpFastDisarms)
{
    hold(100);
    hold(90, -501);
    EXPECT_FALSE(leadsBackWhenReleased());
}

TEST_F(Pulling, ScrollingThatIsNotPastTheTopLeavesItArmed)
{
    hold(80);
    hold(-100); // in one leap
    EXPECT_EQ(barHeight(), 20);
    release(-101);
    EXPECT_TRUE(container->isBeingDismissed());
    clock.advance(1);
}

TEST_F(Pulling, ItLeadsBackOnlyWhenTheFingerIsLifted)
{
    hold(90);
    hold(95);
    EXPECT_FALSE(container->isBeingDismissed());
    release(94);
    EXPECT_TRUE(container->isBeingDismissed());
    clock.advance(1);
    EXPECT_FALSE(isPresented());
}

TEST_F(Pulling, ItLeadsBackOnce)
{
    hold(90);
    release(89);
    clock.advance(1);
    camera->presentViewController(container, false);
    release(88);
    EXPECT_FALSE(container->isBeingDismissed());
}

TEST_F(Pulling, NothingArmsWithoutAFinger)
{
    release(90);
    release(89);
    EXPECT_FALSE(container->isBeingDismissed());
    EXPECT_EQ(barHeight(), 109);
}

TEST_F(Pulling, TheTitleFadesBetweenHalfAndFourFifthsOfTheWay)
{
    const std::vector<std::pair<double, double>> expected { { 39, 1 }, { 40, 1 }, { 46, 0.75 }, { 52, 0.5 },
        { 58, 0.25 }, { 62, 1 - 0.275 / 0.3 }, { 64, 0 }, { 65, 0 }, { 80, 0 }, { 120, 0 } };
    for (const auto& [overscroll, alpha] : expected) {
        hold(overscroll);
        EXPECT_NEAR(title(), alpha, 1e-12) << overscroll;
        EXPECT_NEAR(container->backToCameraBackgroundView()->alpha(), alpha, 1e-12) << overscroll;
    }
    EXPECT_EQ(container->barFillerView()->alpha(), 1);
}

TEST_F(Pulling, TheTitleIsThereWheneverNoFingerHolds)
{
    hold(60);
    ASSERT_LT(title(), 1);
    release(60.5);
    EXPECT_EQ(title(), 1);
    release(75);
    EXPECT_EQ(title(), 1);
}

TEST_F(Pulling, TheCameraPopsUpWhereItArms)
{
    hold(79.5);
    EXPECT_EQ(bigCamera(), 0);
    hold(80);
    EXPECT_EQ(bigCamera(), 1);
    EXPECT_EQ(container->bigCameraImageView()->transform(), CGAffineTransformIdentity);
    EXPECT_EQ(container->bigCameraImageView()->layer()->presentationLayer()->affineTransform().a, 0.05);
    EXPECT_EQ(arrow(), 0);
    EXPECT_EQ(container->pullDownImageView()->transform(), CGAffineTransformMakeTranslation(0, 10));
    clock.advance(0.0772); // the peak of a spring that settles in 0.3 seconds at half of the critical damping
    EXPECT_NEAR(container->bigCameraImageView()->layer()->presentationLayer()->affineTransform().a, 1.1549, 1e-3);
    EXPECT_EQ(container->pullDownImageView()->transform(), CGAffineTransformMakeTranslation(0, 10));
    clock.advance(0.2229);
    EXPECT_EQ(container->pullDownImageView()->transform(), CGAffineTransformIdentity);
    EXPECT_EQ(arrow(), 0);
}

TEST_F(Pulling, TheCameraShrinksAwayBelowTheThreshold)
{
    hold(80);
    clock.advance(0.4);
    hold(70);
    EXPECT_EQ(bigCamera(), 0);
    EXPECT_EQ(arrow(), 1);
    EXPECT_EQ(container->bigCameraImageView()->transform(), CGAffineTransformMakeScale(0.05, 0.05));
    clock.advance(0.19);
    EXPECT_EQ(container->bigCameraImageView()->transform(), CGAffineTransformMakeScale(0.05, 0.05));
    EXPECT_GT(container->bigCameraImageView()->layer()->presentationLayer()->opacity(), 0);
    clock.advance(0.02);
    EXPECT_EQ(container->bigCameraImageView()->transform(), CGAffineTransformIdentity);
    EXPECT_EQ(container->bigCameraImageView()->layer()->presentationLayer()->opacity(), 0);
}

TEST_F(Pulling, TheCameraComparesTheWayExactlyWithOne)
{
    hold(100); // a finger's way ends at one
    EXPECT_EQ(bigCamera(), 1);
    hold(120, -900); // armed or not
    EXPECT_EQ(bigCamera(), 1);
    release(100); // without a finger it goes on
    EXPECT_EQ(bigCamera(), 0);
    release(80);
    EXPECT_EQ(bigCamera(), 1);
}

TEST_F(Pulling, ACameraThatIsHalfThereIsLeftAlone)
{
    container->bigCameraImageView()->setAlpha(0.5);
    hold(80);
    EXPECT_EQ(bigCamera(), 0.5);
    EXPECT_EQ(arrow(), 1);
    hold(10);
    EXPECT_EQ(bigCamera(), 0.5);
}

TEST_F(Pulling, TheCameraBeginsWhereItIsSeen)
{
    const auto seen = [&] { return container->bigCameraImageView()->layer()->presentationLayer()->opacity(); };
    hold(80);
    clock.advance(0.01);
    const double coming = seen();
    ASSERT_GT(coming, 0);
    ASSERT_LT(coming, 1);
    hold(10);
    EXPECT_NEAR(seen(), coming, 1e-6);
    clock.advance(0.05);
    const double going = seen();
    ASSERT_GT(going, 0);
    hold(80);
    EXPECT_NEAR(seen(), going, 1e-6);
}

TEST_F(Pulling, TheNavigationBarGoesDownWithThePull)
{
    hold(30);
    EXPECT_EQ(navigationBar()->frame(), CGRectMake(0, 30, 320, 44));
    hold(-10);
    EXPECT_EQ(navigationBar()->frame(), CGRectMake(0, 0, 320, 44));
}

TEST_F(Pulling, ALargeTitleGoesDownInItsBar)
{
    navigationBar()->setPrefersLargeTitles(true);
    settle();
    ASSERT_EQ(navigationBar()->subviews().size(), 3U);
    const auto title = navigationBar()->subviews()[2];
    scrollView()->setDragging(true);
    scrollView()->setContentOffset({ 0, -96 - 30 });
    EXPECT_EQ(title->bounds().origin.y, -30);
    EXPECT_EQ(navigationBar()->frame().origin.y, 0);
    scrollView()->setContentOffset({ 0, 0 });
    EXPECT_EQ(title->bounds().origin.y, 0);
}

TEST_F(Pulling, ALargeTitleThatIsNotThereMovesNothing)
{
    navigationBar()->setPrefersLargeTitles(true);
    settle();
    const auto title = navigationBar()->subviews()[2];
    title->removeFromSuperview();
    const CGRect frame = navigationBar()->frame();
    scrollView()->setDragging(true);
    scrollView()->setContentOffset({ 0, -96 - 30 });
    EXPECT_EQ(barHeight(), 50);
    EXPECT_EQ(navigationBar()->frame(), frame);
    EXPECT_EQ(navigationBar()->subviews()[1]->bounds().origin.y, 0);
    EXPECT_EQ(title->bounds().origin.y, 0);
}

TEST_F(Pulling, AHiddenNavigationBarStaysWhereItIs)
{
    container->navigationController()->setNavigationBarHidden(true);
    settle();
    const CGRect frame = navigationBar()->frame();
    scrollView()->setDragging(true);
    scrollView()->setContentOffset({ 0, -30 });
    EXPECT_EQ(barHeight(), 50);
    EXPECT_EQ(navigationBar()->frame(), frame);
}

// When it does not count.

TEST_F(Pulling, APageMayForbidIt)
{
    choosy->allowsDrag = false;
    hold(90);
    EXPECT_EQ(barHeight(), 20);
    EXPECT_FALSE(leadsBackWhenReleased());
    choosy->allowsDrag = true;
    hold(90);
    choosy->allowsDrag = false;
    EXPECT_FALSE(leadsBackWhenReleased());
}

TEST_F(Pulling, NothingHappensWhileTheBarIsHidden)
{
    choosy->hidesBar = true;
    container->setNeedsReturnBarAppearanceUpdate();
    hold(90);
    EXPECT_EQ(barHeight(), 0);
    EXPECT_FALSE(leadsBackWhenReleased());
}

TEST_F(Pulling, NothingHappensDuringATransition)
{
    const auto next = make<ChoosyPage>();
    container->navigationController()->pushViewController(next, true);
    next->scrollView->setDragging(true);
    next->scrollView->setContentOffset({ 0, -90 });
    EXPECT_EQ(barHeight(), 20);
    clock.advance(1);
    next->scrollView->setContentOffset({ 0, -91 });
    EXPECT_EQ(barHeight(), 67);
}

TEST_F(Pulling, NothingHappensWhileItLeadsBack)
{
    hold(90);
    release(89);
    ASSERT_TRUE(container->isBeingDismissed());
    release(50);
    EXPECT_EQ(barHeight(), 110); // of the last pull
    clock.advance(1);
}

// Which scroll view is observed.

class ObservedScrollView : public ReturnTest {
protected:
    /// A page whose view holds these, from the back to the front.
    void show(const std::vector<std::shared_ptr<UIView>>& views)
    {
        const auto bare = make<UIViewController>();
        for (const auto& view : views)
            bare->view()->addSubview(view);
        contain(bare);
        present();
    }
    std::shared_ptr<UIScrollView> scrolling(CGRect frame = CGRectMake(0, 0, 320, 400)) const
    {
        return make<UIScrollView>(frame);
    }
};

TEST_F(ObservedScrollView, ThePagesOwnViewCanBeOne)
{
    const auto own = scrolling(), inside = scrolling();
    own->addSubview(inside);
    const auto bare = make<UIViewController>();
    bare->setView(own);
    contain(bare);
    present();
    EXPECT_TRUE(own->wasObserved());
    EXPECT_FALSE(inside->wasObserved());
}

TEST_F(ObservedScrollView, IsTheFirstOnTheChainOfFirstVisibleSubviews)
{
    const auto outer = make<UIView>(), hidden = make<UIView>();
    const auto found = scrolling(), behindHidden = scrolling(), sibling = scrolling();
    hidden->setHidden(true);
    hidden->addSubview(behindHidden);
    outer->addSubview(hidden);
    outer->addSubview(found);
    outer->addSubview(sibling);
    show({ outer });
    EXPECT_TRUE(found->wasObserved());
    EXPECT_FALSE(behindHidden->wasObserved());
    EXPECT_FALSE(sibling->wasObserved());
}

TEST_F(ObservedScrollView, AHiddenOneIsSkipped)
{
    const auto hidden = scrolling(), next = scrolling();
    hidden->setHidden(true);
    show({ hidden, next });
    EXPECT_FALSE(hidden->wasObserved());
    EXPECT_TRUE(next->wasObserved());
}

TEST_F(ObservedScrollView, ATransparentOneIsNotSkipped)
{
    const auto transparent = scrolling(), next = scrolling();
    transparent->setAlpha(0);
    show({ transparent, next });
    EXPECT_TRUE(transparent->wasObserved());
}

TEST_F(ObservedScrollView, IsNotSoughtAmongSiblings)
{
    const auto deep = make<UIView>(), first = make<UIView>();
    const auto sibling = scrolling();
    first->addSubview(deep);
    show({ first, sibling });
    EXPECT_FALSE(sibling->wasObserved());
    EXPECT_EQ(barHeight(), 20);
}

TEST_F(ObservedScrollView, OfAnotherPageEndsThatOfTheOneBefore)
{
    present();
    const auto next = make<UIViewController>(); // without any
    container->navigationController()->pushViewController(next, false);
    page->scrollView->setDragging(true);
    page->scrollView->setContentOffset({ 0, -200 });
    EXPECT_EQ(barHeight(), 20);
    container->navigationController()->popViewControllerAnimated(false);
    page->scrollView->setContentOffset({ 0, -144 });
    EXPECT_EQ(barHeight(), 120);
}

TEST_F(ObservedScrollView, IsToldOfChangesOnly)
{
    page->loadViewIfNeeded();
    page->scrollView->setDragging(true);
    page->scrollView->setContentOffset({ 0, -90 });
    camera->presentViewController(container, false);
    EXPECT_EQ(barHeight(), 20); // the offset that it has already is no news
    page->scrollView->setContentOffset({ 0, -91 });
    EXPECT_EQ(barHeight(), 67);
}

TEST_F(ObservedScrollView, IsNotKeptBeyondItsContainer)
{
    present();
    const std::weak_ptr<UIViewController> gone = container;
    camera->dismissViewControllerAnimated(false);
    contain(choosy);
    EXPECT_TRUE(gone.expired());
    page->scrollView->setContentOffset({ 0, -200 }); // nobody is told
    EXPECT_EQ(page->scrollView->contentOffset().y, -200);
}

// With a finger on the screen. Past its top the content follows it less and less: after a way of d it lies
// h - h / (0.55 d / h + 1) points beyond, where h is the height of the page.

class PullingByTouch : public Pulling {
protected:
    explicit PullingByTouch(CGSize size = { 320, 480 })
        : Pulling(size)
    {
    }
    /// How far the finger goes for a pull of so many points.
    double way(double overscroll) const
    {
        const double height = scrollView()->bounds().size.height;
        return height / 0.55 * overscroll / (height - overscroll);
    }
    /// Holds still after it.
    void pullTo(double overscroll)
    {
        touchDown({ 160, 80 });
        clock.advance(0.02);
        moveTo({ 160, 90 }); // a pan begins
        clock.advance(0.02);
        moveTo({ 160, finger = 90 + way(overscroll) });
        clock.advance(0.2);
        EXPECT_NEAR(scrollView()->contentOffset().y, -44 - overscroll, 1e-9);
    }
    bool leadsBackWhenLifted()
    {
        lift({ 160, finger });
        clock.advance(0.05);
        const bool back = container->isBeingDismissed();
        settle();
        return back;
    }
    double finger = 0;
};

class PullingByTouchInCompactHeight : public PullingByTouch {
protected:
    PullingByTouchInCompactHeight()
        : PullingByTouch({ 568, 320 })
    {
    }
};

constexpr double hair = 1e-9; // points: what the arithmetic of the way may lack

TEST_F(PullingByTouch, FiftyNinePointsSwingBack)
{
    pullTo(59);
    EXPECT_NEAR(barHeight(), 79, 1e-9);
    EXPECT_FALSE(leadsBackWhenLifted());
    EXPECT_EQ(barHeight(), 20);
    EXPECT_NEAR(scrollView()->contentOffset().y, -44, 1e-9);
    EXPECT_EQ(title(), 1);
}

TEST_F(PullingByTouch, SixtyPointsSwingBack)
{
    pullTo(60 + hair);
    EXPECT_FALSE(leadsBackWhenLifted());
    EXPECT_TRUE(isPresented());
}

TEST_F(PullingByTouch, SeventyNinePointsSwingBack)
{
    pullTo(79);
    EXPECT_EQ(bigCamera(), 0);
    EXPECT_FALSE(leadsBackWhenLifted());
    EXPECT_TRUE(isPresented());
    EXPECT_EQ(navigationBar()->frame().origin.y, 0);
}

TEST_F(PullingByTouch, EightyPointsLeadBack)
{
    pullTo(80 + hair);
    EXPECT_EQ(bigCamera(), 1);
    EXPECT_TRUE(leadsBackWhenLifted());
    EXPECT_FALSE(isPresented());
    EXPECT_EQ(camera->view()->superview(), window);
}

TEST_F(PullingByTouch, AFingerThatFlicksUpAgainStays)
{
    pullTo(130);
    EXPECT_EQ(bigCamera(), 1);
    for (int i = 0; i < 4; ++i) { // 15 points in 0.02 seconds
        clock.advance(0.02);
        moveTo({ 160, finger -= 15 });
    }
    EXPECT_GT(-scrollView()->contentOffset().y - 44, 80);
    EXPECT_FALSE(leadsBackWhenLifted());
    EXPECT_TRUE(isPresented());
    EXPECT_EQ(barHeight(), 20);
}

TEST_F(PullingByTouch, AFingerThatGoesUpSlowlyLeadsBack)
{
    pullTo(130);
    for (int i = 0; i < 4; ++i) { // 8 points in 0.02 seconds
        clock.advance(0.02);
        moveTo({ 160, finger -= 8 });
    }
    EXPECT_GT(-scrollView()->contentOffset().y - 44, 80);
    EXPECT_TRUE(leadsBackWhenLifted());
}

TEST_F(PullingByTouch, WhatIsPulledBackToTheTopIsAsItWas)
{
    pullTo(60);
    EXPECT_LT(title(), 1);
    moveTo({ 160, 60 });
    EXPECT_EQ(barHeight(), 20);
    EXPECT_EQ(navigationBar()->frame().origin.y, 0);
    finger = 60;
    EXPECT_FALSE(leadsBackWhenLifted());
}

TEST_F(PullingByTouchInCompactHeight, FiftyNinePointsSwingBack)
{
    pullTo(59);
    EXPECT_FALSE(leadsBackWhenLifted());
    EXPECT_TRUE(isPresented());
    EXPECT_EQ(barHeight(), 20);
}

TEST_F(PullingByTouchInCompactHeight, SixtyPointsLeadBack)
{
    pullTo(60 + hair);
    EXPECT_EQ(bigCamera(), 1);
    EXPECT_TRUE(leadsBackWhenLifted());
    EXPECT_FALSE(isPresented());
}

TEST_F(PullingByTouchInCompactHeight, SeventyNineAndEightyPointsLeadBackToo)
{
    for (const double points : { 79., 80. }) {
        pullTo(points);
        EXPECT_TRUE(leadsBackWhenLifted()) << points;
        contain(choosy = make<ChoosyPage>());
        present();
    }
}

TEST_F(PullingByTouchInCompactHeight, AFingerThatFlicksUpAgainStays)
{
    pullTo(90);
    for (int i = 0; i < 4; ++i) {
        clock.advance(0.02);
        moveTo({ 160, finger -= 15 });
    }
    EXPECT_GT(-scrollView()->contentOffset().y - 44, 60);
    EXPECT_FALSE(leadsBackWhenLifted());
    EXPECT_TRUE(isPresented());
}

}
}
