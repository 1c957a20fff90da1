// SPDX-License-Identifier: Apache-2.0
#include "drivers/media/JPEGEncoder.h"
#include "drivers/media/MediaStillEncoder.h"
#include "drivers/media/PictureDecoder.h"

#include "tests/support/Pictures.h"
#include "tests/support/Require.h"
#include "tests/support/Subprocess.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <sstream>
#include <thread>

namespace velmora::tests {

namespace {

using drivers::media::JPEGEncoder;
using drivers::media::MediaStillEncoder;
using drivers::media::PictureDecoder;
using Bytes = std::vector<std::uint8_t>;

std::shared_ptr<NSArray> list(std::vector<ArchiveValue> values)
{
    return std::make_shared<NSArray>(std::move(values));
}

ArchiveDictionary shotMetadata()
{
    const ArchiveDictionary image { { "Make", std::string("Velmora") }, { "Model", std::string("Test phone") },
        { "Software", std::string("1.0") }, { "DateTime", std::string("2026:01:02 03:04:05") } };
    const ArchiveDictionary photo { { "ExposureTime", 1 / 120.0 }, { "FNumber", 1.8 },
        { "ISOSpeedRatings", list({ std::int64_t { 125 } }) }, { "ExposureBiasValue", -1 / 3.0 },
        { "FocalLength", 4.25 }, { "FocalLenIn35mmFilm", std::int64_t { 26 } },
        { "LensModel", std::string("Back camera 4.25mm") }, { "Flash", std::int64_t { 16 } },
        { "ExposureMode", std::int64_t { 0 } }, { "WhiteBalance", std::int64_t { 1 } },
        { "DateTimeOriginal", std::string("2026:01:02 03:04:05") }, { "OffsetTimeOriginal", std::string("+09:00") },
        { "SubsecTimeOriginal", std::string("123") }, { "UserComment", std::string("caf\xC3\xA9") },
        { "LensSpecification", list({ 1.54, 6.0, 1.8, 2.4 }) } };
    return { { "Orientation", std::int64_t { 6 } }, { "{TIFF}", std::make_shared<NSDictionary>(image) },
        { "{Exif}", std::make_shared<NSDictionary>(photo) } };
}

ArchiveDictionary exif(const std::string& key, ArchiveValue value)
{
    return { { "{Exif}", std::make_shared<NSDictionary>(ArchiveDictionary { { key, std::move(value) } }) } };
}

std::shared_ptr<NSData> encode(int width, int height, const ArchiveDictionary& metadata, int quality = 95)
{
    return MediaStillEncoder().encodeJPEG(*as420f(*wavyPicture(width, height)), metadata, quality);
}

std::string refusal(const ArchiveDictionary& metadata)
{
    try {
        encode(32, 32, metadata);
    } catch (const NSError& error) {
        return error.localizedDescription();
    }
    return "encoded";
}

std::string written(const TemporaryFolder& folder, const NSData& data)
{
    return folder.write("picture.jpg", data.bytes());
}

struct Dimensions {
    int width = 0, height = 0;
};

/// Red, green and blue rows of a JPEG as the reference decoder sees them; the decoder must be silent.
Bytes decodedByTools(const Bytes& jpeg, Dimensions& dimensions)
{
    const TemporaryFolder folder;
    const Outcome outcome
        = runCommand("djpeg -pnm -outfile " + folder.file("out.ppm") + " " + folder.write("in.jpg", jpeg));
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output, "");
    const Bytes ppm = bytesOfFile(folder.file("out.ppm"));
    std::istringstream header(std::string(ppm.begin(), ppm.begin() + std::min<std::ptrdiff_t>(40, std::ssize(ppm))));
    std::string magic;
    int most = 0;
    header >> magic >> dimensions.width >> dimensions.height >> most;
    return { ppm.begin() + header.tellg() + 1, ppm.end() };
}

}

TEST(JPEG, KeepsAPhotographWithin42Decibels)
{
    const auto source = as420f(*PictureDecoder().decodeFile(footage("field.jpg")));

    const Bytes jpeg = JPEGEncoder().encode(*source, 95, {});

    const auto back = as420f(*PictureDecoder().decode(jpeg));
    EXPECT_GE(lumaSignalToNoise(*source, *back), 42.0);
}

