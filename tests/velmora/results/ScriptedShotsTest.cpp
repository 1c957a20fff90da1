// SPDX-License-Identifier: Apache-2.0
#include "velmora/results/QVCaptureLocationInfo.h"
#include "velmora/results/QVLocationProvider.h"
#include "velmora/results/QVPhotoCapture.h"
#include "velmora/results/QVPhotoCaptureOutput.h"

#include "platform/AVFoundation/AVCapturePhotoOutput.h"
#include "platform/CoreLocation/CLLocation.h"
#include "platform/Foundation/NSURL.h"

#include "drivers/media/install.h"

#include "tests/support/SessionTest.h"
#include "tests/support/TemporaryFolder.h"

#include <filesystem>

using namespace velmora;
using namespace velmora::tests;
using drivers::phone::PhotoEvent;

namespace {

constexpr std::uint32_t rawFormat = 1650943796;

const NSError photoError("test", 1), rawError("test", 2), movieError("test", 3), finalError("test", 4);

const PhotoEvent shutter { .kind = PhotoEvent::Shutter }, photo { .kind = PhotoEvent::Processed },
    rawPhoto { .kind = PhotoEvent::Raw }, movie { .kind = PhotoEvent::Movie }, done { .kind = PhotoEvent::Done };

PhotoEvent failed(PhotoEvent event, const NSError& error)
{
    event.error = error;
    event.data = false;
    return event;
}

class Owner : public QVPhotoCaptureDelegate {
public:
    void photoCaptureDidComplete(const std::shared_ptr<QVPhotoCapture>&, std::int64_t uniqueID) override
    {
        completed.push_back(uniqueID);
    }
    std::vector<std::int64_t> completed;
};

/// A capture that the real photo output drives, while the phone tells the steps in an order that the test chooses.
class ScriptedShot : public SessionTest {
protected:
    ScriptedShot()
    {
        drivers::media::install();
        session->addOutput(output);
        add("back");
        session->startRunning();
        output->setLivePhotoCaptureEnabled(true);
        clock.advance(1);
    }

    static std::shared_ptr<AVCapturePhotoSettings> rawAndJPEG()
    {
        return AVCapturePhotoSettings::photoSettingsWithRawPixelFormatType(
            rawFormat, ArchiveDictionary { { AVVideoCodecKey, std::string(AVVideoCodecTypeJPEG) } });
    }
    std::shared_ptr<AVCapturePhotoSettings> live() const
    {
        auto settings = AVCapturePhotoSettings::photoSettings();
        settings->setLivePhotoMovieFileURL(NSURL::fileURLWithPath(path));
        return settings;
    }
    void shoot(std::vector<PhotoEvent> script,
        const std::shared_ptr<AVCapturePhotoSettings>& settings = AVCapturePhotoSettings::photoSettings())
    {
        phone.scriptNextPhoto(std::move(script));
        const auto capture
            = make<QVPhotoCapture>(AVCaptureDevicePositionBack, UIDeviceOrientationPortrait, UIImageOrientationRight);
        capture->setDelegate(owner);
        capture->setLocationProvider(provider);
        capture->setCaptureBeganHandler([this] { ++began; });
        capture->setCapturePhotoOutputHandler([this](auto record, auto error) {
            ++answers;
            received = std::move(record);
            receivedError = std::move(error);
        });
        output->capturePhotoWithSettings(settings, capture);
        asked = settings->uniqueID();
        weak = capture;
        clock.advance(3);
    }
    /// "JPEG", "DNG", "movie" for what the record has.
    std::string content() const
    {
        if (!received)
            return "no record";
        std::string text;
        const auto& jpg = received->jpgImageData();
        const auto& dng = received->dngImageData();
        if (jpg && jpg->bytes()[0] == 0xFF && jpg->bytes()[1] == 0xD8)
            text += "JPEG ";
        if (dng && dng->bytes()[0] == 'I' && dng->bytes()[1] == 'I')
            text += "DNG ";
        if (received->livePhotoMovieURL())
            text += "movie ";
        return text;
    }
    std::int64_t errorCode() const { return receivedError ? receivedError->code() : 0; }

