// SPDX-License-Identifier: Apache-2.0
#include "drivers/media/MediaStillEncoder.h"
#include "drivers/media/PictureDecoder.h"

#include "tests/support/Pictures.h"
#include "tests/support/Require.h"
#include "tests/support/Subprocess.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <random>
#include <sstream>

namespace velmora::tests {

namespace {

using drivers::media::MediaStillEncoder;
using Bytes = std::vector<std::uint8_t>;

constexpr int width = 322, height = 200;

std::uint16_t sampleAt(int x, int y)
{
    return static_cast<std::uint16_t>(528 + (x * 37 + y * 101) % 15000);
}

RawImage rawImage()
{
    RawImage raw;
    raw.samples = CVPixelBuffer::create(width, height, kCVPixelFormatType_14Bayer_BGGR);
    const CVPixelBuffer::Plane& plane = raw.samples->planes()[0];
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const std::uint16_t sample = sampleAt(x, y);
            std::memcpy(
                plane.data + static_cast<std::size_t>(y) * plane.stride + static_cast<std::size_t>(x) * 2, &sample, 2);
        }
    raw.blackLevel = 528;
    raw.whiteLevel = 16383;
    raw.colorMatrix = { 0.8, -0.2, -0.1, -0.4, 1.2, 0.2, -0.1, 0.2, 0.6 };
    raw.asShotNeutral = { 0.5, 1, 0.625 };
    raw.baselineExposure = 0.25;
    return raw;
}

ArchiveDictionary metadata()
{
    const ArchiveDictionary image { { "Make", std::string("Velmora") }, { "Model", std::string("Test phone") },
        { "Software", std::string("1.0") }, { "DateTime", std::string("2026:01:02 03:04:05") } };
    const ArchiveDictionary photo { { "ExposureTime", 1 / 120.0 }, { "FNumber", 1.8 },
        { "ISOSpeedRatings", std::make_shared<NSArray>(std::vector<ArchiveValue> { std::int64_t { 125 } }) },
        { "ExposureBiasValue", -1 / 3.0 }, { "FocalLength", 4.25 }, { "FocalLenIn35mmFilm", std::int64_t { 26 } },
        { "LensModel", std::string("Back camera") }, { "Flash", std::int64_t { 16 } },
        { "DateTimeOriginal", std::string("2026:01:02 03:04:05") }, { "OffsetTimeOriginal", std::string("+09:00") },
        { "SubsecTimeOriginal", std::string("123") }, { "CompositeImage", std::int64_t { 1 } },
        { "LensSpecification", std::make_shared<NSArray>(std::vector<ArchiveValue> { 1.5, 6.0, 1.8, 2.5 }) } };
    return { { "Orientation", std::int64_t { 6 } }, { "{TIFF}", std::make_shared<NSDictionary>(image) },
        { "{Exif}", std::make_shared<NSDictionary>(photo) } };
}

class DNG : public testing::Test {
protected:
    std::string file(const RawImage& raw, bool withPreview)
    {
        const auto preview = as420f(*wavyPicture(1280, 960));
        const auto data = MediaStillEncoder().encodeDNG(raw, withPreview ? preview.get() : nullptr, metadata());
        return folder.write("picture.dng", data->bytes());
    }

    TemporaryFolder folder;
};

}

TEST_F(DNG, GivesARAWReaderTheSamplesAsTheyWere)
{
    if (!requireTool("libraw", "unprocessed_raw"))
        return;
    for (const bool withPreview : { true, false }) {
        const Outcome outcome = runCommand("unprocessed_raw -q " + file(rawImage(), withPreview));
        ASSERT_EQ(outcome.status, 0) << outcome.output;
        const Bytes pgm = bytesOfFile(folder.file("picture.dng.pgm"));
        constexpr std::size_t bytes = std::size_t { width } * height * 2;
        ASSERT_EQ(std::string(pgm.begin(), pgm.begin() + 10), "P5\n322 200");
        const std::uint8_t* sample = pgm.data() + pgm.size() - bytes;
        int different = 0;
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x, sample += 2)
                different += (sample[0] << 8 | sample[1]) != sampleAt(x, y);
        EXPECT_EQ(different, 0);
    }
}

TEST_F(DNG, TellsARAWDeveloperPatternAndCamera)
{
    if (!requireTool("libraw", "raw-identify"))
        return;
    const Outcome outcome = runCommand("raw-identify -v " + file(rawImage(), true));

    for (const char* line : { "Camera: Velmora Test phone", "Shutter: 1/120.0", "Aperture: f/1.8", "ISO speed: 125",
             "Filter pattern: BGGRBGGRBGGRBGGR", "Full size:    322 x 200", "black: 528" })
        EXPECT_NE(outcome.output.find(line), std::string::npos) << line << " in\n" << outcome.output;
}