TEST(JPEG, OfTwoHalvesDecodesToTheSamePixelsAsOfOne)
{
    if (!requireTool("djpeg"))
        return;
    const auto source = as420f(*wavyPicture(1501, 1003));
    Dimensions one, two, three;

    const Bytes whole = decodedByTools(JPEGEncoder(1).encode(*source, 95, {}), one);

    EXPECT_EQ(decodedByTools(JPEGEncoder(2).encode(*source, 95, {}), two), whole);
    EXPECT_EQ(decodedByTools(JPEGEncoder(3).encode(*source, 95, {}), three), whole);
    EXPECT_EQ(two.width, 1501);
    EXPECT_EQ(two.height, 1003);
}

TEST(JPEG, OfTwoHalvesStaysWholeWhenAHalfHasMoreUnitsThanARestartIntervalHolds)
{
    if (!requireTool("djpeg"))
        return;
    const auto source = as420f(*wavyPicture(8000, 4400)); // 500 x 275 units; half of them are 69000
    Dimensions one, two;

    EXPECT_EQ(decodedByTools(JPEGEncoder(2).encode(*source, 90, {}), two),
        decodedByTools(JPEGEncoder(1).encode(*source, 90, {}), one));
}

TEST(JPEG, TakesEveryOddSize)
{
    if (!requireTool("djpeg"))
        return;
    for (const auto& [width, height] : { std::pair { 1, 1 }, { 2, 3 }, { 17, 33 }, { 31, 16 }, { 160, 121 } }) {
        Dimensions dimensions;
        const auto data = encode(width, height, shotMetadata());
        decodedByTools({ data->bytes().begin(), data->bytes().end() }, dimensions);

        EXPECT_EQ(dimensions.width, width);
        EXPECT_EQ(dimensions.height, height);
    }
}

TEST(JPEG, TakesLessSpaceAtLowerQuality)
{
    EXPECT_LT(encode(640, 480, {}, 50)->length(), encode(640, 480, {}, 95)->length());
}

TEST(JPEG, CarriesWhatThePhotoWasTakenWith)
{
    if (!requireTool("exiftool"))
        return;
    const TemporaryFolder folder;
    const std::string path = written(folder, *encode(640, 480, shotMetadata()));

    const Outcome outcome
        = runCommand("exiftool -s -s -n -Make -Model -Software -Orientation -ModifyDate -ExposureTime "
                     "-FNumber -ISO -ExposureCompensation -FocalLength -FocalLengthIn35mmFormat "
                     "-LensModel -Flash -ExposureMode -WhiteBalance -DateTimeOriginal "
                     "-OffsetTimeOriginal -SubSecTimeOriginal -UserComment -LensInfo -ExifImageWidth "
                     "-ExifImageHeight "
            + path);

    EXPECT_EQ(outcome.output,
        "Make: Velmora\nModel: Test phone\nSoftware: 1.0\nOrientation: 6\nModifyDate: 2026:01:02 03:04:05\n"
        "ExposureTime: 0.008333333333\nFNumber: 1.8\nISO: 125\nExposureCompensation: -0.3333333333\nFocalLength: 4.25\n"
        "FocalLengthIn35mmFormat: 26\nLensModel: Back camera 4.25mm\nFlash: 16\nExposureMode: 0\nWhiteBalance: 1\n"
        "DateTimeOriginal: 2026:01:02 03:04:05\nOffsetTimeOriginal: +09:00\nSubSecTimeOriginal: 123\n"
        "UserComment: caf\xC3\xA9\nLensInfo: 1.54 6 1.8 2.4\nExifImageWidth: 640\nExifImageHeight: 480\n");
}

TEST(JPEG, GivesAStrictReaderNothingToWarnOf)
{
    if (!requireTool("exiftool"))
        return;
    const TemporaryFolder folder;
    for (const ArchiveDictionary& metadata : { shotMetadata(), ArchiveDictionary() }) {
        const std::string path = written(folder, *encode(640, 480, metadata));

        EXPECT_EQ(runCommand("exiftool -validate -warning -error -a " + path).output,
            "Validate                        : OK\n");
    }
}

TEST(JPEG, IsReadByExiv2WithoutAWord)
{
    if (!requireTool("exiv2"))
        return;
    const TemporaryFolder folder;
    const std::string path = written(folder, *encode(640, 480, shotMetadata()));

    const Outcome outcome = runCommand("exiv2 -pa " + path + " 2>&1 >/dev/null");
    const Outcome orientation = runCommand("exiv2 -g Exif.Image.Orientation -Pkyct " + path);

    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output, "");
    EXPECT_NE(orientation.output.find(" Short "), std::string::npos) << orientation.output;
}

