// SPDX-License-Identifier: Apache-2.0
#include "velmora/results/QVLocationProvider.h"

#include "platform/AVFoundation/AVCaptureVideoPreviewLayer.h"
#include "platform/CoreLocation/CLLocation.h"
#include "platform/CoreMotion/CMMotionManager.h"
#include "platform/Foundation/NSNotificationCenter.h"

#include "tests/support/ControllerTest.h"

namespace velmora::tests {

using namespace drivers::phone;

constexpr const char* stopMessage = "[QVCameraController] Disabling camera hardware to conserve battery / memory.";

class Session : public ControllerTest {
protected:
    Session() { construct(); }

    void moveTo(double latitude, double longitude)
    {
        phone.moveTo({ make<CLLocation>(latitude, longitude) });
        settle();
    }
    bool knowsItsPlace() const { return controller->locationProvider()->currentLocation() != nullptr; }
};

TEST_F(Session, StartSessionReturnsWhenItRuns)
{
    controller->startSession();

    EXPECT_TRUE(controller->isSessionRunning());
}

TEST_F(Session, StartsOnTheSessionQueue)
{
    std::string label;
    const auto token = controller->captureSession()->observe("running", NSKeyValueObservingOptionNew,
        [&](const NSKeyValueChange&) { label = DispatchQueue::currentLabel(); });
    controller->startSession();

    EXPECT_EQ(label, "org.velmora.Velmora.cameraSessionQueue");
}

TEST_F(Session, StartingTwiceIsHarmless)
{
    controller->startSession();
    controller->startSession();

    EXPECT_TRUE(controller->isSessionRunning());
    EXPECT_EQ(log.lines(), Lines {});
}

TEST_F(Session, AnAsynchronousStartWaitsForItsQueue)
{
    controller->startSessionAsynchronously(nullptr);
    EXPECT_FALSE(controller->isSessionRunning());

    settle();
    EXPECT_TRUE(controller->isSessionRunning());
}

TEST_F(Session, AnAsynchronousStartCompletesOnTheMainQueueWhenItRuns)
{
    std::string label;
    bool running = false;
    controller->startSessionAsynchronously([&] {
        label = DispatchQueue::currentLabel();
        running = controller->isSessionRunning();
    });
    settle();

    EXPECT_EQ(label, DispatchQueue::main().label());
    EXPECT_TRUE(running);
}

TEST_F(Session, AnAsynchronousStartOfARunningSessionCompletesToo)
{
    controller->startSession();
    int completions = 0;
    controller->startSessionAsynchronously([&] { ++completions; });
    settle();

    EXPECT_EQ(completions, 1);
}

TEST_F(Session, StopSessionStopsOnTheSessionQueueLater)
{
    controller->startSession();
    controller->stopSession();
    EXPECT_TRUE(controller->isSessionRunning());

    settle();
    EXPECT_FALSE(controller->isSessionRunning());
}

TEST_F(Session, RunsAgainAfterAStop)
{
    controller->startSession();
    controller->stopSession();
    controller->startSession();
    settle();

    EXPECT_TRUE(controller->isSessionRunning());
}

TEST_F(Session, ASessionThatNeverStartsDoesNotRun)
{
    phone.fail({ .step = Step::Start, .outcome = Outcome::Never });
    controller->startSession();

    EXPECT_FALSE(controller->isSessionRunning());
}

TEST_F(Session, StopNeverCreatesAMotionManager)
{
    controller->stopSession();
    // A manager that is made now finds no accelerometer; one that had been made before would still have the phone's.
    const auto accelerometer = MotionDriver::installed();
    MotionDriver::install(nullptr);
    controller->startSession();
    MotionDriver::install(accelerometer);
    phone.tilt(0, -2, 0);
    settle();

    EXPECT_EQ(controller->deviceOrientation(), UIDeviceOrientationUnknown);
}

TEST_F(Session, StartTracksThePlace)
{
    moveTo(52, 13);
    EXPECT_FALSE(knowsItsPlace());

    controller->startSession();
    settle();
    EXPECT_TRUE(knowsItsPlace());
}

TEST_F(Session, AnAsynchronousStartTracksThePlaceToo)
{
    moveTo(52, 13);
    controller->startSessionAsynchronously(nullptr);
    settle();

    EXPECT_TRUE(knowsItsPlace());
}

TEST_F(Session, StartingARunningSessionStartsTheServicesAgain)
{
    controller->startSession();
    controller->locationProvider()->stop();
    controller->motionManager()->stopAccelerometerUpdates();
    settle();
    controller->startSession();
    EXPECT_TRUE(controller->motionManager()->isAccelerometerActive());

    settle();
    moveTo(52, 13);
    EXPECT_TRUE(knowsItsPlace());
}

TEST_F(Session, StartingARunningSessionAsynchronouslyStartsTheServicesAgainToo)
{
    controller->startSession();
    controller->locationProvider()->stop();
    controller->motionManager()->stopAccelerometerUpdates();
    settle();
    controller->startSessionAsynchronously(nullptr);
    settle();
    EXPECT_TRUE(controller->motionManager()->isAccelerometerActive());

    moveTo(52, 13);
    EXPECT_TRUE(knowsItsPlace());
}

// Another session's start shows who asks: a session that has not heard of it yet still counts as running.
TEST_F(Session, StartSessionAsksARunningSessionAgain)
{
    controller->startSession();
    settle();
    const auto other = make<AVCaptureSession>();
    other->addInput(AVCaptureDeviceInput::initWithDevice(controller->currentVideoCaptureDevice()));
    other->startRunning();
    controller->startSession();
    settle();
    EXPECT_TRUE(controller->isSessionRunning());
    EXPECT_FALSE(other->isRunning());
}

TEST_F(Session, StopSessionHoldsTheSessionWeakly)
{
    controller->setCaptureSession(make<AVCaptureSession>());
    const std::weak_ptr session = controller->captureSession();
    controller->stopSession();
    controller->setCaptureSession(nullptr);

    EXPECT_TRUE(session.expired());
}

TEST_F(Session, StartLeavesADisabledProviderAlone)
{
    moveTo(52, 13);
    controller->setDisableLocationProvider(true);
    controller->startSession();
    settle();

    EXPECT_FALSE(knowsItsPlace());
}

TEST_F(Session, EnablingTheProviderStartsItWhileTheSessionRuns)
{
    moveTo(52, 13);
    controller->setDisableLocationProvider(true);
    controller->startSession();
    controller->setDisableLocationProvider(false);
    settle();

    EXPECT_TRUE(knowsItsPlace());
}

TEST_F(Session, EnablingTheProviderDoesNotStartItWhileTheSessionIsStopped)
{
    moveTo(52, 13);
    controller->setDisableLocationProvider(false);
    settle();

    EXPECT_FALSE(knowsItsPlace());
}

TEST_F(Session, DisablingTheProviderStopsIt)
{
    controller->startSession();
    settle();
    controller->setDisableLocationProvider(true);
    settle();
    moveTo(52, 13);

    EXPECT_FALSE(knowsItsPlace());
}

TEST_F(Session, StopSessionStopsTheProviderEvenWhileItIsDisabled)
{
    controller->setDisableLocationProvider(true);
    controller->locationProvider()->start();
    settle();
    controller->stopSession();
    settle();
    moveTo(52, 13);

    EXPECT_FALSE(knowsItsPlace());
}

TEST_F(Session, WithoutASessionNothingCrashes)
{
    controller->setCaptureSession(nullptr);
    controller->startSession();
    controller->startSessionAsynchronously(nullptr);
    controller->setCaptureOrientation(AVCaptureVideoOrientationLandscapeLeft);
    controller->setDetectFaces(true);
    controller->resetToSessionPreset();
    controller->prepareToReceiveSampleBuffers(QVSampleBufferTypeVideo);
    controller->setDevicePosition(AVCaptureDevicePositionFront);
    controller->stopSession();
    settle();

    EXPECT_FALSE(controller->isSessionRunning());
    EXPECT_FALSE(controller->captureStillImage(nullptr, nullptr));
    EXPECT_FALSE(controller->detectFaces());
}

class DelayedStop : public ControllerTest {
protected:
    /// Says what it was told to say, which may be nothing.
    struct Delegate : QVCameraControllerDelegate {
        explicit Delegate(std::optional<bool> says)
            : answer(says)
        {
        }
        std::optional<bool> shouldStopSession() override { return answer; }
        std::optional<bool> answer;
    };