TEST_F(DNG, IsDevelopedUpright)
{
    if (!requireTool("libraw", "dcraw_emu"))
        return;
    const Outcome outcome = runCommand("dcraw_emu -w -Z " + folder.file("picture.ppm") + " " + file(rawImage(), true));
    ASSERT_EQ(outcome.status, 0) << outcome.output;

    const Bytes ppm = bytesOfFile(folder.file("picture.ppm"));

    ASSERT_GT(ppm.size(), 10U);
    EXPECT_EQ(std::string(ppm.begin(), ppm.begin() + 10), "P6\n200 322");
}

TEST_F(DNG, DescribesTheSensorToExiftool)
{
    if (!requireTool("exiftool"))
        return;
    const std::string path = file(rawImage(), true);

    const Outcome outcome
        = runCommand("exiftool -s -s -n -DNGVersion -UniqueCameraModel -ColorMatrix1 -AsShotNeutral "
                     "-BaselineExposure -CalibrationIlluminant1 -SubIFD:CFAPattern2 -SubIFD:BlackLevel "
                     "-SubIFD:WhiteLevel -SubIFD:ImageWidth -SubIFD:ImageHeight -IFD0:ImageWidth "
                     "-IFD0:ImageHeight -IFD0:Orientation -ExposureTime -FNumber -ISO "
                     "-ExposureCompensation -FocalLength -LensModel -LensInfo -OffsetTimeOriginal "
                     "-CompositeImage "
            + path);

    EXPECT_EQ(outcome.output,
        "DNGVersion: 1 4 0 0\nUniqueCameraModel: Velmora Test phone\n"
        "ColorMatrix1: 0.8 -0.2 -0.1 -0.4 1.2 0.2 -0.1 0.2 0.6\nAsShotNeutral: 0.5 1 0.625\nBaselineExposure: 0.25\n"
        "CalibrationIlluminant1: 21\nCFAPattern2: 2 1 1 0\nBlackLevel: 528\nWhiteLevel: 16383\nImageWidth: 322\n"
        "ImageHeight: 200\nImageWidth: 640\nImageHeight: 480\nOrientation: 6\nExposureTime: 0.008333333333\n"
        "FNumber: 1.8\nISO: 125\nExposureCompensation: -0.3333333333\nFocalLength: 4.25\nLensModel: Back camera\n"
        "LensInfo: 1.5 6 1.8 2.5\nOffsetTimeOriginal: +09:00\nCompositeImage: 1\n");
}

TEST_F(DNG, GivesStrictReadersNothingToWarnOf)
{
    if (!requireTool("exiftool") || !requireTool("exiv2"))
        return;
    for (const bool withPreview : { true, false }) {
        const std::string path = file(rawImage(), withPreview);

        EXPECT_EQ(runCommand("exiftool -validate -warning -error -a " + path).output,
            "Validate                        : OK\n");
        EXPECT_EQ(runCommand("exiv2 -pa " + path + " 2>&1 >/dev/null").output, "");
    }
}

TEST_F(DNG, ShowsThePreviewToWhoeverReadsTheFirstPicture)
{
    if (!requireTool("python3"))
        return;
    const std::string shown = file(rawImage(), true);
    const Outcome outcome = runCommand(
        "python3 -c 'import struct,sys; d=open(sys.argv[1],\"rb\").read(); o,=struct.unpack(\"<I\",d[4:8]); "
        "n,=struct.unpack(\"<H\",d[o:o+2]); e={struct.unpack(\"<H\",d[o+2+12*i:o+4+12*i])[0]: "
        "struct.unpack(\"<I\",d[o+10+12*i:o+14+12*i])[0] for i in range(n)}; p=e[273]+3*(240*640+320); "
        "print(*d[p:p+3])' "
        + shown);

    const auto expected = colourAt(*wavyPicture(1280, 960), 641, 481);
    std::istringstream colour(outcome.output);
    for (const int channel : expected) {
        int found = -1;
        colour >> found;
        EXPECT_NEAR(found, channel, 4);
    }
}

TEST_F(DNG, CanDoWithoutMetadataAndWithoutAMeasuredSensor)
{
    if (!requireTool("libraw", "raw-identify"))
        return;
    RawImage raw = rawImage();
    raw.colorMatrix = {};
    const auto data = MediaStillEncoder().encodeDNG(raw, nullptr, {});

    const Outcome outcome = runCommand("raw-identify -v " + folder.write("plain.dng", data->bytes()));

    EXPECT_NE(outcome.output.find("Filter pattern: BGGRBGGRBGGRBGGR"), std::string::npos) << outcome.output;
}

