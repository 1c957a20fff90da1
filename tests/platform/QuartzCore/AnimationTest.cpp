// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/NSRunLoop.h"
#include "platform/QuartzCore/CAShapeLayer.h"
#include "platform/QuartzCore/CATransaction.h"

#include "tests/support/DisplayTest.h"

#include <gtest/gtest.h>

#include <array>
#include <limits>
#include <numbers>
#include <vector>

namespace velmora::tests {
namespace {

constexpr double exactly = 1e-9, asPrinted = 1e-5;

std::vector<double> quarters(const CAMediaTimingFunction& curve)
{
    return { curve.valueAt(0), curve.valueAt(0.25), curve.valueAt(0.5), curve.valueAt(0.75), curve.valueAt(1) };
}

void expectNear(const std::vector<double>& seen, const std::vector<double>& expected, double tolerance)
{
    ASSERT_EQ(seen.size(), expected.size());
    for (std::size_t i = 0; i < seen.size(); ++i)
        EXPECT_NEAR(seen[i], expected[i], tolerance) << "at " << i;
}

TEST(TimingFunction, TheNamedCurvesHaveTheirValues)
{
    expectNear(quarters(kCAMediaTimingFunctionLinear), { 0, 0.25, 0.5, 0.75, 1 }, exactly);
    expectNear(quarters(kCAMediaTimingFunctionDefault), { 0, 0.408511, 0.802403, 0.960459, 1 }, 1e-6);
    expectNear(quarters(kCAMediaTimingFunctionEaseIn), { 0, 0.093465, 0.315357, 0.621862, 1 }, 1e-6);
    expectNear(quarters(kCAMediaTimingFunctionEaseOut), { 0, 0.378138, 0.684643, 0.906535, 1 }, 1e-6);
    expectNear(quarters(kCAMediaTimingFunctionEaseInEaseOut), { 0, 0.129162, 0.5, 0.870838, 1 }, 1e-6);
}

TEST(TimingFunction, SteepCurvesAreFoundToo)
{
    const CAMediaTimingFunction step { 1, 0, 0, 1 }; // its slope is infinite in the middle
    EXPECT_NEAR(step.valueAt(0.5), 0.5, 1e-6);
    EXPECT_LT(step.valueAt(0.45), 0.25);
    EXPECT_GT(step.valueAt(0.55), 0.75);
}

TEST(Spring, SettlesToAThousandthAfterItsDuration)
{
    const auto spring = CASpringMotion::settlingAfter(0.75, 0.5, 0);
    EXPECT_NEAR(spring.frequency, 18.804, 0.001);
    EXPECT_NEAR(spring.valueAt(0.1929), 1.16303, asPrinted); // its highest
    EXPECT_LT(spring.valueAt(0.18), 1.163);
    EXPECT_LT(spring.valueAt(0.21), 1.163);
    EXPECT_NEAR(std::abs(1 - spring.valueAt(0.75)), 6.4e-4, 1e-5);
    EXPECT_NEAR(CASpringMotion::settlingAfter(0.3, 0.5, 0).frequency, 47.011, 0.001);
}

TEST(Spring, AtCriticalDampingAndAboveItNeverSwingsOver)
{
    for (const double ratio : { 1.0, 1.5 }) {
        const auto spring = CASpringMotion::settlingAfter(0.5, ratio, 0);
        double before = 0;
        for (int i = 1; i <= 50; ++i) {
            const double value = spring.valueAt(0.01 * i);
            EXPECT_GT(value, before);
            EXPECT_LT(value, 1);
            before = value;
        }
        EXPECT_NEAR(spring.valueAt(0.5), 0.999, 1e-6) << ratio;
    }
}

TEST(Spring, AnInitialVelocityShowsAtOnce)
{
    for (const double ratio : { 0.5, 1.0, 2.0 }) {
        const auto spring = CASpringMotion::settlingAfter(0.5, ratio, 3);
        EXPECT_NEAR(spring.valueAt(1e-6) / 1e-6, 3, 0.01) << ratio;
    }
}

TEST(Spring, OfMassStiffnessAndDampingSettlesInItsTime)
{
    const auto spring = CASpringAnimation::animationWithKeyPath("opacity"); // 1, 100, 10: a ratio of one half
    EXPECT_NEAR(spring->settlingDuration(), 1.410319, 1e-6); // ln(1000 / sqrt(0.75)) / 5
}

class Animation : public SteppedTest {
protected:
    static CABlockAnimation linear(double duration, double delay = 0)
    {
        CABlockAnimation block;
        block.duration = duration;
        block.delay = delay;
        block.curve = kCAMediaTimingFunctionLinear;
        return block;
    }
    double x() const { return layer->presentationLayer()->position().x; }
    void animateTo(double to, const CABlockAnimation& block)
    {
        CATransaction::animateBlock(
            block,
            [&] {
                layer->setPosition({ to, 0 });
            },
            [this](bool finished) { ends.push_back(finished); });
    }

