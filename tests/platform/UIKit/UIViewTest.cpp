// SPDX-License-Identifier: Apache-2.0
#include "platform/UIKit/UIView.h"

#include "platform/CoreGraphics/CGContext.h"
#include "platform/CoreGraphics/CGImage.h"
#include "platform/Foundation/NSException.h"
#include "platform/UIKit/UIBezierPath.h"
#include "platform/UIKit/UIColor.h"
#include "platform/UIKit/UIGraphics.h"

#include "tests/support/WindowTest.h"

#include <gtest/gtest.h>

#include <numbers>
#include <string>
#include <vector>

namespace velmora::tests {
namespace {

using Views = std::vector<std::shared_ptr<UIView>>;

class View : public WindowTest { };

/// Writes down what it is told.
class Diary : public UIView {
public:
    using UIView::UIView;
    void layoutSubviews() override { pages.push_back("layout"); }
    void tintColorDidChange() override { pages.push_back("tint"); }
    void willMoveToSuperview(const std::shared_ptr<UIView>& view) override
    {
        pages.push_back(view ? "will join" : "will leave");
    }
    void didMoveToSuperview() override { pages.push_back(superview() ? "joined" : "left"); }
    void willMoveToWindow(const std::shared_ptr<UIWindow>& to) override
    {
        pages.push_back(to ? "will appear" : "will vanish");
    }
    void didMoveToWindow() override { pages.push_back(window() ? "appeared" : "vanished"); }

