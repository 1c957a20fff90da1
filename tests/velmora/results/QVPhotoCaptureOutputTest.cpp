// SPDX-License-Identifier: Apache-2.0
#include "velmora/results/QVPhotoCaptureOutput.h"

#include "velmora/results/QVCaptureLocationInfo.h"
#include "velmora/results/QVPhotoCapture.h"

#include "platform/CoreImage/CIImage.h"
#include "platform/Foundation/NSKeyedArchiver.h"
#include "platform/Foundation/NSURL.h"

#include <type_traits>

#include "tests/velmora/results/ProviderTest.h"

using namespace velmora;

namespace {

std::shared_ptr<NSData> bytes(const std::string& text)
{
    return make<NSData>(std::vector<std::uint8_t>(text.begin(), text.end()));
}

std::shared_ptr<QVPhotoCaptureOutput> withJpg(const std::string& text)
{
    return make<QVPhotoCaptureOutput>(nullptr, QVPhotoCaptureOutput::JpgImageData { bytes(text) });
}

std::shared_ptr<QVPhotoCaptureOutput> withRaw(const std::string& text)
{
    return make<QVPhotoCaptureOutput>(nullptr, QVPhotoCaptureOutput::RawImageData { bytes(text) });
}

std::string text(const std::shared_ptr<NSData>& data)
{
    return data ? std::string(data->bytes().begin(), data->bytes().end()) : "nil";
}

std::shared_ptr<QVPhotoCaptureOutput> roundTrip(const std::shared_ptr<QVPhotoCaptureOutput>& output)
{
    return NSKeyedUnarchiver::unarchiveObject<QVPhotoCaptureOutput>(
        NSKeyedArchiver::archivedDataWithRootObject(output)->bytes());
}

std::shared_ptr<QVCaptureLocationInfo> somewhere()
{
    return make<QVCaptureLocationInfo>(make<CLLocation>(48.8584, 2.2945));
}

/// Notes what is asked of it, and answers what it holds.
class AskedCoder : public NSCoder {
public:
    explicit AskedCoder(ArchiveDictionary values)
        : values_(std::move(values))
    {
    }
    void encodeObject(ArchiveValue value, std::string_view key) override
    {
        asked.emplace_back(key);
        values_[std::string(key)] = std::move(value);
    }
    ArchiveValue decodeObjectForKey(std::string_view key) const override
    {
        asked.emplace_back(key);
        const auto found = values_.find(std::string(key));
        return found == values_.end() ? ArchiveValue() : found->second;
    }
    using NSCoder::encodeObject;

    mutable std::vector<std::string> asked;

private:
    ArchiveDictionary values_;
};

const std::vector<std::string> keysInOrder { "jpgImageData", "dngImageData", "exifDictionary", "creationDate",
    "locationInfo", "userInfo" };

class PhotoCaptureOutput : public tests::ProviderTest { };

}

TEST(FreshOutput, WithJpgDataHasNothingElse)
{
    const auto output = withJpg("jpg");
    EXPECT_EQ(text(output->jpgImageData()), "jpg");
    EXPECT_FALSE(output->dngImageData());
    EXPECT_FALSE(output->previewImage());
    EXPECT_TRUE(output->exifDictionary().empty());
    EXPECT_FALSE(output->livePhotoMovieURL());
    EXPECT_FALSE(output->livePhotoDisplayTime());
    EXPECT_FALSE(output->creationDate());
    EXPECT_FALSE(output->locationInfo());
    EXPECT_FALSE(output->flashFired());
    EXPECT_FALSE(output->userInfo());
}

TEST(FreshOutput, WithRawDataHasNoJpgData)
{
    const auto output = withRaw("dng");
    EXPECT_FALSE(output->jpgImageData());
    EXPECT_EQ(text(output->dngImageData()), "dng");
}

