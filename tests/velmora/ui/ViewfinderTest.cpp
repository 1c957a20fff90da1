// SPDX-License-Identifier: Apache-2.0
#include "velmora/ui/QVViewfinderView.h"

#include "platform/AVFoundation/AVCaptureSession.h"
#include "platform/AVFoundation/AVCaptureVideoPreviewLayer.h"
#include "platform/CoreGraphics/CGImage.h"
#include "platform/UIKit/UIFont.h"
#include "platform/UIKit/UIImage.h"
#include "platform/UIKit/UILabel.h"

#include "tests/support/PhoneWindowTest.h"

#include <gtest/gtest.h>

#include <vector>

namespace velmora::tests {
namespace {

constexpr int notDetermined = 0, restricted = 1, denied = 2;

/// 300 by 200 points, with its shutter pieces.
class Viewfinder : public PhoneWindowTest {
protected:
    ~Viewfinder() override { clock.advance(1); } // what is noted must still be there when it ends
    void allow(int status)
    {
        phone.change([&](drivers::phone::PhoneDescription& description) { description.permissions.camera = status; });
    }
    void layOut()
    {
        view->setNeedsLayout();
        view->layoutIfNeeded();
    }
    std::shared_ptr<UIView> leading() const { return view->subviews().at(0); }
    std::shared_ptr<UIView> trailing() const { return view->subviews().at(1); }
    /// Where a piece is shown now.
    static CGRect shown(const std::shared_ptr<UIView>& piece) { return piece->layer()->presentationLayer()->frame(); }
    QVViewfinderView::ClosedCompletion noting()
    {
        return [this](bool finished) { completions.push_back(finished); };
    }
    std::shared_ptr<UILabel> label() const
    {
        for (const auto& each : view->subviews())
            if (auto found = std::dynamic_pointer_cast<UILabel>(each))
                return found;
        return nullptr;
    }

