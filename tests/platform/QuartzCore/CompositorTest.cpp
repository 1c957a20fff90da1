// SPDX-License-Identifier: Apache-2.0
#include "platform/CoreGraphics/CGContext.h"
#include "platform/CoreGraphics/CGImage.h"
#include "platform/CoreGraphics/CGTextLayout.h"
#include "platform/Foundation/NSRunLoop.h"
#include "platform/QuartzCore/CAShapeLayer.h"
#include "platform/QuartzCore/CATransaction.h"

#include "tests/support/DisplayTest.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <numbers>

namespace velmora::tests {
namespace {

class Compositing : public DisplayTest { };

std::shared_ptr<const CGImage> twoColours() // left red, right blue, 2x1
{
    return CGImage::withPixels(2, 1, { 0, 0, 255, 255, 255, 0, 0, 255 });
}

/// Half transparent squares over each other, a disc, a ring, a text, a rounded group: something of everything.
std::shared_ptr<CALayer> busyTree()
{
    const auto tree = CALayer::layer();
    tree->setFrame(CGRectMake(3, 2, 90, 70));
    tree->setBackgroundColor(CGColor { 0.2, 0.3, 0.4, 1 });

    const auto pane = CALayer::layer();
    pane->setFrame(CGRectMake(5.5, 5.5, 40, 30));
    pane->setBackgroundColor(CGColor { 1, 1, 0, 0.5 });
    pane->setCornerRadius(8);
    pane->setBorderColor(whiteColor);
    pane->setBorderWidth(2);
    tree->addSublayer(pane);

    const auto ring = CAShapeLayer::layer();
    ring->setFrame(CGRectMake(40, 20, 30, 30));
    ring->setPath(CGPath::withEllipseInRect(CGRectMake(0, 0, 30, 30)));
    ring->setFillColor(std::nullopt);
    ring->setStrokeColor(greenColor);
    ring->setLineWidth(3);
    tree->addSublayer(ring);

    const auto group = CALayer::layer();
    group->setFrame(CGRectMake(50, 30, 35, 35));
    group->setCornerRadius(10);
    group->setMasksToBounds(true);
    group->setOpacity(0.7);
    const auto picture = CALayer::layer();
    picture->setFrame(CGRectMake(-5, -5, 50, 50));
    picture->setContents(twoColours());
    group->addSublayer(picture);
    tree->addSublayer(group);

    const auto turned = CALayer::layer();
    turned->setFrame(CGRectMake(10, 45, 20, 12));
    turned->setBackgroundColor(redColor);
    turned->setAffineTransform(CGAffineTransformMakeRotation(0.4));
    tree->addSublayer(turned);
    return tree;
}

TEST_F(Compositing, RectanglesOnWholePixelsAreExact)
{
    add(CGRectMake(10, 20, 30, 40), redColor);
    display->renderIfNeeded();
    EXPECT_EQ(colorAt(10, 20), (Color { 255, 0, 0 }));
    EXPECT_EQ(colorAt(39, 59), (Color { 255, 0, 0 }));
    EXPECT_EQ(colorAt(9, 20), (Color { 0, 0, 0 }));
    EXPECT_EQ(colorAt(40, 59), (Color { 0, 0, 0 }));
    EXPECT_EQ(colorAt(10, 19), (Color { 0, 0, 0 }));
    EXPECT_EQ(colorAt(39, 60), (Color { 0, 0, 0 }));
}

TEST_F(Compositing, LaterSublayersCoverEarlierOnes)
{
    add(CGRectMake(0, 0, 50, 50), redColor);
    add(CGRectMake(25, 25, 50, 50), blueColor);
    display->renderIfNeeded();
    EXPECT_EQ(colorAt(24, 24), (Color { 255, 0, 0 }));
    EXPECT_EQ(colorAt(25, 25), (Color { 0, 0, 255 }));
}

TEST_F(Compositing, HigherZPositionsLieInFront)
{
    add(CGRectMake(0, 0, 50, 50), redColor)->setZPosition(1);
    add(CGRectMake(0, 0, 50, 50), blueColor);
    display->renderIfNeeded();
    EXPECT_EQ(colorAt(10, 10), (Color { 255, 0, 0 }));
}

TEST_F(Compositing, ALayerThatComesToTheFrontIsDrawnThere)
{
    const auto red = add(CGRectMake(0, 0, 50, 50), redColor);
    add(CGRectMake(25, 25, 50, 50), blueColor);
    display->renderIfNeeded();
    display->rootLayer()->addSublayer(red);
    display->renderIfNeeded();
    EXPECT_EQ(colorAt(30, 30), (Color { 255, 0, 0 }));
}

TEST_F(Compositing, OpacityMixesWithWhatLiesBelow)
{
    add(CGRectMake(0, 0, 20, 20), whiteColor)->setOpacity(0.5);
    display->renderIfNeeded();
    EXPECT_NEAR(colorAt(5, 5)[0], 128, 1);
}

TEST_F(Compositing, AGroupFadesAsAWhole)
{
    const auto outer = add(CGRectMake(0, 0, 40, 40), redColor);
    const auto inner = CALayer::layer();
    inner->setFrame(CGRectMake(10, 10, 20, 20));
    inner->setBackgroundColor(blueColor);
    outer->addSublayer(inner);
    outer->setOpacity(0.5);
    display->renderIfNeeded();
    EXPECT_EQ(colorAt(20, 20)[0], 0) << "red shines through the blue inside the group";
    EXPECT_NEAR(colorAt(20, 20)[2], 128, 1);
}

TEST_F(Compositing, HiddenLayersAndTheirSublayersAreNotSeen)
{
    const auto outer = add(CGRectMake(0, 0, 40, 40), redColor);
    const auto inner = CALayer::layer();
    inner->setFrame(CGRectMake(0, 0, 20, 20));
    inner->setBackgroundColor(blueColor);
    outer->addSublayer(inner);
    outer->setHidden(true);
    display->renderIfNeeded();
    EXPECT_EQ(colorAt(5, 5), (Color { 0, 0, 0 }));
}

TEST_F(Compositing, MaskingToBoundsCutsSublayers)
{
    const auto outer = add(CGRectMake(10, 10, 20, 20));
    const auto inner = CALayer::layer();
    inner->setFrame(CGRectMake(-5, -5, 40, 40));
    inner->setBackgroundColor(blueColor);
    outer->addSublayer(inner);
    outer->setMasksToBounds(true);
    display->renderIfNeeded();
    EXPECT_EQ(colorAt(10, 10), (Color { 0, 0, 255 }));
    EXPECT_EQ(colorAt(9, 10), (Color { 0, 0, 0 }));
    EXPECT_EQ(colorAt(30, 29), (Color { 0, 0, 0 }));
}

TEST_F(Compositing, ACornerRadiusAloneDoesNotCutSublayers)
{
    const auto outer = add(CGRectMake(10, 10, 20, 20));
    const auto inner = CALayer::layer();
    inner->setFrame(CGRectMake(0, 0, 20, 20));
    inner->setBackgroundColor(blueColor);
    outer->addSublayer(inner);
    outer->setCornerRadius(10);
    display->renderIfNeeded();
    EXPECT_EQ(colorAt(10, 10), (Color { 0, 0, 255 }));
    outer->setMasksToBounds(true);
    display->renderIfNeeded();
    EXPECT_EQ(colorAt(10, 10), (Color { 0, 0, 0 }));
    EXPECT_EQ(colorAt(20, 20), (Color { 0, 0, 255 }));
}

TEST_F(Compositing, ARadiusOfHalfTheSideMakesADisc)
{
    add(CGRectMake(10, 10, 64, 64), whiteColor)->setCornerRadius(32);
    display->renderIfNeeded();
    double sum = 0;
    for (int y = 0; y < 80; ++y)
        for (int x = 0; x < 100; ++x)
            sum += colorAt(x, y)[1] / 255.0;
    EXPECT_NEAR(sum, 3216.99, 3216.99 * 0.005); // pi r²
    EXPECT_EQ(colorAt(10, 10), (Color { 0, 0, 0 }));
    EXPECT_EQ(colorAt(42, 42), (Color { 255, 255, 255 }));
}

TEST_F(Compositing, ARingOfTwoPointsHasItsArea)
{
    const auto ring = CAShapeLayer::layer();
    ring->setFrame(CGRectMake(10, 4, 72, 72));
    ring->setPath(CGPath::withEllipseInRect(CGRectMake(0, 0, 72, 72)));
    ring->setFillColor(CGColor { 0, 0, 0, 0 });
    ring->setStrokeColor(whiteColor);
    ring->setLineWidth(2);
    display->rootLayer()->addSublayer(ring);
    display->renderIfNeeded();
    double sum = 0;
    for (int y = 0; y < 80; ++y)
        for (int x = 0; x < 100; ++x)
            sum += colorAt(x, y)[1] / 255.0;
    EXPECT_NEAR(sum, 452.39, 452.39 * 0.005); // 2 pi 36 * 2
    EXPECT_EQ(colorAt(46, 40), (Color { 0, 0, 0 }));
}

TEST_F(Compositing, AShapeIsFilledThenStroked)
{
    const auto shape = CAShapeLayer::layer();
    shape->setPath(CGPath::withRect(CGRectMake(10, 10, 20, 20)));
    shape->setFillColor(redColor);
    shape->setStrokeColor(greenColor);
    shape->setLineWidth(4);
    display->rootLayer()->addSublayer(shape);
    display->renderIfNeeded();
    EXPECT_EQ(colorAt(20, 20), (Color { 255, 0, 0 }));
    EXPECT_EQ(colorAt(11, 20), (Color { 0, 255, 0 }));
    EXPECT_EQ(colorAt(8, 20), (Color { 0, 255, 0 }));
    EXPECT_EQ(colorAt(7, 20), (Color { 0, 0, 0 }));
}

TEST_F(Compositing, EvenOddLeavesARingClear)
{
    const auto shape = CAShapeLayer::layer();
    auto path = CGPath::withEllipseInRect(CGRectMake(10, 10, 40, 40));
    path.addEllipseInRect(CGRectMake(20, 20, 20, 20));
    shape->setPath(path);
    shape->setFillColor(whiteColor);
    display->rootLayer()->addSublayer(shape);
    display->renderIfNeeded();
    EXPECT_EQ(colorAt(30, 30), (Color { 255, 255, 255 }));
    shape->setFillRule(kCAFillRuleEvenOdd);
    display->renderIfNeeded();
    EXPECT_EQ(colorAt(30, 30), (Color { 0, 0, 0 }));
    EXPECT_EQ(colorAt(15, 30), (Color { 255, 255, 255 }));
}

TEST_F(Compositing, ContentsFillByTheirGravity)
{
    const auto layer = add(CGRectMake(0, 0, 40, 40));
    layer->setContents(twoColours());
    display->renderIfNeeded();
    EXPECT_EQ(colorAt(2, 2), (Color { 255, 0, 0 }));
    EXPECT_EQ(colorAt(37, 37), (Color { 0, 0, 255 }));

    layer->setContentsGravity(kCAGravityResizeAspect);
    display->renderIfNeeded();
    EXPECT_EQ(colorAt(2, 2), (Color { 0, 0, 0 }));
    EXPECT_EQ(colorAt(2, 20), (Color { 255, 0, 0 }));

    layer->setContentsGravity(kCAGravityCenter);
    display->renderIfNeeded();
    EXPECT_EQ(colorAt(2, 20), (Color { 0, 0, 0 }));
}

TEST_F(Compositing, ATintShowsTheCoverageInOneColour)
{
    const auto layer = add(CGRectMake(0, 0, 2, 1));
    layer->setContents(twoColours());
    layer->setContentsTintColor(greenColor);
    display->renderIfNeeded();
    EXPECT_EQ(colorAt(0, 0), (Color { 0, 255, 0 }));
    EXPECT_EQ(colorAt(1, 0), (Color { 0, 255, 0 }));
}

TEST_F(Compositing, AMaskLayerLeavesOnlyWhatItCovers)
{
    const auto layer = add(CGRectMake(10, 10, 40, 40), redColor);
    const auto mask = CALayer::layer();
    mask->setFrame(CGRectMake(0, 0, 20, 40));
    mask->setBackgroundColor(CGColor { 0, 0, 0, 1 });
    layer->setMask(mask);
    display->renderIfNeeded();
    EXPECT_EQ(colorAt(29, 20), (Color { 255, 0, 0 }));
    EXPECT_EQ(colorAt(30, 20), (Color { 0, 0, 0 }));
}

TEST_F(Compositing, ALayerTurnsAboutItsAnchor)
{
    const auto layer = add(CGRectMake(40, 30, 40, 10), redColor);
    layer->setAffineTransform(CGAffineTransformMakeRotation(std::numbers::pi / 2));
    display->renderIfNeeded();
    EXPECT_EQ(colorAt(60, 20), (Color { 255, 0, 0 }));
    EXPECT_EQ(colorAt(60, 50), (Color { 255, 0, 0 }));
    EXPECT_EQ(colorAt(45, 35), (Color { 0, 0, 0 }));
}

TEST_F(Compositing, TwoRenderingsAreEqual)
{
    display->rootLayer()->addSublayer(busyTree());
    display->renderIfNeeded();
    const auto first = screen->pixels();

    const auto other = drivers::offscreen::OffscreenDisplay::withSize({ 100, 80 }, 1);
    const auto second = make<CADisplay>(other);
    second->rootLayer()->addSublayer(busyTree());
    second->renderIfNeeded();
    EXPECT_EQ(first, other->pixels());
}

TEST_F(Compositing, DrawingOnlyTheDamageMakesTheFrameThatDrawingAllWould)
{
    const auto tree = busyTree();
    display->rootLayer()->addSublayer(tree);
    display->renderIfNeeded();
    std::srand(7);
    for (int step = 0; step < 60; ++step) {
        const auto layers = tree->sublayers();
        const auto& layer = layers[static_cast<std::size_t>(std::rand()) % layers.size()];
        switch (std::rand() % 5) {
        case 0:
            layer->setPosition({ std::rand() % 900 / 10.0, std::rand() % 700 / 10.0 });
            break;
        case 1:
            layer->setOpacity(std::rand() % 11 / 10.0);
            break;
        case 2:
            layer->setAffineTransform(CGAffineTransformMakeScale(0.5 + std::rand() % 10 / 10.0, 1));
            break;
        case 3:
            tree->addSublayer(layer);
            break;
        default:
            layer->setHidden(!layer->isHidden());
        }
        display->renderIfNeeded();
        const auto partly = screen->pixels();
        display->renderAll();
        ASSERT_EQ(partly, screen->pixels()) << "after step " << step;
    }
}

TEST_F(Compositing, OnlyTheDamageIsPresented)
{
    const auto layer = add(CGRectMake(10, 10, 20, 20), redColor);
    display->renderIfNeeded();
    clock.advance(1);
    const auto before = display->counters().presentedPixels;
    CATransaction::begin();
    CATransaction::setDisableActions(true);
    layer->setPosition({ 25, 20 }); // five to the right
    CATransaction::commit();
    clock.advance(1);
    EXPECT_EQ(display->counters().presentedPixels - before, 25U * 20U);
}

TEST_F(Compositing, WhatIsCoveredIsNotComposited)
{
    add(CGRectMake(0, 0, 100, 80), redColor);
    add(CGRectMake(0, 0, 100, 80), blueColor);
    display->renderIfNeeded();
    EXPECT_EQ(display->counters().compositedLayers, 1U); // neither the red one nor the root
    EXPECT_EQ(display->counters().compositedPixels, 8000U);
}

TEST_F(Compositing, MovingFadingAndColouringRasteriseNothing)
{
    const auto tree = busyTree();
    display->rootLayer()->addSublayer(tree);
    clock.advance(1);
    const auto rasters = display->counters().rasterCount;
    const auto frames = display->counters().frames;
    CABlockAnimation block;
    block.duration = 0.5;
    CATransaction::animateBlock(block, [&] {
        tree->setPosition({ 70, 50 });
        tree->setOpacity(0.3);
        for (const auto& layer : tree->sublayers()) {
            layer->setAffineTransform(CGAffineTransformMakeScale(0.7, 0.7));
            layer->setBackgroundColor(blueColor);
            if (const auto shape = std::dynamic_pointer_cast<CAShapeLayer>(layer))
                shape->setStrokeColor(redColor);
        }
    });
    clock.advance(0.45);
    EXPECT_EQ(display->counters().rasterCount, rasters);
    EXPECT_GE(display->counters().frames, frames + 26);
}

TEST_F(Compositing, ASecondFrameOfTheSameThingRasterisesNothing)
{
    display->rootLayer()->addSublayer(busyTree());
    display->renderIfNeeded();
    const auto rasters = display->counters().rasterCount;
    EXPECT_GT(rasters, 0U);
    display->renderAll();
    EXPECT_EQ(display->counters().rasterCount, rasters);
}

TEST_F(Compositing, NothingHappensWhileNothingChanges)
{
    display->rootLayer()->addSublayer(busyTree());
    clock.advance(1);
    const auto before = display->counters();
    clock.advance(10);
    EXPECT_EQ(display->counters().ticks, before.ticks);
    EXPECT_EQ(display->counters().frames, before.frames);
    EXPECT_FALSE(NSRunLoop::mainRunLoop().turn()) << "something waits on the main run loop";
}

TEST_F(Compositing, FramesComeOnTheGridOfSixtyASecond)
{
    clock.advance(0.501); // the next point of the grid is 31/60, 0.516667
    const auto before = display->counters().frames;
    const auto layer = add(CGRectMake(0, 0, 10, 10), redColor);
    clock.advance(0.0156);
    EXPECT_EQ(display->counters().frames, before);
    layer->setBackgroundColor(blueColor);
    clock.advance(0.0001);
    EXPECT_EQ(display->counters().frames, before + 1);
}

TEST_F(Compositing, AnExposedDisplayIsDrawnAgain)
{
    display->renderIfNeeded();
    clock.advance(1);
    const auto before = display->counters().presentedPixels;
    screen->expose();
    clock.advance(1);
    EXPECT_EQ(display->counters().presentedPixels - before, 8000U);
}

TEST_F(Compositing, ANewSizeIsDrawnWhole)
{
    display->renderIfNeeded();
    screen->setSize({ 50, 40 }, 2);
    add(CGRectMake(40, 30, 10, 10), redColor);
    clock.advance(1);
    EXPECT_EQ(display->bounds(), CGRectMake(0, 0, 50, 40));
    EXPECT_EQ(colorAt(99, 79), (Color { 255, 0, 0 }));
}

TEST_F(Compositing, ADrawingIsAskedForOnceAndAgainWhenMarked)
{
    struct Drawer : CALayerDelegate {
        bool drawsLayer(const std::shared_ptr<CALayer>&) override { return true; }
        void drawLayer(const std::shared_ptr<CALayer>&, CGContext& context) override
        {
            ++count;
            context.setFillColor(redColor);
            context.fillRect(CGRectMake(0, 0, 5, 5));
        }
        int count = 0;
    };
    const auto drawer = std::make_shared<Drawer>();
    const auto layer = add(CGRectMake(10, 10, 20, 20));
    layer->setDelegate(drawer);
    layer->setNeedsDisplay();
    clock.advance(1);
    EXPECT_EQ(drawer->count, 1);
    EXPECT_EQ(colorAt(14, 14), (Color { 255, 0, 0 }));
    EXPECT_EQ(colorAt(15, 15), (Color { 0, 0, 0 }));
    layer->setPosition({ 50, 50 });
    clock.advance(1);
    EXPECT_EQ(drawer->count, 1);
    layer->setNeedsDisplay();
    clock.advance(1);
    EXPECT_EQ(drawer->count, 2);
}

TEST_F(Compositing, APictureOfALayerShowsItsBounds)
{
    const auto layer = add(CGRectMake(30, 30, 20, 10), redColor);
    const auto inner = CALayer::layer();
    inner->setFrame(CGRectMake(10, 0, 40, 10));
    inner->setBackgroundColor(CGColor { 0, 0, 1, 0.5 });
    layer->addSublayer(inner);
    const auto image = layer->image(2);
    EXPECT_EQ(image->width(), 40);
    EXPECT_EQ(image->height(), 20);
    EXPECT_EQ(image->pixel(5, 5)[2], 255);
    EXPECT_NEAR(image->pixel(30, 5)[0], 128, 1);
    EXPECT_TRUE(image->isOpaque());
}

}
}
