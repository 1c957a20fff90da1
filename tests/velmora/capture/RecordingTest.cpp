// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/AVCaptureAudioDataOutput.h"
#include "platform/AVFoundation/AVCaptureConnection.h"
#include "platform/AVFoundation/AVCaptureMovieFileOutput.h"
#include "platform/AVFoundation/AVCapturePhotoOutput.h"
#include "platform/AVFoundation/AVCaptureVideoDataOutput.h"
#include "platform/AVFoundation/AVError.h"
#include "platform/AVFoundation/MovieWriter.h"
#include "platform/CoreLocation/CLLocation.h"
#include "platform/Foundation/ProcessState.h"

#include "tests/support/ControllerTest.h"
#include "tests/support/Environment.h"
#include "tests/support/Require.h"
#include "tests/support/Subprocess.h"
#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <filesystem>

namespace velmora::tests {

using namespace drivers::phone;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using testing::SizeIs;

/// Movies go to a folder of the test's own.
class Recording : public ControllerTest {
protected:
    struct Written {
        std::string name, path;
        std::optional<NSError> error;
    };

    Recording() { construct(QVCameraCaptureIntentStillImage | QVCameraCaptureIntentAudio); }
    ~Recording() override
    {
        controller->endCapturingVideo(nullptr);
        settle();
    }

    void prepareAndStart()
    {
        controller->prepareToCaptureVideo();
        controller->startSession();
        settle();
    }
    /// Notes who was told of the end.
    QVCameraController::MovieFileWrittenHandler noting(std::string name = "end")
    {
        return [this, name](const std::shared_ptr<NSURL>& url, const std::optional<NSError>& error) {
            ended.push_back({ name, url->path(), error });
        };
    }
    void endAndSettle()
    {
        controller->endCapturingVideo(noting());
        settle();
    }
    std::vector<std::string> names() const
    {
        std::vector<std::string> found;
        for (const auto& each : ended)
            found.push_back(each.name);
        return found;
    }
    std::vector<std::string> movies() const
    {
        std::vector<std::string> found;
        for (const auto& each : std::filesystem::directory_iterator(folder.path()))
            if (each.path().extension() == ".mov")
                found.push_back(each.path().filename());
        return found;
    }
    /// What ffprobe reads, one value a line.
    std::string probe(const std::string& what) const
    {
        return runCommand("ffprobe -v error -of default=nw=1:nk=1 -show_entries " + what + " " + ended.at(0).path)
            .output;
    }

