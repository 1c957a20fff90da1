// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/AVCapturePhoto.h"
#include "platform/AVFoundation/AVCapturePhotoOutput.h"
#include "platform/AVFoundation/AVCaptureResolvedPhotoSettings.h"
#include "platform/AVFoundation/MovieWriter.h"
#include "platform/AVFoundation/StillEncoder.h"

#include "drivers/media/install.h"

#include "tests/support/Pictures.h"
#include "tests/support/Require.h"
#include "tests/support/SessionTest.h"
#include "tests/support/Subprocess.h"
#include "tests/support/TemporaryFolder.h"

#include <cstdlib>
#include <ctime>
#include <filesystem>

using namespace velmora;
using namespace velmora::drivers::phone;
using namespace velmora::tests;

namespace {

PhoneDescription phoneForPhotos()
{
    auto description = smallPhone();
    auto& back = description.cameras[0];
    back.matte = true;
    back.formats.push_back(back.formats[0]);
    back.formats[1].depth = { { 320, 240 } };
    back.previewFormats = { 875704422, 1111970369 };
    description.cameras[1].flashModes = { 0 };
    description.cameras[1].livePhoto = false;
    description.cameras[1].rawFormats = {};
    return description;
}

/// Writes down what a shot tells.
class Listener : public AVCapturePhotoCaptureDelegate {
public:
    using Output = std::shared_ptr<AVCapturePhotoOutput>;
    using Resolved = std::shared_ptr<AVCaptureResolvedPhotoSettings>;

    void captureOutput(const Output&, const Resolved& settings) override { hear("shutter", settings); }
    void captureOutput(
        const Output&, const std::shared_ptr<AVCapturePhoto>& photo, const std::optional<NSError>& error) override
    {
        hear(photo->isRawPhoto() ? "raw" : "photo", photo->resolvedSettings());
        photos.push_back(photo);
        photoErrors.push_back(error);
    }
    void captureOutput(const Output&, const std::shared_ptr<NSURL>& url, const CMTime& length, const CMTime& display,
        const Resolved& settings, const std::optional<NSError>& error) override
    {
        hear("movie", settings);
        movie = url;
        duration = length;
        displayTime = display;
        movieError = error;
    }
    void captureOutput(const Output&, const Resolved& settings, const std::optional<NSError>& error) override
    {
        hear("done", settings);
        doneError = error;
    }

    std::vector<std::string> heard;
    std::vector<std::string> queues;
    std::vector<bool> flashes;
    std::vector<std::int64_t> identifiers;
    std::vector<std::shared_ptr<AVCapturePhoto>> photos;
    std::vector<std::optional<NSError>> photoErrors;
    std::shared_ptr<NSURL> movie;
    CMTime duration, displayTime;
    std::optional<NSError> movieError, doneError;

private:
    void hear(const std::string& what, const Resolved& settings)
    {
        heard.push_back(what);
        queues.push_back(DispatchQueue::currentLabel());
        flashes.push_back(settings->isFlashEnabled());
        identifiers.push_back(settings->uniqueID());
    }
};

using Heard = std::vector<std::string>;

class PhotoOutput : public SessionTest {
protected:
    PhotoOutput()
        : SessionTest(phoneForPhotos())
    {
        drivers::media::install();
        ::setenv("TZ", "UTC", 1);
        ::tzset();
        session->addOutput(output);
        camera = add("back");
        session->startRunning();
    }
    ~PhotoOutput() override
    {
        StillEncoder::install(encoderBefore);
        MovieWriter::install(writerBefore);
    }

