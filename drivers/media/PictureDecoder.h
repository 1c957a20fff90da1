// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/ImageIO/ImageDecoder.h"

namespace velmora::drivers::media {

/// Reads JPEG (baseline and progressive, colour and grey), PNG (every kind; transparent parts over black), DNG (the
/// sensor's samples developed, or a finished picture in the file), and the first picture of a movie.
class VELMORA_EXPORT PictureDecoder : public ImageDecoder {
public:
    std::shared_ptr<CVPixelBuffer> decodeFile(const std::string& path) override;
    std::shared_ptr<CVPixelBuffer> decodeFileToCover(const std::string& path, int width, int height) override;
    std::shared_ptr<CVPixelBuffer> decode(std::span<const std::uint8_t> data) override;
};

}
