// SPDX-License-Identifier: Apache-2.0
#include "tests/drivers/pipewire/PipeWireTest.h"

namespace velmora::tests {

class PipeWireStills : public PipeWireTest {
protected:
    std::shared_ptr<CaptureDeviceDriver> run(const std::vector<std::string>& options)
    {
        publish("one", options);
        auto camera = open("one");
        if (start(camera))
            return nullptr;
        return frames.waitFor(1) ? camera : nullptr;
    }
};

TEST_F(PipeWireStills, AreTheNewestFrameWhereThereIsNothingLarger)
{
    const auto camera = run({ "offers=NV12:640x480:30" });
    ASSERT_TRUE(camera);
    shoot(*camera);
    ASSERT_TRUE(done.waitFor(1));
    EXPECT_THAT(events.all(), testing::ElementsAre("shutter", "processed", "done"));
    const auto still = stills.all()[0];
    EXPECT_EQ(still.pixels->width(), 640);
    EXPECT_EQ(still.pixels->pixelFormat(), 875704422U);
    EXPECT_EQ(lumaOf(*still.pixels), 40);
    EXPECT_FLOAT_EQ(still.exposure.ISO, 100);
    EXPECT_NEAR(CMTimeGetSeconds(still.exposure.duration), 0.01, 1e-6);
}

TEST_F(PipeWireStills, AreTwentyDifferentFrames)
{
    const auto camera = run({ "offers=NV12:640x480:60" });
    ASSERT_TRUE(camera);
    for (int i = 0; i < 20; ++i)
        shoot(*camera);
    ASSERT_TRUE(done.waitFor(20));
    const auto all = stills.all();
    ASSERT_EQ(all.size(), 20U);
    for (std::size_t i = 1; i < 20; ++i)
        EXPECT_GT(CMTimeCompare(all[i].exposure.presentationTime, all[i - 1].exposure.presentationTime), 0);
}

TEST_F(PipeWireStills, AreOfTheLargestFormatOfThatShape)
{
    const auto camera = run({ "offers=NV12:640x480:30 NV12:1600x1200:15 NV12:1920x800:30" });
    ASSERT_TRUE(camera);
    CaptureSettings settings;
    settings.activeFormat = 0;
    settings.minFrameDuration = CMTimeMake(1, 30);
    camera->apply(settings, "activeFormat 0", {});
    ASSERT_TRUE(frames.waitUntil([](const auto& all) { return all.back()->imageBuffer()->width() == 640; }));
    shoot(*camera);
    ASSERT_TRUE(done.waitFor(1));
    EXPECT_THAT(events.all(), testing::ElementsAre("shutter", "processed", "done"));
    EXPECT_EQ(stills.all()[0].pixels->width(), 1600);
    EXPECT_EQ(stills.all()[0].pixels->height(), 1200);
    frames.clear();
    ASSERT_TRUE(frames.waitFor(2)) << "the preview goes on";
    EXPECT_EQ(frames.all()[1]->imageBuffer()->width(), 640);
}

TEST_F(PipeWireStills, AreRawWhereTheCameraGivesItsSensorsSamples)
{
    const auto camera = run({ "offers=NV12:640x480:30 bayer:800x600:15", "velmora.bayer=BGGR" });
    ASSERT_TRUE(camera);
    EXPECT_EQ(camera->description().rawFormats, std::vector<std::uint32_t> { 1650943796 });
    StillRequest request;
    request.rawFormat = 1650943796;
    shoot(*camera, request);
    ASSERT_TRUE(done.waitFor(1));
    EXPECT_THAT(events.all(), testing::ElementsAre("shutter", "processed", "raw", "done"));
    const auto all = stills.all();
    EXPECT_EQ(all[0].pixels->width(), 640);
    ASSERT_TRUE(all[1].raw);
    const auto& raw = *all[1].raw;
    EXPECT_EQ(raw.samples->width(), 800);
    EXPECT_EQ(raw.whiteLevel, 255);
    EXPECT_EQ(raw.pattern, (std::array<std::uint8_t, 4> { 2, 1, 1, 0 }));
    const auto* row = reinterpret_cast<const std::uint16_t*>(raw.samples->planes()[0].data);
    EXPECT_EQ(row[0], 40);
    EXPECT_EQ(row[1], 80);
    EXPECT_NEAR(raw.asShotNeutral[0], 1.5, 0.01); // red 120 beside green 80
    EXPECT_NEAR(raw.asShotNeutral[2], 0.5, 0.01);
}

TEST_F(PipeWireStills, BringThePreviewThatWasAskedFor)
{
    const auto camera = run({ "offers=NV12:640x480:30" });
    ASSERT_TRUE(camera);
    StillRequest request;
    request.previewFormat = kCVPixelFormatType_32BGRA;
    request.previewWidth = 160;
    shoot(*camera, request);
    ASSERT_TRUE(done.waitFor(1));
    const auto preview = stills.all()[0].preview;
    ASSERT_TRUE(preview);
    EXPECT_EQ(preview->width(), 160);
    EXPECT_EQ(preview->height(), 120);
    EXPECT_EQ(preview->planes()[0].data[0], 40);
}

TEST_F(PipeWireStills, ShowTheSettingsThatWereMadeBefore)
{
    const auto camera = run({ "offers=NV12:640x480:30" });
    ASSERT_TRUE(camera);
    CaptureSettings settings;
    settings.minFrameDuration = CMTimeMake(1, 30);
    settings.exposureMode = 3;
    settings.exposureDuration = CMTimeMake(1, 100);
    settings.ISO = 300;
    Collected<int> effect;
    camera->apply(settings, "ISO 300", [&](CMTime) { effect.add(0); });
    ASSERT_TRUE(effect.waitFor(1));
    shoot(*camera);
    ASSERT_TRUE(done.waitFor(1));
    EXPECT_EQ(lumaOf(*stills.all()[0].pixels), 120);
    EXPECT_FLOAT_EQ(stills.all()[0].exposure.ISO, 300);
}

TEST_F(PipeWireStills, OutliveASettingThatEndsTheirStream)
{
    const auto camera = run({ "offers=NV12:640x480:30/15 NV12:1280x960:15" });
    ASSERT_TRUE(camera);
    shoot(*camera);
    CaptureSettings slower;
    slower.minFrameDuration = slower.maxFrameDuration = CMTimeMake(1, 15);
    camera->apply(slower, "activeVideoMinFrameDuration", {});
    ASSERT_TRUE(done.waitFor(1));
    EXPECT_THAT(events.all(), testing::ElementsAre("shutter", "processed", "done"));
    EXPECT_EQ(stills.all()[0].pixels->width(), 1280);
}

TEST_F(PipeWireStills, NeedACameraThatRuns)
{
    publish("one");
    shoot(*open("one"));
    ASSERT_TRUE(done.waitFor(1));
    EXPECT_THAT(events.all(),
        testing::ElementsAre(
            "The camera \"one\" took no picture, because it is not running; start the session first."));
}

TEST_F(PipeWireStills, AreAnsweredWhenTheCameraStops)
{
    const auto camera = run({ "offers=NV12:640x480:30 NV12:1600x1200:15" });
    ASSERT_TRUE(camera);
    shoot(*camera);
    shoot(*camera);
    camera->stop();
    ASSERT_TRUE(done.waitFor(2));
}

}