    DelayedStop() { constructAndStart(); }

    void ask(std::optional<bool> says)
    {
        delegate = std::make_shared<Delegate>(says);
        controller->setDelegate(delegate);
    }

    std::shared_ptr<Delegate> delegate;
};

TEST_F(DelayedStop, StopsWhenNobodyIsAsked)
{
    controller->stopSessionAfterDelay(5);
    clock.advance(4.9);
    EXPECT_TRUE(controller->isSessionRunning());

    clock.advance(0.2);
    EXPECT_FALSE(controller->isSessionRunning());
    EXPECT_EQ(log.lines(), Lines { stopMessage });
}

TEST_F(DelayedStop, StopsWhenTheDelegateAgrees)
{
    ask(true);
    controller->stopSessionAfterDelay(5);
    clock.advance(6);

    EXPECT_FALSE(controller->isSessionRunning());
    EXPECT_EQ(log.lines(), Lines { stopMessage });
}

TEST_F(DelayedStop, KeepsRunningWhenTheDelegateRefuses)
{
    ask(false);
    controller->stopSessionAfterDelay(5);
    clock.advance(6);

    EXPECT_TRUE(controller->isSessionRunning());
    EXPECT_EQ(log.lines(), Lines {});
}

TEST_F(DelayedStop, KeepsRunningWhenTheDelegateIsSilent)
{
    ask(std::nullopt);
    controller->stopSessionAfterDelay(5);
    clock.advance(6);

    EXPECT_TRUE(controller->isSessionRunning());
    EXPECT_EQ(log.lines(), Lines {});
}

TEST_F(DelayedStop, ADelegateThatHasGoneIsNoDelegate)
{
    ask(false);
    controller->stopSessionAfterDelay(5);
    delegate.reset();
    clock.advance(6);

    EXPECT_FALSE(controller->isSessionRunning());
}

TEST_F(DelayedStop, LeavesTheCameraToTheControllerThatHasItNow)
{
    controller->stopSessionAfterDelay(5);
    const auto next = make<QVCameraController>(AVCaptureDevicePositionBack, QVCameraCaptureIntentStillImage);
    next->startSession();
    clock.advance(6);
    std::string last;
    for (const auto& entry : phone.journal())
        if (entry.device == "back" && (entry.what == "start" || entry.what == "stop"))
            last = entry.what;

    EXPECT_FALSE(controller->isSessionRunning());
    EXPECT_TRUE(next->isSessionRunning());
    EXPECT_EQ(last, "start");
    next->stopSession();
    settle();
    EXPECT_FALSE(controller->isSessionRunning());
}

TEST_F(DelayedStop, TwoOfThemBothFire)
{
    controller->stopSessionAfterDelay(5);
    controller->stopSessionAfterDelay(8);
    clock.advance(9);

    EXPECT_EQ(log.lines(), (Lines { stopMessage, stopMessage }));
}

TEST_F(DelayedStop, StartSessionTakesBackTheLatestOnly)
{
    controller->stopSessionAfterDelay(8);
    controller->stopSessionAfterDelay(5);
    controller->startSession();
    clock.advance(6);
    EXPECT_TRUE(controller->isSessionRunning());

    clock.advance(3);
    EXPECT_FALSE(controller->isSessionRunning());
}

TEST_F(DelayedStop, AfterTheFirstOfTwoStartSessionNoLongerTakesBackTheSecond)
{
    controller->stopSessionAfterDelay(5);
    controller->stopSessionAfterDelay(8);
    clock.advance(6);
    controller->startSession();
    clock.advance(3);

    EXPECT_FALSE(controller->isSessionRunning());
}

TEST_F(DelayedStop, AnAsynchronousStartLeavesItPending)
{
    controller->stopSessionAfterDelay(5);
    controller->startSessionAsynchronously(nullptr);
    clock.advance(6);

    EXPECT_FALSE(controller->isSessionRunning());
}

TEST_F(DelayedStop, StopSessionLeavesItPending)
{
    controller->stopSessionAfterDelay(5);
    controller->stopSession();
    clock.advance(1);
    controller->startSessionAsynchronously(nullptr);
    clock.advance(5);

    EXPECT_FALSE(controller->isSessionRunning());
    EXPECT_EQ(log.lines(), Lines { stopMessage });
}

class SessionNotifications : public ControllerTest {
protected:
    SessionNotifications()
    {
        constructAndStart();
        token = NSNotificationCenter::defaultCenter().addObserver(kQVCaptureSessionErrorOccurredNotification, nullptr,
            [this](const NSNotification& notification) { posted.push_back(notification); });
    }

