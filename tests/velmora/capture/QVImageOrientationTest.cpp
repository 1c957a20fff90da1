// SPDX-License-Identifier: Apache-2.0
#include "velmora/capture/QVImageOrientation.h"

#include "tests/support/CapturedLog.h"

#include <gtest/gtest.h>

namespace velmora::tests {

TEST(ImageOrientation, EachHasItsEXIFValue)
{
    const std::vector<std::int32_t> expected { 1, 3, 8, 6, 2, 4, 7, 5 };
    for (std::size_t i = 0; i < expected.size(); ++i)
        EXPECT_EQ(QVGetEXIFOrientationForUIImageOrientation(static_cast<UIImageOrientation>(i)), expected[i]) << i;
}

TEST(ImageOrientation, EachEXIFValueHasItsOrientation)
{
    const std::vector<std::int64_t> expected { 0, 4, 1, 5, 7, 3, 6, 2 };
    for (std::size_t i = 0; i < expected.size(); ++i)
        EXPECT_EQ(QVGetImageOrientationForEXIFOrientation(static_cast<std::int32_t>(i + 1)), expected[i]) << i + 1;
}

TEST(ImageOrientation, AnUnknownOrientationLogsWithTheStrayIn)
{
    const CapturedLog log;
    EXPECT_EQ(QVGetEXIFOrientationForUIImageOrientation(static_cast<UIImageOrientation>(8)), 0);
    EXPECT_EQ(
        log.lines(), std::vector<std::string> { "[QVCameraController] Unknown EXIF in for image orientation: 8" });
}

TEST(ImageOrientation, AnUnknownEXIFValueIsUp)
{
    const CapturedLog log;
    EXPECT_EQ(QVGetImageOrientationForEXIFOrientation(0), UIImageOrientationUp);
    EXPECT_EQ(log.lines(), std::vector<std::string> { "[QVCameraController] Unknown image orientation for EXIF: 0" });
}

}
