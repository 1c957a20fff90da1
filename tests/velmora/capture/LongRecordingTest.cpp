// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/AVCaptureMovieFileOutput.h"
#include "platform/AVFoundation/MovieWriter.h"

#include "tests/support/ControllerTest.h"
#include "tests/support/Environment.h"
#include "tests/support/Require.h"
#include "tests/support/Subprocess.h"
#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <numbers>
#include <sstream>

namespace velmora::tests {

using namespace drivers::phone;

namespace {

constexpr double loop = 4, moment = 2; // seconds: a flash and a beep once in a round

/// A dark movie in which one frame is white while a beep of 20 ms begins.
void writeFlashAndBeep(const std::string& file)
{
    constexpr int width = 160, height = 120, rate = 30;
    MovieSettings settings;
    settings.dimensions = { width, height };
    settings.frameRate = rate;
    settings.audio = true;
    const auto movie = MovieWriter::installed()->open(file, settings);
    for (int number = 0; number < static_cast<int>(loop) * rate; ++number) {
        const auto pixels = CVPixelBuffer::create(width, height, kCVPixelFormatType_420YpCbCr8BiPlanarFullRange);
        const auto& planes = pixels->planes();
        const bool white = number == static_cast<int>(moment) * rate;
        for (int y = 0; y < height; ++y)
            std::fill_n(planes[0].data + static_cast<std::size_t>(y) * planes[0].stride, width,
                static_cast<std::uint8_t>(white ? 255 : 10));
        for (int y = 0; y < height / 2; ++y)
            std::fill_n(planes[1].data + static_cast<std::size_t>(y) * planes[1].stride, width, std::uint8_t { 128 });
        const auto time = CMTimeMake(number, rate);
        movie->append(*make<CMSampleBuffer>(pixels, time, static_cast<std::uint64_t>(number)));
        auto sound = std::make_shared<CMAudioSamples>();
        for (int i = 0; i < 48000 / rate; ++i) {
            const double seconds = static_cast<double>(number) / rate + i / 48000.0;
            const bool beeps = seconds >= moment && seconds < moment + 0.02;
            sound->samples.push_back(
                beeps ? static_cast<float>(0.8 * std::sin(2 * std::numbers::pi * 1000 * (seconds - moment))) : 0.0F);
        }
        movie->append(*make<CMSampleBuffer>(std::shared_ptr<const CMAudioSamples>(sound), time, 0));
    }
    movie->finish(std::nullopt);
}

PhoneDescription tinyPhone(CMVideoDimensions size)
{
    auto description = smallPhone();
    for (auto& camera : description.cameras)
        for (auto& format : camera.formats)
            format.size = format.highResolutionStill = size;
    return description;
}

/// When frames of a movie are bright, in seconds, as another program decodes them.
std::vector<double> flashesIn(const std::string& movie)
{
    std::istringstream lines(runCommand("ffprobe -v error -f lavfi -i 'movie=" + movie
        + ",signalstats' -show_entries frame=pts_time:frame_tags=lavfi.signalstats.YAVG -of csv=p=0")
                                 .output);
    std::vector<double> times;
    for (std::string line; std::getline(lines, line);) {
        const auto comma = line.find(',');
        if (comma != std::string::npos && std::stod(line.substr(comma + 1)) > 120)
            times.push_back(std::stod(line.substr(0, comma)));
    }
    return times;
}

/// When beeps begin, in seconds.
std::vector<double> beepsIn(const std::string& movie, const std::string& scratch)
{
    constexpr int rate = 8000;
    runCommand(
        "ffmpeg -v error -y -i " + movie + " -vn -af aresample=async=1:first_pts=0 -ac 1 -ar 8000 -f f32le " + scratch);
    std::ifstream file(scratch, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(file)), {});
    std::vector<float> samples(bytes.size() / sizeof(float));
    std::memcpy(samples.data(), bytes.data(), samples.size() * sizeof(float));
    std::vector<double> times;
    for (std::size_t i = 0; i < samples.size(); ++i)
        if (std::abs(samples[i]) > 0.2F) {
            times.push_back(static_cast<double>(i) / rate);
            i += rate / 2; // the rest of this beep
        }
    return times;
}

std::size_t residentBytes()
{
    std::size_t pages = 0, resident = 0;
    std::ifstream("/proc/self/statm") >> pages >> resident;
    return resident * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

}

class LongRecording : public ControllerTest {
protected:
    std::string record(const std::function<void()>& meanwhile)
    {
        construct(QVCameraCaptureIntentAudio);
        if (rate > 0)
            controller->setVideoFrameRate(rate);
        controller->prepareToCaptureVideo();
        controller->startSession();
        settle();
        controller->beginCapturingVideo(nullptr);
        meanwhile();
        std::string file;
        controller->endCapturingVideo([&file](const std::shared_ptr<NSURL>& url, const std::optional<NSError>& error) {
            EXPECT_FALSE(error);
            file = url->path();
        });
        settle();
        return file;
    }

