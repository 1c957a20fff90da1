// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/AVCaptureVideoDataOutput.h"
#include "platform/AVFoundation/AVCaptureVideoPreviewLayer.h"

#include "tests/support/ControllerTest.h"

#include <algorithm>

namespace velmora::tests {

using namespace drivers::phone;

class ConfigureCamera : public ControllerTest {
protected:
    ConfigureCamera() { construct(); }

    void configure(Block block) { controller->performSelector("_configureCamera:", std::move(block)); }
    Lines journalOfLocks() const
    {
        Lines found;
        for (const auto& entry : phone.journal())
            if (entry.what == "lock" || entry.what == "unlock")
                found.push_back(entry.what);
        return found;
    }
};

TEST_F(ConfigureCamera, RunsTheBlockUnderTheLockOnTheCallersThread)
{
    Lines during;
    std::string label = "none";
    configure([&] {
        during = journalOfLocks();
        label = DispatchQueue::currentLabel();
    });

    EXPECT_EQ(during, Lines { "lock" });
    EXPECT_EQ(label, DispatchQueue::currentLabel());
    EXPECT_EQ(journalOfLocks(), (Lines { "lock", "unlock" }));
}

TEST_F(ConfigureCamera, AFailedLockIsLoggedAndTheBlockDoesNotRun)
{
    phone.failNextLock(NSError("Camera", 5, "Somebody has it."));
    bool ran = false;
    configure([&] { ran = true; });

    EXPECT_FALSE(ran);
    EXPECT_EQ(log.lines(),
        Lines { "[QVCameraController] Unable to lock camera (Error Domain=Camera Code=5 \"Somebody has it.\")" });
}

TEST_F(ConfigureCamera, WithoutACameraThereIsNoErrorToPrint)
{
    phone.change([](PhoneDescription& description) { description.cameras.clear(); });
    construct();
    log.clear();
    bool ran = false;
    configure([&] { ran = true; });

    EXPECT_FALSE(ran);
    EXPECT_EQ(log.lines(), Lines { "[QVCameraController] Unable to lock camera ((null))" });
}

TEST_F(ConfigureCamera, DoesNotFireTheConfigurationCompletion)
{
    int completions = 0;
    controller->setCameraConfigurationCompletionBlock([&] { ++completions; });
    configure([] {});
    settle();

    EXPECT_EQ(completions, 0);
}

class ConfigurationCompletion : public ControllerTest {
protected:
    ConfigurationCompletion()
    {
        construct();
        settle();
    }

    void expectCompletion()
    {
        controller->setCameraConfigurationCompletionBlock([this] {
            ++completions;
            label = DispatchQueue::currentLabel();
        });
    }

    int completions = 0;
    std::string label;
};

TEST_F(ConfigurationCompletion, FollowsAChangeOfTheSampleBufferOrientation)
{
    expectCompletion();
    controller->setSampleBufferOrientation(AVCaptureVideoOrientationLandscapeLeft);
    EXPECT_EQ(completions, 0);

    settle();
    EXPECT_EQ(completions, 1);
    EXPECT_EQ(label, DispatchQueue::main().label());
}

TEST_F(ConfigurationCompletion, IsCalledOnceAndCleared)
{
    expectCompletion();
    controller->setSampleBufferOrientation(AVCaptureVideoOrientationLandscapeLeft);
    controller->setSampleBufferOrientation(AVCaptureVideoOrientationPortrait);
    settle();

    EXPECT_EQ(completions, 1);
    EXPECT_EQ(controller->cameraConfigurationCompletionBlock(), nullptr);
}

TEST_F(ConfigurationCompletion, FollowsTheSetUpOfSampleBuffers)
{
    expectCompletion();
    controller->prepareToReceiveSampleBuffers(QVSampleBufferTypeVideo);
    EXPECT_EQ(completions, 0); // never inline, not even for a caller on the main thread
    EXPECT_EQ(controller->cameraConfigurationCompletionBlock(), nullptr);

    settle();
    EXPECT_EQ(completions, 1);
}

TEST_F(ConfigurationCompletion, IsNotFiredByTypesThatArePreparedAlready)
{
    controller->prepareToReceiveSampleBuffers(QVSampleBufferTypeVideo);
    expectCompletion();
    controller->prepareToReceiveSampleBuffers(QVSampleBufferTypeVideo);
    settle();

    EXPECT_EQ(completions, 0);
}

TEST_F(ConfigurationCompletion, FollowsAChangeOfTheCamera)
{
    expectCompletion();
    controller->setDevicePosition(AVCaptureDevicePositionFront);
    settle();

    EXPECT_EQ(completions, 1);
}

TEST_F(ConfigurationCompletion, OneThatIsSetAfterASwapIsFiredByTheOrientationThatFollowsIt)
{
    controller->setDevicePosition(AVCaptureDevicePositionFront);
    expectCompletion();
    settle();

    EXPECT_EQ(completions, 1);
}

TEST_F(ConfigurationCompletion, ASwapWithAVideoDataOutputFiresItOnce)
{
    controller->prepareToReceiveSampleBuffers(QVSampleBufferTypeVideo);
    expectCompletion();
    controller->setDevicePosition(AVCaptureDevicePositionFront);
    settle();

    EXPECT_EQ(completions, 1);
}

TEST_F(ConfigurationCompletion, IsNotFiredByStartAndStop)
{
    expectCompletion();
    controller->startSession();
    controller->stopSession();
    settle();

    EXPECT_EQ(completions, 0);
}

class CaptureOrientation : public ControllerTest {
protected:
    CaptureOrientation()
    {
        construct(QVCameraCaptureIntentStillImage | QVCameraCaptureIntentSampleBuffers);
        settle();
    }

