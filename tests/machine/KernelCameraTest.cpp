// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/Clock.h"

#include <algorithm>

#include "tests/machine/MachineTest.h"

namespace velmora::tests {

class KernelCamera : public MachineTest { };

TEST_F(KernelCamera, IsKnownByThePlaceWhereItIsPluggedIn)
{
    capture = drivers::v4l2::openV4L2();
    std::vector<std::string> identities;
    for (const auto& device : capture->devices())
        identities.push_back(device->description().uniqueID);
    EXPECT_THAT(identities, testing::ElementsAre(first, second));
    EXPECT_EQ(open(first)->description().name, "vivid");
    EXPECT_EQ(capture->devices()[0], open(first)) << "the same object for the same camera";
}

TEST_F(KernelCamera, TellsItsSizesAndRates)
{
    const auto camera = open();
    ASSERT_TRUE(camera);
    const auto description = camera->description();
    const std::size_t small = formatOf(*camera, 320, 180), large = formatOf(*camera, 3840, 2160);
    ASSERT_LT(small, description.formats.size());
    ASSERT_LT(large, description.formats.size());
    EXPECT_EQ(description.formats[small].highResolutionStill.width, 3840) << "of one shape";
    const auto& rates = description.formats[small].frameRates;
    EXPECT_TRUE(std::any_of(rates.begin(), rates.end(), [](const auto& each) { return each.maxFrameRate == 15; }));
    EXPECT_THAT(description.rawFormats, testing::ElementsAre(kCVPixelFormatType_14Bayer_BGGR));
    EXPECT_THAT(description.exposureModes, testing::ElementsAre(0, 2, 3)) << "its gain can be set";
}

TEST_F(KernelCamera, GivesItsFramesWhereTheKernelWroteThem)
{
    const auto camera = run();
    ASSERT_TRUE(camera);
    for (int count = 1; count <= 20; ++count) {
        ASSERT_TRUE(frames.waitFor(1));
        frames.clear();
    }
    camera->stop();
    const auto counts = capture->pictureCounts();
    EXPECT_GE(counts.handedOn, 20U);
    EXPECT_EQ(counts.copied, 0U);
    EXPECT_EQ(counts.converted, 0U);
}

TEST_F(KernelCamera, WithPlanesApartGivesItsFramesWhereTheKernelWroteThem)
{
    const auto camera = run(second);
    ASSERT_TRUE(camera);
    ASSERT_TRUE(frames.waitFor(5));
    camera->stop();
    const auto counts = capture->pictureCounts();
    EXPECT_GE(counts.handedOn, 5U);
    EXPECT_EQ(counts.copied + counts.converted, 0U);
    const auto& pixels = *frames.all()[0]->imageBuffer();
    EXPECT_EQ(pixels.width(), 320);
    EXPECT_EQ(pixels.planes().size(), 2U);
}

TEST_F(KernelCamera, BothShowTheSamePicture)
{
    // A picture of eight bars, white at the left and black at the right, to one camera like to the other.
    for (const char* each : { first, second }) {
        frames.clear();
        const auto camera = run(each);
        ASSERT_TRUE(camera);
        const auto picture = frames.all()[0]->imageBuffer();
        const auto& luma = picture->planes()[0];
        const auto at = [&](std::size_t x) { return static_cast<int>(luma.data[luma.stride * 150 + x]); };
        EXPECT_NEAR(at(18), 180, 5) << each << ", three quarters of white";
        EXPECT_LT(at(300), 60) << each << ", black";
        EXPECT_GT(at(18), at(100)) << each;
        camera->stop();
    }
}

TEST_F(KernelCamera, TellsTheTimeAndTheNumberOfEachFrame)
{
    const double before = SteadyClock().now();
    const auto camera = run();
    ASSERT_TRUE(camera);
    ASSERT_TRUE(frames.waitFor(10));
    camera->stop();
    const auto all = frames.all();
    for (std::size_t i = 0; i < 10; ++i)
        EXPECT_GE(CMTimeGetSeconds(all[i]->presentationTimeStamp()), before);
    for (std::size_t i = 1; i < 10; ++i) {
        EXPECT_GT(all[i]->sequence(), all[i - 1]->sequence());
        const double apart
            = CMTimeGetSeconds(all[i]->presentationTimeStamp()) - CMTimeGetSeconds(all[i - 1]->presentationTimeStamp());
        const auto frameTimes = static_cast<double>(all[i]->sequence() - all[i - 1]->sequence());
        EXPECT_NEAR(apart * 15, frameTimes, 0.5);
    }
}

TEST_F(KernelCamera, CopiesItsFramesRatherThanLoseThemWhenAllAreKept)
{
    const auto camera = run();
    ASSERT_TRUE(camera);
    ASSERT_TRUE(frames.waitFor(20, 10)) << "the camera got no buffer back";
    EXPECT_GE(capture->pictureCounts().copied, 5U);
}

TEST_F(KernelCamera, LeavesFramesToThoseWhoHoldThemWhenItIsStopped)
{
    const auto camera = run();
    ASSERT_TRUE(camera);
    ASSERT_TRUE(frames.waitFor(3));
    const auto held = frames.all();
    const auto copyOf = [](const Frame& frame) {
        const auto& plane = frame->imageBuffer()->planes()[0];
        return std::vector<std::uint8_t>(plane.data, plane.data + plane.stride * 180);
    };
    const auto before = copyOf(held[0]);
    camera->stop();
    ASSERT_FALSE(start(camera, kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange));
    ASSERT_TRUE(frames.waitFor(held.size() + 10, 10));
    EXPECT_TRUE(copyOf(held[0]) == before) << "the camera wrote over a picture that somebody holds";
}

TEST_F(KernelCamera, ChangesItsFormatWhileItRuns)
{
    const auto camera = run();
    ASSERT_TRUE(camera);
    settings.activeFormat = formatOf(*camera, 640, 360);
    camera->apply(settings, "activeFormat 640x360", {});
    EXPECT_TRUE(frames.waitUntil([](const auto& all) { return all.back()->imageBuffer()->width() == 640; }, 10));
}

TEST_F(KernelCamera, ConvertsForWhoWantsAnotherFormat)
{
    const auto camera = run(first, 320, 180, kCVPixelFormatType_32BGRA);
    ASSERT_TRUE(camera);
    camera->stop();
    const auto picture = frames.all()[0]->imageBuffer();
    const auto* pixel = picture->planes()[0].data + picture->planes()[0].stride * 150 + 4 * 300;
    EXPECT_LT(int { pixel[0] } + pixel[1] + pixel[2], 100) << "the black bar";
    EXPECT_GE(capture->pictureCounts().converted, 1U);
}

TEST_F(KernelCamera, ThatAnotherProgramUsesIsRefusedWithTheReason)
{
    const Controls other("/dev/video0");
    ASSERT_TRUE(other.takePictures());
    const auto camera = open();
    const auto refusal = start(camera);
    ASSERT_TRUE(refusal);
    EXPECT_THAT(refusal->localizedDescription(), testing::HasSubstr("another program uses it"));
}

TEST_F(KernelCamera, PassesOverFramesThatTheKernelCallsBroken)
{
    const Controls other("/dev/video0");
    const auto camera = run();
    ASSERT_TRUE(camera);
    ASSERT_TRUE(other.set("Inject V4L2_BUF_FLAG_ERROR", 1));
    ASSERT_TRUE(frames.waitFor(frames.all().size() + 10, 10));
    const auto all = frames.all();
    EXPECT_GT(all.back()->sequence() - all.front()->sequence(), all.size() - 1) << "a gap for the broken one";
}

TEST_F(KernelCamera, ThatFailsIsStartedAgain)
{
    const Controls other("/dev/video0");
    const auto camera = run();
    ASSERT_TRUE(camera);
    listen(*camera);
    ASSERT_TRUE(other.set("Inject Fatal Streaming Error", 1));
    frames.clear();
    EXPECT_TRUE(frames.waitFor(5, 10));
    EXPECT_TRUE(events.all().empty()) << events.all()[0];
}

TEST_F(KernelCamera, SetsItsControls)
{
    const Controls other("/dev/video0");
    const auto camera = run();
    ASSERT_TRUE(camera);
    listen(*camera);
    EXPECT_EQ(other.value("Gain, Automatic"), 1);
    settings.exposureMode = 3;
    settings.ISO = 400;
    const auto effects = std::make_shared<Collected<int>>();
    camera->apply(settings, "ISO 400", [effects](CMTime) { effects->add(0); });
    EXPECT_EQ(other.value("Gain, Automatic"), 0);
    EXPECT_NEAR(other.value("Gain"), 128, 1) << "two of four stops between 0 and 255";
    EXPECT_TRUE(effects->waitFor(1, 10));
    EXPECT_TRUE(readings.waitUntil(
        [](const auto& all) { return !all.empty() && all.back().ISO && std::abs(*all.back().ISO - 400) < 5; }));
}

TEST_F(KernelCamera, TellsWhatAnotherProgramChanges)
{
    const Controls other("/dev/video0");
    const auto camera = run();
    ASSERT_TRUE(camera);
    listen(*camera);
    ASSERT_TRUE(other.set("Gain, Automatic", 0));
    ASSERT_TRUE(other.set("Gain", 255));
    EXPECT_TRUE(readings.waitUntil([](const auto& all) { return !all.empty() && all.back().ISO == 1600.0F; }));
}

}
