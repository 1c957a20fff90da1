// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/NSException.h"

#include "tests/drivers/phone/CameraFixture.h"

namespace velmora::tests {

using namespace velmora::drivers::phone;

namespace {

using Cameras = CameraFixture;

TEST_F(Cameras, AreListedInTheirOrderAndTheMicrophoneLast)
{
    std::string ids;
    for (const auto& each : CaptureDriver::installed()->devices())
        ids += each->description().uniqueID + " ";
    EXPECT_EQ(ids, "back front microphone ");
}

TEST_F(Cameras, AreTheSameObjectsAtEveryLook)
{
    EXPECT_EQ(device("front"), device("front"));
    EXPECT_EQ(CaptureDriver::installed()->defaultDevice(AVMediaTypeVideo), camera);
}

TEST_F(Cameras, TheDefaultIsApartFromDiscovery)
{
    phone.change([](PhoneDescription& description) { description.defaultCamera = "front"; });
    EXPECT_EQ(CaptureDriver::installed()->defaultDevice(AVMediaTypeVideo), device("front"));
    phone.change([](PhoneDescription& description) { description.defaultCamera = ""; });
    EXPECT_EQ(CaptureDriver::installed()->defaultDevice(AVMediaTypeVideo), nullptr);
}

TEST_F(Cameras, ANewFieldIsSeenAtTheNextRead)
{
    phone.change([](PhoneDescription& description) { description.cameras[0].torchModes = { 1 }; });
    EXPECT_EQ(camera->description().torchModes, (std::vector<int> { 1 }));
}

TEST_F(Cameras, AFrameRateHasItsOwnTimescale)
{
    phone.change([](PhoneDescription& description) {
        description.cameras[0].formats[0].frameRates = { { 1, 240, CMTimeMake(1001, 240000) }, { 2, 30, {} } };
    });
    const auto ranges = camera->description().formats[0].frameRates;
    EXPECT_EQ(ranges[0].minFrameDuration.value, 1001);
    EXPECT_EQ(ranges[0].minFrameDuration.timescale, 240000);
    EXPECT_EQ(ranges[1].minFrameDuration.timescale, 30);
    EXPECT_EQ(CMTimeGetSeconds(ranges[1].maxFrameDuration), 0.5);
}

TEST_F(Cameras, RefusedInputsAndPresetsAreAskedFor)
{
    phone.change([](PhoneDescription& description) {
        description.refusedInputs = { { "back", "Photo" }, { "microphone", "" } };
        description.refusedPresets = { "High" };
    });
    const auto driver = CaptureDriver::installed();
    EXPECT_FALSE(driver->canAddInput("back", "Photo"));
    EXPECT_TRUE(driver->canAddInput("back", "High"));
    EXPECT_FALSE(driver->canAddInput("microphone", "High"));
    EXPECT_FALSE(driver->canSetPreset("High"));
    EXPECT_TRUE(driver->canSetPreset("Photo"));
}

TEST_F(Cameras, AQuestionForAccessWaitsForTheUser)
{
    phone.change([](PhoneDescription& description) { description.permissions.camera = 0; });
    std::vector<bool> answers;
    CaptureDriver::installed()->requestAccess(AVMediaTypeVideo, [&](bool granted) { answers.push_back(granted); });
    clock.advance(5);
    EXPECT_TRUE(answers.empty());
    phone.change([](PhoneDescription& description) { description.permissions.camera = 3; });
    clock.advance(0);
    EXPECT_EQ(answers, (std::vector<bool> { true }));
}

TEST_F(Cameras, AnUnknownCameraOrReadingIsTheTestsMistake)
{
    EXPECT_THROW(phone.unplug("side"), NSException);
    EXPECT_THROW(phone.setReading("back", "iso", 1), NSException);
    EXPECT_THROW(phone.fail({ .step = Step::Lock, .outcome = Outcome::Late }), NSException);
}

using Opening = CameraFixture;

TEST_F(Opening, EndsInTheThreeWaysThatAreAskedFor)
{
    phone.fail({ .step = Step::OpenVideoInput, .error = NSError("Test", 1) });
    auto [made, error] = camera->open();
    EXPECT_FALSE(made);
    EXPECT_EQ(error->code(), 1);

    phone.fail({ .step = Step::OpenVideoInput, .outcome = Outcome::ErrorWithResult, .error = NSError("Test", 2) });
    std::tie(made, error) = camera->open();
    EXPECT_TRUE(made);
    EXPECT_EQ(error->code(), 2);

    phone.fail({ .step = Step::OpenVideoInput, .outcome = Outcome::Nothing });
    std::tie(made, error) = camera->open();
    EXPECT_FALSE(made);
    EXPECT_FALSE(error);
    EXPECT_TRUE(camera->open().first);
}

TEST_F(Opening, TheMicrophoneHasItsOwnStep)
{
    phone.fail({ .step = Step::OpenAudioInput, .error = NSError("Test", 3) });
    EXPECT_TRUE(camera->open().first);
    EXPECT_EQ(device("microphone")->open().second->code(), 3);
}

using Locking = CameraFixture;

TEST_F(Locking, FailsAtTheNextCallAlone)
{
    phone.failNextLock(NSError("AVFoundationErrorDomain", -11817));
    EXPECT_EQ(camera->lock()->code(), -11817);
    EXPECT_FALSE(camera->lock());
}

TEST_F(Locking, FailsFromACallOnAsOftenAsAskedFor)
{
    phone.fail({ .step = Step::Lock, .call = 2, .times = 2 });
    std::string outcomes;
    for (int i = 0; i < 5; ++i)
        outcomes += camera->lock() ? "x" : "-";
    EXPECT_EQ(outcomes, "-xx--");
}

TEST_F(Locking, FailsForever)
{
    phone.fail({ .step = Step::Lock, .times = 0 });
    for (int i = 0; i < 3; ++i)
        EXPECT_TRUE(camera->lock());
}

TEST_F(Locking, FailsForOneCameraAlone)
{
    phone.fail({ .step = Step::Lock, .camera = "front", .times = 0 });
    EXPECT_FALSE(camera->lock());
    EXPECT_TRUE(device("front")->lock());
}

TEST_F(Locking, ReachesTheJournalWithItsQueue)
{
    const DispatchQueue queue("org.velmora.test");
    queue.sync([&] { camera->lock(); });
    camera->apply(automatic(), "setISO 200", nullptr);
    camera->unlock();
    camera->apply(automatic(), "setISO 100", nullptr);

    const auto& all = phone.journal();
    ASSERT_GE(all.size(), 4U);
    const auto* entry = &all[all.size() - 4];
    EXPECT_EQ(entry[0].what, "lock");
    EXPECT_EQ(entry[0].device, "back");
    EXPECT_EQ(entry[0].queue, "org.velmora.test");
    EXPECT_EQ(entry[1].what, "setISO 200");
    EXPECT_EQ(entry[2].what, "unlock");
    EXPECT_EQ(entry[3].what, "setISO 100 without a lock");
}

using Session = CameraFixture;

TEST_F(Session, StartsNowLateOrNever)
{
    const auto driver = CaptureDriver::installed();
    EXPECT_EQ(driver->startDelay(), std::nullopt);
    phone.fail({ .step = Step::Start, .outcome = Outcome::Late, .delay = 2 });
    phone.fail({ .step = Step::Start, .outcome = Outcome::Never, .call = 2 });
    EXPECT_EQ(driver->startDelay(), 2);
    EXPECT_EQ(driver->startDelay(), -1);
}

TEST_F(Session, OutputsMayNotBeMade)
{
    phone.fail({ .step = Step::CreateAudioOutput, .outcome = Outcome::Nothing });
    const auto driver = CaptureDriver::installed();
    EXPECT_TRUE(driver->canCreateOutput("video"));
    EXPECT_TRUE(driver->canCreateOutput("photo"));
    EXPECT_FALSE(driver->canCreateOutput("audio"));
    EXPECT_TRUE(driver->canCreateOutput("audio"));
}

using Frames = CameraFixture;

TEST_F(Frames, ComeThirtyTimesASecond)
{
    start();
    clock.advance(1.001);
    EXPECT_EQ(frames.size(), 30U);
    EXPECT_EQ(frames[0]->imageBuffer()->width(), 640);
    EXPECT_EQ(frames[29]->sequence(), 30U);
    EXPECT_NEAR(CMTimeGetSeconds(frames[29]->presentationTimeStamp()), 1.0, 1e-6);
}

TEST_F(Frames, FollowTheFrameDuration)
{
    CaptureSettings settings = automatic();
    settings.minFrameDuration = settings.maxFrameDuration = CMTimeMake(1, 10);
    camera->apply(settings, "set", nullptr);
    clock.advance(0.05);
    start();
    clock.advance(1.001);
    EXPECT_EQ(frames.size(), 10U);
}

TEST_F(Frames, WaitForALongExposure)
{
    camera->apply(exposed(100, CMTimeMake(1, 4)), "set", nullptr);
    clock.advance(0.05);
    start();
    clock.advance(1.001);
    EXPECT_EQ(frames.size(), 4U);
}

TEST_F(Frames, StopAtTheStop)
{
    start();
    clock.advance(0.5);
    camera->stop();
    const std::size_t before = frames.size();
    clock.advance(1);
    EXPECT_EQ(frames.size(), before);
}

TEST_F(Frames, AreDeliveredOnRequestBeforeTheCallReturns)
{
    start();
    phone.sendFrame();
    phone.sendFrame();
    EXPECT_EQ(frames.size(), 2U);
    EXPECT_EQ(frames[0]->imageBuffer(), frames[1]->imageBuffer());
    EXPECT_NE(frames[0], frames[1]);
}

TEST_F(Frames, HaveTheFormatThatWasAskedFor)
{
    EXPECT_FALSE(start(kCVPixelFormatType_32BGRA));
    phone.sendFrame();
    EXPECT_EQ(frames[0]->imageBuffer()->pixelFormat(), kCVPixelFormatType_32BGRA);
}

TEST_F(Frames, AFormatThatTheCameraCannotMakeIsAnError)
{
    const auto error = start(kCVPixelFormatType_14Bayer_BGGR);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->localizedDescription(),
        "The camera \"back\" has no frames in the format 'bgg4'; ask for '420f', '420v' or 'BGRA'.");
}

TEST_F(Frames, ADrawnSceneMoves)
{
    start();
    phone.sendFrame();
    clock.advance(2);
    EXPECT_FALSE(sameBytes(*frames.front()->imageBuffer(), *frames.back()->imageBuffer()));
}

TEST_F(Frames, TheSameMomentHasTheSameBytesOnAnotherPhone)
{
    start();
    clock.advance(0.5);
    const auto first = frames.back()->imageBuffer();
    VirtualPhone other { smallPhone() };
    std::shared_ptr<CVPixelBuffer> second;
    const auto twin = CaptureDriver::installed()->devices()[0];
    twin->start({}, [&](const auto& frame) { second = frame->imageBuffer(); });
    other.clock().advance(0.5);
    EXPECT_TRUE(sameBytes(*first, *second));
}

TEST_F(Frames, PauseWhileSomebodyElseHasTheCamera)
{
    std::vector<std::string> told;
    CaptureDeviceEvents events;
    events.interrupted = [&](const auto& error) { told.push_back(error ? "with an error" : "interrupted"); };
    events.interruptionEnded = [&] { told.push_back("ended"); };
    camera->setEvents(std::move(events));
    start();
    phone.interruptSession();
    clock.advance(1);
    EXPECT_TRUE(frames.empty());
    phone.resumeSession();
    phone.interruptSession(NSError("Test", 1));
    clock.advance(0);
    phone.resumeSession();
    clock.advance(1);
    EXPECT_FALSE(frames.empty());
    EXPECT_EQ(told, (std::vector<std::string> { "interrupted", "ended", "with an error", "ended" }));
}

TEST_F(Frames, EndWhenTheCameraBreaks)
{
    std::int64_t code = 0;
    CaptureDeviceEvents events;
    events.failed = [&](const NSError& error) { code = error.code(); };
    camera->setEvents(std::move(events));
    start();
    phone.breakSession(NSError("Test", -11819));
    clock.advance(1);
    EXPECT_EQ(code, -11819);
    EXPECT_TRUE(frames.empty());
    camera->stop();
    start();
    clock.advance(1);
    EXPECT_FALSE(frames.empty());
}

TEST_F(Frames, EndAfterTheFrameAtWhichTheCameraIsUnplugged)
{
    std::int64_t code = 0;
    CaptureDeviceEvents events;
    events.failed = [&](const NSError& error) { code = error.code(); };
    camera->setEvents(std::move(events));
    start();
    phone.unplug("back", 3);
    clock.advance(1);
    EXPECT_EQ(frames.size(), 3U);
    EXPECT_EQ(code, -11808);
    EXPECT_EQ(device("back"), nullptr);
    EXPECT_TRUE(start());
}

TEST_F(Frames, AStartCanFail)
{
    phone.fail({ .step = Step::Start, .error = NSError("Test", 4) });
    EXPECT_EQ(start()->code(), 4);
    EXPECT_FALSE(start());
}

TEST_F(Frames, FacesAreTold)
{
    std::size_t seen = 99;
    CaptureDeviceEvents events;
    events.metadata = [&](const auto& objects) { seen = objects.size(); };
    camera->setEvents(std::move(events));
    phone.showFaces(1);
    clock.advance(0);
    EXPECT_EQ(seen, 99U);
    start();
    phone.showFaces(3);
    clock.advance(0);
    EXPECT_EQ(seen, 3U);
    phone.showFaces(0);
    clock.advance(0);
    EXPECT_EQ(seen, 0U);
}

TEST_F(Frames, SoundComesInPiecesOfTwentyMilliseconds)
{
    std::vector<std::shared_ptr<CMSampleBuffer>> pieces;
    const auto microphone = device("microphone");
    microphone->start({}, [&](auto piece) { pieces.push_back(std::move(piece)); });
    clock.advance(0.101);
    phone.sendAudio();
    ASSERT_EQ(pieces.size(), 6U);
    EXPECT_EQ(pieces[0]->audio()->samples.size(), 960U);
    EXPECT_EQ(pieces[0]->mediaType(), "soun");
    microphone->stop();
    clock.advance(1);
    EXPECT_EQ(pieces.size(), 6U);
}

class Settings : public CameraFixture {
protected:
    Settings()
    {
        CaptureDeviceEvents events;
        events.readingsChanged = [this](const CaptureReadings& reading) {
            if (reading.ISO)
                ISO = *reading.ISO;
            if (reading.lensPosition)
                lens = *reading.lensPosition;
            if (reading.exposureDuration)
                duration = *reading.exposureDuration;
            if (reading.adjustingFocus)
                focusing.push_back(*reading.adjustingFocus);
            if (reading.adjustingExposure)
                exposing = *reading.adjustingExposure;
            if (reading.whiteBalanceGains)
                gains = *reading.whiteBalanceGains;
        };
        camera->setEvents(std::move(events));
    }

