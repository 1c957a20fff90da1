// SPDX-License-Identifier: Apache-2.0
#include "velmora/ui/QVSlider.h"
#include "velmora/ui/QVSliderKnobView.h"
#include "velmora/ui/QVSliderTrackView.h"

#include "platform/Foundation/NSException.h"
#include "platform/QuartzCore/CAAnimation.h"
#include "platform/QuartzCore/CAShapeLayer.h"
#include "platform/UIKit/UIColor.h"
#include "platform/UIKit/UIFont.h"
#include "platform/UIKit/UIImage.h"
#include "platform/UIKit/UIImageView.h"
#include "platform/UIKit/UILabel.h"
#include "platform/UIKit/UILongPressGestureRecognizer.h"
#include "platform/UIKit/UIPanGestureRecognizer.h"
#include "platform/UIKit/UIVisualEffect.h"
#include "platform/UIKit/UIVisualEffectView.h"

#include "tests/support/WindowTest.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numeric>
#include <string>
#include <vector>

namespace velmora::tests {
namespace {

constexpr auto horizontal = QVSliderOrientationHorizontal;
constexpr auto neither = static_cast<QVSliderOrientation>(7);

/// 340 by 40 points, level, at (20, 100): the knob is 60 by 40, and its centre has the 300 points from x = 20 on.
class Slider : public WindowTest {
protected:
    Slider()
        : WindowTest({ 400, 480 })
    {
        slider->setSliderOrientation(horizontal);
        slider->layoutIfNeeded();
        for (const auto event : { UIControlEventTouchDown, UIControlEventValueChanged, UIControlEventTouchUpInside })
            tokens.push_back(slider->addAction(event, [this, event] { events.push_back(event); }));
    }
    template <class View> std::shared_ptr<View> find() const
    {
        for (const auto& each : slider->subviews())
            if (auto found = std::dynamic_pointer_cast<View>(each))
                return found;
        return nullptr;
    }
    std::shared_ptr<QVSliderKnobView> knob() const { return find<QVSliderKnobView>(); }
    std::shared_ptr<QVSliderTrackView> track() const { return find<QVSliderTrackView>(); }
    std::shared_ptr<UILabel> label() const { return find<UILabel>(); }
    std::shared_ptr<UIVisualEffectView> effects() const { return find<UIVisualEffectView>(); }
    std::shared_ptr<UIView> dotInEffects() const
    {
        const auto& all = effects()->contentView()->subviews();
        return all.empty() ? nullptr : all.front();
    }
    std::vector<std::shared_ptr<UIImageView>> images() const
    {
        std::vector<std::shared_ptr<UIImageView>> found;
        for (const auto& each : slider->subviews())
            if (const auto image = std::dynamic_pointer_cast<UIImageView>(each))
                found.push_back(image);
        return found;
    }
    static std::shared_ptr<UIImage> picture(double side)
    {
        return UIImage::imageByDrawing({ side, side }, 1, [](CGContext&) {});
    }
    /// A finger that takes the knob and goes to a point of the slider.
    void dragTo(CGPoint point)
    {
        const CGPoint origin = slider->frame().origin, from = knob()->center();
        touchDown({ origin.x + from.x, origin.y + from.y });
        moveTo({ origin.x + from.x + 30, origin.y + from.y + 30 });
        moveTo({ origin.x + point.x, origin.y + point.y });
    }
    void formatPlainly()
    {
        slider->setValueFormatter([](float value) { return std::to_string(std::lround(value * 100)); });
    }
    void makeVertical()
    {
        slider->setFrame(CGRectMake(20, 50, 40, 340));
        slider->setSliderOrientation(QVSliderOrientationVertical);
        slider->layoutIfNeeded();
    }

