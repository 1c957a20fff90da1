// SPDX-License-Identifier: Apache-2.0
#include "tests/machine/MachineTest.h"

namespace velmora::tests {

class KernelStills : public MachineTest { };

TEST_F(KernelStills, AreOfTheLargestFormatAndThePreviewGoesOn)
{
    const auto camera = run();
    ASSERT_TRUE(camera);
    shoot(*camera);
    ASSERT_TRUE(done.waitFor(1, 20));
    EXPECT_THAT(events.all(), testing::ElementsAre("shutter", "processed", "done"));
    EXPECT_EQ(stills.all()[0].pixels->width(), 3840);
    EXPECT_EQ(stills.all()[0].pixels->height(), 2160);
    EXPECT_EQ(stills.all()[0].pixels->pixelFormat(), kCVPixelFormatType_420YpCbCr8BiPlanarFullRange);
    frames.clear();
    ASSERT_TRUE(frames.waitFor(3, 10));
    EXPECT_EQ(frames.all().back()->imageBuffer()->width(), 320);
}

TEST_F(KernelStills, AreRawWhereTheSensorGivesItsSamples)
{
    const auto camera = run();
    ASSERT_TRUE(camera);
    StillRequest request;
    request.processed = false;
    request.rawFormat = kCVPixelFormatType_14Bayer_BGGR;
    shoot(*camera, request);
    ASSERT_TRUE(done.waitFor(1, 20));
    EXPECT_THAT(events.all(), testing::ElementsAre("shutter", "raw", "done"));
    ASSERT_TRUE(stills.all()[0].raw);
    EXPECT_GT(stills.all()[0].raw->samples->width(), 0);
}

TEST_F(KernelStills, AreTheNewestFrameOfTheLargestFormat)
{
    const auto camera = run(second, 640, 480);
    ASSERT_TRUE(camera);
    for (int i = 0; i < 5; ++i)
        shoot(*camera);
    ASSERT_TRUE(done.waitFor(5, 20));
    ASSERT_EQ(stills.all().size(), 5U);
    for (const auto& still : stills.all())
        EXPECT_EQ(still.pixels->width() % 640, 0);
    EXPECT_TRUE(log.lines().empty()) << log.lines()[0];
}

}