    std::vector<std::string> pages;
};

/// Fills its left half with its tint, and counts.
class Painter : public UIView {
public:
    using UIView::UIView;
    void drawRect(CGRect rect) override
    {
        ++drawings;
        tintColor()->setFill();
        UIBezierPath::bezierPathWithRect(CGRectMake(0, 0, rect.size.width / 2, rect.size.height))->fill();
    }
    int drawings = 0;
};

TEST_F(View, TheFrameGivesBoundsAndCentre)
{
    const auto view = make<UIView>(CGRectMake(10, 20, 30, 40));
    EXPECT_EQ(view->bounds(), CGRectMake(0, 0, 30, 40));
    EXPECT_EQ(view->center(), CGPointMake(25, 40));
    EXPECT_EQ(view->layer()->frame(), CGRectMake(10, 20, 30, 40));
}

TEST_F(View, ATransformTurnsAboutTheCentreAndLeavesTheBounds)
{
    const auto view = make<UIView>(CGRectMake(0, 0, 40, 20));
    view->setTransform(CGAffineTransformMakeScale(2, 2));
    EXPECT_EQ(view->bounds(), CGRectMake(0, 0, 40, 20));
    EXPECT_EQ(view->center(), CGPointMake(20, 10));
    EXPECT_EQ(view->frame(), CGRectMake(-20, -10, 80, 40));
}

TEST_F(View, SubviewsAreInsertedWhereOneSays)
{
    const auto parent = make<UIView>(), a = make<UIView>(), b = make<UIView>(), c = make<UIView>(), d = make<UIView>();
    parent->addSubview(a);
    parent->insertSubview(b, 0);
    parent->insertSubviewBelow(c, a);
    parent->insertSubviewAbove(d, b);
    EXPECT_EQ(parent->subviews(), (Views { b, d, c, a }));
    EXPECT_EQ(d->superview(), parent);
    parent->bringSubviewToFront(b);
    EXPECT_EQ(parent->subviews(), (Views { d, c, a, b }));
    parent->exchangeSubviews(3, 0);
    EXPECT_EQ(parent->subviews(), (Views { b, c, a, d }));
}

TEST_F(View, LayersFollowTheViewsAndForeignOnesStayBelow)
{
    const auto parent = make<UIView>(), a = make<UIView>(), b = make<UIView>();
    const auto foreign = CALayer::layer();
    parent->layer()->insertSublayer(foreign, 0);
    parent->addSubview(a);
    parent->insertSubviewBelow(b, a);
    EXPECT_EQ(parent->layer()->sublayers(), (std::vector { foreign, b->layer(), a->layer() }));
}

TEST_F(View, AViewLeavesItsOldSuperview)
{
    const auto first = make<UIView>(), second = make<UIView>(), child = make<UIView>();
    first->addSubview(child);
    second->addSubview(child);
    EXPECT_TRUE(first->subviews().empty());
    EXPECT_EQ(child->superview(), second);
    EXPECT_EQ(child->layer()->superlayer(), second->layer());
}

TEST_F(View, AViewCannotHoldItself)
{
    const auto outer = make<UIView>(), inner = make<UIView>();
    outer->addSubview(inner);
    EXPECT_THROW(inner->addSubview(outer), NSException);
    EXPECT_THROW(outer->addSubview(outer), NSException);
}

TEST_F(View, SuperviewsHoldTheirSubviewsAndNotTheOtherWayRound)
{
    auto parent = make<UIView>();
    const auto child = make<UIView>();
    parent->addSubview(child);
    const std::weak_ptr<UIView> weak = parent;
    parent = nullptr;
    EXPECT_TRUE(weak.expired());
    EXPECT_EQ(child->superview(), nullptr);
}

TEST_F(View, IsToldOfItsSuperviewAndWindow)
{
    const auto box = make<UIView>();
    const auto view = make<Diary>();
    box->addSubview(view);
    window->addSubview(box);
    box->removeFromSuperview();
    view->removeFromSuperview();
    EXPECT_EQ(view->pages,
        (std::vector<std::string> {
            "will join", "joined", "will appear", "appeared", "will vanish", "vanished", "will leave", "left" }));
}

TEST_F(View, ATagFindsTheFirstViewInside)
{
    const auto outer = make<UIView>(), inner = make<UIView>(), deep = make<UIView>();
    outer->addSubview(inner);
    inner->addSubview(deep);
    deep->setTag(7);
    EXPECT_EQ(outer->viewWithTag(7), deep);
    EXPECT_EQ(outer->viewWithTag(8), nullptr);
}

struct Mask {
    UIViewAutoresizing mask;
    CGRect expected; // of (10, 20, 40, 60) when a superview of 100 by 100 becomes 200 by 150
};
class Autoresizing : public testing::TestWithParam<Mask> { };

TEST_P(Autoresizing, SharesTheChangeInProportion)
{
    const auto parent = make<UIView>(CGRectMake(0, 0, 100, 100)), child = make<UIView>(CGRectMake(10, 20, 40, 60));
    parent->addSubview(child);
    child->setAutoresizingMask(GetParam().mask);
    parent->setFrame(CGRectMake(0, 0, 200, 150));
    const CGRect frame = child->frame(), expected = GetParam().expected;
    EXPECT_NEAR(frame.origin.x, expected.origin.x, 1e-9);
    EXPECT_NEAR(frame.origin.y, expected.origin.y, 1e-9);
    EXPECT_NEAR(frame.size.width, expected.size.width, 1e-9);
    EXPECT_NEAR(frame.size.height, expected.size.height, 1e-9);
}

INSTANTIATE_TEST_SUITE_P(Masks, Autoresizing,
    testing::Values(Mask { UIViewAutoresizingNone, CGRectMake(10, 20, 40, 60) },
        Mask { static_cast<UIViewAutoresizing>(18), CGRectMake(10, 20, 140, 110) },
        // Margins of 10 and 50 share 100 points, margins of 20 and 20 share 50.
        Mask { static_cast<UIViewAutoresizing>(45), CGRectMake(10 + 100.0 / 6, 45, 40, 60) },
        Mask { UIViewAutoresizingFlexibleLeftMargin, CGRectMake(110, 20, 40, 60) },
        Mask { UIViewAutoresizingFlexibleWidth | UIViewAutoresizingFlexibleRightMargin,
            CGRectMake(10, 20, 40 + 100 * 40.0 / 90, 60) }));

TEST_F(View, LaysOutOnlyWhenMarkedAndFromTheTopDown)
{
    const auto outer = add<Diary>(CGRectMake(0, 0, 100, 100));
    outer->layoutIfNeeded();
    outer->pages.clear();
    outer->layoutIfNeeded();
    EXPECT_TRUE(outer->pages.empty());
    outer->setFrame(CGRectMake(0, 0, 50, 50));
    outer->layoutIfNeeded();
    EXPECT_EQ(outer->pages, (std::vector<std::string> { "layout" }));
}

TEST_F(View, TintIsInheritedAndTellsThoseWhoInherit)
{
    const auto outer = make<Diary>(), inner = make<Diary>(), own = make<Diary>();
    outer->addSubview(inner);
    outer->addSubview(own);
    own->setTintColor(UIColor::greenColor());
    outer->pages.clear();
    inner->pages.clear();
    own->pages.clear();

    outer->setTintColor(UIColor::redColor());
    EXPECT_EQ(inner->tintColor()->cgColor(), (CGColor { 1, 0, 0, 1 }));
    EXPECT_EQ(outer->pages, (std::vector<std::string> { "tint" }));
    EXPECT_EQ(inner->pages, (std::vector<std::string> { "tint" }));
    EXPECT_TRUE(own->pages.empty());
}

TEST_F(View, WithoutATintItIsTheSystemsBlue)
{
    EXPECT_TRUE(make<UIView>()->tintColor()->isEqual(UIColor::systemBlueColor().get()));
}

TEST_F(View, ADimmedViewShowsItsTintWithoutColour)
{
    const auto outer = make<UIView>();
    const auto own = make<Diary>();
    outer->addSubview(own);
    own->setTintColor(UIColor::redColor());
    own->pages.clear();
    outer->setTintAdjustmentMode(UIViewTintAdjustmentModeDimmed);
    const CGColor dimmed = own->tintColor()->cgColor();
    EXPECT_EQ(dimmed.red, dimmed.green);
    EXPECT_EQ(dimmed.green, dimmed.blue);
    EXPECT_EQ(own->pages, (std::vector<std::string> { "tint" }));
    EXPECT_EQ(own->tintAdjustmentMode(), UIViewTintAdjustmentModeDimmed);
}

TEST_F(View, JoiningATreeOfAnotherTintIsAChange)
{
    const auto red = make<UIView>();
    const auto view = make<Diary>();
    red->setTintColor(UIColor::redColor());
    red->addSubview(view);
    EXPECT_EQ(view->pages, (std::vector<std::string> { "will join", "joined", "tint" }));
}

TEST_F(View, PointsGoFromViewToView)
{
    const auto outer = add(CGRectMake(100, 50, 100, 100));
    const auto inner = make<UIView>(CGRectMake(10, 20, 40, 40));
    outer->addSubview(inner);
    inner->setTransform(CGAffineTransformMakeRotation(std::numbers::pi));
    const CGPoint inWindow = inner->convertPointToView({ 1, 2 }, nullptr);
    EXPECT_NEAR(inWindow.x, 149, 1e-9);
    EXPECT_NEAR(inWindow.y, 108, 1e-9);
    const CGPoint back = inner->convertPointFromView({ 49, 58 }, outer);
    EXPECT_NEAR(back.x, 1, 1e-9);
    EXPECT_NEAR(back.y, 2, 1e-9);
    EXPECT_EQ(outer->convertRectToView(CGRectMake(0, 0, 5, 6), window), CGRectMake(100, 50, 5, 6));
}

TEST_F(View, TheDeepestViewIsHitAndTheFrontmostOfTwo)
{
    const auto outer = add(CGRectMake(0, 0, 100, 100));
    const auto back = make<UIView>(CGRectMake(10, 10, 40, 40)), front = make<UIView>(CGRectMake(30, 30, 40, 40));
    outer->addSubview(back);
    outer->addSubview(front);
    EXPECT_EQ(window->hitTest({ 40, 40 }, nullptr), front);
    EXPECT_EQ(window->hitTest({ 15, 15 }, nullptr), back);
    EXPECT_EQ(window->hitTest({ 90, 90 }, nullptr), outer);
    EXPECT_EQ(window->hitTest({ 100, 100 }, nullptr), window);
}

TEST_F(View, HiddenTransparentAndIdleViewsAreNotHit)
{
    const auto view = add(CGRectMake(0, 0, 100, 100));
    view->setHidden(true);
    EXPECT_EQ(window->hitTest({ 40, 40 }, nullptr), window);
    view->setHidden(false);
    view->setAlpha(0);
    EXPECT_EQ(window->hitTest({ 40, 40 }, nullptr), window);
    view->setAlpha(1);
    view->setUserInteractionEnabled(false);
    EXPECT_EQ(window->hitTest({ 40, 40 }, nullptr), window);
    view->setUserInteractionEnabled(true);
    EXPECT_EQ(window->hitTest({ 40, 40 }, nullptr), view);
}

TEST_F(View, ShowsItsBackgroundWhereItStands)
{
    add(CGRectMake(10, 20, 30, 40))->setBackgroundColor(UIColor::redColor());
    render();
    EXPECT_EQ(colorAt(10, 20), (std::array { 255, 0, 0 }));
    EXPECT_EQ(colorAt(39, 59), (std::array { 255, 0, 0 }));
    EXPECT_EQ(colorAt(40, 59), (std::array { 0, 0, 0 }));
}

TEST_F(View, DrawsOnceAndAgainWhenMarked)
{
    const auto view = add<Painter>(CGRectMake(10, 10, 20, 20));
    window->setTintColor(UIColor::greenColor());
    render();
    EXPECT_EQ(colorAt(12, 12), (std::array { 0, 255, 0 }));
    EXPECT_EQ(colorAt(22, 12), (std::array { 0, 0, 0 }));
    view->setCenter({ 100, 100 });
    render();
    EXPECT_EQ(view->drawings, 1);
    view->setNeedsDisplay();
    render();
    EXPECT_EQ(view->drawings, 2);
}

TEST_F(View, OnlyTheRedrawModeDrawsAgainForAnotherSize)
{
    const auto view = add<Painter>(CGRectMake(10, 10, 20, 20));
    render();
    view->setFrame(CGRectMake(10, 10, 40, 20));
    render();
    EXPECT_EQ(view->drawings, 1);
    view->setContentMode(UIViewContentModeRedraw);
    view->setFrame(CGRectMake(10, 10, 60, 20));
    render();
    EXPECT_EQ(view->drawings, 2);
}

TEST_F(View, APictureGivenToTheLayerOfAPlainViewStays)
{
    const auto view = add(CGRectMake(0, 0, 10, 10));
    view->layer()->setContents(CGImage::withPixels(1, 1, { 0, 0, 255, 255 }));
    render();
    EXPECT_EQ(colorAt(5, 5), (std::array { 255, 0, 0 }));
}

TEST_F(View, AnimationsMoveWhatIsShownWhileTheValueIsNewAtOnce)
{
    const auto view = add(CGRectMake(0, 0, 10, 10));
    bool finished = false;
    UIView::animateWithDuration(
        1, 0, UIViewAnimationOptionCurveLinear,
        [&] {
            view->setCenter({ 105, 5 });
        },
        [&](bool done) { finished = done; });
    EXPECT_EQ(view->center(), CGPointMake(105, 5));
    clock.advance(0.5);
    EXPECT_NEAR(view->layer()->presentationLayer()->position().x, 55, 1e-6);
    EXPECT_FALSE(finished);
    clock.advance(0.5);
    EXPECT_TRUE(finished);
}

TEST_F(View, TheOptionsChooseTheCurve)
{
    const auto at = [&](UIViewAnimationOptions options) {
        const auto view = add(CGRectMake(0, 0, 10, 10));
        view->setAlpha(0);
        UIView::animateWithDuration(1, 0, options, [&] { view->setAlpha(1); });
        clock.advance(0.25);
        return view->layer()->presentationLayer()->opacity();
    };
    EXPECT_NEAR(at(UIViewAnimationOptionCurveEaseInOut), 0.129162, 1e-5);
    EXPECT_NEAR(at(UIViewAnimationOptionCurveEaseIn), 0.093465, 1e-5);
    EXPECT_NEAR(at(UIViewAnimationOptionCurveEaseOut), 0.378138, 1e-5);
    EXPECT_NEAR(at(UIViewAnimationOptionCurveLinear), 0.25, 1e-5);
    EXPECT_GT(at(static_cast<UIViewAnimationOptions>(0x70000)), 0.5);
}

TEST_F(View, ASpringSwingsOver)
{
    const auto view = add(CGRectMake(0, 0, 10, 10));
    UIView::animateWithDuration(0.75, 0, 0.5, 0, UIViewAnimationOptionBeginFromCurrentState, [&] {
        view->setCenter({ 105, 5 });
    });
    clock.advance(0.1929);
    EXPECT_NEAR(view->layer()->presentationLayer()->position().x, 5 + 116.303, 0.01);
}

TEST_F(View, TheBlockCanBeLookedAtWhileItRuns)
{
    std::optional<UIViewAnimation> seen;
    const auto options = UIViewAnimationOptionAllowUserInteraction | UIViewAnimationOptionBeginFromCurrentState;
    UIView::animateWithDuration(0.25, 0.5, options, [&] { seen = UIView::currentAnimation(); });
    EXPECT_EQ(seen, (UIViewAnimation { 0.25, 0.5, options, 0, 0 }));
    EXPECT_EQ(UIView::currentAnimation(), std::nullopt);
}

TEST_F(View, ABlockInsideABlockTakesTheOuterOnesDuration)
{
    const auto view = add(CGRectMake(0, 0, 10, 10));
    UIView::animateWithDuration(2, [&] { UIView::animateWithDuration(0.1, [&] { view->setAlpha(0); }); });
    clock.advance(1);
    EXPECT_NEAR(view->layer()->presentationLayer()->opacity(), 0.5, 1e-6);
}

TEST_F(View, NothingMovesWithoutAnimation)
{
    const auto view = add(CGRectMake(0, 0, 10, 10));
    UIView::animateWithDuration(1, [&] { UIView::performWithoutAnimation([&] { view->setAlpha(0); }); });
    EXPECT_EQ(view->layer()->presentationLayer()->opacity(), 0);
}

TEST_F(View, DisabledAnimationsApplyAtOnceAndCompleteWithTheNextTurn)
{
    const auto view = add(CGRectMake(0, 0, 10, 10));
    UIView::setAnimationsEnabled(false);
    bool completed = false;
    UIView::animateWithDuration(
        5, [&] { view->setAlpha(0); }, [&](bool) { completed = true; });
    EXPECT_EQ(view->layer()->presentationLayer()->opacity(), 0);
    EXPECT_FALSE(completed);
    clock.advance(0);
    EXPECT_TRUE(completed);
}

TEST_F(View, TouchesMissWhatMovesUnlessTheAnimationAllowsThem)
{
    const auto view = add(CGRectMake(0, 0, 100, 100));
    const auto move = [&](UIViewAnimationOptions options, double alpha) {
        UIView::animateWithDuration(1, 0, options, [&] { view->setAlpha(alpha); });
        clock.advance(0.5);
        return window->hitTest({ 50, 50 }, nullptr);
    };
    EXPECT_EQ(move(UIViewAnimationOptionAllowUserInteraction, 0.5), view);
    clock.advance(1);
    EXPECT_EQ(move(UIViewAnimationOptionNone, 0.8), window);
    clock.advance(1);
    EXPECT_EQ(window->hitTest({ 50, 50 }, nullptr), view);
    EXPECT_EQ(move(UIViewAnimationOptionNone, 0.8), view); // nothing changed
}

TEST_F(View, RemovalInterruptsItsAnimation)
{
    const auto view = add(CGRectMake(0, 0, 10, 10));
    std::optional<bool> finished;
    UIView::animateWithDuration(
        1, [&] { view->setAlpha(0); }, [&](bool done) { finished = done; });
    view->removeFromSuperview();
    clock.advance(0);
    EXPECT_EQ(finished, false);
}

TEST_F(View, ASnapshotLooksAlikeAndStaysWhenTheViewChanges)
{
    const auto view = add(CGRectMake(0, 0, 40, 40));
    view->setBackgroundColor(UIColor::redColor());
    render();
    const auto snapshot = view->snapshotViewAfterScreenUpdates(true);
    view->setBackgroundColor(UIColor::blueColor());
    EXPECT_EQ(snapshot->bounds().size, CGSizeMake(40, 40));
    EXPECT_TRUE(std::dynamic_pointer_cast<UISnapshotView>(snapshot)->isAfterScreenUpdates());
    window->addSubview(snapshot);
    snapshot->setCenter({ 120, 20 });
    render();
    EXPECT_EQ(colorAt(120, 20), (std::array { 255, 0, 0 }));
    EXPECT_EQ(colorAt(20, 20), (std::array { 0, 0, 255 }));
}

TEST_F(View, ASnapshotBeforeUpdatesDoesNotLayOut)
{
    const auto view = add<Diary>(CGRectMake(0, 0, 40, 40));
    render();
    view->pages.clear();
    view->setNeedsLayout();
    const auto before = view->snapshotViewAfterScreenUpdates(false);
    EXPECT_TRUE(view->pages.empty());
    EXPECT_FALSE(std::dynamic_pointer_cast<UISnapshotView>(before)->isAfterScreenUpdates());
    const auto after = view->snapshotViewAfterScreenUpdates(true);
    EXPECT_EQ(view->pages, (std::vector<std::string> { "layout" }));
}

TEST_F(View, SizeToFitKeepsTheCorner)
{
    class Fitting : public UIView {
    public:
        using UIView::UIView;
        CGSize sizeThatFits(CGSize) const override { return { 30, 10 }; }
    };
    const auto view = make<Fitting>(CGRectMake(5, 6, 100, 100));
    view->sizeToFit();
    EXPECT_EQ(view->frame(), CGRectMake(5, 6, 30, 10));
}

TEST_F(View, SafeAreasAreWhatTheScreensEdgesCover)
{
    window->setScreenInsets(UIEdgeInsetsMake(20, 0, 34, 0));
    const auto top = add(CGRectMake(0, 5, 320, 100)), middle = add(CGRectMake(0, 100, 320, 100));
    EXPECT_EQ(window->safeAreaInsets(), UIEdgeInsetsMake(20, 0, 34, 0));
    EXPECT_EQ(top->safeAreaInsets(), UIEdgeInsetsMake(15, 0, 0, 0));
    EXPECT_EQ(middle->safeAreaInsets(), UIEdgeInsetsZero);
    EXPECT_EQ(make<UIView>(CGRectMake(0, 0, 10, 10))->safeAreaInsets(), UIEdgeInsetsZero);
}

TEST_F(View, CanBeCalledByName)
{
    const auto view = make<UIView>();
    view->performSelector("setFrame:", CGRectMake(1, 2, 3, 4));
    EXPECT_EQ(unbox<CGRect>(view->performSelector("bounds")), CGRectMake(0, 0, 3, 4));
    const auto made = unbox<std::shared_ptr<UIView>>(
        UIView::staticClass().performSelector("initWithFrame:", CGRectMake(5, 6, 7, 8)));
    EXPECT_EQ(made->frame(), CGRectMake(5, 6, 7, 8));
}

}
}
