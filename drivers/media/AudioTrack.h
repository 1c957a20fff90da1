// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/MovieWriter.h"

#include "drivers/media/LibAV.h"

#include <functional>
#include <vector>

namespace velmora::drivers::media {

/// Encodes the sound of one movie as AAC. Microphones have clocks of their own: the sound is stretched a little, or a
/// gap filled, until it agrees with the times that its pieces carry.
class AudioTrack {
public:
    /// Receives packets in the time base of the encoder.
    using Sink = std::function<void(AVPacket&)>;

    explicit AudioTrack(const MovieSettings& settings);

    AVCodecContext& codec() { return *codec_; }
    std::string name() const { return codec_->codec->name; }

    /// `time` in seconds from the movie's start; what lies before 0 is left out.
    void encode(const CMAudioSamples& sound, double time, const Sink& sink);
    void finish(const Sink& sink);

private:
    void prepareResampler(const CMAudioSamples& sound);
    /// Without samples: what the resampler held back.
    void convert(const std::uint8_t* samples, int count);
    void encodeFrames(bool all, const Sink& sink);

    libav::Codec codec_;
    libav::Resampler resampler_;
    libav::Packet packet_ { av_packet_alloc() };
    std::int32_t channels_ = 0; ///< of the sound that comes
    int rate_ = 0;
    std::vector<std::vector<float>> waiting_; ///< for each channel, what does not fill a frame yet
    std::int64_t encoded_ = 0; ///< samples
};

}
