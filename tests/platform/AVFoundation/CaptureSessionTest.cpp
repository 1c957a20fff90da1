// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/AVCaptureMetadataOutput.h"
#include "platform/AVFoundation/AVCapturePhotoOutput.h"
#include "platform/AVFoundation/AVCaptureVideoDataOutput.h"
#include "platform/AVFoundation/AVCaptureVideoPreviewLayer.h"
#include "platform/Foundation/NSNotificationCenter.h"

#include "tests/support/SessionTest.h"

using namespace velmora;
using namespace velmora::drivers::phone;
using namespace velmora::tests;

namespace {

PhoneDescription phoneWithPresets()
{
    auto description = smallPhone();
    auto& back = description.cameras[0];
    back.formats.push_back(back.formats[0]);
    back.formats[1].size = { 800, 600 };
    back.formats[1].depth = { { 320, 240 } };
    back.formats.push_back(back.formats[0]);
    back.formats[2].size = { 400, 300 };
    back.presets[AVCaptureSessionPresetPhoto] = 1;
    back.presets["medium"] = std::nullopt;
    back.stabilizationModes = { 0, 1, 3 };
    description.cameras[1].presets = { { AVCaptureSessionPresetHigh, std::nullopt } };
    return description;
}

class CaptureSession : public SessionTest {
protected:
    CaptureSession()
        : SessionTest(phoneWithPresets())
    {
    }
    int width(const std::string& id) const
    {
        return device(id)->activeFormat()->formatDescription()->dimensions().width;
    }
    static std::shared_ptr<AVCaptureConnection> video(const std::shared_ptr<AVCaptureOutput>& output)
    {
        return output->connectionWithMediaType(AVMediaTypeVideo);
    }
};

TEST_F(CaptureSession, RunsWhenStartRunningReturns)
{
    add("back");
    std::vector<bool> seen;
    const auto token = session->observe("running", NSKeyValueObservingOptionInitial | NSKeyValueObservingOptionNew,
        [&](const NSKeyValueChange& change) { seen.push_back(unbox<bool>(change.newValue)); });
    session->startRunning();
    session->startRunning();
    EXPECT_TRUE(session->isRunning());
    session->stopRunning();

    EXPECT_EQ(seen, (std::vector<bool> { false, true, false }));
}

TEST_F(CaptureSession, ASecondStartLeavesTheCameraAlone)
{
    add("back");
    session->startRunning();
    phone.fail({ .step = Step::Start, .outcome = Outcome::Late, .delay = 2 });
    session->startRunning();

    EXPECT_EQ(clock.now(), 0.0); // nor does it wait
    EXPECT_EQ(journalled("start"), 1U);
    EXPECT_EQ(journalled("stop"), 0U);
}

TEST_F(CaptureSession, RunsWithoutAnyInput)
{
    session->startRunning();
    EXPECT_TRUE(session->isRunning());
}

TEST_F(CaptureSession, ASlowStartHoldsTheCaller)
{
    phone.fail({ .step = Step::Start, .outcome = Outcome::Late, .delay = 2 });
    add("back");
    session->startRunning();

    EXPECT_TRUE(session->isRunning());
    EXPECT_EQ(clock.now(), 2.0);
}

TEST_F(CaptureSession, AStartThatNeverComesLeavesItStopped)
{
    phone.fail({ .step = Step::Start, .outcome = Outcome::Never });
    add("back");
    session->startRunning();

    EXPECT_FALSE(session->isRunning());
}

TEST_F(CaptureSession, TakesOneCameraOnly)
{
    add("back");

    EXPECT_FALSE(session->canAddInput(input("back")));
    session->setSessionPreset(AVCaptureSessionPresetHigh);
    EXPECT_FALSE(session->canAddInput(input("front")));
    EXPECT_FALSE(session->canAddInput(nullptr));
}

TEST_F(CaptureSession, SeesAPresetThatWasSetInTheSameTransaction)
{
    session->beginConfiguration();
    session->setSessionPreset(AVCaptureSessionPresetPhoto);
    EXPECT_FALSE(session->canAddInput(input("front")));
    session->setSessionPreset(AVCaptureSessionPresetHigh);
    EXPECT_TRUE(session->canAddInput(input("front")));
    session->commitConfiguration();
}

TEST_F(CaptureSession, AnInputIsRefusedByTheDriverForOnePreset)
{
    phone.change([](PhoneDescription& description) {
        description.refusedInputs = { { "back", AVCaptureSessionPresetPhoto } };
    });
    session->setSessionPreset(AVCaptureSessionPresetPhoto);
    EXPECT_FALSE(session->canAddInput(input("back")));
    session->setSessionPreset(AVCaptureSessionPresetHigh);
    EXPECT_TRUE(session->canAddInput(input("back")));
}

TEST_F(CaptureSession, APresetThatCannotBeSetIsIgnored)
{
    add("front");
    EXPECT_FALSE(session->canSetSessionPreset(AVCaptureSessionPresetPhoto));
    session->setSessionPreset(AVCaptureSessionPresetPhoto);

    EXPECT_EQ(session->sessionPreset(), AVCaptureSessionPresetHigh);
}

TEST_F(CaptureSession, APresetChoosesTheFormatThatTheCameraNames)
{
    add("back");
    EXPECT_EQ(width("back"), 640);
    session->setSessionPreset(AVCaptureSessionPresetPhoto);
    EXPECT_EQ(width("back"), 800);
    session->setSessionPreset("medium");
    EXPECT_EQ(width("back"), 800);
}

TEST_F(CaptureSession, APresetLeavesAFormatOfTheSameTransactionAlone)
{
    session->beginConfiguration();
    add("back");
    device("back")->setActiveFormat(device("back")->formats()[2]);
    session->setSessionPreset(AVCaptureSessionPresetPhoto);
    session->commitConfiguration();
    EXPECT_EQ(width("back"), 400);

    session->setSessionPreset(AVCaptureSessionPresetPhoto);
    EXPECT_EQ(width("back"), 800);
}

TEST_F(CaptureSession, OnlyTheOuterCommitReconfiguresIt)
{
    add("back");
    const std::size_t before = journalled("reconfigured");
    session->beginConfiguration();
    session->beginConfiguration();
    session->addOutput(AVCapturePhotoOutput::init());
    session->commitConfiguration();
    EXPECT_EQ(journalled("reconfigured"), before);
    session->commitConfiguration();
    EXPECT_EQ(journalled("reconfigured"), before + 1);
}

TEST_F(CaptureSession, AnOutputHasItsConnectionsInsideAnOpenTransaction)
{
    const auto output = AVCaptureVideoDataOutput::init();
    session->beginConfiguration();
    add("back");
    session->addOutput(output);
    EXPECT_NE(video(output), nullptr);
    session->commitConfiguration();
}

TEST_F(CaptureSession, AnotherCameraMakesNewConnections)
{
    const auto output = AVCaptureVideoDataOutput::init();
    session->addOutput(output);
    const auto back = add("back");
    const auto before = video(output);
    before->setVideoOrientation(AVCaptureVideoOrientationLandscapeLeft);
    before->setVideoMirrored(true);
    session->removeInput(back);
    EXPECT_EQ(video(output), nullptr);
    add("front");

    ASSERT_NE(video(output), nullptr);
    EXPECT_NE(video(output), before);
    EXPECT_EQ(video(output)->videoOrientation(), AVCaptureVideoOrientationPortrait);
    EXPECT_FALSE(video(output)->isVideoMirrored());
}

TEST_F(CaptureSession, AnOutputThatIsThereIsNotAddedAgain)
{
    const auto output = AVCapturePhotoOutput::init();
    session->addOutput(output);
    session->addOutput(output);

    EXPECT_EQ(session->outputs().size(), 1U);
    session->removeOutput(output);
    EXPECT_TRUE(session->outputs().empty());
}

TEST_F(CaptureSession, AnOutputOfAnotherSessionIsRefused)
{
    const auto other = make<AVCaptureSession>();
    const auto output = AVCapturePhotoOutput::init();
    other->addOutput(output);
    session->addOutput(output);

    EXPECT_TRUE(session->outputs().empty());
}

TEST_F(CaptureSession, PhotoConnectionsAreThoseOfTheDriver)
{
    phone.change([](PhoneDescription& description) { description.photoConnections = { "audio", "video" }; });
    const auto output = AVCapturePhotoOutput::init();
    session->addOutput(output);
    add("back");

    ASSERT_EQ(output->connections().size(), 2U);
    EXPECT_EQ(output->connections()[0]->mediaType(), AVMediaTypeAudio);
    EXPECT_EQ(video(output), output->connections()[1]);
}

TEST_F(CaptureSession, AMetadataOutputHasNoVideoConnection)
{
    const auto output = AVCaptureMetadataOutput::init();
    session->addOutput(output);
    add("back");

    EXPECT_EQ(video(output), nullptr);
    EXPECT_EQ(output->connections().size(), 1U);
}

TEST_F(CaptureSession, AConnectionIgnoresOrientationsThatDoNotExist)
{
    const auto output = AVCapturePhotoOutput::init();
    session->addOutput(output);
    add("back");
    video(output)->setVideoOrientation(AVCaptureVideoOrientationLandscapeRight);
    video(output)->setVideoOrientation(static_cast<AVCaptureVideoOrientation>(5));
    video(output)->setVideoOrientation(static_cast<AVCaptureVideoOrientation>(0));

    EXPECT_EQ(video(output)->videoOrientation(), AVCaptureVideoOrientationLandscapeRight);
}

TEST_F(CaptureSession, StabilisationFallsBackToWhatTheCameraCanDo)
{
    const auto output = AVCaptureVideoDataOutput::init();
    session->addOutput(output);
    add("back");
    const auto connection = video(output);
    EXPECT_TRUE(connection->isVideoStabilizationSupported());
    connection->setPreferredVideoStabilizationMode(AVCaptureVideoStabilizationModeCinematicExtended);
    EXPECT_EQ(connection->activeVideoStabilizationMode(), 3);
    connection->setPreferredVideoStabilizationMode(AVCaptureVideoStabilizationModeCinematic);
    EXPECT_EQ(connection->activeVideoStabilizationMode(), 0);
    connection->setPreferredVideoStabilizationMode(AVCaptureVideoStabilizationModeAuto);
    EXPECT_EQ(connection->activeVideoStabilizationMode(), 1);
    EXPECT_EQ(connection->preferredVideoStabilizationMode(), -1);
}

TEST_F(CaptureSession, ABrokenCameraStopsItAndPostsTheError)
{
    add("back");
    session->startRunning();
    std::vector<std::int64_t> codes;
    const auto token = NSNotificationCenter::defaultCenter().addObserver(
        AVCaptureSessionRuntimeErrorNotification, session, [&](const NSNotification& note) {
            codes.push_back(unbox<std::shared_ptr<NSError>>(note.userInfo.at(AVCaptureSessionErrorKey))->code());
        });
    phone.breakSession(NSError(AVFoundationErrorDomain, -11819));
    settle();

    EXPECT_FALSE(session->isRunning());
    EXPECT_EQ(codes, (std::vector<std::int64_t> { -11819 }));
}

TEST_F(CaptureSession, AnInterruptionStopsItUntilItEnds)
{
    add("back");
    session->startRunning();
    std::vector<std::string> names;
    const auto token = NSNotificationCenter::defaultCenter().addObserver(
        "", session, [&](const NSNotification& note) { names.push_back(note.name); });
    phone.interruptSession();
    settle();
    EXPECT_FALSE(session->isRunning());
    EXPECT_TRUE(session->isInterrupted());
    phone.resumeSession();
    settle();

    EXPECT_TRUE(session->isRunning());
    EXPECT_EQ(names,
        (std::vector<std::string> {
            "AVCaptureSessionWasInterruptedNotification", "AVCaptureSessionInterruptionEndedNotification" }));
}

TEST_F(CaptureSession, AnInterruptionThatEndsAfterAStopStartsNothing)
{
    add("back");
    session->startRunning();
    phone.interruptSession();
    settle();
    session->stopRunning();
    phone.resumeSession();
    settle();

    EXPECT_FALSE(session->isRunning());
}

/// Two sessions of one camera, and the frames that each has delivered.
class SharedCamera : public SessionTest {
protected:
    class Frames : public AVCaptureVideoDataOutputSampleBufferDelegate {
    public:
        void captureOutput(const std::shared_ptr<AVCaptureOutput>&, const std::shared_ptr<CMSampleBuffer>&,
            const std::shared_ptr<AVCaptureConnection>&) override
        {
            ++count;
        }
        int count = 0;
    };
    SharedCamera()
    {
        fill(*session, first);
        fill(*second, others);
        session->startRunning();
        clock.advance(0.2);
    }
    ~SharedCamera() override
    {
        second->stopRunning();
        settle();
    }
    void fill(AVCaptureSession& filled, const std::shared_ptr<Frames>& frames) const
    {
        const auto output = AVCaptureVideoDataOutput::init();
        output->setSampleBufferDelegate(frames, DispatchQueue::main());
        filled.addInput(input("back"));
        filled.addOutput(output);
    }
    bool delivers(const Frames& frames)
    {
        const int before = frames.count;
        clock.advance(0.2);
        return frames.count > before;
    }

