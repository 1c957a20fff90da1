// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/AVCaptureAudioDataOutput.h"
#include "platform/AVFoundation/AVCaptureMetadataOutput.h"
#include "platform/AVFoundation/AVCaptureVideoDataOutput.h"

#include "tests/support/SessionTest.h"

using namespace velmora;
using namespace velmora::drivers::phone;
using namespace velmora::tests;

namespace {

class Receiver : public AVCaptureVideoDataOutputSampleBufferDelegate,
                 public AVCaptureAudioDataOutputSampleBufferDelegate {
public:
    void captureOutput(const std::shared_ptr<AVCaptureOutput>& output, const std::shared_ptr<CMSampleBuffer>& buffer,
        const std::shared_ptr<AVCaptureConnection>& connection) override
    {
        buffers.push_back(buffer);
        queue = DispatchQueue::currentLabel();
        from = output;
        through = connection;
        if (then)
            std::exchange(then, nullptr)();
    }

    std::vector<std::shared_ptr<CMSampleBuffer>> buffers;
    std::string queue;
    std::shared_ptr<AVCaptureOutput> from;
    std::shared_ptr<AVCaptureConnection> through;
    std::function<void()> then;
};

class VideoData : public SessionTest {
protected:
    VideoData()
    {
        output->setSampleBufferDelegate(receiver, queue);
        session->addOutput(output);
        add("back");
        session->startRunning();
    }

    const DispatchQueue queue { "test.frames" };
    const std::shared_ptr<Receiver> receiver = std::make_shared<Receiver>();
    const std::shared_ptr<AVCaptureVideoDataOutput> output = AVCaptureVideoDataOutput::init();
};

TEST_F(VideoData, ArriveOnTheGivenQueueWithOutputAndConnection)
{
    phone.sendFrame();
    settle();

    ASSERT_EQ(receiver->buffers.size(), 1U);
    EXPECT_EQ(receiver->queue, "test.frames");
    EXPECT_EQ(receiver->from, output);
    EXPECT_EQ(receiver->through, output->connectionWithMediaType(AVMediaTypeVideo));
    EXPECT_EQ(receiver->buffers[0]->imageBuffer()->width(), 640);
}

TEST_F(VideoData, AreTheCamerasOwnAndSayHowTheyAreMeant)
{
    phone.sendFrame();
    settle();

    EXPECT_EQ(receiver->buffers.at(0)->imageBuffer()->width(), 640);
    EXPECT_EQ(receiver->buffers[0]->imageOrientation(), 6);
    EXPECT_EQ(output->frameCounts().turned, 0U);
}

TEST_F(VideoData, AreTurnedForAProcessorThatCannot)
{
    output->setTurnsFrames(true);
    phone.sendFrame();
    settle();

    EXPECT_EQ(receiver->buffers.at(0)->imageBuffer()->width(), 480);
    EXPECT_EQ(receiver->buffers[0]->imageBuffer()->height(), 640);
    EXPECT_EQ(receiver->buffers[0]->imageOrientation(), 1);
    EXPECT_EQ(output->frameCounts().turned, 1U);
}

TEST_F(VideoData, AreNotCopiedWhereTheyStandAlready)
{
    output->setTurnsFrames(true);
    output->connectionWithMediaType(AVMediaTypeVideo)->setVideoOrientation(AVCaptureVideoOrientationLandscapeRight);
    phone.sendFrame();
    settle();

    EXPECT_EQ(receiver->buffers.at(0)->imageBuffer()->width(), 640);
    EXPECT_EQ(output->frameCounts().turned, 0U);
}

TEST_F(VideoData, LateOnesAreDroppedAtFirst)
{
    phone.sendFrame();
    phone.sendFrame();
    phone.sendFrame();
    settle();

    EXPECT_EQ(receiver->buffers.size(), 1U);
    EXPECT_EQ(output->frameCounts().delivered, 1U);
    EXPECT_EQ(output->frameCounts().droppedLate, 2U);
}

TEST_F(VideoData, LateOnesWaitWhenTheyAreKept)
{
    output->setAlwaysDiscardsLateVideoFrames(false);
    phone.sendFrame();
    phone.sendFrame();
    phone.sendFrame();
    settle();

    ASSERT_EQ(receiver->buffers.size(), 3U);
    EXPECT_LT(receiver->buffers[0]->sequence(), receiver->buffers[2]->sequence());
    EXPECT_EQ(output->frameCounts().late, 2U);
    EXPECT_EQ(output->frameCounts().dropped(), 0U);
}

TEST_F(VideoData, OnlySoManyWait)
{
    output->setAlwaysDiscardsLateVideoFrames(false);
    for (std::size_t i = 0; i < AVCaptureVideoDataOutput::mostWaitingFrames + 4; ++i)
        phone.sendFrame();
    settle();

    EXPECT_EQ(output->frameCounts().delivered, 17U); // one in delivery, 16 behind it
    EXPECT_EQ(output->frameCounts().droppedOutOfRoom, 3U);
}

TEST_F(VideoData, AFrameDuringADeliveryIsLate)
{
    receiver->then = [this] { phone.sendFrame(); };
    phone.sendFrame();
    settle();
    phone.sendFrame();
    settle();

    EXPECT_EQ(receiver->buffers.size(), 2U);
    EXPECT_EQ(output->frameCounts().droppedLate, 1U);
}

TEST_F(VideoData, AreTheDriversOwnBuffers)
{
    const auto second = AVCaptureVideoDataOutput::init();
    const auto other = std::make_shared<Receiver>();
    second->setSampleBufferDelegate(other, DispatchQueue("test.second"));
    session->addOutput(second);
    phone.sendFrame();
    settle();

    ASSERT_EQ(other->buffers.size(), 1U);
    EXPECT_EQ(other->buffers[0]->imageBuffer(), receiver->buffers.at(0)->imageBuffer());
}

TEST_F(VideoData, StopWithTheDelegateWithTheOutputAndWithTheSession)
{
    output->setSampleBufferDelegate({}, std::nullopt);
    phone.sendFrame();
    output->setSampleBufferDelegate(receiver, queue);
    session->removeOutput(output);
    phone.sendFrame();
    session->addOutput(output);
    session->stopRunning();
    phone.sendFrame();
    settle();

    EXPECT_TRUE(receiver->buffers.empty());
}

TEST_F(VideoData, HaveTheFormatThatTheSettingsAskFor)
{
    output->setVideoSettings(
        ArchiveDictionary { { kCVPixelBufferPixelFormatTypeKey, std::int64_t { kCVPixelFormatType_32BGRA } } });
    phone.sendFrame();
    settle();

    EXPECT_EQ(receiver->buffers.at(0)->imageBuffer()->pixelFormat(), kCVPixelFormatType_32BGRA);
}

TEST_F(VideoData, RecommendedSettingsHaveTheSizeOfTheFrames)
{
    const auto settings = output->recommendedVideoSettingsForAssetWriterWithOutputFileType(AVFileTypeQuickTimeMovie);

    ASSERT_TRUE(settings);
    EXPECT_EQ(valueIn<std::int64_t>(*settings, "AVVideoWidthKey"), 640);
    EXPECT_EQ(valueIn<std::int64_t>(*settings, "AVVideoHeightKey"), 480);
    EXPECT_FALSE(AVCaptureVideoDataOutput::init()->recommendedVideoSettingsForAssetWriterWithOutputFileType(
        AVFileTypeQuickTimeMovie));
}

TEST_F(VideoData, AnOutputThatCannotBeMadeIsNothing)
{
    phone.fail({ .step = Step::CreateVideoOutput, .outcome = Outcome::Nothing });

    EXPECT_EQ(AVCaptureVideoDataOutput::init(), nullptr);
    EXPECT_NE(AVCaptureVideoDataOutput::init(), nullptr);
}

TEST_F(VideoData, SoundArrivesBesideThem)
{
    const auto audio = AVCaptureAudioDataOutput::init();
    const auto ears = std::make_shared<Receiver>();
    audio->setSampleBufferDelegate(ears, queue);
    EXPECT_FALSE(audio->recommendedAudioSettingsForAssetWriterWithOutputFileType(AVFileTypeQuickTimeMovie));
    session->addOutput(audio);
    session->addInput(
        AVCaptureDeviceInput::initWithDevice(AVCaptureDevice::defaultDeviceWithMediaType(AVMediaTypeAudio)));
    phone.sendAudio();
    settle();

    ASSERT_FALSE(ears->buffers.empty());
    EXPECT_EQ(ears->buffers[0]->mediaType(), AVMediaTypeAudio);
    EXPECT_TRUE(audio->recommendedAudioSettingsForAssetWriterWithOutputFileType(AVFileTypeQuickTimeMovie));
}

class Watcher : public AVCaptureMetadataOutputObjectsDelegate {
public:
    void captureOutput(const std::shared_ptr<AVCaptureOutput>&, const Objects& objects,
        const std::shared_ptr<AVCaptureConnection>&) override
    {
        seen.push_back(objects);
        queue = DispatchQueue::currentLabel();
    }
    std::vector<Objects> seen;
    std::string queue;
};

class Metadata : public SessionTest {
protected:
    Metadata() { output->setMetadataObjectsDelegate(watcher, DispatchQueue("test.metadata")); }

