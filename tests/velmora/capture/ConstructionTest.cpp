// SPDX-License-Identifier: Apache-2.0
#include "velmora/results/QVLocationProvider.h"

#include "platform/AVFoundation/AVCaptureAudioDataOutput.h"
#include "platform/AVFoundation/AVCapturePhotoOutput.h"
#include "platform/AVFoundation/AVCaptureVideoDataOutput.h"
#include "platform/AVFoundation/AVCaptureVideoPreviewLayer.h"

#include "tests/support/ControllerTest.h"

namespace velmora::tests {

using namespace drivers::phone;

class Construction : public ControllerTest {
protected:
    void setCameras(std::vector<Camera> cameras)
    {
        phone.change([&](PhoneDescription& description) { description.cameras = std::move(cameras); });
    }
    static Camera depthCamera(
        const std::string& id, const char* type, AVCaptureDevicePosition position = AVCaptureDevicePositionBack)
    {
        auto camera = smallCamera(id, position);
        camera.type = type;
        auto withDepth = camera.formats.front();
        withDepth.depth = { { 320, 240 } };
        camera.formats.push_back(withDepth);
        camera.matte = true;
        return camera;
    }
};

TEST_F(Construction, InitIsABackCameraForStillImagesWithThePhotoPreset)
{
    controller = unbox<std::shared_ptr<QVCameraController>>(QVCameraController::staticClass().performSelector("init"));

    EXPECT_EQ(controller->devicePosition(), AVCaptureDevicePositionBack);
    EXPECT_EQ(controller->captureSessionPreset(), AVCaptureSessionPresetPhoto);
    EXPECT_EQ(controller->captureSession()->outputs().size(), 1U);
    EXPECT_NE(output<AVCapturePhotoOutput>(), nullptr);
    EXPECT_EQ(log.lines(), Lines {});
}

TEST_F(Construction, EachLongerInitialiserTakesOneMore)
{
    const auto& camera = QVCameraController::staticClass();
    const auto front = unbox<std::shared_ptr<QVCameraController>>(
        camera.performSelector("initWithDevicePosition:", AVCaptureDevicePositionFront));
    const auto bare = unbox<std::shared_ptr<QVCameraController>>(camera.performSelector(
        "initWithDevicePosition:captureIntent:", AVCaptureDevicePositionFront, QVCameraCaptureIntentReserved));
    const auto high = unbox<std::shared_ptr<QVCameraController>>(camera.performSelector(
        "initWithDevicePosition:captureIntent:captureSessionPreset:", AVCaptureDevicePositionFront,
        QVCameraCaptureIntentStillImage, AVCaptureSessionPresetHigh));
    const auto withoutPreset = unbox<std::shared_ptr<QVCameraController>>(camera.performSelector(
        "initWithDevicePosition:captureIntent:captureSessionPreset:", AVCaptureDevicePositionFront,
        QVCameraCaptureIntentStillImage, nullptr));

    EXPECT_EQ(front->devicePosition(), AVCaptureDevicePositionFront);
    EXPECT_EQ(bare->captureSession()->outputs().size(), 0U);
    EXPECT_EQ(high->captureSessionPreset(), AVCaptureSessionPresetHigh);
    EXPECT_EQ(withoutPreset->captureSessionPreset(), AVCaptureSessionPresetPhoto);
}

TEST_F(Construction, PropertiesBeginWithTheirDefaults)
{
    construct();

    EXPECT_EQ(controller->deviceOrientation(), UIDeviceOrientationUnknown);
    EXPECT_EQ(controller->captureOrientation(), AVCaptureVideoOrientationPortrait);
    EXPECT_EQ(controller->sampleBufferOrientation(), AVCaptureVideoOrientationPortrait);
    EXPECT_EQ(controller->preferredVideoStabilizationMode(), AVCaptureVideoStabilizationModeOff);
    EXPECT_EQ(controller->lensType(), QVLensTypeWideAngle);
    EXPECT_EQ(controller->flashMode(), AVCaptureFlashModeOff);
    EXPECT_EQ(controller->rawCaptureMode(), QVRawCaptureModeNone);
    EXPECT_EQ(controller->defaultImageOrientation(), UIImageOrientationUp);
    EXPECT_FALSE(controller->disableLocationProvider() || controller->detectFaces()
        || controller->includePreviewImageDuringPhotoCapture() || controller->isMirroringSelfiesEnabled()
        || controller->discardLateVideoFrames() || controller->isTorchOn());
    EXPECT_TRUE(controller->visibleFaces().empty());
    EXPECT_EQ(controller->delegate(), nullptr);
    EXPECT_NE(controller->locationProvider(), nullptr);
}

TEST_F(Construction, LeavesTheSessionStopped)
{
    construct();
    settle();

    EXPECT_FALSE(controller->isSessionRunning());
}

TEST_F(Construction, MakesThePreviewLayerOnItsSession)
{
    construct();

    EXPECT_EQ(controller->previewLayer()->session(), controller->captureSession());
}

TEST_F(Construction, APresetThatTheSessionCannotUseBecomesHigh)
{
    phone.change([](PhoneDescription& description) { description.refusedPresets = { AVCaptureSessionPresetPhoto }; });
    construct();

    EXPECT_EQ(controller->captureSessionPreset(), AVCaptureSessionPresetHigh);
    EXPECT_EQ(controller->captureSession()->sessionPreset(), AVCaptureSessionPresetHigh);
}

TEST_F(Construction, HighIsTakenWithoutAskingWhetherItIsPossible)
{
    phone.change([](PhoneDescription& description) {
        description.refusedPresets = { AVCaptureSessionPresetPhoto, AVCaptureSessionPresetHigh };
    });
    construct();

    EXPECT_EQ(controller->captureSessionPreset(), AVCaptureSessionPresetHigh);
}

TEST_F(Construction, AStoredPresetIsNotAppliedByItsSetter)
{
    construct();
    controller->setCaptureSessionPreset(AVCaptureSessionPresetHigh);

    EXPECT_EQ(controller->captureSessionPreset(), AVCaptureSessionPresetHigh);
    EXPECT_EQ(controller->captureSession()->sessionPreset(), AVCaptureSessionPresetPhoto);
}

TEST_F(Construction, TheReservedIntentHasNoEffect)
{
    construct(QVCameraCaptureIntentReserved);

    EXPECT_EQ(controller->captureSession()->outputs().size(), 0U);
    EXPECT_EQ(controller->captureSession()->inputs().size(), 1U);
    EXPECT_EQ(log.lines(), Lines {});
}

TEST_F(Construction, TheDepthBitAloneChoosesADepthCameraButNeverEnablesDepth)
{
    setCameras({ smallCamera("wide"), depthCamera("dual", AVCaptureDeviceTypeBuiltInDualCamera) });
    construct(QVCameraCaptureIntentDepth);

    EXPECT_EQ(cameraID(), "dual");
    EXPECT_EQ(controller->lensType(), QVLensTypeDual);
    EXPECT_FALSE(controller->isDepthCaptureEnabled());
    EXPECT_TRUE(controller->currentVideoCaptureDevice()->activeFormat()->supportedDepthDataFormats().empty());
}

TEST_F(Construction, DepthWithStillImagesEnablesDepth)
{
    setCameras({ smallCamera("wide"), depthCamera("dual", AVCaptureDeviceTypeBuiltInDualCamera) });
    construct(QVCameraCaptureIntentStillImage | QVCameraCaptureIntentDepth);

    EXPECT_TRUE(controller->isDepthCaptureEnabled());
    EXPECT_TRUE(output<AVCapturePhotoOutput>()->isPortraitEffectsMatteDeliveryEnabled());
    EXPECT_EQ(controller->currentVideoCaptureDevice()->activeFormat()->supportedDepthDataFormats().size(), 1U);
}

TEST_F(Construction, TheDualCameraComesBeforeTrueDepth)
{
    setCameras({ depthCamera("true", AVCaptureDeviceTypeBuiltInTrueDepthCamera),
        depthCamera("dual", AVCaptureDeviceTypeBuiltInDualCamera) });
    construct(QVCameraCaptureIntentDepth);

    EXPECT_EQ(cameraID(), "dual");
}

TEST_F(Construction, ATrueDepthCameraGivesItsLensType)
{
    const auto front = AVCaptureDevicePositionFront;
    setCameras({ smallCamera("wide", front), depthCamera("true", AVCaptureDeviceTypeBuiltInTrueDepthCamera, front) });
    construct(QVCameraCaptureIntentDepth, front);

    EXPECT_EQ(cameraID(), "true");
    EXPECT_EQ(controller->lensType(), QVLensTypeTrueDepth);
}

TEST_F(Construction, TheFallbackLeavesTheLensTypeAlone)
{
    construct(QVCameraCaptureIntentDepth);

    EXPECT_EQ(cameraID(), "back");
    EXPECT_EQ(controller->lensType(), QVLensTypeWideAngle);
}

TEST_F(Construction, WithoutACameraItSaysSoAndGoesOn)
{
    setCameras({});
    construct(QVCameraCaptureIntentStillImage, AVCaptureDevicePositionFront);

    const auto lines = log.lines();
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[0], "[QVCameraController] Unable to initialize with a capture device; none found at position 2");
    EXPECT_TRUE(lines[1].starts_with("[QVCameraController] Error creating video device input: Error Domain="));
    EXPECT_EQ(lines[2], "[QVCameraController] Could not add video capture device input");
    EXPECT_EQ(controller->currentVideoCaptureDevice(), nullptr);
    EXPECT_EQ(controller->captureSessionPreset(), AVCaptureSessionPresetPhoto);
}

