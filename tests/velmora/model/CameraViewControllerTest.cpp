// SPDX-License-Identifier: Apache-2.0
#include "velmora/capture/QVCameraController.h"
#include "velmora/model/QVCameraViewController.h"
#include "velmora/results/QVPhotoCaptureOutput.h"
#include "velmora/ui/QVCaptureButton.h"
#include "velmora/ui/QVViewfinderView.h"

#include "platform/AVFoundation/AVCaptureConnection.h"
#include "platform/AVFoundation/AVCaptureDevice.h"
#include "platform/AVFoundation/AVCaptureSession.h"
#include "platform/AVFoundation/AVCaptureVideoDataOutput.h"
#include "platform/AVFoundation/AVCaptureVideoPreviewLayer.h"
#include "platform/Foundation/DispatchQueue.h"

#include "drivers/media/install.h"

#include "tests/support/PhoneWindowTest.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <string>
#include <vector>

namespace velmora::tests {
namespace {

using testing::ElementsAre;

/// Writes down what it is told.
class Screen : public QVCameraViewController {
public:
    using QVCameraViewController::QVCameraViewController;
    QVCameraCaptureIntent captureIntent() const override { return intent; }
    void willCapturePhoto() override { events.push_back("will"); }
    void didCapturePhoto(
        const std::shared_ptr<QVPhotoCaptureOutput>& output, const std::optional<NSError>& error) override
    {
        events.push_back(output ? "photo" : error ? "error" : "nothing");
        queues.push_back(DispatchQueue::currentLabel());
    }
    QVCameraCaptureIntent intent = QVCameraCaptureIntentStillImage;
    std::vector<std::string> events, queues;
};

class CameraScreenTest : public PhoneWindowTest {
protected:
    CameraScreenTest()
    {
        drivers::media::install();
        viewfinder->setClosed(true); // as a screen that is to open
    }
    ~CameraScreenTest() override
    {
        window->setRootViewController(nullptr);
        clock.advance(2);
        screen->setHardwareCameraController(nullptr); // it keeps a failed shot, whose handler keeps the screen
        screen.reset();
        clock.advance(1);
    }
    /// With a viewfinder and a button unless a test took them away.
    void show()
    {
        screen->view()->setFrame(window->bounds());
        for (const std::shared_ptr<UIView>& each :
            { std::static_pointer_cast<UIView>(viewfinder), std::static_pointer_cast<UIView>(button) })
            if (each)
                screen->view()->addSubview(each);
        window->setRootViewController(screen);
        clock.advance(0);
    }
    void giveOutlets()
    {
        screen->setViewfinderView(viewfinder);
        screen->setCaptureButton(button);
    }
    void hide()
    {
        window->setRootViewController(nullptr);
        clock.advance(0);
    }
    bool isRunning() const { return screen->hardwareCameraController()->isSessionRunning(); }
    std::shared_ptr<AVCaptureVideoPreviewLayer> preview() const
    {
        return screen->hardwareCameraController()->previewLayer();
    }
    static bool hasFramesOutput(const QVCameraController& controller)
    {
        const auto outputs = controller.captureSession()->outputs();
        return std::any_of(outputs.begin(), outputs.end(),
            [](const auto& each) { return std::dynamic_pointer_cast<AVCaptureVideoDataOutput>(each) != nullptr; });
    }
    int stops() const
    {
        const auto journal = phone.journal();
        return static_cast<int>(std::count_if(journal.begin(), journal.end(),
            [](const auto& entry) { return entry.what == "stop" && entry.device == "back"; }));
    }

