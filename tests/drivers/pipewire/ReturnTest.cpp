// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/AVCaptureSession.h"
#include "platform/AVFoundation/AVCaptureVideoDataOutput.h"
#include "platform/Foundation/NSNotificationCenter.h"

#include <chrono>
#include <csignal>

#include "tests/drivers/pipewire/PipeWireTest.h"

namespace velmora::tests {

class PipeWireReturn : public PipeWireTest {
protected:
    std::shared_ptr<CaptureDeviceDriver> run(double returnWithin = 3)
    {
        publish("one", { "offers=NV12:320x240:60" });
        auto wish = this->wish();
        wish.returnWithin = returnWithin;
        capture = drivers::pipewire::openPipeWire(wish);
        auto camera = open("one");
        listen(*camera);
        if (start(camera) || !frames.waitFor(1))
            return nullptr;
        return camera;
    }
};

TEST_F(PipeWireReturn, UnpluggingInterruptsAndFailsWhenTheCameraStaysAway)
{
    const auto camera = run(0.1);
    ASSERT_TRUE(camera);
    cameras.clear();
    ASSERT_TRUE(events.waitFor(2));
    EXPECT_THAT(events.all(), testing::ElementsAre("interrupted", "failed: The camera \"one\" was unplugged."));
    camera->stop();
    EXPECT_TRUE(start(camera)) << "it is not there";
}

TEST_F(PipeWireReturn, ACameraThatComesBackEndsTheInterruption)
{
    const auto camera = run();
    ASSERT_TRUE(camera);
    cameras.clear();
    ASSERT_TRUE(events.waitFor(1));
    camera->stop();
    frames.clear();
    publish("one", { "offers=NV12:320x240:60" });
    ASSERT_TRUE(events.waitFor(2));
    EXPECT_THAT(events.all(), testing::ElementsAre("interrupted", "ended"));
    EXPECT_FALSE(start(camera));
    EXPECT_TRUE(frames.waitFor(1));
}

TEST_F(PipeWireReturn, ACameraThatFallsSilentIsStartedAgainAndFailsInTheEnd)
{
    publish("one", { "offers=NV12:320x240:60", "stall=5" });
    const auto camera = open("one");
    listen(*camera);
    ASSERT_FALSE(start(camera));
    ASSERT_TRUE(events.waitFor(1, 15));
    EXPECT_THAT(events.all(), testing::ElementsAre("failed: The camera \"one\" stopped: it sends no frames."));
    EXPECT_THAT(
        log.lines(), testing::Contains("[PipeWire] The camera \"one\" is started again: it sends no frames.").Times(3));
}

TEST_F(PipeWireReturn, ASessionManagerThatDiesIsSurvived)
{
    const auto camera = run();
    ASSERT_TRUE(camera);
    daemon->killSessionManager();
    daemon->startSessionManager();
    frames.clear();
    ASSERT_TRUE(frames.waitFor(30, 10));
    EXPECT_TRUE(events.all().empty());
}

TEST_F(PipeWireReturn, ADaemonThatStaysAwayIsAFailure)
{
    publish("one", { "offers=NV12:320x240:60" });
    auto wish = this->wish();
    wish.daemonWithin = 0.2;
    capture = drivers::pipewire::openPipeWire(wish);
    const auto camera = open("one");
    listen(*camera);
    ASSERT_FALSE(start(camera));
    ASSERT_TRUE(frames.waitFor(1));
    daemon->kill();
    ASSERT_TRUE(events.waitFor(2));
    EXPECT_THAT(events.all(), testing::ElementsAre("interrupted", "failed: The camera \"one\" was unplugged."));
    EXPECT_TRUE(capture->devices().empty());
    daemon->start();
    publish("one");
    EXPECT_EQ(capture->devices().size(), 1U) << "asking for devices looks for the daemon again";
}

/// A session of the platform with a real camera.
class PipeWireSession : public PipeWireTest {
protected:
    class Processor : public AVCaptureVideoDataOutputSampleBufferDelegate {
    public:
        explicit Processor(std::shared_ptr<Collected<Frame>> frames)
            : frames_(std::move(frames))
        {
        }
        void captureOutput(const std::shared_ptr<AVCaptureOutput>&, const Frame& frame,
            const std::shared_ptr<AVCaptureConnection>&) override
        {
            frames_->add(frame);
        }

    private:
        const std::shared_ptr<Collected<Frame>> frames_;
    };