    std::shared_ptr<CALayer> layer = CALayer::layer();
    std::vector<bool> ends;
};

TEST_F(Animation, TheModelChangesAtOnceAndThePresentationInTime)
{
    animateTo(100, linear(0.4));
    EXPECT_EQ(layer->position().x, 100);
    std::vector<double> seen { x() };
    for (int quarter = 1; quarter <= 4; ++quarter) {
        clock.advance(0.1);
        seen.push_back(x());
    }
    expectNear(seen, { 0, 25, 50, 75, 100 }, 1e-6);
}

TEST_F(Animation, ABlockFollowsItsCurve)
{
    auto block = linear(0.15);
    block.curve = kCAMediaTimingFunctionEaseIn;
    animateTo(100, block);
    std::vector<double> seen { x() };
    for (int quarter = 1; quarter <= 4; ++quarter) {
        clock.advance(0.15 / 4);
        seen.push_back(x());
    }
    expectNear(seen, { 0, 9.3465, 31.5357, 62.1862, 100 }, 1e-4);
}

TEST_F(Animation, ASpringSwingsOverAndEndsExactly)
{
    auto block = linear(0.75);
    block.curve = CASpringCurve { 0.5, 0 };
    animateTo(100, block);
    clock.advance(0.1929);
    EXPECT_NEAR(x(), 116.303, 1e-3);
    clock.advance(0.5571);
    EXPECT_EQ(x(), 100);
    EXPECT_EQ(ends, std::vector<bool> { true });
}

TEST_F(Animation, TheCriticalCurveRisesAndEndsExactly)
{
    auto block = linear(0.5);
    block.curve = CACriticalCurve {};
    animateTo(100, block);
    double before = x();
    EXPECT_EQ(before, 0);
    for (int i = 0; i < 9; ++i) {
        clock.advance(0.05);
        EXPECT_GT(x(), before);
        before = x();
    }
    EXPECT_LT(before, 99.9);
    clock.advance(0.051);
    EXPECT_EQ(x(), 100);
}

TEST_F(Animation, ADelayHoldsTheFirstValue)
{
    animateTo(100, linear(0.5, 0.25));
    clock.advance(0.25);
    EXPECT_NEAR(x(), 0, 1e-9);
    clock.advance(0.25);
    EXPECT_NEAR(x(), 50, 1e-6);
    EXPECT_TRUE(ends.empty());
    clock.advance(0.25);
    EXPECT_EQ(x(), 100);
    EXPECT_EQ(ends, std::vector<bool> { true });
}

TEST_F(Animation, ItCompletesOnceAtTheEndAndNotBefore)
{
    animateTo(100, linear(0.25));
    clock.advance(0.2499);
    EXPECT_TRUE(ends.empty());
    clock.advance(0.0001);
    EXPECT_EQ(ends, std::vector<bool> { true });
    clock.advance(5);
    EXPECT_EQ(ends.size(), 1U);
}

TEST_F(Animation, ABlockThatChangesNothingCompletesAfterItsTime)
{
    animateTo(0, linear(0.25, 0.1));
    clock.advance(0.349);
    EXPECT_TRUE(ends.empty());
    clock.advance(0.001);
    EXPECT_EQ(ends, std::vector<bool> { true });
}

TEST_F(Animation, WithoutDurationItAppliesAtOnceAndCompletesOnTheNextTurn)
{
    animateTo(100, linear(0));
    EXPECT_EQ(x(), 100);
    EXPECT_TRUE(ends.empty());
    clock.turnMainRunLoop();
    EXPECT_EQ(ends, std::vector<bool> { true });
}

TEST_F(Animation, WithoutDurationItEndsTheOneThatRuns)
{
    animateTo(100, linear(1));
    clock.advance(0.5);
    animateTo(0, linear(0));
    EXPECT_EQ(x(), 0);
    clock.turnMainRunLoop();
    EXPECT_EQ(ends, (std::vector<bool> { false, true }));
}

TEST_F(Animation, ALaterOneOfTheSamePropertyEndsTheFirstUnfinished)
{
    animateTo(100, linear(1));
    clock.advance(0.5);
    animateTo(0, linear(1));
    EXPECT_TRUE(ends.empty()) << "never inline";
    clock.turnMainRunLoop();
    EXPECT_EQ(ends, std::vector<bool> { false });
    clock.advance(1);
    EXPECT_EQ(ends, (std::vector<bool> { false, true }));
}

TEST_F(Animation, FromTheCurrentStateItDoesNotJump)
{
    animateTo(100, linear(1));
    clock.advance(0.3);
    auto back = linear(1);
    back.beginFromCurrentState = true;
    animateTo(0, back);
    EXPECT_NEAR(x(), 30, 1e-6);
    clock.advance(0.5);
    EXPECT_NEAR(x(), 15, 1e-6);
}

TEST_F(Animation, OtherwiseItStartsAtTheValueBefore)
{
    animateTo(100, linear(1));
    clock.advance(0.3);
    animateTo(0, linear(1));
    EXPECT_NEAR(x(), 100, 1e-6);
}

TEST_F(Animation, ASecondChangeInOneBlockGoesFromWhereTheFirstBegan)
{
    CATransaction::animateBlock(
        linear(1),
        [&] {
            layer->setPosition({ 40, 0 });
            layer->setPosition({ 100, 0 });
        },
        [this](bool finished) { ends.push_back(finished); });
    EXPECT_EQ(x(), 0);
    clock.advance(0.5);
    EXPECT_NEAR(x(), 50, 1e-6);
    clock.advance(1);
    EXPECT_EQ(ends, std::vector<bool> { true }); // nothing was interrupted
}

TEST_F(Animation, OfTwoPropertiesOneInterruptedEndsItWithTheOtherUnfinished)
{
    CATransaction::animateBlock(
        linear(1),
        [&] {
            layer->setPosition({ 100, 0 });
            layer->setOpacity(0);
        },
        [this](bool finished) { ends.push_back(finished); });
    clock.advance(0.5);
    layer->removeAnimationForKey("position");
    EXPECT_EQ(x(), 100);
    clock.advance(0.4);
    EXPECT_TRUE(ends.empty());
    EXPECT_NEAR(layer->presentationLayer()->opacity(), 0.1, 1e-6);
    clock.advance(0.1);
    EXPECT_EQ(ends, std::vector<bool> { false });
}

TEST_F(Animation, LeavingTheSuperlayerEndsItUnfinished)
{
    const auto outer = CALayer::layer();
    const auto outermost = CALayer::layer();
    outermost->addSublayer(outer);
    outer->addSublayer(layer);
    animateTo(100, linear(1));
    clock.advance(0.5);
    outer->removeFromSuperlayer();
    clock.turnMainRunLoop();
    EXPECT_EQ(ends, std::vector<bool> { false });
    EXPECT_EQ(x(), 100);
}

TEST_F(Animation, TheEndOfTheLayerEndsItUnfinished)
{
    animateTo(100, linear(1));
    layer.reset();
    clock.advance(1);
    EXPECT_EQ(ends, std::vector<bool> { false });
}

TEST_F(Animation, CompletionsComeInTheOrderOfEnding)
{
    std::vector<int> order;
    CATransaction::animateBlock(
        linear(0.5), [] {}, [&](bool) { order.push_back(1); });
    CATransaction::animateBlock(
        linear(0.2), [] {}, [&](bool) { order.push_back(2); });
    CATransaction::animateBlock(
        linear(0.2, 0.2), [] {}, [&](bool) { order.push_back(3); });
    clock.advance(1);
    EXPECT_EQ(order, (std::vector<int> { 2, 3, 1 }));
}

TEST_F(Animation, DisabledActionsApplyAtOnceWithinABlockToo)
{
    CATransaction::animateBlock(linear(1), [&] {
        CATransaction::begin();
        CATransaction::setDisableActions(true);
        layer->setPosition({ 100, 0 });
        CATransaction::commit();
    });
    EXPECT_EQ(x(), 100);
}

TEST_F(Animation, ItRunsThereAndBack)
{
    auto block = linear(1);
    block.autoreverses = true;
    block.repeatCount = std::numeric_limits<double>::infinity();
    animateTo(100, block);
    clock.advance(1.25);
    EXPECT_NEAR(x(), 75, 1e-6);
    clock.advance(1);
    EXPECT_NEAR(x(), 25, 1e-6);
    clock.advance(100);
    EXPECT_TRUE(ends.empty());
}

TEST_F(Animation, AHalfTurnKeepsTheSize)
{
    CATransaction::animateBlock(
        linear(1), [&] { layer->setAffineTransform(CGAffineTransformMakeRotation(std::numbers::pi)); });
    clock.advance(0.5);
    const auto half = layer->presentationLayer()->affineTransform();
    EXPECT_NEAR(half.a * half.d - half.b * half.c, 1, 1e-9);
    EXPECT_NEAR(std::abs(half.b), 1, 1e-9);
}

TEST_F(Animation, AnAddedOneShowsAndLeavesTheModelAlone)
{
    const auto fade = CABasicAnimation::animationWithKeyPath("opacity");
    fade->setFromValue(0.2);
    fade->setToValue(0.6);
    fade->setDuration(1);
    layer->addAnimation(fade, "fade");
    EXPECT_EQ(layer->animationKeys(), std::vector<std::string> { "fade" });
    EXPECT_NEAR(layer->presentationLayer()->opacity(), 0.2, 1e-9);
    clock.advance(0.5);
    EXPECT_NEAR(layer->presentationLayer()->opacity(), 0.4, 1e-6);
    EXPECT_EQ(layer->opacity(), 1);
    clock.advance(0.5);
    EXPECT_EQ(layer->presentationLayer()->opacity(), 1);
    EXPECT_TRUE(layer->animationKeys().empty());
}

TEST_F(Animation, AnUnknownKeyPathIsAcceptedAndShowsNothing)
{
    const auto shrink = CABasicAnimation::animationWithKeyPath("translation.scale");
    shrink->setToValue(0.1);
    shrink->setDuration(0.5);
    layer->addAnimation(shrink, "shrink");
    EXPECT_FALSE(layer->isMoving());
    clock.advance(0.25);
    EXPECT_NE(layer->animationForKey("shrink"), nullptr);
    EXPECT_EQ(layer->presentationLayer()->transform(), CATransform3DIdentity);
    clock.advance(0.25);
    EXPECT_EQ(layer->animationForKey("shrink"), nullptr);
}

TEST_F(Animation, PartsOfAValueAreMovedByTheirPaths)
{
    const auto grow = CABasicAnimation::animationWithKeyPath("transform.scale.y");
    grow->setToValue(3.0);
    grow->setDuration(1);
    layer->addAnimation(grow, "");
    const auto widen = CABasicAnimation::animationWithKeyPath("bounds.size.width");
    widen->setToValue(10.0);
    widen->setDuration(1);
    layer->addAnimation(widen, "");
    clock.advance(0.5);
    const auto shown = layer->presentationLayer();
    EXPECT_NEAR(shown->transform().m22, 2, 1e-6);
    EXPECT_EQ(shown->transform().m11, 1);
    EXPECT_NEAR(shown->bounds().size.width, 5, 1e-6);
}

TEST_F(Animation, ItStaysWhereItsFillModeSaysSo)
{
    const auto fade = CABasicAnimation::animationWithKeyPath("opacity");
    fade->setToValue(0.0);
    fade->setDuration(1);
    fade->setFillMode(kCAFillModeForwards);
    fade->setRemovedOnCompletion(false);
    layer->addAnimation(fade, "fade");
    clock.advance(2);
    EXPECT_EQ(layer->presentationLayer()->opacity(), 0);
    layer->removeAnimationForKey("fade");
    EXPECT_EQ(layer->presentationLayer()->opacity(), 1);
}

TEST_F(Animation, KeyframesComeAtTheirTimes)
{
    const auto walk = CAKeyframeAnimation::animationWithKeyPath("position.x");
    walk->setValues({ 0.0, 100.0, 40.0 });
    walk->setKeyTimes({ 0, 0.25, 1 });
    walk->setDuration(1);
    layer->addAnimation(walk, "walk");
    clock.advance(0.25);
    EXPECT_NEAR(x(), 100, 1e-6);
    clock.advance(0.375);
    EXPECT_NEAR(x(), 70, 1e-6);
}

TEST_F(Animation, ADelegateHearsHowItEnded)
{
    struct Listener : CAAnimationDelegate {
        void animationDidStart(const std::shared_ptr<CAAnimation>&) override { ++starts; }
        void animationDidStop(const std::shared_ptr<CAAnimation>&, bool finished) override { ends.push_back(finished); }
        int starts = 0;
        std::vector<bool> ends;
    };
    const auto listener = std::make_shared<Listener>();
    const auto fade = CABasicAnimation::animationWithKeyPath("opacity");
    fade->setDuration(1);
    fade->setDelegate(listener);
    layer->addAnimation(fade, "fade");
    clock.advance(0.5);
    layer->addAnimation(fade, "fade");
    clock.advance(1);
    EXPECT_EQ(listener->starts, 2);
    EXPECT_EQ(listener->ends, (std::vector<bool> { false, true }));
}

TEST_F(Animation, ATransactionCompletesWhenItsAnimationsHave)
{
    int completions = 0;
    CATransaction::begin();
    CATransaction::setCompletionBlock([&] { ++completions; });
    const auto fade = CABasicAnimation::animationWithKeyPath("opacity");
    fade->setDuration(0.3);
    layer->addAnimation(fade, "fade");
    CATransaction::commit();
    clock.advance(0.29);
    EXPECT_EQ(completions, 0);
    clock.advance(0.02);
    EXPECT_EQ(completions, 1);
}

class ImplicitAnimation : public DisplayTest { };

TEST_F(ImplicitAnimation, AChangeOfALayerThatWasSeenTakesAQuarterOfASecond)
{
    const auto layer = add(CGRectMake(0, 0, 10, 10), redColor);
    clock.advance(1);
    layer->setPosition({ 105, 5 });
    clock.advance(0.125);
    EXPECT_NEAR(layer->presentationLayer()->position().x, 85.2403, 1e-3); // 5 + 100 * 0.802403
    clock.advance(0.125);
    EXPECT_EQ(layer->presentationLayer()->position().x, 105);
}

TEST_F(ImplicitAnimation, WhatNobodyHasSeenDoesNotMove)
{
    const auto layer = add(CGRectMake(0, 0, 10, 10), redColor);
    layer->setPosition({ 105, 5 });
    EXPECT_EQ(layer->presentationLayer()->position().x, 105);
}

TEST_F(ImplicitAnimation, ALayerWithADelegateMovesOnlyWhenThatSaysSo)
{
    struct Owner : CALayerDelegate { };
    const auto owner = std::make_shared<Owner>();
    const auto layer = add(CGRectMake(0, 0, 10, 10), redColor);
    layer->setDelegate(owner);
    clock.advance(1);
    layer->setPosition({ 105, 5 });
    EXPECT_EQ(layer->presentationLayer()->position().x, 105);
}

TEST_F(ImplicitAnimation, APathIsNotAnimated)
{
    const auto shape = CAShapeLayer::layer();
    display->rootLayer()->addSublayer(shape);
    clock.advance(1);
    shape->setPath(CGPath::withRect(CGRectMake(0, 0, 10, 10)));
    EXPECT_TRUE(shape->animationKeys().empty());
}

}
}
