// SPDX-License-Identifier: Apache-2.0
#include "tests/support/Require.h"
#include "tests/support/Subprocess.h"

#include "tests/apps/camera/CameraProgram.h"

namespace velmora::tests {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::StartsWith;

class Record : public CameraProgram {
protected:
    Record()
    {
        write("filming.json", R"({
  "formats": { "small": { "size": [640, 480], "frameRates": [ { "minimum": 1, "maximum": 30 } ] },
               "tiny": { "size": [320, 240], "frameRates": [ { "minimum": 1, "maximum": 60 } ] } },
  "cameras": [ { "id": "back-wide", "type": "wide", "position": "back", "formats": ["small", "tiny"],
                 "presets": { "AVCaptureSessionPresetHigh": "small" } } ]
})");
    }
    /// `before` goes before the program's name; temporary files go to "tmp".
    ProgramOutcome record(const std::string& arguments, const std::string& before = {}) const
    {
        return run("--camera virtual --phone filming.json --quiet --json record --out movies " + arguments,
            "mkdir -p tmp; TMPDIR=$PWD/tmp " + before);
    }
    std::string probe(const std::string& file, const std::string& what) const
    {
        return runCommand(
            "cd " + folder.path() + " && ffprobe -v error -of default=nw=1:nk=1 -show_entries " + what + " " + file)
            .output;
    }
};

TEST_F(Record, StoresAMovieOfTheSecondsThatWereAskedFor)
{
    const auto outcome = record("--seconds 1 --audio");
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const auto told = outcome.json();
    EXPECT_EQ(told["driver"], "virtual");
    EXPECT_EQ(told["camera"], "back-wide");
    EXPECT_EQ(told["stopped"], "seconds");
    EXPECT_THAT(told["movie"].get<std::string>(), MatchesRegex(".*/movies/VID_[0-9]{8}_[0-9]{6}\\.mov"));
    EXPECT_GE(told["seconds"], 1.0);
    EXPECT_GE(told["frames"], 15);
    EXPECT_THAT(filesIn("tmp"), IsEmpty());
    if (!requireTool("ffprobe"))
        return;
    EXPECT_EQ(probe(told["movie"], "stream=codec_type"), "video\naudio\n");
    EXPECT_NEAR(std::stod(probe(told["movie"], "format=duration")), told["seconds"].get<double>(), 0.2);
}

TEST_F(Record, EndsAtItsLimitWhichIsNoError)
{
    const auto outcome = record("--seconds 30 --limit 0.5");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.json()["stopped"], "limit");
    EXPECT_NEAR(outcome.json()["seconds"].get<double>(), 0.5, 0.01);
}

TEST_F(Record, HasTheSizeAndTheRateThatWereAskedFor)
{
    const auto outcome = record("--seconds 1 --size 320x240 --fps 60");
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_GT(outcome.json()["frames"], 35);
    if (requireTool("ffprobe")) {
        EXPECT_EQ(probe(outcome.json()["movie"], "stream=width,height"), "320\n240\n");
    }
}

TEST_F(Record, ASizeThatTheCameraLacksIsRefusedWithThoseItHas)
{
    const auto outcome = record("--size 1920x1080");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err,
        "velmora-camera: --size 1920x1080 cannot be used: this camera has no such pictures; use one of: 640x480, "
        "320x240.\n");
}

TEST_F(Record, ARateThatTheCameraLacksIsRefusedWithItsRange)
{
    const auto outcome = record("--fps 60");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err,
        "velmora-camera: --fps 60 cannot be used: at this size the camera gives 1 to 30 frames a second; use a value "
        "in that range.\n");
}

TEST_F(Record, SoundWithoutAMicrophoneIsRefused)
{
    write("mute.json", R"({"microphone": false, "formats": { "small": { "size": [640, 480] } },
  "cameras": [ { "id": "a", "type": "wide", "position": "back", "formats": ["small"] } ] })");
    const auto outcome = run("--camera virtual --phone mute.json --quiet record --audio --out movies");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, "velmora-camera: No sound can be recorded: there is no microphone; leave --audio out.\n");
}

TEST_F(Record, ValuesThatCanNeverBeRightAreWrongLines)
{
    for (const char* arguments : { "--seconds 0", "--limit -1", "--fps 0.5", "--size 12", "--size 0x5", "--size axb" })
        EXPECT_EQ(record(arguments).status, 2) << arguments;
}

TEST_F(Record, AFullPhoneEndsItWithAMovieAndARefusal)
{
    write("full.json", R"({"storage": { "bytesFree": 60000 },
  "formats": { "small": { "size": [640, 480] } },
  "cameras": [ { "id": "a", "type": "wide", "position": "back", "formats": ["small"] } ] })");
    const auto outcome = run("--camera virtual --phone full.json --quiet --json record --seconds 60 --out movies");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.json()["stopped"], "disk");
    EXPECT_THAT(outcome.err, HasSubstr("The recording ended early: The phone is full"));
    ASSERT_EQ(filesIn("movies").size(), 1U);
    if (requireTool("ffprobe")) {
        EXPECT_GT(std::stod(probe("movies/" + filesIn("movies")[0], "format=duration")), 0);
    }
}

