// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/AVCaptureDeviceInput.h"
#include "platform/AVFoundation/AVCapturePhotoOutput.h"
#include "platform/AVFoundation/AVCaptureVideoDataOutput.h"

#include "tests/support/ControllerTest.h"

namespace velmora::tests {

using namespace drivers::phone;

constexpr auto back = AVCaptureDevicePositionBack;
constexpr auto front = AVCaptureDevicePositionFront;

Camera lens(const std::string& id, const char* type, AVCaptureDevicePosition position = back)
{
    auto camera = smallCamera(id, position);
    camera.type = type;
    return camera;
}

class DeviceSelection : public ControllerTest {
protected:
    void setCameras(std::vector<Camera> cameras)
    {
        phone.change([&](PhoneDescription& description) { description.cameras = std::move(cameras); });
    }
    void setSystemVersion(int major, int minor)
    {
        phone.change([&](PhoneDescription& description) { description.systemVersion = { major, minor }; });
    }
    std::string found(QVLensType type, AVCaptureDevicePosition position, bool fallback)
    {
        const auto device = unbox<std::shared_ptr<AVCaptureDevice>>(controller->performSelector(
            "_availableDeviceWithLensType:position:fallbackToDefaultDevice:", type, position, fallback));
        return device ? device->uniqueID() : "none";
    }
};

TEST_F(DeviceSelection, EachLensTypeHasItsCamera)
{
    setCameras({ lens("wide", AVCaptureDeviceTypeBuiltInWideAngleCamera),
        lens("tele", AVCaptureDeviceTypeBuiltInTelephotoCamera), lens("dual", AVCaptureDeviceTypeBuiltInDualCamera),
        lens("true", AVCaptureDeviceTypeBuiltInTrueDepthCamera),
        lens("dualwide", AVCaptureDeviceTypeBuiltInDualWideCamera),
        lens("triple", AVCaptureDeviceTypeBuiltInTripleCamera),
        lens("ultra", AVCaptureDeviceTypeBuiltInUltraWideCamera) });
    construct();

    const Lines expected { "wide", "tele", "dual", "true", "dualwide", "triple", "ultra" };
    for (int type = 0; type < 7; ++type)
        EXPECT_EQ(found(static_cast<QVLensType>(type), back, false), expected[static_cast<std::size_t>(type)]) << type;
}

TEST_F(DeviceSelection, BeforeSystem13TheNewerLensesAreTheWideAngle)
{
    setCameras({ lens("wide", AVCaptureDeviceTypeBuiltInWideAngleCamera),
        lens("dualwide", AVCaptureDeviceTypeBuiltInDualWideCamera),
        lens("triple", AVCaptureDeviceTypeBuiltInTripleCamera),
        lens("ultra", AVCaptureDeviceTypeBuiltInUltraWideCamera) });
    setSystemVersion(12, 4);
    construct();

    EXPECT_EQ(found(QVLensTypeDualWide, back, false), "wide");
    EXPECT_EQ(found(QVLensTypeTriple, back, false), "wide");
    EXPECT_EQ(found(QVLensTypeUltraWide, back, false), "wide");
}

TEST_F(DeviceSelection, System13KnowsTheNewerLenses)
{
    setCameras({ lens("wide", AVCaptureDeviceTypeBuiltInWideAngleCamera),
        lens("ultra", AVCaptureDeviceTypeBuiltInUltraWideCamera) });
    setSystemVersion(13, 0);
    construct();

    EXPECT_EQ(found(QVLensTypeUltraWide, back, false), "ultra");
}

TEST_F(DeviceSelection, AMissingLensFallsBackOnTheWideAngleOnlyWhenAsked)
{
    construct();

    EXPECT_EQ(found(QVLensTypeTelephoto, back, true), "back");
    EXPECT_EQ(found(QVLensTypeTelephoto, back, false), "none");
}

TEST_F(DeviceSelection, ANumberThatNamesNoLensFindsTheFallback)
{
    construct();

    EXPECT_EQ(found(static_cast<QVLensType>(77), back, true), "back");
    EXPECT_EQ(found(static_cast<QVLensType>(-3), back, false), "none");
}

TEST_F(DeviceSelection, WithDepthIntentTheFallbackIsTrueDepthThenDualThenWide)
{
    const auto wide = lens("wide", AVCaptureDeviceTypeBuiltInWideAngleCamera);
    const auto dual = lens("dual", AVCaptureDeviceTypeBuiltInDualCamera);
    const auto trueDepth = lens("true", AVCaptureDeviceTypeBuiltInTrueDepthCamera);
    setCameras({ wide, dual, trueDepth });
    construct(QVCameraCaptureIntentDepth);

    EXPECT_EQ(found(QVLensTypeTelephoto, back, true), "true");
    setCameras({ wide, dual });
    EXPECT_EQ(found(QVLensTypeTelephoto, back, true), "dual");
    setCameras({ wide });
    EXPECT_EQ(found(QVLensTypeTelephoto, back, true), "wide");
}

TEST_F(DeviceSelection, WithoutDepthIntentTheFallbackIsTheWideAngle)
{
    setCameras({ lens("true", AVCaptureDeviceTypeBuiltInTrueDepthCamera),
        lens("dual", AVCaptureDeviceTypeBuiltInDualCamera), lens("wide", AVCaptureDeviceTypeBuiltInWideAngleCamera) });
    construct();

    EXPECT_EQ(found(QVLensTypeTelephoto, back, true), "wide");
}

TEST_F(DeviceSelection, SettingThePositionTakesTheCameraThere)
{
    construct();
    controller->setDevicePosition(front);

    EXPECT_EQ(cameraID(), "front");
    EXPECT_EQ(controller->devicePosition(), front);
}

TEST_F(DeviceSelection, APositionWithoutACameraIsRefusedAndLogged)
{
    setCameras({ lens("wide", AVCaptureDeviceTypeBuiltInWideAngleCamera) });
    construct();
    controller->setDevicePosition(front);

    EXPECT_EQ(cameraID(), "wide");
    EXPECT_EQ(log.lines(), Lines { "[QVCameraController] Invalid capture device position: 2" });
}

TEST_F(DeviceSelection, ThePositionThatIsInUseChangesNothing)
{
    setCameras({ lens("wide", AVCaptureDeviceTypeBuiltInWideAngleCamera),
        lens("tele", AVCaptureDeviceTypeBuiltInTelephotoCamera) });
    construct();
    controller->setLensType(QVLensTypeTelephoto, back);
    controller->setDevicePosition(back);

    EXPECT_EQ(cameraID(), "tele");
}

TEST_F(DeviceSelection, SettingThePositionKeepsTheLensTypeWhenTheFallbackGaveAnother)
{
    setCameras({ lens("wide", AVCaptureDeviceTypeBuiltInWideAngleCamera),
        lens("tele", AVCaptureDeviceTypeBuiltInTelephotoCamera),
        lens("front", AVCaptureDeviceTypeBuiltInWideAngleCamera, front) });
    construct();
    controller->setLensType(QVLensTypeTelephoto);
    controller->setDevicePosition(front);

    EXPECT_EQ(cameraID(), "front");
    EXPECT_EQ(controller->lensType(), QVLensTypeTelephoto);
}

TEST_F(DeviceSelection, SettingTheLensTypeTakesTheLensAndStoresTheType)
{
    setCameras({ lens("wide", AVCaptureDeviceTypeBuiltInWideAngleCamera),
        lens("tele", AVCaptureDeviceTypeBuiltInTelephotoCamera) });
    construct();
    controller->setLensType(QVLensTypeTelephoto);

    EXPECT_EQ(cameraID(), "tele");
    EXPECT_EQ(controller->lensType(), QVLensTypeTelephoto);
}

TEST_F(DeviceSelection, SettingAnAbsentLensTypeDoesNothingInSilence)
{
    construct();
    controller->setLensType(QVLensTypeTelephoto);

    EXPECT_EQ(cameraID(), "back");
    EXPECT_EQ(controller->lensType(), QVLensTypeWideAngle);
    EXPECT_EQ(log.lines(), Lines {});
}

TEST_F(DeviceSelection, SettingTheLensTypeComparesWithTheStoredOneNotWithTheCamera)
{
    setCameras({ lens("wide", AVCaptureDeviceTypeBuiltInWideAngleCamera),
        lens("tele", AVCaptureDeviceTypeBuiltInTelephotoCamera) });
    construct();
    controller->setLensType(QVLensTypeTelephoto, back);
    controller->setLensType(QVLensTypeWideAngle);

    EXPECT_EQ(cameraID(), "tele");
}

TEST_F(DeviceSelection, TheLensTypeIsStoredOnlyAfterTheSwap)
{
    setCameras({ lens("wide", AVCaptureDeviceTypeBuiltInWideAngleCamera),
        lens("tele", AVCaptureDeviceTypeBuiltInTelephotoCamera) });
    construct();
    auto during = QVLensTypeUltraWide;
    const auto token = controller->observe("currentVideoCaptureDevice", NSKeyValueObservingOptionNew,
        [&](const NSKeyValueChange&) { during = controller->lensType(); });
    controller->setLensType(QVLensTypeTelephoto);

    EXPECT_EQ(during, QVLensTypeWideAngle);
}

TEST_F(DeviceSelection, SettingALensInAPositionDoesNotStoreTheType)
{
    setCameras({ lens("wide", AVCaptureDeviceTypeBuiltInWideAngleCamera),
        lens("tele", AVCaptureDeviceTypeBuiltInTelephotoCamera) });
    construct();
    controller->setLensType(QVLensTypeTelephoto, back);

    EXPECT_EQ(cameraID(), "tele");
    EXPECT_EQ(controller->lensType(), QVLensTypeWideAngle);
}

TEST_F(DeviceSelection, SettingALensInAPositionFallsBackInSilence)
{
    construct();
    controller->setLensType(QVLensTypeTelephoto, front);

    EXPECT_EQ(cameraID(), "front");
    EXPECT_EQ(log.lines(), Lines {});
}

TEST_F(DeviceSelection, HasLensTypeLooksAtTheCurrentPositionWithoutFallback)
{
    setCameras({ lens("wide", AVCaptureDeviceTypeBuiltInWideAngleCamera),
        lens("tele", AVCaptureDeviceTypeBuiltInTelephotoCamera, front) });
    construct();

    EXPECT_TRUE(controller->hasLensTypeInCurrentDevicePosition(QVLensTypeWideAngle));
    EXPECT_FALSE(controller->hasLensTypeInCurrentDevicePosition(QVLensTypeTelephoto));
}

class DeviceSwap : public DeviceSelection {
protected:
    std::shared_ptr<AVCaptureDevice> camera(const std::string& id) const
    {
        for (const auto& device : AVCaptureDevice::allDevices())
            if (device->uniqueID() == id)
                return device;
        return nullptr;
    }
    std::string inputID() const
    {
        std::string ids;
        for (const auto& input : controller->captureSession()->inputs())
            if (const auto device = std::dynamic_pointer_cast<AVCaptureDeviceInput>(input)->device();
                device->hasMediaType(AVMediaTypeVideo))
                ids += device->uniqueID();
        return ids;
    }
    std::shared_ptr<AVCaptureConnection> frames() const
    {
        return output<AVCaptureVideoDataOutput>()->connectionWithMediaType(AVMediaTypeVideo);
    }
};

TEST_F(DeviceSwap, ReplacesTheSessionsVideoInput)
{
    construct();
    controller->setCurrentVideoCaptureDevice(camera("front"));

    EXPECT_EQ(inputID(), "front");
}

TEST_F(DeviceSwap, LeavesTheMicrophoneWhereItIs)
{
    construct(QVCameraCaptureIntentAudio);
    controller->setCurrentVideoCaptureDevice(camera("front"));

    EXPECT_EQ(controller->captureSession()->inputs().size(), 2U);
}

TEST_F(DeviceSwap, IsOneReconfigurationOnTheSessionQueue)
{
    construct(QVCameraCaptureIntentStillImage | QVCameraCaptureIntentSampleBuffers);
    settle();
    const auto before = phone.journal().size();
    controller->setCurrentVideoCaptureDevice(camera("front"));

    Lines queues;
    for (std::size_t i = before; i < phone.journal().size(); ++i)
        if (phone.journal()[i].what == "reconfigured")
            queues.push_back(phone.journal()[i].queue);
    EXPECT_EQ(queues, Lines { "org.velmora.Velmora.cameraSessionQueue" });
}

TEST_F(DeviceSwap, IsAnnouncedOnceAroundTheChange)
{
    construct();
    Lines seen;
    const auto token = controller->observe("currentVideoCaptureDevice",
        NSKeyValueObservingOptionInitial | NSKeyValueObservingOptionNew | NSKeyValueObservingOptionPrior,
        [&](const NSKeyValueChange& change) { seen.push_back((change.isPrior ? "before " : "is ") + cameraID()); });
    controller->setCurrentVideoCaptureDevice(camera("front"));
    settle();

    EXPECT_EQ(seen, (Lines { "is back", "before back", "is front" }));
}

TEST_F(DeviceSwap, ToTheSameCameraDoesNothing)
{
    construct();
    settle();
    int changes = 0, completions = 0;
    controller->setCameraConfigurationCompletionBlock([&] { ++completions; });
    const auto token = controller->observe(
        "currentVideoCaptureDevice", NSKeyValueObservingOptionNew, [&](const NSKeyValueChange&) { ++changes; });
    controller->setCurrentVideoCaptureDevice(camera("back"));
    settle();

    EXPECT_EQ(changes, 0);
    EXPECT_EQ(completions, 0);
}

TEST_F(DeviceSwap, ToNothingLeavesTheSessionWithoutVideo)
{
    construct();
    controller->setCurrentVideoCaptureDevice(nullptr);

    EXPECT_EQ(controller->currentVideoCaptureDevice(), nullptr);
    EXPECT_EQ(inputID(), "");
    EXPECT_TRUE(log.lines().at(0).starts_with("[QVCameraController] Unable to intitialize device input Error Domain="));
    EXPECT_TRUE(log.lines().at(1).starts_with(
        "[QVCamaraController] Unable to add video capture device input (null) to session <Velmora.AVCaptureSession: "));
}

TEST_F(DeviceSwap, AnInputThatCannotBeMadeIsLoggedMisspelt)
{
    construct();
    phone.fail({ .step = Step::OpenVideoInput, .error = NSError("Camera", 7, "It is stuck.") });
    controller->setCurrentVideoCaptureDevice(camera("front"));

    EXPECT_EQ(log.lines().at(0),
        "[QVCameraController] Unable to intitialize device input Error Domain=Camera Code=7 \"It is stuck.\"");
    EXPECT_EQ(cameraID(), "front");
    EXPECT_EQ(inputID(), "");
}

TEST_F(DeviceSwap, ARefusedInputIsLoggedWithTheMisspeltTag)
{
    construct();
    phone.change([](PhoneDescription& description) { description.refusedInputs = { { "front", "" } }; });
    controller->setCurrentVideoCaptureDevice(camera("front"));

    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_TRUE(log.lines()[0].starts_with(
        "[QVCamaraController] Unable to add video capture device input <Velmora.AVCaptureDeviceInput: "));
    EXPECT_NE(log.lines()[0].find(" to session <Velmora.AVCaptureSession: "), std::string::npos);
    EXPECT_EQ(inputID(), "");
}

TEST_F(DeviceSwap, AnInputThatThePresetForbidsIsAddedWithTheHighOne)
{
    auto cameras = smallPhone().cameras;
    cameras[1].presets.erase(AVCaptureSessionPresetPhoto);
    setCameras(cameras);
    construct();
    controller->setCurrentVideoCaptureDevice(camera("front"));

    EXPECT_EQ(inputID(), "front");
    EXPECT_EQ(controller->captureSession()->sessionPreset(), AVCaptureSessionPresetHigh);
    EXPECT_EQ(controller->captureSessionPreset(), AVCaptureSessionPresetPhoto);
    EXPECT_EQ(log.lines(), Lines {});
}

TEST_F(DeviceSwap, ReturnsToTheStoredPresetWhenTheCameraSupportsIt)
{
    phone.change([](PhoneDescription& description) {
        description.refusedInputs = { { "front", AVCaptureSessionPresetPhoto } };
    });
    construct();
    controller->setCurrentVideoCaptureDevice(camera("front"));

    EXPECT_EQ(inputID(), "front");
    EXPECT_EQ(controller->captureSession()->sessionPreset(), AVCaptureSessionPresetPhoto);
}

TEST_F(DeviceSwap, MirrorsTheFramesOfTheFrontCameraOnly)
{
    construct(QVCameraCaptureIntentSampleBuffers);
    controller->setCurrentVideoCaptureDevice(camera("front"));
    EXPECT_TRUE(frames()->isVideoMirrored());

    controller->setCurrentVideoCaptureDevice(camera("back"));
    EXPECT_FALSE(frames()->isVideoMirrored());
}

TEST_F(DeviceSwap, KeepsTheVideoDataOutput)
{
    construct(QVCameraCaptureIntentStillImage | QVCameraCaptureIntentSampleBuffers);
    const auto before = output<AVCaptureVideoDataOutput>();
    controller->setCurrentVideoCaptureDevice(camera("front"));

    EXPECT_EQ(output<AVCaptureVideoDataOutput>(), before);
    EXPECT_EQ(controller->captureSession()->outputs().size(), 2U);
}

TEST_F(DeviceSwap, GivesEveryOutputTheStoredOrientation)
{
    construct(QVCameraCaptureIntentStillImage | QVCameraCaptureIntentSampleBuffers);
    controller->setSampleBufferOrientation(AVCaptureVideoOrientationLandscapeLeft);
    settle();
    controller->setCurrentVideoCaptureDevice(camera("front"));

    EXPECT_EQ(frames()->videoOrientation(), AVCaptureVideoOrientationLandscapeLeft);
    EXPECT_EQ(output<AVCapturePhotoOutput>()->connections().front()->videoOrientation(),
        AVCaptureVideoOrientationLandscapeLeft);
}

TEST_F(DeviceSwap, KeepsLivePhotosAndDepthSwitchedOn)
{
    auto cameras = smallPhone().cameras;
    for (auto& each : cameras) {
        auto withDepth = each.formats.front();
        withDepth.depth = { { 320, 240 } };
        each.formats.push_back(withDepth);
    }
    setCameras(cameras);
    construct();
    controller->setLivePhotoCaptureEnabled(true);
    controller->setDepthCaptureEnabled(true);
    controller->setCurrentVideoCaptureDevice(camera("front"));

    EXPECT_TRUE(controller->isLivePhotoCaptureEnabled());
    EXPECT_TRUE(controller->isDepthCaptureEnabled());
}

TEST_F(DeviceSwap, DoesNotSetTheStabilisationModeAgain)
{
    construct(QVCameraCaptureIntentSampleBuffers);
    controller->setPreferredVideoStabilizationMode(AVCaptureVideoStabilizationModeStandard);
    controller->setCurrentVideoCaptureDevice(camera("front"));

    EXPECT_EQ(frames()->preferredVideoStabilizationMode(), AVCaptureVideoStabilizationModeOff);
    EXPECT_EQ(controller->preferredVideoStabilizationMode(), AVCaptureVideoStabilizationModeStandard);
}

TEST_F(DeviceSwap, SetsNeitherTheFrameRateNorTheTorchAgain)
{
    construct();
    controller->setVideoFrameRate(24);
    controller->setTorchOn(true);
    controller->setCurrentVideoCaptureDevice(camera("front"));

    EXPECT_EQ(controller->videoFrameRate(), 30U);
    EXPECT_FALSE(controller->isTorchOn());
}

TEST_F(DeviceSwap, WhileRunningTheSessionStaysRunning)
{
    constructAndStart();
    controller->setCurrentVideoCaptureDevice(camera("front"));

    EXPECT_TRUE(controller->isSessionRunning());
}

class Faces : public ControllerTest {
protected:
    std::size_t facesAfterAFrame(std::size_t count)
    {
        phone.showFaces(count);
        phone.sendFrame();
        settle();
        return controller->visibleFaces().size();
    }
};

TEST_F(Faces, AreDeliveredOnTheSessionQueue)
{
    constructAndStart(QVCameraCaptureIntentFaceDetection);
    std::string label;
    const auto token = controller->observe("visibleFaces", NSKeyValueObservingOptionNew,
        [&](const NSKeyValueChange&) { label = DispatchQueue::currentLabel(); });

    EXPECT_EQ(facesAfterAFrame(2), 2U);
    EXPECT_EQ(label, "org.velmora.Velmora.cameraSessionQueue");
}

TEST_F(Faces, AreReplacedByWhatIsSeenNext)
{
    constructAndStart(QVCameraCaptureIntentFaceDetection);
    facesAfterAFrame(2);

    EXPECT_EQ(facesAfterAFrame(1), 1U);
    EXPECT_EQ(facesAfterAFrame(0), 0U);
}

TEST_F(Faces, AreKeptAsTheyWereDelivered)
{
    construct();
    const AVCaptureMetadataOutputObjectsDelegate::Objects faces {
        make<AVMetadataFaceObject>(CGRect {}, CMTimeMake(1, 30)),
        make<AVMetadataFaceObject>(CGRect {}, CMTimeMake(1, 30)),
    };
    controller->performSelector("captureOutput:didOutputMetadataObjects:fromConnection:", nullptr, faces, nullptr);

    EXPECT_EQ(controller->visibleFaces(), faces);
}

TEST_F(Faces, UnsupportedFacesAreLoggedAndTheOutputIsRemoved)
{
    phone.change([](PhoneDescription& description) { description.metadataTypes.clear(); });
    construct();
    controller->setDetectFaces(true);

    EXPECT_FALSE(controller->detectFaces());
    EXPECT_EQ(output<AVCaptureMetadataOutput>(), nullptr);
    EXPECT_EQ(log.lines(), Lines { "[QVCameraController] Cannot detect faces, not supported." });
}

TEST_F(Faces, SwitchingOnTwiceMakesOneOutput)
{
    construct();
    controller->setDetectFaces(true);
    controller->setDetectFaces(true);

    EXPECT_EQ(controller->captureSession()->outputs().size(), 2U); // and the photo output
}

TEST_F(Faces, SwitchingOffRemovesTheOutputAndKeepsTheLastFaces)
{
    constructAndStart(QVCameraCaptureIntentFaceDetection);
    facesAfterAFrame(2);
    controller->setDetectFaces(false);

    EXPECT_FALSE(controller->detectFaces());
    EXPECT_EQ(output<AVCaptureMetadataOutput>(), nullptr);
    EXPECT_EQ(controller->visibleFaces().size(), 2U);
}

TEST_F(Faces, SwitchingOffWithoutDetectionDoesNothing)
{
    construct();
    controller->setDetectFaces(false);

    EXPECT_FALSE(controller->detectFaces());
    EXPECT_EQ(log.lines(), Lines {});
}

}