    std::shared_ptr<QVSlider> slider = add<QVSlider>(CGRectMake(20, 100, 340, 40));
    std::vector<Cancellable> tokens;
    std::vector<int> events;
};

TEST_F(Slider, BeginsInTheMiddleOfZeroAndOneUprightAndIdle)
{
    const auto fresh = make<QVSlider>(CGRectMake(0, 0, 40, 340));
    EXPECT_EQ(fresh->currentValue(), 0.5F);
    EXPECT_EQ(fresh->minimumValue(), 0);
    EXPECT_EQ(fresh->maximumValue(), 1);
    EXPECT_EQ(fresh->sliderOrientation(), QVSliderOrientationVertical);
    EXPECT_EQ(fresh->valueDisplayStyle(), 0);
    EXPECT_FALSE(fresh->isInvoked());
    EXPECT_FALSE(fresh->isOpaque());
    EXPECT_FALSE(fresh->clipsToBounds());
    EXPECT_EQ(fresh->backgroundColor(), nullptr);
    EXPECT_TRUE(fresh->inactiveColor()->isEqual(UIColor::lightGrayColor().get()));
}

TEST_F(Slider, IsMadeOfAnEffectATrackALabelAndAKnobOnTop)
{
    ASSERT_EQ(slider->subviews().size(), 4U);
    EXPECT_EQ(slider->subviews()[0], effects());
    EXPECT_EQ(slider->subviews()[1], track());
    EXPECT_EQ(slider->subviews()[2], label());
    EXPECT_EQ(slider->subviews()[3], knob());
    EXPECT_EQ(effects()->autoresizingMask(), 18);
    EXPECT_EQ(effects()->frame(), CGRectMake(0, 0, 340, 40));
    EXPECT_FALSE(track()->isOpaque());
    EXPECT_EQ(track()->contentMode(), 3);
    EXPECT_EQ(knob()->contentMode(), 3);
    EXPECT_TRUE(label()->backgroundColor()->isEqual(UIColor::clearColor().get()));
    const auto vibrancy = std::dynamic_pointer_cast<UIVibrancyEffect>(effects()->effect());
    ASSERT_NE(vibrancy, nullptr);
    EXPECT_EQ(vibrancy->blurEffect()->style(), 1);
    EXPECT_EQ(dotInEffects()->bounds().size, CGSizeMake(8, 8));
    EXPECT_EQ(dotInEffects()->layer()->cornerRadius(), 4);
    EXPECT_TRUE(dotInEffects()->clipsToBounds());
    EXPECT_TRUE(label()->isHidden());
    EXPECT_EQ(label()->font()->pointSize(), 18);
    EXPECT_TRUE(label()->font()->isBold());
}

TEST_F(Slider, TheKnobHearsPansAndAtOncePressesThatMayGoFar)
{
    const auto& recognizers = knob()->gestureRecognizers();
    ASSERT_EQ(recognizers.size(), 2U);
    EXPECT_NE(std::dynamic_pointer_cast<UIPanGestureRecognizer>(recognizers[0]), nullptr);
    const auto press = std::dynamic_pointer_cast<UILongPressGestureRecognizer>(recognizers[1]);
    ASSERT_NE(press, nullptr);
    EXPECT_EQ(press->allowableMovement(), 100);
    EXPECT_EQ(press->minimumPressDuration(), 0);
    EXPECT_EQ(recognizers[0]->delegate(), slider);
    EXPECT_EQ(press->delegate(), slider);
    EXPECT_TRUE(slider->shouldRecognizeSimultaneously(press, recognizers[0]));
    EXPECT_TRUE(knob()->isUserInteractionEnabled());
}

TEST_F(Slider, TheKnobIsOneAndAHalfTimesAsLongAndTheInsetsAreHalfItsHeight)
{
    EXPECT_EQ(knob()->bounds().size, CGSizeMake(60, 40));
    EXPECT_EQ(knob()->center(), CGPointMake(170, 20));
    EXPECT_EQ(dotInEffects()->center(), CGPointMake(170, 20));
    makeVertical();
    EXPECT_EQ(knob()->bounds().size, CGSizeMake(40, 60));
    EXPECT_EQ(knob()->center(), CGPointMake(20, 170)); // 30 + 280 * 0.5
}

TEST_F(Slider, TheTrackIsShiftedByTwoPointsWithoutBeingShortened)
{
    EXPECT_EQ(track()->frame(), CGRectMake(22, 0, 300, 40));
    makeVertical();
    EXPECT_EQ(track()->frame(), CGRectMake(0, 32, 40, 280));
}

TEST_F(Slider, AValueGrowsToTheRightOrUpwards)
{
    slider->setCurrentValue(0.25F);
    EXPECT_EQ(knob()->center(), CGPointMake(95, 20));
    makeVertical();
    slider->setCurrentValue(0.25F);
    EXPECT_EQ(knob()->center(), CGPointMake(20, 240)); // 30 + 280 * 0.75
}

TEST_F(Slider, WhereAValueLiesIsFoundFromSinglePrecisionDifferences)
{
    slider->setMinimumValue(-1);
    slider->setMaximumValue(33554432.0F); // 33554433 above the minimum has no float: 33554432
    slider->setCurrentValue(16777216.0F);
    EXPECT_EQ(knob()->center().x, 170);
}

TEST_F(Slider, TheKnobMovesAtALayoutOnlyWhenThatLayoutSizedIt)
{
    slider->setMinimumValue(-1);
    slider->setNeedsLayout();
    slider->layoutIfNeeded();
    EXPECT_EQ(knob()->center().x, 170);
    slider->setSliderOrientation(horizontal);
    slider->layoutIfNeeded();
    EXPECT_EQ(knob()->center().x, 245);
}

TEST_F(Slider, AnotherOrientationResizesTheKnobAtTheNextLayout)
{
    slider->setSliderOrientation(QVSliderOrientationVertical);
    EXPECT_EQ(knob()->frame().size, CGSizeZero);
    slider->layoutIfNeeded();
    EXPECT_EQ(knob()->bounds().size, CGSizeMake(340, 510));
    EXPECT_EQ(track()->orientation(), QVSliderOrientationVertical);
}

TEST_F(Slider, AValueOutsideItsBoundsPlacesTheKnobOutsideTheTrack)
{
    slider->setCurrentValue(1.5F);
    EXPECT_EQ(slider->currentValue(), 1.5F);
    EXPECT_EQ(knob()->center().x, 470);
}

TEST_F(Slider, SettingAValueNeitherSnapsNorSendsAnEvent)
{
    slider->setPermittedValues({ { 0, 1 } });
    slider->setCurrentValue(0.4F);
    EXPECT_EQ(slider->currentValue(), 0.4F);
    EXPECT_TRUE(events.empty());
}

TEST_F(Slider, SettingAValueBringsTheLabelUpToDate)
{
    formatPlainly();
    slider->setCurrentValue(0.25F);
    EXPECT_EQ(label()->text(), "25");
    EXPECT_EQ(label()->center(), CGPointMake(95, -10));
}

TEST_F(Slider, NaNIsIgnored)
{
    slider->setCurrentValue(0.3F);
    slider->setCurrentValue(std::numeric_limits<float>::quiet_NaN(), true);
    EXPECT_EQ(slider->currentValue(), 0.3F);
}

TEST_F(Slider, AnAnimatedValueTakesAQuarterOfASecond)
{
    slider->setCurrentValue(1, true);
    clock.advance(0.125);
    EXPECT_NEAR(knob()->layer()->presentationLayer()->position().x, 245, 0.01);
    clock.advance(0.126);
    EXPECT_EQ(knob()->layer()->presentationLayer()->position().x, 320);
}

TEST_F(Slider, AnAnimatedValueGoesOnFromWhereTheKnobIs)
{
    slider->setCurrentValue(1, true);
    clock.advance(0.125);
    slider->setCurrentValue(0, true);
    EXPECT_NEAR(knob()->layer()->presentationLayer()->position().x, 245, 0.01);
    clock.advance(0.251);
    EXPECT_EQ(knob()->layer()->presentationLayer()->position().x, 20);
}

TEST_F(Slider, TheKnobCanBeTakenWhileItMoves)
{
    slider->setCurrentValue(1, true);
    clock.advance(0.24);
    touchDown({ 20 + 320, 120 });
    EXPECT_EQ(events, std::vector<int> { 1 });
}

TEST_F(Slider, BoundsThatCoincidePlaceTheKnobAtTheBeginning)
{
    slider->setPermittedValues(std::nullopt);
    slider->setCurrentValue(3);
    EXPECT_EQ(knob()->center().x, 20);
}

TEST_F(Slider, ADragSendsValueChangedAtEveryMovementAndTouchUpInsideAtItsEnd)
{
    dragTo({ 95, 20 });
    EXPECT_NEAR(slider->currentValue(), 0.25, 1e-6);
    EXPECT_EQ(knob()->center(), CGPointMake(95, 20));
    moveTo({ 20 + 245, 0 });
    EXPECT_NEAR(slider->currentValue(), 0.75, 1e-6);
    lift({ 20 + 245, 0 });
    EXPECT_EQ(events, (std::vector<int> { 1, 4096, 4096, 64 }));
}

TEST_F(Slider, TheBeginningOfAPanMovesNothing)
{
    touchDown({ 190, 120 });
    moveTo({ 220, 120 });
    EXPECT_EQ(slider->currentValue(), 0.5F);
    EXPECT_EQ(knob()->center(), CGPointMake(170, 20));
    EXPECT_EQ(events, std::vector<int> { 1 });
}

TEST_F(Slider, ADragStopsAtTheEnds)
{
    dragTo({ -500, 20 });
    EXPECT_EQ(slider->currentValue(), 0);
    EXPECT_EQ(knob()->center().x, 20);
    moveTo({ 900, 100 });
    EXPECT_EQ(slider->currentValue(), 1);
    EXPECT_EQ(knob()->center().x, 320);
}

TEST_F(Slider, WithoutRoomBetweenTheInsetsADragEndsAtTheUpperLimit)
{
    slider->setFrame(CGRectMake(20, 100, 30, 40)); // from 20 to 10
    slider->layoutIfNeeded();
    const auto pan = std::dynamic_pointer_cast<UIPanGestureRecognizer>(knob()->gestureRecognizers().front());
    pan->drive(UIGestureRecognizerStateChanged, { 15, 20 }, slider);
    EXPECT_EQ(knob()->center().x, 10);
}

TEST_F(Slider, ACancelledDragKeepsItsValueAndSendsNoEnd)
{
    dragTo({ 95, 20 });
    cancelTouch({ 20 + 95, 120 });
    EXPECT_NEAR(slider->currentValue(), 0.25, 1e-6);
    EXPECT_EQ(events, (std::vector<int> { 1, 4096 }));
}

TEST_F(Slider, AnUprightDragGrowsUpwards)
{
    makeVertical();
    dragTo({ 20, 100 }); // 1 - 70 / 280
    EXPECT_NEAR(slider->currentValue(), 0.75, 1e-6);
    EXPECT_EQ(knob()->center(), CGPointMake(20, 100));
}

TEST_F(Slider, APressAndReleaseWithoutMovementSendsTouchDownAndNothingElse)
{
    touchDown({ 190, 120 });
    lift({ 190, 120 });
    EXPECT_EQ(events, (std::vector<int> { 1 }));
}

TEST_F(Slider, TheKnobFollowsTheFingerEvenWhenTheValueSnaps)
{
    slider->setPermittedValues({ { 1, 2, 4 } });
    dragTo({ 171, 20 }); // 149 points along the track
    EXPECT_EQ(slider->currentValue(), 2);
    EXPECT_EQ(knob()->center().x, 171);
}

TEST_F(Slider, SnapsByTheCountOfValuesAndTheLastOneTakesEverythingBeyond)
{
    slider->setPermittedValues({ { 1, 2, 4 } });
    const auto at = [this](double trackX) { return slider->_permittedValueAtPosition({ 22 + trackX, 20 }); };
    EXPECT_EQ(at(0), 1);
    EXPECT_EQ(at(49.9), 1);
    EXPECT_EQ(at(49.999999), 2); // a half in single precision
    EXPECT_EQ(at(50), 2); // halves away from zero
    EXPECT_EQ(at(149), 2);
    EXPECT_EQ(at(150), 4);
    EXPECT_EQ(at(250), 4); // rounds to 3
    EXPECT_EQ(at(5000), 4);
}

TEST_F(Slider, ANegativeIndexSelectsTheLastValue)
{
    slider->setPermittedValues({ { 1, 2, 4 } });
    EXPECT_EQ(slider->_permittedValueAtPosition({ 22 - 51, 20 }), 4);
    EXPECT_EQ(slider->_permittedValueAtPosition({ 22 - 49, 20 }), 1);
}

TEST_F(Slider, WithSeventyFiveValuesTheLeftmostFingerSelectsTheLast)
{
    const auto leftmostOf = [this](std::size_t count) {
        std::vector<double> values(count);
        std::iota(values.begin(), values.end(), 1);
        slider->setPermittedValues(values);
        return slider->_permittedValueAtPosition({ 20, 20 }); // 2 points before the track
    };
    EXPECT_EQ(leftmostOf(74), 1);
    EXPECT_EQ(leftmostOf(75), 75); // half of the 4 points that one value has
}

TEST_F(Slider, WithoutPermittedValuesNoneIsSelected)
{
    slider->setMinimumValue(2);
    EXPECT_EQ(slider->_permittedValueAtPosition({ 200, 20 }), 0);
    slider->setPermittedValues(std::vector<double> {});
    EXPECT_EQ(slider->_permittedValueAtPosition({ 200, 20 }), 0);
}

TEST_F(Slider, AnUprightSliderSnapsFromTheBottomOfItsTrack)
{
    makeVertical();
    slider->setPermittedValues({ { 1, 2, 4 } });
    EXPECT_EQ(slider->_permittedValueAtPosition({ 20, 32 + 280 }), 1);
    EXPECT_EQ(slider->_permittedValueAtPosition({ 20, 32 + 280 - 100 }), 2);
    EXPECT_EQ(slider->_permittedValueAtPosition({ 20, 32 }), 4);
}

TEST_F(Slider, AQuotientThatIsNotFiniteSelectsTheLastValue)
{
    slider->setPermittedValues({ { 1, 2, 4 } });
    slider->setSliderOrientation(neither);
    EXPECT_EQ(slider->_permittedValueAtPosition({ 10, 10 }), 4);
}

TEST_F(Slider, WithNeitherOrientationADragSetsTheMinimumAndPutsTheKnobAtTheOrigin)
{
    slider->setMinimumValue(-3);
    slider->setSliderOrientation(neither);
    const auto pan = std::dynamic_pointer_cast<UIPanGestureRecognizer>(knob()->gestureRecognizers().front());
    pan->drive(UIGestureRecognizerStateChanged, { 200, 20 }, slider);
    EXPECT_EQ(slider->currentValue(), -3);
    EXPECT_EQ(knob()->center(), CGPointZero);
    slider->setPermittedValues({ { 1, 2 } });
    pan->drive(UIGestureRecognizerStateChanged, { 200, 20 }, slider);
    EXPECT_EQ(slider->currentValue(), 2);
}

TEST_F(Slider, PermittedValuesAreSortedAndTheOutermostAreTheBounds)
{
    slider->setPermittedValues({ { 4, 1, 2 } });
    EXPECT_EQ(slider->permittedValues(), (std::vector<double> { 1, 2, 4 }));
    EXPECT_EQ(slider->minimumValue(), 1);
    EXPECT_EQ(slider->maximumValue(), 4);
}

TEST_F(Slider, SetPermittedValuesChecksTheOldArray)
{
    slider->setPermittedValues({ { 5 } });
    EXPECT_EQ(slider->minimumValue(), 5);
    try {
        slider->setPermittedValues({ { 1, 2 } });
        FAIL() << "it was accepted";
    } catch (const NSException& exception) {
        EXPECT_EQ(exception.name(), "NSInvalidArgumentException");
        EXPECT_EQ(exception.reason(), "Must have at least 2 permitted values");
    }
    EXPECT_EQ(slider->permittedValues(), std::vector<double> { 5 });
}

TEST_F(Slider, EmptyPermittedValuesMakeBothBoundsZero)
{
    slider->setPermittedValues(std::vector<double> {});
    EXPECT_EQ(slider->minimumValue(), 0);
    EXPECT_EQ(slider->maximumValue(), 0);
    slider->setPermittedValues({ { 1, 2 } }); // an empty array is no array of one
    EXPECT_EQ(slider->maximumValue(), 2);
}

TEST_F(Slider, SettingABoundForgetsThePermittedValuesAndDoesNotLayOut)
{
    slider->setPermittedValues({ { 1, 2, 4 } });
    slider->layoutIfNeeded();
    slider->setMinimumValue(0);
    EXPECT_EQ(slider->permittedValues(), std::nullopt);
    slider->setPermittedValues({ { 1, 2, 4 } });
    slider->setMaximumValue(9);
    EXPECT_EQ(slider->permittedValues(), std::nullopt);
    EXPECT_FALSE(slider->layer()->needsLayout());
}

TEST_F(Slider, TheMarksFractionsAreComputedOnceInSinglePrecision)
{
    slider->setMaximumValue(3);
    slider->setPointPositions({ { 1, 3, 0 } });
    EXPECT_EQ(track()->pointPositions(), (std::vector<double> { static_cast<double>(1.0F / 3.0F), 1, 0 }));
    slider->setMaximumValue(6);
    EXPECT_EQ(track()->pointPositions()[1], 1);
}

TEST_F(Slider, EndImagesAreTemplatesAndStandAtTheSidesOppositeToTheirInsets)
{
    slider->setMinimumImage(picture(10));
    slider->setMaximumImage(picture(16));
    EXPECT_TRUE(slider->minimumImage()->isTemplate());
    EXPECT_TRUE(slider->maximumImage()->isTemplate());
    slider->layoutIfNeeded();
    const auto minimum = images().at(0), maximum = images().at(1);
    EXPECT_EQ(minimum->contentMode(), 4);
    EXPECT_EQ(minimum->frame(), CGRectMake(300, 0, 40, 10)); // at the right
    EXPECT_EQ(maximum->frame(), CGRectMake(0, 0, 40, 16)); // at the left
    EXPECT_EQ(track()->frame(), CGRectMake(20 + 10 + 2, 0, 300 - 10 - 16, 40));
    slider->setNeedsLayout();
    slider->layoutIfNeeded();
    EXPECT_EQ(track()->frame(), CGRectMake(20 + 40 + 2, 0, 300 - 40 - 40, 40)); // the widths that they were given
    makeVertical();
    EXPECT_EQ(track()->frame(), CGRectMake(0, 30 + 10 + 2, 40, 280 - 10 - 16));
    EXPECT_EQ(minimum->frame().origin.y, 340 - minimum->bounds().size.height); // at the bottom
    EXPECT_EQ(maximum->frame().origin.y, 0);
}

TEST_F(Slider, SetMaximumImageRepositionsTheKnobAndSetMinimumImageDoesNot)
{
    slider->setMinimumValue(-1);
    slider->setMinimumImage(picture(10));
    EXPECT_EQ(knob()->center().x, 170);
    slider->setMaximumImage(picture(10));
    EXPECT_EQ(knob()->center().x, 245);
}

TEST_F(Slider, ANilImageOnlyClearsTheStoredOneAndItsViewLeaves)
{
    slider->setMinimumImage(picture(10));
    slider->setMinimumImage(nullptr);
    EXPECT_EQ(slider->minimumImage(), nullptr);
    EXPECT_TRUE(images().empty());
    slider->setNeedsLayout();
    slider->layoutIfNeeded();
    EXPECT_EQ(track()->frame(), CGRectMake(22, 0, 300, 40)); // the removed view adds no inset
}

TEST_F(Slider, DisabledItIsDimmedAndHasNoKnob)
{
    slider->setEnabled(false);
    EXPECT_FALSE(slider->isEnabled());
    EXPECT_EQ(slider->tintAdjustmentMode(), UIViewTintAdjustmentModeDimmed);
    EXPECT_TRUE(knob()->isHidden());
    EXPECT_TRUE(dotInEffects()->isHidden());
    slider->setEnabled(true);
    EXPECT_EQ(slider->tintAdjustmentMode(), UIViewTintAdjustmentModeNormal);
    EXPECT_FALSE(knob()->isHidden());
    EXPECT_FALSE(dotInEffects()->isHidden());
}

TEST_F(Slider, InvokedItHasTheTintAndItsDotAboveTheTrack)
{
    slider->setTintColor(UIColor::redColor());
    slider->setInactiveColor(UIColor::blueColor());
    const auto dot = dotInEffects();
    slider->setInvoked(true);
    EXPECT_FALSE(knob()->isShrunk());
    EXPECT_TRUE(knob()->tintColor()->isEqual(UIColor::redColor().get()));
    EXPECT_TRUE(knob()->alternateColor()->isEqual(UIColor::blueColor().get()));
    EXPECT_TRUE(track()->tintColor()->isEqual(UIColor::redColor().get()));
    EXPECT_TRUE(label()->textColor()->isEqual(UIColor::redColor().get()));
    EXPECT_TRUE(dot->backgroundColor()->isEqual(UIColor::blueColor().get()));
    EXPECT_EQ(slider->subviews()[2], dot); // the effect, the track, the dot
    EXPECT_EQ(label()->font()->pointSize(), 18);
}

TEST_F(Slider, IdleItIsMutedAndItsDotLiesInTheEffect)
{
    slider->setTintColor(UIColor::redColor());
    slider->setInactiveColor(UIColor::blueColor());
    slider->setInvoked(true);
    slider->setInvoked(false);
    EXPECT_TRUE(knob()->isShrunk());
    EXPECT_TRUE(knob()->tintColor()->isEqual(UIColor::blueColor().get()));
    EXPECT_TRUE(knob()->alternateColor()->isEqual(UIColor::redColor().get()));
    EXPECT_TRUE(track()->tintColor()->isEqual(UIColor::blueColor().get()));
    EXPECT_TRUE(label()->textColor()->isEqual(UIColor::blueColor().get()));
    EXPECT_NE(dotInEffects(), nullptr);
    EXPECT_TRUE(dotInEffects()->backgroundColor()->isEqual(UIColor::blueColor().get()));
    EXPECT_EQ(label()->font()->pointSize(), 12);
    EXPECT_TRUE(label()->font()->isBold());
}

TEST_F(Slider, SetInactiveColorDoesNotRefresh)
{
    slider->setInactiveColor(UIColor::blueColor());
    EXPECT_TRUE(knob()->tintColor()->isEqual(UIColor::lightGrayColor().get()));
    slider->setTintColor(UIColor::redColor());
    EXPECT_TRUE(knob()->tintColor()->isEqual(UIColor::blueColor().get()));
}

TEST_F(Slider, AwakenedItHasItsColours)
{
    slider->setInactiveColor(UIColor::blueColor());
    slider->awakeFromNib();
    EXPECT_TRUE(knob()->tintColor()->isEqual(UIColor::blueColor().get()));
}

TEST_F(Slider, AnAnimatedInvocationChangesItsColoursInAQuarterOfASecond)
{
    const auto dot = dotInEffects();
    slider->setInactiveColor(UIColor::blackColor());
    slider->_updateColors();
    slider->setInactiveColor(UIColor::whiteColor());
    slider->setInvoked(true, true);
    const auto shownRed = [&] { return dot->layer()->presentationLayer()->backgroundColor()->red; };
    clock.advance(0.125); // the middle of an even curve
    EXPECT_NEAR(shownRed(), 0.5, 0.001);
    clock.advance(0.126);
    EXPECT_EQ(shownRed(), 1);
    slider->setInactiveColor(UIColor::blackColor());
    slider->setInvoked(false); // at once
    EXPECT_EQ(shownRed(), 0);
}

TEST_F(Slider, IdleItShowsItsValueWhereThatIsWished)
{
    formatPlainly();
    slider->setValueDisplayStyle(QVSliderValueDisplayStyleWhenIdle);
    slider->setInvoked(false);
    EXPECT_FALSE(label()->isHidden());
    EXPECT_EQ(label()->text(), "50");
    EXPECT_EQ(label()->center(), CGPointMake(170, -10));
    slider->setInvoked(true);
    clock.advance(1);
    EXPECT_TRUE(label()->isHidden());
    EXPECT_EQ(label()->transform(), CGAffineTransform {});
}

TEST_F(Slider, WithoutAFormatterTheIdleLabelIsShownWithoutAText)
{
    slider->setValueDisplayStyle(QVSliderValueDisplayStyleWhenIdle);
    slider->setInvoked(false);
    EXPECT_FALSE(label()->isHidden());
    EXPECT_EQ(label()->text(), std::nullopt);
    slider->setInvoked(true);
    clock.advance(1);
    EXPECT_TRUE(label()->isHidden());
}

TEST_F(Slider, TheLabelStandsAboveOrToTheLeftAndFartherWhileInvoked)
{
    formatPlainly();
    slider->setInvoked(true);
    slider->_updateValueLabel();
    EXPECT_EQ(label()->center(), CGPointMake(170, -15));
    makeVertical();
    slider->_updateValueLabel();
    EXPECT_EQ(label()->center(), CGPointMake(-40, 170));
    slider->setInvoked(false);
    slider->_updateValueLabel();
    EXPECT_EQ(label()->center(), CGPointMake(-10, 170));
}

TEST_F(Slider, TheLabelPopsOutWithASpring)
{
    slider->_setValueLabelVisible(true);
    EXPECT_FALSE(label()->isHidden());
    const auto shown = [this] { return label()->layer()->presentationLayer()->affineTransform(); };
    EXPECT_NEAR(shown().a, 0.1, 1e-3);
    EXPECT_NEAR(shown().ty, 35, 0.1);
    double largest = 0;
    for (int i = 0; i < 14; ++i) {
        clock.advance(0.05);
        largest = std::max(largest, shown().a);
    }
    EXPECT_GT(largest, 1.05); // it swings over
    EXPECT_NE(shown(), CGAffineTransform {});
    clock.advance(0.06);
    EXPECT_EQ(shown(), CGAffineTransform {});
}

TEST_F(Slider, TheLabelGoesInAQuarterOfASecond)
{
    slider->_setValueLabelVisible(true);
    clock.advance(1);
    slider->_setValueLabelVisible(false);
    clock.advance(0.125); // the middle of an even curve
    EXPECT_NEAR(label()->layer()->presentationLayer()->affineTransform().a, 0.55, 0.001);
    clock.advance(0.12);
    EXPECT_FALSE(label()->isHidden());
    clock.advance(0.01);
    EXPECT_TRUE(label()->isHidden());
    EXPECT_EQ(label()->transform(), CGAffineTransform {});
}

TEST_F(Slider, TheLabelGoesFromWhereItIs)
{
    slider->_setValueLabelVisible(true);
    clock.advance(0.05);
    const auto scale = [this] { return label()->layer()->presentationLayer()->affineTransform().a; };
    const double shown = scale();
    EXPECT_LT(shown, 0.9);
    slider->_setValueLabelVisible(false);
    EXPECT_NEAR(scale(), shown, 1e-6);
    clock.advance(0.125);
    EXPECT_NEAR(scale(), (shown + 0.1) / 2, 0.001);
    slider->_setValueLabelVisible(true);
    EXPECT_NEAR(scale(), (shown + 0.1) / 2, 0.001);
}

TEST_F(Slider, TheHiddenTransformIsAScaleAndAShiftThatIsNotScaled)
{
    slider->_setValueLabelVisible(false);
    EXPECT_EQ(label()->transform(),
        (CGAffineTransform { static_cast<double>(0.1F), 0, 0, static_cast<double>(0.1F), 0, 35 }));
    clock.advance(0.3);
    makeVertical();
    slider->_setValueLabelVisible(false);
    EXPECT_EQ(label()->transform(),
        (CGAffineTransform { static_cast<double>(0.1F), 0, 0, static_cast<double>(0.1F), 75, 0 }));
}

TEST_F(Slider, HidingTheLabelHidesItEvenIfItWasShownAgainMeanwhile)
{
    slider->_setValueLabelVisible(true);
    clock.advance(1);
    slider->_setValueLabelVisible(false);
    clock.advance(0.1);
    slider->_setValueLabelVisible(true);
    clock.advance(2);
    EXPECT_TRUE(label()->isHidden());
}

TEST_F(Slider, WhileTouchingTheLabelShowsAndKeepsTheValue)
{
    formatPlainly();
    slider->setValueDisplayStyle(QVSliderValueDisplayStyleWhileTouching);
    dragTo({ 95, 20 });
    EXPECT_FALSE(label()->isHidden());
    EXPECT_EQ(label()->text(), "25");
    EXPECT_EQ(label()->center().x, 95);
    lift({ 115, 120 });
    clock.advance(2);
    EXPECT_TRUE(label()->isHidden());
}

TEST_F(Slider, APressAloneShowsTheValue)
{
    formatPlainly();
    slider->setValueDisplayStyle(QVSliderValueDisplayStyleWhileTouching);
    touchDown({ 190, 120 });
    EXPECT_FALSE(label()->isHidden());
    EXPECT_EQ(label()->text(), "50");
}

TEST_F(Slider, WithoutAStyleTheLabelIsLeftAsItIs)
{
    formatPlainly();
    slider->_setValueLabelVisible(true);
    dragTo({ 95, 20 });
    EXPECT_EQ(label()->text(), std::nullopt);
    lift({ 115, 120 });
    slider->setInvoked(true);
    clock.advance(1);
    EXPECT_FALSE(label()->isHidden());
    slider->setInvoked(false);
    EXPECT_EQ(label()->text(), std::nullopt);
}

TEST_F(Slider, WithoutAFormatterNoLabelShowsOnAPressButTouchDownIsSent)
{
    slider->setValueDisplayStyle(QVSliderValueDisplayStyleWhileTouching);
    touchDown({ 190, 120 });
    EXPECT_TRUE(label()->isHidden());
    EXPECT_EQ(events, std::vector<int> { 1 });
}

TEST_F(Slider, TheEndOfAPressHidesTheLabelAlsoWithOnlyTheIdleStyle)
{
    formatPlainly();
    slider->setValueDisplayStyle(QVSliderValueDisplayStyleWhenIdle);
    slider->setInvoked(false);
    clock.advance(1);
    touchDown({ 190, 120 });
    lift({ 190, 120 });
    clock.advance(1);
    EXPECT_TRUE(label()->isHidden());
}

TEST_F(Slider, ACancelledPressNeitherHidesTheLabelNorSendsAnEvent)
{
    formatPlainly();
    slider->setValueDisplayStyle(QVSliderValueDisplayStyleWhileTouching);
    touchDown({ 190, 120 });
    cancelTouch({ 190, 120 });
    clock.advance(2);
    EXPECT_FALSE(label()->isHidden());
    EXPECT_EQ(events, std::vector<int> { 1 });
}

TEST_F(Slider, EveryOperationIsThereByItsSelector)
{
    for (const char* selector : { "setCurrentValue:", "setCurrentValue:animated:", "setInvoked:",
             "setInvoked:animated:", "setPermittedValues:", "setMinimumValue:", "setMaximumValue:",
             "setPointPositions:", "setMinimumImage:", "setMaximumImage:", "setSliderOrientation:", "setInactiveColor:",
             "setValueDisplayStyle:", "setLocalizedControlName:", "setValueFormatter:", "_pressKnob:", "_panKnob:",
             "_updateKnobPosition", "_updateValueLabel", "_updateColors", "_setValueLabelVisible:",
             "_permittedValueAtPosition:", "gestureRecognizer:shouldRecognizeSimultaneouslyWithGestureRecognizer:" })
        EXPECT_TRUE(slider->respondsToSelector(selector)) << selector;
}

/// 60 by 40 points, at the origin.
class SliderKnob : public WindowTest {
protected:
    std::shared_ptr<CAShapeLayer> shape(std::size_t index) const
    {
        return std::dynamic_pointer_cast<CAShapeLayer>(knob->layer()->sublayers().at(index));
    }
    std::shared_ptr<QVSliderKnobView> knob = add<QVSliderKnobView>(CGRectMake(0, 0, 60, 40));
};

TEST_F(SliderKnob, ShrunkItIsADiscInAThinCircle)
{
    knob->setAlternateColor(UIColor::redColor());
    render();
    // The square is (0, -10, 60, 60).
    EXPECT_EQ(shape(0)->path()->boundingBox(), CGRectMake(14, 4, 32, 32));
    EXPECT_EQ(shape(1)->path()->boundingBox(), CGRectMake(20, 10, 20, 20));
    EXPECT_EQ(shape(1)->fillColor(), std::nullopt);
    EXPECT_EQ(shape(1)->lineWidth(), 1);
    EXPECT_EQ(shape(1)->strokeColor(), UIColor::redColor()->cgColor());
    EXPECT_EQ(shape(0)->fillColor(), knob->tintColor()->cgColor());
}

TEST_F(SliderKnob, FullItHasAClearRingAroundADot)
{
    knob->setTintColor(UIColor::whiteColor());
    knob->setShrunk(false);
    render();
    EXPECT_EQ(shape(0)->path()->boundingBox(), CGRectMake(10, 0, 40, 40));
    EXPECT_EQ(shape(0)->fillRule(), kCAFillRuleEvenOdd);
    EXPECT_EQ(colorAt(30, 20)[0], 255); // the dot, 4 points wide
    EXPECT_GT(colorAt(31, 20)[0], 150);
    EXPECT_LT(colorAt(32, 20)[0], 60);
    EXPECT_EQ(colorAt(34, 20)[0], 0); // the ring, 4 to 12
    EXPECT_LT(colorAt(35, 20)[0], 60);
    EXPECT_GT(colorAt(36, 20)[0], 150);
    EXPECT_EQ(colorAt(38, 20)[0], 255); // the disc
    EXPECT_EQ(colorAt(52, 20)[0], 0); // beyond
}

TEST_F(SliderKnob, TheStripeStaysAsItWasWhenTheKnobIsFull)
{
    render();
    const auto before = shape(1)->path();
    knob->setShrunk(false);
    knob->setFrame(CGRectMake(0, 0, 90, 60));
    render();
    EXPECT_EQ(shape(1)->path()->boundingBox(), before->boundingBox());
}

TEST_F(SliderKnob, GrowingAddsAnAnimationWithoutAVisibleEffect)
{
    knob->setShrunk(false);
    const auto animation = std::dynamic_pointer_cast<CABasicAnimation>(shape(1)->animationForKey("shrink"));
    ASSERT_NE(animation, nullptr);
    EXPECT_EQ(animation->keyPath(), "translation.scale");
    EXPECT_EQ(animation->duration(), 0.5);
    EXPECT_EQ(animation->toValue(), CAValue(static_cast<double>(0.1F)));
    EXPECT_TRUE(knob->layer()->needsDisplay());
}

TEST_F(SliderKnob, OnlyGrowingAddsIt)
{
    knob->setShrunk(true);
    EXPECT_EQ(shape(1)->animationForKey("shrink"), nullptr);
    knob->setShrunk(false);
    shape(1)->removeAllAnimations();
    knob->setShrunk(false);
    EXPECT_EQ(shape(1)->animationForKey("shrink"), nullptr);
}

TEST_F(SliderKnob, ItsTintIsTheDiscsColourAtOnce)
{
    render();
    knob->setTintColor(UIColor::redColor());
    EXPECT_EQ(shape(0)->fillColor(), UIColor::redColor()->cgColor());
}

/// 100 by 20 points, level, white on black.
class SliderTrack : public WindowTest {
protected:
    SliderTrack()
    {
        track->setOrientation(horizontal);
        track->setTintColor(UIColor::whiteColor());
        track->setOpaque(false);
    }
    std::shared_ptr<QVSliderTrackView> track = add<QVSliderTrackView>(CGRectMake(0, 0, 100, 20));
};

TEST_F(SliderTrack, IsALineTwoPointsWideFromTwoPointsToTwoPoints)
{
    render();
    EXPECT_EQ(colorAt(50, 9)[0], 255);
    EXPECT_EQ(colorAt(50, 10)[0], 255);
    EXPECT_EQ(colorAt(50, 8)[0], 0);
    EXPECT_EQ(colorAt(50, 11)[0], 0);
    EXPECT_GT(colorAt(1, 10)[0], 100); // the round cap reaches 1
    EXPECT_EQ(colorAt(0, 10)[0], 0);
    EXPECT_EQ(colorAt(99, 10)[0], 0);
}

TEST_F(SliderTrack, DotsOfSixPointsStandAtTheirFractions)
{
    track->setPointPositions({ 0, 0.5, 1 });
    render();
    EXPECT_EQ(colorAt(3, 8)[0], 255);
    EXPECT_EQ(colorAt(50, 7)[0] > 100, true);
    EXPECT_EQ(colorAt(96, 8)[0], 255);
    EXPECT_EQ(colorAt(54, 8)[0], 0);
    EXPECT_EQ(colorAt(50, 6)[0], 0);
}

TEST_F(SliderTrack, WithDotsTheLineBeginsOnePointLater)
{
    track->setPointPositions({ 0.5 });
    render();
    EXPECT_EQ(colorAt(1, 10)[0], 0); // without dots the cap reaches here
    EXPECT_GT(colorAt(2, 10)[0], 100);
    EXPECT_EQ(colorAt(98, 10)[0], 0);
    EXPECT_GT(colorAt(97, 10)[0], 100);
}

TEST_F(SliderTrack, UprightFractionsCountFromTheBottom)
{
    track->setFrame(CGRectMake(0, 0, 20, 100));
    track->setOrientation(QVSliderOrientationVertical);
    track->setPointPositions({ 0 });
    render();
    EXPECT_EQ(colorAt(8, 97)[0], 255);
    EXPECT_EQ(colorAt(8, 3)[0], 0);
    EXPECT_EQ(colorAt(10, 50)[0], 255); // the line
}

TEST_F(SliderTrack, WithNeitherOrientationThereIsNoLineAndDotsLieAtTheOrigin)
{
    track->setOrientation(neither);
    track->setPointPositions({ 0.5 });
    render();
    EXPECT_EQ(colorAt(1, 1)[0], 255);
    EXPECT_EQ(colorAt(50, 10)[0], 0);
}

}
}
