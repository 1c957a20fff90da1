// SPDX-License-Identifier: Apache-2.0
#include "tests/drivers/phone/CameraFixture.h"

namespace velmora::tests {

using namespace velmora::drivers::phone;

namespace {

// Held upright, the sensor's picture has the world's top at its left: the meadow lies at the right.
constexpr int meadowX = 600, meadowY = 40, skyX = 20, skyY = 440;

class Pictures : public CameraFixture {
protected:
    Pictures() { start(); }
};

TEST_F(Pictures, TwiceTheISOIsTwiceTheLight)
{
    const auto one = patch(*stillWith(exposed(100, CMTimeMake(1, 60))).pixels, meadowX, meadowY);
    const auto two = patch(*stillWith(exposed(200, CMTimeMake(1, 60))).pixels, meadowX, meadowY);
    for (std::size_t c = 0; c < 3; ++c)
        EXPECT_NEAR(two[c] / one[c], 2, 0.06);
}

TEST_F(Pictures, HalfTheTimeIsHalfTheLight)
{
    const auto one = patch(*stillWith(exposed(100, CMTimeMake(1, 60))).pixels, skyX, skyY);
    const auto half = patch(*stillWith(exposed(100, CMTimeMake(1, 120))).pixels, skyX, skyY);
    for (std::size_t c = 0; c < 3; ++c)
        EXPECT_NEAR(half[c] / one[c], 0.5, 0.02);
}

TEST_F(Pictures, LightClipsAtWhite)
{
    const auto sky = patch(*stillWith(exposed(3200, CMTimeMake(1, 60))).pixels, skyX, skyY);
    for (const double channel : sky)
        EXPECT_GT(channel, 0.95);
}

TEST_F(Pictures, BiasMovesTheMeterByStops)
{
    CaptureSettings settings = automatic();
    settings.exposureTargetBias = -1;
    const auto neutral = patch(*stillWith(automatic()).pixels, skyX, skyY);
    const auto darker = stillWith(settings);
    EXPECT_EQ(darker.exposure.bias, -1);
    EXPECT_EQ(darker.exposure.ISO, 50);
    EXPECT_NEAR(patch(*darker.pixels, skyX, skyY)[1] / neutral[1], 0.5, 0.02);
}

TEST_F(Pictures, ABiasOnALockedExposureCountsFromWhereItWasLocked)
{
    stillWith(exposed(200, CMTimeMake(1, 120)));
    CaptureSettings settings = automatic();
    settings.exposureMode = 0;
    const auto locked = stillWith(settings);
    EXPECT_EQ(locked.exposure.ISO, 200);
    settings.exposureTargetBias = 1;
    const auto brighter = stillWith(settings);
    EXPECT_EQ(brighter.exposure.ISO, 400);
    EXPECT_EQ(CMTimeCompare(brighter.exposure.duration, CMTimeMake(1, 120)), 0);
    const auto before = patch(*locked.pixels, meadowX, meadowY), after = patch(*brighter.pixels, meadowX, meadowY);
    EXPECT_NEAR(after[1] / before[1], 2, 0.06);
    settings.exposureTargetBias = 0;
    EXPECT_EQ(stillWith(settings).exposure.ISO, 200);
}

TEST_F(Pictures, ABiasBeyondTheISOsLimitsTakesTheRestFromTheTime)
{
    stillWith(exposed(64, CMTimeMake(1, 120)));
    CaptureSettings settings = automatic();
    settings.exposureMode = 0;
    settings.exposureTargetBias = -2; // ISO 16 there is none
    const auto darker = stillWith(settings);
    EXPECT_EQ(darker.exposure.ISO, 32);
    EXPECT_NEAR(CMTimeGetSeconds(darker.exposure.duration), 1.0 / 240, 1e-8);
}

TEST_F(Pictures, TheMeterKeepsTheProductWithinTheLimits)
{
    phone.change(
        [](PhoneDescription& description) { description.cameras[0].formats[0].longestExposure = CMTimeMake(1, 240); });
    const auto fast = stillWith(automatic());
    EXPECT_NEAR(fast.exposure.ISO, 400, 0.01);
    EXPECT_NEAR(CMTimeGetSeconds(fast.exposure.duration), 1.0 / 240, 1e-8);
}

TEST_F(Pictures, GainsTintByTheirRatioToTheNeutralOnes)
{
    const auto neutral = stillWith(automatic());
    CaptureSettings settings = automatic();
    settings.whiteBalanceMode = 0;
    settings.whiteBalanceGains = neutral.exposure.gains;
    settings.whiteBalanceGains.blueGain /= 1.5F;
    const auto before = patch(*neutral.pixels, skyX, skyY);
    const auto after = patch(*stillWith(settings).pixels, skyX, skyY);
    EXPECT_NEAR(after[2] / before[2], 1 / 1.5, 0.03);
    EXPECT_NEAR(after[0] / before[0], 1, 0.03);
}

/// How much neighbours differ along the rows.
double sharpness(const CVPixelBuffer& pixels)
{
    double most = 0;
    const auto& luma = pixels.planes()[0];
    for (int y = 0; y < luma.height; ++y)
        for (int x = 1; x < luma.width; ++x) {
            const std::uint8_t* at = luma.data + static_cast<std::size_t>(y) * luma.stride + x;
            most = std::max(most, std::abs(static_cast<double>(at[0] - at[-1])));
        }
    return most;
}

TEST_F(Pictures, ALensOutOfPlaceBlursTheFartherTheMore)
{
    CaptureSettings settings = automatic();
    settings.focusMode = 0;
    settings.lensPosition = 0.95F;
    const double sharp = sharpness(*stillWith(settings).pixels);
    settings.lensPosition = 0.7F;
    const double soft = sharpness(*stillWith(settings).pixels);
    settings.lensPosition = 0;
    const double softest = sharpness(*stillWith(settings).pixels);
    EXPECT_GT(sharp, 60);
    EXPECT_LT(soft, sharp / 2);
    EXPECT_LT(softest, soft / 2);
}

TEST_F(Pictures, TheLensFollowsTheScenesDistance)
{
    CaptureSettings settings = automatic();
    settings.focusMode = 0;
    settings.lensPosition = 0.5F;
    phone.change([](PhoneDescription& description) { description.sceneDistance = 0.2; });
    EXPECT_GT(sharpness(*stillWith(settings).pixels), 60);
}

TEST_F(Pictures, ACameraThatCannotFocusIsAlwaysSharp)
{
    phone.change([](PhoneDescription& description) { description.cameras[0].focusModes = { 0 }; });
    CaptureSettings settings = automatic();
    settings.focusMode = 0;
    settings.lensPosition = 0;
    EXPECT_GT(sharpness(*stillWith(settings).pixels), 60);
}

TEST_F(Pictures, TheTorchLightsByTheSquareOfTheDistance)
{
    CaptureSettings settings = exposed(50, CMTimeMake(1, 60));
    const auto dark = patch(*stillWith(settings).pixels, skyX, skyY);
    settings.torchMode = 1;
    const auto lit = patch(*stillWith(settings).pixels, skyX, skyY);
    EXPECT_NEAR(lit[1] / dark[1], 1.25, 0.03); // 2 m
    phone.change([](PhoneDescription& description) { description.sceneDistance = 1; });
    EXPECT_NEAR(patch(*stillWith(settings).pixels, skyX, skyY)[1] / dark[1], 2, 0.06);
}

TEST_F(Pictures, TheFlashFiresForTheStillAlone)
{
    const CaptureSettings settings = exposed(50, CMTimeMake(1, 60));
    const auto dark = stillWith(settings);
    const auto lit = stillWith(settings, { .flashMode = 1 });
    EXPECT_TRUE(lit.exposure.flashFired);
    EXPECT_NEAR(patch(*lit.pixels, skyX, skyY)[1] / patch(*dark.pixels, skyX, skyY)[1], 2, 0.06);
    EXPECT_NEAR(patch(*frames.back()->imageBuffer(), skyX, skyY)[1], patch(*dark.pixels, skyX, skyY)[1], 0.01);
}

TEST_F(Pictures, TheAutomaticFlashKnowsThatItIsDark)
{
    EXPECT_FALSE(stillWith(automatic(), { .flashMode = 2 }).exposure.flashFired);
    EXPECT_TRUE(stillWith(exposed(800, CMTimeMake(1, 60)), { .flashMode = 2 }).exposure.flashFired);
}

/// The pixels of the sun, the brightest yellow.
int sunPixels(const CVPixelBuffer& pixels)
{
    int count = 0;
    for (int y = 0; y < pixels.height(); ++y)
        for (int x = 0; x < pixels.width(); ++x) {
            const auto [red, green, blue] = linearAt(pixels, x, y);
            count += red > 0.8 && blue < 0.3;
        }
    return count;
}

TEST_F(Pictures, ZoomScalesAroundTheCentre)
{
    const int before = sunPixels(*stillWith(automatic()).pixels);
    CaptureSettings settings = automatic();
    settings.zoomFactor = 1.25;
    const auto zoomed = stillWith(settings);
    EXPECT_NEAR(sunPixels(*zoomed.pixels) / static_cast<double>(before), 1.5625, 0.05);
    EXPECT_EQ(zoomed.exposure.zoomFactor, 1.25);
}

TEST_F(Pictures, NoiseGrowsAboveTheBaseISO)
{
    const auto spread = [&](float ISO, std::int32_t fraction) {
        const auto pixels = stillWith(exposed(ISO, CMTimeMake(1, fraction))).pixels;
        double sum = 0, squares = 0;
        for (int y = meadowY; y < meadowY + 64; ++y) {
            const double value = linearAt(*pixels, meadowX, y)[1]; // one column: one height of the meadow
            sum += value / 64;
            squares += value * value / 64;
        }
        return std::sqrt(std::max(0.0, squares - sum * sum));
    };
    const double base = spread(100, 60), high = spread(1600, 960), highest = spread(3200, 1920);
    EXPECT_LT(base, 0.0005);
    EXPECT_GT(high, 0.002);
    EXPECT_GT(highest, high);
}

TEST_F(Pictures, TheSameSettingsGiveTheSameBytes)
{
    const auto noisy = exposed(1600, CMTimeMake(1, 60));
    const auto first = stillWith(noisy).pixels;
    VirtualPhone other { smallPhone() };
    camera = CaptureDriver::installed()->devices()[0];
    camera->start({}, [](const auto&) {});
    camera->apply(noisy, "set", nullptr);
    other.clock().advance(0.11);
    std::shared_ptr<CVPixelBuffer> second;
    StillEvents events;
    events.processed = [&](const auto& picture, const auto&) { second = picture->pixels; };
    camera->captureStill({}, std::move(events));
    other.clock().advance(0.05);
    EXPECT_TRUE(sameBytes(*first, *second));
}

struct Holding {
    const char* name;
    const char* camera;
    double x, y;
    int skyX, skyY, meadowX, meadowY; // in the sensor's picture
};

class Held : public CameraFixture, public testing::WithParamInterface<Holding> { };

TEST_P(Held, DecidesHowTheSensorSeesTheWorld)
{
    const Holding& held = GetParam();
    camera = device(held.camera);
    start();
    phone.tilt(held.x, held.y, 0);
    phone.sendFrame();
    const auto sky = patch(*frames[0]->imageBuffer(), held.skyX, held.skyY);
    const auto meadow = patch(*frames[0]->imageBuffer(), held.meadowX, held.meadowY);
    EXPECT_GT(sky[2], 1.5 * sky[0]);
    EXPECT_GT(meadow[1], 1.5 * meadow[2]);
}

// EXIF 6, 8, 1, 3 show them upright; the front camera's lying ones are the other way round.
INSTANTIATE_TEST_SUITE_P(OfThePhone, Held,
    testing::Values(Holding { "Upright", "back", 0, -1, 4, 30, 620, 440 },
        Holding { "UpsideDown", "back", 0, 1, 620, 440, 4, 30 }, Holding { "TopLeft", "back", -1, 0, 600, 4, 30, 460 },
        Holding { "TopRight", "back", 1, 0, 30, 460, 600, 4 },
        Holding { "FrontUpright", "front", 0, -1, 4, 30, 620, 440 },
        Holding { "FrontTopLeft", "front", -1, 0, 30, 460, 600, 4 },
        Holding { "FrontTopRight", "front", 1, 0, 600, 4, 30, 460 }),
    [](const auto& held) { return held.param.name; });

TEST_F(Pictures, LyingFlatThePhoneIsHeldAsBefore)
{
    phone.tilt(-1, 0, 0);
    phone.tilt(0, 0, -1);
    phone.sendFrame();
    EXPECT_GT(patch(*frames.back()->imageBuffer(), 600, 4)[2], 1.5 * patch(*frames.back()->imageBuffer(), 600, 4)[0]);
}

TEST_F(Pictures, RawSamplesDoubleWithTheExposureAboveBlack)
{
    const auto rawOf = [&](float ISO) {
        const auto raw
            = *stillWith(exposed(ISO, CMTimeMake(1, 60)), { .processed = false, .rawFormat = 1650943796 }).raw;
        const auto& plane = raw.samples->planes()[0];
        const auto* row = reinterpret_cast<const std::uint16_t*>(plane.data + 40 * plane.stride);
        return row[601] - 512.0; // a green sample of the meadow
    };
    const double dark = rawOf(50), bright = rawOf(100);
    EXPECT_GT(dark, 500);
    EXPECT_NEAR(bright / dark, 2, 0.005);
}

TEST_F(Pictures, RawSaysHowItIsToBeDeveloped)
{
    const auto raw = *stillWith(automatic(), { .processed = false, .rawFormat = 1650943796 }).raw;
    EXPECT_EQ(raw.samples->pixelFormat(), kCVPixelFormatType_14Bayer_BGGR);
    EXPECT_EQ(raw.pattern, (std::array<std::uint8_t, 4> { 2, 1, 1, 0 }));
    EXPECT_EQ(raw.blackLevel, 512);
    EXPECT_EQ(raw.whiteLevel, 16383);
    EXPECT_NEAR(raw.asShotNeutral[0], 0.5, 1e-6);
    EXPECT_NEAR(raw.asShotNeutral[1], 1, 1e-6);
    EXPECT_NEAR(raw.asShotNeutral[2], 0.6, 1e-6);
    // D65 white in XYZ reads the neutral.
    const double white[] { 0.95047, 1, 1.08883 };
    for (std::size_t row = 0; row < 3; ++row) {
        double reading = 0;
        for (std::size_t i = 0; i < 3; ++i)
            reading += raw.colorMatrix[3 * row + i] * white[i];
        EXPECT_NEAR(reading, raw.asShotNeutral[row], 0.001);
    }
}

class Stills : public CameraFixture {
protected:
    Stills() { start(); }

