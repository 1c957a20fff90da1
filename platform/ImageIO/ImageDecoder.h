// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreMedia/CVPixelBuffer.h"
#include "platform/Foundation/NSError.h"

#include <memory>
#include <span>
#include <string>

namespace velmora {

/// Reads pictures (JPEG, PNG) as 'BGRA', upright as their orientation tag says. From any thread.
class VELMORA_EXPORT ImageDecoder {
public:
    virtual ~ImageDecoder() = default;
    /// Throws NSError with a sentence for a person: what, why, what would do.
    virtual std::shared_ptr<CVPixelBuffer> decodeFile(const std::string& path) = 0;
    virtual std::shared_ptr<CVPixelBuffer> decode(std::span<const std::uint8_t> data) = 0;

    static std::shared_ptr<ImageDecoder> installed(); ///< Empty when there is none.
    static void install(std::shared_ptr<ImageDecoder> decoder);
};

}
