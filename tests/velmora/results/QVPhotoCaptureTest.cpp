// SPDX-License-Identifier: Apache-2.0
#include "velmora/results/QVPhotoCapture.h"

#include "velmora/results/QVCaptureLocationInfo.h"
#include "velmora/results/QVPhotoCaptureOutput.h"

#include "platform/AVFoundation/AVCapturePhoto.h"
#include "platform/AVFoundation/AVCapturePhotoOutput.h"
#include "platform/CoreImage/CIImage.h"
#include "platform/CoreMedia/CMSampleBuffer.h"
#include "platform/Foundation/DispatchQueue.h"
#include "platform/Foundation/NSURL.h"

#include <type_traits>

#include "tests/velmora/results/ProviderTest.h"

using namespace velmora;

namespace {

const NSError photoError("AVFoundationErrorDomain", -11800);
const NSError movieError("AVFoundationErrorDomain", -11801);
const NSError finalError("AVFoundationErrorDomain", -11802);

class Owner : public QVPhotoCaptureDelegate {
public:
    void photoCaptureDidComplete(const std::shared_ptr<QVPhotoCapture>& capture, std::int64_t uniqueID) override
    {
        completed.emplace_back(capture, uniqueID);
        if (heard)
            heard();
    }
    std::vector<std::pair<std::shared_ptr<QVPhotoCapture>, std::int64_t>> completed;
    std::function<void()> heard;
};

/// A request whose callbacks a test sends in the photo output's place.
class PhotoCapture : public tests::ProviderTest {
protected:
    PhotoCapture()
    {
        capture->setDelegate(owner);
        capture->setLocationProvider(provider);
        capture->setCapturePhotoOutputHandler([this](auto output, auto error) {
            ++answers;
            onQueue = DispatchQueue::currentLabel();
            received = std::move(output);
            receivedError = std::move(error);
        });
    }

    static std::shared_ptr<AVCaptureResolvedPhotoSettings> settings(bool flash = false)
    {
        return make<AVCaptureResolvedPhotoSettings>(42, flash);
    }
    static AVCapturePhoto::Content content(const std::string& data, bool raw = false)
    {
        AVCapturePhoto::Content content;
        content.fileData = make<NSData>(std::vector<std::uint8_t>(data.begin(), data.end()));
        content.raw = raw;
        content.metadata = { { "from", data } };
        return content;
    }
    void shutter(bool flash = false) { capture->captureOutput(nullptr, settings(flash)); }
    void process(const AVCapturePhoto::Content& content, const std::optional<NSError>& error = {})
    {
        capture->captureOutput(nullptr, make<AVCapturePhoto>(content), error);
    }
    void processed(const std::string& data) { process(content(data)); }
    void raw(const std::string& data) { process(content(data, true)); }
    void failPhoto(const std::optional<NSError>& error) { process({}, error); }
    void movie(const std::optional<NSError>& error = {})
    {
        capture->captureOutput(
            nullptr, NSURL::fileURLWithPath("/tmp/live.mov"), CMTimeMake(3, 1), CMTimeMake(3, 2), settings(), error);
    }
    void complete(const std::optional<NSError>& error = {}, bool flash = false)
    {
        capture->captureOutput(nullptr, settings(flash), error);
    }

    std::shared_ptr<QVPhotoCapture> capture
        = make<QVPhotoCapture>(AVCaptureDevicePositionBack, UIDeviceOrientationPortrait, UIImageOrientationRight);
    std::shared_ptr<Owner> owner = std::make_shared<Owner>();
    int answers = 0;
    std::string onQueue;
    std::shared_ptr<QVPhotoCaptureOutput> received;
    std::optional<NSError> receivedError;
};

std::string text(const std::shared_ptr<NSData>& data)
{
    return data ? std::string(data->bytes().begin(), data->bytes().end()) : "nil";
}

}

TEST_F(PhotoCapture, AProcessedRequestGivesOneCompleteRecord)
{
    provider->setCurrentLocation(make<CLLocation>(1.0, 2.0));
    auto photo = content("jpg");
    photo.preview = CVPixelBuffer::create(4, 2, kCVPixelFormatType_32BGRA);
    shutter();
    process(photo);
    clock.advance(2);
    complete({}, true);
    ASSERT_TRUE(received);
    EXPECT_EQ(answers, 1);
    EXPECT_FALSE(receivedError);
    EXPECT_EQ(text(received->jpgImageData()), "jpg");
    EXPECT_FALSE(received->dngImageData());
    EXPECT_EQ(valueIn<std::string>(received->exifDictionary(), "from"), "jpg");
    EXPECT_EQ(received->previewImage()->pixelBuffer(), photo.preview);
    EXPECT_EQ(received->creationDate()->timeIntervalSinceReferenceDate(), 789015847.0);
    EXPECT_EQ(received->locationInfo()->location(), provider->currentLocation());
    EXPECT_TRUE(received->flashFired());
}

