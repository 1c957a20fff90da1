// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/MovieWriter.h"
#include "platform/AVFoundation/StillEncoder.h"
#include "platform/CoreGraphics/CGImage.h"
#include "platform/Photos/PHAsset.h"
#include "platform/Photos/PHAssetCreationRequest.h"
#include "platform/Photos/PHFetchResult.h"
#include "platform/Photos/PHImageManager.h"
#include "platform/Photos/PHPhotoLibrary.h"
#include "platform/UIKit/UIImage.h"

#include "drivers/media/install.h"

#include "tests/support/Environment.h"
#include "tests/support/PhoneTest.h"
#include "tests/support/Pictures.h"
#include "tests/support/Require.h"
#include "tests/support/SteppedTest.h"
#include "tests/support/Subprocess.h"
#include "tests/support/TemporaryFolder.h"

#include <sys/stat.h>

#include <filesystem>

using namespace velmora;
using drivers::phone::ImageAnswer;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

/// What a request was answered with.
struct Answers {
    struct One {
        std::shared_ptr<UIImage> image;
        ArchiveDictionary info;
        std::string degraded() const
        {
            const auto value = valueIn<bool>(info, PHImageResultIsDegradedKey);
            return value ? (*value ? "degraded" : "final") : "unsaid";
        }
    };
    std::vector<One> all;
    std::vector<std::string> said() const
    {
        std::vector<std::string> texts;
        for (const auto& one : all)
            texts.push_back(one.degraded() + (one.image ? "" : ", nil"));
        return texts;
    }
    PHImageManager::ResultHandler handler()
    {
        return [this](const std::shared_ptr<UIImage>& image, const ArchiveDictionary& info) {
            all.push_back({ image, info });
        };
    }
};

class ImageManager : public tests::PhoneTest {
protected:
    ImageManager() { phone.addPhotos("", 1); }

    PHImageRequestID request()
    {
        const auto asset = PHAsset::fetchAssetsWithOptions(nullptr)->firstObjectAs<PHAsset>();
        return PHImageManager::defaultManager()->requestImageForAsset(
            asset, { 32, 32 }, PHImageContentModeAspectFill, nullptr, answers.handler());
    }

    Answers answers;
};

/// Real files, the real decoder, and a cache of the test's own.
class ImagesOfFiles : public tests::SteppedTest {
protected:
    ImagesOfFiles() { drivers::media::install(); }

    std::shared_ptr<PHAsset> photo(int width, int height, int orientation = 1)
    {
        ArchiveDictionary metadata { { "Orientation", std::int64_t { orientation } } };
        const auto data
            = StillEncoder::installed()->encodeJPEG(*tests::as420f(*tests::wavyPicture(width, height)), metadata, 90);
        AssetRecord record;
        record.localIdentifier = "photo";
        record.files = { folder.write("A ä.jpg", data->bytes()) };
        return make<PHAsset>(record);
    }
    std::array<int, 2> sizeOf(const Answers::One& one) const
    {
        return one.image ? std::array { one.image->cgImage()->width(), one.image->cgImage()->height() }
                         : std::array { 0, 0 };
    }
    PHImageRequestID request(const std::shared_ptr<PHAsset>& asset, CGSize size,
        PHImageContentMode mode = PHImageContentModeAspectFill,
        const std::shared_ptr<PHImageRequestOptions>& options = nullptr)
    {
        answers.all.clear();
        return PHImageManager::defaultManager()->requestImageForAsset(asset, size, mode, options, answers.handler());
    }
    std::vector<std::string> thumbnails() const
    {
        std::vector<std::string> found;
        if (std::filesystem::exists(folder.file("cache")))
            for (const auto& entry : std::filesystem::recursive_directory_iterator(folder.file("cache")))
                if (entry.is_regular_file())
                    found.push_back(entry.path().lexically_relative(folder.file("cache")).parent_path());
        return found;
    }
    std::string onlyThumbnail() const
    {
        for (const auto& entry : std::filesystem::recursive_directory_iterator(folder.file("cache")))
            if (entry.is_regular_file())
                return entry.path();
        return {};
    }

    tests::TemporaryFolder folder;
    tests::Environment cache { "XDG_CACHE_HOME", folder.file("cache") };
    Answers answers;
};

}