    const TemporaryFolder folder;
    const std::string path = folder.file("live.mov");
    const std::shared_ptr<AVCapturePhotoOutput> output = AVCapturePhotoOutput::init();
    const std::shared_ptr<QVLocationProvider> provider = make<QVLocationProvider>();
    const std::shared_ptr<Owner> owner = std::make_shared<Owner>();
    std::weak_ptr<QVPhotoCapture> weak;
    std::int64_t asked = 0;
    int began = 0, answers = 0;
    std::shared_ptr<QVPhotoCaptureOutput> received;
    std::optional<NSError> receivedError;
};

}

TEST_F(ScriptedShot, AJPEGAloneGivesARecordOfItsFile)
{
    provider->setCurrentLocation(make<CLLocation>(1.0, 2.0));
    shoot({ shutter, photo, done });

    EXPECT_EQ(content(), "JPEG ");
    EXPECT_EQ(valueIn<std::int64_t>(received->exifDictionary(), "PixelWidth"), 640);
    EXPECT_EQ(received->locationInfo()->location(), provider->currentLocation());
    EXPECT_EQ(began, 1);
    EXPECT_EQ(answers, 1);
    EXPECT_EQ(owner->completed, (std::vector<std::int64_t> { asked }));
}

TEST_F(ScriptedShot, ARawPictureAloneGivesARecordOfItsFile)
{
    shoot({ shutter, rawPhoto, done }, AVCapturePhotoSettings::photoSettingsWithRawPixelFormatType(rawFormat));

    EXPECT_EQ(content(), "DNG ");
    EXPECT_EQ(owner->completed.size(), 1U);
}

TEST_F(ScriptedShot, BothPicturesMeetInOneRecordInEitherOrder)
{
    for (const auto& script :
        { std::vector { shutter, photo, rawPhoto, done }, std::vector { shutter, rawPhoto, photo, done } }) {
        shoot(script, rawAndJPEG());
        EXPECT_EQ(content(), "JPEG DNG ");
    }
    EXPECT_EQ(answers, 2);
}

TEST_F(ScriptedShot, AMovieAfterThePhotoIsInTheRecord)
{
    shoot({ shutter, photo, movie, done }, live());

    EXPECT_EQ(content(), "JPEG movie ");
    EXPECT_EQ(received->livePhotoMovieURL()->path(), path);
    EXPECT_TRUE(std::filesystem::exists(path));
    EXPECT_TRUE(CMTIME_IS_NUMERIC(*received->livePhotoDisplayTime()));
}

TEST_F(ScriptedShot, AMovieBeforeThePhotoIsNotInTheRecord)
{
    shoot({ shutter, movie, photo, done }, live());

    EXPECT_EQ(content(), "JPEG ");
    EXPECT_FALSE(received->livePhotoDisplayTime());
    EXPECT_EQ(owner->completed.size(), 1U);
}

TEST_F(ScriptedShot, AShutterThatComesLastCountsAllTheSame)
{
    shoot({ photo, shutter, done });

    EXPECT_EQ(content(), "JPEG ");
    EXPECT_EQ(began, 1);
}

TEST_F(ScriptedShot, TheFlashIsWhatTheEndSays)
{
    PhotoEvent fired = shutter, endFired = done;
    fired.flash = endFired.flash = true;
    shoot({ fired, photo, done });
    EXPECT_FALSE(received->flashFired());
    shoot({ shutter, photo, endFired });
    EXPECT_TRUE(received->flashFired());
}

TEST_F(ScriptedShot, AFailedPhotoFailsTheRequestWithItsError)
{
    shoot({ shutter, failed(photo, photoError), done });

    EXPECT_EQ(content(), "no record");
    EXPECT_EQ(errorCode(), 1);
    EXPECT_EQ(answers, 1);
    EXPECT_TRUE(owner->completed.empty());
}

