// SPDX-License-Identifier: Apache-2.0
#include "velmora/ui/QVCaptureButton.h"

#include "platform/QuartzCore/CAShapeLayer.h"
#include "platform/UIKit/UIColor.h"

#include "tests/support/WindowTest.h"

#include <gtest/gtest.h>

namespace velmora::tests {
namespace {

/// 72 by 72 points in the middle of the screen.
class CaptureButton : public WindowTest {
protected:
    CaptureButton() { button->layoutIfNeeded(); }
    std::shared_ptr<CAShapeLayer> ring() const
    {
        return std::dynamic_pointer_cast<CAShapeLayer>(button->layer()->sublayers().at(0));
    }
    std::shared_ptr<CALayer> disc() const { return button->layer()->sublayers().at(1); }
    static CGColor red() { return UIColor::redColor()->cgColor(); }
    static CGColor lightGray() { return UIColor::lightGrayColor()->cgColor(); }

    std::shared_ptr<QVCaptureButton> button = add<QVCaptureButton>(CGRectMake(100, 200, 72, 72));
};

TEST_F(CaptureButton, IsADiscInARing)
{
    EXPECT_EQ(disc()->frame(), CGRectMake(4, 4, 64, 64));
    EXPECT_EQ(disc()->cornerRadius(), 32);
    EXPECT_EQ(ring()->frame(), CGRectMake(0, 0, 72, 72));
    EXPECT_EQ(ring()->cornerRadius(), 36);
    EXPECT_EQ(ring()->lineWidth(), 2);
    EXPECT_EQ(ring()->fillColor(), UIColor::clearColor()->cgColor());
    EXPECT_EQ(ring()->path()->boundingBox(), CGRectMake(0, 0, 72, 72));
    EXPECT_TRUE(button->backgroundColor()->isEqual(UIColor::clearColor().get()));
}

TEST_F(CaptureButton, TheDiscsCornerRadiusIsHalfItsOwnWidthAndTheRingsHalfTheBounds)
{
    button->setFrame(CGRectMake(0, 0, 100, 60));
    button->layoutIfNeeded();
    EXPECT_EQ(disc()->frame(), CGRectMake(4, 4, 92, 52));
    EXPECT_EQ(disc()->cornerRadius(), 46);
    EXPECT_EQ(ring()->cornerRadius(), 50);
}

TEST_F(CaptureButton, IsDrawnWithAGapOfTwoPoints)
{
    button->setTintColor(UIColor::whiteColor());
    render();
    EXPECT_EQ(colorAt(136, 236), (std::array { 255, 255, 255 })); // the middle
    EXPECT_EQ(colorAt(100, 236)[0], 255); // the ring's inner half
    EXPECT_EQ(colorAt(102, 236)[0], 0); // the gap
    EXPECT_EQ(colorAt(105, 236)[0], 255); // the disc
}

TEST_F(CaptureButton, HasTheTintInRingAndDisc)
{
    button->setTintColor(UIColor::redColor());
    EXPECT_EQ(ring()->strokeColor(), red());
    EXPECT_EQ(disc()->backgroundColor(), red());
}

TEST_F(CaptureButton, KeepsItsOutlineWhenTheTintChanges)
{
    button->setOutlineColor(UIColor::greenColor());
    button->setTintColor(UIColor::redColor());
    EXPECT_EQ(ring()->strokeColor(), UIColor::greenColor()->cgColor());
    EXPECT_EQ(disc()->backgroundColor(), red());
}

TEST_F(CaptureButton, SetOutlineColorStrokesWithTheStoredColourAndNoneIsNoStroke)
{
    button->setOutlineColor(UIColor::redColor());
    EXPECT_EQ(ring()->strokeColor(), red());
    button->setOutlineColor(nullptr);
    EXPECT_EQ(ring()->strokeColor(), std::nullopt);
    EXPECT_TRUE(button->outlineColor()->isEqual(button->tintColor().get()));
}

TEST_F(CaptureButton, DisabledWithoutAStoredColourItKeepsItsTint)
{
    button->setTintColor(UIColor::redColor());
    button->setEnabled(false);
    EXPECT_EQ(ring()->strokeColor(), red());
    EXPECT_EQ(disc()->backgroundColor(), red());
    EXPECT_TRUE(button->disabledColor()->isEqual(UIColor::lightGrayColor().get()));
}

TEST_F(CaptureButton, DisabledItHasTheStoredColourUntilItIsEnabled)
{
    button->setTintColor(UIColor::redColor());
    button->setDisabledColor(UIColor::blueColor());
    EXPECT_EQ(disc()->backgroundColor(), red()); // it does not repaint
    button->setEnabled(false);
    EXPECT_FALSE(button->isEnabled());
    EXPECT_EQ(ring()->strokeColor(), UIColor::blueColor()->cgColor());
    EXPECT_EQ(disc()->backgroundColor(), UIColor::blueColor()->cgColor());
    button->setEnabled(true);
    EXPECT_EQ(ring()->strokeColor(), red());
    EXPECT_EQ(disc()->backgroundColor(), red());
}

TEST_F(CaptureButton, PressedItShrinksAndGreysAndLosesItsRingInHalfASecond)
{
    button->setTintColor(UIColor::redColor());
    touchDown({ 136, 236 });
    clock.advance(0.25); // the middle of an even curve
    EXPECT_NEAR(ring()->presentationLayer()->opacity(), 0.5, 0.001);
    EXPECT_NEAR(disc()->presentationLayer()->transform().m11, 0.85, 0.001);
    clock.advance(0.26);
    EXPECT_EQ(disc()->backgroundColor(), lightGray());
    EXPECT_NEAR(disc()->transform().m11, 0.7, 1e-7);
    EXPECT_NEAR(disc()->transform().m22, 0.7, 1e-7);
    EXPECT_NEAR(disc()->transform().m33, 0.7, 1e-7);
    EXPECT_EQ(ring()->opacity(), 0);
}

TEST_F(CaptureButton, PressedItHasTheDisabledColour)
{
    button->setDisabledColor(UIColor::blueColor());
    touchDown({ 136, 236 });
    EXPECT_EQ(disc()->backgroundColor(), UIColor::blueColor()->cgColor());
}

TEST_F(CaptureButton, ReleasedItIsAsBeforeAndSendsTouchUpInside)
{
    button->setTintColor(UIColor::redColor());
    int taken = 0;
    const auto token = button->addAction(UIControlEventTouchUpInside, [&] { ++taken; });
    touchDown({ 136, 236 });
    clock.advance(1);
    lift({ 136, 236 });
    EXPECT_EQ(taken, 1);
    clock.advance(0.51);
    EXPECT_EQ(disc()->presentationLayer()->backgroundColor(), red());
    EXPECT_TRUE(CATransform3DIsIdentity(disc()->transform()));
    EXPECT_EQ(ring()->opacity(), 1);
}

TEST_F(CaptureButton, ReleasedEarlyItGoesBackFromWhereItIs)
{
    touchDown({ 136, 236 });
    clock.advance(0.25);
    lift({ 136, 236 });
    EXPECT_NEAR(ring()->presentationLayer()->opacity(), 0.5, 0.001);
    clock.advance(0.25); // the middle of an even curve
    EXPECT_NEAR(ring()->presentationLayer()->opacity(), 0.75, 0.001);
    clock.advance(0.26);
    EXPECT_EQ(ring()->presentationLayer()->opacity(), 1);
}

TEST_F(CaptureButton, ACancelledTouchLeavesThePressedLookUntilTheNextTouchEnds)
{
    button->setTintColor(UIColor::redColor());
    touchDown({ 136, 236 });
    cancelTouch({ 136, 236 });
    clock.advance(1);
    EXPECT_EQ(ring()->opacity(), 0);
    EXPECT_EQ(disc()->backgroundColor(), lightGray());
    tap({ 136, 236 });
    EXPECT_EQ(ring()->opacity(), 1);
    EXPECT_EQ(disc()->backgroundColor(), red());
}

TEST_F(CaptureButton, ATintFromAboveReachesIt)
{
    window->setTintColor(UIColor::redColor());
    EXPECT_EQ(ring()->strokeColor(), red());
    EXPECT_EQ(disc()->backgroundColor(), red());
}

}
}