TEST_F(ImageManager, AnswersDegradedThenFinalAndLater)
{
    const auto identifier = request();
    EXPECT_NE(identifier, 0);
    EXPECT_THAT(answers.all, IsEmpty());
    clock.advance(1);
    EXPECT_THAT(answers.said(), ElementsAre("degraded", "final"));
    EXPECT_EQ(valueIn<std::int64_t>(answers.all[0].info, PHImageResultRequestIDKey), identifier);
}

TEST_F(ImageManager, EachRequestHasANumberOfItsOwn)
{
    const auto first = request(), second = request();
    EXPECT_NE(first, second);
    EXPECT_NE(second, 0);
}

TEST_F(ImageManager, ACancelledRequestIsNotAnswered)
{
    const auto identifier = request();
    clock.advance(0.06);
    EXPECT_THAT(answers.said(), ElementsAre("degraded"));
    PHImageManager::defaultManager()->cancelImageRequest(identifier);
    PHImageManager::defaultManager()->cancelImageRequest(12345);
    clock.advance(1);
    EXPECT_THAT(answers.said(), ElementsAre("degraded"));
}

TEST_F(ImageManager, TheStoreMayAnswerBeforeTheRequestReturnsAndSayNothingOfIt)
{
    phone.answerNextImage({ { .delay = 0 }, { .image = false, .degraded = false } });
    request();
    EXPECT_THAT(answers.said(), ElementsAre("unsaid"));
    clock.advance(1);
    EXPECT_THAT(answers.said(), ElementsAre("unsaid", "final, nil"));
}

TEST_F(ImageManager, ThePicturesOfAStoreComeInTheSizeThatWasAskedFor)
{
    request(); // 32 by 32 of 64 by 48, filled
    clock.advance(1);
    for (const auto& one : answers.all) {
        EXPECT_EQ(one.image->size().width, 43);
        EXPECT_EQ(one.image->size().height, 32);
    }
    EXPECT_EQ(answers.all.size(), 2U);
}

TEST_F(ImageManager, AVirtualPhoneShowsThePictureThatAPhotoCameWith)
{
    drivers::media::install();
    const auto data = StillEncoder::installed()->encodeJPEG(*tests::as420f(*tests::wavyPicture(96, 32)), {}, 90);
    PHPhotoLibrary::sharedPhotoLibrary()->performChangesAndWait([&] {
        PHAssetCreationRequest::creationRequestForAsset()->addResourceWithTypeData(
            PHAssetResourceTypePhoto, data, nullptr);
    });
    const auto asset = PHAsset::fetchAssetsWithOptions(nullptr)->lastObjectAs<PHAsset>();
    PHImageManager::defaultManager()->requestImageForAsset(
        asset, PHImageManagerMaximumSize, PHImageContentModeAspectFill, nullptr, answers.handler());
    clock.advance(1);
    ASSERT_EQ(answers.all.size(), 2U);
    EXPECT_EQ(answers.all.back().image->size(), CGSizeMake(96, 32));
}

TEST_F(ImageManager, WithoutAnAssetThereIsNoImage)
{
    PHImageManager::defaultManager()->requestImageForAsset(
        nullptr, { 32, 32 }, PHImageContentModeAspectFill, nullptr, answers.handler());
    clock.advance(0);
    EXPECT_THAT(answers.said(), ElementsAre("final, nil"));
    EXPECT_TRUE(answers.all[0].info.contains(PHImageErrorKey));
}

TEST_F(ImagesOfFiles, AspectFillCoversTheTargetAndAspectFitStaysWithin)
{
    const auto asset = photo(640, 480);
    request(asset, { 100, 100 });
    clock.advance(0);
    EXPECT_EQ(sizeOf(answers.all.back()), (std::array { 134, 100 }));
    request(asset, { 100, 100 }, PHImageContentModeAspectFit);
    clock.advance(0);
    EXPECT_EQ(sizeOf(answers.all.back()), (std::array { 100, 75 }));
}

TEST_F(ImagesOfFiles, APhotoIsNeverEnlargedAndCanBeAskedForWhole)
{
    const auto asset = photo(64, 48);
    request(asset, { 1000, 1000 });
    clock.advance(0);
    EXPECT_EQ(sizeOf(answers.all.back()), (std::array { 64, 48 }));
    request(asset, PHImageManagerMaximumSize);
    clock.advance(0);
    EXPECT_EQ(sizeOf(answers.all.back()), (std::array { 64, 48 }));
}

TEST_F(ImagesOfFiles, APhotoThatWasHeldUprightIsShownUpright)
{
    request(photo(640, 480, 6), { 60, 60 });
    clock.advance(0);
    EXPECT_EQ(sizeOf(answers.all.back()), (std::array { 60, 80 }));
}

