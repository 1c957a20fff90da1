// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/CaptureDriver.h"
#include "platform/Foundation/ArchiveValue.h"

#include <memory>

namespace velmora {

/// Makes picture files. From any thread, several at once. Throws NSError when it cannot.
///
/// Metadata is grouped as photos carry it: "{TIFF}" (Make, Model, Software, DateTime, Orientation), "{Exif}"
/// (ExposureTime, FNumber, ISOSpeedRatings, ExposureBiasValue, FocalLength, FocalLenIn35mmFilm, LensModel, Flash,
/// DateTimeOriginal, OffsetTimeOriginal, SubsecTimeOriginal, ...), and at the top Orientation, PixelWidth, PixelHeight.
/// Positions are not written here.
class VELMORA_EXPORT StillEncoder {
public:
    virtual ~StillEncoder() = default;
    /// A JPEG, 4:2:0, with EXIF and a thumbnail. `quality` from 1 to 100.
    virtual std::shared_ptr<NSData> encodeJPEG(
        const CVPixelBuffer& pixels, const ArchiveDictionary& metadata, int quality)
        = 0;
    /// A DNG with a small picture of `preview` ('420f'), when there is one.
    virtual std::shared_ptr<NSData> encodeDNG(
        const RawImage& raw, const CVPixelBuffer* preview, const ArchiveDictionary& metadata)
        = 0;

    static std::shared_ptr<StillEncoder> installed(); ///< Empty when there is none.
    static void install(std::shared_ptr<StillEncoder> encoder);
};

}
