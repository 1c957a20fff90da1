// SPDX-License-Identifier: Apache-2.0
#include "platform/CoreMedia/CVPixelBuffer.h"

#include "platform/AVFoundation/AVMediaTypes.h"
#include "platform/CoreMedia/CMFormatDescription.h"
#include "platform/CoreMedia/CMSampleBuffer.h"
#include "platform/Foundation/NSException.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace velmora;

namespace {

constexpr std::uint32_t planar = kCVPixelFormatType_420YpCbCr8BiPlanarFullRange;

TEST(PixelBuffer, RoundsItsChromaUp)
{
    const auto buffer = CVPixelBuffer::create(5, 3, planar);

    ASSERT_EQ(buffer->planes().size(), 2U);
    EXPECT_EQ(buffer->planes()[1].width, 3);
    EXPECT_EQ(buffer->planes()[1].height, 2);
}

TEST(PixelBuffer, BeginsEveryRowOnACacheLine)
{
    const auto buffer = CVPixelBuffer::create(1921, 11, planar);

    for (const auto& plane : buffer->planes()) {
        EXPECT_EQ(plane.stride % 64, 0U);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(plane.data) % 64, 0U);
    }
    EXPECT_EQ(buffer->planes()[0].stride, 1984U);
}

TEST(PixelBuffer, HoldsEverySampleOfEveryFormat)
{
    const struct {
        std::uint32_t format;
        std::size_t bytesPerSample;
    } formats[] { { kCVPixelFormatType_32BGRA, 4 }, { kCVPixelFormatType_14Bayer_BGGR, 2 } };
    for (const auto& [format, bytes] : formats) {
        const auto buffer = CVPixelBuffer::create(33, 7, format);
        const auto& plane = buffer->planes().at(0);

        EXPECT_GE(plane.stride, 33 * bytes);
        std::memset(plane.data, 0xA5, plane.stride * static_cast<std::size_t>(plane.height)); // for the sanitizer
    }
}

TEST(PixelBuffer, RefusesSizesAndFormatsThatItDoesNotKnow)
{
    EXPECT_THROW(CVPixelBuffer::create(0, 10, planar), NSException);
    EXPECT_THROW(CVPixelBuffer::create(10, -1, planar), NSException);
    EXPECT_THROW(CVPixelBuffer::create(65537, 10, planar), NSException);
    EXPECT_THROW(CVPixelBuffer::create(10, 10, 1), NSException);
}

TEST(PixelBuffer, GivesForeignMemoryBackWithItsLastReference)
{
    auto memory = std::make_shared<std::vector<std::uint8_t>>(64 * 4);
    const std::weak_ptr<void> lent = memory;
    auto buffer = make<CVPixelBuffer>(16, 4, kCVPixelFormatType_32BGRA,
        std::vector<CVPixelBuffer::Plane> { { memory->data(), 64, 16, 4 } }, std::move(memory));

    EXPECT_FALSE(lent.expired());
    buffer.reset();
    EXPECT_TRUE(lent.expired());
}

TEST(PixelBuffer, NamesFormatsByTheirFourCharacters)
{
    EXPECT_EQ(fourCharacterCode(875704422), "420f");
    EXPECT_EQ(fourCharacterCode(1111970369), "BGRA");
    EXPECT_EQ(fourCharacterCode(32), "32");
}

TEST(SampleBuffer, IsAFrameOrSound)
{
    const auto frame = make<CMSampleBuffer>(CVPixelBuffer::create(2, 2, planar), CMTimeMake(1, 30), 7);
    const auto sound = make<CMSampleBuffer>(std::make_shared<const CMAudioSamples>(), CMTimeMake(2, 30), 8);

    EXPECT_EQ(frame->mediaType(), AVMediaTypeVideo);
    EXPECT_EQ(frame->sequence(), 7U);
    EXPECT_EQ(sound->mediaType(), AVMediaTypeAudio);
    EXPECT_EQ(sound->imageBuffer(), nullptr);
}

TEST(FormatDescription, OfNothingHasNoSize)
{
    EXPECT_EQ(CMVideoFormatDescriptionGetDimensions(nullptr), (CMVideoDimensions { 0, 0 }));
    EXPECT_EQ(CMVideoFormatDescriptionGetDimensions(make<CMFormatDescription>(CMVideoDimensions { 4032, 3024 })),
        (CMVideoDimensions { 4032, 3024 }));
}

}