TEST_F(Construction, ADefaultCameraThatNoSearchFindsIsTheLastResort)
{
    auto odd = smallCamera("odd");
    odd.type = "Periscope";
    setCameras({ odd });
    phone.change([](PhoneDescription& description) { description.defaultCamera = "odd"; });
    construct();

    EXPECT_EQ(cameraID(), "odd");
    EXPECT_EQ(log.lines(), Lines {});
}

TEST_F(Construction, AFailedVideoInputGivesTwoMessages)
{
    phone.fail({ .step = Step::OpenVideoInput, .error = NSError("Camera", 7, "It is stuck.") });
    construct();

    EXPECT_EQ(log.lines(),
        (Lines { "[QVCameraController] Error creating video device input: Error Domain=Camera Code=7 \"It is stuck.\"",
            "[QVCameraController] Could not add video capture device input" }));
    EXPECT_EQ(cameraID(), "back");
}

TEST_F(Construction, AVideoInputThatComesWithAnErrorIsAddedAllTheSame)
{
    phone.fail({ .step = Step::OpenVideoInput,
        .outcome = Outcome::ErrorWithResult,
        .error = NSError("Camera", 7, "It is stuck.") });
    construct();

    EXPECT_EQ(log.lines(),
        Lines {
            "[QVCameraController] Error creating video device input: Error Domain=Camera Code=7 \"It is stuck.\"" });
    EXPECT_EQ(controller->captureSession()->inputs().size(), 1U);
}

