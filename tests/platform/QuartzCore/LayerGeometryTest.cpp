// SPDX-License-Identifier: Apache-2.0
#include "platform/QuartzCore/CALayer.h"

#include <gtest/gtest.h>

#include <numbers>
#include <string>
#include <vector>

namespace velmora::tests {
namespace {

std::shared_ptr<CALayer> layerAt(CGRect frame)
{
    const auto layer = CALayer::layer();
    layer->setFrame(frame);
    return layer;
}

void expectNear(CGPoint seen, CGPoint expected)
{
    EXPECT_NEAR(seen.x, expected.x, 1e-9);
    EXPECT_NEAR(seen.y, expected.y, 1e-9);
}

TEST(LayerGeometry, TheAnchorSaysWhereThePositionLies)
{
    const auto layer = layerAt(CGRectMake(10, 20, 30, 40));
    EXPECT_EQ(layer->position(), CGPointMake(25, 40));
    layer->setAnchorPoint({ 0, 1 });
    EXPECT_EQ(layer->frame(), CGRectMake(25, 0, 30, 40));
    layer->setFrame(CGRectMake(10, 20, 30, 40));
    EXPECT_EQ(layer->position(), CGPointMake(10, 60));
}

TEST(LayerGeometry, TheFrameIsTheUprightRectangleAroundATurnedLayer)
{
    const auto layer = layerAt(CGRectMake(0, 0, 40, 20));
    layer->setAffineTransform(CGAffineTransformMakeRotation(std::numbers::pi / 2));
    EXPECT_NEAR(layer->frame().origin.x, 10, 1e-9);
    EXPECT_NEAR(layer->frame().origin.y, -10, 1e-9);
    EXPECT_NEAR(layer->frame().size.width, 20, 1e-9);
    EXPECT_NEAR(layer->frame().size.height, 40, 1e-9);
}

TEST(LayerGeometry, SettingTheFrameOfAScaledLayerFillsIt)
{
    const auto layer = layerAt(CGRectMake(0, 0, 40, 20));
    layer->setAffineTransform(CGAffineTransformMakeScale(2, 0.5));
    layer->setFrame(CGRectMake(10, 10, 100, 30));
    EXPECT_EQ(layer->bounds().size, CGSizeMake(50, 60));
    EXPECT_EQ(layer->frame(), CGRectMake(10, 10, 100, 30));
}

TEST(LayerGeometry, PointsPassThroughTransformsAndBounds)
{
    const auto outer = layerAt(CGRectMake(100, 50, 80, 60));
    const auto inner = layerAt(CGRectMake(10, 10, 20, 20));
    outer->addSublayer(inner);
    inner->setAffineTransform(CGAffineTransformMakeScale(2, 2)); // about its middle, (20, 20)
    inner->setBounds(CGRectMake(5, 0, 20, 20));
    expectNear(inner->convertPoint({ 15, 10 }, outer), { 20, 20 });
    expectNear(inner->convertPoint({ 16, 11 }, nullptr), { 122, 72 });
    expectNear(inner->convertPointFromLayer({ 22, 22 }, outer), { 16, 11 });
    const CGRect around = inner->convertRect(CGRectMake(5, 0, 20, 20), outer);
    expectNear(around.origin, { 0, 0 });
    EXPECT_NEAR(around.size.width, 40, 1e-9);
}

TEST(LayerGeometry, ATurnAroundTwoLayersLeavesNoRoundingBetweenThem)
{
    const auto turned = layerAt(CGRectMake(3, 7, 300, 500));
    turned->setAffineTransform(CGAffineTransformMakeRotation(-1.1));
    const auto outer = layerAt(CGRectMake(10, 20, 100, 100)), inner = layerAt(CGRectMake(1, 2, 30, 40));
    const auto sibling = layerAt(CGRectMake(5, 5, 10, 10));
    turned->addSublayer(outer);
    outer->addSublayer(inner);
    outer->addSublayer(sibling);
    EXPECT_EQ(inner->convertRect(CGRectMake(0, 0, 30, 40), outer), CGRectMake(1, 2, 30, 40));
    EXPECT_EQ(outer->convertPoint({ 1, 2 }, inner), CGPointMake(0, 0));
    EXPECT_EQ(inner->convertPointFromLayer({ 0, 0 }, sibling), CGPointMake(4, 3));
    const auto elsewhere = layerAt(CGRectMake(100, 0, 10, 10)); // another tree: by what lies around both
    expectNear(layerAt(CGRectMake(30, 40, 10, 10))->convertPoint({ 1, 1 }, elsewhere), { -69, 41 });
}

TEST(LayerGeometry, TheFrontmostLayerIsHit)
{
    const auto root = layerAt(CGRectMake(0, 0, 100, 100));
    const auto back = layerAt(CGRectMake(10, 10, 50, 50)), front = layerAt(CGRectMake(30, 30, 50, 50));
    root->addSublayer(back);
    root->addSublayer(front);
    EXPECT_EQ(root->hitTest({ 40, 40 }), front);
    EXPECT_EQ(root->hitTest({ 20, 20 }), back);
    EXPECT_EQ(root->hitTest({ 90, 5 }), root);
    EXPECT_EQ(root->hitTest({ 100, 5 }), nullptr);
    back->setZPosition(1);
    EXPECT_EQ(root->hitTest({ 40, 40 }), back);
}

TEST(LayerGeometry, HiddenTransparentAndCutOffLayersAreNotHit)
{
    const auto root = layerAt(CGRectMake(0, 0, 100, 100)), box = layerAt(CGRectMake(0, 0, 20, 20)),
               inner = layerAt(CGRectMake(10, 10, 50, 50));
    root->addSublayer(box);
    box->addSublayer(inner);
    EXPECT_EQ(root->hitTest({ 40, 40 }), inner);
    box->setMasksToBounds(true);
    EXPECT_EQ(root->hitTest({ 40, 40 }), root);
    inner->setOpacity(0);
    EXPECT_EQ(root->hitTest({ 15, 15 }), box);
    box->setHidden(true);
    EXPECT_EQ(root->hitTest({ 15, 15 }), root);
}

TEST(LayerGeometry, SublayersArePutBesideTheirSiblings)
{
    const auto root = CALayer::layer(), a = CALayer::layer(), b = CALayer::layer(), c = CALayer::layer();
    root->addSublayer(a);
    root->insertSublayerBelow(b, a);
    root->insertSublayerAbove(c, b);
    EXPECT_EQ(root->sublayers(), (std::vector { b, c, a }));
    root->insertSublayerAbove(b, a); // it moves
    EXPECT_EQ(root->sublayers(), (std::vector { c, a, b }));
    root->insertSublayerBelow(b, CALayer::layer()); // a stranger
    EXPECT_EQ(root->sublayers(), (std::vector { b, c, a }));
}

struct Journal : CALayerDelegate {
    void layoutSublayersOfLayer(const std::shared_ptr<CALayer>& layer) override
    {
        passes.push_back(layer == outer ? "outer" : "inner");
        if (layer == outer && resizesInner)
            inner->setFrame(CGRectMake(0, 0, 5, 5));
    }
    std::shared_ptr<CALayer> outer = CALayer::layer(), inner = CALayer::layer();
    bool resizesInner = false;
    std::vector<std::string> passes;
};

class LayerLayout : public testing::Test {
protected:
    LayerLayout()
    {
        journal->outer->addSublayer(journal->inner);
        journal->outer->setDelegate(journal);
        journal->inner->setDelegate(journal);
    }
    std::shared_ptr<Journal> journal = std::make_shared<Journal>();
};

TEST_F(LayerLayout, GoesFromTheTopDownAndOnlyWhereItIsMarked)
{
    journal->outer->setNeedsLayout();
    journal->inner->setNeedsLayout();
    journal->outer->layoutIfNeeded();
    EXPECT_EQ(journal->passes, (std::vector<std::string> { "outer", "inner" }));
    journal->outer->layoutIfNeeded();
    EXPECT_EQ(journal->passes.size(), 2U);
}

TEST_F(LayerLayout, ReachesWhatALayoutResized)
{
    journal->resizesInner = true;
    journal->outer->setNeedsLayout();
    journal->outer->layoutIfNeeded();
    EXPECT_EQ(journal->passes, (std::vector<std::string> { "outer", "inner" }));
}

TEST_F(LayerLayout, AMoveMarksNothingAndANewSizeDoes)
{
    journal->outer->setPosition({ 5, 5 });
    EXPECT_FALSE(journal->outer->needsLayout());
    journal->outer->setBounds(CGRectMake(3, 3, 0, 0));
    EXPECT_FALSE(journal->outer->needsLayout());
    journal->outer->setBounds(CGRectMake(3, 3, 1, 0));
    EXPECT_TRUE(journal->outer->needsLayout());
}

TEST(LayerDrawing, ADelegateThatSetsTheContentsIsNotAskedToDraw)
{
    struct Owner : CALayerDelegate {
        bool displayLayer(const std::shared_ptr<CALayer>&) override { return ++displays > 0; }
        bool drawsLayer(const std::shared_ptr<CALayer>&) override { return ++draws > 0; }
        int displays = 0, draws = 0;
    };
    const auto owner = std::make_shared<Owner>();
    const auto layer = layerAt(CGRectMake(0, 0, 10, 10));
    layer->setDelegate(owner);
    layer->displayIfNeeded();
    EXPECT_EQ(owner->displays, 0);
    layer->setNeedsDisplay();
    layer->displayIfNeeded();
    layer->displayIfNeeded();
    EXPECT_EQ(owner->displays, 1);
    EXPECT_EQ(owner->draws, 0);
}

TEST(LayerDrawing, ANewSizeMarksItWhereItIsWanted)
{
    const auto layer = layerAt(CGRectMake(0, 0, 10, 10));
    layer->setFrame(CGRectMake(0, 0, 20, 10));
    EXPECT_FALSE(layer->needsDisplay());
    layer->setNeedsDisplayOnBoundsChange(true);
    layer->setFrame(CGRectMake(5, 0, 20, 10));
    EXPECT_FALSE(layer->needsDisplay());
    layer->setFrame(CGRectMake(5, 0, 20, 11));
    EXPECT_TRUE(layer->needsDisplay());
}

}
}