TEST(JPEG, HasAThumbnail160PixelsWideInTheSameShape)
{
    if (!requireTool("exiftool"))
        return;
    const TemporaryFolder folder;
    const std::string path = written(folder, *encode(1600, 1200, {}));
    ASSERT_EQ(runCommand("exiftool -b -ThumbnailImage " + path + " > " + folder.file("small.jpg")).status, 0);

    const auto small = PictureDecoder().decodeFile(folder.file("small.jpg"));
    const auto large = PictureDecoder().decodeFile(path);

    EXPECT_EQ(small->width(), 160);
    EXPECT_EQ(small->height(), 120);
    for (const auto& [x, y] : { std::pair { 20, 20 }, { 100, 30 }, { 140, 100 } })
        for (std::size_t i = 0; i < 3; ++i)
            EXPECT_NEAR(colourAt(*small, x, y)[i], colourAt(*large, x * 10 + 5, y * 10 + 5)[i], 12);
}

TEST(JPEG, IsReadUprightByItsOrientation)
{
    const auto picture = PictureDecoder().decode(encode(64, 48, shotMetadata())->bytes());

    EXPECT_EQ(picture->width(), 48);
    EXPECT_EQ(picture->height(), 64);
}

TEST(JPEG, LeavesOutGroupsAndKeysThatAreNoTags)
{
    ArchiveDictionary metadata = exif("Anything", std::string("else"));
    metadata["{MakerNotes}"] = std::int64_t { 3 };

    EXPECT_EQ(refusal(metadata), "encoded");
}

TEST(JPEG, RefusesValuesThatDoNotFitTheirTags)
{
    EXPECT_EQ(refusal(exif("FNumber", std::string("wide"))),
        "The picture's metadata cannot be written: FNumber must be a number, or a list of numbers. Correct the value "
        "or "
        "leave it out.");
    EXPECT_NE(refusal(exif("ExposureTime", std::numeric_limits<double>::quiet_NaN())), "encoded");
    EXPECT_NE(refusal(exif("ExposureTime", -1.0)), "encoded");
    EXPECT_NE(refusal(exif("Flash", std::int64_t { 65536 })), "encoded");
    EXPECT_NE(refusal(exif("LensModel", std::int64_t { 1 })), "encoded");
    EXPECT_NE(refusal(exif("DateTimeOriginal", std::string("yesterday"))), "encoded");
    EXPECT_NE(refusal(exif("OffsetTimeOriginal", std::string("JST"))), "encoded");
    EXPECT_NE(refusal({ { "Orientation", std::int64_t { 9 } } }), "encoded");
    EXPECT_NE(refusal({ { "{Exif}", std::string("none") } }), "encoded");
}

TEST(JPEG, RefusesAMakerNoteThatDoesNotFitIntoTheFile)
{
    EXPECT_NE(refusal(exif("MakerNote", std::make_shared<NSData>(Bytes(65530, 1)))).find("a JPEG holds 65533 at most"),
        std::string::npos);
}

TEST(JPEG, GivesUpTheThumbnailBeforeTheMakerNote)
{
    EXPECT_EQ(refusal(exif("MakerNote", std::make_shared<NSData>(Bytes(65000, 1)))), "encoded");
}

TEST(JPEG, RefusesOtherPixelsAndQualities)
{
    const auto picture = wavyPicture(32, 32);

    EXPECT_THROW(JPEGEncoder().encode(*picture, 95, {}), NSError);
    EXPECT_THROW(JPEGEncoder().encode(*as420f(*picture), 0, {}), NSError);
    EXPECT_THROW(JPEGEncoder().encode(*as420f(*picture), 101, {}), NSError);
}

TEST(JPEGThreads, SeveralPicturesAreEncodedAtOnce)
{
    const auto source = as420f(*wavyPicture(1280, 960));
    const Bytes expected = JPEGEncoder(2).encode(*source, 95, {});
    std::array<Bytes, 3> results;
    std::vector<std::thread> threads;
    for (Bytes& result : results)
        threads.emplace_back([&result, &source] { result = JPEGEncoder(2).encode(*source, 95, {}); });
    for (std::thread& thread : threads)
        thread.join();

    for (const Bytes& result : results)
        EXPECT_EQ(result, expected);
}

}
