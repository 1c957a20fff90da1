// SPDX-License-Identifier: Apache-2.0
#include "velmora/capture/QVCameraController.h"

#include "platform/AVFoundation/AVCaptureSession.h"
#include "platform/Foundation/Clock.h"
#include "platform/Foundation/NSRunLoop.h"
#include "platform/Foundation/Scheduler.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/PhoneTest.h"

#include <algorithm>
#include <atomic>
#include <thread>
#include <utility>

namespace velmora::tests {

using namespace drivers::phone;

/// A phone on the machine's own time, and real threads.
class ControllerThreads : public testing::Test {
protected:
    static constexpr int threadCount = 4;

    /// The session stops on its queue after the controller has gone; the phone stays until then.
    ~ControllerThreads() override
    {
        if (!controller)
            return;
        const auto session = controller->captureSession();
        controller.reset();
        turnUntil([&] { return !session->isRunning(); });
    }

    static void onSeveralThreads(const std::function<void(int)>& work)
    {
        std::vector<std::thread> threads;
        for (int i = 0; i < threadCount; ++i)
            threads.emplace_back(work, i);
        for (auto& thread : threads)
            thread.join();
    }
    /// Turns the main run loop until `done`.
    static void turnUntil(const std::function<bool()>& done) { Scheduler::current().runUntil(done); }
    /// Counts where the main run loop is turned, which wakes it.
    using Count = std::shared_ptr<int>;
    static QVCameraController::PhotoOutputHandler countOnMain(const Count& count)
    {
        return [count](const std::shared_ptr<QVPhotoCaptureOutput>&, const std::optional<NSError>&) {
            DispatchQueue::main().async([count] { ++*count; });
        };
    }
    /// Everything that was given to the session queue and the main queue before has run.
    void settle()
    {
        bool done = false;
        controller->startSessionAsynchronously([&] { done = true; });
        turnUntil([&] { return done; });
    }

    CapturedLog log;
    static inline SteadyClock time;
    VirtualPhone phone { smallPhone(), time };
    std::shared_ptr<QVCameraController> controller
        = make<QVCameraController>(AVCaptureDevicePositionBack, QVCameraCaptureIntentStillImage);
};

TEST_F(ControllerThreads, StartAndStopFromSeveral)
{
    onSeveralThreads([this](int number) {
        for (int round = 0; round < 5; ++round) {
            if (number % 2 == 0)
                controller->startSession();
            else
                controller->startSessionAsynchronously(nullptr);
            controller->setDisableLocationProvider(number == 1);
            controller->stopSession();
        }
    });
    controller->startSession();

    EXPECT_TRUE(controller->isSessionRunning());
    settle();
}

TEST_F(ControllerThreads, PhotosFromSeveral)
{
    controller->startSession();
    std::atomic<int> refused { 0 };
    const auto received = std::make_shared<int>(0);
    onSeveralThreads([&](int) {
        for (int shot = 0; shot < 3; ++shot)
            if (!controller->captureStillImage(nullptr, countOnMain(received)))
                ++refused;
    });
    turnUntil([&] { return *received == threadCount * 3; });

    EXPECT_EQ(refused, 0);
}

TEST_F(ControllerThreads, TheFirstShotsPrepareOneOutputTogether)
{
    controller = make<QVCameraController>(AVCaptureDevicePositionBack, QVCameraCaptureIntentReserved);
    controller->startSession();
    const auto received = std::make_shared<int>(0);
    onSeveralThreads([&](int) { controller->captureStillImage(nullptr, countOnMain(received)); });
    turnUntil([&] { return *received == threadCount; });

    EXPECT_EQ(controller->captureSession()->outputs().size(), 1U);
}

TEST_F(ControllerThreads, DelayedStopsFireOnTheRunLoopOfTheirThread)
{
    controller->startSession();
    onSeveralThreads([this](int) {
        controller->stopSessionAfterDelay(0.01);
        while (!NSRunLoop::currentRunLoop().turn(1)) { }
    });
    const auto lines = log.lines();

    EXPECT_EQ(std::count(lines.begin(), lines.end(),
                  "[QVCameraController] Disabling camera hardware to conserve battery / memory."),
        threadCount);
    settle();
}

TEST_F(ControllerThreads, SwapsAndOrientationsWhileFramesFlow)
{
    const auto frames = std::make_shared<int>(0);
    controller->beginReceivingVideoSampleBuffer(
        [frames](const std::shared_ptr<CMSampleBuffer>&) { DispatchQueue::main().async([frames] { ++*frames; }); });
    controller->startSession();
    onSeveralThreads([this](int number) {
        for (int round = 1; round <= 4; ++round) {
            if (number == 0)
                controller->setDevicePosition(static_cast<AVCaptureDevicePosition>(1 + round % 2));
            controller->setCaptureOrientation(static_cast<AVCaptureVideoOrientation>(round));
            controller->setFlashMode(static_cast<AVCaptureFlashMode>(round % 3));
        }
    });
    turnUntil([&] { return *frames >= 2; });
    controller->endReceivingSampleBuffer();
    settle();

    EXPECT_EQ(controller->sampleBufferOrientation(), AVCaptureVideoOrientationLandscapeLeft);
}

TEST_F(ControllerThreads, ProcessorsAndFacesComeAndGo)
{
    controller->startSession();
    onSeveralThreads([this](int number) {
        for (int round = 0; round < 4; ++round) {
            if (number == 0)
                controller->setDetectFaces(round % 2 == 0);
            else
                controller->beginReceivingVideoSampleBuffer([](const std::shared_ptr<CMSampleBuffer>&) {});
            controller->visibleFaces();
            controller->endReceivingSampleBuffer();
        }
    });
    settle();

    EXPECT_EQ(controller->videoSampleBufferProcessor(), nullptr);
    EXPECT_FALSE(controller->detectFaces());
}

TEST_F(ControllerThreads, TheLastReferenceMayGoOnAnotherThread)
{
    controller->startSession();
    phone.tilt(0, -1, 0);
    const auto session = controller->captureSession();
    const std::weak_ptr gone = controller;
    std::thread([last = std::exchange(controller, nullptr)] {
        last->setCaptureOrientation(AVCaptureVideoOrientationLandscapeLeft);
    }).join();
    turnUntil([&] { return !session->isRunning(); });

    EXPECT_TRUE(gone.expired());
}

}