    void install()
    {
        capture = drivers::pipewire::openPipeWire(wish());
        CaptureDriver::install(capture);
        session = make<AVCaptureSession>();
        output = AVCaptureVideoDataOutput::init();
        output->setSampleBufferDelegate(processor, DispatchQueue("frames"));
        session->addOutput(output);
        const auto note = [&](const char* name, const char* word) {
            return NSNotificationCenter::defaultCenter().addObserver(
                name, nullptr, [to = eventsHeld, word](const NSNotification&) { to->add(word); });
        };
        observations.push_back(note(AVCaptureSessionWasInterruptedNotification, "interrupted"));
        observations.push_back(note(AVCaptureSessionInterruptionEndedNotification, "ended"));
        observations.push_back(note(AVCaptureSessionRuntimeErrorNotification, "error"));
    }
    void TearDown() override
    {
        if (session)
            session->stopRunning();
        observations.clear();
        PipeWireTest::TearDown();
    }
    std::shared_ptr<AVCaptureDeviceInput> input(AVCaptureDevicePosition position)
    {
        return AVCaptureDeviceInput::initWithDevice(AVCaptureDevice::defaultDeviceWithDeviceType(
            AVCaptureDeviceTypeBuiltInWideAngleCamera, AVMediaTypeVideo, position));
    }

    std::shared_ptr<AVCaptureSession> session;
    std::shared_ptr<AVCaptureVideoDataOutput> output;
    std::shared_ptr<Processor> processor = std::make_shared<Processor>(framesHeld);
    std::vector<Cancellable> observations;
};

TEST_F(PipeWireSession, ComesBackByItselfWithinTwoSecondsOfTheDaemon)
{
    publish("one", { "offers=NV12:320x240:60", "api.libcamera.location=back" });
    install();
    session->addInput(input(AVCaptureDevicePositionBack));
    session->startRunning();
    ASSERT_TRUE(frames.waitFor(5));
    daemon->kill();
    ASSERT_TRUE(events.waitFor(1));
    frames.clear();
    daemon->start();
    const auto began = std::chrono::steady_clock::now();
    cameras.clear();
    publish("one", { "offers=NV12:320x240:60", "api.libcamera.location=back" });
    ASSERT_TRUE(events.waitFor(2));
    ASSERT_TRUE(frames.waitFor(1));
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count();
    EXPECT_LT(seconds, 2);
    RecordProperty("seconds", std::to_string(seconds));
    EXPECT_THAT(events.all(), testing::ElementsAre("interrupted", "ended"));
    EXPECT_TRUE(session->isRunning());
}

TEST_F(PipeWireSession, SwitchesBetweenTwoCamerasWhileItRuns)
{
    publish("behind", { "offers=NV12:320x240:60", "api.libcamera.location=back" });
    publish("before", { "offers=NV12:640x480:60", "api.libcamera.location=front" });
    install();
    const auto back = input(AVCaptureDevicePositionBack), front = input(AVCaptureDevicePositionFront);
    session->addInput(back);
    session->startRunning();
    ASSERT_TRUE(
        frames.waitUntil([](const auto& all) { return !all.empty() && all.back()->imageBuffer()->width() == 320; }));
    session->beginConfiguration();
    session->removeInput(back);
    session->addInput(front);
    session->commitConfiguration();
    ASSERT_TRUE(frames.waitUntil([](const auto& all) { return all.back()->imageBuffer()->width() == 640; }));
    session->beginConfiguration();
    session->removeInput(front);
    session->addInput(back);
    session->commitConfiguration();
    const std::size_t before = frames.all().size();
    ASSERT_TRUE(frames.waitUntil(
        [before](const auto& all) { return all.size() > before && all.back()->imageBuffer()->width() == 320; }));
    EXPECT_TRUE(events.all().empty());
}

TEST_F(PipeWireSession, OfACameraThatStaysUnpluggedTellsOfItsError)
{
    publish("one", { "offers=NV12:320x240:60", "api.libcamera.location=back" });
    install();
    session->addInput(input(AVCaptureDevicePositionBack));
    session->startRunning();
    ASSERT_TRUE(frames.waitFor(1));
    cameras.clear();
    ASSERT_TRUE(events.waitFor(2, 6));
    EXPECT_THAT(events.all(), testing::ElementsAre("interrupted", "error"));
    EXPECT_FALSE(session->isRunning());
}

}
