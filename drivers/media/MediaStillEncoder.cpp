// SPDX-License-Identifier: Apache-2.0
#include "drivers/media/MediaStillEncoder.h"

#include "drivers/media/DNGWriter.h"
#include "drivers/media/ExifBlock.h"
#include "drivers/media/JPEGEncoder.h"

namespace velmora::drivers::media {

std::shared_ptr<NSData> MediaStillEncoder::encodeJPEG(
    const CVPixelBuffer& pixels, const ArchiveDictionary& metadata, int quality)
{
    constexpr std::int32_t thumbnailWidth = 160;
    const ExifFields fields = exifFields(metadata);
    const auto thumbnail = JPEGEncoder::encodeThumbnail(pixels, thumbnailWidth);
    const auto block = exifBlock(fields, pixels.width(), pixels.height(), thumbnail);
    return std::make_shared<NSData>(JPEGEncoder().encode(pixels, quality, block));
}

std::shared_ptr<NSData> MediaStillEncoder::encodeDNG(
    const RawImage& raw, const CVPixelBuffer* preview, const ArchiveDictionary& metadata)
{
    return std::make_shared<NSData>(writeDNG(raw, preview, exifFields(metadata)));
}

}