TEST_F(ScriptedShot, APhotoWithDataAndAnErrorIsDropped)
{
    PhotoEvent damaged = photo;
    damaged.error = photoError;
    shoot({ shutter, damaged, done });

    EXPECT_EQ(content(), "no record");
    EXPECT_EQ(errorCode(), 1);
}

TEST_F(ScriptedShot, OneOfTwoPicturesIsEnough)
{
    shoot({ shutter, failed(photo, photoError), rawPhoto, done }, rawAndJPEG());
    EXPECT_EQ(content(), "DNG ");
    EXPECT_EQ(errorCode(), 0);
    shoot({ shutter, photo, failed(rawPhoto, rawError), done }, rawAndJPEG());
    EXPECT_EQ(content(), "JPEG ");
    EXPECT_EQ(owner->completed.size(), 2U);
}

TEST_F(ScriptedShot, TheLaterOfTwoErrorsIsTold)
{
    shoot({ shutter, failed(rawPhoto, rawError), failed(photo, photoError), done }, rawAndJPEG());
    EXPECT_EQ(errorCode(), 1);
    shoot({ shutter, failed(photo, photoError), failed(rawPhoto, rawError), done }, rawAndJPEG());
    EXPECT_EQ(errorCode(), 2);
}

TEST_F(ScriptedShot, AFailedMovieLeavesTheRecordItsURL)
{
    shoot({ shutter, photo, failed(movie, movieError), done }, live());

    EXPECT_EQ(content(), "JPEG movie ");
    EXPECT_EQ(errorCode(), 0);
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(ScriptedShot, AMovieHasTheLastWordOnTheErrorOfAPhoto)
{
    shoot({ shutter, failed(photo, photoError), movie, done }, live());
    EXPECT_EQ(content(), "no record");
    EXPECT_FALSE(receivedError);
    shoot({ shutter, failed(photo, photoError), failed(movie, movieError), done }, live());
    EXPECT_EQ(errorCode(), 3);
    shoot({ shutter, failed(movie, movieError), failed(photo, photoError), done }, live());
    EXPECT_EQ(errorCode(), 1);
}

TEST_F(ScriptedShot, AFailureAtTheEndDropsTheRecordAndKeepsItsErrorToItself)
{
    shoot({ shutter, photo, failed(done, finalError) });

    EXPECT_EQ(content(), "no record");
    EXPECT_FALSE(receivedError);
    EXPECT_EQ(answers, 1);
    EXPECT_TRUE(owner->completed.empty());
}

TEST_F(ScriptedShot, AnEndWithoutAnyPictureIsAFailureWithoutAnError)
{
    shoot({ shutter, done });

    EXPECT_EQ(content(), "no record");
    EXPECT_FALSE(receivedError);
    EXPECT_EQ(answers, 1);
}

TEST_F(ScriptedShot, AnEndAtOnceStillAnswersOnce)
{
    shoot({ failed(done, finalError) });

    EXPECT_EQ(answers, 1);
    EXPECT_EQ(began, 0);
}

TEST_F(ScriptedShot, WhatComesAfterTheEndIsNotHeard)
{
    shoot({ shutter, photo, done, rawPhoto, done }, rawAndJPEG());

    EXPECT_EQ(content(), "JPEG ");
    EXPECT_EQ(answers, 1);
}

TEST_F(ScriptedShot, ARequestThatNeverEndsAnswersNothingUntilTheCameraFails)
{
    shoot({ shutter, photo });
    EXPECT_EQ(answers, 0);
    EXPECT_FALSE(weak.expired());
    phone.breakSession(NSError("test", 9));
    clock.advance(1);

    EXPECT_EQ(answers, 1);
    EXPECT_EQ(content(), "no record");
    EXPECT_TRUE(weak.expired());
}
