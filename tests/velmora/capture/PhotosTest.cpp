// SPDX-License-Identifier: Apache-2.0
#include "velmora/capture/QVUTTypeDNG.h"
#include "velmora/results/QVCaptureLocationInfo.h"
#include "velmora/results/QVLocationProvider.h"
#include "velmora/results/QVPhotoCaptureOutput.h"

#include "platform/AVFoundation/AVCapturePhotoOutput.h"
#include "platform/CoreImage/CIImage.h"
#include "platform/CoreLocation/CLLocation.h"
#include "platform/Foundation/NSURL.h"

#include "tests/support/ControllerTest.h"

namespace velmora::tests {

using namespace drivers::phone;

class Photos : public ControllerTest {
protected:
    ~Photos() override { settle(); } // a shot that is still under way answers while there is somebody to hear it

    void changeCamera(const std::function<void(Camera&)>& edit)
    {
        phone.change([&](PhoneDescription& description) { edit(description.cameras[0]); });
    }
    QVCameraController::PhotoOutputHandler receive()
    {
        return [this](const std::shared_ptr<QVPhotoCaptureOutput>& output, const std::optional<NSError>& error) {
            ++received;
            photo = output;
            failure = error;
        };
    }
    bool shoot()
    {
        return controller->captureStillImage([this] { ++began; }, receive());
    }
    void shootAndWait()
    {
        ASSERT_TRUE(shoot());
        clock.advance(2);
        ASSERT_EQ(received, 1);
    }