    std::shared_ptr<AVCaptureConnection> connection() const
    {
        return output->connectionWithMediaType(AVMediaTypeVideo);
    }
    void useFront()
    {
        session->removeInput(camera);
        camera = add("front");
    }
    std::shared_ptr<Listener> shoot(
        const std::shared_ptr<AVCapturePhotoSettings>& settings = AVCapturePhotoSettings::photoSettings())
    {
        const auto listener = std::make_shared<Listener>();
        output->capturePhotoWithSettings(settings, listener);
        clock.advance(2);
        return listener;
    }
    ArchiveDictionary group(const AVCapturePhoto& photo, const std::string& name) const
    {
        return valueIn<std::shared_ptr<NSDictionary>>(photo.metadata(), name).value()->values();
    }
    std::int64_t orientation(const std::shared_ptr<Listener>& shot) const
    {
        return valueIn<std::int64_t>(shot->photos.at(0)->metadata(), "Orientation").value();
    }

    const std::shared_ptr<StillEncoder> encoderBefore = StillEncoder::installed();
    const std::shared_ptr<MovieWriter> writerBefore = MovieWriter::installed();
    const std::shared_ptr<AVCapturePhotoOutput> output = AVCapturePhotoOutput::init();
    std::shared_ptr<AVCaptureDeviceInput> camera;
};

TEST_F(PhotoOutput, TellsShutterPhotoAndEndOnItsOwnQueue)
{
    const auto settings = AVCapturePhotoSettings::photoSettings();
    const auto shot = shoot(settings);

    EXPECT_EQ(shot->heard, (Heard { "shutter", "photo", "done" }));
    EXPECT_EQ(shot->queues, Heard(3, "org.velmora.photoOutput"));
    EXPECT_EQ(shot->identifiers, std::vector<std::int64_t>(3, settings->uniqueID()));
    EXPECT_FALSE(shot->doneError);
}

TEST_F(PhotoOutput, GivesAJPEGFile)
{
    const auto photo = shoot()->photos.at(0);

    ASSERT_NE(photo->fileDataRepresentation(), nullptr);
    const auto bytes = photo->fileDataRepresentation()->bytes();
    EXPECT_EQ(bytes[0], 0xFF);
    EXPECT_EQ(bytes[1], 0xD8);
    EXPECT_EQ(photo->fileDataRepresentation(), photo->fileDataRepresentation());
}

TEST_F(PhotoOutput, GivesARawPhotoAloneOrWithAnother)
{
    const auto raw = AVCapturePhotoSettings::photoSettingsWithRawPixelFormatType(1650943796);
    EXPECT_EQ(shoot(raw)->heard, (Heard { "shutter", "raw", "done" }));

    const auto both = AVCapturePhotoSettings::photoSettingsWithRawPixelFormatType(
        1650943796, ArchiveDictionary { { AVVideoCodecKey, std::string(AVVideoCodecTypeJPEG) } });
    const auto shot = shoot(both);
    EXPECT_EQ(shot->heard, (Heard { "shutter", "photo", "raw", "done" }));
    EXPECT_NE(shot->photos.at(1)->fileDataRepresentation(), nullptr);
}

TEST_F(PhotoOutput, ARawFileHoldsTwiceTheSamplesAfterTwiceTheTime)
{
    if (!requireTool("libraw", "unprocessed_raw"))
        return;
    phone.change([](PhoneDescription& description) { description.footage = footage("portrait.png"); });
    const TemporaryFolder folder;
    const auto samplesAfter = [&](CMTime exposure) {
        camera->device()->setExposureModeCustomWithDuration(exposure, 100, nullptr);
        clock.advance(0.5);
        const auto shot = shoot(AVCapturePhotoSettings::photoSettingsWithRawPixelFormatType(1650943796));
        const auto file = folder.write("shot.dng", shot->photos.at(0)->fileDataRepresentation()->bytes());
        EXPECT_EQ(runCommand("unprocessed_raw -q " + file).status, 0);
        const auto pgm = bytesOfFile(file + ".pgm");
        constexpr std::size_t count = 640 * 480;
        std::vector<int> samples(pgm.size() > 2 * count ? count : 0);
        for (std::size_t i = 0; i < samples.size(); ++i) {
            const std::size_t at = pgm.size() - 2 * (count - i);
            samples[i] = pgm[at] << 8 | pgm[at + 1];
        }
        return samples;
    };
    const auto once = samplesAfter(CMTimeMake(1, 60)), twice = samplesAfter(CMTimeMake(1, 30));
    ASSERT_EQ(once.size(), 640U * 480);
    ASSERT_EQ(twice.size(), once.size());

    constexpr int black = 512, white = 16383;
    int wrong = 0, clipped = 0;
    for (std::size_t i = 0; i < once.size(); ++i) {
        const int expected = std::min(black + 2 * (once[i] - black), white);
        wrong += std::abs(twice[i] - expected) > 1;
        clipped += expected == white;
    }
    EXPECT_EQ(wrong, 0);
    EXPECT_GT(clipped, 0);
    EXPECT_LT(clipped, 640 * 480 / 2);
}

TEST_F(PhotoOutput, EverySettingsObjectHasAnIdentifierOfItsOwnAndACopyKeepsIt)
{
    const auto first = AVCapturePhotoSettings::photoSettings(), second = AVCapturePhotoSettings::photoSettings();

    EXPECT_NE(first->uniqueID(), second->uniqueID());
    EXPECT_EQ(AVCapturePhotoSettings(*first).uniqueID(), first->uniqueID());
}

TEST_F(PhotoOutput, SettingsAreCopiedWhenTheShotIsAskedFor)
{
    const auto settings = AVCapturePhotoSettings::photoSettings();
    const auto listener = std::make_shared<Listener>();
    settings->setFlashMode(AVCaptureFlashModeOn);
    output->capturePhotoWithSettings(settings, listener);
    settings->setFlashMode(AVCaptureFlashModeOff);
    clock.advance(2);

    EXPECT_EQ(listener->flashes, (std::vector<bool> { true, true, true }));
}

TEST_F(PhotoOutput, HoldsItsDelegateUntilTheLastCall)
{
    auto listener = std::make_shared<Listener>();
    const std::weak_ptr<Listener> weak = listener;
    output->capturePhotoWithSettings(AVCapturePhotoSettings::photoSettings(), listener);
    listener.reset();
    EXPECT_FALSE(weak.expired());
    clock.advance(2);

    EXPECT_TRUE(weak.expired());
}

TEST_F(PhotoOutput, EndsAtOnceWithAnErrorWhenTheSessionDoesNotRun)
{
    session->stopRunning();
    const auto shot = shoot();

    EXPECT_EQ(shot->heard, (Heard { "done" }));
    ASSERT_TRUE(shot->doneError);
    EXPECT_EQ(shot->doneError->code(), -11803);
}

TEST_F(PhotoOutput, KeepsTheOrderInWhichThePhoneTells)
{
    phone.scriptNextPhoto({ { .kind = PhotoEvent::Shutter }, { .kind = PhotoEvent::Raw },
        { .kind = PhotoEvent::Processed }, { .kind = PhotoEvent::Done } });

    EXPECT_EQ(shoot()->heard, (Heard { "shutter", "raw", "photo", "done" }));
}

TEST_F(PhotoOutput, HandsOnErrorsWithAndWithoutAPicture)
{
    phone.scriptNextPhoto({ { .kind = PhotoEvent::Processed, .error = NSError("test", 1), .data = false },
        { .kind = PhotoEvent::Processed, .error = NSError("test", 2) },
        { .kind = PhotoEvent::Done, .error = NSError("test", 3), .flash = true } });
    const auto shot = shoot();

    EXPECT_EQ(shot->photos.at(0)->fileDataRepresentation(), nullptr);
    EXPECT_EQ(shot->photoErrors.at(0)->code(), 1);
    EXPECT_NE(shot->photos.at(1)->fileDataRepresentation(), nullptr);
    EXPECT_EQ(shot->photoErrors.at(1)->code(), 2);
    EXPECT_EQ(shot->doneError->code(), 3);
    EXPECT_TRUE(shot->flashes.back());
}

TEST_F(PhotoOutput, ReportsThatThereIsNoEncoder)
{
    StillEncoder::install(nullptr);
    const auto shot = shoot();

    EXPECT_EQ(shot->photos.at(0)->fileDataRepresentation(), nullptr);
    EXPECT_TRUE(shot->photoErrors.at(0));
    EXPECT_EQ(shot->heard.back(), "done");
}

TEST_F(PhotoOutput, AFailingCameraEndsWhatIsUnderWay)
{
    const auto listener = std::make_shared<Listener>();
    output->capturePhotoWithSettings(AVCapturePhotoSettings::photoSettings(), listener);
    phone.breakSession(NSError("test", 9));
    clock.advance(3);

    EXPECT_EQ(std::count(listener->heard.begin(), listener->heard.end(), "done"), 1);
    EXPECT_EQ(listener->heard.back(), "done");
}

TEST_F(PhotoOutput, TwoShotsAreToldWithoutMixingTheirOrders)
{
    const auto first = std::make_shared<Listener>(), second = std::make_shared<Listener>();
    output->capturePhotoWithSettings(AVCapturePhotoSettings::photoSettings(), first);
    output->capturePhotoWithSettings(AVCapturePhotoSettings::photoSettings(), second);
    clock.advance(2);

    EXPECT_EQ(first->heard, (Heard { "shutter", "photo", "done" }));
    EXPECT_EQ(second->heard, (Heard { "shutter", "photo", "done" }));
}

TEST_F(PhotoOutput, OrientationsOfTheBackCamera)
{
    const std::int64_t expected[] { 6, 8, 1, 3 };
    for (int orientationNumber = 1; orientationNumber <= 4; ++orientationNumber) {
        connection()->setVideoOrientation(static_cast<AVCaptureVideoOrientation>(orientationNumber));
        EXPECT_EQ(orientation(shoot()), expected[orientationNumber - 1]) << orientationNumber;
    }
}

TEST_F(PhotoOutput, OrientationsOfTheFrontCameraPlainAndMirrored)
{
    useFront();
    const std::int64_t plain[] { 6, 8, 3, 1 }, mirrored[] { 5, 7, 4, 2 };
    for (int orientationNumber = 1; orientationNumber <= 4; ++orientationNumber) {
        connection()->setVideoOrientation(static_cast<AVCaptureVideoOrientation>(orientationNumber));
        connection()->setVideoMirrored(false);
        EXPECT_EQ(orientation(shoot()), plain[orientationNumber - 1]) << orientationNumber;
        connection()->setVideoMirrored(true);
        EXPECT_EQ(orientation(shoot()), mirrored[orientationNumber - 1]) << orientationNumber;
    }
}

TEST_F(PhotoOutput, MetadataTellsHowThePictureWasTaken)
{
    const auto device = camera->device();
    device->setExposureModeCustomWithDuration(CMTimeMake(1, 50), 200, nullptr);
    clock.advance(0.5);
    const auto photo = shoot()->photos.at(0);
    const auto exif = group(*photo, "{Exif}"), tiff = group(*photo, "{TIFF}");

    EXPECT_EQ(valueIn<std::int64_t>(photo->metadata(), "PixelWidth"), 640);
    EXPECT_EQ(valueIn<std::int64_t>(photo->metadata(), "PixelHeight"), 480);
    EXPECT_EQ(valueIn<std::string>(tiff, "Make"), "Velmora");
    EXPECT_EQ(valueIn<std::string>(tiff, "Software"), "Velmora 0.1.0");
    EXPECT_EQ(valueIn<double>(exif, "ExposureTime"), 0.02);
    const auto ratings = valueIn<std::shared_ptr<NSArray>>(exif, "ISOSpeedRatings").value();
    EXPECT_EQ(std::get<std::int64_t>(ratings->values().at(0)), 200);
    EXPECT_EQ(valueIn<std::int64_t>(exif, "FocalLenIn35mmFilm"), 26);
    EXPECT_EQ(valueIn<std::int64_t>(exif, "ExposureMode"), 1);
    EXPECT_EQ(valueIn<std::int64_t>(exif, "ExposureProgram"), 1);
    EXPECT_EQ(valueIn<std::int64_t>(exif, "WhiteBalance"), 0);
    EXPECT_EQ(valueIn<std::int64_t>(exif, "Flash"), 16);
}

TEST_F(PhotoOutput, MetadataHasTheLocalTimeOfTheExposure)
{
    ::setenv("TZ", "CET-1", 1);
    ::tzset();
    const auto exif = group(*shoot()->photos.at(0), "{Exif}");

    EXPECT_EQ(valueIn<std::string>(exif, "DateTimeOriginal"), "2026:01:02 04:04:05"); // 03:04:05 UTC and one frame
    EXPECT_EQ(valueIn<std::string>(exif, "OffsetTimeOriginal"), "+01:00");
    EXPECT_EQ(valueIn<std::string>(exif, "SubsecTimeOriginal"), "033");
}

TEST_F(PhotoOutput, MetadataTellsOfTheFlash)
{
    const auto flash = [this](AVCaptureFlashMode mode) {
        const auto settings = AVCapturePhotoSettings::photoSettings();
        settings->setFlashMode(mode);
        return valueIn<std::int64_t>(group(*shoot(settings)->photos.at(0), "{Exif}"), "Flash").value();
    };
    EXPECT_EQ(flash(AVCaptureFlashModeOn), 0x09);
    EXPECT_EQ(flash(AVCaptureFlashModeOff), 0x10);
    EXPECT_EQ(flash(AVCaptureFlashModeAuto), 0x18); // the scene is bright
    useFront();
    EXPECT_EQ(flash(AVCaptureFlashModeOff), 0x20);
}

TEST_F(PhotoOutput, APreviewIsAsWideAsItWasAskedFor)
{
    const auto settings = AVCapturePhotoSettings::photoSettings();
    EXPECT_EQ(
        settings->availablePreviewPhotoPixelFormatTypes(), (std::vector<std::uint32_t> { 875704422, 1111970369 }));
    settings->setPreviewPhotoFormat(
        ArchiveDictionary { { kCVPixelBufferPixelFormatTypeKey, std::int64_t { 875704422 } },
            { kCVPixelBufferWidthKey, std::int64_t { 512 } } });
    const auto photo = shoot(settings)->photos.at(0);

    ASSERT_NE(photo->previewPixelBuffer(), nullptr);
    EXPECT_EQ(photo->previewPixelBuffer()->width(), 512);
    EXPECT_EQ(photo->previewPixelBuffer()->height(), 384);
    EXPECT_EQ(shoot()->photos.at(0)->previewPixelBuffer(), nullptr);
}

TEST_F(PhotoOutput, CapabilitiesAreThoseOfTheCameraInUse)
{
    EXPECT_EQ(output->supportedFlashModes().size(), 3U);
    EXPECT_EQ(output->availableRawPhotoPixelFormatTypes().size(), 1U);
    EXPECT_TRUE(output->isLivePhotoCaptureSupported());
    useFront();

    EXPECT_EQ(output->supportedFlashModes(), (std::vector<AVCaptureFlashMode> { AVCaptureFlashModeOff }));
    EXPECT_TRUE(output->availableRawPhotoPixelFormatTypes().empty());
    EXPECT_FALSE(output->isLivePhotoCaptureSupported());
}

TEST_F(PhotoOutput, DepthFollowsTheActiveFormatAtOnce)
{
    EXPECT_FALSE(output->isDepthDataDeliverySupported());
    output->setDepthDataDeliveryEnabled(true);
    EXPECT_FALSE(output->isDepthDataDeliveryEnabled());

    camera->device()->setActiveFormat(camera->device()->formats()[1]);
    EXPECT_TRUE(output->isDepthDataDeliverySupported());
    EXPECT_FALSE(output->isDepthDataDeliveryEnabled());
    output->setDepthDataDeliveryEnabled(true);
    output->setPortraitEffectsMatteDeliveryEnabled(true);
    EXPECT_TRUE(output->isDepthDataDeliveryEnabled());
    EXPECT_TRUE(output->isPortraitEffectsMatteDeliveryEnabled());
}

TEST_F(PhotoOutput, FlagsDropWhenTheCameraChanges)
{
    camera->device()->setActiveFormat(camera->device()->formats()[1]);
    output->setDepthDataDeliveryEnabled(true);
    output->setLivePhotoCaptureEnabled(true);
    session->removeInput(camera);
    session->beginConfiguration();
    session->addInput(camera);
    camera->device()->setActiveFormat(camera->device()->formats()[1]);
    session->commitConfiguration();

    EXPECT_TRUE(output->isDepthDataDeliverySupported());
    EXPECT_FALSE(output->isDepthDataDeliveryEnabled());
    EXPECT_FALSE(output->isLivePhotoCaptureEnabled());
}

class LivePhoto : public PhotoOutput {
protected:
    LivePhoto() { output->setLivePhotoCaptureEnabled(true); }