TEST_F(Construction, NoVideoInputWithoutAnErrorGivesOneMessage)
{
    phone.fail({ .step = Step::OpenVideoInput, .outcome = Outcome::Nothing });
    construct();

    EXPECT_EQ(log.lines(), Lines { "[QVCameraController] Could not add video capture device input" });
}

TEST_F(Construction, ARefusedVideoInputIsNotAdded)
{
    phone.change([](PhoneDescription& description) { description.refusedInputs = { { "back", "" } }; });
    construct();

    EXPECT_EQ(log.lines(), Lines { "[QVCameraController] Could not add video capture device input" });
    EXPECT_EQ(controller->captureSession()->inputs().size(), 0U);
}

TEST_F(Construction, TheAudioIntentAddsTheMicrophone)
{
    construct(QVCameraCaptureIntentAudio);

    EXPECT_EQ(controller->captureSession()->inputs().size(), 2U);
}

TEST_F(Construction, AMissingMicrophoneIsSkippedInSilence)
{
    phone.change([](PhoneDescription& description) { description.microphone = false; });
    construct(QVCameraCaptureIntentAudio);

    EXPECT_EQ(controller->captureSession()->inputs().size(), 1U);
    EXPECT_EQ(log.lines(), Lines {});
}

TEST_F(Construction, ARefusedMicrophoneIsSkippedInSilence)
{
    phone.change([](PhoneDescription& description) { description.refusedInputs = { { "microphone", "" } }; });
    construct(QVCameraCaptureIntentAudio);

    EXPECT_EQ(controller->captureSession()->inputs().size(), 1U);
    EXPECT_EQ(log.lines(), Lines {});
}

