// SPDX-License-Identifier: Apache-2.0
#include "platform/QuartzCore/CALayer.h"

#include "platform/Foundation/NSException.h"

#include <gtest/gtest.h>

using namespace velmora;

namespace {

TEST(Layer, FrameIsMadeOfBoundsAndPosition)
{
    const auto layer = make<CALayer>();
    layer->setBounds(CGRectMake(5, 5, 100, 40));
    layer->setPosition({ 60, 30 });

    EXPECT_EQ(layer->frame(), CGRectMake(10, 10, 100, 40));
}

TEST(Layer, SettingTheFrameKeepsTheOriginOfTheBounds)
{
    const auto layer = make<CALayer>();
    layer->setBounds(CGRectMake(5, 7, 1, 1));
    layer->setFrame(CGRectMake(10, 20, 30, 40));

    EXPECT_EQ(layer->bounds(), CGRectMake(5, 7, 30, 40));
    EXPECT_EQ(layer->position(), CGPointMake(25, 40));
}

TEST(Layer, InsertsAtItsPlaceAndBeyondTheEndAtTheFront)
{
    const auto root = make<CALayer>(), a = make<CALayer>(), b = make<CALayer>(), c = make<CALayer>();
    root->addSublayer(a);
    root->insertSublayer(b, 0);
    root->insertSublayer(c, 99);

    EXPECT_EQ(root->sublayers(), (std::vector<std::shared_ptr<CALayer>> { b, a, c }));
}

TEST(Layer, LeavesItsSuperlayerForAnother)
{
    const auto first = make<CALayer>(), second = make<CALayer>(), layer = make<CALayer>();
    first->addSublayer(layer);
    second->addSublayer(layer);

    EXPECT_TRUE(first->sublayers().empty());
    EXPECT_EQ(layer->superlayer(), second);
}

TEST(Layer, IsGoneFromItsSuperlayerWhenRemoved)
{
    const auto root = make<CALayer>();
    auto layer = make<CALayer>();
    const std::weak_ptr<CALayer> weak = layer;
    root->addSublayer(layer);
    CALayer* const borrowed = layer.get();
    layer.reset();
    borrowed->removeFromSuperlayer();

    EXPECT_TRUE(weak.expired());
    EXPECT_TRUE(root->sublayers().empty());
}

TEST(Layer, CannotContainItself)
{
    const auto root = make<CALayer>(), inner = make<CALayer>();
    root->addSublayer(inner);

    EXPECT_THROW(inner->addSublayer(root), NSException);
    EXPECT_THROW(root->addSublayer(root), NSException);
}

TEST(Layer, ConvertsPointsThroughTheTree)
{
    const auto root = make<CALayer>(), left = make<CALayer>(), right = make<CALayer>();
    root->setFrame(CGRectMake(0, 0, 200, 100));
    left->setFrame(CGRectMake(10, 10, 50, 50));
    right->setFrame(CGRectMake(100, 20, 50, 50));
    right->setBounds(CGRectMake(1, 2, 50, 50));
    root->addSublayer(left);
    root->addSublayer(right);

    EXPECT_EQ(left->convertPoint({ 95, 15 }, right), CGPointMake(6, 7));
    EXPECT_EQ(right->convertPoint({ 6, 7 }, left), CGPointMake(95, 15));
}

TEST(Layer, AnswersToItsSelectors)
{
    const auto root = make<CALayer>(), layer = make<CALayer>();
    root->performSelector("insertSublayer:atIndex:", layer, 0);

    EXPECT_EQ(root->sublayers().size(), 1U);
    layer->performSelector("removeFromSuperlayer");
    EXPECT_TRUE(root->sublayers().empty());
}

}
