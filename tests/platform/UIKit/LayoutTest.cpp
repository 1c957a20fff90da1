// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/NSBundle.h"
#include "platform/Foundation/NSException.h"
#include "platform/UIKit/NSLayoutConstraint.h"
#include "platform/UIKit/UIButton.h"
#include "platform/UIKit/UIColor.h"
#include "platform/UIKit/UIImageView.h"
#include "platform/UIKit/UILabel.h"
#include "platform/UIKit/UILayoutGuide.h"
#include "platform/UIKit/UINib.h"
#include "platform/UIKit/UIScrollView.h"
#include "platform/UIKit/UIViewController.h"
#include "platform/UIKit/UIVisualEffectView.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/WindowTest.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

namespace velmora::tests {
namespace {

class Constraints : public WindowTest {
protected:
    std::shared_ptr<UIView> child(const std::shared_ptr<UIView>& above)
    {
        auto view = make<UIView>();
        view->setTranslatesAutoresizingMaskIntoConstraints(false);
        above->addSubview(view);
        return view;
    }
    static std::shared_ptr<NSLayoutConstraint> constrain(const std::shared_ptr<NSObject>& item,
        NSLayoutAttribute attribute, const std::shared_ptr<NSObject>& other, NSLayoutAttribute otherAttribute,
        double constant = 0, double multiplier = 1)
    {
        auto constraint = make<NSLayoutConstraint>(item, attribute, other, otherAttribute, multiplier, constant);
        constraint->setActive(true);
        return constraint;
    }
    static std::shared_ptr<NSLayoutConstraint> size(
        const std::shared_ptr<UIView>& view, NSLayoutAttribute attribute, double constant)
    {
        return constrain(view, attribute, nullptr, NSLayoutAttributeNotAnAttribute, constant);
    }
    static void pin(const std::string& format, const NSLayoutConstraint::Views& views,
        const NSLayoutConstraint::Metrics& metrics = {})
    {
        NSLayoutConstraint::activateConstraints(
            NSLayoutConstraint::constraintsWithVisualFormat(format, metrics, views));
    }
    std::shared_ptr<UIView> parent = add(CGRectMake(10, 10, 200, 100));
};

TEST_F(Constraints, PinAViewToTheEdgesAndFollowThem)
{
    const auto view = child(parent);
    pin("|-0-[view]-0-|", { { "view", view } });
    pin("V:|-0-[view]-0-|", { { "view", view } });
    parent->layoutIfNeeded();
    EXPECT_EQ(view->frame(), CGRectMake(0, 0, 200, 100));
    parent->setFrame(CGRectMake(0, 0, 50, 60));
    parent->layoutIfNeeded();
    EXPECT_EQ(view->frame(), CGRectMake(0, 0, 50, 60));
}

TEST_F(Constraints, FormatsHaveDistancesLengthsAndMetrics)
{
    const auto a = child(parent), b = child(parent), c = child(parent);
    pin("|-10-[a(30)]-[b(a)]-gap-[c]-|", { { "a", a }, { "b", b }, { "c", c } }, { { "gap", 5 } });
    parent->layoutIfNeeded();
    EXPECT_EQ(CGRectGetMinX(a->frame()), 10);
    EXPECT_EQ(a->frame().size.width, 30);
    EXPECT_EQ(CGRectGetMinX(b->frame()), 48);
    EXPECT_EQ(b->frame().size.width, 30);
    EXPECT_EQ(CGRectGetMinX(c->frame()), 83);
    EXPECT_EQ(CGRectGetMaxX(c->frame()), 180);
}

TEST_F(Constraints, AFormatThatCannotBeReadSaysWhere)
{
    const auto a = child(parent);
    const auto reason = [&](const std::string& format) -> std::string {
        try {
            NSLayoutConstraint::constraintsWithVisualFormat(format, {}, { { "a", a } });
        } catch (const NSException& exception) {
            return exception.reason();
        }
        return "";
    };
    EXPECT_NE(reason("|-[b]-|").find("no view is called \"b\""), std::string::npos);
    EXPECT_NE(reason("|-[a(>=5)]").find("only equalities"), std::string::npos) << reason("|-[a(>=5)]");
    EXPECT_NE(reason("|-wide-[a]").find("neither a number nor a metric"), std::string::npos);
    EXPECT_NE(reason("|-8[a]").find("character 4"), std::string::npos);
    EXPECT_NE(reason("|").find("no view"), std::string::npos);
}

TEST_F(Constraints, AConstantMovesWithTheNextLayout)
{
    const auto view = child(parent);
    pin("|[view]|", { { "view", view } });
    const auto height = size(view, NSLayoutAttributeHeight, 20);
    constrain(view, NSLayoutAttributeTop, parent, NSLayoutAttributeTop);
    parent->layoutIfNeeded();
    EXPECT_EQ(view->frame(), CGRectMake(0, 0, 200, 20));
    height->setConstant(45);
    EXPECT_EQ(view->frame(), CGRectMake(0, 0, 200, 20));
    parent->layoutIfNeeded();
    EXPECT_EQ(view->frame(), CGRectMake(0, 0, 200, 45));
    EXPECT_EQ(height->constant(), 45);
}

TEST_F(Constraints, AnAnimatedLayoutMovesInTime)
{
    const auto view = child(parent);
    pin("V:|[view]|", { { "view", view } });
    size(view, NSLayoutAttributeWidth, 10);
    const auto left = constrain(view, NSLayoutAttributeLeft, parent, NSLayoutAttributeLeft, 0);
    parent->layoutIfNeeded();
    left->setConstant(100);
    UIView::animateWithDuration(1, [&] { parent->layoutIfNeeded(); });
    EXPECT_EQ(view->frame().origin.x, 100);
    clock.advance(0.5);
    EXPECT_NEAR(view->layer()->presentationLayer()->frame().origin.x, 50, 1e-6);
}

TEST_F(Constraints, CentresAndMultipliersCount)
{
    const auto view = child(parent);
    constrain(view, NSLayoutAttributeCenterX, parent, NSLayoutAttributeCenterX);
    constrain(view, NSLayoutAttributeCenterY, parent, NSLayoutAttributeCenterY, -6);
    constrain(view, NSLayoutAttributeWidth, parent, NSLayoutAttributeWidth, 0, 0.5);
    constrain(view, NSLayoutAttributeHeight, view, NSLayoutAttributeWidth, 0, 0.2);
    parent->layoutIfNeeded();
    EXPECT_EQ(view->frame(), CGRectMake(50, 34, 100, 20));
}

TEST_F(Constraints, ReachAcrossSuperviews)
{
    const auto box = child(parent), inner = child(box), beside = child(parent);
    pin("|-20-[box(100)]", { { "box", box } });
    pin("V:|-10-[box(50)]", { { "box", box } });
    pin("|-5-[inner(30)]", { { "inner", inner } });
    pin("V:|-7-[inner(8)]", { { "inner", inner } });
    constrain(beside, NSLayoutAttributeLeft, inner, NSLayoutAttributeRight, 1);
    constrain(beside, NSLayoutAttributeTop, inner, NSLayoutAttributeBottom, 2);
    size(beside, NSLayoutAttributeWidth, 4);
    size(beside, NSLayoutAttributeHeight, 4);
    parent->layoutIfNeeded();
    EXPECT_EQ(inner->frame(), CGRectMake(5, 7, 30, 8));
    EXPECT_EQ(beside->frame(), CGRectMake(56, 27, 4, 4));
}

TEST_F(Constraints, WhatNobodySaysIsAsLargeAsTheContent)
{
    const auto label = make<UILabel>();
    label->setText("Back");
    label->setTranslatesAutoresizingMaskIntoConstraints(false);
    parent->addSubview(label);
    constrain(label, NSLayoutAttributeRight, parent, NSLayoutAttributeRight, -10);
    constrain(label, NSLayoutAttributeTop, parent, NSLayoutAttributeTop);
    parent->layoutIfNeeded();
    EXPECT_EQ(label->bounds().size, label->intrinsicContentSize());
    EXPECT_EQ(CGRectGetMaxX(label->frame()), 190);
    label->setText("Back to the camera");
    parent->layoutIfNeeded();
    EXPECT_EQ(label->bounds().size, label->intrinsicContentSize());
    EXPECT_EQ(CGRectGetMaxX(label->frame()), 190);
}

TEST_F(Constraints, WhatContentSaysCountsBeforeWhatAViewHappensToHave)
{
    const auto around = child(parent); // has a size already, and comes first
    around->setFrame(CGRectMake(0, 0, 7, 7));
    const auto label = make<UILabel>();
    label->setText("Back");
    label->setTranslatesAutoresizingMaskIntoConstraints(false);
    parent->addSubview(label);
    constrain(around, NSLayoutAttributeWidth, label, NSLayoutAttributeWidth, 20);
    parent->layoutIfNeeded();
    EXPECT_EQ(label->bounds().size, label->intrinsicContentSize());
    EXPECT_EQ(around->bounds().size, CGSizeMake(label->intrinsicContentSize().width + 20, 7));
}

TEST_F(Constraints, TheSafeAreaCanBePinnedTo)
{
    window->setScreenInsets(UIEdgeInsetsMake(30, 0, 0, 0));
    const auto view = child(parent);
    constrain(view, NSLayoutAttributeTop, parent->safeAreaLayoutGuide(), NSLayoutAttributeTop);
    size(view, NSLayoutAttributeHeight, 5);
    parent->layoutIfNeeded();
    EXPECT_EQ(view->frame().origin.y, 20);
    EXPECT_EQ(parent->safeAreaLayoutGuide()->layoutFrame(), CGRectMake(0, 20, 200, 80));
    window->setScreenInsets(UIEdgeInsetsZero);
    parent->layoutIfNeeded();
    EXPECT_EQ(view->frame().origin.y, 0);
}

TEST_F(Constraints, OfTwoThatContradictTheFirstHoldsAndTheLogSaysSo)
{
    const auto view = child(parent);
    size(view, NSLayoutAttributeWidth, 40);
    size(view, NSLayoutAttributeWidth, 60);
    CapturedLog log;
    parent->layoutIfNeeded();
    EXPECT_EQ(view->bounds().size.width, 40);
    ASSERT_FALSE(log.lines().empty());
    EXPECT_NE(log.lines()[0].find("contradict"), std::string::npos);
}

TEST_F(Constraints, ADeactivatedOneCountsNoMore)
{
    const auto view = child(parent);
    const auto left = constrain(view, NSLayoutAttributeLeft, parent, NSLayoutAttributeLeft, 30);
    parent->layoutIfNeeded();
    left->setActive(false);
    EXPECT_FALSE(left->isActive());
    constrain(view, NSLayoutAttributeLeft, parent, NSLayoutAttributeLeft, 50);
    parent->layoutIfNeeded();
    EXPECT_EQ(view->frame().origin.x, 50);
}

TEST_F(Constraints, NeedACommonTree)
{
    const auto stranger = make<UIView>();
    const auto constraint
        = make<NSLayoutConstraint>(parent, NSLayoutAttributeLeft, stranger, NSLayoutAttributeLeft, 1.0, 0.0);
    EXPECT_THROW(constraint->setActive(true), NSException);
    EXPECT_THROW(make<NSLayoutConstraint>(make<UIColor>(CGColor {}), NSLayoutAttributeLeft, nullptr,
                     NSLayoutAttributeNotAnAttribute, 1.0, 0.0),
        NSException);
}

/// Has outlets, weak as they are.
class Owner : public UIViewController {
public:
    using UIViewController::UIViewController;
    static const ClassInfo& staticClass()
    {
        static constexpr auto methods = methodTable(method<&Owner::setButton>("setButton:"),
            method<&Owner::setHeight>("setHeight:"), method<&Owner::press>("press:"));
        static const ClassInfo info { "Tests.Owner", &UIViewController::staticClass(), methods };
        return info;
    }
    const ClassInfo& classInfo() const override { return staticClass(); }
    void setButton(const std::weak_ptr<UIButton>& view) { button = view; }
    void setHeight(const std::weak_ptr<NSLayoutConstraint>& constraint) { height = constraint; }
    void press(const std::shared_ptr<UIControl>&) { ++presses; }
    std::weak_ptr<UIButton> button;
    std::weak_ptr<NSLayoutConstraint> height;
    int presses = 0;
};

/// Counts its awakening.
class Sleeper : public UIView {
public:
    using UIView::UIView;
    static const ClassInfo& staticClass()
    {
        static constexpr auto classMethods = methodTable(initialiser<Sleeper, const NSCoder&>("initWithCoder:"));
        static const ClassInfo info { "Tests.Sleeper", &UIView::staticClass(), {}, classMethods };
        return info;
    }
    const ClassInfo& classInfo() const override { return staticClass(); }
    void awakeFromNib() override { ++awakenings; }
    int awakenings = 0;
};

const char* const screenText = R"(<?xml version="1.0"?>
<nib owner="Tests.Owner">
  <!-- the whole screen -->
  <view id="root" outlet="view" frame="{{0, 0}, {320, 480}}" backgroundColor="#102030" autoresizingMask="18">
    <view class="Velmora.UIButton" id="back" outlet="button" title="Back" translatesAutoresizingMaskIntoConstraints="NO">
      <action selector="press:" events="64"/>
    </view>
    <view class="Velmora.UILabel" tag="5" frame="{{1, 2}, {30, 40}}" text="A &amp; B" alpha="0.5" textAlignment="1"/>
    <constraint item="back" attribute="leading" toItem="root" toAttribute="leading"/>
    <constraint item="back" attribute="trailing" toItem="root" toAttribute="trailing"/>
    <constraint item="back" attribute="top" toItem="root.safeArea" toAttribute="top" constant="4"/>
    <constraint item="back" attribute="height" constant="20" outlet="height"/>
  </view>
</nib>)";

class Nib : public WindowTest {
protected:
    static std::string reasonFor(const std::string& text)
    {
        try {
            UINib::nibWithText(text, "Screen.nib.xml")->instantiateWithOwner(make<Owner>());
        } catch (const NSException& exception) {
            return exception.reason();
        }
        return "";
    }
    TemporaryFolder folder;
};

TEST_F(Nib, MakesTheControllersViewWithOutletsActionsAndConstraints)
{
    std::ofstream(folder.file("Screen.nib.xml")) << screenText;
    const auto owner = make<Owner>("Screen", make<NSBundle>("org.example.screen", folder.path()));
    window->setRootViewController(owner);
    ASSERT_TRUE(owner->button.lock());
    EXPECT_EQ(owner->button.lock()->titleForState(UIControlStateNormal), "Back");
    EXPECT_EQ(owner->button.lock()->frame(), CGRectMake(0, 4, 320, 20));
    EXPECT_EQ(owner->height.lock()->constant(), 20);
    EXPECT_TRUE(
        owner->view()->backgroundColor()->isEqual(UIColor::colorWithRed(16.0 / 255, 32.0 / 255, 48.0 / 255).get()));
    const auto label = std::dynamic_pointer_cast<UILabel>(owner->view()->viewWithTag(5));
    EXPECT_EQ(label->text(), "A & B");
    EXPECT_EQ(label->frame(), CGRectMake(1, 2, 30, 40));
    EXPECT_EQ(label->alpha(), 0.5);
    EXPECT_EQ(label->textAlignment(), NSTextAlignmentCenter);
    tap({ 100, 10 });
    EXPECT_EQ(owner->presses, 1);
}

TEST_F(Nib, ClassesThatAreNamedAreMadeAndAwakened)
{
    UINib::registerClasses({ &Sleeper::staticClass() });
    const auto nib = UINib::nibWithText("<nib><view class=\"Tests.Sleeper\" hidden=\"YES\"/></nib>", "a text");
    const auto views = nib->instantiateWithOwner(nullptr);
    ASSERT_EQ(views.size(), 1U);
    const auto sleeper = std::dynamic_pointer_cast<Sleeper>(views[0]);
    ASSERT_TRUE(sleeper);
    EXPECT_EQ(sleeper->awakenings, 1);
    EXPECT_TRUE(sleeper->isHidden());
}

TEST_F(Nib, SaysWhatDoesNotFit)
{
    EXPECT_NE(
        reasonFor("<nib><view class=\"Tests.Unknown\"/></nib>").find("Tests.Unknown is unknown"), std::string::npos);
    EXPECT_NE(reasonFor("<nib><view outlet=\"nowhere\"/></nib>").find("the outlet \"nowhere\" cannot be set"),
        std::string::npos);
    EXPECT_NE(reasonFor("<nib><view outlet=\"button\"/></nib>").find("the outlet \"button\" cannot be set"),
        std::string::npos);
    EXPECT_NE(reasonFor("<nib>\n<view>\n</nib>").find("line 3"), std::string::npos)
        << reasonFor("<nib>\n<view>\n</nib>");
    EXPECT_NE(reasonFor("<nib><view class=\"Velmora.UIButton\"><action selector=\"fly:\" events=\"64\"/></view></nib>")
                  .find("knows no action fly:"),
        std::string::npos);
    EXPECT_NE(
        reasonFor("<nib><view><constraint item=\"x\" attribute=\"top\" constant=\"1\"/></view></nib>").find("\"x\""),
        std::string::npos);
    EXPECT_NE(reasonFor("<nib><view alpha=\"much\"/></nib>").find("\"much\" under \"alpha\""), std::string::npos);
}

TEST_F(Nib, AMissingFileIsAnErrorThatSaysWhereItWasSought)
{
    const auto owner = make<Owner>("Gone", make<NSBundle>("org.example.screen", folder.path()));
    try {
        owner->view();
        FAIL();
    } catch (const NSException& exception) {
        EXPECT_NE(exception.reason().find("Gone.nib.xml in " + folder.path()), std::string::npos);
    }
}

class Scrolling : public WindowTest {
protected:
    class Heard : public NSObject, public UIScrollViewDelegate {
    public:
        void scrollViewDidScroll(UIScrollView&) override { ++scrolls; }
        void scrollViewWillBeginDragging(UIScrollView&) override { words.push_back("begins"); }
        void scrollViewDidEndDragging(UIScrollView&, bool rolls) override
        {
            words.push_back(rolls ? "ends rolling" : "ends");
        }
        void scrollViewDidEndDecelerating(UIScrollView&) override { words.push_back("rests"); }
        int scrolls = 0;
        std::vector<std::string> words;
    };
    Scrolling()
    {
        scroll->setContentSize({ 200, 1000 });
        scroll->setDelegate(heard);
    }
    /// Points of the finger each step of 1/100 second, after it came down.
    void drag(const std::vector<double>& ys)
    {
        touchDown({ 100, ys.front() });
        for (const double y : ys) {
            clock.advance(0.01);
            moveTo({ 100, y });
        }
    }
    std::shared_ptr<UIScrollView> scroll = add<UIScrollView>(CGRectMake(0, 0, 200, 300));
    std::shared_ptr<Heard> heard = make<Heard>();
};

TEST_F(Scrolling, EveryOffsetIsAnnounced)
{
    std::vector<double> seen;
    const auto observation = scroll->observe("contentOffset", NSKeyValueObservingOptionNew,
        [&](const NSKeyValueChange& change) { seen.push_back(unbox<CGPoint>(change.newValue).y); });
    scroll->setContentOffset({ 0, 40 });
    scroll->setContentOffset({ 0, -70 });
    scroll->setContentOffset({ 0, -70 });
    EXPECT_EQ(seen, (std::vector<double> { 40, -70 }));
    EXPECT_EQ(scroll->bounds().origin, CGPointMake(0, -70));
    EXPECT_EQ(heard->scrolls, 2);
}

TEST_F(Scrolling, FollowsTheFinger)
{
    drag({ 250, 235, 200, 150 });
    EXPECT_TRUE(scroll->isDragging());
    EXPECT_EQ(scroll->contentOffset(), CGPointMake(0, 85)); // the first 15 began it
    EXPECT_EQ(heard->words, (std::vector<std::string> { "begins" }));
}

TEST_F(Scrolling, RollsOnWhenItIsFlickedAndComesToRest)
{
    drag({ 250, 235, 225, 215 }); // 35 points in 0.04 seconds
    lift({ 100, 215 });
    EXPECT_TRUE(scroll->isDecelerating());
    EXPECT_FALSE(scroll->isDragging());
    const double lifted = scroll->contentOffset().y;
    clock.advance(0.5);
    EXPECT_GT(scroll->contentOffset().y, lifted + 200);
    clock.advance(5);
    // A speed goes 0.001 / -ln(0.998) seconds far; the last 5 points a second are rest.
    EXPECT_NEAR(scroll->contentOffset().y, lifted + 0.4995 * (875 - 5), 1);
    EXPECT_FALSE(scroll->isDecelerating());
    EXPECT_EQ(heard->words, (std::vector<std::string> { "begins", "ends rolling", "rests" }));
}

TEST_F(Scrolling, AFingerThatStandsStillLeavesItThere)
{
    drag({ 250, 235, 200 });
    clock.advance(0.3);
    lift({ 100, 200 });
    EXPECT_FALSE(scroll->isDecelerating());
    EXPECT_EQ(heard->words, (std::vector<std::string> { "begins", "ends" }));
    EXPECT_EQ(scroll->contentOffset().y, 35);
}

TEST_F(Scrolling, ResistsPastItsEndAndSwingsBack)
{
    drag({ 50, 65, 165 }); // 100 points down
    const double pulled = -scroll->contentOffset().y;
    EXPECT_NEAR(pulled, (1 - 1 / (100 * 0.55 / 300 + 1)) * 300, 1e-9);
    clock.advance(0.3);
    lift({ 100, 165 });
    const int before = heard->scrolls;
    clock.advance(0.1001);
    EXPECT_GT(heard->scrolls, before);
    // A critically damped spring of 10 radians a second: (1 + 1) / e of it is left after a tenth of a second.
    EXPECT_NEAR(scroll->contentOffset().y, -pulled * 0.735759, 0.01);
    clock.advance(2);
    EXPECT_EQ(scroll->contentOffset().y, 0);
    EXPECT_EQ(heard->words.back(), "rests");
}

TEST_F(Scrolling, WithoutBouncingItStopsAtItsEnd)
{
    scroll->setBounces(false);
    drag({ 50, 65, 165 });
    EXPECT_EQ(scroll->contentOffset().y, 0);
}

TEST_F(Scrolling, AContentThatFitsIsPulledOnlyWhereItShallBe)
{
    scroll->setContentSize({ 200, 100 });
    drag({ 50, 65, 165 });
    EXPECT_EQ(scroll->contentOffset().y, 0);
    lift({ 100, 165 });
    scroll->setAlwaysBounceVertical(true);
    drag({ 50, 65, 165 });
    EXPECT_LT(scroll->contentOffset().y, -30);
}

TEST_F(Scrolling, ATouchStopsWhatRolls)
{
    drag({ 250, 235, 225, 215 });
    lift({ 100, 215 });
    clock.advance(0.1);
    touchDown({ 100, 100 });
    const double stopped = scroll->contentOffset().y;
    clock.advance(1);
    EXPECT_EQ(scroll->contentOffset().y, stopped);
    EXPECT_FALSE(scroll->isDecelerating());
}

TEST_F(Scrolling, TheSafeAreaIsRoomAboveTheContent)
{
    scroll->setContentInset(UIEdgeInsetsMake(10, 0, 0, 0));
    scroll->setContentOffset({ 0, -10 });
    window->setScreenInsets(UIEdgeInsetsMake(20, 0, 0, 0));
    EXPECT_EQ(scroll->adjustedContentInset().top, 30);
    EXPECT_EQ(scroll->contentOffset().y, -30); // what lay at the top stays there
    scroll->setContentInsetAdjustmentBehavior(UIScrollViewContentInsetAdjustmentNever);
    EXPECT_EQ(scroll->adjustedContentInset().top, 10);
}

TEST_F(Scrolling, ADisabledOneStays)
{
    scroll->setScrollEnabled(false);
    drag({ 250, 235, 150 });
    EXPECT_EQ(scroll->contentOffset().y, 0);
}

TEST_F(Scrolling, APullCanBeReplayed)
{
    scroll->setDragging(true);
    EXPECT_TRUE(scroll->isDragging());
    scroll->setContentOffset({ 0, -90 });
    EXPECT_TRUE(scroll->isDragging());
    EXPECT_EQ(scroll->contentOffset().y, -90);
}

TEST_F(Scrolling, TakesTheTouchFromAButtonInIt)
{
    const auto button = make<UIButton>(CGRectMake(0, 0, 200, 300));
    scroll->addSubview(button);
    int ups = 0, cancels = 0;
    const auto up = button->addAction(UIControlEventTouchUpInside, [&] { ++ups; });
    const auto cancel = button->addAction(UIControlEventTouchCancel, [&] { ++cancels; });
    drag({ 250, 235, 200 });
    lift({ 100, 200 });
    EXPECT_EQ(ups, 0);
    EXPECT_EQ(cancels, 1);
}

}
}
