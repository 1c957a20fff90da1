// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "drivers/media/MediaErrors.h"

#include <memory>
#include <string>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libavutil/frame.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

namespace velmora::drivers::media::libav {

struct Free {
    void operator()(AVCodecContext* codec) const { avcodec_free_context(&codec); }
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
    void operator()(SwsContext* scaler) const { sws_freeContext(scaler); }
    void operator()(SwrContext* resampler) const { swr_free(&resampler); }
    void operator()(AVBufferRef* buffer) const { av_buffer_unref(&buffer); }
};
struct CloseInput {
    void operator()(AVFormatContext* format) const { avformat_close_input(&format); }
};
struct CloseOutput {
    void operator()(AVFormatContext* format) const
    {
        avio_closep(&format->pb);
        avformat_free_context(format);
    }
};

using Codec = std::unique_ptr<AVCodecContext, Free>;
using Frame = std::unique_ptr<AVFrame, Free>;
using Packet = std::unique_ptr<AVPacket, Free>;
using Scaler = std::unique_ptr<SwsContext, Free>;
using Resampler = std::unique_ptr<SwrContext, Free>;
using Buffer = std::unique_ptr<AVBufferRef, Free>;
using Input = std::unique_ptr<AVFormatContext, CloseInput>;
using Output = std::unique_ptr<AVFormatContext, CloseOutput>;

/// Everything that goes wrong is told by errors; the library would write it to the error output too, and statistics.
inline void silence()
{
    av_log_set_level(AV_LOG_QUIET);
}

inline std::string reason(int code)
{
    char text[AV_ERROR_MAX_STRING_SIZE] {};
    av_strerror(code, text, sizeof text);
    return text;
}

/// The error of the operating system where the library passed one on, else of the media.
inline NSError error(int code, const std::string& what)
{
    const bool ours = code == AVERROR_EOF || code == AVERROR_INVALIDDATA || -code > 4096 || code >= 0;
    return ours ? damaged(what + ": " + reason(code) + ".") : errorFromErrno(-code, what);
}

inline void check(int code, const std::string& what)
{
    if (code < 0)
        throw error(code, what);
}

/// Hands on all packets that an encoder has ready. `packet` is where they pass through.
template <class Sink> void drain(AVCodecContext& codec, AVPacket& packet, const Sink& sink, const std::string& what)
{
    while (true) {
        const int code = avcodec_receive_packet(&codec, &packet);
        if (code == AVERROR(EAGAIN) || code == AVERROR_EOF)
            return;
        check(code, what);
        sink(packet);
        av_packet_unref(&packet);
    }
}

}