    std::shared_ptr<QVViewfinderView> view = add<QVViewfinderView>(CGRectMake(0, 0, 300, 200));
    std::shared_ptr<AVCaptureVideoPreviewLayer> preview
        = AVCaptureVideoPreviewLayer::initWithSession(make<AVCaptureSession>());
    std::vector<bool> completions;
};

TEST_F(Viewfinder, IsOpenAtFirstWithoutPiecesMarksOrColours)
{
    EXPECT_FALSE(view->isClosed());
    EXPECT_EQ(view->closureStyle(), 0);
    EXPECT_EQ(view->overlays(), 0);
    EXPECT_EQ(view->overlayColor(), nullptr);
    EXPECT_EQ(view->overlayView(), nullptr);
    EXPECT_TRUE(view->shutterColor()->isEqual(UIColor::blackColor().get()));
    EXPECT_TRUE(view->subviews().empty());
}

TEST_F(Viewfinder, ThePreviewLiesBeneathEverythingAndFillsIt)
{
    const auto inside = make<UIView>(CGRectMake(0, 0, 10, 10));
    view->addSubview(inside);
    view->setVideoPreviewLayer(preview);
    EXPECT_EQ(view->layer()->sublayers().front(), preview);
    EXPECT_EQ(preview->frame(), CGRectMake(0, 0, 300, 200));
    view->setFrame(CGRectMake(0, 0, 100, 50));
    view->layoutIfNeeded();
    EXPECT_EQ(preview->frame(), CGRectMake(0, 0, 100, 50));
}

TEST_F(Viewfinder, ThePreviewIsHeldWeakly)
{
    view->setVideoPreviewLayer(preview);
    preview->removeFromSuperlayer();
    preview.reset();
    EXPECT_EQ(view->videoPreviewLayer(), nullptr);
}

TEST_F(Viewfinder, WithoutAccessAMessageStandsInThePicturesPlace)
{
    allow(denied);
    view->setVideoPreviewLayer(preview);
    ASSERT_NE(label(), nullptr);
    EXPECT_EQ(label()->frame(), CGRectMake(20, 20, 260, 160));
    EXPECT_EQ(label()->numberOfLines(), 5);
    EXPECT_EQ(label()->font()->pointSize(), 14);
    EXPECT_EQ(label()->textAlignment(), NSTextAlignmentCenter);
    EXPECT_EQ(label()->autoresizingMask(), 45);
    EXPECT_TRUE(label()->textColor()->isEqual(UIColor::whiteColor().get()));
    EXPECT_EQ(label()->text(),
        "Camera access is off. To take photos and movies, allow access to the Camera in the privacy settings.");
    EXPECT_FALSE(label()->isHidden());
}

TEST_F(Viewfinder, TheMessagesBackgroundIsTheStoredShutterColourAndNoneIsNone)
{
    allow(restricted);
    view->setBackgroundColor(UIColor::redColor());
    view->setVideoPreviewLayer(preview);
    EXPECT_EQ(view->backgroundColor(), nullptr);
    view->setShutterColor(UIColor::blueColor());
    view->setVideoPreviewLayer(preview);
    EXPECT_TRUE(view->backgroundColor()->isEqual(UIColor::blueColor().get()));
    EXPECT_EQ(view->subviews().size(), 1U); // one message
}

TEST_F(Viewfinder, WithAccessTheMessageIsHiddenAgain)
{
    allow(denied);
    view->setVideoPreviewLayer(preview);
    allow(3);
    view->setVideoPreviewLayer(preview);
    EXPECT_TRUE(label()->isHidden());
}

TEST_F(Viewfinder, AccessThatNobodyDecidedIsTreatedLikeAccess)
{
    allow(notDetermined);
    view->setVideoPreviewLayer(preview);
    EXPECT_EQ(label(), nullptr);
    view->setClosed(false, true);
    layOut();
    EXPECT_EQ(leading()->frame(), CGRectMake(0, -100, 300, 100));
}

TEST_F(Viewfinder, TheDeniedLabelIsMadeOnlyWithAPreview)
{
    allow(denied);
    view->setClosed(true);
    layOut();
    EXPECT_EQ(label(), nullptr);
}

TEST_F(Viewfinder, TheShutterIsTwoHalvesAboveEachOther)
{
    view->setClosed(true);
    view->layoutIfNeeded();
    EXPECT_EQ(leading()->frame(), CGRectMake(0, 0, 300, 100));
    EXPECT_EQ(trailing()->frame(), CGRectMake(0, 100, 300, 100));
    view->setClosed(false);
    view->layoutIfNeeded();
    EXPECT_EQ(leading()->frame(), CGRectMake(0, -100, 300, 100));
    EXPECT_EQ(trailing()->frame(), CGRectMake(0, 200, 300, 100));
}

TEST_F(Viewfinder, OrBesideEachOther)
{
    view->setClosureStyle(QVViewfinderClosureStyleLeftRight);
    view->setClosed(true);
    view->layoutIfNeeded();
    EXPECT_EQ(leading()->frame(), CGRectMake(0, 0, 150, 200));
    EXPECT_EQ(trailing()->frame(), CGRectMake(150, 0, 150, 200));
    view->setClosed(false);
    view->layoutIfNeeded();
    EXPECT_EQ(leading()->frame(), CGRectMake(-150, 0, 150, 200));
    EXPECT_EQ(trailing()->frame(), CGRectMake(300, 0, 150, 200));
}

TEST_F(Viewfinder, AnyOtherClosureStyleGivesZeroFrames)
{
    view->setClosureStyle(static_cast<QVViewfinderClosureStyle>(2));
    view->setClosed(true);
    view->layoutIfNeeded();
    EXPECT_EQ(leading()->frame(), CGRectZero);
    EXPECT_EQ(trailing()->frame(), CGRectZero);
}

TEST_F(Viewfinder, SettingTheClosureStyleDoesNotLayOut)
{
    view->setClosed(true);
    view->layoutIfNeeded();
    view->setClosureStyle(QVViewfinderClosureStyleLeftRight);
    EXPECT_FALSE(view->layer()->needsLayout());
    view->layoutIfNeeded();
    EXPECT_EQ(leading()->frame(), CGRectMake(0, 0, 300, 100));
}

TEST_F(Viewfinder, ClosesInFifteenHundredthsOfASecond)
{
    view->setClosed(false);
    view->layoutIfNeeded();
    view->setClosedAnimated(true, noting());
    EXPECT_TRUE(view->isClosed());
    EXPECT_FALSE(leading()->isHidden());
    EXPECT_FALSE(trailing()->isHidden());
    EXPECT_EQ(leading()->frame(), CGRectMake(0, 0, 300, 100)); // where it is going
    EXPECT_NEAR(shown(leading()).origin.y, -100, 0.01);
    // Ease-in: the cubic Bezier curve (0.42, 0), (1, 1) reaches 0.0935, 0.3154 and 0.6219 at the quarters.
    clock.advance(0.0375);
    EXPECT_NEAR(shown(leading()).origin.y, -100 + 100 * 0.0935, 0.1);
    EXPECT_NEAR(shown(trailing()).origin.y, 200 - 100 * 0.0935, 0.1);
    clock.advance(0.0375);
    EXPECT_NEAR(shown(leading()).origin.y, -100 + 100 * 0.3154, 0.1);
    clock.advance(0.0375);
    EXPECT_NEAR(shown(leading()).origin.y, -100 + 100 * 0.6219, 0.1);
    EXPECT_TRUE(completions.empty());
    clock.advance(0.0376);
    EXPECT_EQ(shown(leading()), CGRectMake(0, 0, 300, 100));
    EXPECT_EQ(completions, std::vector { true });
}

TEST_F(Viewfinder, TheFirstClosingComesFromOutside)
{
    view->setClosedAnimated(true, noting());
    EXPECT_NEAR(shown(leading()).origin.y, -100, 0.01);
    EXPECT_NEAR(shown(trailing()).origin.y, 200, 0.01);
    EXPECT_EQ(shown(leading()).size, CGSizeMake(300, 100));
}

TEST_F(Viewfinder, OpensInAQuarterOfASecondAndThenHidesItsPieces)
{
    view->setClosureStyle(QVViewfinderClosureStyleLeftRight);
    view->setClosed(true);
    view->layoutIfNeeded();
    bool hiddenBefore = false;
    view->setClosedAnimated(false, [&](bool finished) {
        hiddenBefore = leading()->isHidden() && trailing()->isHidden();
        completions.push_back(finished);
    });
    // Ease-out: (0, 0), (0.58, 1).
    clock.advance(0.0625);
    EXPECT_NEAR(shown(leading()).origin.x, -150 * 0.3781, 0.15);
    clock.advance(0.0625);
    EXPECT_NEAR(shown(leading()).origin.x, -150 * 0.6846, 0.15);
    clock.advance(0.0625);
    EXPECT_NEAR(shown(trailing()).origin.x, 150 + 150 * 0.9065, 0.15);
    EXPECT_FALSE(leading()->isHidden());
    clock.advance(0.063);
    EXPECT_EQ(completions, std::vector { true });
    EXPECT_TRUE(hiddenBefore);
}

TEST_F(Viewfinder, AMovementThatIsInterruptedSaysSo)
{
    view->setClosedAnimated(true, noting());
    clock.advance(0.05);
    view->setClosedAnimated(false, noting());
    clock.advance(0.05);
    EXPECT_EQ(completions, std::vector { false });
    view->setClosedAnimated(true, noting());
    clock.advance(1);
    EXPECT_EQ(completions, (std::vector { false, false, true }));
    EXPECT_TRUE(leading()->isHidden()); // by the end of the opening
    EXPECT_TRUE(view->isClosed());
}

TEST_F(Viewfinder, ClosingOrOpeningWithoutAnimationNeverCallsTheCompletion)
{
    view->_setClosed(true, false, noting());
    EXPECT_FALSE(leading()->isHidden());
    clock.advance(1);
    view->_setClosed(false, false, noting());
    EXPECT_TRUE(leading()->isHidden());
    EXPECT_TRUE(trailing()->isHidden());
    clock.advance(1);
    EXPECT_TRUE(completions.empty());
}

TEST_F(Viewfinder, SetClosedMakesThePiecesBeforeItTestsForEqualityAndThenCallsNothing)
{
    view->setClosedAnimated(false, noting());
    ASSERT_EQ(view->subviews().size(), 2U);
    EXPECT_TRUE(leading()->isHidden());
    EXPECT_TRUE(leading()->backgroundColor()->isEqual(UIColor::blackColor().get()));
    EXPECT_EQ(leading()->autoresizingMask(), 0);
    clock.advance(1);
    EXPECT_TRUE(completions.empty());
}

TEST_F(Viewfinder, TheFirstArgumentOfSetClosedAnimatedIsTheClosedState)
{
    view->setClosedAnimated(true, nullptr);
    EXPECT_TRUE(view->isClosed());
    view->setClosedAnimated(false, nullptr);
    EXPECT_FALSE(view->isClosed());
}

TEST_F(Viewfinder, WhileAccessIsDeniedLayoutKeepsThePiecesClosedButHidden)
{
    view->setClosed(false, true);
    allow(denied);
    layOut();
    EXPECT_EQ(leading()->frame(), CGRectMake(0, 0, 300, 100));
    EXPECT_TRUE(leading()->isHidden());
}

TEST_F(Viewfinder, AShutterColourColoursWhatIsThereAndWhatIsMadeLater)
{
    view->setShutterColor(UIColor::redColor());
    view->setClosed(true);
    EXPECT_TRUE(leading()->backgroundColor()->isEqual(UIColor::redColor().get()));
    view->setShutterColor(nullptr);
    EXPECT_TRUE(trailing()->backgroundColor()->isEqual(UIColor::blackColor().get()));
}

TEST_F(Viewfinder, AShutterColourIsTheMessagesBackgroundToo)
{
    allow(denied);
    view->setVideoPreviewLayer(preview);
    view->setShutterColor(UIColor::redColor());
    EXPECT_TRUE(label()->backgroundColor()->isEqual(UIColor::redColor().get()));
}

TEST_F(Viewfinder, PiecesGoBelowTheOverlayAndALaterOverlayOnTop)
{
    const auto overlay = make<UIView>();
    view->setOverlayView(overlay);
    view->setClosed(true);
    ASSERT_EQ(view->subviews().size(), 3U);
    EXPECT_EQ(view->subviews()[2], overlay);
    view->layoutIfNeeded();
    EXPECT_EQ(leading()->frame().origin.y, 0);
    EXPECT_EQ(trailing()->frame().origin.y, 100);
    const auto other = make<UIView>();
    view->setOverlayView(other);
    EXPECT_EQ(overlay->superview(), nullptr);
    EXPECT_EQ(view->subviews().back(), other);
    view->layoutIfNeeded();
    view->setOverlayView(nullptr);
    EXPECT_EQ(view->subviews().size(), 2U);
}

TEST_F(Viewfinder, MarksAndTheirColourReachTheOverlayThatIsThereAndNoLaterOne)
{
    const auto first = make<QVViewfinderOverlayView>();
    view->setOverlayView(first);
    view->setOverlays(QVViewfinderOverlayCrosshair);
    view->setOverlayColor(UIColor::redColor());
    EXPECT_EQ(first->overlays(), QVViewfinderOverlayCrosshair);
    EXPECT_TRUE(first->color()->isEqual(UIColor::redColor().get()));
    const auto second = make<QVViewfinderOverlayView>();
    view->setOverlayView(second);
    EXPECT_EQ(second->overlays(), 0);
    EXPECT_TRUE(second->color()->isEqual(UIColor::whiteColor().get()));
}

TEST_F(Viewfinder, WithoutAnOverlayViewMarksAreOnlyStored)
{
    view->setOverlays(QVViewfinderOverlayCornerMarks);
    EXPECT_EQ(view->overlayView(), nullptr);
    EXPECT_TRUE(view->subviews().empty());
    EXPECT_EQ(view->overlays(), QVViewfinderOverlayCornerMarks);
}

TEST_F(Viewfinder, AnotherKindOfOverlayFillsItToo)
{
    const auto overlay = make<UIView>();
    view->setOverlayView(overlay);
    view->setOverlays(QVViewfinderOverlayCornerMarks);
    layOut();
    EXPECT_EQ(overlay->frame(), CGRectMake(0, 0, 300, 200));
}

TEST_F(Viewfinder, IsBlackInAnInterfaceBuilder)
{
    view->prepareForInterfaceBuilder();
    EXPECT_TRUE(view->backgroundColor()->isEqual(UIColor::blackColor().get()));
}

TEST_F(Viewfinder, EveryOperationIsThereByItsSelector)
{
    for (const char* selector : { "setClosed:", "setClosed:animated:", "setClosedAnimated:completion:", "isClosed",
             "setVideoPreviewLayer:", "setShutterColor:", "setOverlayColor:", "setOverlays:", "setOverlayView:",
             "setClosureStyle:", "layoutSubviews", "prepareForInterfaceBuilder" })
        EXPECT_TRUE(view->respondsToSelector(selector)) << selector;
}

/// 300 by 200 points, alone on a black screen.
class Overlay : public PhoneWindowTest {
protected:
    /// Whether the line through this pixel was drawn; lines lie on whole points, half on each side.
    int brightness(int x, int y)
    {
        render();
        return colorAt(x, y)[0];
    }
    bool needsDisplay() const { return view->layer()->needsDisplay(); }