TEST_F(Construction, AMicrophoneThatCannotBeOpenedIsLogged)
{
    phone.fail({ .step = Step::OpenAudioInput, .error = NSError("Sound", 3, "It is mute.") });
    construct(QVCameraCaptureIntentAudio);

    EXPECT_EQ(log.lines(),
        Lines { "[QVCameraController] Error creating audio device input: Error Domain=Sound Code=3 \"It is mute.\"" });
    EXPECT_EQ(controller->captureSession()->inputs().size(), 1U);
}

TEST_F(Construction, TheSampleBufferIntentPreparesVideoOnly)
{
    construct(QVCameraCaptureIntentSampleBuffers);

    EXPECT_NE(output<AVCaptureVideoDataOutput>(), nullptr);
    EXPECT_EQ(output<AVCaptureAudioDataOutput>(), nullptr);
}

TEST_F(Construction, TheFaceIntentDetectsFaces)
{
    construct(QVCameraCaptureIntentFaceDetection);

    EXPECT_TRUE(controller->detectFaces());
    EXPECT_NE(output<AVCaptureMetadataOutput>(), nullptr);
}

TEST_F(Construction, OrientationsAreStoredWithoutAReconfiguration)
{
    construct(QVCameraCaptureIntentSampleBuffers);
    int completions = 0;
    controller->setCameraConfigurationCompletionBlock([&] { ++completions; });
    settle();

    EXPECT_EQ(completions, 0);
}

TEST_F(Construction, TheFrontCameraIsNotMirroredByConstruction)
{
    construct(QVCameraCaptureIntentSampleBuffers, AVCaptureDevicePositionFront);

    EXPECT_FALSE(output<AVCaptureVideoDataOutput>()->connectionWithMediaType(AVMediaTypeVideo)->isVideoMirrored());
}

TEST_F(Construction, WithoutACameraEachRefusalIsLoggedWhereItsSupportIsAskedFirst)
{
    setCameras({});
    construct();
    log.clear();
    controller->setTorchOn(true);
    controller->setGeometricDistortionCorrectionEnabled(true);
    controller->setDepthCaptureEnabled(true);
    controller->enableHighSpeedCaptureWithFrameRate(120);

    EXPECT_EQ(log.lines(),
        (Lines { "[QVCameraController] Torch mode 1 is not supported. Ignored.",
            "[QVCameraController] Geometric Distortion Correction not supported on (null)",
            "[QVCameraController] Unable to set depth capture preference: could not find an appropriate capture "
            "device format" }));
}

TEST_F(Construction, AControllerWithoutACameraAnswersNothing)
{
    setCameras({});
    construct();
    controller->startSession();
    settle();

    EXPECT_EQ(controller->devicePosition(), AVCaptureDevicePositionUnspecified);
    EXPECT_EQ(controller->videoFrameRate(), 0U);
    EXPECT_EQ(controller->maximumSupportedFrameRateForHighSpeedCapture(), 0U);
    EXPECT_EQ(controller->stillImageOutputDimensions(), (CMVideoDimensions { 0, 0 }));
    EXPECT_FALSE(controller->hasTorch() || controller->isTorchOn() || controller->isDepthCaptureSupported()
        || controller->isRAWCaptureSupported() || controller->isFlashModeSupported(AVCaptureFlashModeOff)
        || controller->isGeometricDistortionCorrectionEnabled());
}

}
