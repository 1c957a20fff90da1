// SPDX-License-Identifier: Apache-2.0
#include "platform/ImageIO/ImageDecoder.h"

#include "drivers/media/install.h"

#include "tests/support/Pictures.h"

#include <array>

#include "tests/apps/camera/CameraProgram.h"

namespace velmora::tests {

using testing::HasSubstr;

namespace {

/// Of a file's picture: red, green and blue, 0 to 255.
std::array<double, 3> meanColor(const std::string& path)
{
    drivers::media::install();
    const auto pixels = ImageDecoder::installed()->decodeFile(path);
    const auto& plane = pixels->planes()[0];
    std::array<double, 3> sum {};
    for (int y = 0; y < plane.height; ++y)
        for (int x = 0; x < plane.width; ++x) {
            const auto colour = colourAt(*pixels, x, y);
            for (std::size_t c = 0; c < 3; ++c)
                sum[c] += colour[c];
        }
    for (double& channel : sum)
        channel /= static_cast<double>(plane.height) * plane.width;
    return sum;
}

}

class ManualSettings : public CameraProgram {
protected:
    ManualSettings()
    {
        write("limited.json", R"({
  "formats": { "small": { "size": [640, 480], "highResolutionStill": [640, 480], "iso": [50, 1600],
                          "exposure": ["1/4000", "1/4"], "zoom": 8 } },
  "cameras": [ { "id": "back-wide", "type": "wide", "position": "back", "formats": ["small"],
                 "lowestBias": -3, "highestBias": 3, "presets": { "AVCaptureSessionPresetPhoto": "small" } } ]
})");
    }
    ProgramOutcome shoot(const std::string& arguments) const
    {
        return run("--phone limited.json --camera virtual --quiet --json shoot --out photos " + arguments);
    }
    nlohmann::json photo(const std::string& arguments) const
    {
        const auto outcome = shoot(arguments);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        return outcome.json()["photos"][0];
    }
    void expectRefused(const std::string& arguments, const std::string& sentence) const
    {
        const auto outcome = shoot(arguments);
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.err, "velmora-camera: " + sentence + "\n");
        EXPECT_TRUE(filesIn("photos").empty());
    }
};

TEST_F(ManualSettings, TheISOIsThePhotosAndTheTimeStays)
{
    const auto taken = photo("--iso 400");
    EXPECT_EQ(taken["iso"], 400);
    EXPECT_NEAR(taken["exposureSeconds"], 1.0 / 60, 1e-6);
}

TEST_F(ManualSettings, TheShutterSpeedIsAFractionOrSeconds)
{
    EXPECT_NEAR(photo("--shutter 1/250")["exposureSeconds"], 1.0 / 250, 1e-6);
    EXPECT_NEAR(photo("--shutter 0.125")["exposureSeconds"], 0.125, 1e-6);
}

TEST_F(ManualSettings, TheISOAndTheShutterSpeedAreSetTogether)
{
    const auto taken = photo("--iso 800 --shutter 1/1000");
    EXPECT_EQ(taken["iso"], 800);
    EXPECT_NEAR(taken["exposureSeconds"], 0.001, 1e-7);
}

TEST_F(ManualSettings, ABiasDoublesTheExposureForEachStop)
{
    const auto plain = photo(""), brighter = photo("--bias 2"), darker = photo("--bias -1");
    const auto exposure = [](const nlohmann::json& taken) {
        return taken["iso"].get<double>() * taken["exposureSeconds"].get<double>();
    };
    EXPECT_NEAR(exposure(brighter) / exposure(plain), 4, 0.1);
    EXPECT_NEAR(exposure(darker) / exposure(plain), 0.5, 0.02);
}

TEST_F(ManualSettings, ATemperatureTintsAndAZoomCrops)
{
    const auto plain = meanColor(photo("")["jpg"]), warm = meanColor(photo("--temperature 9000")["jpg"]),
               cold = meanColor(photo("--temperature 4000")["jpg"]);
    EXPECT_GT(warm[0] / warm[2], plain[0] / plain[2]);
    EXPECT_LT(cold[0] / cold[2], plain[0] / plain[2]);
    EXPECT_NE(meanColor(photo("--zoom 4")["jpg"]), plain);
}

TEST_F(ManualSettings, AnExcludedPairIsAWrongLine)
{
    const auto outcome = shoot("--bias 1 --iso 100");
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, HasSubstr("excludes --bias"));
}

TEST_F(ManualSettings, BeyondTheCamerasLimitsIsRefusedWithItsRange)
{
    expectRefused("--iso 49", "--iso 49 cannot be used: this camera goes from 50 to 1600; use a value in that range.");
    expectRefused(
        "--iso 1601", "--iso 1601 cannot be used: this camera goes from 50 to 1600; use a value in that range.");
    expectRefused("--shutter 1/5000",
        "--shutter 1/5000 cannot be used: this camera goes from 1/4000 to 1/4; use a value in that range.");
    expectRefused(
        "--shutter 2", "--shutter 2 cannot be used: this camera goes from 1/4000 to 1/4; use a value in that range.");
    expectRefused("--bias 4", "--bias 4 cannot be used: this camera goes from -3 to 3; use a value in that range.");
    expectRefused("--zoom 9", "--zoom 9 cannot be used: this camera goes from 1 to 8; use a value in that range.");
    expectRefused("--temperature 900",
        "--temperature 900 cannot be used: this camera goes from 3400 to 15000; use a value in that range.");
}

TEST_F(ManualSettings, TheLimitsThemselvesAreAccepted)
{
    EXPECT_EQ(photo("--iso 50")["iso"], 50);
    EXPECT_EQ(photo("--iso 1600")["iso"], 1600);
    EXPECT_NEAR(photo("--shutter 1/4000")["exposureSeconds"], 1.0 / 4000, 1e-7);
    EXPECT_EQ(shoot("--zoom 8").status, 0);
    EXPECT_EQ(shoot("--focus 0").status, 0);
    EXPECT_EQ(shoot("--focus 1").status, 0);
}

TEST_F(ManualSettings, ACameraThatDoesNotHoldItsFocusSaysSo)
{
    write("fixed.json", R"({ "formats": { "small": { "size": [640, 480], "highResolutionStill": [640, 480] } },
  "cameras": [ { "id": "back-wide", "type": "wide", "position": "back", "formats": ["small"], "focusModes": [2] } ] })");
    const auto outcome = run("--phone fixed.json --camera virtual --quiet shoot --focus 0.5 --out photos");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(
        outcome.err, "velmora-camera: --focus cannot be used: this camera does not hold its focus; leave it out.\n");
}

}
