// SPDX-License-Identifier: Apache-2.0
#include "tests/apps/camera/CameraProgram.h"

namespace velmora::tests {

using testing::HasSubstr;

class CommandLine : public CameraProgram { };

TEST_F(CommandLine, HelpNamesTheCommandsAndExitsWithZero)
{
    const auto outcome = run("--help");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.out, HasSubstr("shoot"));
    EXPECT_THAT(outcome.out, HasSubstr("Exit status"));
    EXPECT_EQ(outcome.err, "");
}

TEST_F(CommandLine, HelpOfACommandNamesItsOptionsWithAnExample)
{
    const auto outcome = run("shoot --help");
    EXPECT_EQ(outcome.status, 0);
    for (const auto* option : { "--count", "--out", "--raw", "--flash", "--live", "--position", "--lens", "--torch",
             "--orientation", "--zoom", "--iso", "--shutter", "--bias", "--temperature", "--focus", "Example:" })
        EXPECT_THAT(outcome.out, HasSubstr(option));
}

TEST_F(CommandLine, TellsItsVersion)
{
    const auto outcome = run("--version");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "velmora-camera 0.1.0\n");
}

TEST_F(CommandLine, WithoutACommandItOpensTheScreen)
{
    const auto outcome = run("--camera virtual", "unset DISPLAY;");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(
        outcome.err, testing::StartsWith("velmora-camera: The camera screen cannot be shown: there is no desktop"));
}

struct WrongLine {
    const char *arguments, *sentence;
};

class WrongCommandLine : public CameraProgram, public testing::WithParamInterface<WrongLine> { };

TEST_P(WrongCommandLine, EndsWithTwoAndOneSentence)
{
    const auto outcome = run(GetParam().arguments);
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, std::string("velmora-camera: ") + GetParam().sentence + "\n");
}

INSTANTIATE_TEST_SUITE_P(Each, WrongCommandLine,
    testing::Values(WrongLine { "shoot --lens fish",
                        "--lens cannot be \"fish\": it is not one of its values; it takes wide, tele, ultrawide, dual, "
                        "dualwide, triple, truedepth." },
        WrongLine { "shoot --position left",
            "--position cannot be \"left\": it is not one of its values; it takes back, front." },
        WrongLine { "--camera webcam shoot",
            "--camera cannot be \"webcam\": it is not one of its values; it takes auto, virtual, pipewire, v4l2." },
        WrongLine { "shoot --count 0",
            "--count cannot be \"0\": it is not one of its values; it takes a whole number from 1 to 100000." },
        WrongLine { "shoot --count 1.5",
            "--count cannot be \"1.5\": it is not one of its values; it takes a whole number from 1 to 100000." },
        WrongLine { "shoot --iso 0", "--iso cannot be \"0\": it is not one of its values; it takes a number above 0." },
        WrongLine { "shoot --shutter 1/0",
            "--shutter cannot be \"1/0\": it is not one of its values; it takes a time above 0 as 1/N or in seconds, "
            "such "
            "as 1/60 or 0.5." },
        WrongLine { "shoot --shutter -1",
            "--shutter cannot be \"-1\": it is not one of its values; it takes a time above 0 as 1/N or in seconds, "
            "such "
            "as 1/60 or 0.5." },
        WrongLine { "shoot --temperature -1",
            "--temperature cannot be \"-1\": it is not one of its values; it takes a number of kelvin above 0." },
        WrongLine { "shoot --focus 1.01",
            "--focus cannot be \"1.01\": it is not one of its values; it takes a number from 0 to 1." },
        WrongLine {
            "shoot --zoom 0.9", "--zoom cannot be \"0.9\": it is not one of its values; it takes a factor from 1 on." },
        WrongLine { "shoot --bias much",
            "--bias cannot be \"much\": it is not one of its values; it takes a number of stops." },
        WrongLine { "shoot --at 90.01,0",
            "--at cannot be \"90.01,0\": it lies outside the globe; it takes LAT,LON in degrees: -90 to 90 and -180 to "
            "180." },
        WrongLine { "shoot --at 0,-180.5",
            "--at cannot be \"0,-180.5\": it lies outside the globe; it takes LAT,LON in degrees: -90 to 90 and -180 "
            "to "
            "180." },
        WrongLine { "shoot --at nan,0",
            "--at cannot be \"nan,0\": it is not a pair of numbers; it takes LAT,LON in degrees: -90 to 90 and -180 to "
            "180." },
        WrongLine { "shoot --at 12",
            "--at cannot be \"12\": it is not a pair of numbers; it takes LAT,LON in degrees: -90 to 90 and -180 to "
            "180." }));

TEST_F(CommandLine, AnUnknownOptionIsNamed)
{
    const auto outcome = run("shoot --lense wide");
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, HasSubstr("--lense"));
}

TEST_F(CommandLine, ALivePhotoIsNeverRAW)
{
    const auto outcome = run("shoot --live --raw only");
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, HasSubstr("--raw excludes --live"));
}

TEST_F(CommandLine, AWrongLineIsJSONTooWhenAskedFor)
{
    const auto outcome = run("--json shoot --lens fish");
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.json()["version"], 1);
    EXPECT_EQ(outcome.json()["driver"], "none");
    EXPECT_EQ(outcome.json()["error"]["what"], "--lens cannot be \"fish\"");
    EXPECT_EQ(outcome.json()["error"]["why"], "it is not one of its values");
    EXPECT_EQ(outcome.json()["error"]["do"], "it takes wide, tele, ultrawide, dual, dualwide, triple, truedepth");
}

}
