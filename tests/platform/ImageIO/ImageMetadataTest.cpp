// SPDX-License-Identifier: Apache-2.0
#include "platform/ImageIO/ImageMetadata.h"

#include "platform/Foundation/NSError.h"

#include "drivers/media/MediaStillEncoder.h"

#include "tests/support/Pictures.h"
#include "tests/support/Require.h"
#include "tests/support/Subprocess.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>
#include <sstream>

namespace velmora::tests {

namespace {

using drivers::media::MediaStillEncoder;
using Bytes = std::vector<std::uint8_t>;

constexpr double moment = 789015845.25; // 2026-01-02 03:04:05.25 UTC

CLLocation kyoto()
{
    return CLLocation({ { 35.0116321, 135.7681234 }, 51.5, 4.5, 3, 271.5, 2.5, moment });
}

std::shared_ptr<CLPlacemark> names(const std::string& town)
{
    CLPlacemark::Names result;
    result.locality = town;
    result.subLocality = "Nakagy\xC5\x8D";
    result.administrativeArea = "Ky\xC5\x8Dto";
    result.country = "Japan";
    result.isoCountryCode = "JP";
    return std::make_shared<CLPlacemark>(result);
}

std::shared_ptr<NSData> jpeg()
{
    const ArchiveDictionary image { { "Make", std::string("Velmora") }, { "Model", std::string("Test phone") } };
    const ArchiveDictionary photo { { "FNumber", 1.8 }, { "LensModel", std::string("Back camera") } };
    return MediaStillEncoder().encodeJPEG(*as420f(*wavyPicture(320, 240)),
        { { "Orientation", std::int64_t { 6 } }, { "{TIFF}", std::make_shared<NSDictionary>(image) },
            { "{Exif}", std::make_shared<NSDictionary>(photo) } },
        90);
}

std::shared_ptr<NSData> dng()
{
    RawImage raw;
    raw.samples = CVPixelBuffer::create(64, 48, kCVPixelFormatType_14Bayer_BGGR);
    const CVPixelBuffer::Plane& plane = raw.samples->planes()[0];
    for (std::size_t i = 0; i < plane.stride * 48; ++i)
        plane.data[i] = static_cast<std::uint8_t>(i % 61);
    const auto preview = as420f(*wavyPicture(320, 240));
    return MediaStillEncoder().encodeDNG(raw, preview.get(), {});
}

/// A plain JPEG: only what a decoder needs.
std::shared_ptr<NSData> bareJPEG()
{
    const auto picture = jpeg();
    Bytes bytes { picture->bytes().begin(), picture->bytes().end() };
    const std::size_t length = static_cast<std::size_t>(bytes[4]) << 8 | bytes[5];
    bytes.erase(bytes.begin() + 2, bytes.begin() + 4 + static_cast<std::ptrdiff_t>(length));
    return std::make_shared<NSData>(bytes);
}

class ImageMetadata : public testing::Test {
protected:
    std::string written(const NSData& data, const std::string& name = "picture.jpg")
    {
        return folder.write(name, data.bytes());
    }
    std::string read(const std::string& path, const std::string& tags)
    {
        return runCommand("exiftool -s -s -n -a " + tags + " " + path).output;
    }

