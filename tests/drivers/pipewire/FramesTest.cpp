// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/Clock.h"

#include <algorithm>
#include <set>

#include "tests/drivers/pipewire/PipeWireTest.h"

namespace velmora::tests {

class PipeWireFrames : public PipeWireTest { };

TEST_F(PipeWireFrames, ArriveWhereTheCameraWroteThem)
{
    publish("one", { "offers=NV12:640x480:60" });
    const auto camera = open("one");
    ASSERT_TRUE(camera);
    ASSERT_FALSE(start(camera));
    for (std::size_t count = 1; count <= 30; ++count) {
        ASSERT_TRUE(frames.waitFor(1));
        frames.clear();
    }
    camera->stop();
    const auto counts = capture->pictureCounts();
    EXPECT_GE(counts.handedOn, 30U);
    EXPECT_EQ(counts.copied, 0U);
    EXPECT_EQ(counts.converted, 0U);
}

TEST_F(PipeWireFrames, ShowThePictureWithItsTimeAndNumber)
{
    publish("one", { "offers=NV12:640x480:30" });
    const auto camera = open("one");
    const double before = SteadyClock().now();
    ASSERT_FALSE(start(camera));
    ASSERT_TRUE(frames.waitFor(4));
    camera->stop();
    const auto all = frames.all();
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(all[i]->imageBuffer()->width(), 640);
        EXPECT_EQ(all[i]->imageBuffer()->height(), 480);
        EXPECT_EQ(lumaOf(*all[i]->imageBuffer()), 40);
        EXPECT_GE(CMTimeGetSeconds(all[i]->presentationTimeStamp()), before);
    }
    for (std::size_t i = 1; i < 4; ++i) {
        EXPECT_GT(all[i]->sequence(), all[i - 1]->sequence()); // a busy machine may lose one
        EXPECT_GT(CMTimeCompare(all[i]->presentationTimeStamp(), all[i - 1]->presentationTimeStamp()), 0);
    }
}

TEST_F(PipeWireFrames, AreCopiedRatherThanLostWhenAllAreKept)
{
    publish("one", { "offers=NV12:320x240:60" });
    const auto camera = open("one");
    ASSERT_FALSE(start(camera));
    ASSERT_TRUE(frames.waitFor(40)) << "the camera got no buffer back";
    camera->stop();
    EXPECT_GE(capture->pictureCounts().copied, 20U);
    const auto all = frames.all();
    for (std::size_t i = 1; i < 40; ++i)
        EXPECT_GT(all[i]->sequence(), all[i - 1]->sequence());
}

TEST_F(PipeWireFrames, StayReadableAfterTheCameraIsGone)
{
    publish("one", { "offers=NV12:320x240:60" });
    const auto camera = open("one");
    ASSERT_FALSE(start(camera));
    ASSERT_TRUE(frames.waitFor(3));
    camera->stop();
    cameras.clear();
    daemon->kill();
    for (const auto& frame : frames.all())
        EXPECT_EQ(lumaOf(*frame->imageBuffer()), 40);
}

TEST_F(PipeWireFrames, OfTheVideoRangeBecomeFullRange)
{
    publish("one", { "offers=NV12:320x240:30", "range=video" });
    const auto camera = open("one");
    ASSERT_FALSE(start(camera));
    ASSERT_TRUE(frames.waitFor(1));
    EXPECT_EQ(lumaOf(*frames.all()[0]->imageBuffer()), 28); // (40 - 16) * 255 / 219
    EXPECT_GE(capture->pictureCounts().converted, 1U);
}

TEST_F(PipeWireFrames, OfTheVideoRangeAreHandedOnWhenAskedFor)
{
    publish("one", { "offers=NV12:320x240:30", "range=video" });
    const auto camera = open("one");
    ASSERT_FALSE(start(camera, kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange));
    ASSERT_TRUE(frames.waitFor(1));
    EXPECT_EQ(lumaOf(*frames.all()[0]->imageBuffer()), 40);
    EXPECT_EQ(capture->pictureCounts().converted, 0U);
}

TEST_F(PipeWireFrames, OfUSBCamerasAreConvertedOnce)
{
    publish("one", { "offers=YUY2:320x240:30" });
    const auto camera = open("one");
    ASSERT_FALSE(start(camera));
    ASSERT_TRUE(frames.waitFor(2));
    camera->stop();
    const auto& pixels = *frames.all()[0]->imageBuffer();
    EXPECT_EQ(pixels.pixelFormat(), 875704422U);
    EXPECT_EQ(lumaOf(pixels), 28);
    EXPECT_EQ(chromaOf(pixels), std::pair(128, 128));
    EXPECT_EQ(capture->pictureCounts().handedOn, 0U);
    EXPECT_EQ(capture->pictureCounts().converted, frames.all().size());
}

TEST_F(PipeWireFrames, OfThreePlanesOrOfColoursAreConverted)
{
    publish("planes", { "offers=I420:320x240:30" });
    publish("colours", { "offers=BGRx:320x240:30" });
    ASSERT_FALSE(start(open("planes")));
    ASSERT_TRUE(frames.waitFor(1));
    EXPECT_EQ(lumaOf(*frames.all()[0]->imageBuffer()), 40);
    open("planes")->stop();
    frames.clear();
    ASSERT_FALSE(start(open("colours")));
    ASSERT_TRUE(frames.waitFor(1));
    // Red 255, green 128, blue 0, by the equations of BT.601 in full range.
    EXPECT_NEAR(lumaOf(*frames.all()[0]->imageBuffer()), 151, 2);
    EXPECT_NEAR(chromaOf(*frames.all()[0]->imageBuffer()).first, 43, 2);
    EXPECT_NEAR(chromaOf(*frames.all()[0]->imageBuffer()).second, 202, 2);
}

