// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/CameraPicture.h"

#include <gmock/gmock.h>

namespace velmora::tests {

using testing::ElementsAre;

namespace {

using Rows = std::vector<std::vector<int>>;

/// Luma 1 2 3 4 above 5 6 7 8, and the chroma pairs 10|20 and 11|21 beneath.
std::shared_ptr<CVPixelBuffer> fourByTwo()
{
    auto pixels = CVPixelBuffer::create(4, 2, kCVPixelFormatType_420YpCbCr8BiPlanarFullRange);
    const auto &luma = pixels->planes()[0], &chroma = pixels->planes()[1];
    for (int i = 0; i < 8; ++i)
        luma.data[static_cast<std::size_t>(i / 4) * luma.stride + static_cast<std::size_t>(i % 4)]
            = static_cast<std::uint8_t>(i + 1);
    const std::uint8_t pairs[] { 10, 20, 11, 21 };
    std::copy(std::begin(pairs), std::end(pairs), chroma.data);
    return pixels;
}

Rows rows(const CVPixelBuffer::Plane& plane, int bytes = 1)
{
    Rows all;
    for (std::size_t y = 0; y < static_cast<std::size_t>(plane.height); ++y) {
        const std::uint8_t* row = plane.data + y * plane.stride;
        all.emplace_back(row, row + static_cast<std::ptrdiff_t>(plane.width) * bytes);
    }
    return all;
}

Rows luma(int exif)
{
    return rows(turned(*fourByTwo(), pictureOrientation(exif))->planes()[0]);
}

Rows chroma(int exif)
{
    return rows(turned(*fourByTwo(), pictureOrientation(exif))->planes()[1], 2);
}

}

TEST(TurnedPicture, StandsAsItsOrientationSays)
{
    EXPECT_EQ(luma(1), (Rows { { 1, 2, 3, 4 }, { 5, 6, 7, 8 } }));
    EXPECT_EQ(luma(2), (Rows { { 4, 3, 2, 1 }, { 8, 7, 6, 5 } }));
    EXPECT_EQ(luma(3), (Rows { { 8, 7, 6, 5 }, { 4, 3, 2, 1 } }));
    EXPECT_EQ(luma(4), (Rows { { 5, 6, 7, 8 }, { 1, 2, 3, 4 } }));
    EXPECT_EQ(luma(5), (Rows { { 1, 5 }, { 2, 6 }, { 3, 7 }, { 4, 8 } }));
    EXPECT_EQ(luma(6), (Rows { { 5, 1 }, { 6, 2 }, { 7, 3 }, { 8, 4 } }));
    EXPECT_EQ(luma(7), (Rows { { 8, 4 }, { 7, 3 }, { 6, 2 }, { 5, 1 } }));
    EXPECT_EQ(luma(8), (Rows { { 4, 8 }, { 3, 7 }, { 2, 6 }, { 1, 5 } }));
}

TEST(TurnedPicture, KeepsItsChromaTogether)
{
    EXPECT_EQ(chroma(1), (Rows { { 10, 20, 11, 21 } }));
    EXPECT_EQ(chroma(2), (Rows { { 11, 21, 10, 20 } }));
    EXPECT_EQ(chroma(6), (Rows { { 10, 20 }, { 11, 21 } }));
    EXPECT_EQ(chroma(8), (Rows { { 11, 21 }, { 10, 20 } }));
    EXPECT_EQ(chroma(7), (Rows { { 11, 21 }, { 10, 20 } }));
}

TEST(TurnedPicture, CanBeInColour)
{
    const auto pixels = CVPixelBuffer::create(2, 1, kCVPixelFormatType_32BGRA);
    const std::uint8_t bytes[] { 1, 2, 3, 255, 4, 5, 6, 255 };
    std::copy(std::begin(bytes), std::end(bytes), pixels->planes()[0].data);

    EXPECT_EQ(
        rows(turned(*pixels, pictureOrientation(6))->planes()[0], 4), (Rows { { 1, 2, 3, 255 }, { 4, 5, 6, 255 } }));
    EXPECT_EQ(rows(turned(*pixels, pictureOrientation(2))->planes()[0], 4), (Rows { { 4, 5, 6, 255, 1, 2, 3, 255 } }));
}

TEST(TurnedPicture, TakesANumberThatIsNoOrientationForTheFirst)
{
    EXPECT_EQ(pictureOrientation(0), PictureOrientation {});
    EXPECT_EQ(pictureOrientation(9), PictureOrientation {});
}

}
