// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/MovieWriter.h"

#include "drivers/media/LibAV.h"
#include "drivers/media/PictureScaler.h"

#include <functional>

namespace velmora::drivers::media {

/// Encodes the pictures of one movie, by the machine's encoder if there is one that works, else in software.
class VideoTrack {
public:
    static constexpr int timescale = 90000;
    /// Receives packets in the time base of the encoder.
    using Sink = std::function<void(AVPacket&)>;

    /// Throws NSError when no encoder takes these dimensions.
    explicit VideoTrack(const MovieSettings& settings);

    AVCodecContext& codec() { return *codec_; }
    std::string name() const { return codec_->codec->name; }

    /// `time` in ticks of the timescale, more than the one before.
    void encode(
        const CVPixelBuffer& pixels, const std::shared_ptr<const NSObject>& owner, std::int64_t time, const Sink& sink);
    void finish(const Sink& sink);

private:
    struct Choice;
    static const Choice choices[];

    bool open(const Choice& choice, const MovieSettings& settings);
    libav::Frame wrapped(const CVPixelBuffer& pixels, const std::shared_ptr<const NSObject>& owner) const;
    libav::Frame converted(const AVFrame& source);
    libav::Frame uploaded(const AVFrame& source) const;

    libav::Codec codec_;
    libav::Buffer device_;
    PictureScaler scaler_;
    libav::Packet packet_ { av_packet_alloc() };
    AVPixelFormat inputFormat_ = AV_PIX_FMT_NV12; ///< in ordinary memory
    bool fullRange_ = true;
    std::int64_t nextKey_ = 0;
};

}
