// SPDX-License-Identifier: Apache-2.0
#include "platform/ImageIO/ImageHeader.h"

#include "platform/AVFoundation/StillEncoder.h"
#include "platform/ImageIO/ImageMetadata.h"

#include "drivers/media/install.h"

#include "tests/support/Pictures.h"
#include "tests/support/Require.h"
#include "tests/support/Subprocess.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

using namespace velmora;

namespace {

std::shared_ptr<NSData> photo(std::int64_t orientation, const char* offset)
{
    drivers::media::install();
    ArchiveDictionary exif { { "DateTimeOriginal", std::string("2026:01:02 03:04:05") },
        { "SubsecTimeOriginal", std::string("5") } };
    if (offset)
        exif["OffsetTimeOriginal"] = std::string(offset);
    const ArchiveDictionary metadata { { "Orientation", orientation },
        { "{Exif}", std::make_shared<NSDictionary>(exif) } };
    const auto data
        = StillEncoder::installed()->encodeJPEG(*tests::as420f(*tests::wavyPicture(320, 240)), metadata, 90);
    return imageDataByAddingLocation(*data, CLLocation(-33.8688, 151.2093), nullptr);
}

}

TEST(ImageHeader, TellsSizeDateAndPlaceOfAPhoto)
{
    const auto header = imageHeaderOfData(photo(1, "+05:45")->bytes());
    EXPECT_EQ(header.kind, ImageHeader::JPEG);
    EXPECT_EQ(header.width, 320);
    EXPECT_EQ(header.height, 240);
    ASSERT_TRUE(header.date);
    EXPECT_DOUBLE_EQ(*header.date, 788995145.5); // 2026-01-01 21:19:05.5 UTC
    ASSERT_TRUE(header.place);
    EXPECT_NEAR(header.place->latitude, -33.8688, 1e-5);
    EXPECT_NEAR(header.place->longitude, 151.2093, 1e-5);
    EXPECT_GT(header.thumbnail.size, 100U);
}

TEST(ImageHeader, ATurnedPhotoIsAsItIsShown)
{
    const auto header = imageHeaderOfData(photo(6, "+00:00")->bytes());
    EXPECT_EQ(header.width, 240);
    EXPECT_EQ(header.height, 320);
}

TEST(ImageHeader, AFileTellsTheSameAsItsBytes)
{
    const tests::TemporaryFolder folder;
    const auto data = photo(6, "-01:00");
    const auto header = imageHeaderOfFile(folder.write("a.jpg", data->bytes()));
    EXPECT_EQ(header.width, 240);
    EXPECT_EQ(header.date, imageHeaderOfData(data->bytes()).date);
    EXPECT_EQ(imageHeaderOfFile(folder.file("nothing")).kind, ImageHeader::Unknown);
    EXPECT_EQ(imageHeaderOfFile(folder.path()).kind, ImageHeader::Unknown);
}

TEST(ImageHeader, NoPieceOfAFileIsTooShort)
{
    const auto data = photo(1, "+05:45");
    const auto bytes = data->bytes();
    for (std::size_t length = 0; length < bytes.size(); length += length < 2000 ? 1 : 97)
        (void)imageHeaderOfData(bytes.first(length));
    EXPECT_EQ(imageHeaderOfData(bytes.first(2)).kind, ImageHeader::Unknown);
}

TEST(ImageHeader, AMovieTellsItsSizeAndItsDuration)
{
    if (!tests::requireTool("ffmpeg"))
        return;
    const tests::TemporaryFolder folder;
    tests::runCommand("ffmpeg -loglevel error -f lavfi -i testsrc=size=64x48:rate=10:duration=2 -metadata "
                      "creation_time=2026-01-02T03:04:05Z "
        + folder.file("a.mov"));
    const auto header = imageHeaderOfFile(folder.file("a.mov"));
    EXPECT_EQ(header.kind, ImageHeader::Movie);
    EXPECT_EQ(header.width, 64);
    EXPECT_EQ(header.height, 48);
    EXPECT_DOUBLE_EQ(header.duration, 2);
    EXPECT_EQ(header.date, 789015845);
}

TEST(ImageHeader, TheFirstBytesTellTheEnding)
{
    const std::vector<std::uint8_t> jpeg { 0xFF, 0xD8, 0xFF }, png { 0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n' },
        dng { 'I', 'I', 42, 0 }, movie { 0, 0, 0, 20, 'f', 't', 'y', 'p' }, text { 'h', 'e', 'l', 'l', 'o' };
    EXPECT_EQ(fileEndingFor(jpeg), ".jpg");
    EXPECT_EQ(fileEndingFor(png), ".png");
    EXPECT_EQ(fileEndingFor(dng), ".dng");
    EXPECT_EQ(fileEndingFor(movie), ".mov");
    EXPECT_EQ(fileEndingFor(text), "");
}