    const std::shared_ptr<Watcher> watcher = std::make_shared<Watcher>();
    const std::shared_ptr<AVCaptureMetadataOutput> output = AVCaptureMetadataOutput::init();
};

TEST_F(Metadata, TypesAreKnownOnlyOnceTheOutputWasAdded)
{
    add("back");
    EXPECT_TRUE(output->availableMetadataObjectTypes().empty());
    session->addOutput(output);
    EXPECT_EQ(output->availableMetadataObjectTypes(), (std::vector<std::string> { "face" }));
}

TEST_F(Metadata, FacesArriveAsTheyComeAndGo)
{
    add("back");
    session->addOutput(output);
    output->setMetadataObjectTypes({ AVMetadataObjectTypeFace });
    session->startRunning();
    phone.showFaces(2);
    phone.showFaces(0);
    settle();

    ASSERT_EQ(watcher->seen.size(), 2U);
    EXPECT_EQ(watcher->queue, "test.metadata");
    ASSERT_EQ(watcher->seen[0].size(), 2U);
    EXPECT_NE(std::dynamic_pointer_cast<AVMetadataFaceObject>(watcher->seen[0][0]), nullptr);
    EXPECT_TRUE(watcher->seen[1].empty());
}

TEST_F(Metadata, NothingArrivesBeforeTypesWereChosen)
{
    add("back");
    session->addOutput(output);
    session->startRunning();
    phone.showFaces(1);
    settle();

    EXPECT_TRUE(watcher->seen.empty());
}

}
