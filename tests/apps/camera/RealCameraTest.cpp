// SPDX-License-Identifier: Apache-2.0
#include "drivers/gpsd/install.h"

#include "tests/support/NMEAFeed.h"
#include "tests/support/PipeWireDaemon.h"
#include "tests/support/Require.h"
#include "tests/support/Subprocess.h"

#include <csignal>
#include <cstdio>
#include <memory>
#include <set>
#include <string>

#include "tests/apps/camera/CameraProgram.h"

namespace velmora::tests {

using testing::HasSubstr;

/// A daemon with one camera that a test publishes, for the program as a person runs it.
class RealCamera : public CameraProgram {
protected:
    void SetUp() override
    {
        if (!PipeWireDaemon::isHere())
            return;
        daemon = std::make_unique<PipeWireDaemon>();
        camera = daemon->camera("test-camera",
            { "offers=NV12:640x480:30 NV12:1280x960:15", "api.libcamera.location=back", "velmora.rotation=90" });
    }
    /// After a failure the camera's own account of what it was asked for.
    void TearDown() override
    {
        if (!HasFailure() || !camera)
            return;
        camera->end(SIGTERM);
        for (std::string line = camera->readLine(); !line.empty(); line = camera->readLine())
            std::fprintf(stderr, "the camera: %s\n", line.c_str());
    }
    ProgramOutcome runThere(const std::string& arguments) const
    {
        return run(arguments, "PIPEWIRE_RUNTIME_DIR='" + daemon->folder().path() + "'");
    }

    std::unique_ptr<PipeWireDaemon> daemon;
    std::unique_ptr<Child> camera;
};

TEST_F(RealCamera, ShootsTwentyPhotosInItsLargestFormat)
{
    const auto outcome = runThere("--camera pipewire --json shoot --count 20 --out photos");

    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const auto json = outcome.json();
    EXPECT_EQ(json["driver"], "pipewire");
    EXPECT_EQ(json["camera"], "test-camera");
    ASSERT_EQ(json["photos"].size(), 20U);
    for (const auto& photo : json["photos"])
        EXPECT_EQ(photo["width"].get<int>() * photo["height"].get<int>(), 1280 * 960) << outcome.err;
    EXPECT_EQ(filesIn("photos").size(), 20U);
    EXPECT_EQ(outcome.err.find("[PipeWire]"), std::string::npos) << outcome.err;
}

TEST_F(RealCamera, IsFoundWithoutBeingNamed)
{
    const auto outcome = runThere("--json --quiet shoot --out photos");
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.json()["driver"], "pipewire");
}

TEST_F(RealCamera, TakesTheSettingsOfTheCommandLine)
{
    const auto outcome = runThere("--camera pipewire --json --quiet shoot --out photos --iso 300 --shutter 1/50");
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.json()["photos"][0]["iso"], 300);
    EXPECT_NEAR(outcome.json()["photos"][0]["exposureSeconds"].get<double>(), 0.02, 1e-4);
}

TEST_F(RealCamera, IsListedWithItsDriver)
{
    const auto outcome = runThere("--camera pipewire devices");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.out,
        HasSubstr("test-camera: back wide (test-camera)\n"
                  "  640 x 480, stills 1280 x 960, 30 to 30 fps, ISO 100 to 1600, 1/50000 s to 1 s"));
    EXPECT_THAT(outcome.out, HasSubstr("driver pipewire: works\n"));
}

TEST_F(RealCamera, TellsHowLongItsPhotosTake)
{
    const auto outcome = runThere("--camera pipewire --json --quiet latency --count 3");
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const auto json = outcome.json();
    EXPECT_EQ(json["driver"], "pipewire");
    EXPECT_GT(json["firstFrame"], 0);
    ASSERT_EQ(json["photos"].size(), 3U);
    EXPECT_GT(json["milliseconds"]["exposure"]["median"], 0) << "its largest picture takes a frame at least";
}

TEST_F(RealCamera, CountsItsFrames)
{
    const auto outcome = runThere("--camera pipewire --json --quiet frames --count 30");
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_GE(outcome.json()["delivered"].get<int>(), 30);
    EXPECT_LT(outcome.json()["dropped"].get<int>(), 30); // on a busy machine some come late
}

