// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "drivers/media/LibAV.h"

namespace velmora::drivers::media {

/// Converts pictures between sizes, formats, ranges and matrices; prepared once for pictures of one kind.
class PictureScaler {
public:
    struct Kind {
        AVPixelFormat format = AV_PIX_FMT_NONE;
        int width = 0, height = 0;
        bool fullRange = true;
        int matrix = SWS_CS_ITU601;
        bool operator==(const Kind&) const = default;
    };

    /// Throws NSError for kinds that cannot be converted.
    void convert(
        const AVFrame& source, const Kind& from, std::uint8_t* const* planes, const int* strides, const Kind& to);

private:
    void prepare(const Kind& from, const Kind& to);

    libav::Scaler scaler_;
    Kind from_, to_;
};

}