    std::shared_ptr<Listener> shootLive()
    {
        const auto settings = AVCapturePhotoSettings::photoSettings();
        settings->setLivePhotoMovieFileURL(NSURL::fileURLWithPath(path));
        const auto listener = std::make_shared<Listener>();
        output->capturePhotoWithSettings(settings, listener);
        clock.advance(3);
        return listener;
    }

    const TemporaryFolder folder;
    const std::string path = folder.file("live.mov");
};

TEST_F(LivePhoto, ShowsASecondAndAHalfBeforeAndAfterItsStill)
{
    clock.advance(4);
    const auto shot = shootLive();

    EXPECT_EQ(shot->heard, (Heard { "shutter", "photo", "movie", "done" }));
    EXPECT_FALSE(shot->movieError);
    EXPECT_EQ(shot->movie->path(), path);
    EXPECT_NEAR(CMTimeGetSeconds(shot->duration), 3.0, 0.15);
    EXPECT_NEAR(CMTimeGetSeconds(shot->displayTime), 1.5, 0.1);
}

TEST_F(LivePhoto, ItsMovieCanBeReadFrameByFrame)
{
    clock.advance(2);
    const auto shot = shootLive();
    const auto movie = MovieReader::installed()->open(path);
    int frames = 0;
    while (movie->nextFrame())
        ++frames;

    EXPECT_EQ(movie->dimensions(), (CMVideoDimensions { 640, 480 }));
    EXPECT_NEAR(movie->duration(), CMTimeGetSeconds(shot->duration), 0.05);
    EXPECT_NEAR(frames, 90, 4);
}

TEST_F(LivePhoto, IsSilentWithoutAMicrophone)
{
    clock.advance(2);
    shootLive();

    EXPECT_EQ(MovieReader::installed()->open(path)->audio(), nullptr);
}

TEST_F(LivePhoto, HasTheSoundOfItsWholeMovie)
{
    add("microphone");
    clock.advance(2);
    const auto shot = shootLive();
    const auto sound = MovieReader::installed()->open(path)->audio();

    ASSERT_NE(sound, nullptr);
    const auto samples = static_cast<std::ptrdiff_t>(sound->samples.size());
    EXPECT_NEAR(static_cast<double>(samples / sound->channels) / sound->sampleRate, 3.0, 0.15);
    const auto isLoud = [](float sample) { return std::abs(sample) > 0.02F; };
    const auto begin = sound->samples.begin();
    EXPECT_TRUE(std::any_of(begin + samples / 10, begin + samples / 5, isLoud)); // before the shutter
    EXPECT_TRUE(std::any_of(begin + samples / 5 * 4, begin + samples / 10 * 9, isLoud));
}

TEST_F(LivePhoto, TakesNoConnectionForItsSound)
{
    add("microphone");

    EXPECT_EQ(output->connections().size(), 1U);
    EXPECT_EQ(output->connections()[0]->mediaType(), AVMediaTypeVideo);
}

TEST_F(LivePhoto, LeavesTheMicrophoneAloneWhileItIsOff)
{
    add("microphone");
    clock.advance(0.1);
    EXPECT_TRUE(device("microphone")->streamUser());
    output->setLivePhotoCaptureEnabled(false);
    clock.advance(0.1);

    EXPECT_FALSE(device("microphone")->streamUser());
}

TEST_F(LivePhoto, BeginsWithTheCameraWhenThatHasJustBegun)
{
    clock.advance(0.5);
    const auto shot = shootLive();

    EXPECT_NEAR(CMTimeGetSeconds(shot->displayTime), 0.5, 0.1);
}

TEST_F(LivePhoto, BeginsAfterTheLastPause)
{
    clock.advance(1);
    session->stopRunning();
    clock.advance(0.4);
    session->startRunning();
    clock.advance(0.5);

    EXPECT_NEAR(CMTimeGetSeconds(shootLive()->displayTime), 0.5, 0.1);
}

TEST_F(LivePhoto, GoesOverAPauseWhereItIsNotTrimmed)
{
    output->setLivePhotoAutoTrimmingEnabled(false);
    clock.advance(1);
    session->stopRunning();
    clock.advance(0.4);
    session->startRunning();
    clock.advance(0.5);

    EXPECT_NEAR(CMTimeGetSeconds(shootLive()->displayTime), 1.5, 0.1);
}

TEST_F(LivePhoto, AShortPauseIsNone)
{
    clock.advance(1);
    session->stopRunning();
    clock.advance(0.15);
    session->startRunning();
    clock.advance(0.5);

    EXPECT_NEAR(CMTimeGetSeconds(shootLive()->displayTime), 1.5, 0.1);
}

TEST_F(LivePhoto, LeavesOutFramesThatComeTooFast)
{
    clock.advance(0.1);
    for (int i = 0; i < 40; ++i) { // a hundred a second beside the thirty
        clock.advance(0.01);
        phone.sendFrame();
    }
    shootLive();
    const auto movie = MovieReader::installed()->open(path);
    int frames = 0;
    while (movie->nextFrame())
        ++frames;

    EXPECT_GE(frames, 45 + 3 + 12); // after the shutter; before; the most that come within 0.4 seconds
    EXPECT_LE(frames, 45 + 3 + 18);
}

TEST_F(LivePhoto, AMovieErrorLeavesNoFileBehind)
{
    clock.advance(1);
    phone.scriptNextPhoto({ { .kind = PhotoEvent::Shutter }, { .kind = PhotoEvent::Processed },
        { .kind = PhotoEvent::Movie, .error = NSError("test", 5) }, { .kind = PhotoEvent::Done } });
    const auto shot = shootLive();

    EXPECT_EQ(shot->heard, (Heard { "shutter", "photo", "movie", "done" }));
    EXPECT_EQ(shot->movieError->code(), 5);
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(LivePhoto, WithoutAWriterTheMovieFailsAndThePhotoDoesNot)
{
    MovieWriter::install(nullptr);
    clock.advance(1);
    const auto shot = shootLive();

    EXPECT_TRUE(shot->movieError);
    EXPECT_NE(shot->photos.at(0)->fileDataRepresentation(), nullptr);
    EXPECT_FALSE(shot->doneError);
}

TEST_F(LivePhoto, IsAnOrdinaryPhotoWhileLiveCaptureIsOff)
{
    output->setLivePhotoCaptureEnabled(false);

    EXPECT_EQ(shootLive()->heard, (Heard { "shutter", "photo", "done" }));
    EXPECT_FALSE(std::filesystem::exists(path));
}

}