    TemporaryFolder folder;
};

}

TEST_F(ImageMetadata, PutsThePositionIntoEXIF)
{
    if (!requireTool("exiftool"))
        return;
    const std::string path = written(*imageDataByAddingLocation(*jpeg(), kyoto(), nullptr));

    EXPECT_EQ(read(path,
                  "-GPS:GPSLatitudeRef -GPS:GPSLongitudeRef -GPS:GPSAltitude -GPS:GPSAltitudeRef -GPS:GPSTrack "
                  "-GPS:GPSSpeed -GPS:GPSHPositioningError -GPS:GPSDateStamp -GPS:GPSTimeStamp -GPS:GPSVersionID"),
        "GPSLatitudeRef: N\nGPSLongitudeRef: E\nGPSAltitude: 51.5\nGPSAltitudeRef: 0\nGPSTrack: 271.5\nGPSSpeed: 9\n"
        "GPSHPositioningError: 4.5\nGPSDateStamp: 2026:01:02\nGPSTimeStamp: 03:04:05.25\nGPSVersionID: 2 3 0 0\n");
}

TEST_F(ImageMetadata, IsExactInAllHemispheres)
{
    if (!requireTool("exiftool"))
        return;
    for (const auto& [latitude, longitude] : { std::pair { 35.0116321, 135.7681234 }, { -33.8567844, 151.2152967 },
             { 40.6892494, -74.0445004 }, { -54.8019121, -68.3029511 }, { 0.0000004, 179.9999999 }, { -90.0, -180.0 } })
        for (const bool raw : { false, true }) {
            const CLLocation location({ { latitude, longitude }, 0, 5, -1, -1, -1, moment });
            const std::string path = written(*imageDataByAddingLocation(raw ? *dng() : *jpeg(), location, nullptr));

            std::istringstream found(runCommand("exiftool -s3 -n -Composite:GPSLatitude -Composite:GPSLongitude "
                                                "-XMP:GPSLatitude -XMP:GPSLongitude "
                + path)
                                         .output);
            for (const double expected : { latitude, longitude, latitude, longitude }) {
                double value = 1000;
                found >> value;
                EXPECT_NEAR(value, expected, 1e-7);
            }
        }
}

TEST_F(ImageMetadata, NamesThePlaceInXMPAndIPTC)
{
    if (!requireTool("exiftool"))
        return;
    const std::string path = written(*imageDataByAddingLocation(*jpeg(), kyoto(), names("Kyoto").get()));

    EXPECT_EQ(read(path, "-XMP:City -XMP:State -XMP:Country -XMP:Location -XMP:CountryCode"),
        "City: Kyoto\nState: Ky\xC5\x8Dto\nCountry: Japan\nLocation: Nakagy\xC5\x8D\nCountryCode: JP\n");
    EXPECT_EQ(read(path,
                  "-IPTC:City -IPTC:Sub-location -IPTC:Province-State -IPTC:Country-PrimaryLocationCode "
                  "-IPTC:Country-PrimaryLocationName"),
        "City: Kyoto\nSub-location: Nakagy\xC5\x8D\nProvince-State: Ky\xC5\x8Dto\nCountry-PrimaryLocationCode: JPN\n"
        "Country-PrimaryLocationName: Japan\n");
}

TEST_F(ImageMetadata, GivesStrictReadersNothingToWarnOf)
{
    if (!requireTool("exiftool") || !requireTool("exiv2"))
        return;
    const std::pair<std::shared_ptr<NSData>, const char*> pictures[] { { jpeg(), "a.jpg" }, { bareJPEG(), "b.jpg" },
        { dng(), "c.dng" } };
    for (const auto& [picture, name] : pictures) {
        const std::string path = written(*imageDataByAddingLocation(*picture, kyoto(), names("Kyoto").get()), name);

        EXPECT_EQ(runCommand("exiftool -validate -warning -error -a " + path).output,
            "Validate                        : OK\n")
            << name;
        EXPECT_EQ(runCommand("exiv2 -pa " + path + " 2>&1 >/dev/null").output, "") << name;
    }
}

TEST_F(ImageMetadata, KeepsWhatWasThere)
{
    if (!requireTool("exiftool"))
        return;
    const auto before = jpeg();
    const auto after = imageDataByAddingLocation(*before, kyoto(), names("Kyoto").get());
    const std::string path = written(*after);

    EXPECT_EQ(read(path, "-Make -Model -Orientation -FNumber -LensModel"),
        "Make: Velmora\nModel: Test phone\nOrientation: 6\nFNumber: 1.8\nLensModel: Back camera\n");
    EXPECT_NE(read(path, "-ThumbnailLength"), "");
    const auto tail = before->bytes().last(before->length() / 2);
    EXPECT_TRUE(std::equal(tail.begin(), tail.end(), after->bytes().last(tail.size()).begin()));
}

TEST_F(ImageMetadata, KeepsOtherXMPAndIPTC)
{
    if (!requireTool("exiftool"))
        return;
    const std::string path = written(*jpeg());
    ASSERT_EQ(runCommand("exiftool -q -overwrite_original -XMP-dc:Title=Hello -IPTC:Keywords=gr\xC3\xBCn "
                         "-IPTC:Caption-Abstract=Words -codedcharacterset= "
                  + path)
                  .status,
        0);

    const auto added = imageDataByAddingLocation(NSData(bytesOfFile(path)), kyoto(), names("Kyoto").get());
    const std::string result = written(*added, "after.jpg");

    EXPECT_EQ(read(result, "-XMP:Title -IPTC:Keywords -IPTC:Caption-Abstract -IPTC:City"),
        "Title: Hello\nKeywords: gr\xC3\xBCn\nCaption-Abstract: Words\nCity: Kyoto\n");
    EXPECT_EQ(
        runCommand("exiftool -validate -warning -error -a " + result).output, "Validate                        : OK\n");
}

TEST_F(ImageMetadata, ReplacesAnOlderPlace)
{
    if (!requireTool("exiftool"))
        return;
    for (const bool raw : { false, true }) {
        const auto first = imageDataByAddingLocation(raw ? *dng() : *jpeg(), kyoto(), names("Kyoto").get());
        const CLLocation elsewhere({ { -33.5, -70.25 }, 0, 5, -1, -1, -1, moment });
        const std::string path = written(*imageDataByAddingLocation(*first, elsewhere, nullptr));

        EXPECT_EQ(read(path,
                      "-GPS:GPSLatitude -GPS:GPSLatitudeRef -GPS:GPSLongitude -GPS:GPSAltitude -GPS:GPSTrack "
                      "-XMP:GPSAltitude -XMP:City -IPTC:City -XMP:CountryCode"),
            "GPSLatitude: 33.5\nGPSLatitudeRef: S\nGPSLongitude: 70.25\n");
    }
}

TEST_F(ImageMetadata, DoesNotGrowEachTimeThePlaceIsSet)
{
    for (const auto& picture : { jpeg(), dng() }) {
        auto data = imageDataByAddingLocation(*picture, kyoto(), names("Kyoto").get());
        const std::size_t once = data->length();
        for (int i = 0; i < 20; ++i)
            data = imageDataByAddingLocation(*data, kyoto(), names("Kyoto").get());

        EXPECT_EQ(data->length(), once);
    }
}

TEST_F(ImageMetadata, LeavesTheSamplesOfADNGWhereTheyAre)
{
    const auto before = dng();
    const auto after = imageDataByAddingLocation(*before, kyoto(), names("Kyoto").get());

    // The first eight bytes say where the first directory is; nothing else that was there changes.
    EXPECT_TRUE(std::equal(before->bytes().begin() + 8, before->bytes().end(), after->bytes().begin() + 8));
    if (!requireTool("libraw", "unprocessed_raw"))
        return;
    runCommand("unprocessed_raw -q " + written(*before, "before.dng"));
    runCommand("unprocessed_raw -q " + written(*after, "after.dng"));
    const Bytes samples = bytesOfFile(folder.file("before.dng.pgm"));
    EXPECT_GT(samples.size(), 6000U);
    EXPECT_EQ(bytesOfFile(folder.file("after.dng.pgm")), samples);
}

TEST_F(ImageMetadata, CutsLongNamesBetweenCharacters)
{
    if (!requireTool("exiftool"))
        return;
    const auto place = names("abcdefghijklmnopqrstuvwxyzabcde\xC5\x8Dxyz");
    const std::string path = written(*imageDataByAddingLocation(*jpeg(), kyoto(), place.get()));

    EXPECT_EQ(read(path, "-IPTC:City"), "City: abcdefghijklmnopqrstuvwxyzabcde\n");
}

TEST_F(ImageMetadata, RefusesWhatIsNoPictureAndNoPlace)
{
    const auto refused = [](const NSData& data, const CLLocation& location) {
        try {
            imageDataByAddingLocation(data, location, nullptr);
        } catch (const NSError& error) {
            return error.localizedDescription();
        }
        return std::string("added");
    };

    EXPECT_EQ(refused(NSData({ 1, 2, 3, 4, 5, 6, 7, 8, 9 }), kyoto()),
        "The place cannot be added to the picture: it is neither a JPEG nor a DNG. Convert it to one of the two.");
    EXPECT_NE(refused(NSData({}), kyoto()), "added");
    EXPECT_NE(refused(*jpeg(), CLLocation(91, 0)), "added");
    EXPECT_NE(refused(*jpeg(), CLLocation(0, -180.1)), "added");
    EXPECT_NE(refused(*jpeg(), CLLocation(std::numeric_limits<double>::quiet_NaN(), 0)), "added");
}

TEST_F(ImageMetadata, SurvivesDamageOfEveryKind)
{
    std::mt19937 random(11);
    const auto placed = imageDataByAddingLocation(*jpeg(), kyoto(), names("Kyoto").get());
    const auto placedRaw = imageDataByAddingLocation(*dng(), kyoto(), names("Kyoto").get());
    int refused = 0, added = 0;
    for (const auto& picture : { placed, placedRaw })
        for (int round = 0; round < 1500; ++round) {
            Bytes bytes { picture->bytes().begin(), picture->bytes().end() };
            const std::size_t region = round % 2 ? bytes.size() : std::min<std::size_t>(bytes.size(), 2000);
            for (int flips = 0; flips < 1 + round % 6; ++flips)
                bytes[random() % region] ^= static_cast<std::uint8_t>(1U << random() % 8);
            if (round % 5 == 0)
                bytes.resize(random() % bytes.size());
            try {
                imageDataByAddingLocation(NSData(bytes), kyoto(), nullptr);
                ++added;
            } catch (const NSError&) {
                ++refused;
            }
        }
    EXPECT_GT(refused, 100);
    EXPECT_GT(added, 100);
}

}
