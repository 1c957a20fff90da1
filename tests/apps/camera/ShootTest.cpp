// SPDX-License-Identifier: Apache-2.0
#include "tests/support/Require.h"
#include "tests/support/Subprocess.h"

#include <filesystem>

#include "tests/apps/camera/CameraProgram.h"

namespace velmora::tests {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;

class Shoot : public CameraProgram {
protected:
    ProgramOutcome shoot(const std::string& arguments) const
    {
        return run("--phone small.json --camera virtual --json shoot --out photos " + arguments);
    }
};

TEST_F(Shoot, WritesOnePhotoNamedAfterItsLocalTime)
{
    const auto outcome = shoot("");
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const auto photo = outcome.json()["photos"][0];
    auto date = photo["date"].get<std::string>(); // 2026-01-02T03:04:05+05:45
    EXPECT_EQ(date.substr(19), "+05:45");
    const auto name = "IMG_" + date.substr(0, 4) + date.substr(5, 2) + date.substr(8, 2) + "_" + date.substr(11, 2)
        + date.substr(14, 2) + date.substr(17, 2) + ".jpg";
    EXPECT_THAT(filesIn("photos"), ElementsAre(name));
    EXPECT_EQ(photo["jpg"], path("photos/" + name));
}

TEST_F(Shoot, TellsWhatIsInThePhoto)
{
    const auto json = shoot("").json();
    EXPECT_EQ(json["version"], 1);
    EXPECT_EQ(json["driver"], "virtual");
    EXPECT_EQ(json["camera"], "back-wide");
    const auto photo = json["photos"][0];
    EXPECT_EQ(photo["width"], 640);
    EXPECT_EQ(photo["height"], 480);
    EXPECT_GT(photo["iso"], 0);
    EXPECT_GT(photo["exposureSeconds"], 0);
    EXPECT_EQ(photo["flashFired"], false);
    EXPECT_FALSE(photo.contains("latitude"));
    EXPECT_FALSE(photo.contains("dng"));
    EXPECT_FALSE(json.contains("error"));
}

TEST_F(Shoot, TheMomentsOfAPhotoFollowEachOther)
{
    const auto moments = shoot("").json()["photos"][0]["milliseconds"];
    EXPECT_GT(moments["request"], 0);
    EXPECT_GE(moments["exposure"], moments["request"]);
    EXPECT_GE(moments["data"], moments["exposure"]);
    EXPECT_GT(moments["file"], moments["data"]);
}

TEST_F(Shoot, SaysTheSameInAFewLines)
{
    const auto outcome = run("--phone small.json --camera virtual --at 35.0116,135.7681 shoot --out photos --quiet");
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out,
        MatchesRegex(".*/photos/IMG_[0-9]+_[0-9]+\\.jpg\n"
                     "  640 x 480 pixels, 0\\.[0-9] MB, taken [-0-9]+ [:0-9]+ \\+0545\n"
                     "  Kyoto \\(35\\.01160, 135\\.76810\\)\n"
                     "  [./0-9]+ s, f/1\\.8, ISO [0-9]+, no flash\n"));
    EXPECT_EQ(outcome.err, "");
}

TEST_F(Shoot, ThePlaceIsInTheReportAndInTheFile)
{
    const auto outcome = shoot("--at -33.8688,151.2093");
    const auto photo = outcome.json()["photos"][0];
    EXPECT_DOUBLE_EQ(photo["latitude"], -33.8688);
    EXPECT_DOUBLE_EQ(photo["longitude"], 151.2093);
    EXPECT_EQ(photo["landmark"], "Sydney");
    if (!requireTool("exiftool"))
        return;
    const auto tags = runCommand("exiftool -n -s3 -GPSLatitude -GPSLongitude -City " + photo["jpg"].get<std::string>());
    EXPECT_THAT(tags.output, HasSubstr("-33.8688"));
    EXPECT_THAT(tags.output, HasSubstr("151.2093"));
    EXPECT_THAT(tags.output, HasSubstr("Sydney"));
}