TEST_F(PipeWireFrames, OfJPEGsAreDecoded)
{
    publish("one", { "offers=MJPG:320x240:30" });
    const auto camera = open("one");
    ASSERT_FALSE(start(camera));
    ASSERT_TRUE(frames.waitFor(1));
    EXPECT_NEAR(lumaOf(*frames.all()[0]->imageBuffer()), 100, 1);
    EXPECT_EQ(chromaOf(*frames.all()[0]->imageBuffer()), std::pair(128, 128));
}

TEST_F(PipeWireFrames, OfASensorAloneAreDevelopedToGrey)
{
    publish("one", { "offers=bayer:320x240:30", "velmora.bayer=BGGR" });
    const auto camera = open("one");
    ASSERT_FALSE(start(camera));
    ASSERT_TRUE(frames.waitFor(1));
    EXPECT_NEAR(chromaOf(*frames.all()[0]->imageBuffer()).first, 128, 3);
    EXPECT_NEAR(chromaOf(*frames.all()[0]->imageBuffer()).second, 128, 3);
    EXPECT_GT(lumaOf(*frames.all()[0]->imageBuffer()), 80);
}

TEST_F(PipeWireFrames, ComeAsPixelsOf32BitsToo)
{
    publish("one", { "offers=NV12:320x240:30" });
    const auto camera = open("one");
    ASSERT_FALSE(start(camera, kCVPixelFormatType_32BGRA));
    ASSERT_TRUE(frames.waitFor(1));
    const auto& plane = frames.all()[0]->imageBuffer()->planes()[0];
    EXPECT_EQ(plane.data[0], 40);
    EXPECT_EQ(plane.data[1], 40);
    EXPECT_EQ(plane.data[2], 40);
}

TEST_F(PipeWireFrames, InAFormatThatNobodyMakesAreRefused)
{
    publish("one");
    const auto error = start(open("one"), kCVPixelFormatType_14Bayer_BGGR);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->localizedDescription(),
        "The camera \"one\" has no frames in the format 'bgg4'; ask for '420f', '420v' or 'BGRA'.");
}

TEST_F(PipeWireFrames, ComeInTheLayoutThatReachesTheRate)
{
    publish("one", { "offers=YUY2:640x480:5 MJPG:640x480:30" });
    const auto camera = open("one");
    ASSERT_FALSE(start(camera));
    ASSERT_TRUE(frames.waitFor(1));
    // The first rate of the format is its usual one; 30 is asked for here.
    CaptureSettings settings;
    settings.minFrameDuration = CMTimeMake(1, 30);
    camera->apply(settings, "minFrameDuration", {});
    EXPECT_EQ(cameras[0]->readUntil("format MJPG"), "format MJPG 640x480 30");
}

TEST_F(PipeWireFrames, FollowTheFormatAndTheRateWhileTheyRun)
{
    publish("one", { "offers=NV12:640x480:30/60 NV12:320x240:30" });
    const auto camera = open("one");
    ASSERT_FALSE(start(camera));
    ASSERT_TRUE(frames.waitFor(1));
    CaptureSettings settings;
    settings.activeFormat = 1;
    settings.minFrameDuration = CMTimeMake(1, 30);
    camera->apply(settings, "activeFormat 1", {});
    EXPECT_TRUE(frames.waitUntil([](const auto& all) { return all.back()->imageBuffer()->width() == 320; }));
    settings.activeFormat = 0;
    settings.minFrameDuration = CMTimeMake(1, 60);
    camera->apply(settings, "activeFormat 0", {});
    EXPECT_EQ(cameras[0]->readUntil("format NV12 640x480 60"), "format NV12 640x480 60");
}

TEST_F(PipeWireFrames, StopWithTheirCamera)
{
    publish("one", { "offers=NV12:320x240:60" });
    const auto camera = open("one");
    ASSERT_FALSE(start(camera));
    ASSERT_TRUE(frames.waitFor(1));
    camera->stop();
    const std::size_t count = frames.all().size();
    EXPECT_FALSE(frames.waitFor(count + 1, 0.1));
}

TEST_F(PipeWireFrames, OfAMicrophoneAreItsTone)
{
    cameras.push_back(daemon->microphone("mic"));
    const auto microphone = open("mic");
    ASSERT_TRUE(microphone);
    EXPECT_EQ(microphone->description().mediaType, AVMediaTypeAudio);
    ASSERT_FALSE(start(microphone));
    ASSERT_TRUE(frames.waitUntil([](const auto& all) {
        std::size_t samples = 0;
        for (const auto& each : all)
            samples += each->audio()->samples.size();
        return samples > 60000;
    }));
    microphone->stop();
    float loudest = 0;
    std::size_t crossings = 0, count = 0;
    float before = 0;
    for (const auto& each : frames.all()) {
        EXPECT_EQ(each->audio()->sampleRate, 48000);
        EXPECT_EQ(each->audio()->channels, 2);
        for (std::size_t i = 0; i < each->audio()->samples.size(); i += 2, ++count) {
            const float now = each->audio()->samples[i];
            loudest = std::max(loudest, now);
            crossings += before < 0 && now >= 0 ? 1 : 0;
            before = now;
        }
    }
    EXPECT_NEAR(loudest, 0.5F, 0.01F);
    EXPECT_NEAR(static_cast<double>(crossings) * 48000 / static_cast<double>(count), 440, 60); // a gap takes some
}

}