TEST_F(ImagesOfFiles, TheFirstAnswerIsTheSmallPictureInTheFile)
{
    request(photo(1600, 1200), { 400, 400 });
    clock.advance(0);
    EXPECT_THAT(answers.said(), ElementsAre("degraded", "final"));
    EXPECT_LT(sizeOf(answers.all[0])[0], 400);
    EXPECT_EQ(sizeOf(answers.all[1]), (std::array { 534, 400 }));
}

TEST_F(ImagesOfFiles, HighQualityIsOneAnswerAndFastIsWhatIsAtHand)
{
    const auto asset = photo(1600, 1200);
    const auto options = make<PHImageRequestOptions>();
    options->setDeliveryMode(PHImageRequestOptionsDeliveryModeFastFormat);
    request(asset, { 400, 400 }, PHImageContentModeAspectFill, options);
    clock.advance(0);
    EXPECT_THAT(answers.said(), ElementsAre("degraded"));
    options->setDeliveryMode(PHImageRequestOptionsDeliveryModeHighQualityFormat);
    request(asset, { 400, 400 }, PHImageContentModeAspectFill, options);
    clock.advance(0);
    EXPECT_THAT(answers.said(), ElementsAre("final"));
}

TEST_F(ImagesOfFiles, ASynchronousRequestIsAnsweredBeforeItReturns)
{
    const auto options = make<PHImageRequestOptions>();
    options->setSynchronous(true);
    request(photo(640, 480), { 100, 100 }, PHImageContentModeAspectFill, options);
    EXPECT_THAT(answers.said(), ElementsAre("final"));
}

