// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreMedia/CVPixelBuffer.h"
#include "platform/Foundation/NSError.h"

#include <memory>
#include <span>
#include <string>

namespace velmora {

/// Reads pictures (JPEG, PNG, DNG, the first one of a movie file) as 'BGRA', upright as the file says. From any thread.
class VELMORA_EXPORT ImageDecoder {
public:
    virtual ~ImageDecoder() = default;
    /// Throws NSError with a sentence for a person: what, why, what would do.
    virtual std::shared_ptr<CVPixelBuffer> decodeFile(const std::string& path) = 0;
    /// The same, perhaps smaller than the file, but of at least this size in pixels where the file has it: faster for a
    /// small picture of a large file.
    virtual std::shared_ptr<CVPixelBuffer> decodeFileToCover(const std::string& path, int width, int height)
    {
        (void)width, (void)height;
        return decodeFile(path);
    }
    virtual std::shared_ptr<CVPixelBuffer> decode(std::span<const std::uint8_t> data) = 0;

    static std::shared_ptr<ImageDecoder> installed(); ///< Empty when there is none.
    static void install(std::shared_ptr<ImageDecoder> decoder);
};

}
