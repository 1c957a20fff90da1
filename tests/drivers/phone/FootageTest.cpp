// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/MovieWriter.h"
#include "platform/ImageIO/ImageDecoder.h"

#include "drivers/media/install.h"

#include <filesystem>

#include "tests/drivers/phone/CameraFixture.h"
#include "tests/drivers/phone/PlainPNG.h"

namespace velmora::tests {

using namespace velmora::drivers::phone;

namespace {

using Pixel = std::array<std::uint8_t, 3>;

class Seen : public CameraFixture {
protected:
    Seen()
    {
        drivers::media::install();
        std::filesystem::create_directories(folder);
    }
    ~Seen() override { std::filesystem::remove_all(folder); }

    /// Held so that the sensor lies as the world does.
    void see(const std::string& file)
    {
        phone.change([&](PhoneDescription& description) { description.footage = file; });
        phone.tilt(-1, 0, 0);
    }
    void see(int width, int height, const std::function<Pixel(int, int)>& pixel)
    {
        writePNG(folder / "seen.png", width, height, pixel);
        see(folder / "seen.png");
    }
    std::shared_ptr<CVPixelBuffer> frame()
    {
        if (frames.empty())
            start();
        phone.sendFrame();
        return frames.back()->imageBuffer();
    }
    static int luma(const CVPixelBuffer& pixels, int x, int y)
    {
        const auto& plane = pixels.planes()[0];
        return plane.data[static_cast<std::size_t>(y) * plane.stride + static_cast<std::size_t>(x)];
    }
    static double meanLuma(const CVPixelBuffer& pixels)
    {
        double sum = 0;
        for (int y = 0; y < pixels.height(); ++y)
            for (int x = 0; x < pixels.width(); ++x)
                sum += luma(pixels, x, y);
        return sum / pixels.width() / pixels.height();
    }