TEST_F(DNG, RefusesWhatItCannotDescribe)
{
    const auto refused = [](const RawImage& raw) {
        try {
            MediaStillEncoder().encodeDNG(raw, nullptr, {});
        } catch (const NSError& error) {
            return error.localizedDescription();
        }
        return std::string("written");
    };
    RawImage levels = rawImage(), pattern = rawImage(), neutral = rawImage(), empty = rawImage();
    levels.blackLevel = levels.whiteLevel;
    pattern.pattern[3] = 3;
    neutral.asShotNeutral[0] = 0;
    empty.samples = nullptr;

    EXPECT_EQ(refused(levels),
        "The RAW picture cannot be written: its black level 16383 is not below its white level 16383.");
    EXPECT_NE(refused(pattern), "written");
    EXPECT_NE(refused(neutral), "written");
    EXPECT_NE(refused(empty), "written");
}

namespace {

/// What a flat surface reads through each colour, from 0 to 1; the sensor has the primaries of sRGB.
RawImage flat(double red, double green, double blue)
{
    RawImage raw = rawImage();
    raw.colorMatrix = {};
    raw.baselineExposure = 0;
    const std::array light { red, green, blue };
    const CVPixelBuffer::Plane& plane = raw.samples->planes()[0];
    for (std::size_t y = 0; y < height; ++y)
        for (std::size_t x = 0; x < width; ++x) {
            const auto sample
                = static_cast<std::uint16_t>(std::lround(528 + 15855 * light[raw.pattern[y % 2 * 2 + x % 2]]));
            std::memcpy(plane.data + y * plane.stride + 2 * x, &sample, 2);
        }
    return raw;
}

std::shared_ptr<CVPixelBuffer> developed(const RawImage& raw)
{
    return drivers::media::PictureDecoder().decode(MediaStillEncoder().encodeDNG(raw, nullptr, {})->bytes());
}

using Colour = std::array<int, 3>;

}

TEST_F(DNG, DevelopsAGreySurfaceGreyAndAsBrightAsItIs)
{
    // A quarter of full light; sRGB shows it as 137.
    const auto pixels = developed(flat(0.125, 0.25, 0.15625));
    EXPECT_EQ(pixels->width(), 322);
    EXPECT_EQ(pixels->height(), 200);
    for (const auto& [x, y] : { std::pair { 0, 0 }, { 1, 0 }, { 0, 1 }, { 161, 100 }, { 321, 199 } })
        EXPECT_EQ(colourAt(*pixels, x, y), (Colour { 137, 137, 137 })) << x << ' ' << y;
}

TEST_F(DNG, DevelopsWithTheExposureThatTheFileAsksFor)
{
    RawImage raw = flat(0.125, 0.25, 0.15625);
    raw.baselineExposure = 1;
    EXPECT_NEAR(colourAt(*developed(raw), 10, 10)[1], 188, 1); // half of full light
}

TEST_F(DNG, WhatIsFullInOneColourIsWhiteAndNotTinted)
{
    EXPECT_EQ(colourAt(*developed(flat(1, 1, 1)), 10, 10), (Colour { 255, 255, 255 }));
}

TEST_F(DNG, DevelopsColoursWhereTheyWere)
{
    EXPECT_EQ(colourAt(*developed(flat(0.5, 0, 0)), 10, 11), (Colour { 255, 0, 0 }));
    EXPECT_EQ(colourAt(*developed(flat(0, 1, 0)), 11, 10), (Colour { 0, 255, 0 }));
    EXPECT_EQ(colourAt(*developed(flat(0, 0, 0.15625)), 10, 10), (Colour { 0, 0, 137 }));
}

TEST_F(DNG, TakesTheSensorsOwnColoursToThoseOfTheScreen)
{
    // A sensor whose red lets half as much green through as red: what it sees as red and green is pure red, and green
    // alone is taken back out of it. Its matrix from XYZ is that of sRGB with half of the second row added to the
    // first.
    RawImage raw = flat(0.25, 0.25, 0);
    raw.asShotNeutral = { 1, 1, 1 };
    raw.colorMatrix = { 2.7561, -0.5993, -0.4778, -0.9689, 1.8758, 0.0415, 0.0557, -0.2040, 1.0570 };
    // Made neutral, its red is two thirds red and one third green: 0.25 = 2/3 r + 1/3 g, and g is 0.25.
    const auto colour = colourAt(*developed(raw), 10, 10);
    EXPECT_NEAR(colour[0], 137, 1);
    EXPECT_NEAR(colour[1], 137, 1);
    EXPECT_NEAR(colour[2], 0, 1);
    raw = flat(0.25, 0, 0);
    raw.asShotNeutral = { 1, 1, 1 };
    raw.colorMatrix = { 2.7561, -0.5993, -0.4778, -0.9689, 1.8758, 0.0415, 0.0557, -0.2040, 1.0570 };
    EXPECT_NEAR(colourAt(*developed(raw), 10, 10)[0], 165, 1); // 0.25 * 3 / 2
}