TEST_F(RealCamera, RecordsAMovieWithSound)
{
    if (!requireTool("ffprobe"))
        return;
    const auto microphone = daemon->microphone("test-microphone");
    const auto outcome = runThere("--camera pipewire --json --quiet record --seconds 3 --audio --out movies");
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const auto probed = runCommand("ffprobe -v error -count_frames -show_entries "
                                   "stream=codec_type,nb_read_frames,duration -of json '"
        + outcome.json()["movie"].get<std::string>() + "'");
    const auto streams = nlohmann::json::parse(probed.output)["streams"];
    ASSERT_EQ(streams.size(), 2U);
    for (const auto& stream : streams) {
        EXPECT_NEAR(std::stod(stream["duration"].get<std::string>()), 3, 0.3);
        if (stream["codec_type"] == "video") {
            EXPECT_NEAR(std::stoi(stream["nb_read_frames"].get<std::string>()), 90, 25); // on a busy machine
        }
    }
}

TEST_F(RealCamera, ThatIsUnpluggedWhileItRecordsLeavesAMovieAndAnError)
{
    if (!requireTool("ffprobe"))
        return;
    camera = daemon->camera("test-camera", { "offers=NV12:640x480:30", "unplug=60" });
    const auto outcome = runThere("--camera pipewire --json --quiet record --seconds 30 --out movies");
    EXPECT_EQ(outcome.status, 1);
    const auto json = outcome.json();
    EXPECT_EQ(json["stopped"], "unplugged");
    const auto probed = runCommand("ffprobe -v error -count_frames -show_entries stream=nb_read_frames -of "
                                   "default=nw=1:nk=1 '"
        + json["movie"].get<std::string>() + "'");
    EXPECT_GT(std::stoi(probed.output), 20);
}

TEST_F(RealCamera, WritesThePlaceThatGpsdTellsIntoItsPhotos)
{
    if (!requirePart("gpsd", drivers::gpsd::isBuilt() && GpsDaemon::isHere()))
        return;
    GpsDaemon gpsd;
    ASSERT_TRUE(gpsd.waitUntilItListens());
    const SteadyFix standing(gpsd.feed(), 35.0116, 135.7681);
    const auto outcome = run("--camera pipewire --json --quiet shoot --out photos",
        "PIPEWIRE_RUNTIME_DIR='" + daemon->folder().path() + "' VELMORA_GPSD=127.0.0.1:" + gpsd.port());
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_NEAR(outcome.json()["photos"][0]["latitude"].get<double>(), 35.0116, 1e-4);
}

TEST_F(RealCamera, WritesThePlacesOfAWalkIntoItsPhotos)
{
    if (!requirePart("gpsd", drivers::gpsd::isBuilt() && GpsDaemon::isHere()) || !requireTool("gpsfake"))
        return;
    constexpr double start = 35.01, step = 0.0005, longitude = 135.7681;
    std::string walk;
    for (int second = 0; second < 60; ++second)
        walk += sentencesOfFix(second, start + step * second, longitude);
    write("walk.nmea", walk);
    const PlayedLog played(path("walk.nmea"));
    ASSERT_TRUE(played.waitUntilItListens());
    const auto outcome = run("--camera pipewire --json --quiet shoot --count 10 --out photos",
        "PIPEWIRE_RUNTIME_DIR='" + daemon->folder().path() + "' VELMORA_GPSD=127.0.0.1:" + played.port());
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const auto json = outcome.json();
    ASSERT_EQ(json["photos"].size(), 10U);
    std::set<double> latitudes;
    for (const auto& photo : json["photos"]) {
        ASSERT_TRUE(photo.contains("latitude"));
        const double latitude = photo["latitude"];
        EXPECT_GE(latitude, start - step / 2);
        EXPECT_LE(latitude, start + 59.5 * step);
        EXPECT_NEAR(photo["longitude"].get<double>(), longitude, 1e-4);
        latitudes.insert(latitude);
    }
    EXPECT_GE(latitudes.size(), 2U) << "all were taken at one place";
}

}
