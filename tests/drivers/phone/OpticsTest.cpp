// SPDX-License-Identifier: Apache-2.0
#include "drivers/media/install.h"

#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <png.h>

#include "tests/drivers/phone/CameraFixture.h"

namespace velmora::tests {

using namespace drivers::phone;

/// A camera that looks at pictures of its own size, as they are; its lens has 5.7 mm at f/1.8, on a sensor 7.892 mm
/// wide.
class Optics : public CameraFixture {
protected:
    Optics()
    {
        drivers::media::install();
        phone.tilt(-1, 0, 0);
        start();
    }
    /// Grey of a sample, from 0 to 255.
    template <class Grey> void see(const std::string& name, Grey grey)
    {
        constexpr int width = 640, height = 480;
        std::vector<std::uint8_t> samples;
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x)
                samples.push_back(static_cast<std::uint8_t>(grey(x, y)));
        png_image image {};
        image.version = PNG_IMAGE_VERSION;
        image.width = width;
        image.height = height;
        image.format = PNG_FORMAT_GRAY;
        const auto file = folder.file(name + ".png");
        ASSERT_NE(png_image_write_to_file(&image, file.c_str(), 0, samples.data(), 0, nullptr), 0);
        phone.change([&](PhoneDescription& description) { description.footage = file; });
    }
    /// The diameter of a point's image, in pixels: four times the standard deviation of an edge's derivative.
    double blurOf(float lensPosition)
    {
        CaptureSettings settings = automatic();
        settings.focusMode = 0;
        settings.lensPosition = lensPosition;
        const auto pixels = stillWith(settings).pixels;
        double sum = 0, first = 0, second = 0;
        for (int x = 290; x < 350; ++x) {
            const double slope = linearAt(*pixels, x + 1, 240)[1] - linearAt(*pixels, x, 240)[1];
            sum += slope;
            first += slope * x;
            second += slope * x * x;
        }
        return 4 * std::sqrt(second / sum - first * first / (sum * sum));
    }
    /// The standard deviation of the linear light over a grey wall.
    double noiseAt(float ISO)
    {
        const auto pixels = stillWith(exposed(ISO, CMTimeMake(100, static_cast<std::int32_t>(60 * ISO)))).pixels;
        double sum = 0, squares = 0;
        constexpr int side = 200;
        for (int y = 0; y < side; ++y)
            for (int x = 0; x < side; ++x) {
                const double level = linearAt(*pixels, 200 + x, 100 + y)[1];
                sum += level;
                squares += level * level;
            }
        constexpr double count = side * side;
        return std::sqrt(std::max(0.0, squares / count - sum * sum / (count * count)));
    }

    TemporaryFolder folder;
};

TEST_F(Optics, AWrongFocusBlursByTheFormulaOfTheThinLens)
{
    see("edge", [](int x, int) { return x < 320 ? 20 : 235; });
    // The scene is 2 m away (0.5 dioptres). At 0.5 the lens is focused at 0.2 m (5 dioptres), at 0 at 0.1 m (10):
    // 3.167 mm x |(175.44 - 0.5) / (175.44 - 5) - 1| = 0.0836 mm, of 7.892 mm: 6.78 of 640 pixels. At 0: 14.75.
    EXPECT_NEAR(blurOf(0.5F), 6.78, 0.2);
    EXPECT_NEAR(blurOf(0), 14.75, 0.45);
}

TEST_F(Optics, TheSameFocusBlursANearerSceneLess)
{
    see("edge", [](int x, int) { return x < 320 ? 20 : 235; });
    phone.change([](PhoneDescription& description) { description.sceneDistance = 0.25; });
    // 4 dioptres against 10: 3.167 mm x |(175.44 - 4) / (175.44 - 10) - 1| = 0.1149 mm: 9.31 pixels.
    EXPECT_NEAR(blurOf(0), 9.31, 0.3);
}

TEST_F(Optics, NoiseGrowsWithTheISOAndIsNoneAtTheBase)
{
    see("wall", [](int, int) { return 160; });
    EXPECT_LT(noiseAt(100), 1e-6);
    const double at500 = noiseAt(500), at1700 = noiseAt(1700);
    EXPECT_GT(at500, 0.001);
    EXPECT_NEAR(at1700 / at500, 2, 0.25); // the root of 16 against the root of 4
}

}