TEST_F(DNG, AsManyPixelsAreMadeAsAreAskedFor)
{
    drivers::media::PictureDecoder decoder;
    // Upright it is 200 by 322. There is a small picture of 640 by 480 in the one, and none in the other.
    const auto with = file(rawImage(), true);
    EXPECT_EQ(decoder.decodeFileToCover(with, 480, 640)->width(), 480);
    EXPECT_EQ(decoder.decodeFileToCover(with, 481, 640)->width(), 200);
    EXPECT_EQ(decoder.decodeFile(with)->height(), 322);
    const auto without = file(rawImage(), false);
    EXPECT_EQ(decoder.decodeFileToCover(without, 100, 161)->width(), 100);
    EXPECT_EQ(decoder.decodeFileToCover(without, 101, 161)->width(), 200);
    EXPECT_EQ(decoder.decodeFileToCover(without, 100, 162)->height(), 322);
}

TEST_F(DNG, ASmallPictureStandsForSamplesThatNobodyHereUnpacks)
{
    const auto path = file(rawImage(), true);
    Bytes bytes = bytesOfFile(path);
    const Bytes uncompressed { 0x03, 0x01, 3, 0, 1, 0, 0, 0, 1, 0 };
    std::vector<std::size_t> places;
    for (auto at = bytes.begin();
         (at = std::search(at, bytes.end(), uncompressed.begin(), uncompressed.end())) != bytes.end(); ++at)
        places.push_back(static_cast<std::size_t>(at - bytes.begin()));
    ASSERT_GE(places.size(), 2U);
    int small = 0;
    for (const std::size_t place : places) {
        Bytes changed = bytes;
        changed[place + 8] = 7; // JPEG, which of sixteen bits means a kind without loss
        const auto pixels = drivers::media::PictureDecoder().decode(changed);
        EXPECT_TRUE(pixels->width() == 480 || pixels->width() == 200) << pixels->width();
        small += pixels->width() == 480 ? 1 : 0;
    }
    EXPECT_EQ(small, 1);
}

TEST_F(DNG, WhoseSensorHasAColourThatNobodyKnowsShowsItsSmallPicture)
{
    Bytes bytes = bytesOfFile(file(flat(0.1, 0.2, 0.1), true));
    const Bytes pattern { 0x8e, 0x82, 1, 0, 4, 0, 0, 0 }; // four bytes for two by two samples
    const auto place = std::search(bytes.begin(), bytes.end(), pattern.begin(), pattern.end());
    ASSERT_NE(place, bytes.end());
    const auto whole = drivers::media::PictureDecoder().decode(bytes);
    for (const std::uint8_t colour : { 3, 249 })
        for (int at = 8; at < 12; ++at) {
            Bytes changed = bytes;
            changed[static_cast<std::size_t>(place - bytes.begin() + at)] = colour;
            EXPECT_NE(drivers::media::PictureDecoder().decode(changed)->width(), whole->width());
        }
}

TEST_F(DNG, SurvivesDamageOfEveryKind)
{
    const Bytes whole = bytesOfFile(file(flat(0.1, 0.2, 0.1), true));
    drivers::media::PictureDecoder decoder;
    std::mt19937 random(1);
    int read = 0, refused = 0;
    const auto attempt = [&](const Bytes& bytes) {
        try {
            read += decoder.decode(bytes) ? 1 : 0;
        } catch (const NSError& error) {
            refused += error.localizedDescription().empty() ? 0 : 1;
        }
    };
    for (int i = 0; i < 100; ++i) {
        Bytes changed = whole;
        // The tags stand at the end, and between the two pictures.
        for (int k = 0; k < 10; ++k)
            changed[changed.size() - 1 - random() % 2000] = static_cast<std::uint8_t>(random());
        attempt(changed);
        changed = whole;
        changed.resize(random() % whole.size());
        attempt(changed);
    }
    EXPECT_EQ(read + refused, 200);
    EXPECT_GT(refused, 20);
}

}