    const std::shared_ptr<AVCaptureSession> second = make<AVCaptureSession>();
    const std::shared_ptr<Frames> first = std::make_shared<Frames>(), others = std::make_shared<Frames>();
};

TEST_F(SharedCamera, TheNewestSessionHasIt)
{
    EXPECT_TRUE(delivers(*first));
    second->startRunning();
    settle();

    EXPECT_TRUE(delivers(*others));
    EXPECT_FALSE(delivers(*first));
    EXPECT_FALSE(session->isRunning());
    EXPECT_TRUE(session->isInterrupted());
}

TEST_F(SharedCamera, ALateStopOfTheFirstLeavesItToTheSecond)
{
    second->startRunning();
    clock.advance(3);
    session->stopRunning();

    EXPECT_TRUE(second->isRunning());
    EXPECT_TRUE(delivers(*others));
    second->stopRunning();
    settle();
    EXPECT_FALSE(session->isRunning());
}

TEST_F(SharedCamera, AStopBeforeTheFirstHasHeardLeavesItToTheSecond)
{
    second->startRunning();
    session->stopRunning();
    settle();

    EXPECT_TRUE(delivers(*others));
    EXPECT_FALSE(session->isInterrupted());
}

TEST_F(SharedCamera, GoesBackWhenTheSecondStops)
{
    std::vector<std::string> names;
    const auto token = NSNotificationCenter::defaultCenter().addObserver(
        "", session, [&](const NSNotification& note) { names.push_back(note.name); });
    second->startRunning();
    settle();
    second->stopRunning();
    settle();

    EXPECT_TRUE(session->isRunning());
    EXPECT_TRUE(delivers(*first));
    EXPECT_EQ(names,
        (std::vector<std::string> {
            "AVCaptureSessionWasInterruptedNotification", "AVCaptureSessionInterruptionEndedNotification" }));
}

TEST_F(SharedCamera, GoesBackToWhoAsksAgainBeforeHavingHeard)
{
    second->startRunning();
    session->startRunning();
    settle();

    EXPECT_TRUE(session->isRunning());
    EXPECT_TRUE(delivers(*first));
    EXPECT_FALSE(second->isRunning());
    EXPECT_TRUE(second->isInterrupted());
}

TEST_F(SharedCamera, AChangeOfTheFirstTakesNothingBack)
{
    second->startRunning();
    session->addOutput(AVCapturePhotoOutput::init());
    settle();
    session->addOutput(AVCaptureMetadataOutput::init());

    EXPECT_TRUE(delivers(*others));
    EXPECT_FALSE(session->isRunning());
}

TEST_F(SharedCamera, GoesBackWhenTheSecondCannotStart)
{
    phone.fail({ .step = Step::Start, .outcome = Outcome::Error });
    second->startRunning();
    settle();

    EXPECT_FALSE(second->isRunning());
    EXPECT_TRUE(session->isRunning());
    EXPECT_TRUE(delivers(*first));
}

TEST_F(SharedCamera, IsFreeWhenTheSecondEnds)
{
    {
        const auto third = make<AVCaptureSession>();
        third->addInput(input("back"));
        third->startRunning();
        settle();
        EXPECT_FALSE(session->isRunning());
    }
    settle();
    EXPECT_TRUE(delivers(*first));
}

TEST_F(CaptureSession, EndsWithItsLastReference)
{
    add("back");
    session->addOutput(AVCapturePhotoOutput::init());
    session->startRunning();
    clock.advance(0.2);
    const std::weak_ptr<AVCaptureSession> weak = session;
    session = make<AVCaptureSession>();
    settle();

    EXPECT_TRUE(weak.expired());
    add("back");
    session->startRunning();
    EXPECT_TRUE(session->isRunning());
}

class PreviewLayer : public SessionTest {
protected:
    PreviewLayer() { layer->setFrame(CGRectMake(0, 0, 300, 600)); } // the upright picture is 480 by 640