    std::uint32_t rate = 0; // frames a second, or as the camera does
    TemporaryFolder folder;
    Environment temporary { "TMPDIR", folder.path() };
};

TEST_F(LongRecording, AFlashAndABeepStayTogetherWithAFastSoundClockAndLostFrames)
{
    if (!requireTool("ffprobe") || !requireTool("ffmpeg"))
        return;
    writeFlashAndBeep(folder.file("footage.mov"));
    auto description = tinyPhone({ 160, 120 });
    description.footage = folder.file("footage.mov");
    description.soundClock = 100;
    description.lostFrames = 0.03;
    phone.change([&](PhoneDescription& changed) { changed = description; });

    // Uncorrected, the sound would end 48 ms away.
    const auto movie = record([this] {
        for (int second = 0; second < 480; ++second)
            clock.advance(1);
    });

    const auto flashes = flashesIn(movie), beeps = beepsIn(movie, folder.file("sound"));
    ASSERT_GT(flashes.size(), 60U); // of 120, but for those that were lost
    ASSERT_GT(beeps.size(), 115U);
    EXPECT_GT(flashes.back(), 450);
    for (const double flash : { flashes.front(), flashes[flashes.size() / 2], flashes.back() }) {
        const double nearest = *std::min_element(
            beeps.begin(), beeps.end(), [&](double a, double b) { return std::abs(a - flash) < std::abs(b - flash); });
        EXPECT_NEAR(nearest, flash, 0.04);
    }
}

TEST_F(LongRecording, ThirtyMinutesTakeNoMoreMemoryThanFiveAndEveryFrameIsAccountedFor)
{
    auto description = tinyPhone({ 320, 240 });
    description.lostFrames = 0.03;
    phone.change([&](PhoneDescription& changed) { changed = description; });
    rate = 10;
    std::size_t early = 0, late = 0;
    const auto movie = record([&] {
        for (int minute = 0; minute < 30; ++minute) {
            for (int second = 0; second < 60; ++second)
                clock.advance(1);
            if (minute == 4)
                early = residentBytes();
        }
        late = residentBytes();
    });
    const auto counts = output<AVCaptureMovieFileOutput>()->recordingCounts();
    EXPECT_NEAR(static_cast<double>(counts.frames + counts.dropped()), 18000, 1);
    EXPECT_EQ(counts.droppedOutOfRoom, 0U);
    EXPECT_NEAR(static_cast<double>(counts.droppedByDevice), 540, 1);
    EXPECT_LT(static_cast<double>(late) - static_cast<double>(early), 4e6);
    if (!requireTool("ffprobe"))
        return;
    EXPECT_EQ(runCommand("ffprobe -v error -select_streams v -show_entries stream=nb_frames -of csv=p=0 " + movie)
                  .output.substr(0, 5),
        std::to_string(counts.frames));
}

}
