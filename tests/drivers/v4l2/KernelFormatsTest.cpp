// SPDX-License-Identifier: Apache-2.0
#include "drivers/v4l2/Formats.h"

#include <gtest/gtest.h>

namespace velmora::tests {

using namespace drivers::v4l2;

TEST(KernelFormats, AreReadAsTheyLieInMemory)
{
    EXPECT_EQ(layoutOf(V4L2_PIX_FMT_NV12)->layout, CameraLayout::NV12);
    EXPECT_EQ(layoutOf(V4L2_PIX_FMT_NV12M)->layout, CameraLayout::NV12);
    EXPECT_EQ(layoutOf(V4L2_PIX_FMT_YUYV)->layout, CameraLayout::YUY2);
    EXPECT_EQ(layoutOf(V4L2_PIX_FMT_MJPEG)->layout, CameraLayout::JPEG);
    EXPECT_EQ(layoutOf(V4L2_PIX_FMT_XBGR32)->layout, CameraLayout::BGRA);
}

TEST(KernelFormats, OfSensorsHaveTheirOrderAndBits)
{
    const auto ten = layoutOf(V4L2_PIX_FMT_SRGGB10);
    EXPECT_EQ(ten->layout, CameraLayout::BayerRGGB);
    EXPECT_EQ(ten->bits, 10);
    EXPECT_EQ(layoutOf(V4L2_PIX_FMT_SGBRG8)->layout, CameraLayout::BayerGBRG);
    EXPECT_EQ(layoutOf(V4L2_PIX_FMT_SGBRG8)->bits, 8);
    EXPECT_EQ(layoutOf(V4L2_PIX_FMT_SGRBG12)->bits, 12);
}

TEST(KernelFormats, ThatNobodyHereReadsAreNone)
{
    EXPECT_FALSE(layoutOf(V4L2_PIX_FMT_H264));
    EXPECT_FALSE(layoutOf(V4L2_PIX_FMT_SRGGB10P)) << "packed samples";
    EXPECT_FALSE(layoutOf(0));
}

TEST(KernelFormats, HaveTheVideoRangeUnlessTheyTellOtherwise)
{
    EXPECT_TRUE(hasVideoRange(V4L2_PIX_FMT_NV12, V4L2_COLORSPACE_REC709, V4L2_QUANTIZATION_DEFAULT));
    EXPECT_TRUE(hasVideoRange(V4L2_PIX_FMT_YUYV, V4L2_COLORSPACE_SRGB, V4L2_QUANTIZATION_DEFAULT));
    EXPECT_FALSE(hasVideoRange(V4L2_PIX_FMT_NV12, V4L2_COLORSPACE_JPEG, V4L2_QUANTIZATION_DEFAULT));
    EXPECT_FALSE(hasVideoRange(V4L2_PIX_FMT_NV12, V4L2_COLORSPACE_REC709, V4L2_QUANTIZATION_FULL_RANGE));
    EXPECT_TRUE(hasVideoRange(V4L2_PIX_FMT_NV12, V4L2_COLORSPACE_JPEG, V4L2_QUANTIZATION_LIM_RANGE));
}

TEST(KernelFormats, WithoutLumaHaveNoRange)
{
    EXPECT_FALSE(hasVideoRange(V4L2_PIX_FMT_RGB24, V4L2_COLORSPACE_SRGB, V4L2_QUANTIZATION_LIM_RANGE));
    EXPECT_FALSE(hasVideoRange(V4L2_PIX_FMT_MJPEG, V4L2_COLORSPACE_JPEG, V4L2_QUANTIZATION_DEFAULT));
    EXPECT_FALSE(hasVideoRange(V4L2_PIX_FMT_SRGGB8, V4L2_COLORSPACE_RAW, V4L2_QUANTIZATION_DEFAULT));
}

}