    const std::shared_ptr<AVCaptureVideoPreviewLayer> layer = AVCaptureVideoPreviewLayer::initWithSession(session);
};

TEST_F(PreviewLayer, HasAConnectionWhileThereIsACamera)
{
    EXPECT_EQ(layer->connection(), nullptr);
    const auto back = add("back");
    EXPECT_NE(layer->connection(), nullptr);
    session->removeInput(back);
    EXPECT_EQ(layer->connection(), nullptr);
}

TEST_F(PreviewLayer, HasNoConnectionWhereThePhoneGivesNone)
{
    phone.change([](PhoneDescription& description) { description.previewConnection = false; });
    add("back");
    EXPECT_EQ(layer->connection(), nullptr);
}

TEST_F(PreviewLayer, ConvertsPointsOfAFilledLayer)
{
    add("back");
    layer->setVideoGravity(AVLayerVideoGravityResizeAspectFill);
    // Scaled by 600/640 the picture is 450 wide: 75 points are cropped on either side.
    EXPECT_EQ(layer->videoRect(), CGRectMake(-75, 0, 450, 600));
    EXPECT_EQ(layer->captureDevicePointOfInterestForPoint({ 150, 300 }), CGPointMake(0.5, 0.5));
    EXPECT_EQ(layer->captureDevicePointOfInterestForPoint({ -75, 0 }), CGPointMake(0, 1));
    EXPECT_EQ(layer->captureDevicePointOfInterestForPoint({ 37.5, 150 }), CGPointMake(0.25, 0.75));
}

TEST_F(PreviewLayer, ConvertsPointsOfAFittedLayer)
{
    add("back");
    EXPECT_EQ(layer->videoRect(), CGRectMake(0, 100, 300, 400));
    EXPECT_EQ(layer->captureDevicePointOfInterestForPoint({ 0, 100 }), CGPointMake(0, 1));
    EXPECT_EQ(layer->captureDevicePointOfInterestForPoint({ 300, 500 }), CGPointMake(1, 0));
}

TEST_F(PreviewLayer, TurnsAndMirrorsWithItsConnection)
{
    add("back");
    layer->setVideoGravity(AVLayerVideoGravityResize);
    layer->connection()->setVideoMirrored(true);
    EXPECT_EQ(layer->captureDevicePointOfInterestForPoint({ 75, 150 }), CGPointMake(0.25, 0.25));
    layer->connection()->setVideoMirrored(false);
    layer->connection()->setVideoOrientation(AVCaptureVideoOrientationLandscapeRight);
    EXPECT_EQ(layer->captureDevicePointOfInterestForPoint({ 75, 150 }), CGPointMake(0.25, 0.25));
    layer->connection()->setVideoOrientation(AVCaptureVideoOrientationLandscapeLeft);
    EXPECT_EQ(layer->captureDevicePointOfInterestForPoint({ 75, 150 }), CGPointMake(0.75, 0.75));
    layer->connection()->setVideoOrientation(AVCaptureVideoOrientationPortraitUpsideDown);
    EXPECT_EQ(layer->captureDevicePointOfInterestForPoint({ 75, 150 }), CGPointMake(0.75, 0.25));
}

TEST_F(PreviewLayer, AnswersTheMiddleWithoutACamera)
{
    EXPECT_EQ(layer->captureDevicePointOfInterestForPoint({ 10, 10 }), CGPointMake(0.5, 0.5));
}

}