TEST_F(PhotoCapture, RawAndProcessedGiveOneRecordWithTheLaterMetadata)
{
    raw("dng");
    processed("jpg");
    complete();
    ASSERT_TRUE(received);
    EXPECT_EQ(text(received->jpgImageData()), "jpg");
    EXPECT_EQ(text(received->dngImageData()), "dng");
    EXPECT_EQ(valueIn<std::string>(received->exifDictionary(), "from"), "jpg");
}

TEST_F(PhotoCapture, ProcessedAndThenRawGiveTheRawMetadata)
{
    processed("jpg");
    raw("dng");
    complete();
    EXPECT_EQ(text(received->jpgImageData()), "jpg");
    EXPECT_EQ(text(received->dngImageData()), "dng");
    EXPECT_EQ(valueIn<std::string>(received->exifDictionary(), "from"), "dng");
}

TEST_F(PhotoCapture, AMissingPreviewLeavesTheOldOne)
{
    auto photo = content("dng", true);
    photo.preview = CVPixelBuffer::create(4, 2, kCVPixelFormatType_32BGRA);
    process(photo);
    processed("jpg");
    complete();
    ASSERT_TRUE(received->previewImage());
    EXPECT_EQ(received->previewImage()->pixelBuffer(), photo.preview);
}

TEST_F(PhotoCapture, TheShutterCallsTheBeganHandlerAtOnce)
{
    int began = 0;
    capture->setCaptureBeganHandler([&] { ++began; });
    shutter();
    EXPECT_EQ(began, 1);
}

TEST_F(PhotoCapture, TheCompletionHasTheLastWordOnTheFlash)
{
    processed("jpg");
    shutter(true);
    complete({}, false);
    EXPECT_FALSE(received->flashFired());
}

TEST_F(PhotoCapture, TheShutterSetsTheFlashOnARecordThatExistsAlready)
{
    shutter(true);
    processed("jpg");
    complete({}, false);
    shutter(true);
    EXPECT_TRUE(received->flashFired());
}

TEST_F(PhotoCapture, SuccessStampsThenAnswersThenTellsTheDelegate)
{
    std::vector<std::string> order;
    capture->setCapturePhotoOutputHandler([&](const auto& output, const auto&) {
        order.push_back(output->creationDate() ? "answered with a date" : "answered without a date");
    });
    owner->heard = [&] { order.push_back("told"); };
    processed("jpg");
    complete();
    EXPECT_EQ(order, (std::vector<std::string> { "answered with a date", "told" }));
    ASSERT_EQ(owner->completed.size(), 1U);
    EXPECT_EQ(owner->completed[0].first, capture);
    EXPECT_EQ(owner->completed[0].second, 42);
}

TEST_F(PhotoCapture, WithoutADelegateTheHandlerIsStillCalled)
{
    capture->setDelegate({});
    processed("jpg");
    complete();
    EXPECT_TRUE(received);
}

TEST_F(PhotoCapture, ADelegateThatHasGoneIsNoDelegate)
{
    owner = nullptr;
    EXPECT_FALSE(capture->delegate());
    processed("jpg");
    complete();
    EXPECT_TRUE(received);
}

TEST_F(PhotoCapture, WithoutAHandlerTheDelegateIsStillTold)
{
    capture->setCapturePhotoOutputHandler(nullptr);
    processed("jpg");
    complete();
    EXPECT_EQ(owner->completed.size(), 1U);
}

TEST_F(PhotoCapture, AProviderThatHasGoneLeavesThePlaceNil)
{
    provider->setCurrentLocation(make<CLLocation>(1.0, 2.0));
    provider = nullptr;
    processed("jpg");
    complete();
    EXPECT_FALSE(received->locationInfo());
    EXPECT_TRUE(received->creationDate());
}

TEST_F(PhotoCapture, AProviderWithoutALocationLeavesThePlaceNil)
{
    processed("jpg");
    complete();
    EXPECT_FALSE(received->locationInfo());
}