    std::vector<NSNotification> posted;
    Cancellable token;
};

TEST_F(SessionNotifications, ARuntimeErrorPostsTheErrorItself)
{
    phone.breakSession(NSError("Camera", 9, "It fell."));
    settle();

    ASSERT_EQ(posted.size(), 1U);
    EXPECT_EQ(posted[0].name, "QVCaptureSessionErrorOccurred");
    const auto error = std::dynamic_pointer_cast<const NSError>(posted[0].object);
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->code(), 9);
    EXPECT_TRUE(posted[0].userInfo.empty());
}

TEST_F(SessionNotifications, ARuntimeErrorIsLoggedWithItsName)
{
    phone.breakSession(NSError("Camera", 9, "It fell."));
    settle();

    EXPECT_EQ(log.lines(),
        (Lines { "[QVCameraController] Received session notification: AVCaptureSessionRuntimeErrorNotification",
            "[QVCameraController] -> ERROR was: Error Domain=Camera Code=9 \"It fell.\"" }));
}

TEST_F(SessionNotifications, AnInterruptionAndItsEndAreOnlyLogged)
{
    phone.interruptSession();
    settle();
    phone.resumeSession();
    settle();

    EXPECT_TRUE(posted.empty());
    EXPECT_EQ(log.lines(),
        (Lines { "[QVCameraController] Received session notification: AVCaptureSessionWasInterruptedNotification",
            "[QVCameraController] Received session notification: AVCaptureSessionInterruptionEndedNotification" }));
}

