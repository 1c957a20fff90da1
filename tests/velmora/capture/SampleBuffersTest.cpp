// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/AVCaptureAudioDataOutput.h"
#include "platform/AVFoundation/AVCapturePhotoOutput.h"
#include "platform/AVFoundation/AVCaptureVideoDataOutput.h"
#include "platform/CoreMedia/CMSampleBuffer.h"

#include "tests/support/ControllerTest.h"

#include <algorithm>

namespace velmora::tests {

using namespace drivers::phone;

class SampleBuffers : public ControllerTest {
protected:
    QVCameraController::SampleBufferProcessor countVideo()
    {
        return [this](const std::shared_ptr<CMSampleBuffer>& buffer) {
            ++video;
            latest = buffer;
            label = DispatchQueue::currentLabel();
        };
    }
    QVCameraController::SampleBufferProcessor countAudio()
    {
        return [this](const std::shared_ptr<CMSampleBuffer>& buffer) {
            ++audio;
            latest = buffer;
            label = DispatchQueue::currentLabel();
        };
    }
    void sendFrame()
    {
        phone.sendFrame();
        settle();
    }
    void sendAudio()
    {
        phone.sendAudio();
        settle();
    }

    int video = 0, audio = 0;
    std::shared_ptr<CMSampleBuffer> latest;
    std::string label;
};

TEST_F(SampleBuffers, PreparingMakesTheOutputsThatAreAskedFor)
{
    construct(QVCameraCaptureIntentReserved);
    controller->prepareToReceiveSampleBuffers(QVSampleBufferTypeAudio);
    EXPECT_NE(output<AVCaptureAudioDataOutput>(), nullptr);
    EXPECT_EQ(output<AVCaptureVideoDataOutput>(), nullptr);

    controller->prepareToReceiveSampleBuffers(QVSampleBufferTypeVideo | QVSampleBufferTypeAudio);
    EXPECT_NE(output<AVCaptureVideoDataOutput>(), nullptr);
    EXPECT_EQ(controller->captureSession()->outputs().size(), 2U);
}

TEST_F(SampleBuffers, FramesAreFullRangeWithTwoPlanes)
{
    construct(QVCameraCaptureIntentSampleBuffers);

    EXPECT_EQ(output<AVCaptureVideoDataOutput>()->pixelFormat(), 875704422U);
}

TEST_F(SampleBuffers, PreparedVideoHasTheStoredOrientation)
{
    construct();
    controller->setSampleBufferOrientation(AVCaptureVideoOrientationLandscapeLeft);
    controller->prepareToReceiveSampleBuffers(QVSampleBufferTypeVideo);

    EXPECT_EQ(output<AVCaptureVideoDataOutput>()->connectionWithMediaType(AVMediaTypeVideo)->videoOrientation(),
        AVCaptureVideoOrientationLandscapeLeft);
}

TEST_F(SampleBuffers, BitsWithoutANameAreKeptAndHaveNoOutput)
{
    construct(QVCameraCaptureIntentReserved);
    settle();
    controller->prepareToReceiveSampleBuffers(static_cast<QVSampleBufferTypes>(64));
    int completions = 0;
    controller->setCameraConfigurationCompletionBlock([&] { ++completions; });
    controller->prepareToReceiveSampleBuffers(static_cast<QVSampleBufferTypes>(64));
    settle();

    EXPECT_EQ(completions, 0);
    EXPECT_EQ(controller->captureSession()->outputs().size(), 0U);
}

TEST_F(SampleBuffers, PreparingWhatIsPreparedDoesNothing)
{
    construct(QVCameraCaptureIntentReserved);
    controller->prepareToReceiveSampleBuffers(QVSampleBufferTypeVideo);
    controller->prepareToReceiveSampleBuffers(QVSampleBufferTypeAudio);
    settle();
    int completions = 0;
    controller->setCameraConfigurationCompletionBlock([&] { ++completions; });
    controller->prepareToReceiveSampleBuffers(QVSampleBufferTypeVideo);
    controller->prepareToReceiveSampleBuffers(QVSampleBufferTypeAudio);
    controller->prepareToReceiveSampleBuffers(QVSampleBufferTypeVideo | QVSampleBufferTypeAudio);
    settle();

    EXPECT_EQ(completions, 0);
}

TEST_F(SampleBuffers, PreparingSetsUpAllRequestedTypesAgainAlsoThePreparedOnes)
{
    construct(QVCameraCaptureIntentReserved);
    controller->prepareToReceiveSampleBuffers(QVSampleBufferTypeVideo);
    settle();
    const auto prepared = output<AVCaptureVideoDataOutput>();
    prepared->connectionWithMediaType(AVMediaTypeVideo)->setVideoOrientation(AVCaptureVideoOrientationLandscapeLeft);
    int completions = 0;
    controller->setCameraConfigurationCompletionBlock([&] { ++completions; });
    controller->prepareToReceiveSampleBuffers(QVSampleBufferTypeVideo | QVSampleBufferTypeAudio);
    settle();

    EXPECT_EQ(completions, 1);
    EXPECT_EQ(output<AVCaptureVideoDataOutput>(), prepared);
    EXPECT_EQ(controller->captureSession()->outputs().size(), 2U);
    EXPECT_EQ(
        prepared->connectionWithMediaType(AVMediaTypeVideo)->videoOrientation(), AVCaptureVideoOrientationPortrait);
}

TEST_F(SampleBuffers, ReachTheProcessorOnTheVideoProcessingQueue)
{
    constructAndStart();
    controller->beginReceivingVideoSampleBuffer(countVideo());
    sendFrame();

    EXPECT_EQ(video, 1);
    EXPECT_EQ(latest->mediaType(), AVMediaTypeVideo);
    EXPECT_EQ(label, "org.velmora.Velmora.videoProcessQueue");
}

TEST_F(SampleBuffers, SoundReachesItsOwnProcessorOnTheSameQueue)
{
    constructAndStart(QVCameraCaptureIntentStillImage | QVCameraCaptureIntentAudio);
    controller->beginReceivingVideoSampleBuffer(countVideo(), countAudio());
    sendAudio();

    EXPECT_EQ(audio, 1);
    EXPECT_EQ(latest->mediaType(), AVMediaTypeAudio);
    EXPECT_EQ(label, "org.velmora.Velmora.videoProcessQueue");
}

TEST_F(SampleBuffers, WithoutAProcessorTheyAreDroppedInSilence)
{
    constructAndStart(QVCameraCaptureIntentSampleBuffers);
    sendFrame();

    EXPECT_EQ(log.lines(), Lines {});
    EXPECT_EQ(controller->videoSampleBufferProcessor(), nullptr);
}

TEST_F(SampleBuffers, AreDeliveredByReference)
{
    constructAndStart();
    controller->beginReceivingVideoSampleBuffer(countVideo());
    const auto frame = std::make_shared<CMSampleBuffer>(std::shared_ptr<CVPixelBuffer>(), CMTimeMake(1, 30), 7U);
    controller->performSelector(
        "captureOutput:didOutputSampleBuffer:fromConnection:", output<AVCaptureVideoDataOutput>(), frame, nullptr);

    EXPECT_EQ(latest, frame);
}

TEST_F(SampleBuffers, SayHowTheirConnectionMeansThem)
{
    construct(QVCameraCaptureIntentSampleBuffers);
    controller->startSession();
    controller->beginReceivingVideoSampleBuffer(countVideo());
    sendFrame();
    EXPECT_EQ(latest->imageOrientation(), 6); // upright, and a sensor that lies on its side

    controller->setSampleBufferOrientation(AVCaptureVideoOrientationLandscapeRight);
    settle();
    sendFrame();
    EXPECT_EQ(latest->imageOrientation(), 1);
    controller->setSampleBufferOrientation(AVCaptureVideoOrientationLandscapeLeft);
    settle();
    sendFrame();
    EXPECT_EQ(latest->imageOrientation(), 3);
    controller->setSampleBufferOrientation(AVCaptureVideoOrientationPortraitUpsideDown);
    settle();
    sendFrame();
    EXPECT_EQ(latest->imageOrientation(), 8);
}

TEST_F(SampleBuffers, SayWhetherTheirConnectionMirrorsThem)
{
    construct(QVCameraCaptureIntentSampleBuffers);
    controller->startSession();
    controller->beginReceivingVideoSampleBuffer(countVideo());
    output<AVCaptureVideoDataOutput>()->connectionWithMediaType(AVMediaTypeVideo)->setVideoMirrored(true);
    sendFrame();

    EXPECT_EQ(latest->imageOrientation(), 5);
}

TEST_F(SampleBuffers, OnlyAnAudioProcessorPreparesAudioAndClearsTheVideoProcessor)
{
    constructAndStart(QVCameraCaptureIntentSampleBuffers | QVCameraCaptureIntentAudio);
    controller->beginReceivingVideoSampleBuffer(countVideo());
    controller->beginReceivingVideoSampleBuffer(nullptr, countAudio());
    sendFrame();

    EXPECT_EQ(video, 0);
    EXPECT_EQ(controller->videoSampleBufferProcessor(), nullptr);
    EXPECT_NE(output<AVCaptureAudioDataOutput>(), nullptr);
}

TEST_F(SampleBuffers, OnlyAVideoProcessorClearsTheAudioProcessor)
{
    constructAndStart(QVCameraCaptureIntentAudio);
    controller->beginReceivingVideoSampleBuffer(countVideo(), countAudio());
    controller->beginReceivingVideoSampleBuffer(countVideo());
    sendAudio();

    EXPECT_EQ(audio, 0);
}

TEST_F(SampleBuffers, EndingKeepsTheOutputs)
{
    constructAndStart();
    controller->beginReceivingVideoSampleBuffer(countVideo(), countAudio());
    const auto before = controller->captureSession()->outputs();
    controller->endReceivingSampleBuffer();
    sendFrame();

    EXPECT_EQ(video, 0);
    EXPECT_EQ(controller->captureSession()->outputs(), before);
}

TEST_F(SampleBuffers, WithoutAVideoDataOutputNothingIsInstalled)
{
    constructAndStart();
    phone.fail({ .step = Step::CreateVideoOutput, .outcome = Outcome::Nothing, .times = 0 });
    controller->beginReceivingVideoSampleBuffer(countVideo(), countAudio());

    EXPECT_EQ(log.lines(), Lines { "[QVCameraController] Cannot receive video sample without sample data output." });
    EXPECT_EQ(controller->videoSampleBufferProcessor(), nullptr);
    EXPECT_EQ(controller->audioSampleBufferProcessor(), nullptr);
}

TEST_F(SampleBuffers, WithoutAnAudioDataOutputNothingIsInstalled)
{
    constructAndStart();
    phone.fail({ .step = Step::CreateAudioOutput, .outcome = Outcome::Nothing, .times = 0 });
    controller->beginReceivingVideoSampleBuffer(countVideo(), countAudio());

    EXPECT_EQ(log.lines(), Lines { "[QVCameraController] Cannot receive audio sample without sample data output." });
    EXPECT_EQ(controller->videoSampleBufferProcessor(), nullptr);
}

TEST_F(SampleBuffers, AnOrientationReachesThePhotoOutputToo)
{
    construct(QVCameraCaptureIntentStillImage | QVCameraCaptureIntentSampleBuffers);
    controller->setSampleBufferOrientation(AVCaptureVideoOrientationLandscapeRight);
    settle();

    EXPECT_EQ(output<AVCapturePhotoOutput>()->connections().front()->videoOrientation(),
        AVCaptureVideoOrientationLandscapeRight);
}

TEST_F(SampleBuffers, AnOrientationIsSetOnlyWhereItDiffers)
{
    construct(QVCameraCaptureIntentStillImage | QVCameraCaptureIntentSampleBuffers);
    const auto changes = [this] {
        const auto& journal = phone.journal();
        return std::count_if(journal.begin(), journal.end(),
            [](const auto& entry) { return entry.what.starts_with("connection videoOrientation"); });
    };
    controller->setSampleBufferOrientation(AVCaptureVideoOrientationLandscapeRight);
    settle();
    const auto before = changes();
    output<AVCapturePhotoOutput>()->connections().front()->setVideoOrientation(AVCaptureVideoOrientationPortrait);
    controller->setSampleBufferOrientation(AVCaptureVideoOrientationLandscapeRight);
    settle();

    EXPECT_EQ(changes() - before, 2); // the test's own, and the photo output's way back
    EXPECT_EQ(output<AVCapturePhotoOutput>()->connections().front()->videoOrientation(),
        AVCaptureVideoOrientationLandscapeRight);
}

TEST_F(SampleBuffers, RecommendWriterSettingsWhereThereIsAnOutput)
{
    construct(QVCameraCaptureIntentStillImage | QVCameraCaptureIntentAudio);
    EXPECT_FALSE(controller->recommendedVideoSettingsForAssetWriterWithOutputFileType(AVFileTypeQuickTimeMovie));
    controller->prepareToReceiveSampleBuffers(QVSampleBufferTypeVideo);
    EXPECT_TRUE(controller->recommendedVideoSettingsForAssetWriterWithOutputFileType(AVFileTypeQuickTimeMovie));
    EXPECT_FALSE(controller->recommendedAudioSettingsForAssetWriterWithOutputFileType(AVFileTypeQuickTimeMovie));

    controller->prepareToReceiveSampleBuffers(QVSampleBufferTypeAudio);
    EXPECT_TRUE(controller->recommendedAudioSettingsForAssetWriterWithOutputFileType(AVFileTypeQuickTimeMovie));
}

class SessionPreset : public ControllerTest { };

TEST_F(SessionPreset, ResetAppliesTheStoredOne)
{
    construct();
    controller->setCaptureSessionPreset(AVCaptureSessionPresetHigh);
    controller->resetToSessionPreset();

    EXPECT_EQ(controller->captureSession()->sessionPreset(), AVCaptureSessionPresetHigh);
}

TEST_F(SessionPreset, ResetLeavesOneThatTheSessionCannotUse)
{
    construct();
    controller->setCaptureSessionPreset("AVCaptureSessionPresetOfNobody");
    controller->resetToSessionPreset();

    EXPECT_EQ(controller->captureSession()->sessionPreset(), AVCaptureSessionPresetPhoto);
    EXPECT_EQ(controller->captureSessionPreset(), "AVCaptureSessionPresetOfNobody");
    for (const auto& entry : phone.journal())
        EXPECT_FALSE(entry.what.starts_with("refused")) << "the session was not asked before: " << entry.what;
}

TEST_F(SessionPreset, ResetAppliesThePreferredFrameRateAgain)
{
    construct();
    controller->setVideoFrameRate(24);
    const auto device = controller->currentVideoCaptureDevice();
    device->lockForConfiguration();
    device->setActiveVideoMaxFrameDuration(CMTimeMake(1, 15));
    device->unlockForConfiguration();
    controller->resetToSessionPreset();

    EXPECT_EQ(controller->videoFrameRate(), 24U);
    EXPECT_EQ(phone.journal().back().queue, ""); // on the caller's thread
}

TEST_F(SessionPreset, ResetMayFindThePreferredRateRefusedByAnotherFormat)
{
    phone.change([](PhoneDescription& description) {
        auto& camera = description.cameras[0];
        camera.formats.push_back(camera.formats[0]);
        camera.formats[0].frameRates = { { 1, 60, std::nullopt } };
        camera.presets = { { AVCaptureSessionPresetPhoto, 0 }, { AVCaptureSessionPresetHigh, 1 } };
    });
    construct();
    controller->setVideoFrameRate(48);
    controller->setCaptureSessionPreset(AVCaptureSessionPresetHigh);
    controller->resetToSessionPreset();

    EXPECT_EQ(log.lines(),
        Lines { "[QVCameraController] Device does not support video capture at 48 frames per second. Ignoring." });
}

TEST_F(SessionPreset, ResetWithoutAPreferredRateLeavesTheDeviceAlone)
{
    construct();
    const auto locks = [this] {
        std::size_t count = 0;
        for (const auto& entry : phone.journal())
            count += entry.what == "lock" ? 1U : 0U;
        return count;
    };
    const auto before = locks();
    controller->resetToSessionPreset();

    EXPECT_EQ(locks(), before);
    EXPECT_EQ(log.lines(), Lines {}); // no rate was refused either
}

}
