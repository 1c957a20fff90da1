// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/AVCaptureDevice.h"
#include "platform/AVFoundation/AVCapturePhotoOutput.h"
#include "platform/AVFoundation/AVCaptureSession.h"
#include "platform/AVFoundation/AVCaptureVideoDataOutput.h"
#include "platform/AVFoundation/AVCaptureVideoPreviewLayer.h"
#include "platform/Foundation/Clock.h"

#include "drivers/phone/VirtualPhone.h"

#include "tests/support/PhoneTest.h"

#include <condition_variable>
#include <mutex>
#include <thread>

using namespace velmora;
using namespace velmora::drivers::phone;
using namespace velmora::tests;

namespace {

PhoneDescription tinyPhone()
{
    auto description = smallPhone();
    for (auto& camera : description.cameras) {
        camera.formats[0].size = camera.formats[0].highResolutionStill = { 64, 48 };
        camera.formats.push_back(camera.formats[0]);
    }
    return description;
}

/// Counts what happens on other threads, and waits until enough has.
class Count {
public:
    void add()
    {
        const std::lock_guard lock(mutex_);
        ++count_;
        changed_.notify_all();
    }
    void waitFor(int wanted)
    {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return count_ >= wanted; });
    }
    int value() const
    {
        const std::lock_guard lock(mutex_);
        return count_;
    }

private:
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    int count_ = 0;
};

class FrameCounter : public AVCaptureVideoDataOutputSampleBufferDelegate {
public:
    void captureOutput(const std::shared_ptr<AVCaptureOutput>&, const std::shared_ptr<CMSampleBuffer>&,
        const std::shared_ptr<AVCaptureConnection>&) override
    {
        frames.add();
    }
    Count frames;
};

class ShotCounter : public AVCapturePhotoCaptureDelegate {
public:
    using AVCapturePhotoCaptureDelegate::captureOutput;
    void captureOutput(const std::shared_ptr<AVCapturePhotoOutput>&,
        const std::shared_ptr<AVCaptureResolvedPhotoSettings>&, const std::optional<NSError>&) override
    {
        done.add();
    }
    Count done;
};

class CaptureThreads : public testing::Test {
protected:
    CaptureThreads()
    {
        output->setSampleBufferDelegate(frames, DispatchQueue("test.frames"));
        session->addInput(AVCaptureDeviceInput::initWithDevice(camera));
        session->addOutput(output);
        session->addOutput(photos);
    }
    ~CaptureThreads() override { session->stopRunning(); }

    template <class... Work> static void together(Work... work)
    {
        std::vector<std::thread> threads;
        (threads.emplace_back(work), ...);
        for (auto& thread : threads)
            thread.join();
    }
    template <class Step> static auto times(int count, Step step)
    {
        return [count, step] {
            for (int i = 0; i < count; ++i)
                step(i);
        };
    }

    SteadyClock steady;
    VirtualPhone phone { tinyPhone(), steady };
    const std::shared_ptr<AVCaptureDevice> camera = AVCaptureDevice::defaultDeviceWithMediaType(AVMediaTypeVideo);
    const std::shared_ptr<AVCaptureSession> session = make<AVCaptureSession>();
    const std::shared_ptr<AVCaptureVideoDataOutput> output = AVCaptureVideoDataOutput::init();
    const std::shared_ptr<AVCapturePhotoOutput> photos = AVCapturePhotoOutput::init();
    const std::shared_ptr<FrameCounter> frames = std::make_shared<FrameCounter>();
    const std::shared_ptr<ShotCounter> shots = std::make_shared<ShotCounter>();
};

