// SPDX-License-Identifier: Apache-2.0
#include "drivers/media/PictureDecoder.h"

#include "tests/support/Pictures.h"
#include "tests/support/Require.h"
#include "tests/support/Subprocess.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <png.h>
#include <turbojpeg.h>
#include <zlib.h>

#include <cerrno>
#include <random>

namespace velmora::tests {

namespace {

using drivers::media::PictureDecoder;
using Bytes = std::vector<std::uint8_t>;

struct PNGRows {
    int width = 0, height = 0, depth = 8, colour = PNG_COLOR_TYPE_RGB;
    Bytes bytes;
    bool interlaced = false;
    std::vector<png_color> palette {};
};

Bytes makePNG(const PNGRows& rows)
{
    Bytes result;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_set_write_fn(
        png, &result,
        [](png_structp writer, png_bytep data, std::size_t size) {
            auto& to = *static_cast<Bytes*>(png_get_io_ptr(writer));
            to.insert(to.end(), data, data + size);
        },
        nullptr);
    png_set_IHDR(png, info, static_cast<png_uint_32>(rows.width), static_cast<png_uint_32>(rows.height), rows.depth,
        rows.colour, rows.interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
        PNG_FILTER_TYPE_DEFAULT);
    if (!rows.palette.empty())
        png_set_PLTE(png, info, rows.palette.data(), static_cast<int>(rows.palette.size()));
    png_write_info(png, info);
    Bytes copy = rows.bytes;
    std::vector<png_bytep> lines;
    const std::size_t stride = copy.size() / static_cast<std::size_t>(rows.height);
    for (int y = 0; y < rows.height; ++y)
        lines.push_back(copy.data() + static_cast<std::size_t>(y) * stride);
    png_write_image(png, lines.data());
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    return result;
}

Bytes makeJPEG(const Bytes& samples, int width, int height, int format, int subsampling, int flags = 0)
{
    tjhandle handle = tjInitCompress();
    unsigned char* buffer = nullptr;
    unsigned long size = 0;
    tjCompress2(handle, samples.data(), width, 0, height, format, &buffer, &size, subsampling, 95, flags);
    Bytes result(buffer, buffer + size);
    tjFree(buffer);
    tjDestroy(handle);
    return result;
}

/// A picture of 32 x 16 whose quarters are red and green above blue and white.
Bytes quarters()
{
    Bytes samples;
    for (int y = 0; y < 16; ++y)
        for (int x = 0; x < 32; ++x) {
            const bool right = x >= 16, low = y >= 8;
            const Bytes colour = low ? (right ? Bytes { 255, 255, 255 } : Bytes { 0, 0, 255 })
                                     : (right ? Bytes { 0, 255, 0 } : Bytes { 255, 0, 0 });
            samples.insert(samples.end(), colour.begin(), colour.end());
        }
    return samples;
}

Bytes withOrientation(Bytes jpeg, std::uint8_t orientation)
{
    const Bytes segment { 0xFF, 0xE1, 0, 34, 'E', 'x', 'i', 'f', 0, 0, 'M', 'M', 0, 42, 0, 0, 0, 8, 0, 1, 0x01, 0x12, 0,
        3, 0, 0, 0, 1, 0, orientation, 0, 0, 0, 0, 0, 0 };
    jpeg.insert(jpeg.begin() + 2, segment.begin(), segment.end());
    return jpeg;
}

char nearestName(const std::array<int, 3>& colour)
{
    const auto [red, green, blue] = colour;
    if (red > 200 && green > 200 && blue > 200)
        return 'W';
    return red > 200 ? 'R' : green > 200 ? 'G' : blue > 200 ? 'B' : '?';
}

/// The colours of the four corners, row by row.
std::string corners(const CVPixelBuffer& pixels)
{
    const int right = pixels.width() - 2, low = pixels.height() - 2;
    return { nearestName(colourAt(pixels, 1, 1)), nearestName(colourAt(pixels, right, 1)),
        nearestName(colourAt(pixels, 1, low)), nearestName(colourAt(pixels, right, low)) };
}

std::string refusal(const Bytes& data)
{
    try {
        PictureDecoder().decode(data);
    } catch (const NSError& error) {
        return error.localizedDescription();
    }
    return "decoded";
}

}

TEST(PictureDecoder, ReadsAPhotograph)
{
    const auto picture = PictureDecoder().decodeFile(footage("field.jpg"));

    EXPECT_EQ(picture->pixelFormat(), kCVPixelFormatType_32BGRA);
    EXPECT_GT(picture->width(), 1000);
    EXPECT_GT(picture->height(), 500);
}

TEST(PictureDecoder, ReadsTheSamePixelsFromAPNGAsTheToolsDo)
{
    if (!requireTool("ffmpeg"))
        return;
    const TemporaryFolder folder;
    ASSERT_EQ(
        runCommand("ffmpeg -v error -i " + footage("portrait.png") + " -f rawvideo -pix_fmt bgra " + folder.file("raw"))
            .status,
        0);
    const Bytes expected = bytesOfFile(folder.file("raw"));

    const auto picture = PictureDecoder().decodeFile(footage("portrait.png"));

    ASSERT_EQ(expected.size(), static_cast<std::size_t>(picture->width() * picture->height() * 4));
    const CVPixelBuffer::Plane& plane = picture->planes()[0];
    const std::size_t row = static_cast<std::size_t>(picture->width()) * 4;
    for (std::size_t y = 0; y < static_cast<std::size_t>(picture->height()); ++y)
        ASSERT_TRUE(std::equal(plane.data + y * plane.stride, plane.data + y * plane.stride + row,
            expected.begin() + static_cast<std::ptrdiff_t>(y * row)))
            << "row " << y;
}

TEST(PictureDecoder, ReadsProgressiveJPEG)
{
    const auto picture
        = PictureDecoder().decode(makeJPEG(quarters(), 32, 16, TJPF_RGB, TJSAMP_444, TJFLAG_PROGRESSIVE));

    EXPECT_EQ(corners(*picture), "RGBW");
}

TEST(PictureDecoder, ReadsGreyJPEGAsThreeEqualChannels)
{
    const auto picture = PictureDecoder().decode(makeJPEG(Bytes(256, 90), 16, 16, TJPF_GRAY, TJSAMP_GRAY));

    EXPECT_EQ(colourAt(*picture, 5, 9), (std::array { 90, 90, 90 }));
}

TEST(PictureDecoder, TurnsAPictureUprightByItsOrientation)
{
    const char* expected[] { "RGBW", "GRWB", "WBGR", "BWRG", "RBGW", "BRWG", "WGBR", "GWRB" };
    const Bytes plain = makeJPEG(quarters(), 32, 16, TJPF_RGB, TJSAMP_444);
    for (std::uint8_t orientation = 1; orientation <= 8; ++orientation) {
        const auto picture = PictureDecoder().decode(withOrientation(plain, orientation));

        EXPECT_EQ(corners(*picture), expected[orientation - 1]) << int { orientation };
        EXPECT_EQ(picture->width(), orientation < 5 ? 32 : 16);
        EXPECT_EQ(picture->height(), orientation < 5 ? 16 : 32);
    }
}

TEST(PictureDecoder, TakesAnOrientationThatIsNoneAsUpright)
{
    const auto picture
        = PictureDecoder().decode(withOrientation(makeJPEG(quarters(), 32, 16, TJPF_RGB, TJSAMP_444), 9));

    EXPECT_EQ(corners(*picture), "RGBW");
}

TEST(PictureDecoder, RefusesFourInksWithASentence)
{
    EXPECT_EQ(refusal(makeJPEG(Bytes(1024, 40), 16, 16, TJPF_CMYK, TJSAMP_444)),
        "The JPEG picture has four inks (CMYK), which are for print, and cannot be opened. Save it as RGB.");
}

TEST(PictureDecoder, ReadsGreyPNG)
{
    const auto picture = PictureDecoder().decode(makePNG({ 2, 1, 8, PNG_COLOR_TYPE_GRAY, { 10, 200 } }));

    EXPECT_EQ(colourAt(*picture, 0, 0), (std::array { 10, 10, 10 }));
    EXPECT_EQ(colourAt(*picture, 1, 0), (std::array { 200, 200, 200 }));
}

TEST(PictureDecoder, ReadsGreyPNGOfOneBit)
{
    const auto picture = PictureDecoder().decode(makePNG({ 2, 1, 1, PNG_COLOR_TYPE_GRAY, { 0x40 } }));

    EXPECT_EQ(colourAt(*picture, 0, 0), (std::array { 0, 0, 0 }));
    EXPECT_EQ(colourAt(*picture, 1, 0), (std::array { 255, 255, 255 }));
}

TEST(PictureDecoder, ReadsPNGWithAPalette)
{
    PNGRows rows { 2, 1, 8, PNG_COLOR_TYPE_PALETTE, { 1, 0 } };
    rows.palette = { { 1, 2, 3 }, { 40, 50, 60 } };

    const auto picture = PictureDecoder().decode(makePNG(rows));

    EXPECT_EQ(colourAt(*picture, 0, 0), (std::array { 40, 50, 60 }));
    EXPECT_EQ(colourAt(*picture, 1, 0), (std::array { 1, 2, 3 }));
}

TEST(PictureDecoder, LaysTransparentPNGOverBlack)
{
    const Bytes pixels { 200, 100, 50, 128, 9, 9, 9, 0 };
    const auto picture = PictureDecoder().decode(makePNG({ 2, 1, 8, PNG_COLOR_TYPE_RGB_ALPHA, pixels }));

    EXPECT_EQ(colourAt(*picture, 0, 0), (std::array { 100, 50, 25 }));
    EXPECT_EQ(colourAt(*picture, 1, 0), (std::array { 0, 0, 0 }));
    EXPECT_EQ(picture->planes()[0].data[3], 255);
}

TEST(PictureDecoder, ReadsPNGOf16Bits)
{
    const Bytes pixels { 0xFF, 0xFF, 0x80, 0x80, 0, 0 };
    const auto picture = PictureDecoder().decode(makePNG({ 1, 1, 16, PNG_COLOR_TYPE_RGB, pixels }));

    EXPECT_EQ(colourAt(*picture, 0, 0), (std::array { 255, 128, 0 }));
}

TEST(PictureDecoder, ReadsInterlacedPNG)
{
    PNGRows rows { 32, 16, 8, PNG_COLOR_TYPE_RGB, quarters() };
    rows.interlaced = true;

    EXPECT_EQ(corners(*PictureDecoder().decode(makePNG(rows))), "RGBW");
}

TEST(PictureDecoder, NamesAFileThatIsMissing)
{
    try {
        PictureDecoder().decodeFile("/nowhere/picture.jpg");
        FAIL() << "decoded";
    } catch (const NSError& error) {
        EXPECT_EQ(error.domain(), NSPOSIXErrorDomain);
        EXPECT_EQ(error.code(), ENOENT);
        EXPECT_EQ(error.localizedDescription(),
            "The picture /nowhere/picture.jpg cannot be opened: No such file or directory");
    }
}

TEST(PictureDecoder, RefusesAFolder)
{
    const TemporaryFolder folder;
    try {
        PictureDecoder().decodeFile(folder.path());
        FAIL() << "decoded";
    } catch (const NSError& error) {
        EXPECT_EQ(error.code(), EISDIR);
    }
}

TEST(PictureDecoder, SaysThatAnEmptyFileIsEmpty)
{
    EXPECT_EQ(refusal({}), "The picture is empty. Use another copy of the file.");
}

TEST(PictureDecoder, RefusesWhatIsNeitherJPEGNorPNG)
{
    EXPECT_EQ(refusal({ 'G', 'I', 'F', '8', '9', 'a', 0, 0 }),
        "The file is no JPEG, PNG or DNG picture. Convert it to one of them.");
}

TEST(PictureDecoder, RefusesTruncatedPictures)
{
    Bytes jpeg = makeJPEG(quarters(), 32, 16, TJPF_RGB, TJSAMP_444);
    jpeg.resize(jpeg.size() - 20);
    Bytes png = makePNG({ 32, 16, 8, PNG_COLOR_TYPE_RGB, quarters() });
    png.resize(png.size() - 20);

    EXPECT_EQ(refusal(jpeg).substr(0, 28), "The JPEG picture is damaged:");
    EXPECT_EQ(refusal(png).substr(0, 27), "The PNG picture is damaged:");
}

TEST(PictureDecoder, RefusesASizeThatNoPictureHas)
{
    Bytes png = makePNG({ 32, 16, 8, PNG_COLOR_TYPE_RGB, quarters() });
    const Bytes huge { 0x00, 0x0F, 0xFF, 0xFF, 0x00, 0x0F, 0xFF, 0xFF };
    std::copy(huge.begin(), huge.end(), png.begin() + 16);
    const auto check = crc32(crc32(0, nullptr, 0), png.data() + 12, 17);
    for (int i = 0; i < 4; ++i)
        png[static_cast<std::size_t>(29 + i)] = static_cast<std::uint8_t>(check >> (24 - 8 * i));

    EXPECT_EQ(refusal(png),
        "The picture says that it has 1048575 x 1048575 pixels, more than the 268 million that can be opened. Make it "
        "smaller, or use another copy of the file.");
}

TEST(PictureDecoder, SurvivesDamageOfEveryKind)
{
    const Bytes originals[] { withOrientation(makeJPEG(quarters(), 32, 16, TJPF_RGB, TJSAMP_420), 6),
        makeJPEG(quarters(), 32, 16, TJPF_RGB, TJSAMP_420, TJFLAG_PROGRESSIVE),
        makePNG({ 32, 16, 8, PNG_COLOR_TYPE_RGB, quarters() }) };
    std::mt19937 random(7);
    int refused = 0;
    for (const Bytes& original : originals) {
        for (std::size_t length = 0; length < original.size(); ++length)
            refused += refusal(Bytes(original.begin(), original.begin() + static_cast<std::ptrdiff_t>(length)))
                != "decoded";
        for (int round = 0; round < 2000; ++round) {
            Bytes flipped = original;
            for (int flips = 0; flips < 1 + round % 4; ++flips)
                flipped[random() % flipped.size()] ^= static_cast<std::uint8_t>(1U << random() % 8);
            refused += refusal(flipped) != "decoded";
        }
    }
    EXPECT_GT(refused, 2000);
}

}