    AVCaptureVideoOrientation preview() const { return controller->previewLayer()->connection()->videoOrientation(); }
    AVCaptureVideoOrientation frames() const
    {
        return output<AVCaptureVideoDataOutput>()->connectionWithMediaType(AVMediaTypeVideo)->videoOrientation();
    }
};

TEST_F(CaptureOrientation, IsAlsoTheSampleBuffersOrientation)
{
    controller->setCaptureOrientation(AVCaptureVideoOrientationLandscapeLeft);

    EXPECT_EQ(controller->captureOrientation(), AVCaptureVideoOrientationLandscapeLeft);
    EXPECT_EQ(controller->sampleBufferOrientation(), AVCaptureVideoOrientationLandscapeLeft);
}

TEST_F(CaptureOrientation, ReachesThePreviewOnTheMainQueue)
{
    controller->setCaptureOrientation(AVCaptureVideoOrientationLandscapeLeft);
    EXPECT_EQ(preview(), AVCaptureVideoOrientationPortrait);

    settle();
    EXPECT_EQ(preview(), AVCaptureVideoOrientationLandscapeLeft);
}

TEST_F(CaptureOrientation, ReachesTheFramesOnTheSessionQueue)
{
    controller->setCaptureOrientation(AVCaptureVideoOrientationLandscapeLeft);
    EXPECT_EQ(frames(), AVCaptureVideoOrientationPortrait);

    settle();
    EXPECT_EQ(frames(), AVCaptureVideoOrientationLandscapeLeft);
}

TEST_F(CaptureOrientation, TheLastOfSeveralCountsForThePreview)
{
    controller->setCaptureOrientation(AVCaptureVideoOrientationLandscapeLeft);
    controller->setCaptureOrientation(AVCaptureVideoOrientationPortraitUpsideDown);
    settle();

    EXPECT_EQ(preview(), AVCaptureVideoOrientationPortraitUpsideDown);
}

TEST_F(CaptureOrientation, TheSampleBuffersOrientationLeavesThePreviewAlone)
{
    controller->setSampleBufferOrientation(AVCaptureVideoOrientationLandscapeRight);
    settle();

    EXPECT_EQ(preview(), AVCaptureVideoOrientationPortrait);
    EXPECT_EQ(frames(), AVCaptureVideoOrientationLandscapeRight);
}

TEST_F(CaptureOrientation, WithoutAPreviewConnectionNothingHappens)
{
    phone.change([](PhoneDescription& description) { description.previewConnection = false; });
    construct();
    controller->setCaptureOrientation(AVCaptureVideoOrientationLandscapeLeft);
    settle();

    EXPECT_EQ(controller->previewLayer()->connection(), nullptr);
    EXPECT_EQ(controller->captureOrientation(), AVCaptureVideoOrientationLandscapeLeft);
}

TEST_F(CaptureOrientation, ConnectionsThatHaveItAreNotWritten)
{
    controller->setCaptureOrientation(AVCaptureVideoOrientationLandscapeLeft);
    settle();
    const auto before = phone.journal().size();
    controller->setCaptureOrientation(AVCaptureVideoOrientationLandscapeLeft);
    settle();

    for (std::size_t i = before; i < phone.journal().size(); ++i)
        EXPECT_FALSE(phone.journal()[i].what.starts_with("connection ")) << phone.journal()[i].what;
}

using SelfSyncDeathTest = ControllerTest;

TEST_F(SelfSyncDeathTest, StartingFromABlockOfTheSessionQueueStopsTheProcessWithTheQueuesName)
{
    EXPECT_DEATH(
        {
            construct();
            const auto token = controller->captureSession()->observe("running", NSKeyValueObservingOptionNew,
                [this](const NSKeyValueChange&) { controller->startSession(); });
            controller->startSession();
        },
        "org\\.velmora\\.Velmora\\.cameraSessionQueue");
}

TEST_F(SelfSyncDeathTest, ReconfiguringFromAnObserverOfFacesStopsTheProcessWithTheQueuesName)
{
    EXPECT_DEATH(
        {
            construct(QVCameraCaptureIntentSampleBuffers | QVCameraCaptureIntentFaceDetection);
            controller->startSession();
            const auto token = controller->observe("visibleFaces", NSKeyValueObservingOptionNew,
                [this](const NSKeyValueChange&) { controller->setDevicePosition(AVCaptureDevicePositionFront); });
            phone.showFaces(1);
            phone.sendFrame();
            settle();
        },
        "org\\.velmora\\.Velmora\\.cameraSessionQueue");
}

}