TEST_F(Shoot, SeveralPhotosOfOneSecondGetSeveralNames)
{
    const auto outcome = shoot("--count 3");
    EXPECT_EQ(outcome.status, 0);
    const auto names = filesIn("photos");
    EXPECT_EQ(names.size(), 3U);
    for (const auto& name : names)
        EXPECT_THAT(name, MatchesRegex("IMG_[0-9]+_[0-9]+(_[23])?\\.jpg"));
}

TEST_F(Shoot, RAWAloneIsOneDNG)
{
    const auto photo = shoot("--raw only").json()["photos"][0];
    EXPECT_FALSE(photo.contains("jpg"));
    EXPECT_THAT(filesIn("photos"), ElementsAre(MatchesRegex("IMG_[0-9]+_[0-9]+\\.dng")));
}

TEST_F(Shoot, RAWBesideTheJPEGHasTheSameName)
{
    const auto photo = shoot("--raw plus").json()["photos"][0];
    const std::filesystem::path jpg = photo["jpg"].get<std::string>(), dng = photo["dng"].get<std::string>();
    EXPECT_EQ(jpg.stem(), dng.stem());
    EXPECT_EQ(filesIn("photos").size(), 2U);
}

TEST_F(Shoot, ACameraWithoutRAWRefusesIt)
{
    write("plain.json",
        R"({ "formats": { "small": { "size": [640, 480], "highResolutionStill": [640, 480] } },
             "cameras": [ { "id": "plain", "type": "wide", "position": "back", "formats": ["small"] } ] })");
    const auto outcome = run("--phone plain.json --camera virtual shoot --raw only --out photos --quiet");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("No DNG can be made: this camera gives no RAW pictures"));
    EXPECT_TRUE(filesIn("photos").empty());
}

TEST_F(Shoot, TheFlashFiresWhenItIsOn)
{
    EXPECT_EQ(shoot("--flash on").json()["photos"][0]["flashFired"], true);
}

TEST_F(Shoot, ALivePhotoHasItsMovieUnderTheSameName)
{
    const auto outcome = shoot("--live");
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const auto photo = outcome.json()["photos"][0];
    const std::filesystem::path jpg = photo["jpg"].get<std::string>(), movie = photo["movie"].get<std::string>();
    EXPECT_EQ(jpg.stem(), movie.stem());
    EXPECT_EQ(movie.extension(), ".mov");
    EXPECT_GT(std::filesystem::file_size(movie), 1000U);
}

/// The orientation tag that turns the picture of a phone held so upright.
TEST_F(Shoot, HoweverThePhoneIsHeldThePictureStandsUpright)
{
    if (!requireTool("exiftool"))
        return;
    const std::pair<const char*, const char*> held[] { { "portrait", "6" }, { "upside-down", "8" },
        { "landscape-left", "1" }, { "landscape-right", "3" } };
    for (const auto& [orientation, tag] : held) {
        const auto photo = shoot(std::string("--orientation ") + orientation).json()["photos"][0];
        EXPECT_EQ(runCommand("exiftool -n -s3 -IFD0:Orientation " + photo["jpg"].get<std::string>()).output,
            std::string(tag) + "\n")
            << orientation;
    }
}

TEST_F(Shoot, ADeviceThatIsFullRefusesThePhoto)
{
    write("full.json", std::string(smallPhone).insert(1, R"( "storage": { "bytesFree": 1000 }, )"));
    const auto outcome = run("--phone full.json --camera virtual --json shoot --out photos --quiet");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.json()["error"]["what"], "No photo was taken");
    EXPECT_EQ(outcome.json()["photos"].size(), 0U);
    EXPECT_TRUE(filesIn("photos").empty());
}

TEST_F(Shoot, ACameraThatMayNotBeUsedIsRefused)
{
    write("denied.json", std::string(smallPhone).insert(1, R"( "permissions": { "camera": "denied" }, )"));
    const auto outcome = run("--phone denied.json --camera virtual shoot --out photos --quiet");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(
        outcome.err, "velmora-camera: The camera may not be used: permission is missing; grant it, and try again.\n");
}

}
