// SPDX-License-Identifier: Apache-2.0
#include "drivers/media/install.h"

#include "tests/support/Pictures.h"
#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <png.h>

#include "tests/drivers/phone/CameraFixture.h"

namespace velmora::tests {

using namespace drivers::phone;

namespace {

/// A white picture of the camera's size with a black line across it, as it lies in the sensor's picture: upright at
/// `x`, 4 samples wide.
void writeLine(const std::string& path, int x)
{
    constexpr int width = 640, height = 480;
    std::vector<std::uint8_t> grey(std::size_t { width } * height, 255);
    for (int y = 0; y < height; ++y)
        for (int i = 0; i < 4; ++i)
            grey[static_cast<std::size_t>(y * width + x + i)] = 0;
    png_image image {};
    image.version = PNG_IMAGE_VERSION;
    image.width = width;
    image.height = height;
    image.format = PNG_FORMAT_GRAY;
    ASSERT_NE(png_image_write_to_file(&image, path.c_str(), 0, grey.data(), 0, nullptr), 0);
}

/// The middle of the dark samples of a row.
double lineAt(const CVPixelBuffer& pixels, int y)
{
    const auto& luma = pixels.planes()[0];
    double sum = 0, weight = 0;
    for (int x = 0; x < luma.width; ++x) {
        const double darkness
            = 255 - luma.data[static_cast<std::size_t>(y) * luma.stride + static_cast<std::size_t>(x)];
        sum += darkness * (x + 0.5);
        weight += darkness;
    }
    return weight > 0 ? sum / weight : -1;
}

}

/// A phone that is held so that the sensor's picture is the footage.
class Lines : public CameraFixture {
protected:
    Lines()
    {
        drivers::media::install();
        phone.tilt(-1, 0, 0);
        see(60);
    }
    void see(int x)
    {
        const auto file = folder.file("line" + std::to_string(x) + ".png");
        writeLine(file, x);
        phone.change([&](PhoneDescription& description) { description.footage = file; });
    }
    void bend(double barrel)
    {
        phone.change([&](PhoneDescription& description) {
            description.cameras[0].barrel = barrel;
            description.cameras[0].distortionCorrection = true;
        });
    }
    void shake(double amplitude)
    {
        phone.change([&](PhoneDescription& description) { description.handShake = amplitude; });
    }
    /// From the leftmost to the rightmost place of the line in two seconds of frames.
    double wandering(int stabilizationMode)
    {
        frames.clear();
        static_cast<void>(camera->start({ kCVPixelFormatType_420YpCbCr8BiPlanarFullRange, stabilizationMode },
            [this](std::shared_ptr<CMSampleBuffer> frame) { frames.push_back(std::move(frame)); }));
        clock.advance(2);
        camera->stop();
        double least = 1e9, most = -1e9;
        for (const auto& frame : frames) {
            const double x = lineAt(*frame->imageBuffer(), 240);
            least = std::min(least, x);
            most = std::max(most, x);
        }
        return most - least;
    }

    TemporaryFolder folder;
};

TEST_F(Lines, AreStraightThroughALensThatDoesNotBend)
{
    start();
    const auto picture = stillWith(automatic()).pixels;
    EXPECT_NEAR(lineAt(*picture, 240), 62, 0.1);
    EXPECT_NEAR(lineAt(*picture, 5), 62, 0.1);
}

TEST_F(Lines, BulgeOutwardsThroughABarrel)
{
    bend(0.12);
    start();
    const auto picture = stillWith(automatic()).pixels;
    // Half the diagonal is 400. The line is 258 left of the middle, and is seen d further out where
    // d (1 + 0.12 r^2) / 1.12 = 258: 273.6 in the middle row (r = 0.684), 264 at the ends (r = 0.888).
    EXPECT_NEAR(lineAt(*picture, 240), 46.4, 0.3);
    EXPECT_NEAR(lineAt(*picture, 2), 56, 0.5);
}

TEST_F(Lines, AreStraightAgainWhenTheDistortionIsCorrected)
{
    bend(0.12);
    start();
    CaptureSettings settings = automatic();
    settings.distortionCorrection = true;
    const auto picture = stillWith(settings).pixels;
    EXPECT_NEAR(lineAt(*picture, 240), 62, 0.1);
    EXPECT_NEAR(lineAt(*picture, 2), 62, 0.1);
}

TEST_F(Lines, BendInExposedPicturesTheSame)
{
    bend(0.12);
    start();
    const auto plain = stillWith(automatic()).pixels;
    const auto darker = stillWith(exposed(50, CMTimeMake(1, 60))).pixels;
    EXPECT_GT(lineAt(*plain, 2) - lineAt(*plain, 240), 8);
    EXPECT_LT(lineAt(*plain, 240), 50);
    EXPECT_LT(patch(*darker, 300, 200)[1], 0.6);
}

TEST_F(Lines, WanderWithTheHandByTwiceItsReach)
{
    see(318);
    shake(0.02);
    EXPECT_NEAR(wandering(0), 2 * 0.02 * 640, 2);
}

TEST_F(Lines, WanderLessTheStrongerTheStabilization)
{
    see(318);
    shake(0.02);
    const double free = wandering(0), standard = wandering(1), cinematic = wandering(2), extended = wandering(3);
    EXPECT_NEAR(standard, free / 4, 1);
    EXPECT_NEAR(cinematic, free / 10, 1);
    EXPECT_NEAR(extended, free / 20, 1);
}

TEST_F(Lines, StabilizationCutsTheEdgesOff)
{
    see(100);
    start();
    clock.advance(0.1);
    EXPECT_NEAR(lineAt(*frames.back()->imageBuffer(), 240), 102, 0.5);
    camera->stop();
    static_cast<void>(camera->start({ kCVPixelFormatType_420YpCbCr8BiPlanarFullRange, 1 },
        [this](std::shared_ptr<CMSampleBuffer> frame) { frames.push_back(std::move(frame)); }));
    clock.advance(0.1);
    EXPECT_NEAR(lineAt(*frames.back()->imageBuffer(), 240), 320 - 218 * 1.1, 0.5);
}

TEST_F(Lines, AHandThatIsStillMovesNothing)
{
    see(318);
    EXPECT_EQ(wandering(0), 0);
}

}