    std::shared_ptr<QVViewfinderOverlayView> view = add<QVViewfinderOverlayView>(CGRectMake(0, 0, 300, 200));
};

TEST_F(Overlay, CornerMarksFrameASquareInTheMiddleWithArmsOfAFifthOfTheWidth)
{
    view->setOverlays(QVViewfinderOverlayCornerMarks);
    render();
    // The square (60, 10)-(240, 190), arms of 60 points.
    for (const int x : { 62, 118, 182, 238 }) {
        EXPECT_NEAR(colorAt(x, 10)[0] + colorAt(x, 9)[0], 255, 10) << x;
        EXPECT_NEAR(colorAt(x, 190)[0] + colorAt(x, 189)[0], 255, 10) << x;
    }
    for (const int y : { 12, 68, 132, 188 }) {
        EXPECT_NEAR(colorAt(60, y)[0] + colorAt(59, y)[0], 255, 10) << y;
        EXPECT_NEAR(colorAt(240, y)[0] + colorAt(239, y)[0], 255, 10) << y;
    }
    EXPECT_EQ(colorAt(122, 10)[0], 0); // beyond the arm
    EXPECT_EQ(colorAt(178, 10)[0], 0);
    EXPECT_EQ(colorAt(60, 72)[0], 0);
    EXPECT_EQ(colorAt(150, 100)[0], 0); // no crosshair
    EXPECT_EQ(colorAt(62, 13)[0], 0); // one point wide
}

TEST_F(Overlay, TheCrosshairHasArmsOfATenthOfTheWidth)
{
    view->setOverlays(QVViewfinderOverlayCrosshair);
    render();
    for (const int x : { 122, 140, 160, 178 })
        EXPECT_NEAR(colorAt(x, 100)[0] + colorAt(x, 99)[0], 255, 10) << x;
    for (const int y : { 72, 90, 110, 128 })
        EXPECT_NEAR(colorAt(150, y)[0] + colorAt(149, y)[0], 255, 10) << y;
    EXPECT_EQ(colorAt(118, 100)[0], 0);
    EXPECT_EQ(colorAt(182, 100)[0], 0);
    EXPECT_EQ(colorAt(150, 68)[0], 0);
    EXPECT_EQ(colorAt(150, 132)[0], 0);
    EXPECT_EQ(colorAt(62, 10)[0], 0); // no corner marks
}

TEST_F(Overlay, NothingIsDrawnWithoutMarks)
{
    for (const int x : { 62, 150, 238 })
        for (const int y : { 10, 72, 100, 190 })
            EXPECT_EQ(brightness(x, y), 0);
}

TEST_F(Overlay, MarksHaveTheColour)
{
    view->setOverlays(QVViewfinderOverlayCrosshair);
    view->setColor(UIColor::redColor());
    render();
    EXPECT_GT(colorAt(140, 100)[0], 100);
    EXPECT_EQ(colorAt(140, 100)[1], 0);
}

TEST_F(Overlay, SetColorRedrawsOnlyWhenTheColourIsNotEqual)
{
    render();
    view->setColor(UIColor::whiteColor()); // none was set
    EXPECT_TRUE(needsDisplay());
    render();
    view->setColor(UIColor::colorWithRed(1, 1, 1));
    EXPECT_FALSE(needsDisplay());
    view->setColor(UIColor::redColor());
    EXPECT_TRUE(needsDisplay());
    render();
    view->setColor(nullptr);
    EXPECT_TRUE(needsDisplay());
    EXPECT_TRUE(view->color()->isEqual(UIColor::whiteColor().get()));
}

TEST_F(Overlay, SetOverlaysRedrawsOnlyWhenTheMaskChanges)
{
    view->setOverlays(QVViewfinderOverlayCrosshair);
    render();
    view->setOverlays(QVViewfinderOverlayCrosshair);
    EXPECT_FALSE(needsDisplay());
    view->setOverlays(QVViewfinderOverlayCrosshair | QVViewfinderOverlayCornerMarks);
    EXPECT_TRUE(needsDisplay());
}

TEST_F(Overlay, TheSquareLiesWhereItIsWithoutTheRectanglesOrigin)
{
    view->setOverlays(QVViewfinderOverlayCornerMarks);
    view->setBounds(CGRectMake(30, 0, 300, 200)); // the left 30 points are out of sight
    render();
    EXPECT_GT(colorAt(60 - 30, 20)[0] + colorAt(59 - 30, 20)[0], 200);
}

TEST_F(Overlay, TheCrosshairStandsInTheMiddleOfTheRectangleWhereverThatLies)
{
    view->setOverlays(QVViewfinderOverlayCrosshair);
    view->setBounds(CGRectMake(30, 0, 300, 200));
    render();
    EXPECT_GT(colorAt(150, 80)[0] + colorAt(149, 80)[0], 200);
    EXPECT_EQ(colorAt(120, 80)[0], 0);
}

TEST_F(Overlay, TheShorterSideIsTakenInSinglePrecision)
{
    // The float nearest to the side is a quarter of a point less, so the square begins an eighth later.
    constexpr double side = 4194304.25;
    view->setOverlays(QVViewfinderOverlayCornerMarks);
    const auto picture
        = UIImage::imageByDrawing({ 40, 40 }, 1, [this](CGContext&) { view->drawRect(CGRectMake(0, 0, side, side)); });
    EXPECT_NEAR(picture->cgImage()->pixel(9, 30)[3], 96, 3); // 3/8 of the line, which would be a half
    EXPECT_NEAR(picture->cgImage()->pixel(10, 30)[3], 159, 3);
}

}
}
