// SPDX-License-Identifier: Apache-2.0
#include "drivers/media/MovieFileReader.h"
#include "drivers/media/MovieFileWriter.h"
#include "drivers/media/PictureDecoder.h"

#include "tests/support/Pictures.h"
#include "tests/support/Require.h"
#include "tests/support/Subprocess.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <numbers>
#include <random>

namespace velmora::tests {

namespace {

using drivers::media::MovieFileReader;
using drivers::media::MovieFileWriter;
using Bytes = std::vector<std::uint8_t>;

constexpr double tone = 440; // hertz

std::shared_ptr<CMSampleBuffer> frame(double time, int width = 320, int height = 240, int shade = -1)
{
    auto pixels = CVPixelBuffer::create(width, height, kCVPixelFormatType_420YpCbCr8BiPlanarFullRange);
    for (const CVPixelBuffer::Plane& plane : pixels->planes())
        for (int y = 0; y < plane.height; ++y)
            for (std::size_t x = 0; x < plane.stride; ++x) {
                const bool luma = &plane == &pixels->planes()[0];
                const int moving = static_cast<int>(x) + y + static_cast<int>(time * 60);
                plane.data[static_cast<std::size_t>(y) * plane.stride + x]
                    = static_cast<std::uint8_t>(luma ? (shade >= 0 ? shade : moving & 255) : 128);
            }
    return std::make_shared<CMSampleBuffer>(pixels, CMTimeMakeWithSeconds(time, 1'000'000'000), 0);
}

std::shared_ptr<CMSampleBuffer> sound(double time, double seconds, double rate = 48000)
{
    auto samples = std::make_shared<CMAudioSamples>();
    samples->sampleRate = 48000;
    const auto count = static_cast<int>(std::lround(seconds * rate));
    for (int i = 0; i < count; ++i)
        samples->samples.push_back(
            0.5F * static_cast<float>(std::sin(2 * std::numbers::pi * tone * (time + i / rate))));
    return std::make_shared<CMSampleBuffer>(samples, CMTimeMakeWithSeconds(time, 1'000'000'000), 0);
}

MovieSettings settings()
{
    MovieSettings result;
    result.dimensions = { 320, 240 };
    return result;
}

std::string probe(const std::string& path, const std::string& what)
{
    std::string text = runCommand("ffprobe -v error -of default=nw=1:nk=1 -show_entries " + what + " " + path).output;
    if (!text.empty() && text.back() == '\n')
        text.pop_back();
    return text;
}

int countFrames(const std::string& path)
{
    const Outcome outcome = runCommand(
        "ffprobe -v error -count_frames -select_streams v:0 -show_entries stream=nb_read_frames -of csv=p=0 " + path);
    return std::atoi(outcome.output.c_str());
}

/// The types of the file's outermost atoms.
std::string outermost(const std::string& path)
{
    const Bytes bytes = bytesOfFile(path);
    std::string types;
    for (std::size_t at = 0; at + 16 <= bytes.size();) {
        const auto number = [&bytes](std::size_t place, int count) {
            std::uint64_t value = 0;
            for (int i = 0; i < count; ++i)
                value = value << 8 | bytes[place + static_cast<std::size_t>(i)];
            return value;
        };
        std::uint64_t size = number(at, 4);
        if (size == 1)
            size = number(at + 8, 8);
        if (!types.empty())
            types.push_back(' ');
        for (std::size_t i = 4; i < 8; ++i)
            types.push_back(static_cast<char>(bytes[at + i]));
        if (size < 8)
            break;
        at += size;
    }
    return types;
}

class Movie : public testing::Test {
protected:
    /// A movie of `seconds` at 30 frames a second with a clock that starts at 100.
    void record(const MovieSettings& with, double seconds, std::optional<CMTime> still = std::nullopt)
    {
        const auto file = MovieFileWriter().open(path, with);
        for (int i = 0; i < std::lround(seconds * 30); ++i) {
            file->append(*frame(100 + i / 30.0, with.dimensions.width, with.dimensions.height));
            if (with.audio)
                file->append(*sound(100 + i / 30.0, 1 / 30.0));
        }
        length = file->finish(still);
    }

    TemporaryFolder folder;
    std::string path = folder.file("movie.mov");
    CMTime length;
};

}

TEST_F(Movie, HasAllItsFramesAndItsLength)
{
    if (!requireTool("ffprobe"))
        return;
    record(settings(), 3);

    EXPECT_EQ(countFrames(path), 90);
    EXPECT_NEAR(std::stod(probe(path, "format=duration")), 3.0, 0.001);
    EXPECT_NEAR(CMTimeGetSeconds(length), 3.0, 0.001);
}

TEST_F(Movie, IsAnOrdinaryFileOnceItIsFinished)
{
    record(settings(), 2);

    EXPECT_EQ(outermost(path), "ftyp mdat moov");
}

TEST_F(Movie, CanBeSoughtIn)
{
    if (!requireTool("ffmpeg"))
        return;
    record(settings(), 4);

    const Outcome outcome = runCommand("ffprobe -v error -read_intervals 2.5%+#1 -select_streams v -show_entries "
                                       "packet=pts_time,flags -of csv=p=0 "
        + path);

    EXPECT_EQ(outcome.output.substr(0, 11), "2.000000,K_");
}

TEST_F(Movie, GivesItsReadersNothingToComplainOf)
{
    if (!requireTool("ffmpeg") || !requireTool("exiftool"))
        return;
    MovieSettings with = settings();
    with.audio = true;
    record(with, 2, CMTimeMake(1, 2));

    EXPECT_EQ(runCommand("ffmpeg -v warning -xerror -i " + path + " -f null -").output, "");
    EXPECT_EQ(
        runCommand("exiftool -validate -warning -error -a " + path).output, "Validate                        : OK\n");
}

TEST_F(Movie, KeepsTheTimesOfAnUnevenCamera)
{
    if (!requireTool("ffprobe"))
        return;
    const auto file = MovieFileWriter().open(path, settings());
    for (const double time : { 10.0, 10.04, 10.05, 10.5, 12.0 })
        file->append(*frame(time));
    file->finish(std::nullopt);

    EXPECT_EQ(probe(path, "packet=pts_time"), "0.000000\n0.040000\n0.050000\n0.500000\n2.000000");
}

TEST_F(Movie, LeavesOutAFrameThatIsNotLaterThanTheOneBefore)
{
    if (!requireTool("ffprobe"))
        return;
    const auto file = MovieFileWriter().open(path, settings());
    for (const double time : { 10.0, 10.1, 10.1, 9.0, 10.2 })
        file->append(*frame(time));
    file->finish(std::nullopt);

    EXPECT_EQ(countFrames(path), 3);
}

TEST_F(Movie, IsTurnedByThePlayer)
{
    if (!requireTool("ffmpeg"))
        return;
    const std::pair<int, const char*> turns[] { { 0, "" }, { 90, "-90" }, { 180, "-180" }, { 270, "90" } };
    for (const auto& [rotation, expected] : turns) {
        MovieSettings with = settings();
        with.rotation = rotation;
        record(with, 0.2);

        EXPECT_EQ(probe(path, "stream_side_data=rotation"), expected) << rotation;
    }
}

TEST_F(Movie, ShowsTheLeftSideOnTopWhenItIsTurnedClockwise)
{
    if (!requireTool("ffmpeg"))
        return;
    MovieSettings with = settings();
    with.rotation = 90;
    auto half = frame(0, 320, 240, 0);
    const CVPixelBuffer::Plane& luma = half->imageBuffer()->planes()[0];
    for (std::size_t y = 0; y < 240; ++y)
        std::fill_n(luma.data + y * luma.stride, 160, std::uint8_t { 255 }); // white left
    const auto file = MovieFileWriter().open(path, with);
    file->append(*half);
    file->finish(std::nullopt);

    ASSERT_EQ(runCommand("ffmpeg -v error -i " + path + " -frames:v 1 -f rawvideo -pix_fmt gray " + folder.file("gray"))
                  .status,
        0);

    const Bytes grey = bytesOfFile(folder.file("gray"));
    ASSERT_EQ(grey.size(), 240U * 320U);
    EXPECT_GT(grey[10 * 240 + 120], 200);
    EXPECT_LT(grey[310 * 240 + 120], 50);
}

TEST_F(Movie, CarriesDatePlaceAndMaker)
{
    if (!requireTool("exiftool"))
        return;
    MovieSettings with = settings();
    with.creationDate = 789015845; // 2026-01-02 03:04:05 UTC
    with.latitude = -33.856784;
    with.longitude = 151.215297;
    with.altitude = 35;
    with.metadata = { { "com.apple.quicktime.make", "Velmora" }, { "com.apple.quicktime.model", "Test phone" },
        { "com.apple.quicktime.content.identifier", "11112222-3333-4444-5555-666677778888" } };
    record(with, 0.5);

    const Outcome outcome = runCommand("exiftool -api QuickTimeUTC=0 -s -s -n -QuickTime:CreateDate -Keys:CreationDate "
                                       "-Keys:GPSCoordinates -Make -Model "
                                       "-ContentIdentifier "
        + path);

    EXPECT_EQ(outcome.output,
        "CreateDate: 2026:01:02 03:04:05\nCreationDate: 2026:01:02 03:04:05Z\n"
        "GPSCoordinates: -33.856784 151.215297 35\nMake: Velmora\nModel: Test phone\n"
        "ContentIdentifier: 11112222-3333-4444-5555-666677778888\n");
}

TEST_F(Movie, MarksTheTimeOfTheStillPicture)
{
    if (!requireTool("exiftool"))
        return;
    record(settings(), 3, CMTimeMake(3, 2));

    const Outcome outcome = runCommand("exiftool -ee -s -s -n -StillImageTime -Track2:MediaTimeScale " + path);

    EXPECT_EQ(outcome.output.substr(0, 19), "StillImageTime: -1\n") << outcome.output;
    EXPECT_EQ(probe(path, "stream=start_time").substr(0, 17), "0.000000\n1.500000");
    EXPECT_EQ(countFrames(path), 90);
}

TEST_F(Movie, HasSoundThatFitsThePicture)
{
    if (!requireTool("ffprobe"))
        return;
    MovieSettings with = settings();
    with.audio = true;
    record(with, 3);

    EXPECT_EQ(probe(path, "stream=codec_name"), "h264\naac");
    const auto source = MovieFileReader().open(path);
    const auto heard = source->audio();
    ASSERT_TRUE(heard);
    EXPECT_EQ(heard->channels, 1);
    EXPECT_EQ(heard->sampleRate, 48000);
    // In phase with what was recorded, from the first picture on.
    double together = 0, power = 0;
    for (std::size_t i = 4800; i < 130'000; ++i) {
        const double expected = 0.5 * std::sin(2 * std::numbers::pi * tone * (100 + static_cast<double>(i) / 48000));
        together += expected * static_cast<double>(heard->samples[i]);
        power += expected * expected;
    }
    EXPECT_NEAR(together / power, 1, 0.05);
}

TEST_F(Movie, LeavesOutSoundBeforeTheFirstPicture)
{
    MovieSettings with = settings();
    with.audio = true;
    const auto file = MovieFileWriter().open(path, with);
    for (int i = 0; i < 10; ++i)
        file->append(*sound(10 + i * 0.1, 0.1));
    for (int i = 0; i < 15; ++i)
        file->append(*frame(11 + i / 15.0));
    for (int i = 0; i < 10; ++i)
        file->append(*sound(11 + i * 0.1, 0.1));
    file->finish(std::nullopt);

    const auto heard = MovieFileReader().open(path)->audio();

    ASSERT_TRUE(heard);
    EXPECT_NEAR(static_cast<double>(heard->samples.size()) / 48000, 1.0, 0.03);
}

TEST_F(Movie, StretchesTheSoundOfAMicrophoneWithASlowClock)
{
    MovieSettings with = settings();
    with.audio = true;
    const auto file = MovieFileWriter().open(path, with);
    for (int i = 0; i < 200; ++i) {
        file->append(*frame(i / 10.0));
        file->append(*sound(i / 10.0, 0.1, 47952)); // a thousandth too few samples
    }
    file->finish(std::nullopt);

    const auto heard = MovieFileReader().open(path)->audio();

    EXPECT_NEAR(static_cast<double>(heard->samples.size()) / 48000, 20.0, 0.015);
}

TEST_F(Movie, FillsAGapInTheSoundWithSilence)
{
    MovieSettings with = settings();
    with.audio = true;
    const auto file = MovieFileWriter().open(path, with);
    for (int i = 0; i < 30; ++i) {
        file->append(*frame(i / 10.0));
        if (i < 10 || i >= 15)
            file->append(*sound(i / 10.0, 0.1));
    }
    file->finish(std::nullopt);

    const auto heard = MovieFileReader().open(path)->audio();

    const auto loudest = [&heard](double from, double to) {
        float most = 0;
        for (auto i = static_cast<std::size_t>(from * 48000); i < static_cast<std::size_t>(to * 48000); ++i)
            most = std::max(most, std::abs(heard->samples.at(i)));
        return most;
    };
    EXPECT_GT(loudest(0.3, 0.9), 0.4);
    EXPECT_LT(loudest(1.1, 1.4), 0.02);
    EXPECT_GT(loudest(1.6, 2.9), 0.4);
}

TEST_F(Movie, TakesOtherPixelsAndOddSizes)
{
    MovieSettings with = settings();
    with.dimensions = { 161, 121 };
    const auto file = MovieFileWriter().open(path, with);
    for (int i = 0; i < 5; ++i)
        file->append(CMSampleBuffer(wavyPicture(161, 121), CMTimeMake(i, 30), 0));
    file->finish(std::nullopt);

    const auto source = MovieFileReader().open(path);

    EXPECT_EQ(source->dimensions(), (CMVideoDimensions { 160, 120 }));
    const auto first = source->nextFrame();
    EXPECT_GT(lumaSignalToNoise(*first->imageBuffer(), *as420f(*wavyPicture(160, 120))), 25);
}

TEST_F(Movie, PlaysAfterTheProgramWasKilled)
{
    if (!requireTool("ffmpeg"))
        return;
    MovieSettings with = settings();
    with.audio = true;
    const pid_t child = fork();
    if (child == 0) {
        const auto file = MovieFileWriter().open(path, with);
        for (int i = 0; i < 150; ++i) {
            file->append(*frame(i / 30.0));
            file->append(*sound(i / 30.0, 1 / 30.0));
        }
        kill(getpid(), SIGKILL);
    }
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFSIGNALED(status));

    EXPECT_EQ(runCommand("ffmpeg -v error -i " + path + " -f null -").output, "");
    EXPECT_GE(countFrames(path), 90); // of five seconds, all but the last fragments
    const auto recovered = MovieFileWriter().recover(path);
    ASSERT_TRUE(recovered);
    EXPECT_GE(CMTimeGetSeconds(*recovered), 3.0);
    EXPECT_EQ(outermost(path), "ftyp mdat moov");
    EXPECT_EQ(runCommand("ffmpeg -v warning -xerror -i " + path + " -f null -").output, "");
}

TEST_F(Movie, RecoversWhatStandsBeforeACutOffEnd)
{
    if (!requireTool("ffmpeg"))
        return;
    {
        const auto file = MovieFileWriter().open(path, settings());
        for (int i = 0; i < 150; ++i)
            file->append(*frame(i / 30.0));
    }
    const Bytes whole = bytesOfFile(path);
    const std::string cut = folder.write("cut.mov", std::span(whole).first(whole.size() - whole.size() / 5));

    const auto recovered = MovieFileWriter().recover(cut);

    ASSERT_TRUE(recovered);

    EXPECT_GE(CMTimeGetSeconds(*recovered), 2.0);
    EXPECT_EQ(runCommand("ffmpeg -v error -xerror -i " + cut + " -f null -").output, "");
}

TEST_F(Movie, StaysAsItIsWhenThereIsNothingToRecover)
{
    record(settings(), 1);
    const Bytes before = bytesOfFile(path);

    EXPECT_FALSE(MovieFileWriter().recover(path));
    EXPECT_EQ(bytesOfFile(path), before);
}

TEST_F(Movie, IsLeftAloneWhileSomebodyWritesIt)
{
    const auto file = MovieFileWriter().open(path, settings());
    for (int i = 0; i < 90; ++i)
        file->append(*frame(i / 30.0));
    const Bytes before = bytesOfFile(path);

    EXPECT_FALSE(MovieFileWriter().recover(path));

    EXPECT_EQ(bytesOfFile(path), before);
    EXPECT_NEAR(CMTimeGetSeconds(file->finish(std::nullopt)), 3.0, 0.001);
}

TEST_F(Movie, StopsBeforeTheDiskIsFull)
{
    MovieSettings with = settings();
    with.bytesToKeepFree = std::uint64_t { 1 } << 60;
    try {
        MovieFileWriter().open(path, with);
        FAIL() << "opened";
    } catch (const NSError& error) {
        EXPECT_EQ(error.domain(), NSPOSIXErrorDomain);
        EXPECT_EQ(error.code(), ENOSPC);
        EXPECT_NE(error.localizedDescription().find("are to stay free"), std::string::npos);
    }
}

TEST_F(Movie, PlaysAfterTheDiskWasFull)
{
    if (!requireTool("ffmpeg"))
        return;
    // A limit on the size of a file refuses writes just as a full disk does.
    const pid_t child = fork();
    if (child == 0) {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit limit { 400'000, 400'000 };
        setrlimit(RLIMIT_FSIZE, &limit);
        const auto file = MovieFileWriter().open(path, settings());
        std::mt19937 random(1);
        try {
            for (int i = 0; i < 300; ++i) {
                const auto noise = frame(i / 30.0);
                const CVPixelBuffer::Plane& luma = noise->imageBuffer()->planes()[0];
                for (std::size_t k = 0; k < luma.stride * 240; ++k)
                    luma.data[k] = static_cast<std::uint8_t>(random());
                file->append(*noise);
            }
        } catch (const NSError& error) {
            _exit(error.domain() == NSPOSIXErrorDomain && error.code() == EFBIG ? 7 : 8);
        }
        _exit(9);
    }
    int status = 0;
    waitpid(child, &status, 0);

    EXPECT_EQ(WEXITSTATUS(status), 7);
    const auto recovered = MovieFileWriter().recover(path);
    ASSERT_TRUE(recovered);
    EXPECT_GT(CMTimeGetSeconds(*recovered), 0);
    EXPECT_EQ(runCommand("ffmpeg -v error -i " + path + " -f null -").output, "");
}

TEST_F(Movie, CannotBeFinishedWithoutAPicture)
{
    const auto file = MovieFileWriter().open(path, settings());

    EXPECT_THROW(file->finish(std::nullopt), NSError);
}

TEST_F(Movie, NamesItsEncodersAndItsSize)
{
    MovieSettings with = settings();
    with.audio = true;
    const auto file = MovieFileWriter().open(path, with);
    for (int i = 0; i < 90; ++i)
        file->append(*frame(i / 30.0));

    EXPECT_NE(file->encoder().find(", aac"), std::string::npos);
    EXPECT_GT(file->bytesWritten(), 1000U);
}

TEST_F(Movie, CannotBeOpenedInAFolderThatIsMissing)
{
    EXPECT_THROW(MovieFileWriter().open(folder.file("nowhere/movie.mov"), settings()), NSError);
}

TEST_F(Movie, IsReadBackFrameByFrame)
{
    record(settings(), 1);
    const auto source = MovieFileReader().open(path);

    EXPECT_EQ(source->dimensions(), (CMVideoDimensions { 320, 240 }));
    EXPECT_NEAR(source->duration(), 1.0, 0.001);
    EXPECT_EQ(source->audio(), nullptr);
    for (int i = 0; i < 30; ++i) {
        const auto next = source->nextFrame();
        ASSERT_TRUE(next) << i;
        EXPECT_NEAR(CMTimeGetSeconds(next->presentationTimeStamp()), i / 30.0, 0.0001);
        EXPECT_GT(lumaSignalToNoise(*next->imageBuffer(), *frame(100 + i / 30.0)->imageBuffer()), 30);
    }
    EXPECT_EQ(source->nextFrame(), nullptr);
    source->rewind();
    const auto again = source->nextFrame();
    ASSERT_TRUE(again);
    EXPECT_EQ(CMTimeGetSeconds(again->presentationTimeStamp()), 0);
}

TEST_F(Movie, IsReadFromOtherMakersFilesWithTheRightShades)
{
    if (!requireTool("ffmpeg"))
        return;
    ASSERT_EQ(runCommand("ffmpeg -v error -f lavfi -i color=c=0xC04020:s=320x240:d=0.2:r=10,format=rgb24 -c:v libx264 "
                         "-pix_fmt yuv420p "
                  + path)
                  .status,
        0);

    const auto first = MovieFileReader().open(path)->nextFrame();

    const auto& planes = first->imageBuffer()->planes();
    // 0.299 * 192 + 0.587 * 64 + 0.114 * 32, and so on: full range.
    EXPECT_NEAR(planes[0].data[1000], 98.6, 3);
    EXPECT_NEAR(planes[1].data[100], 90.4, 3);
    EXPECT_NEAR(planes[1].data[101], 194.6, 3);
}

TEST_F(Movie, IsRefusedWithASentenceWhenItIsMissingOrNone)
{
    const auto refusal = [](const std::string& file) {
        try {
            MovieFileReader().open(file);
        } catch (const NSError& error) {
            return error.localizedDescription();
        }
        return std::string("opened");
    };

    EXPECT_EQ(refusal("/nowhere/movie.mov"), "The movie /nowhere/movie.mov cannot be read: No such file or directory");
    EXPECT_NE(refusal(folder.write("none.mov", Bytes(1000, 7))).find("cannot be read"), std::string::npos);
}

TEST_F(Movie, SurvivesDamageOfEveryKind)
{
    {
        MovieSettings with = settings();
        with.dimensions = { 32, 32 };
        const auto file = MovieFileWriter().open(path, with);
        for (int i = 0; i < 45; ++i)
            file->append(*frame(i / 15.0, 32, 32));
    }
    const Bytes original = bytesOfFile(path);
    std::mt19937 random(3);
    int recovered = 0, refused = 0;
    for (int round = 0; round < 400; ++round) {
        Bytes damagedBytes = original;
        for (int flips = 0; flips < 1 + round % 5; ++flips)
            damagedBytes[random() % damagedBytes.size()] ^= static_cast<std::uint8_t>(1U << random() % 8);
        if (round % 3 == 0)
            damagedBytes.resize(random() % damagedBytes.size());
        const std::string file = folder.write("damaged.mov", damagedBytes);
        try {
            MovieFileWriter().recover(file);
            ++recovered;
        } catch (const NSError&) {
            ++refused;
        }
        try {
            const auto source = MovieFileReader().open(file);
            while (source->nextFrame())
                continue;
        } catch (const NSError&) {
            ++refused;
        }
    }
    EXPECT_GT(recovered, 50);
    EXPECT_GT(refused, 50);
}

TEST_F(Movie, ItsFirstPictureIsShownUpright)
{
    // The left half is white; the player turns it on top with 90 degrees, and so on round the clock.
    constexpr std::array<std::pair<int, int>, 4> white { { { 10, 120 }, { 120, 10 }, { 310, 120 }, { 120, 310 } } };
    for (int quarters = 0; quarters < 4; ++quarters) {
        MovieSettings with = settings();
        with.rotation = 90 * quarters;
        auto half = frame(0, 320, 240, 0);
        const CVPixelBuffer::Plane& luma = half->imageBuffer()->planes()[0];
        for (std::size_t y = 0; y < 240; ++y)
            std::fill_n(luma.data + y * luma.stride, 160, std::uint8_t { 255 });
        const auto name = folder.file(std::to_string(quarters) + ".mov");
        const auto file = MovieFileWriter().open(name, with);
        file->append(*half);
        file->append(*frame(0.1, 320, 240, 128));
        file->finish(std::nullopt);

        const auto picture = drivers::media::PictureDecoder().decodeFileToCover(name, 64, 64);
        EXPECT_EQ(picture->pixelFormat(), kCVPixelFormatType_32BGRA);
        EXPECT_EQ(picture->width(), quarters % 2 == 0 ? 320 : 240);
        const auto [x, y] = white[static_cast<std::size_t>(quarters)];
        EXPECT_GT(colourAt(*picture, x, y)[1], 200) << quarters;
        EXPECT_LT(colourAt(*picture, picture->width() - 1 - x, picture->height() - 1 - y)[1], 50) << quarters;
    }
}

}
