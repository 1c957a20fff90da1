// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/StillEncoder.h"

namespace velmora::drivers::media {

/// Makes JPEG and DNG files.
class VELMORA_EXPORT MediaStillEncoder : public StillEncoder {
public:
    std::shared_ptr<NSData> encodeJPEG(
        const CVPixelBuffer& pixels, const ArchiveDictionary& metadata, int quality) override;
    std::shared_ptr<NSData> encodeDNG(
        const RawImage& raw, const CVPixelBuffer* preview, const ArchiveDictionary& metadata) override;
};

}