    int began = 0, received = 0;
    std::shared_ptr<QVPhotoCaptureOutput> photo;
    std::optional<NSError> failure;
};

TEST_F(Photos, AStoppedSessionAnswersNo)
{
    construct();

    EXPECT_FALSE(shoot());
    clock.advance(2);
    EXPECT_EQ(began + received, 0);
}

TEST_F(Photos, WithoutAuthorisationTheAnswerIsNo)
{
    constructAndStart();
    for (const int status : { 0, 1, 2 }) {
        phone.change([&](PhoneDescription& description) { description.permissions.camera = status; });
        EXPECT_FALSE(shoot()) << status;
    }
    clock.advance(2);
    EXPECT_EQ(began + received, 0);
}

TEST_F(Photos, APhotoArrivesAfterItsShutter)
{
    constructAndStart();
    EXPECT_TRUE(shoot());
    EXPECT_EQ(received, 0);

    clock.advance(2);
    EXPECT_EQ(began, 1);
    ASSERT_NE(photo, nullptr);
    EXPECT_NE(photo->jpgImageData(), nullptr);
    EXPECT_EQ(photo->dngImageData(), nullptr);
    EXPECT_EQ(photo->previewImage(), nullptr);
    EXPECT_EQ(failure, std::nullopt);
}

TEST_F(Photos, AnswerToCallsByName)
{
    constructAndStart();
    const auto started = controller->performSelector("captureStillImage:completion:", nullptr, receive());

    EXPECT_TRUE(unbox<bool>(started));
    clock.advance(2);
    EXPECT_EQ(received, 1);
}

TEST_F(Photos, AShotAsksForDepthAndMatteWhenTheyAreSwitchedOn)
{
    changeCamera([](Camera& camera) {
        camera.formats[0].depth = { { 320, 240 } };
        camera.matte = true;
    });
    constructAndStart();
    const auto asked = [this] {
        shoot();
        clock.advance(2);
        std::string last;
        for (const auto& entry : phone.journal())
            if (entry.what.starts_with("capturePhoto"))
                last = entry.what;
        return last;
    };
    EXPECT_EQ(asked(), "capturePhoto");
    controller->setDepthCaptureEnabled(true);
    EXPECT_EQ(asked(), "capturePhoto depth matte");
    output<AVCapturePhotoOutput>()->setPortraitEffectsMatteDeliveryEnabled(false);
    EXPECT_EQ(asked(), "capturePhoto depth");
    controller->setDepthCaptureEnabled(false);
    EXPECT_EQ(asked(), "capturePhoto");
}

TEST_F(Photos, AShotOfACameraWithoutAMatteAsksForDepthAlone)
{
    changeCamera([](Camera& camera) { camera.formats[0].depth = { { 320, 240 } }; });
    constructAndStart();
    controller->setDepthCaptureEnabled(true);
    shootAndWait();

    const auto& journal = phone.journal();
    EXPECT_TRUE(std::any_of(
        journal.begin(), journal.end(), [](const auto& entry) { return entry.what == "capturePhoto depth"; }));
}

TEST_F(Photos, ThePhotoOutputIsMadeOnceWithHighResolution)
{
    construct(QVCameraCaptureIntentReserved);
    EXPECT_EQ(output<AVCapturePhotoOutput>(), nullptr);

    controller->prepareToCaptureStillImage();
    const auto first = output<AVCapturePhotoOutput>();
    controller->prepareToCaptureStillImage();
    EXPECT_TRUE(first->isHighResolutionCaptureEnabled());
    EXPECT_EQ(controller->captureSession()->outputs().size(), 1U);
}

TEST_F(Photos, AShotPreparesTheOutputWhenNobodyDid)
{
    constructAndStart(QVCameraCaptureIntentReserved);
    shootAndWait();

    EXPECT_NE(photo, nullptr);
}

// The one-handler form keeps its handler in the capture; what the handler holds tells how long the capture lives.
TEST_F(Photos, TheOneHandlerFormIgnoresTheAuthorisationAndNeverCalls)
{
    constructAndStart();
    phone.change([](PhoneDescription& description) { description.permissions.camera = 0; });
    auto held = std::make_shared<int>();
    const std::weak_ptr inCapture = held;
    int calls = 0;
    controller->captureStillImage([held = std::move(held), &calls](const std::shared_ptr<CMSampleBuffer>&,
                                      const std::optional<NSError>&) { ++calls; });
    EXPECT_FALSE(inCapture.expired());

    clock.advance(2);
    EXPECT_TRUE(inCapture.expired());
    EXPECT_EQ(calls, 0);
}

TEST_F(Photos, TheOneHandlerFormDoesNothingWhileTheSessionIsStopped)
{
    construct();
    auto held = std::make_shared<int>();
    const std::weak_ptr inCapture = held;
    controller->captureStillImage(
        [held = std::move(held)](const std::shared_ptr<CMSampleBuffer>&, const std::optional<NSError>&) {});

    EXPECT_TRUE(inCapture.expired());
}

TEST_F(Photos, ACaptureIsHeldUntilItIsOver)
{
    constructAndStart();
    auto held = std::make_shared<int>();
    const std::weak_ptr inCapture = held;
    controller->captureStillImage(nullptr,
        [held = std::move(held)](const std::shared_ptr<QVPhotoCaptureOutput>&, const std::optional<NSError>&) {});
    EXPECT_FALSE(inCapture.expired());

    clock.advance(2);
    EXPECT_TRUE(inCapture.expired());
}

TEST_F(Photos, AFailedCaptureStaysForTheControllersLife)
{
    constructAndStart();
    phone.scriptNextPhoto({ { .kind = PhotoEvent::Shutter },
        { .kind = PhotoEvent::Processed, .error = NSError("Camera", 8), .data = false },
        { .kind = PhotoEvent::Done } });
    auto held = std::make_shared<int>();
    const std::weak_ptr inCapture = held;
    controller->captureStillImage(nullptr,
        [held = std::move(held), this](
            const std::shared_ptr<QVPhotoCaptureOutput>&, const std::optional<NSError>& error) { failure = error; });
    clock.advance(2);
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->code(), 8);
    EXPECT_FALSE(inCapture.expired());

    controller.reset();
    settle();
    EXPECT_TRUE(inCapture.expired());
}

TEST_F(Photos, TwoShotsMayInterleave)
{
    constructAndStart();
    EXPECT_TRUE(shoot());
    EXPECT_TRUE(shoot());
    clock.advance(2);

    EXPECT_EQ(received, 2);
}

TEST_F(Photos, RawOnlyGivesADNGAlone)
{
    constructAndStart();
    controller->setRawCaptureMode(QVRawCaptureModeRAWOnly);
    shootAndWait();

    ASSERT_NE(photo, nullptr);
    EXPECT_EQ(photo->jpgImageData(), nullptr);
    EXPECT_NE(photo->dngImageData(), nullptr);
}

TEST_F(Photos, RawPlusJPEGGivesBoth)
{
    constructAndStart();
    controller->setRawCaptureMode(QVRawCaptureModeRAWPlusJPEG);
    shootAndWait();

    ASSERT_NE(photo, nullptr);
    EXPECT_NE(photo->jpgImageData(), nullptr);
    EXPECT_NE(photo->dngImageData(), nullptr);
}

TEST_F(Photos, AnyOtherRawModeWorksAsRawPlusJPEG)
{
    constructAndStart();
    controller->setRawCaptureMode(static_cast<QVRawCaptureMode>(9));
    shootAndWait();

    ASSERT_NE(photo, nullptr);
    EXPECT_NE(photo->jpgImageData(), nullptr);
    EXPECT_NE(photo->dngImageData(), nullptr);
}