TEST(FreshOutput, IsMadeBySelectorAndNeverFailsWithoutData)
{
    const auto& made = QVPhotoCaptureOutput::staticClass();
    const auto jpg = unbox<std::shared_ptr<QVPhotoCaptureOutput>>(
        made.performSelector("initWithCapture:jpgImageData:", nullptr, bytes("jpg")));
    const auto raw = unbox<std::shared_ptr<QVPhotoCaptureOutput>>(
        made.performSelector("initWithCapture:rawImageData:", nullptr, bytes("dng")));
    EXPECT_EQ(text(jpg->jpgImageData()), "jpg");
    EXPECT_EQ(text(raw->dngImageData()), "dng");
    EXPECT_FALSE(isNil(made.performSelector("initWithCapture:jpgImageData:", nullptr, nullptr)));
}

TEST(FreshOutput, DoesNotKeepItsCapture)
{
    auto capture
        = make<QVPhotoCapture>(AVCaptureDevicePositionBack, UIDeviceOrientationPortrait, UIImageOrientationRight);
    const auto output = make<QVPhotoCaptureOutput>(capture, QVPhotoCaptureOutput::JpgImageData { bytes("jpg") });
    const std::weak_ptr<QVPhotoCapture> weak = capture;
    capture = nullptr;
    EXPECT_TRUE(weak.expired());
}

TEST(ModifiedOutput, DropsTheRawDataAndKeepsEverythingElse)
{
    const auto output = withJpg("old");
    output->setDngImageData(bytes("dng"));
    output->setExifDictionary({ { "Orientation", std::int64_t { 6 } } });
    output->setLivePhotoMovieURL(NSURL::fileURLWithPath("/tmp/movie.mov"));
    output->setFlashFired(true);
    output->modify(bytes("new"));
    EXPECT_EQ(text(output->jpgImageData()), "new");
    EXPECT_FALSE(output->dngImageData());
    EXPECT_EQ(output->exifDictionary().size(), 1U);
    EXPECT_TRUE(output->livePhotoMovieURL());
    EXPECT_TRUE(output->flashFired());
}

TEST(ModifiedOutput, IsModifiedBySelectorToo)
{
    const auto output = withRaw("dng");
    output->performSelector("modifyWithJpgImageData:", bytes("new"));
    EXPECT_EQ(text(output->jpgImageData()), "new");
    EXPECT_FALSE(output->dngImageData());
}

TEST_F(PhotoCaptureOutput, FinalisingWithAProviderStampsDateAndPlace)
{
    provider->setCurrentLocation(make<CLLocation>(1.0, 2.0));
    const auto output = withJpg("jpg");
    output->finalize(make<NSDate>(100.0), provider);
    EXPECT_EQ(output->creationDate()->timeIntervalSinceReferenceDate(), 100);
    EXPECT_EQ(output->locationInfo()->location(), provider->currentLocation());
    EXPECT_TRUE(output->exifDictionary().empty());
    EXPECT_EQ(text(output->jpgImageData()), "jpg");
}

TEST_F(PhotoCaptureOutput, FinalisingWithAProviderThatHasNoLocationClearsThePlace)
{
    const auto output = withJpg("jpg");
    output->setLocationInfo(somewhere());
    output->finalize(make<NSDate>(100.0), provider);
    EXPECT_FALSE(output->locationInfo());
}

TEST_F(PhotoCaptureOutput, FinalisingWithoutAProviderKeepsThePlace)
{
    const auto output = withJpg("jpg");
    const auto place = somewhere();
    output->setLocationInfo(place);
    output->performSelector("finalizeWithDate:locationProvider:", make<NSDate>(100.0), nullptr);
    EXPECT_EQ(output->locationInfo(), place);
    EXPECT_TRUE(output->creationDate());
}

TEST(OutputFields, UserInfoIsReplacedAndMayBeNil)
{
    const auto output = withJpg("jpg");
    output->performSelector("setWithUserInfo:", ArchiveDictionary { { "album", std::string("Holiday") } });
    output->set({ { "rating", std::int64_t { 5 } } });
    ASSERT_TRUE(output->userInfo());
    EXPECT_EQ(output->userInfo()->size(), 1U);
    output->performSelector("setUserInfo:", nullptr);
    EXPECT_FALSE(output->userInfo());
}