    TemporaryFolder folder;
    Environment temporary { "TMPDIR", folder.path() };
    std::vector<Written> ended;
};

TEST_F(Recording, PreparingPutsTheMovieOutputInThePlaceOfTheDataOutputs)
{
    controller->prepareToReceiveSampleBuffers(QVSampleBufferTypeVideo | QVSampleBufferTypeAudio);
    const auto video = output<AVCaptureVideoDataOutput>();
    const auto audio = output<AVCaptureAudioDataOutput>();
    controller->prepareToCaptureVideo();
    EXPECT_NE(output<AVCaptureMovieFileOutput>(), nullptr);
    EXPECT_EQ(output<AVCaptureVideoDataOutput>(), nullptr);
    EXPECT_EQ(output<AVCaptureAudioDataOutput>(), nullptr);
    EXPECT_NE(output<AVCapturePhotoOutput>(), nullptr); // the modes share the session with it
    EXPECT_FALSE(controller->recommendedVideoSettingsForAssetWriterWithOutputFileType(AVFileTypeQuickTimeMovie));
    EXPECT_FALSE(controller->recommendedAudioSettingsForAssetWriterWithOutputFileType(AVFileTypeQuickTimeMovie));
    controller->prepareToReceiveSampleBuffers(QVSampleBufferTypeVideo | QVSampleBufferTypeAudio);
    EXPECT_NE(output<AVCaptureVideoDataOutput>(), video); // dropped, and made anew
    EXPECT_NE(output<AVCaptureAudioDataOutput>(), audio);
}

TEST_F(Recording, BothModesLeaveTheMetadataOutputWhereItIs)
{
    construct(QVCameraCaptureIntentStillImage | QVCameraCaptureIntentFaceDetection);
    const auto faces = output<AVCaptureMetadataOutput>();
    ASSERT_NE(faces, nullptr);
    controller->prepareToCaptureVideo();
    EXPECT_EQ(output<AVCaptureMetadataOutput>(), faces);
    controller->prepareToReceiveSampleBuffers(QVSampleBufferTypeVideo);
    EXPECT_EQ(output<AVCaptureMetadataOutput>(), faces);
    EXPECT_NE(output<AVCapturePhotoOutput>(), nullptr);
}

TEST_F(Recording, PreparingTwiceIsPreparingOnce)
{
    int completions = 0;
    controller->prepareToCaptureVideo();
    const auto made = output<AVCaptureMovieFileOutput>();
    controller->setCameraConfigurationCompletionBlock([&] { ++completions; });
    controller->prepareToCaptureVideo();
    settle();
    EXPECT_EQ(output<AVCaptureMovieFileOutput>(), made);
    EXPECT_EQ(completions, 0);
}

TEST_F(Recording, PreparingFiresTheOneShotCompletionOnce)
{
    int completions = 0;
    controller->setCameraConfigurationCompletionBlock([&] { ++completions; });
    controller->prepareToCaptureVideo();
    settle();
    EXPECT_EQ(completions, 1);
}

TEST_F(Recording, ReceivingSampleBuffersTakesTheMovieOutputAway)
{
    controller->prepareToReceiveSampleBuffers(QVSampleBufferTypeVideo);
    controller->prepareToCaptureVideo();
    controller->beginReceivingVideoSampleBuffer([](const std::shared_ptr<CMSampleBuffer>&) {});
    EXPECT_EQ(output<AVCaptureMovieFileOutput>(), nullptr);
    EXPECT_NE(output<AVCaptureVideoDataOutput>(), nullptr);
    controller->prepareToCaptureVideo(); // prepared again, for the flag was cleared
    EXPECT_NE(output<AVCaptureMovieFileOutput>(), nullptr);
    EXPECT_EQ(output<AVCaptureVideoDataOutput>(), nullptr);
}

TEST_F(Recording, BeforeAnyPreparationTheDurationHasAllFieldsZero)
{
    const CMTime duration = controller->currentCapturedVideoDuration();
    EXPECT_EQ(duration.value, 0);
    EXPECT_EQ(duration.timescale, 0);
    EXPECT_EQ(duration.flags, 0U);
    EXPECT_EQ(duration.epoch, 0);
    EXPECT_FALSE(controller->isCapturingVideo());
}

TEST_F(Recording, TheFileIsNamedAfterTheMomentInTheTemporaryFolder)
{
    prepareAndStart();
    clock.advance(0.25); // 2026-01-02 03:04:05.25, in seconds since 2001
    controller->beginCapturingVideo(nullptr);
    clock.advance(0.5);
    endAndSettle();
    ASSERT_THAT(ended, SizeIs(1));
    EXPECT_FALSE(ended[0].error);
    EXPECT_EQ(ended[0].path, folder.file("QVCameraRecording-789015845.250000.mov"));
    EXPECT_THAT(movies(), SizeIs(1));
}

TEST_F(Recording, TheDurationGrowsWithTheClockAndStays)
{
    prepareAndStart();
    controller->beginCapturingVideo(nullptr);
    EXPECT_TRUE(controller->isCapturingVideo());
    EXPECT_EQ(CMTimeCompare(controller->currentCapturedVideoDuration(), kCMTimeZero), 0);
    clock.advance(1);
    EXPECT_NEAR(CMTimeGetSeconds(controller->currentCapturedVideoDuration()), 1, 0.07);
    clock.advance(1);
    EXPECT_NEAR(CMTimeGetSeconds(controller->currentCapturedVideoDuration()), 2, 0.07);
    endAndSettle();
    EXPECT_FALSE(controller->isCapturingVideo());
    clock.advance(1);
    EXPECT_NEAR(CMTimeGetSeconds(controller->currentCapturedVideoDuration()), 2, 0.07);
}

TEST_F(Recording, TheHandlerOfTheStopTakesThePlaceOfTheOneOfTheStart)
{
    prepareAndStart();
    controller->beginCapturingVideo(noting("start"));
    clock.advance(0.5);
    controller->endCapturingVideo(noting("stop"));
    settle();
    EXPECT_THAT(names(), ElementsAre("stop"));
}

TEST_F(Recording, StoppedWithoutAHandlerItReportsToNobody)
{
    prepareAndStart();
    controller->beginCapturingVideo(noting("start"));
    clock.advance(0.5);
    controller->endCapturingVideo(nullptr);
    settle();
    EXPECT_THAT(ended, IsEmpty());
    EXPECT_THAT(movies(), SizeIs(1)); // the file is there all the same
}

TEST_F(Recording, AtItsLimitItEndsByItselfAndTellsTheHandlerOfTheStartOnce)
{
    prepareAndStart();
    controller->beginCapturingVideoWithLimit(CMTimeMake(1, 1), noting("premature"));
    clock.advance(3);
    ASSERT_THAT(names(), ElementsAre("premature"));
    EXPECT_FALSE(ended[0].error);
    EXPECT_FALSE(controller->isCapturingVideo());
    EXPECT_EQ(CMTimeCompare(controller->currentCapturedVideoDuration(), CMTimeMake(1, 1)), 0);
    if (requireTool("ffprobe")) {
        EXPECT_NEAR(std::stod(probe("format=duration")), 1.0, 0.04);
    }
}

TEST_F(Recording, TheFrameThatReachesTheLimitIsNotInIt)
{
    prepareAndStart();
    controller->setVideoFrameRate(4);
    clock.advance(1);
    controller->beginCapturingVideoWithLimit(CMTimeMake(1, 1), nullptr);
    clock.advance(3);
    EXPECT_EQ(output<AVCaptureMovieFileOutput>()->recordingCounts().frames, 4U);
    EXPECT_FALSE(controller->isCapturingVideo());
}

TEST_F(Recording, ALimitBetweenTwoFramesIsTheDuration)
{
    prepareAndStart();
    controller->beginCapturingVideoWithLimit(CMTimeMake(19, 20), nullptr);
    clock.advance(3);
    EXPECT_EQ(CMTimeCompare(controller->currentCapturedVideoDuration(), CMTimeMake(19, 20)), 0);
}

TEST_F(Recording, WhatTheEncoderCannotKeepUpWithIsCountedAsDropped)
{
    prepareAndStart();
    controller->beginCapturingVideo(nullptr);
    for (int i = 0; i < 12; ++i)
        phone.sendFrame(); // the encoder has no time in between
    settle();
    const auto counts = output<AVCaptureMovieFileOutput>()->recordingCounts();
    EXPECT_EQ(counts.frames, 8U);
    EXPECT_EQ(counts.droppedOutOfRoom, 4U);
    EXPECT_EQ(counts.late, 7U);
}

TEST_F(Recording, ALimitIsThatOfOneRecording)
{
    prepareAndStart();
    controller->beginCapturingVideoWithLimit(CMTimeMake(1, 2), noting("limited"));
    clock.advance(1);
    ASSERT_THAT(names(), ElementsAre("limited"));
    controller->beginCapturingVideo(noting("unlimited"));
    clock.advance(1);
    EXPECT_TRUE(controller->isCapturingVideo());
    EXPECT_THAT(names(), ElementsAre("limited"));
}

TEST_F(Recording, TheHandlerIsNotClearedSoThatALaterRecordingMayCallItAgain)
{
    prepareAndStart();
    controller->beginCapturingVideo(noting("first"));
    clock.advance(0.3);
    output<AVCaptureMovieFileOutput>()->stopRecording();
    settle();
    EXPECT_TRUE(controller->movieFileWrittenHandler());
    output<AVCaptureMovieFileOutput>()->startRecordingToOutputFileURL(
        NSURL::fileURLWithPath(folder.file("second.mov")), controller);
    clock.advance(0.3);
    output<AVCaptureMovieFileOutput>()->stopRecording();
    settle();
    EXPECT_THAT(names(), ElementsAre("first", "first"));
}

TEST_F(Recording, AnotherStartWhileItRecordsChangesTheHandlerAndNothingElse)
{
    prepareAndStart();
    controller->beginCapturingVideo(noting("first"));
    clock.advance(0.3);
    controller->beginCapturingVideo(noting("second"));
    clock.advance(0.3);
    output<AVCaptureMovieFileOutput>()->stopRecording();
    settle();
    EXPECT_THAT(names(), ElementsAre("second"));
    EXPECT_THAT(movies(), SizeIs(1));
}

TEST_F(Recording, TheMovieHasItsFramesItsSoundItsTurnAndItsTags)
{
    if (!requireTool("ffprobe"))
        return;
    phone.moveTo({ make<CLLocation>(35.0116, 135.7681) });
    prepareAndStart();
    clock.advance(0.5); // the provider hears where it is
    controller->beginCapturingVideo(nullptr);
    clock.advance(2);
    endAndSettle();
    ASSERT_THAT(ended, SizeIs(1));
    EXPECT_FALSE(ended[0].error);
    EXPECT_NEAR(std::stod(probe("format=duration")), 2.0, 0.1);
    const auto codecs = probe("stream=codec_type");
    EXPECT_EQ(codecs, "video\naudio\n");
    const int frames = std::stoi(runCommand("ffprobe -v error -count_frames -select_streams v:0 -show_entries "
                                            "stream=nb_read_frames -of csv=p=0 "
        + ended[0].path)
                                     .output);
    EXPECT_NEAR(frames, 60, 1);
    EXPECT_EQ(static_cast<std::uint64_t>(frames), output<AVCaptureMovieFileOutput>()->recordingCounts().frames);
    EXPECT_EQ(output<AVCaptureMovieFileOutput>()->recordingCounts().dropped(), 0U);
    EXPECT_THAT(probe("stream_side_data=rotation"), HasSubstr("-90")); // held upright
    EXPECT_THAT(probe("format_tags"), HasSubstr("+35.011600+135.768100/"));
    EXPECT_THAT(probe("format_tags=creation_time"), MatchesRegex("20[0-9]{2}-.*\n"));
}

TEST_F(Recording, WithADisabledLocationProviderItDoesNotSayWhere)
{
    if (!requireTool("ffprobe"))
        return;
    phone.moveTo({ make<CLLocation>(35.0116, 135.7681) });
    prepareAndStart();
    clock.advance(0.5);
    controller->beginCapturingVideo(nullptr); // this one does
    clock.advance(0.5);
    controller->endCapturingVideo(nullptr);
    settle();
    controller->setDisableLocationProvider(true);
    controller->beginCapturingVideo(nullptr);
    clock.advance(0.5);
    endAndSettle();
    ASSERT_THAT(ended, SizeIs(1));
    EXPECT_THAT(probe("format_tags"), Not(HasSubstr("+35.0116")));
}

TEST_F(Recording, WithoutAMicrophoneThereIsNoSound)
{
    if (!requireTool("ffprobe"))
        return;
    construct(QVCameraCaptureIntentStillImage);
    prepareAndStart();
    controller->beginCapturingVideo(nullptr);
    clock.advance(0.5);
    endAndSettle();
    ASSERT_THAT(ended, SizeIs(1));
    EXPECT_EQ(probe("stream=codec_type"), "video\n");
}

TEST_F(Recording, AFailureOfTheDeviceEndsItWithTheErrorAndAPlayableFile)
{
    prepareAndStart();
    phone.fail({ .step = Step::Record, .error = NSError("Tests", 7, "The card was pulled."), .call = 10 });
    controller->beginCapturingVideo(noting());
    clock.advance(2);
    ASSERT_THAT(ended, SizeIs(1));
    ASSERT_TRUE(ended[0].error);
    EXPECT_EQ(ended[0].error->domain(), "Tests");
    EXPECT_FALSE(controller->isCapturingVideo());
    if (requireTool("ffprobe")) {
        EXPECT_GT(std::stod(probe("format=duration")), 0.05);
    }
}

TEST_F(Recording, AFullDiskEndsItWithAnErrorOfItsOwnAndAPlayableFile)
{
    prepareAndStart();
    phone.fullAfter(20'000);
    controller->beginCapturingVideo(noting());
    clock.advance(30);
    ASSERT_THAT(ended, SizeIs(1));
    ASSERT_TRUE(ended[0].error);
    EXPECT_EQ(ended[0].error->domain(), AVFoundationErrorDomain);
    EXPECT_EQ(ended[0].error->code(), AVErrorDiskFull);
    if (requireTool("ffprobe")) {
        EXPECT_GT(std::stod(probe("format=duration")), 0.5);
    }
}

TEST_F(Recording, TheDiskGuardEndsItBeforeTheDiskIsFull)
{
    prepareAndStart();
    output<AVCaptureMovieFileOutput>()->setMinFreeDiskSpaceLimit(std::uint64_t { 1 } << 60);
    controller->beginCapturingVideo(noting());
    clock.advance(1);
    ASSERT_THAT(ended, SizeIs(1));
    ASSERT_TRUE(ended[0].error);
    EXPECT_EQ(ended[0].error->code(), AVErrorDiskFull);
    EXPECT_THAT(ended[0].error->localizedDescription(), HasSubstr("are to stay free"));
}

TEST_F(Recording, TheEndOfTheSessionIsTheEndOfTheMovie)
{
    prepareAndStart();
    controller->beginCapturingVideo(noting());
    clock.advance(1);
    controller->stopSession();
    settle();
    ASSERT_THAT(ended, SizeIs(1));
    ASSERT_TRUE(ended[0].error);
    EXPECT_EQ(ended[0].error->code(), AVErrorSessionNotRunning);
    if (requireTool("ffprobe")) {
        EXPECT_NEAR(std::stod(probe("format=duration")), 1, 0.1);
    }
}

TEST_F(Recording, AnUnpluggedCameraEndsItWithAPlayableFile)
{
    prepareAndStart();
    controller->beginCapturingVideo(noting());
    clock.advance(1);
    phone.unplug("back");
    settle();
    ASSERT_THAT(ended, SizeIs(1));
    EXPECT_TRUE(ended[0].error);
    if (requireTool("ffprobe")) {
        EXPECT_NEAR(std::stod(probe("format=duration")), 1, 0.1);
    }
}

TEST_F(Recording, AnotherCameraEndsIt)
{
    prepareAndStart();
    controller->beginCapturingVideo(noting());
    clock.advance(1);
    controller->setDevicePosition(AVCaptureDevicePositionFront);
    settle();
    ASSERT_THAT(ended, SizeIs(1));
    ASSERT_TRUE(ended[0].error);
    EXPECT_EQ(ended[0].error->code(), AVErrorSessionConfigurationChanged);
}

TEST_F(Recording, OnASessionThatDoesNotRunItIsAnErrorAndNoFile)
{
    controller->prepareToCaptureVideo();
    controller->beginCapturingVideo(noting());
    settle();
    ASSERT_THAT(ended, SizeIs(1));
    ASSERT_TRUE(ended[0].error);
    EXPECT_EQ(ended[0].error->code(), AVErrorSessionNotRunning);
    EXPECT_THAT(movies(), IsEmpty());
    EXPECT_FALSE(controller->isCapturingVideo());
}

TEST_F(Recording, StoppedBeforeAFrameItIsAnErrorAndNoFile)
{
    prepareAndStart();
    controller->beginCapturingVideo(nullptr);
    endAndSettle();
    ASSERT_THAT(ended, SizeIs(1));
    ASSERT_TRUE(ended[0].error);
    EXPECT_EQ(ended[0].error->code(), AVErrorNoDataCaptured);
    EXPECT_THAT(movies(), IsEmpty());
}

TEST_F(Recording, StoppingWhatDoesNotRecordOnlyReplacesTheHandler)
{
    controller->endCapturingVideo(noting());
    settle();
    EXPECT_THAT(ended, IsEmpty());
    EXPECT_TRUE(controller->movieFileWrittenHandler());
}

TEST_F(Recording, ItsConnectionGetsNoOrientationWhenItIsPreparedOnlyAtTheNextChange)
{
    controller->setSampleBufferOrientation(AVCaptureVideoOrientationLandscapeRight);
    settle();
    controller->prepareToCaptureVideo();
    const auto connection = output<AVCaptureMovieFileOutput>()->connectionWithMediaType(AVMediaTypeVideo);
    EXPECT_EQ(connection->videoOrientation(), AVCaptureVideoOrientationPortrait);
    controller->setSampleBufferOrientation(AVCaptureVideoOrientationLandscapeLeft);
    settle();
    EXPECT_EQ(connection->videoOrientation(), AVCaptureVideoOrientationLandscapeLeft);
}

TEST_F(Recording, FollowsTheSampleBufferOrientation)
{
    prepareAndStart();
    controller->setSampleBufferOrientation(AVCaptureVideoOrientationLandscapeRight);
    settle();
    EXPECT_EQ(output<AVCaptureMovieFileOutput>()->connectionWithMediaType(AVMediaTypeVideo)->videoOrientation(),
        AVCaptureVideoOrientationLandscapeRight);
}

TEST_F(Recording, AFrameThatTheCameraLosesIsCountedAsDropped)
{
    prepareAndStart();
    phone.change([](PhoneDescription& description) { description.lostFrames = 0.1; });
    controller->beginCapturingVideo(nullptr);
    clock.advance(2);
    endAndSettle();
    const auto counts = output<AVCaptureMovieFileOutput>()->recordingCounts();
    EXPECT_EQ(counts.droppedByDevice, 5U); // the 60th was the sixth, and nothing came after it
    EXPECT_EQ(counts.droppedOutOfRoom, 0U);
    EXPECT_EQ(counts.frames, 54U);
}

TEST_F(Recording, WhatACrashLeftIsCompletedWhenTheFirstControllerIsMade)
{
    if (!requireTool("ffprobe"))
        return;
    const auto path = folder.file("QVCameraRecording-1.000000.mov");
    {
        MovieSettings settings;
        settings.dimensions = { 160, 120 };
        const auto file = MovieWriter::installed()->open(path, settings);
        // One picture: at a change of scene the encoder would begin another fragment.
        const auto picture = CVPixelBuffer::create(160, 120, kCVPixelFormatType_420YpCbCr8BiPlanarFullRange);
        for (int i = 0; i < 90; ++i)
            file->append(*make<CMSampleBuffer>(picture, CMTimeMake(i, 30), static_cast<std::uint64_t>(i)));
    } // never finished
    ProcessState::reset(); // as in a new process
    construct();
    settle();
    EXPECT_EQ(
        runCommand("ffprobe -v error -show_entries stream=nb_frames -of csv=p=0 " + path).output.substr(0, 1), "6");
    ASSERT_FALSE(log.lines().empty());
    EXPECT_THAT(log.lines().back(), HasSubstr("QVCameraRecording-1.000000.mov was left behind and is complete now"));
}

TEST_F(Recording, EveryOperationIsThereByItsSelector)
{
    controller->performSelector("prepareToCaptureVideo");
    controller->startSession();
    settle();
    controller->performSelector("beginCapturingVideoWithLimit:prematureStoppage:", CMTimeMake(5, 1),
        QVCameraController::MovieFileWrittenHandler());
    clock.advance(0.4);
    EXPECT_TRUE(std::any_cast<bool>(controller->performSelector("isCapturingVideo")));
    EXPECT_GT(CMTimeGetSeconds(unbox<CMTime>(controller->performSelector("currentCapturedVideoDuration"))), 0.2);
    controller->performSelector("endCapturingVideo:", noting());
    settle();
    controller->performSelector("beginCapturingVideo:", QVCameraController::MovieFileWrittenHandler());
    EXPECT_THAT(ended, SizeIs(1));
}

using RecordingDeathTest = Recording;

TEST_F(RecordingDeathTest, BegunUnpreparedItStopsTheProcessWithTheQueuesNameAndLeavesNoFile)
{
    controller->startSession();
    EXPECT_DEATH(controller->beginCapturingVideo(nullptr), "org.velmora.Velmora.cameraSessionQueue");
    EXPECT_THAT(movies(), IsEmpty());
}

}