TEST_F(Photos, RawWithoutRawFormatsIsAnOrdinaryPhotoInSilence)
{
    changeCamera([](Camera& camera) { camera.rawFormats.clear(); });
    constructAndStart();
    EXPECT_FALSE(controller->isRAWCaptureSupported());
    controller->setRawCaptureMode(QVRawCaptureModeRAWPlusJPEG);
    shootAndWait();

    ASSERT_NE(photo, nullptr);
    EXPECT_NE(photo->jpgImageData(), nullptr);
    EXPECT_EQ(photo->dngImageData(), nullptr);
    EXPECT_EQ(log.lines(), Lines {});
}

TEST_F(Photos, APreviewIs512WideAndAsHighAsThePictureAsks)
{
    constructAndStart();
    controller->setIncludePreviewImageDuringPhotoCapture(true);
    shootAndWait();

    ASSERT_NE(photo, nullptr);
    ASSERT_NE(photo->previewImage(), nullptr);
    EXPECT_EQ(photo->previewImage()->extent().size.width, 512);
    EXPECT_EQ(photo->previewImage()->extent().size.height, 384);
}

TEST_F(Photos, WithoutPreviewFormatsTheShotGoesOn)
{
    changeCamera([](Camera& camera) { camera.previewFormats.clear(); });
    constructAndStart();
    controller->setIncludePreviewImageDuringPhotoCapture(true);
    shootAndWait();

    ASSERT_NE(photo, nullptr);
    EXPECT_EQ(photo->previewImage(), nullptr);
}

TEST_F(Photos, ADisabledProviderIsHandedOverAllTheSame)
{
    constructAndStart();
    controller->setDisableLocationProvider(true);
    settle();
    controller->locationProvider()->setCurrentLocation(make<CLLocation>(52.0, 13.0));
    shootAndWait();

    ASSERT_NE(photo, nullptr);
    EXPECT_NE(photo->locationInfo(), nullptr);
}

TEST_F(Photos, RawDataHasItsTypeIdentifier)
{
    EXPECT_STREQ(kQVUTTypeDNG, "com.adobe.raw-image");
}

class PhotoOrientation : public Photos {
protected:
    PhotoOrientation() { construct(); }

    AVCaptureVideoOrientation orientationFor(UIDeviceOrientation held)
    {
        controller->setDeviceOrientation(held);
        controller->performSelector("_matchStillImageOutputToDeviceOrientation");
        return output<AVCapturePhotoOutput>()->connections().front()->videoOrientation();
    }
};

TEST_F(PhotoOrientation, TakesTheDevicesNumberForThreeOfThem)
{
    EXPECT_EQ(orientationFor(UIDeviceOrientationPortraitUpsideDown), 2);
    EXPECT_EQ(orientationFor(UIDeviceOrientationLandscapeLeft), 3);
    EXPECT_EQ(orientationFor(UIDeviceOrientationLandscapeRight), 4);
}

TEST_F(PhotoOrientation, IsPortraitForAllOthers)
{
    for (const int held : { 0, 1, 5, 6, 7 }) {
        orientationFor(UIDeviceOrientationLandscapeLeft);
        EXPECT_EQ(orientationFor(static_cast<UIDeviceOrientation>(held)), 1) << held;
    }
}

TEST_F(PhotoOrientation, OnlyTheFirstConnectionIsSet)
{
    phone.change([](PhoneDescription& description) { description.photoConnections = { "video", "video" }; });
    construct();
    EXPECT_EQ(orientationFor(UIDeviceOrientationLandscapeLeft), 3);

    EXPECT_EQ(output<AVCapturePhotoOutput>()->connections().at(1)->videoOrientation(), 1);
}

TEST_F(PhotoOrientation, WithoutAConnectionNothingHappens)
{
    phone.change([](PhoneDescription& description) { description.photoConnections.clear(); });
    construct();
    controller->setDeviceOrientation(UIDeviceOrientationLandscapeLeft);
    controller->performSelector("_matchStillImageOutputToDeviceOrientation");

    EXPECT_TRUE(output<AVCapturePhotoOutput>()->connections().empty());
}

TEST_F(PhotoOrientation, IsSetByTheShot)
{
    controller->startSession();
    controller->setDeviceOrientation(UIDeviceOrientationLandscapeLeft);
    shoot();

    EXPECT_EQ(output<AVCapturePhotoOutput>()->connections().front()->videoOrientation(), 3);
}