    float ISO = 0, lens = 0;
    CMTime duration;
    AVCaptureWhiteBalanceGains gains;
    std::vector<bool> focusing;
    bool exposing = false;
};

TEST_F(Settings, TheFirstReadingsAreThoseOfTheScene)
{
    EXPECT_EQ(ISO, 100);
    EXPECT_EQ(CMTimeCompare(duration, CMTimeMake(1, 60)), 0);
    EXPECT_FLOAT_EQ(lens, 0.95F); // 2 m are half a dioptre of ten
    EXPECT_NEAR(gains.redGain, 2.0, 0.03);
    EXPECT_NEAR(gains.blueGain, 1.667, 0.03);
}

TEST_F(Settings, TakeEffectOneFrameLater)
{
    std::optional<double> when;
    camera->apply(exposed(400, CMTimeMake(1, 100)), "set", [&](CMTime time) { when = CMTimeGetSeconds(time); });
    clock.advance(0.02);
    EXPECT_EQ(ISO, 100);
    EXPECT_FALSE(when);
    clock.advance(0.02);
    EXPECT_EQ(ISO, 400);
    EXPECT_EQ(CMTimeCompare(duration, CMTimeMake(1, 100)), 0);
    EXPECT_NEAR(*when, 1.0 / 30, 1e-6);
}

TEST_F(Settings, AreTimedByTheFirstFrameThatShowsThem)
{
    start();
    clock.advance(0.08);
    double when = 0;
    camera->apply(exposed(400, CMTimeMake(1, 60)), "set", [&](CMTime time) { when = CMTimeGetSeconds(time); });
    clock.advance(0.5);
    EXPECT_NEAR(when, 4.0 / 30, 1e-6);
}

TEST_F(Settings, TakeEffectLate)
{
    bool done = false;
    phone.fail({ .step = Step::SettingTakesEffect, .outcome = Outcome::Late, .delay = 2 });
    camera->apply(exposed(400, CMTimeMake(1, 60)), "set", [&](CMTime) { done = true; });
    clock.advance(1.9);
    EXPECT_FALSE(done);
    clock.advance(0.2);
    EXPECT_TRUE(done);
    EXPECT_EQ(ISO, 400);
}

TEST_F(Settings, TakeNoEffect)
{
    bool done = false;
    phone.fail({ .step = Step::SettingTakesEffect, .outcome = Outcome::Never });
    camera->apply(exposed(400, CMTimeMake(1, 60)), "set", [&](CMTime) { done = true; });
    clock.advance(10);
    EXPECT_FALSE(done);
    EXPECT_EQ(ISO, 100);
}

TEST_F(Settings, ALateOneDoesNotUndoWhatCameAfterIt)
{
    phone.fail({ .step = Step::SettingTakesEffect, .outcome = Outcome::Late, .delay = 2 });
    camera->apply(exposed(400, CMTimeMake(1, 60)), "set", nullptr);
    camera->apply(exposed(800, CMTimeMake(1, 60)), "set", nullptr);
    clock.advance(5);
    EXPECT_EQ(ISO, 800);
}

TEST_F(Settings, ALockedExposureStaysAsItWas)
{
    camera->apply(exposed(400, CMTimeMake(1, 100)), "set", nullptr);
    clock.advance(1);
    CaptureSettings locked = automatic();
    locked.exposureMode = 0;
    camera->apply(locked, "set", nullptr);
    clock.advance(1);
    EXPECT_EQ(ISO, 400);
}

TEST_F(Settings, TheFocusSaysThatItAdjusts)
{
    CaptureSettings settings = automatic();
    settings.focusMode = 0;
    settings.lensPosition = 0.25F;
    camera->apply(settings, "set", nullptr);
    clock.advance(1);
    EXPECT_EQ(lens, 0.25F);
    focusing.clear();
    camera->apply(automatic(), "set", nullptr);
    clock.advance(1);
    EXPECT_FLOAT_EQ(lens, 0.95F);
    EXPECT_EQ(focusing, (std::vector<bool> { true, false }));
}

TEST_F(Settings, ReadingsAreToldAtOnce)
{
    phone.setReading("back", "ISO", NAN);
    EXPECT_TRUE(std::isnan(ISO));
    phone.setReading("back", "exposureDuration", NAN);
    EXPECT_FALSE(CMTIME_IS_VALID(duration));
    phone.setReading("back", "exposureDuration", INFINITY);
    EXPECT_EQ(CMTimeCompare(duration, kCMTimeIndefinite), 0);
    phone.setReading("back", "exposureDuration", 0);
    EXPECT_EQ(CMTimeCompare(duration, kCMTimeZero), 0);
    phone.setReading("back", "adjustingExposure", 1);
    EXPECT_TRUE(exposing);
}

TEST_F(Settings, TheLensMovesByItself)
{
    focusing.clear();
    phone.moveLens("back", 0.4F);
    EXPECT_EQ(lens, 0.4F);
    EXPECT_EQ(focusing, (std::vector<bool> { true }));
    clock.advance(0.1);
    EXPECT_EQ(focusing, (std::vector<bool> { true, false }));
}

TEST_F(Settings, ALockedLensStaysWhereTheDeviceMovedIt)
{
    CaptureSettings settings = automatic();
    settings.focusMode = 0;
    settings.lensPosition = 0.25F;
    camera->apply(settings, "set", nullptr);
    clock.advance(0.1);
    phone.moveLens("back", 0.4F);
    settings.zoomFactor = 2;
    camera->apply(settings, "set", nullptr);
    clock.advance(0.1);
    EXPECT_EQ(lens, 0.4F);
}

TEST_F(Settings, ACameraWithoutAutomaticBalanceStaysNeutral)
{
    PhoneDescription description = smallPhone();
    description.cameras[0].whiteBalanceModes = { 0 };
    VirtualPhone other { description };
    camera = device("back");
    CaptureDeviceEvents events;
    events.readingsChanged = [this](const CaptureReadings& reading) { gains = *reading.whiteBalanceGains; };
    camera->setEvents(std::move(events));
    CaptureSettings settings = automatic();
    settings.whiteBalanceMode = 0;
    settings.zoomFactor = 2;
    camera->apply(settings, "set", nullptr);
    other.clock().advance(0.1);
    EXPECT_NEAR(gains.redGain, 2.0, 0.03);
}

TEST_F(Settings, WarmLightNeedsMoreBlueAndLessRed)
{
    const auto warm = *camera->gains({ 3000, 0 }), cold = *camera->gains({ 9000, 0 });
    EXPECT_GT(warm.blueGain, cold.blueGain + 0.5F);
    EXPECT_LT(warm.redGain, cold.redGain - 0.5F);
    EXPECT_EQ(warm.greenGain, 1);
}

TEST_F(Settings, GainsMayBeTheCamerasOwn)
{
    phone.change([](PhoneDescription& description) {
        description.cameras[0].gains = [](float kelvin, float) {
            return AVCaptureWhiteBalanceGains { kelvin, 0.5F, 1 };
        };
    });
    EXPECT_EQ(camera->gains({ 5000, 0 })->redGain, 5000);
    EXPECT_EQ(camera->gains({ 5000, 0 })->greenGain, 0.5F);
}

}
}