    std::shared_ptr<Screen> screen = make<Screen>();
    std::shared_ptr<QVViewfinderView> viewfinder = make<QVViewfinderView>(CGRectMake(0, 40, 360, 480));
    std::shared_ptr<QVCaptureButton> button = make<QVCaptureButton>(CGRectMake(144, 600, 72, 72));
};

TEST_F(CameraScreenTest, ThePreviewIsTheLowestLayerOfTheViewfinderAndFillsIt)
{
    giveOutlets();
    show();
    EXPECT_EQ(viewfinder->layer()->sublayers().front(), preview());
    EXPECT_EQ(preview()->frame(), CGRectMake(0, 0, 360, 480));
    EXPECT_EQ(preview()->videoGravity(), AVLayerVideoGravityResizeAspectFill);
    EXPECT_EQ(preview()->connection()->videoOrientation(), AVCaptureVideoOrientationPortrait);
    viewfinder->setFrame(CGRectMake(0, 0, 200, 100));
    screen->view()->setNeedsLayout();
    screen->view()->layoutIfNeeded();
    EXPECT_EQ(preview()->frame(), CGRectMake(0, 0, 200, 100));
}

TEST_F(CameraScreenTest, ThePreviewFillsTheViewfinderAndIsUprightAsSoonAsTheViewIsLoaded)
{
    giveOutlets();
    preview()->connection()->setVideoOrientation(AVCaptureVideoOrientationLandscapeLeft);
    EXPECT_EQ(screen->view()->window(), nullptr); // loaded, and not laid out
    EXPECT_EQ(preview()->superlayer(), viewfinder->layer());
    EXPECT_EQ(preview()->frame(), CGRectMake(0, 0, 360, 480));
    EXPECT_EQ(preview()->connection()->videoOrientation(), AVCaptureVideoOrientationPortrait);
}

TEST_F(CameraScreenTest, ThePreviewGrowsInTimeWhenALayoutChangesIt)
{
    giveOutlets();
    show();
    clock.advance(1);
    render(); // what nobody has seen yet does not move
    viewfinder->setFrame(CGRectMake(0, 40, 160, 480));
    screen->viewDidLayoutSubviews();
    EXPECT_EQ(preview()->frame(), CGRectMake(0, 0, 160, 480));
    EXPECT_NEAR(preview()->presentationLayer()->frame().size.width, 360, 0.01);
    clock.advance(1);
    EXPECT_EQ(preview()->presentationLayer()->frame().size.width, 160);
}

TEST_F(CameraScreenTest, ThePreviewGoesInDirectlySoTheDeniedLabelNeverAppears)
{
    phone.change([](drivers::phone::PhoneDescription& description) { description.permissions.camera = 2; });
    giveOutlets();
    show();
    EXPECT_EQ(viewfinder->videoPreviewLayer(), nullptr);
    EXPECT_EQ(viewfinder->subviews().size(), 2U); // the shutter alone
}

TEST_F(CameraScreenTest, TheControllerIsMadeWhenTheViewLoadsForTheIntentOfThatTime)
{
    screen->intent = QVCameraCaptureIntentStillImage | QVCameraCaptureIntentSampleBuffers;
    giveOutlets();
    show();
    const auto controller = screen->hardwareCameraController();
    EXPECT_TRUE(hasFramesOutput(*controller));
    screen->intent = QVCameraCaptureIntentStillImage;
    EXPECT_EQ(screen->hardwareCameraController(), controller);
}

TEST_F(CameraScreenTest, TheDefaultIntentIsStillImagesWithABackCamera)
{
    const auto plain = make<QVCameraViewController>();
    EXPECT_EQ(plain->captureIntent(), 2);
    EXPECT_FALSE(hasFramesOutput(*plain->hardwareCameraController()));
    EXPECT_EQ(plain->hardwareCameraController()->currentVideoCaptureDevice()->uniqueID(), "back");
}

TEST_F(CameraScreenTest, AppearingHidesTheViewfinderUntilTheSessionRunsThenFadesItInAndOpensIt)
{
    giveOutlets();
    show();
    EXPECT_TRUE(isRunning());
    EXPECT_EQ(viewfinder->alpha(), 1); // the fade's end
    EXPECT_NEAR(viewfinder->layer()->presentationLayer()->opacity(), 0, 0.01);
    EXPECT_TRUE(viewfinder->isClosed());
    clock.advance(0.125);
    EXPECT_NEAR(viewfinder->layer()->presentationLayer()->opacity(), 0.5, 0.01);
    clock.advance(0.13);
    EXPECT_FALSE(viewfinder->isClosed());
    EXPECT_TRUE(viewfinder->subviews()[0]->isHidden()); // at once: opening is not animated
}

TEST_F(CameraScreenTest, DisappearingClosesTheViewfinderAndThenStopsTheSessionOnce)
{
    giveOutlets();
    show();
    clock.advance(1);
    hide();
    EXPECT_TRUE(viewfinder->isClosed());
    clock.advance(1);
    EXPECT_FALSE(isRunning());
    EXPECT_EQ(stops(), 1);
}

TEST_F(CameraScreenTest, TheSessionStopsOnlyAfterTheClosingAnimation)
{
    giveOutlets();
    show();
    clock.advance(1);
    screen->viewWillDisappear(true);
    clock.advance(0.1);
    EXPECT_TRUE(isRunning());
    clock.advance(0.06);
    EXPECT_FALSE(isRunning());
}

TEST_F(CameraScreenTest, WithAViewfinderThatIsClosedAlreadyTheSessionIsNotStopped)
{
    giveOutlets();
    show();
    clock.advance(1);
    viewfinder->setClosed(true);
    hide();
    clock.advance(1);
    EXPECT_TRUE(isRunning());
}

TEST_F(CameraScreenTest, WithoutAViewfinderItStartsAndStopsWhenTheScreenHasGone)
{
    viewfinder = nullptr;
    screen->setCaptureButton(button);
    show();
    clock.advance(0.1);
    EXPECT_TRUE(isRunning());
    screen->viewWillDisappear(false);
    clock.advance(1);
    EXPECT_TRUE(isRunning());
    screen->viewDidDisappear(false);
    clock.advance(0);
    EXPECT_FALSE(isRunning());
}

TEST_F(CameraScreenTest, ShownAgainItStartsTheSameControllerAgain)
{
    giveOutlets();
    show();
    clock.advance(1);
    const auto controller = screen->hardwareCameraController();
    hide();
    clock.advance(1);
    window->setRootViewController(screen);
    clock.advance(1);
    EXPECT_TRUE(isRunning());
    EXPECT_EQ(screen->hardwareCameraController(), controller);
    EXPECT_FALSE(viewfinder->isClosed());
}

TEST_F(CameraScreenTest, TheButtonTakesAPhoto)
{
    giveOutlets();
    show();
    clock.advance(1);
    tap({ 180, 636 });
    EXPECT_THAT(screen->events, ElementsAre("will"));
    clock.advance(1);
    EXPECT_THAT(screen->events, ElementsAre("will", "photo"));
    EXPECT_THAT(screen->queues, ElementsAre(DispatchQueue::main().label()));
}

TEST_F(CameraScreenTest, EachTapTakesAPhoto)
{
    giveOutlets();
    show();
    clock.advance(1);
    tap({ 180, 636 });
    tap({ 180, 636 });
    clock.advance(2);
    EXPECT_EQ(std::count(screen->events.begin(), screen->events.end(), "photo"), 2);
}

TEST_F(CameraScreenTest, AButtonAssignedAfterLoadingTakesNone)
{
    screen->setViewfinderView(viewfinder);
    show();
    screen->setCaptureButton(button);
    clock.advance(1);
    tap({ 180, 636 });
    clock.advance(1);
    EXPECT_TRUE(screen->events.empty());
}

TEST_F(CameraScreenTest, ARefusedShotNeverReachesDidCapturePhoto)
{
    giveOutlets();
    show();
    clock.advance(1);
    screen->hardwareCameraController()->captureSession()->stopRunning();
    screen->capturePhoto(nullptr);
    clock.advance(1);
    EXPECT_THAT(screen->events, ElementsAre("will"));
}

TEST_F(CameraScreenTest, AFailedShotBringsItsError)
{
    giveOutlets();
    show();
    clock.advance(1);
    phone.scriptNextPhoto({ { drivers::phone::PhotoEvent::Shutter },
        { drivers::phone::PhotoEvent::Processed, NSError("test", 1, "broken"), false },
        { drivers::phone::PhotoEvent::Done } });
    screen->capturePhoto(nullptr);
    clock.advance(1);
    EXPECT_THAT(screen->events, ElementsAre("will", "error"));
}

TEST_F(CameraScreenTest, OnAPhoneWithoutACameraItIsThereAllTheSame)
{
    phone.change([](drivers::phone::PhoneDescription& description) { description.cameras.clear(); });
    giveOutlets();
    show();
    clock.advance(1);
    EXPECT_EQ(preview()->frame(), CGRectMake(0, 0, 360, 480));
}

TEST_F(CameraScreenTest, AtRestNothingIsDrawnAndNothingWakes)
{
    phone.change([](drivers::phone::PhoneDescription& description) { description.cameras.clear(); });
    giveOutlets();
    show();
    clock.advance(2);
    const auto before = UIScreen::mainScreen()->display()->counters();
    EXPECT_GT(before.frames, 0U);
    clock.advance(10);
    const auto after = UIScreen::mainScreen()->display()->counters();
    EXPECT_EQ(after.frames, before.frames);
    EXPECT_EQ(after.ticks, before.ticks);
    EXPECT_EQ(after.rasterCount, before.rasterCount);
}

TEST_F(CameraScreenTest, EveryOutletAndActionIsThereByItsSelector)
{
    for (const char* selector :
        { "viewfinderView", "setViewfinderView:", "captureButton", "setCaptureButton:", "capturePhoto:", "viewDidLoad",
            "viewDidLayoutSubviews", "viewDidAppear:", "viewWillDisappear:", "viewDidDisappear:" })
        EXPECT_TRUE(screen->respondsToSelector(selector)) << selector;
}

}
}
