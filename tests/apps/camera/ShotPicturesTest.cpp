// SPDX-License-Identifier: Apache-2.0
#include "tests/support/Pictures.h"
#include "tests/support/Require.h"
#include "tests/support/Subprocess.h"

#include <turbojpeg.h>

#include <cmath>
#include <cstring>
#include <sstream>

#include "tests/apps/camera/CameraProgram.h"
#include "tests/drivers/phone/PlainPNG.h"

namespace velmora::tests {

namespace {

/// Red, green and blue, row by row.
struct RGB {
    int width = 0, height = 0;
    std::vector<std::uint8_t> levels;

    int level(int x, int y, int channel) const
    {
        return levels[(static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x)) * 3
            + static_cast<std::size_t>(channel)];
    }
};

RGB JPEG(const std::string& file)
{
    const auto bytes = bytesOfFile(file);
    const std::unique_ptr<void, decltype(&tjDestroy)> decoder(tjInitDecompress(), &tjDestroy);
    RGB picture;
    int subsampling = 0, space = 0;
    if (tjDecompressHeader3(
            decoder.get(), bytes.data(), bytes.size(), &picture.width, &picture.height, &subsampling, &space)
        != 0)
        return {};
    picture.levels.resize(static_cast<std::size_t>(picture.width) * static_cast<std::size_t>(picture.height) * 3);
    tjDecompress2(decoder.get(), bytes.data(), bytes.size(), picture.levels.data(), picture.width, 0, picture.height,
        TJPF_RGB, 0);
    return picture;
}

RGB PPM(const std::string& file)
{
    const auto bytes = bytesOfFile(file);
    std::istringstream header(std::string(bytes.begin(), bytes.begin() + std::min<std::ptrdiff_t>(bytes.size(), 40)));
    std::string kind;
    RGB picture;
    header >> kind >> picture.width >> picture.height;
    const auto size = static_cast<std::size_t>(picture.width) * static_cast<std::size_t>(picture.height) * 3;
    if (kind == "P6" && bytes.size() > size)
        picture.levels.assign(bytes.end() - static_cast<std::ptrdiff_t>(size), bytes.end());
    return picture;
}

RGB middle(const RGB& whole, int width, int height)
{
    RGB part { width, height, {} };
    const int left = (whole.width - width) / 2, top = (whole.height - height) / 2;
    for (int y = 0; y < height; ++y) {
        const auto row = whole.levels.begin() + ((static_cast<std::ptrdiff_t>(y) + top) * whole.width + left) * 3;
        part.levels.insert(part.levels.end(), row, row + static_cast<std::ptrdiff_t>(width) * 3);
    }
    return part;
}

double signalToNoise(const RGB& a, const RGB& b)
{
    double sum = 0;
    for (std::size_t i = 0; i < a.levels.size(); ++i)
        sum += std::pow(a.levels[i] - b.levels[i], 2);
    return 10 * std::log10(255.0 * 255.0 * static_cast<double>(a.levels.size()) / std::max(sum, 1e-9));
}

std::array<double, 3> means(const RGB& picture)
{
    std::array<double, 3> sums {};
    for (std::size_t i = 0; i < picture.levels.size(); ++i)
        sums[i % 3] += picture.levels[i] * 3.0 / static_cast<double>(picture.levels.size());
    return sums;
}

/// The means of squares of `side` pixels: what is left when details do not count.
RGB squares(const RGB& picture, int side)
{
    RGB small { picture.width / side, picture.height / side, {} };
    for (int y = 0; y < small.height; ++y)
        for (int x = 0; x < small.width; ++x)
            for (int channel = 0; channel < 3; ++channel) {
                int sum = 0;
                for (int i = 0; i < side * side; ++i)
                    sum += picture.level(x * side + i % side, y * side + i / side, channel);
                small.levels.push_back(static_cast<std::uint8_t>(sum / (side * side)));
            }
    return small;
}

}

/// Held so that the stored picture is the footage itself, in light that asks for no correction.
class ShotPictures : public CameraProgram {
protected:
    std::string phoneOf(int width, int height) const
    {
        const std::string size = "[" + std::to_string(width) + ", " + std::to_string(height) + "]";
        return R"({ "formats": { "still": { "size": [640, 480], "highResolutionStill": )" + size + R"( } },
            "cameras": [ { "id": "back", "type": "wide", "position": "back", "formats": ["still"],
                           "rawFormats": ["bgg4"],
                           "presets": { "AVCaptureSessionPresetPhoto": "still" } } ] })";
    }
    nlohmann::json shoot(const std::string& footage, int width, int height, const std::string& options = {}) const
    {
        write("phone.json", phoneOf(width, height));
        const auto outcome = run("--phone phone.json --camera virtual --json --footage '" + footage
            + "' shoot --orientation landscape-left --out photos " + options);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        return outcome.json()["photos"][0];
    }
};

TEST_F(ShotPictures, AFullSizedPhotoIsTheFootage)
{
    const RGB photo = JPEG(shoot(footage("field.jpg"), 3984, 2988)["jpg"]);
    ASSERT_EQ(photo.width, 3984);
    ASSERT_EQ(photo.height, 2988);
    const RGB original = middle(JPEG(footage("field.jpg")), 3984, 2988);

    EXPECT_GT(signalToNoise(photo, original), 42);
    const auto expected = means(original), found = means(photo);
    for (std::size_t channel = 0; channel < 3; ++channel)
        EXPECT_NEAR(found[channel], expected[channel], 1);
}

TEST_F(ShotPictures, LinesOfOnePixelKeepHalfTheirContrast)
{
    constexpr int dark = 60, bright = 190, side = 480;
    // Upright lines in the left half, level ones in the right half.
    writePNG(path("chart.png"), 2 * side, side, [](int x, int y) {
        const auto level = static_cast<std::uint8_t>((x < side ? x : y) % 2 == 0 ? dark : bright);
        return std::array { level, level, level };
    });
    const RGB photo = JPEG(shoot(path("chart.png"), 2 * side, side)["jpg"]);
    ASSERT_EQ(photo.width, 2 * side);

    int weakest = 255;
    for (int y = 16; y < side - 16; y += 2)
        for (int x = 16; x < 2 * side - 16; x += 2)
            if (std::abs(x - side) > 16) // where the two meet
                weakest = std::min(weakest,
                    x < side ? photo.level(x + 1, y, 1) - photo.level(x, y, 1)
                             : photo.level(x, y + 1, 1) - photo.level(x, y, 1));
    EXPECT_GE(weakest, (bright - dark) / 2);
}

TEST_F(ShotPictures, ADevelopedDNGIsThePictureOfTheJPEG)
{
    if (!requireTool("libraw", "dcraw_emu"))
        return;
    const auto files = shoot(footage("field.jpg"), 1328, 996, "--raw plus");
    const Outcome developed = runCommand(
        "dcraw_emu -w -W -o 1 -g 2.4 12.92 -Z " + path("developed.ppm") + " " + files["dng"].get<std::string>());
    ASSERT_EQ(developed.status, 0) << developed.output;
    constexpr int side = 12; // the developer's interpolation and the JPEG's colour do not count
    const RGB jpeg = squares(JPEG(files["jpg"]), side), raw = squares(PPM(path("developed.ppm")), side);
    ASSERT_EQ(raw.width, 110);
    ASSERT_EQ(raw.height, 83);

    EXPECT_GT(signalToNoise(raw, jpeg), 45);
    const auto expected = means(jpeg), found = means(raw);
    for (std::size_t channel = 0; channel < 3; ++channel)
        EXPECT_NEAR(found[channel], expected[channel], 1);
}

}