    void shoot(const StillRequest& request = {})
    {
        StillEvents events;
        const auto text = [](const std::optional<NSError>& error) {
            return error ? " " + std::to_string(error->code()) : std::string();
        };
        events.shutter = [this](bool flash) { told.push_back(flash ? "shutter flash" : "shutter"); };
        events.processed = [this, text](const auto& still, const auto& error) {
            told.push_back(std::string(still ? "processed" : "no processed")
                + (still && still->preview ? " preview" : "") + text(error));
        };
        events.raw = [this, text](const auto& still, const auto& error) {
            told.push_back((still ? "raw" : "no raw") + text(error));
        };
        events.movie = [this, text](const auto& error) { told.push_back("movie" + text(error)); };
        events.done = [this, text](bool flash, const auto& error) {
            told.push_back((flash ? "done flash" : "done") + text(error));
        };
        camera->captureStill(request, std::move(events));
    }

    std::vector<std::string> told;
};

using Told = std::vector<std::string>;

TEST_F(Stills, TellTheNaturalOrder)
{
    shoot({ .rawFormat = 1650943796, .flashMode = 1, .previewFormat = 875704422 });
    clock.advance(0.03);
    EXPECT_TRUE(told.empty());
    clock.advance(0.01);
    EXPECT_EQ(told, (Told { "shutter flash", "processed preview", "raw", "done flash" }));
}

TEST_F(Stills, ALivePhotosMovieEndsLater)
{
    shoot({ .livePhoto = true });
    clock.advance(1.5);
    EXPECT_EQ(told, (Told { "shutter", "processed" }));
    clock.advance(0.1);
    EXPECT_EQ(told, (Told { "shutter", "processed", "movie", "done" }));
}

TEST_F(Stills, FollowAScriptOnce)
{
    phone.scriptNextPhoto({ { PhotoEvent::Raw }, { PhotoEvent::Processed, NSError("Test", 5), false },
        { PhotoEvent::Shutter, {}, true, false, true }, { .kind = PhotoEvent::Movie, .error = NSError("Test", 6) },
        { .kind = PhotoEvent::Done, .error = NSError("Test", 7), .flash = true } });
    shoot();
    clock.advance(0.1);
    EXPECT_EQ(told, (Told { "raw", "no processed 5", "shutter flash", "movie 6", "done flash 7" }));
    told.clear();
    shoot();
    clock.advance(0.1);
    EXPECT_EQ(told, (Told { "shutter", "processed", "done" }));
}

TEST_F(Stills, AnErrorMayComeWithThePictureAndItsPreview)
{
    phone.scriptNextPhoto({ { .kind = PhotoEvent::Processed, .error = NSError("Test", 5), .preview = true } });
    shoot();
    clock.advance(0.1);
    EXPECT_EQ(told, (Told { "processed preview 5" }));
}

TEST_F(Stills, AreRefusedWhileTheCameraStandsStill)
{
    camera->stop();
    shoot();
    clock.advance(0.1);
    EXPECT_EQ(told, (Told { "done -11803" }));
}

TEST_F(Stills, AreNotKeptWhenTheStorageIsFull)
{
    phone.fullAfter(200000); // one picture of 640x480 may need 153600 bytes
    shoot();
    shoot();
    clock.advance(0.1);
    EXPECT_EQ(told, (Told { "shutter", "shutter", "processed", "no processed 28", "done", "done 28" }));
}

TEST_F(Stills, AreNotKeptWithoutFreeBytes)
{
    phone.change([](PhoneDescription& description) { description.storage.bytesFree = 1000; });
    shoot();
    clock.advance(0.1);
    EXPECT_EQ(told, (Told { "shutter", "no processed 28", "done 28" }));
}

TEST_F(Stills, APreviewFollowsThePicturesShape)
{
    const auto taken = still({ .previewFormat = 875704422, .previewWidth = 160 });
    ASSERT_TRUE(taken.preview);
    EXPECT_EQ(taken.preview->width(), 160);
    EXPECT_EQ(taken.preview->height(), 120);
}

TEST_F(Stills, CarryTheMomentAndTheExposure)
{
    clock.setAbsoluteTime(1000);
    const auto taken = still();
    EXPECT_NEAR(taken.exposure.date, 1000 + 1.0 / 30, 1e-6);
    EXPECT_EQ(taken.exposure.ISO, 100);
    EXPECT_EQ(CMTimeCompare(taken.exposure.duration, CMTimeMake(1, 60)), 0);
    EXPECT_FALSE(taken.exposure.flashFired);
}

}
}