    const std::filesystem::path folder
        = std::filesystem::temp_directory_path() / ("velmora-footage-" + std::to_string(getpid()));
};

Pixel grey(int level)
{
    const auto value = static_cast<std::uint8_t>(level);
    return { value, value, value };
}

TEST_F(Seen, FootageOfTheSensorsSizeArrivesPixelForPixel)
{
    see(640, 480, [](int x, int y) { return grey((7 * x + 13 * y) % 256); });
    const auto pixels = frame();
    for (const auto& [x, y] : std::vector<std::pair<int, int>> { { 0, 0 }, { 1, 0 }, { 639, 479 }, { 200, 311 } })
        EXPECT_EQ(luma(*pixels, x, y), (7 * x + 13 * y) % 256);
    EXPECT_EQ(pixels->planes()[1].data[0], 128);
}

TEST_F(Seen, ColoursComeThrough)
{
    see(640, 480, [](int, int) { return Pixel { 200, 100, 50 }; });
    const auto pixels = frame();
    EXPECT_EQ(luma(*pixels, 9, 9), 124); // 0.299 R + 0.587 G + 0.114 B
    EXPECT_EQ(pixels->planes()[1].data[0], 86); // 128 + (B - Y) / 1.772
    EXPECT_EQ(pixels->planes()[1].data[1], 182); // 128 + (R - Y) / 1.402
}

TEST_F(Seen, WithoutAccessEverythingIsBlack)
{
    see(640, 480, [](int, int) { return Pixel { 255, 255, 255 }; });
    EXPECT_GT(luma(*frame(), 320, 240), 250);
    for (const int status : { 0, 1, 2 }) {
        phone.change([&](PhoneDescription& description) { description.permissions.camera = status; });
        EXPECT_EQ(luma(*frame(), 320, 240), 0) << status;
    }
    phone.change([](PhoneDescription& description) { description.permissions.camera = 3; });
    EXPECT_GT(luma(*frame(), 320, 240), 250);
}

TEST_F(Seen, WithoutAccessThereIsNoNoiseEither)
{
    see(640, 480, [](int, int) { return Pixel { 255, 255, 255 }; });
    phone.change([](PhoneDescription& description) { description.permissions.camera = 2; });
    const auto before = frame();
    clock.advance(5); // automatic exposure has gone to the most there is
    EXPECT_EQ(frame(), before);
}

TEST_F(Seen, HeldUprightTheWorldsTopIsAtTheSensorsLeft)
{
    see(480, 640, [](int x, int y) { return grey(y < 320 ? 200 : x < 240 ? 100 : 50); });
    phone.tilt(0, -1, 0);
    const auto pixels = frame();
    EXPECT_EQ(luma(*pixels, 2, 2), 200);
    EXPECT_EQ(luma(*pixels, 637, 477), 100); // the world's left below, so EXIF 6 shows it upright
    EXPECT_EQ(luma(*pixels, 637, 2), 50);
}

TEST_F(Seen, WideFootageIsCroppedAroundItsCentre)
{
    see(1280, 480, [](int x, int) { return grey(x < 320 || x >= 960 ? 250 : x < 640 ? 10 : 90); });
    const auto pixels = frame();
    EXPECT_EQ(luma(*pixels, 0, 240), 10);
    EXPECT_EQ(luma(*pixels, 639, 240), 90);
    EXPECT_EQ(luma(*pixels, 319, 240), 10);
    EXPECT_EQ(luma(*pixels, 320, 240), 90);
}

TEST_F(Seen, EnlargedLinesKeepTheirContrast)
{
    see(320, 240, [](int x, int) { return grey(x % 2 == 0 ? 60 : 180); });
    const auto pixels = frame();
    int least = 255, most = 0;
    for (int x = 100; x < 500; ++x) {
        least = std::min(least, luma(*pixels, x, 200));
        most = std::max(most, luma(*pixels, x, 200));
    }
    EXPECT_GT(most - least, 60);
    EXPECT_NEAR(meanLuma(*pixels), 120, 0.6);
}

TEST_F(Seen, ShrunkFootageKeepsItsMean)
{
    see(1000, 750, [](int x, int y) { return grey((x * 37 + y * 59) % 200 + 20); });
    EXPECT_NEAR(meanLuma(*frame()), 119.5, 0.6);
}

TEST_F(Seen, EvenFootageStaysEvenAtEverySize)
{
    see(333, 217, [](int, int) { return grey(77); });
    const auto pixels = frame();
    for (int x = 0; x < 640; x += 3)
        for (int y = 0; y < 480; y += 3)
            ASSERT_EQ(luma(*pixels, x, y), 77);
}

TEST_F(Seen, AStillWorldIsRenderedOnce)
{
    see(640, 480, [](int x, int) { return grey(x % 256); });
    const auto first = frame();
    clock.advance(1);
    EXPECT_EQ(frames.back()->imageBuffer(), first);
}

TEST_F(Seen, ATinyPictureFillsTheSensor)
{
    see(1, 1, [](int, int) { return grey(123); });
    EXPECT_EQ(luma(*frame(), 320, 240), 123);
}

TEST_F(Seen, FootageThatIsNotThereIsRefusedAndTheOldStays)
{
    see(640, 480, [](int, int) { return grey(5); });
    try {
        see("/nowhere/field.jpg");
        FAIL() << "it was accepted";
    } catch (const NSError& error) {
        EXPECT_EQ(
            error.localizedDescription(), "The footage /nowhere/field.jpg cannot be opened: No such file or directory");
    }
    EXPECT_EQ(luma(*frame(), 3, 3), 5);
}

TEST_F(Seen, WithoutADecoderTheErrorSaysWhatToDo)
{
    writePNG(folder / "seen.png", 2, 2, [](int, int) { return grey(5); });
    const auto decoder = ImageDecoder::installed();
    ImageDecoder::install(nullptr);
    try {
        see(folder / "seen.png");
        ADD_FAILURE() << "it was accepted";
    } catch (const NSError& error) {
        EXPECT_EQ(error.localizedDescription(),
            "The footage " + (folder / "seen.png").string()
                + " cannot be read, because no image decoder is installed; call drivers::installDefaults() before the "
                  "phone is made.");
    }
    ImageDecoder::install(decoder);
}

/// Half a second of each level at ten frames a second.
void writeMovie(const std::string& file, const std::vector<std::uint8_t>& levels)
{
    MovieSettings settings;
    settings.dimensions = { 640, 480 };
    settings.frameRate = 10;
    const auto movie = MovieWriter::installed()->open(file, settings);
    int number = 0;
    for (const std::uint8_t level : levels)
        for (int i = 0; i < 5; ++i, ++number) {
            auto pixels = CVPixelBuffer::create(640, 480, kCVPixelFormatType_420YpCbCr8BiPlanarFullRange);
            const auto& planes = pixels->planes();
            for (std::size_t y = 0; y < 480; ++y)
                std::fill_n(planes[0].data + y * planes[0].stride, 640, level);
            for (std::size_t y = 0; y < 240; ++y)
                std::fill_n(planes[1].data + y * planes[1].stride, 640, std::uint8_t { 128 });
            movie->append(*make<CMSampleBuffer>(pixels, CMTimeMake(number, 10), static_cast<std::uint64_t>(number)));
        }
    movie->finish(std::nullopt);
}

TEST_F(Seen, AMoviePlaysInALoopOnThePhonesClock)
{
    writeMovie(folder / "levels.mov", { 50, 200 });
    see(folder / "levels.mov");
    EXPECT_NEAR(luma(*frame(), 320, 240), 50, 3);
    clock.advance(0.75);
    EXPECT_NEAR(luma(*frame(), 320, 240), 200, 3);
    clock.advance(0.5);
    EXPECT_NEAR(luma(*frame(), 320, 240), 50, 3);
    clock.advance(7.5);
    EXPECT_NEAR(luma(*frame(), 320, 240), 200, 3);
}

}
}