TEST_F(SessionNotifications, AnInterruptionWithAnErrorIsPostedToo)
{
    phone.interruptSession(NSError("Camera", 4));
    settle();

    ASSERT_EQ(posted.size(), 1U);
    EXPECT_EQ(std::dynamic_pointer_cast<const NSError>(posted[0].object)->code(), 4);
}

TEST_F(SessionNotifications, AnotherSessionIsNotHeard)
{
    const auto other = make<AVCaptureSession>();
    NSNotificationCenter::defaultCenter().postNotificationName(AVCaptureSessionRuntimeErrorNotification, other,
        { { AVCaptureSessionErrorKey, box(make<NSError>("Camera", 9)) } });

    EXPECT_TRUE(posted.empty());
    EXPECT_EQ(log.lines(), Lines {});
}

class Teardown : public ControllerTest { };

TEST_F(Teardown, AControllerThatNobodyHoldsGoes)
{
    constructAndStart(QVCameraCaptureIntentStillImage | QVCameraCaptureIntentAudio | QVCameraCaptureIntentSampleBuffers
        | QVCameraCaptureIntentFaceDetection);
    controller->setCaptureOrientation(AVCaptureVideoOrientationLandscapeLeft);
    settle();
    const std::weak_ptr gone = controller;
    controller.reset();

    EXPECT_TRUE(gone.expired());
}

TEST_F(Teardown, TheSessionOutlivesTheControllerUntilItHasStopped)
{
    constructAndStart();
    const std::weak_ptr session = controller->captureSession();
    controller.reset();
    ASSERT_FALSE(session.expired());
    EXPECT_TRUE(session.lock()->isRunning());

    settle();
    EXPECT_TRUE(session.expired());
}

TEST_F(Teardown, TheSessionStops)
{
    constructAndStart();
    const auto session = controller->captureSession();
    controller.reset();
    settle();

    EXPECT_FALSE(session->isRunning());
}

TEST_F(Teardown, ThePreviewLayerLeavesItsSuperlayer)
{
    construct();
    const auto host = make<CALayer>();
    const auto preview = controller->previewLayer();
    host->addSublayer(preview);
    controller.reset();

    EXPECT_EQ(preview->superlayer(), nullptr);
    EXPECT_TRUE(host->sublayers().empty());
}

TEST_F(Teardown, APendingDelayedStopKeepsTheControllerUntilItFires)
{
    constructAndStart();
    const std::weak_ptr held = controller;
    controller->stopSessionAfterDelay(5);
    controller.reset();
    EXPECT_FALSE(held.expired());

    clock.advance(6);
    EXPECT_TRUE(held.expired());
}

TEST_F(Teardown, TheLocationProviderStops)
{
    constructAndStart();
    const auto provider = controller->locationProvider();
    controller.reset();
    settle();
    phone.moveTo({ make<CLLocation>(52.0, 13.0) });
    settle();

    EXPECT_EQ(provider->currentLocation(), nullptr);
}

TEST_F(Teardown, TheMotionManagerStops)
{
    constructAndStart();
    const auto manager = controller->motionManager();
    EXPECT_TRUE(manager->isAccelerometerActive());
    controller.reset();

    EXPECT_FALSE(manager->isAccelerometerActive());
}

TEST_F(Teardown, AnErrorOfASessionWithoutItsControllerIsNotHeard)
{
    constructAndStart();
    const auto session = controller->captureSession();
    controller.reset();
    settle();
    NSNotificationCenter::defaultCenter().postNotificationName(AVCaptureSessionRuntimeErrorNotification, session);

    EXPECT_EQ(log.lines(), Lines {});
}

}
