// SPDX-License-Identifier: Apache-2.0
#include "tests/support/KernelTree.h"

#include "tests/drivers/pipewire/PipeWireTest.h"

namespace velmora::tests {

/// A camera at the back of a board with a lamp that flashes.
class PipeWireLight : public PipeWireTest {
protected:
    void SetUp() override
    {
        PipeWireTest::SetUp();
        if (daemon)
            tree.flash("white:flash", 80, 1000000);
    }
    std::shared_ptr<CaptureDeviceDriver> run(const std::string& offers, const std::string& position = "back")
    {
        publish("one", { "offers=" + offers, "api.libcamera.location=" + position });
        auto wish = PipeWireTest::wish();
        wish.folders = tree.folders();
        capture = drivers::pipewire::openPipeWire(wish);
        auto camera = open("one");
        settings.minFrameDuration = CMTimeMake(1, 30);
        return !start(camera) && frames.waitFor(1) ? camera : nullptr;
    }
    std::string lamp(const std::string& file) const { return tree.ofLED("white:flash", file); }

    const KernelTree tree;
    CaptureSettings settings;
};

TEST_F(PipeWireLight, BelongsToTheCameraAtItsSide)
{
    const auto camera = run("NV12:640x480:30");
    ASSERT_TRUE(camera);
    EXPECT_THAT(camera->description().flashModes, testing::ElementsAre(0, 1, 2));
    EXPECT_THAT(camera->description().torchModes, testing::ElementsAre(0, 1));
}

TEST_F(PipeWireLight, BelongsToNoCameraAtTheOtherSide)
{
    const auto camera = run("NV12:640x480:30", "front");
    ASSERT_TRUE(camera);
    EXPECT_THAT(camera->description().flashModes, testing::ElementsAre(0));
    EXPECT_THAT(camera->description().torchModes, testing::ElementsAre(0));
}

TEST_F(PipeWireLight, IsATorchWhileTheCameraRuns)
{
    const auto camera = run("NV12:640x480:30");
    ASSERT_TRUE(camera);
    settings.torchMode = 1;
    camera->apply(settings, "torchMode 1", {});
    EXPECT_EQ(lamp("brightness"), "80\n");
    camera->stop();
    EXPECT_EQ(lamp("brightness"), "0\n");
    ASSERT_FALSE(start(camera));
    EXPECT_EQ(lamp("brightness"), "80\n") << "the setting stays";
    settings.torchMode = 0;
    camera->apply(settings, "torchMode 0", {});
    EXPECT_EQ(lamp("brightness"), "0\n");
}

TEST_F(PipeWireLight, FlashesForAPhotoThatWantsIt)
{
    const auto camera = run("NV12:640x480:30");
    ASSERT_TRUE(camera);
    StillRequest request;
    request.flashMode = 1;
    shoot(*camera, request);
    ASSERT_TRUE(done.waitFor(1));
    ASSERT_EQ(stills.all().size(), 1U);
    EXPECT_TRUE(stills.all()[0].exposure.flashFired);
    EXPECT_EQ(lamp("flash_timeout"), "1000000\n");
    EXPECT_EQ(lamp("flash_strobe"), "0\n") << "it is over with the photo";
}

TEST_F(PipeWireLight, FlashesForAPictureInTheLargestFormatToo)
{
    const auto camera = run("NV12:640x480:30 NV12:1280x960:30");
    ASSERT_TRUE(camera);
    camera->apply(settings, "activeFormat 0", {});
    StillRequest request;
    request.flashMode = 1;
    shoot(*camera, request);
    ASSERT_TRUE(done.waitFor(1));
    ASSERT_EQ(stills.all().size(), 1U);
    EXPECT_EQ(stills.all()[0].pixels->width(), 1280);
    EXPECT_TRUE(stills.all()[0].exposure.flashFired);
    EXPECT_EQ(lamp("flash_strobe"), "0\n");
}

TEST_F(PipeWireLight, StaysDarkForAPhotoThatDoesNotWantIt)
{
    const auto camera = run("NV12:640x480:30");
    ASSERT_TRUE(camera);
    shoot(*camera);
    ASSERT_TRUE(done.waitFor(1));
    EXPECT_FALSE(stills.all()[0].exposure.flashFired);
    EXPECT_EQ(lamp("flash_timeout"), "0\n");
}

TEST_F(PipeWireLight, AutomaticallyFlashesInTheDark)
{
    const auto camera = run("NV12:640x480:30"); // its picture has a luma of 40 at the usual gain
    ASSERT_TRUE(camera);
    StillRequest request;
    request.flashMode = 2;
    shoot(*camera, request);
    ASSERT_TRUE(done.waitFor(1));
    EXPECT_TRUE(stills.all()[0].exposure.flashFired);
    settings.exposureMode = 3;
    settings.ISO = 200;
    const auto effects = std::make_shared<Collected<int>>();
    camera->apply(settings, "ISO 200", [effects](CMTime) { effects->add(0); });
    ASSERT_TRUE(effects->waitFor(1));
    shoot(*camera, request);
    ASSERT_TRUE(done.waitFor(2));
    EXPECT_FALSE(stills.all()[1].exposure.flashFired) << "it is bright enough";
}

}