TEST(OutputFields, AreReadAndWrittenBySelector)
{
    const auto output = withJpg("jpg");
    const auto preview = CIImage::initWithCVPixelBuffer(CVPixelBuffer::create(2, 2, kCVPixelFormatType_32BGRA));
    output->performSelector("setPreviewImage:", preview);
    output->performSelector("setFlashFired:", true);
    output->performSelector("setLivePhotoMovieURL:", NSURL::fileURLWithPath("/tmp/a.mov"));
    EXPECT_EQ(unbox<std::shared_ptr<CIImage>>(output->performSelector("previewImage")), preview);
    EXPECT_TRUE(unbox<bool>(output->performSelector("flashFired")));
    EXPECT_EQ(unbox<std::shared_ptr<NSURL>>(output->performSelector("livePhotoMovieURL"))->path(), "/tmp/a.mov");
    EXPECT_TRUE(unbox<ArchiveDictionary>(output->performSelector("exifDictionary")).empty());
}

TEST(OutputFields, TheDisplayTimeOfALivePhotoHasNoSelector)
{
    EXPECT_FALSE(withJpg("jpg")->respondsToSelector("livePhotoDisplayTime"));
    EXPECT_FALSE(withJpg("jpg")->respondsToSelector("setLivePhotoDisplayTime:"));
}

TEST(ArchivedOutput, ComesBackWithWhatIsArchived)
{
    const auto output = withJpg("jpg");
    output->setDngImageData(bytes("dng"));
    output->setExifDictionary({ { "{Exif}",
        make<NSDictionary>(ArchiveDictionary { { "FNumber", 1.8 }, { "DateTimeOriginal", make<NSDate>(5.0) } }) } });
    output->setCreationDate(make<NSDate>(100.0));
    output->setLocationInfo(somewhere());
    output->setUserInfo(ArchiveDictionary { { "album", std::string("Holiday") } });
    const auto decoded = roundTrip(output);
    ASSERT_TRUE(decoded);
    EXPECT_EQ(text(decoded->jpgImageData()), "jpg");
    EXPECT_EQ(text(decoded->dngImageData()), "dng");
    EXPECT_TRUE(
        make<NSDictionary>(decoded->exifDictionary())->isEqual(make<NSDictionary>(output->exifDictionary()).get()));
    EXPECT_EQ(decoded->creationDate()->timeIntervalSinceReferenceDate(), 100);
    EXPECT_EQ(decoded->locationInfo()->location()->coordinate().latitude, 48.8584);
    EXPECT_EQ(valueIn<std::string>(*decoded->userInfo(), "album"), "Holiday");
}

TEST(ArchivedOutput, LeavesPreviewLivePhotoAndFlashOut)
{
    const auto output = withJpg("jpg");
    output->setPreviewImage(CIImage::initWithCVPixelBuffer(CVPixelBuffer::create(2, 2, kCVPixelFormatType_32BGRA)));
    output->setLivePhotoMovieURL(NSURL::fileURLWithPath("/tmp/a.mov"));
    output->setLivePhotoDisplayTime(CMTimeMake(1, 2));
    output->setFlashFired(true);
    const auto decoded = roundTrip(output);
    ASSERT_TRUE(decoded);
    EXPECT_FALSE(decoded->previewImage());
    EXPECT_FALSE(decoded->livePhotoMovieURL());
    EXPECT_FALSE(decoded->livePhotoDisplayTime());
    EXPECT_FALSE(decoded->flashFired());
}

TEST(ArchivedOutput, WithRawDataAloneComesBack)
{
    const auto decoded = roundTrip(withRaw("dng"));
    ASSERT_TRUE(decoded);
    EXPECT_EQ(text(decoded->dngImageData()), "dng");
    EXPECT_FALSE(decoded->userInfo());
    EXPECT_FALSE(decoded->creationDate());
    EXPECT_FALSE(decoded->locationInfo());
}