TEST_F(CaptureThreads, FramesFlowWhileTheDeviceIsConfigured)
{
    session->startRunning();
    const auto token = camera->observe("exposureDuration",
        NSKeyValueObservingOptionInitial | NSKeyValueObservingOptionNew, [](const NSKeyValueChange&) {});
    const auto configure = times(50, [this](int i) {
        if (!camera->lockForConfiguration())
            return;
        camera->setVideoZoomFactor(1 + i % 4);
        camera->setExposureModeCustomWithDuration(CMTimeMake(1, 50 + i), AVCaptureISOCurrent, nullptr);
        camera->setActiveFormat(camera->formats()[static_cast<std::size_t>(i % 2)]);
        camera->unlockForConfiguration();
    });
    together(
        configure, configure, times(50, [this](int) { static_cast<void>(camera->ISO() + camera->lensPosition()); }));
    frames->frames.waitFor(3);

    EXPECT_TRUE(session->isRunning());
    EXPECT_TRUE(camera->lockForConfiguration());
}

TEST_F(CaptureThreads, StartsAndStopsFromSeveralThreads)
{
    together(times(10, [this](int) { session->startRunning(); }), times(10, [this](int) { session->stopRunning(); }),
        times(10, [this](int) {
            session->beginConfiguration();
            session->removeOutput(output);
            session->addOutput(output);
            session->commitConfiguration();
        }));
    session->startRunning();
    frames->frames.waitFor(1);

    EXPECT_TRUE(session->isRunning());
}

TEST_F(CaptureThreads, SessionsTakeTheCameraFromEachOther)
{
    const auto other = make<AVCaptureSession>();
    other->addInput(AVCaptureDeviceInput::initWithDevice(camera));
    const auto run = [](const std::shared_ptr<AVCaptureSession>& each) {
        return times(10, [each](int) {
            each->startRunning();
            each->stopRunning();
        });
    };
    together(run(session), run(other), times(10, [&](int) { other->startRunning(); }));
    other->stopRunning();
    session->startRunning();
    const int before = frames->frames.value();
    frames->frames.waitFor(before + 1);

    EXPECT_TRUE(session->isRunning());
    EXPECT_FALSE(other->isRunning());
}

TEST_F(CaptureThreads, EveryShotOfEveryThreadEnds)
{
    session->startRunning();
    photos->setLivePhotoCaptureEnabled(true);
    const auto shoot
        = times(5, [this](int) { photos->capturePhotoWithSettings(AVCapturePhotoSettings::photoSettings(), shots); });
    together(shoot, shoot, times(20, [this](int i) {
        photos->setLivePhotoCaptureEnabled(i % 2 == 0);
        photos->connections().at(0)->setVideoOrientation(static_cast<AVCaptureVideoOrientation>(1 + i % 4));
    }));
    shots->done.waitFor(10);

    EXPECT_EQ(shots->done.value(), 10);
}

TEST_F(CaptureThreads, CamerasAreSwappedWhileTheyRun)
{
    const auto layer = AVCaptureVideoPreviewLayer::initWithSession(session);
    layer->setFrame(CGRectMake(0, 0, 100, 200));
    session->startRunning();
    together(times(6,
                 [this](int) {
                     const auto ids = { AVCaptureDevicePositionFront, AVCaptureDevicePositionBack };
                     for (const auto position : ids) {
                         session->beginConfiguration();
                         session->removeInput(session->inputs().at(0));
                         session->addInput(
                             AVCaptureDeviceInput::initWithDevice(AVCaptureDevice::defaultDeviceWithDeviceType(
                                 AVCaptureDeviceTypeBuiltInWideAngleCamera, AVMediaTypeVideo, position)));
                         session->commitConfiguration();
                     }
                 }),
        times(100, [&](int) {
            static_cast<void>(photos->supportedFlashModes());
            layer->captureDevicePointOfInterestForPoint({ 10, 10 });
        }));
    const int before = frames->frames.value();
    frames->frames.waitFor(before + 2);

    EXPECT_EQ(session->camera(), camera);
}

TEST_F(CaptureThreads, ABrokenCameraStopsTheSessionOnce)
{
    Count stops;
    session->startRunning();
    const auto token = session->observe("running", NSKeyValueObservingOptionNew,
        [&](const NSKeyValueChange& change) { unbox<bool>(change.newValue) ? void() : stops.add(); });
    phone.breakSession(NSError(AVFoundationErrorDomain, -11819));
    stops.waitFor(1);

    EXPECT_FALSE(session->isRunning());
    EXPECT_EQ(stops.value(), 1);
}

}
