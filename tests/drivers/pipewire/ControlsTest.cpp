// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/DaylightLocus.h"

#include "tests/drivers/pipewire/PipeWireTest.h"

namespace velmora::tests {

/// A camera that runs, and its settings as the service keeps them.
class PipeWireControls : public PipeWireTest {
protected:
    void run(const std::string& controls)
    {
        publish("one", { "offers=NV12:320x240:60", "controls=" + controls });
        camera = open("one");
        const auto description = camera->description();
        settings.minFrameDuration = settings.maxFrameDuration = CMTimeMake(1, 60);
        settings.exposureMode = description.exposureModes[0] == 2 || description.exposureModes.size() == 3 ? 2 : 0;
        settings.focusMode = description.focusModes.size() == 2 && description.focusModes[1] == 2 ? 2 : 0;
        settings.whiteBalanceMode = 2;
        ASSERT_FALSE(start(camera));
        ASSERT_TRUE(frames.waitFor(1));
    }
    std::string heard(const std::string& beginning) const { return cameras[0]->readUntil(beginning); }

    std::shared_ptr<CaptureDeviceDriver> camera;
    CaptureSettings settings;
    const std::shared_ptr<Collected<double>> effectsHeld = std::make_shared<Collected<double>>();
    Collected<double>& effects = *effectsHeld;
};

TEST_F(PipeWireControls, TakeEffectAtTheFrameThatIsToldOf)
{
    run("plain");
    settings.exposureMode = 3;
    settings.exposureDuration = CMTimeMake(1, 100);
    settings.ISO = 400;
    camera->apply(settings, "ISO 400", [to = effectsHeld](CMTime time) { to->add(CMTimeGetSeconds(time)); });
    ASSERT_TRUE(effects.waitFor(1));
    EXPECT_EQ(heard("Gain"), "Gain 4");
    const double when = effects.all()[0];
    ASSERT_TRUE(frames.waitUntil(
        [when](const auto& all) { return CMTimeGetSeconds(all.back()->presentationTimeStamp()) >= when; }));
    for (const auto& frame : frames.all())
        if (CMTimeGetSeconds(frame->presentationTimeStamp()) >= when) {
            EXPECT_EQ(lumaOf(*frame->imageBuffer()), 160);
        }
}

TEST_F(PipeWireControls, ReportWhatIsInForce)
{
    run("plain");
    listen(*camera);
    settings.exposureMode = 3;
    settings.exposureDuration = CMTimeMake(1, 50);
    settings.ISO = 200;
    camera->apply(settings, "ISO 200", {});
    EXPECT_TRUE(readings.waitUntil([](const auto& all) {
        return !all.empty() && all.back().ISO == 200.0F && all.back().exposureDuration
            && std::abs(CMTimeGetSeconds(*all.back().exposureDuration) - 0.02) < 1e-6;
    }));
}

TEST_F(PipeWireControls, OfAWebcamAreFoundByTheKernelsNames)
{
    run("webcam");
    settings.exposureMode = 3;
    settings.exposureDuration = CMTimeMake(1, 100);
    settings.ISO = 400;
    camera->apply(settings, "exposure", {});
    EXPECT_EQ(heard("Auto Exposure 1"), "Auto Exposure 1");
    EXPECT_EQ(heard("Exposure Time"), "Exposure Time, Absolute 100");
    EXPECT_EQ(heard("Gain"), "Gain 50") << "two of four stops";
    settings.focusMode = 0;
    settings.lensPosition = 0; // the nearest
    camera->apply(settings, "lensPosition 0", {});
    EXPECT_EQ(heard("Focus, Automatic Continuous 0"), "Focus, Automatic Continuous 0");
    EXPECT_EQ(heard("Focus, Absolute"), "Focus, Absolute 250");
    settings.zoomFactor = 2.5;
    camera->apply(settings, "zoomFactor 2.5", {});
    EXPECT_EQ(heard("Zoom"), "Zoom, Absolute 250");
}

TEST_F(PipeWireControls, OfWhiteBalanceTakeATemperatureForGains)
{
    run("webcam");
    settings.whiteBalanceMode = 0;
    settings.whiteBalanceGains = daylightGains({ 5000, 0 });
    camera->apply(settings, "whiteBalanceGains", {});
    EXPECT_EQ(heard("White Balance, Automatic 0"), "White Balance, Automatic 0");
    EXPECT_EQ(heard("White Balance Temperature"), "White Balance Temperature 5000");
}

TEST_F(PipeWireControls, ReturnToAutomatic)
{
    run("webcam");
    settings.exposureMode = 0;
    camera->apply(settings, "exposureMode 0", {});
    EXPECT_EQ(heard("Auto Exposure 1"), "Auto Exposure 1");
    settings.exposureMode = 2;
    camera->apply(settings, "exposureMode 2", {});
    EXPECT_EQ(heard("Auto Exposure 3"), "Auto Exposure 3");
}

TEST_F(PipeWireControls, ThatNobodyChangedStayAsTheCameraHasThem)
{
    run("plain");
    settings.exposureMode = 3;
    settings.exposureDuration = CMTimeMake(1, 100);
    settings.ISO = 800;
    camera->apply(settings, "ISO 800", {});
    EXPECT_EQ(cameras[0]->readUntil("Exposure"), "Exposure (ms) 10");
    EXPECT_EQ(cameras[0]->readLine(), "Gain 8");
    settings.focusMode = 0;
    settings.lensPosition = 0.25F;
    camera->apply(settings, "lensPosition 0.25", {});
    EXPECT_EQ(cameras[0]->readLine(), "Lens position 0.75");
}

TEST_F(PipeWireControls, WithoutAnyTakeEffectWithinAFewFrames)
{
    run("none");
    settings.ISO = 400;
    camera->apply(settings, "ISO 400", [to = effectsHeld](CMTime time) { to->add(CMTimeGetSeconds(time)); });
    EXPECT_TRUE(effects.waitFor(1));
}

}