class Flash : public Photos {
protected:
    AVCaptureFlashMode used()
    {
        return unbox<AVCaptureFlashMode>(controller->performSelector("_availablePreferredFlashMode"));
    }
    void takeTheFlashFromTheFrontCamera()
    {
        phone.change([](PhoneDescription& description) { description.cameras[1].flashModes.clear(); });
    }
};

TEST_F(Flash, ASupportedModeIsStored)
{
    construct();
    controller->setFlashMode(AVCaptureFlashModeAuto);

    EXPECT_EQ(controller->flashMode(), AVCaptureFlashModeAuto);
}

TEST_F(Flash, AnUnsupportedModeIsIgnoredInSilence)
{
    changeCamera([](Camera& camera) { camera.flashModes = { 0, 1 }; });
    construct();
    controller->setFlashMode(AVCaptureFlashModeOn);
    controller->setFlashMode(AVCaptureFlashModeAuto);

    EXPECT_FALSE(controller->isFlashModeSupported(AVCaptureFlashModeAuto));
    EXPECT_EQ(controller->flashMode(), AVCaptureFlashModeOn);
    EXPECT_EQ(log.lines(), Lines {});
}

TEST_F(Flash, EveryCallOfTheSetterIsAnnounced)
{
    changeCamera([](Camera& camera) { camera.flashModes = { 0, 1 }; });
    construct();
    std::vector<AVCaptureFlashMode> seen;
    const auto token = observe(*controller, Property { "flashMode", &QVCameraController::flashMode },
        NSKeyValueObservingOptionNew, [&](AVCaptureFlashMode mode) { seen.push_back(mode); });
    controller->setFlashMode(AVCaptureFlashModeOn);
    controller->setFlashMode(AVCaptureFlashModeOn);
    controller->setFlashMode(AVCaptureFlashModeAuto);

    EXPECT_EQ(seen, std::vector(3, AVCaptureFlashModeOn));
}

TEST_F(Flash, ACameraWithoutFlashUsesNoneWhileTheStoredModeStays)
{
    takeTheFlashFromTheFrontCamera();
    construct();
    controller->setFlashMode(AVCaptureFlashModeOn);
    EXPECT_EQ(used(), AVCaptureFlashModeOn);

    controller->setDevicePosition(AVCaptureDevicePositionFront);
    EXPECT_EQ(used(), AVCaptureFlashModeOff);
    EXPECT_EQ(controller->flashMode(), AVCaptureFlashModeOn);
}

TEST_F(Flash, FiresForAPhoto)
{
    constructAndStart();
    controller->setFlashMode(AVCaptureFlashModeOn);
    shootAndWait();

    ASSERT_NE(photo, nullptr);
    EXPECT_TRUE(photo->flashFired());
}

TEST_F(Flash, FiresForARawPhotoToo)
{
    constructAndStart();
    controller->setFlashMode(AVCaptureFlashModeOn);
    controller->setRawCaptureMode(QVRawCaptureModeRAWOnly);
    shootAndWait();

    ASSERT_NE(photo, nullptr);
    EXPECT_TRUE(photo->flashFired());
}

TEST_F(Flash, WithoutAPhotoOutputNoModeIsSupported)
{
    construct(QVCameraCaptureIntentReserved);
    controller->setFlashMode(AVCaptureFlashModeOn);

    EXPECT_EQ(controller->flashMode(), AVCaptureFlashModeOff);
}

/// Notes whether the captures that end are marked as mirrored.
class MarkedController : public QVCameraController {
public:
    using QVCameraController::QVCameraController;
    void photoCaptureDidComplete(const std::shared_ptr<QVPhotoCapture>& capture, std::int64_t uniqueID) override
    {
        mirrored.push_back(capture->mirrorOutput());
        QVCameraController::photoCaptureDidComplete(capture, uniqueID);
    }
    std::vector<bool> mirrored;
};

class Mirroring : public Photos {
protected:
    std::vector<bool> mirroredFrom(AVCaptureDevicePosition position, bool enabled)
    {
        controller.reset();
        settle(); // the session before lets its camera go
        const auto marked = make<MarkedController>(position);
        controller = marked;
        controller->startSession();
        controller->setMirroringSelfiesEnabled(enabled);
        controller->captureStillImage(nullptr, nullptr);
        clock.advance(2);
        return marked->mirrored;
    }
};

TEST_F(Mirroring, MarksSelfiesWhenItIsEnabled)
{
    EXPECT_EQ(mirroredFrom(AVCaptureDevicePositionFront, true), std::vector { true });
    EXPECT_EQ(mirroredFrom(AVCaptureDevicePositionFront, false), std::vector { false });
}

