// SPDX-License-Identifier: Apache-2.0
#include "drivers/CameraFrame.h"

#include <gtest/gtest.h>

#include <array>

namespace velmora::tests {

using namespace drivers::cameras;

namespace {

Negotiated format(CameraLayout layout, std::int32_t width, std::int32_t height)
{
    Negotiated result;
    result.layout = layout;
    result.size = { width, height };
    return result;
}

const std::array<std::uint8_t, 64> memory {}, more {};

}

TEST(CameraFrame, InOnePieceHasItsPlanesOneAfterTheOther)
{
    CameraPicture picture;
    ASSERT_TRUE(lay(picture, format(CameraLayout::NV12, 4, 4), { { memory.data(), 24, 0 } }));
    EXPECT_EQ(picture.planes[0].data, memory.data());
    EXPECT_EQ(picture.planes[0].stride, 4U);
    EXPECT_EQ(picture.planes[1].data, memory.data() + 16);
    EXPECT_EQ(picture.planes[1].stride, 4U);
}

TEST(CameraFrame, WithLongRowsHasThemInEachPlane)
{
    CameraPicture picture;
    ASSERT_TRUE(lay(picture, format(CameraLayout::NV12, 4, 4), { { memory.data(), 46, 8 } }));
    EXPECT_EQ(picture.planes[1].data, memory.data() + 32);
    EXPECT_EQ(picture.planes[1].stride, 8U);
}

TEST(CameraFrame, WithPlanesApartHasOneInEachPiece)
{
    CameraPicture picture;
    ASSERT_TRUE(lay(picture, format(CameraLayout::NV12, 4, 4), { { memory.data(), 16, 4 }, { more.data(), 14, 6 } }));
    EXPECT_EQ(picture.planes[1].data, more.data());
    EXPECT_EQ(picture.planes[1].stride, 6U);
}

TEST(CameraFrame, SmallerThanItsFormatIsNone)
{
    CameraPicture picture;
    EXPECT_FALSE(lay(picture, format(CameraLayout::NV12, 4, 4), { { memory.data(), 23, 0 } })) << "one byte too few";
    EXPECT_FALSE(lay(picture, format(CameraLayout::NV12, 4, 4), { { memory.data(), 64, 3 } })) << "rows too short";
    EXPECT_FALSE(lay(picture, format(CameraLayout::NV12, 4, 4), { { memory.data(), 16, 4 }, { more.data(), 7, 4 } }));
}

TEST(CameraFrame, WithoutMemoryIsNone)
{
    CameraPicture picture;
    EXPECT_FALSE(lay(picture, format(CameraLayout::NV12, 4, 4), {}));
    EXPECT_FALSE(lay(picture, format(CameraLayout::NV12, 4, 4), { { nullptr, 24, 0 } }));
    EXPECT_FALSE(lay(picture, format(CameraLayout::NV12, 4, 4), { { memory.data(), 16, 4 }, { nullptr, 8, 4 } }));
}

TEST(CameraFrame, OfAJPEGIsAsLongAsItIs)
{
    CameraPicture picture;
    ASSERT_TRUE(lay(picture, format(CameraLayout::JPEG, 4, 4), { { memory.data(), 10, 0 } }));
    EXPECT_EQ(picture.size, 10U);
    EXPECT_FALSE(lay(picture, format(CameraLayout::JPEG, 4, 4), { { memory.data(), 0, 0 } }));
}

}