TEST_F(PhotoCapture, MirrorOutputChangesNothing)
{
    capture->setMirrorOutput(true);
    auto photo = content("jpg");
    photo.metadata = { { "Orientation", std::int64_t { 6 } } };
    process(photo);
    complete();
    EXPECT_TRUE(capture->mirrorOutput());
    EXPECT_EQ(text(received->jpgImageData()), "jpg");
    EXPECT_EQ(valueIn<std::int64_t>(received->exifDictionary(), "Orientation"), 6);
}

TEST_F(PhotoCapture, TheOrientationArgumentsHaveNoEffect)
{
    for (const auto device : { UIDeviceOrientationLandscapeLeft, UIDeviceOrientationFaceDown })
        for (const auto image : { UIImageOrientationLeft, UIImageOrientationUpMirrored }) {
            const auto handler = capture->capturePhotoOutputHandler();
            capture = make<QVPhotoCapture>(AVCaptureDevicePositionFront, device, image);
            capture->setCapturePhotoOutputHandler(handler);
            auto photo = content("jpg");
            photo.metadata = { { "Orientation", std::int64_t { 6 } } };
            process(photo);
            complete();
            EXPECT_EQ(text(received->jpgImageData()), "jpg");
            EXPECT_EQ(valueIn<std::int64_t>(received->exifDictionary(), "Orientation"), 6);
        }
}

TEST_F(PhotoCapture, TheCaptureCompletedHandlerIsNeverCalled)
{
    int calls = 0;
    capture->setCaptureCompletedHandler([&](const auto&, const auto&) { ++calls; });
    shutter();
    processed("jpg");
    complete();
    complete(finalError);
    clock.advance(0);
    EXPECT_EQ(calls, 0);
    EXPECT_TRUE(capture->captureCompletedHandler());
}

TEST_F(PhotoCapture, AFailureAnswersFromTheGlobalQueueWithTheRecordedError)
{
    failPhoto(photoError);
    complete(finalError);
    EXPECT_EQ(answers, 0);
    clock.advance(0);
    EXPECT_EQ(answers, 1);
    EXPECT_FALSE(received);
    ASSERT_TRUE(receivedError);
    EXPECT_EQ(receivedError->code(), -11800);
    EXPECT_EQ(onQueue, DispatchQueue::global().label());
}

TEST_F(PhotoCapture, TheErrorOfTheCompletionIsNotPassedOn)
{
    processed("jpg");
    complete(finalError);
    clock.advance(0);
    EXPECT_EQ(answers, 1);
    EXPECT_FALSE(received);
    EXPECT_FALSE(receivedError);
}

TEST_F(PhotoCapture, AFailureDoesNotTellTheDelegate)
{
    complete(finalError);
    clock.advance(0);
    EXPECT_TRUE(owner->completed.empty());
}

TEST_F(PhotoCapture, ARequestWithoutAnyPhotoFailsWithoutAnError)
{
    complete();
    clock.advance(0);
    EXPECT_EQ(answers, 1);
    EXPECT_FALSE(received);
    EXPECT_FALSE(receivedError);
}

TEST_F(PhotoCapture, AFailureKeepsTheCaptureUntilItAnswered)
{
    complete();
    const std::weak_ptr<QVPhotoCapture> weak = capture;
    capture = nullptr;
    EXPECT_FALSE(weak.expired());
    clock.advance(0);
    EXPECT_EQ(answers, 1);
    EXPECT_TRUE(weak.expired());
}

TEST_F(PhotoCapture, AFailureHasNoDateAndNoPlaceOnWhatWasGathered)
{
    provider->setCurrentLocation(make<CLLocation>(1.0, 2.0));
    processed("jpg");
    complete(finalError);
    clock.advance(5);
    complete(); // only this one stamps
    ASSERT_TRUE(received);
    EXPECT_EQ(received->creationDate()->timeIntervalSinceReferenceDate(), 789015850.0);
}

TEST_F(PhotoCapture, AnErrorDropsThePhotosData)
{
    process(content("jpg"), photoError);
    complete();
    clock.advance(0);
    EXPECT_FALSE(received);
    EXPECT_EQ(receivedError->code(), -11800);
}

TEST_F(PhotoCapture, APhotoWithoutDataAndWithoutAnErrorClearsTheRecordedError)
{
    failPhoto(photoError);
    failPhoto(std::nullopt);
    complete();
    clock.advance(0);
    EXPECT_EQ(answers, 1);
    EXPECT_FALSE(receivedError);
}

