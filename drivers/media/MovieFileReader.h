// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/MovieWriter.h"

namespace velmora::drivers::media {

/// Reads every movie that libav does. Frames come as they are stored: a rotation that the file asks for is not applied.
class VELMORA_EXPORT MovieFileReader : public MovieReader {
public:
    /// Throws NSError for a file that is missing, damaged, or has no pictures.
    std::unique_ptr<MovieSource> open(const std::string& path) override;

    /// 'BGRA', as it is stored; `orientation` is what EXIF would call the rotation that the file asks for: 1, 3, 6, 8.
    /// Throws NSError.
    static std::shared_ptr<CVPixelBuffer> firstPicture(const std::string& path, int* orientation);
};

}
