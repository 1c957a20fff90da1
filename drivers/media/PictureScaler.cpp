// SPDX-License-Identifier: Apache-2.0
#include "drivers/media/PictureScaler.h"

extern "C" {
#include <libavutil/opt.h>
}

namespace velmora::drivers::media {

void PictureScaler::convert(
    const AVFrame& source, const Kind& from, std::uint8_t* const* planes, const int* strides, const Kind& to)
{
    if (!scaler_ || from != from_ || to != to_)
        prepare(from, to);
    libav::check(sws_scale(scaler_.get(), source.data, source.linesize, 0, source.height, planes, strides),
        "The pictures of a movie cannot be converted");
}

void PictureScaler::prepare(const Kind& from, const Kind& to)
{
    scaler_.reset(sws_alloc_context());
    SwsContext* scaler = scaler_.get();
    // The ranges must be known before the beginning: afterwards a shortcut that ignores them may have been chosen.
    for (const auto& [name, value] :
        { std::pair<const char*, int> { "srcw", from.width }, { "srch", from.height }, { "src_format", from.format },
            { "src_range", from.fullRange }, { "dstw", to.width }, { "dsth", to.height }, { "dst_format", to.format },
            { "dst_range", to.fullRange }, { "sws_flags", SWS_BILINEAR } })
        av_opt_set_int(scaler, name, value, 0);
    const int code = sws_init_context(scaler, nullptr, nullptr);
    if (code < 0) {
        scaler_.reset();
        libav::check(code, "The pictures of a movie cannot be converted");
    }
    sws_setColorspaceDetails(scaler, sws_getCoefficients(from.matrix), from.fullRange, sws_getCoefficients(to.matrix),
        to.fullRange, 0, 1 << 16, 1 << 16);
    from_ = from;
    to_ = to;
}

}