TEST_F(ImagesOfFiles, TheDesktopsCacheKeepsTheThumbnail)
{
    const auto asset = photo(1600, 1200);
    request(asset, { 100, 100 });
    clock.advance(0);
    EXPECT_THAT(thumbnails(), ElementsAre("thumbnails/large")); // 134 pixels wide
    struct stat status { };
    ASSERT_EQ(stat(onlyThumbnail().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
    request(asset, { 100, 100 });
    clock.advance(0);
    EXPECT_THAT(answers.said(), ElementsAre("final")); // from there, at once
    EXPECT_EQ(sizeOf(answers.all[0]), (std::array { 134, 100 }));
}

TEST_F(ImagesOfFiles, TheThumbnailOfASmallPhotoIsAsSmall)
{
    request(photo(100, 80), { 600, 600 });
    clock.advance(0);
    EXPECT_EQ(sizeOf(answers.all.back()), (std::array { 100, 80 }));
    EXPECT_THAT(thumbnails(), ElementsAre("thumbnails/normal"));
}

TEST_F(ImagesOfFiles, APhotoThatWasHeldUprightIsNeverShownLying)
{
    request(photo(1600, 1200, 6), { 400, 400 });
    clock.advance(0);
    ASSERT_FALSE(answers.all.empty());
    for (const auto& answer : answers.all)
        EXPECT_LT(sizeOf(answer)[0], sizeOf(answer)[1]) << answer.degraded();
}

TEST_F(ImagesOfFiles, NobodyElseLooksIntoTheCache)
{
    request(photo(1600, 1200), { 100, 100 });
    clock.advance(0);
    for (const char* name : { "cache/thumbnails", "cache/thumbnails/large" }) {
        struct stat status { };
        ASSERT_EQ(stat(folder.file(name).c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 0777U, 0700U) << name;
    }
}

TEST_F(ImagesOfFiles, AThumbnailHasNoThumbnail)
{
    request(photo(1600, 1200), { 100, 100 });
    clock.advance(0);
    AssetRecord record;
    record.files = { onlyThumbnail() };
    request(make<PHAsset>(record), { 50, 50 });
    clock.advance(0);
    EXPECT_EQ(thumbnails().size(), 1U);
}

TEST_F(ImagesOfFiles, TheWordsOfAThumbnailHaveTheirChecksums)
{
    request(photo(1600, 1200), { 100, 100 });
    clock.advance(0);
    const auto bytes = tests::bytesOfFile(onlyThumbnail());
    const std::string text(bytes.begin(), bytes.end());
    const auto at = text.find("tEXtSoftware");
    ASSERT_NE(at, std::string::npos);
    // Of "tEXtSoftware\0Velmora", as zlib's crc32 has it.
    EXPECT_EQ(text.substr(at + 4, 16), std::string("Software\0Velmora", 16));
    EXPECT_EQ(text.substr(at + 20, 4), "\x5c\x8b\x88\x4f");
}

TEST_F(ImagesOfFiles, OtherProgramsFindTheThumbnailByItsNameAndItsWords)
{
    const auto asset = photo(1600, 1200);
    request(asset, { 100, 100 });
    clock.advance(0);
    if (!tests::requireTool("python3") || !tests::requireTool("exiftool"))
        return;
    const auto script = "import hashlib, urllib.parse; print(hashlib.md5(('file://' + urllib.parse.quote('"
        + asset->files()[0] + "')).encode()).hexdigest(), end='')";
    const auto digest = tests::runCommand("python3 -c \"" + script + "\"").output;
    EXPECT_EQ(std::filesystem::path(onlyThumbnail()).filename(), digest + ".png");
    const auto words = tests::runCommand("exiftool -ThumbnailURI -ThumbnailModifyDate -a -G1 -s3 -'Thumb::URI' "
        + onlyThumbnail() + "; strings " + onlyThumbnail() + " | head -3");
    EXPECT_THAT(words.output, HasSubstr("Thumb::URI"));
}

TEST_F(ImagesOfFiles, AThumbnailOfAnOlderFileIsMadeAgain)
{
    const auto asset = photo(1600, 1200);
    request(asset, { 100, 100 });
    clock.advance(0);
    const auto made = std::filesystem::last_write_time(asset->files()[0]);
    std::filesystem::last_write_time(asset->files()[0], made + std::chrono::seconds(5));
    request(asset, { 100, 100 });
    clock.advance(0);
    EXPECT_THAT(answers.said(), ElementsAre("degraded", "final"));
}

TEST_F(ImagesOfFiles, ATooSmallThumbnailIsTheDegradedAnswer)
{
    const auto asset = photo(1600, 1200, 3); // turned: the small picture in the file is not used
    request(asset, { 80, 80 });
    clock.advance(0);
    request(asset, { 600, 600 });
    clock.advance(0);
    EXPECT_THAT(answers.said(), ElementsAre("degraded", "final"));
    EXPECT_EQ(sizeOf(answers.all[0]), (std::array { 128, 96 }));
}

TEST_F(ImagesOfFiles, AMovieShowsItsFirstPictureAndHasAThumbnail)
{
    MovieSettings settings;
    settings.dimensions = { 320, 240 };
    AssetRecord record;
    record.mediaType = PHAssetMediaTypeVideo;
    record.files = { folder.file("movie.mov") };
    const auto movie = MovieWriter::installed()->open(record.files.front(), settings);
    movie->append(CMSampleBuffer(tests::as420f(*tests::wavyPicture(320, 240)), CMTimeMake(0, 30), 0));
    movie->finish(std::nullopt);

    request(make<PHAsset>(record), { 160, 160 });
    clock.advance(1);
    EXPECT_THAT(answers.said(), ElementsAre("final"));
    EXPECT_EQ(sizeOf(answers.all.back()), (std::array { 214, 160 }));
    EXPECT_EQ(thumbnails().size(), 1U);
}

TEST_F(ImagesOfFiles, ARAWPictureAloneIsShownToo)
{
    RawImage raw;
    raw.samples = CVPixelBuffer::create(320, 240, kCVPixelFormatType_14Bayer_BGGR);
    AssetRecord record;
    record.files = { folder.write("raw.dng", StillEncoder::installed()->encodeDNG(raw, nullptr, {})->bytes()) };

    request(make<PHAsset>(record), { 160, 120 });
    clock.advance(1);
    EXPECT_THAT(answers.said(), ElementsAre("final"));
    EXPECT_EQ(sizeOf(answers.all.back()), (std::array { 160, 120 }));
}

TEST_F(ImagesOfFiles, AFileThatCannotBeShownIsNilWithTheReason)
{
    AssetRecord record;
    record.files = { folder.write("broken.jpg", std::vector<std::uint8_t> { 0xFF, 0xD8, 0xFF, 1 }) };
    request(make<PHAsset>(record), { 100, 100 });
    clock.advance(0);
    EXPECT_THAT(answers.said(), ElementsAre("final, nil"));
    EXPECT_TRUE(answers.all[0].info.contains(PHImageErrorKey));
    EXPECT_THAT(thumbnails(), IsEmpty());
}