TEST(ArchivedOutput, WithoutAnyImageDataIsWrittenButDoesNotDecode)
{
    const auto output = withJpg("jpg");
    output->setJpgImageData(nullptr);
    EXPECT_GT(NSKeyedArchiver::archivedDataWithRootObject(output)->length(), 0U);
    EXPECT_FALSE(roundTrip(output));
}

TEST(ArchivedOutput, IsWrittenInTheFixedOrderWithNilForWhatIsMissing)
{
    AskedCoder coder({});
    withJpg("jpg")->encodeWithCoder(coder);
    EXPECT_EQ(coder.asked, keysInOrder);
    EXPECT_TRUE(std::holds_alternative<std::monostate>(coder.decodeObjectForKey("dngImageData")));
    EXPECT_TRUE(std::holds_alternative<std::monostate>(coder.decodeObjectForKey("userInfo")));
    EXPECT_TRUE(std::holds_alternative<std::shared_ptr<NSDictionary>>(coder.decodeObjectForKey("exifDictionary")));
}

TEST(ArchivedOutput, WithoutMetadataFailsBeforeAnythingElseIsRead)
{
    const AskedCoder none({ { "jpgImageData", bytes("jpg") } });
    EXPECT_FALSE(QVPhotoCaptureOutput::initWithCoder(none));
    EXPECT_EQ(none.asked, std::vector<std::string> { "exifDictionary" });

    const AskedCoder wrong({ { "jpgImageData", bytes("jpg") }, { "exifDictionary", std::string("text") } });
    EXPECT_FALSE(QVPhotoCaptureOutput::initWithCoder(wrong));
    EXPECT_EQ(wrong.asked, std::vector<std::string> { "exifDictionary" });
}

TEST(ArchivedOutput, IsReadInTheFixedOrder)
{
    const AskedCoder coder({ { "jpgImageData", bytes("jpg") }, { "exifDictionary", make<NSDictionary>() } });
    EXPECT_TRUE(QVPhotoCaptureOutput::initWithCoder(coder));
    EXPECT_EQ(coder.asked,
        (std::vector<std::string> {
            "exifDictionary", "jpgImageData", "dngImageData", "creationDate", "locationInfo", "userInfo" }));
}

TEST(ArchivedOutput, ValuesOfAnotherTypeCountAsAbsent)
{
    const AskedCoder coder({ { "jpgImageData", std::string("jpg") }, { "dngImageData", bytes("dng") },
        { "exifDictionary", make<NSDictionary>() }, { "creationDate", 5.0 },
        { "locationInfo", std::shared_ptr<NSObject>(make<CLLocation>(1.0, 2.0)) }, { "userInfo", make<NSArray>() } });
    const auto output = QVPhotoCaptureOutput::initWithCoder(coder);
    ASSERT_TRUE(output);
    EXPECT_FALSE(output->jpgImageData());
    EXPECT_FALSE(output->creationDate());
    EXPECT_FALSE(output->locationInfo());
    EXPECT_FALSE(output->userInfo());
}

TEST(ArchivedOutput, AUserInfoThatCannotBeArchivedIsAnErrorAndNothingIsDropped)
{
    const auto output = withJpg("jpg");
    output->set({ { "view", std::shared_ptr<NSObject>(make<NSObject>()) } });
    EXPECT_THROW(NSKeyedArchiver::archivedDataWithRootObject(output), NSError);
}

TEST(PhotoCaptureOutputDeathTest, PlainInitStopsTheProcess)
{
    static_assert(!std::is_default_constructible_v<QVPhotoCaptureOutput>);
    EXPECT_DEATH(
        QVPhotoCaptureOutput::staticClass().performSelector("init"), "Velmora.QVPhotoCaptureOutput.*init\\(\\)");
}
