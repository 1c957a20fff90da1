// SPDX-License-Identifier: Apache-2.0
#include "platform/CoreImage/CIImage.h"

#include <gtest/gtest.h>

using namespace velmora;

namespace {

TEST(CIImage, HoldsItsBufferAndKnowsItsSize)
{
    auto buffer = CVPixelBuffer::create(512, 384, kCVPixelFormatType_32BGRA);
    const std::weak_ptr<CVPixelBuffer> held = buffer;
    const auto image = CIImage::initWithCVPixelBuffer(std::move(buffer));
    buffer.reset();

    EXPECT_FALSE(held.expired());
    EXPECT_EQ(image->extent(), CGRectMake(0, 0, 512, 384));
}

TEST(CIImage, OfNothingIsNothing)
{
    EXPECT_EQ(CIImage::initWithCVPixelBuffer(nullptr), nullptr);
}

}