TEST_F(Mirroring, NeverMarksTheBackCamera)
{
    EXPECT_EQ(mirroredFrom(AVCaptureDevicePositionBack, true), std::vector { false });
}

class LivePhotos : public Photos {
protected:
    bool shootLive()
    {
        return controller->captureLivePhoto([this] { ++began; }, receive());
    }
};

TEST_F(LivePhotos, AreRefusedWhileTheyAreNotEnabled)
{
    constructAndStart();

    EXPECT_FALSE(shootLive());
    clock.advance(5);
    EXPECT_EQ(began + received, 0);
}

TEST_F(LivePhotos, AskNeitherForARunningSessionNorForAuthorisation)
{
    construct();
    phone.change([](PhoneDescription& description) { description.permissions.camera = 0; });
    controller->setLivePhotoCaptureEnabled(true);

    EXPECT_TRUE(shootLive());
}

TEST_F(LivePhotos, ComeWithAMovieNamedByTheAbsoluteTime)
{
    constructAndStart();
    controller->setLivePhotoCaptureEnabled(true);
    clock.advance(3);
    const auto time = clock.absoluteTime();
    EXPECT_TRUE(shootLive());
    clock.advance(5);

    ASSERT_NE(photo, nullptr);
    ASSERT_NE(photo->livePhotoMovieURL(), nullptr);
    EXPECT_EQ(photo->livePhotoMovieURL()->path(), NSTemporaryDirectory() + stringWithFormat("QVCapture-%f.mov", time));
    EXPECT_EQ(photo->livePhotoMovieURL()->lastPathComponent(), "QVCapture-789015848.000000.mov");
}

TEST_F(LivePhotos, IgnoreRawAndPreview)
{
    constructAndStart();
    controller->setLivePhotoCaptureEnabled(true);
    controller->setRawCaptureMode(QVRawCaptureModeRAWOnly);
    controller->setIncludePreviewImageDuringPhotoCapture(true);
    shootLive();
    clock.advance(5);

    ASSERT_NE(photo, nullptr);
    EXPECT_NE(photo->jpgImageData(), nullptr);
    EXPECT_EQ(photo->dngImageData(), nullptr);
    EXPECT_EQ(photo->previewImage(), nullptr);
}

TEST_F(LivePhotos, FlashToo)
{
    constructAndStart();
    controller->setLivePhotoCaptureEnabled(true);
    controller->setFlashMode(AVCaptureFlashModeOn);
    shootLive();
    clock.advance(5);

    ASSERT_NE(photo, nullptr);
    EXPECT_TRUE(photo->flashFired());
}

TEST_F(LivePhotos, StayAmongTheActiveCapturesForTheControllersLife)
{
    constructAndStart();
    controller->setLivePhotoCaptureEnabled(true);
    auto held = std::make_shared<int>();
    const std::weak_ptr inCapture = held;
    controller->captureLivePhoto(nullptr,
        [held = std::move(held)](const std::shared_ptr<QVPhotoCaptureOutput>&, const std::optional<NSError>&) {});
    clock.advance(5);
    EXPECT_FALSE(inCapture.expired());

    controller.reset();
    settle();
    EXPECT_TRUE(inCapture.expired());
}

TEST_F(LivePhotos, SwitchesWorkWhereTheCameraSupportsThem)
{
    construct();
    controller->setLivePhotoCaptureEnabled(true);
    controller->setLivePhotoAutoTrimmingEnabled(false);
    EXPECT_TRUE(controller->isLivePhotoCaptureEnabled());
    EXPECT_FALSE(controller->isLivePhotoAutoTrimmingEnabled());

    controller->setLivePhotoAutoTrimmingEnabled(true);
    EXPECT_TRUE(controller->isLivePhotoAutoTrimmingEnabled());
}

TEST_F(LivePhotos, SwitchesAreIgnoredInSilenceElsewhere)
{
    changeCamera([](Camera& camera) { camera.livePhoto = false; });
    construct();
    const bool trimming = controller->isLivePhotoAutoTrimmingEnabled();
    controller->setLivePhotoCaptureEnabled(true);
    controller->setLivePhotoAutoTrimmingEnabled(!trimming);

    EXPECT_FALSE(controller->isLivePhotoCaptureEnabled());
    EXPECT_EQ(controller->isLivePhotoAutoTrimmingEnabled(), trimming);
    EXPECT_EQ(log.lines(), Lines {});
}

}