TEST_F(PhotoCapture, ALaterSuccessDoesNotClearTheRecordedError)
{
    failPhoto(photoError);
    processed("jpg");
    complete(finalError);
    clock.advance(0);
    ASSERT_TRUE(receivedError);
    EXPECT_EQ(receivedError->code(), -11800);
}

TEST_F(PhotoCapture, SuccessIsARecordAndNoCompletionErrorWhateverWasRecorded)
{
    processed("jpg");
    failPhoto(photoError);
    complete();
    EXPECT_TRUE(received);
    EXPECT_FALSE(receivedError);
}

TEST_F(PhotoCapture, TheMovieIsStoredWithItsDisplayTime)
{
    processed("jpg");
    movie();
    complete();
    EXPECT_EQ(received->livePhotoMovieURL()->path(), "/tmp/live.mov");
    ASSERT_TRUE(received->livePhotoDisplayTime());
    EXPECT_EQ(CMTimeCompare(*received->livePhotoDisplayTime(), CMTimeMake(3, 2)), 0);
}

TEST_F(PhotoCapture, TheMovieIsStoredEvenWithAnError)
{
    processed("jpg");
    movie(movieError);
    complete();
    EXPECT_TRUE(received->livePhotoMovieURL());
}

TEST_F(PhotoCapture, TheMoviesErrorIsRecorded)
{
    movie(movieError);
    complete();
    clock.advance(0);
    EXPECT_EQ(receivedError->code(), -11801);
}

TEST_F(PhotoCapture, AMovieWithoutAnErrorClearsTheErrorOfAPhoto)
{
    failPhoto(photoError);
    movie();
    complete();
    clock.advance(0);
    EXPECT_EQ(answers, 1);
    EXPECT_FALSE(received);
    EXPECT_FALSE(receivedError);
}

TEST_F(PhotoCapture, WithoutARecordTheMovieIsNotStored)
{
    movie();
    processed("jpg");
    complete();
    EXPECT_FALSE(received->livePhotoMovieURL());
    EXPECT_FALSE(received->livePhotoDisplayTime());
}

TEST_F(PhotoCapture, LogsNothing)
{
    failPhoto(photoError);
    movie(movieError);
    complete(finalError);
    clock.advance(0);
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(PhotoCapture, IsDrivenBySelectorToo)
{
    const auto photo = make<AVCapturePhoto>(content("jpg"));
    capture->performSelector("captureOutput:didCapturePhotoForResolvedSettings:", nullptr, settings());
    capture->performSelector("captureOutput:didFinishProcessingPhoto:error:", nullptr, photo, nullptr);
    capture->performSelector("captureOutput:didFinishProcessingLivePhotoToMovieFileAtURL:duration:photoDisplayTime:"
                             "resolvedSettings:error:",
        nullptr, NSURL::fileURLWithPath("/tmp/live.mov"), CMTimeMake(3, 1), CMTimeMake(3, 2), settings(), movieError);
    capture->performSelector("captureOutput:didFinishCaptureForResolvedSettings:error:", nullptr, settings(), nullptr);
    ASSERT_TRUE(received);
    EXPECT_EQ(received->livePhotoMovieURL()->path(), "/tmp/live.mov");
}

TEST_F(PhotoCapture, ImplementsNoOtherCallback)
{
    EXPECT_FALSE(capture->respondsToSelector("captureOutput:willBeginCaptureForResolvedSettings:"));
    EXPECT_FALSE(capture->respondsToSelector("captureOutput:willCapturePhotoForResolvedSettings:"));
}

TEST(FreshPhotoCapture, HasItsDefaults)
{
    const auto capture = unbox<std::shared_ptr<QVPhotoCapture>>(QVPhotoCapture::staticClass().performSelector(
        "initWithDevicePosition:deviceOrientation:defaultImageOrientation:", 2, 1, 3));
    EXPECT_FALSE(capture->delegate());
    EXPECT_FALSE(capture->captureBeganHandler());
    EXPECT_FALSE(capture->captureCompletedHandler());
    EXPECT_FALSE(capture->capturePhotoOutputHandler());
    EXPECT_FALSE(capture->mirrorOutput());
    EXPECT_FALSE(capture->locationProvider());
}

TEST(PhotoCaptureDeathTest, PlainInitStopsTheProcess)
{
    static_assert(!std::is_default_constructible_v<QVPhotoCapture>);
    EXPECT_DEATH(QVPhotoCapture::staticClass().performSelector("init"), "Velmora.QVPhotoCapture.*init\\(\\)");
}