TEST_F(Record, ASmallFileSystemEndsItBeforeItIsFullWithAPlayableMovie)
{
    if (!requireTool("ffprobe"))
        return;
    if (runCommand("unshare -m true").status != 0) // not root: the phone's own storage is tried above
        return;
    // 32 MB stay free, so a hundred kilobytes are left for the movie.
    const auto outcome = runLine("mkdir small; unshare -m sh -c 'mount -t tmpfs -o size=32120000 none small && "
                                 "TMPDIR=$PWD/small $0 --camera virtual --phone filming.json --quiet --json record "
                                 "--seconds 60 --out movies' $camera");
    EXPECT_EQ(outcome.status, 1) << outcome.out;
    EXPECT_EQ(outcome.json()["stopped"], "disk");
    EXPECT_THAT(outcome.err, HasSubstr("32 MB are to stay free"));
    ASSERT_EQ(filesIn("movies").size(), 1U);
    EXPECT_GT(std::stod(probe("movies/" + filesIn("movies")[0], "format=duration")), 0);
}

TEST_F(Record, AnInterruptEndsItWith130AndTheMovieIsThere)
{
    // The signal comes when the movie has its first bytes.
    const auto outcome = runLine(
        "mkdir tmp; export TMPDIR=$PWD/tmp; env --default-signal=INT $camera --camera virtual --phone "
        "filming.json --quiet --json record --seconds 100 --out movies & until [ -s tmp/QV*.mov ] 2>/dev/null; "
        "do :; done; kill -INT $!; wait $!");
    EXPECT_EQ(outcome.status, 130);
    EXPECT_EQ(outcome.json()["stopped"], "signal");
    EXPECT_EQ(filesIn("movies").size(), 1U);
}

class Killed : public Record {
protected:
    /// Kills the recorder when its movie has so many bytes, a few seconds.
    void killWhileRecording() const
    {
        runLine("mkdir tmp; export TMPDIR=$PWD/tmp; $camera --camera virtual --phone filming.json --quiet record --fps "
                "30 --seconds 100 --out movies 2>/dev/null & "
                "until [ $(stat -c %s tmp/QV*.mov 2>/dev/null || echo 0) -gt 90000 ]; do :; done; "
                "kill -KILL $!; wait $! 2>/dev/null; true");
    }
    std::string leftBehind() const
    {
        const auto files = filesIn("tmp");
        return files.size() == 1 ? "tmp/" + files[0] : "";
    }
};

TEST_F(Killed, LeavesAMovieThatPlays)
{
    if (!requireTool("ffprobe") || !requireTool("ffmpeg"))
        return;
    killWhileRecording();
    ASSERT_THAT(leftBehind(), StartsWith("tmp/QVCameraRecording-"));
    EXPECT_THAT(filesIn("movies"), IsEmpty());
    EXPECT_GE(std::stod(probe(leftBehind(), "format=duration")), 0.9);
    EXPECT_EQ(runCommand("cd " + folder.path() + " && ffmpeg -v error -i " + leftBehind() + " -f null -").output, "");
}

TEST_F(Killed, IsCompletedByTheNextStart)
{
    if (!requireTool("ffprobe"))
        return;
    killWhileRecording();
    const auto count = [&] {
        return probe(leftBehind(), "stream=nb_frames"); // only an ordinary movie knows it
    };
    EXPECT_EQ(std::atoi(count().c_str()), 0);
    const auto outcome = runLine("TMPDIR=$PWD/tmp $camera --camera virtual --phone filming.json frames --count 20");
    EXPECT_THAT(outcome.err, HasSubstr("was left behind and is complete now"));
    EXPECT_GE(std::atoi(count().c_str()), 30);
}

TEST_F(Killed, WhatARunningProcessRecordsIsLeftAlone)
{
    const auto outcome
        = runLine("mkdir tmp; export TMPDIR=$PWD/tmp; $camera --camera virtual --phone filming.json --quiet --json "
                  "record --seconds 3 --out movies & until [ -s tmp/QV*.mov ] 2>/dev/null; do :; done; "
                  "$camera --camera virtual --phone filming.json frames --count 5 >other; wait $!");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.json()["stopped"], "seconds");
    EXPECT_THAT(outcome.err, Not(HasSubstr("left behind")));
}

class Frames : public CameraProgram { };

TEST_F(Frames, AreCountedAndTimed)
{
    const auto outcome = run("--camera virtual --phone small.json --quiet --json frames --count 10");
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const auto told = outcome.json();
    EXPECT_EQ(told["delivered"], 10);
    EXPECT_GE(told["late"], 0);
    EXPECT_GE(told["dropped"], 0);
    EXPECT_GT(told["milliseconds"]["median"], 0);
    EXPECT_GE(told["milliseconds"]["p99"], told["milliseconds"]["median"]);
}

TEST_F(Frames, ACameraThatIsUnpluggedIsNamed)
{
    const auto outcome = run("--camera virtual --phone none --quiet frames");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, "velmora-camera: There is no camera: this phone has none; use another --phone.\n");
}

}
