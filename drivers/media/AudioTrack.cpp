// SPDX-License-Identifier: Apache-2.0
#include "drivers/media/AudioTrack.h"

#include <algorithm>
#include <array>
#include <cmath>

extern "C" {
#include <libavutil/opt.h>
}

namespace velmora::drivers::media {

namespace {

constexpr const char* cannotEncode = "The movie's sound cannot be encoded";
constexpr int mostChannels = 8;

}

AudioTrack::AudioTrack(const MovieSettings& settings)
{
    const AVCodec* encoder = avcodec_find_encoder_by_name("aac");
    if (!encoder)
        throw cannotWrite(std::string(cannotEncode) + ": libavcodec has no encoder for AAC.");
    codec_.reset(avcodec_alloc_context3(encoder));
    const int channels = std::clamp(settings.audioChannels, 1, 2);
    av_channel_layout_default(&codec_->ch_layout, channels);
    // The rates that the format knows; others are resampled.
    const int wanted = static_cast<int>(std::lround(settings.audioSampleRate));
    codec_->sample_rate = 48000;
    for (const int* rate = encoder->supported_samplerates; rate && *rate; ++rate)
        if (*rate == wanted)
            codec_->sample_rate = wanted;
    codec_->sample_fmt = AV_SAMPLE_FMT_FLTP;
    codec_->bit_rate = 96000 * channels;
    codec_->time_base = { 1, codec_->sample_rate };
    codec_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    libav::check(avcodec_open2(codec_.get(), encoder, nullptr), cannotEncode);
    waiting_.resize(static_cast<std::size_t>(channels));
}

void AudioTrack::prepareResampler(const CMAudioSamples& sound)
{
    const int rate = static_cast<int>(std::lround(sound.sampleRate));
    if (resampler_ && sound.channels == channels_ && rate == rate_)
        return;
    if (sound.channels < 1 || sound.channels > mostChannels || rate < 1000 || rate > 768000)
        throw cannotWrite(std::string(cannotEncode) + ": it has " + std::to_string(sound.channels) + " channels of "
            + std::to_string(rate) + " samples a second.");
    convert(nullptr, 0);
    AVChannelLayout layout {};
    av_channel_layout_default(&layout, sound.channels);
    SwrContext* resampler = nullptr;
    libav::check(swr_alloc_set_opts2(&resampler, &codec_->ch_layout, AV_SAMPLE_FMT_FLTP, codec_->sample_rate, &layout,
                     AV_SAMPLE_FMT_FLT, rate, 0, nullptr),
        cannotEncode);
    resampler_.reset(resampler);
    const auto written = encoded_ + static_cast<std::int64_t>(waiting_[0].size());
    av_opt_set(resampler, "flags", "res", 0); // stretching needs the resampler, even between equal rates
    av_opt_set_int(resampler, "first_pts", written, 0); // a late beginning is silent
    av_opt_set_double(resampler, "min_comp", 0.001, 0); // seconds that need no correction
    av_opt_set_double(resampler, "min_hard_comp", 0.08, 0); // seconds from which silence is put in, or sound cut
    av_opt_set_double(
        resampler, "max_soft_comp", 0.005, 0); // the most that sound is stretched, a twelfth of a semitone
    av_opt_set_double(resampler, "comp_duration", 1, 0); // seconds over which a difference goes away
    libav::check(swr_init(resampler), cannotEncode);
    channels_ = sound.channels;
    rate_ = rate;
}

void AudioTrack::encode(const CMAudioSamples& sound, double time, const Sink& sink)
{
    prepareResampler(sound);
    const auto channels = static_cast<std::size_t>(sound.channels);
    auto count = static_cast<std::int64_t>(sound.samples.size() / channels);
    const std::int64_t before = time < 0 ? std::min<std::int64_t>(count, std::llround(-time * rate_)) : 0;
    count -= before;
    if (count == 0)
        return;
    const double start = time + static_cast<double>(before) / rate_;
    // In units of both rates, as the resampler counts.
    const double units = static_cast<double>(rate_) * codec_->sample_rate;
    swr_next_pts(resampler_.get(), std::llround(start * units));
    const auto* first
        = reinterpret_cast<const std::uint8_t*>(sound.samples.data() + static_cast<std::size_t>(before) * channels);
    convert(first, static_cast<int>(count));
    encodeFrames(false, sink);
}

void AudioTrack::convert(const std::uint8_t* samples, int count)
{
    if (!resampler_)
        return;
    const int room = swr_get_out_samples(resampler_.get(), count);
    libav::check(room, cannotEncode);
    std::array<std::uint8_t*, 2> planes {};
    const std::size_t before = waiting_[0].size();
    for (std::size_t i = 0; i < waiting_.size(); ++i) {
        waiting_[i].resize(before + static_cast<std::size_t>(room));
        planes[i] = reinterpret_cast<std::uint8_t*>(waiting_[i].data() + before);
    }
    const int filled = swr_convert(resampler_.get(), planes.data(), room, samples ? &samples : nullptr, count);
    libav::check(filled, cannotEncode);
    for (std::vector<float>& channel : waiting_)
        channel.resize(before + static_cast<std::size_t>(filled));
}

void AudioTrack::encodeFrames(bool all, const Sink& sink)
{
    const auto size = static_cast<std::size_t>(codec_->frame_size);
    while (waiting_[0].size() >= size || (all && !waiting_[0].empty())) {
        const std::size_t count = std::min(size, waiting_[0].size());
        const libav::Frame frame(av_frame_alloc());
        frame->format = codec_->sample_fmt;
        frame->sample_rate = codec_->sample_rate;
        frame->nb_samples = static_cast<int>(count);
        av_channel_layout_copy(&frame->ch_layout, &codec_->ch_layout);
        libav::check(av_frame_get_buffer(frame.get(), 0), cannotEncode);
        for (std::size_t i = 0; i < waiting_.size(); ++i) {
            const auto end = waiting_[i].begin() + static_cast<std::ptrdiff_t>(count);
            std::transform(waiting_[i].begin(), end, reinterpret_cast<float*>(frame->data[i]),
                [](float sample) { return std::isfinite(sample) ? sample : 0; });
            waiting_[i].erase(waiting_[i].begin(), end);
        }
        frame->pts = encoded_;
        encoded_ += static_cast<std::int64_t>(count);
        libav::check(avcodec_send_frame(codec_.get(), frame.get()), cannotEncode);
        libav::drain(*codec_, *packet_, sink, cannotEncode);
    }
}

void AudioTrack::finish(const Sink& sink)
{
    if (encoded_ == 0 && waiting_[0].empty() && !resampler_)
        return;
    convert(nullptr, 0);
    encodeFrames(true, sink);
    libav::check(avcodec_send_frame(codec_.get(), nullptr), cannotEncode);
    libav::drain(*codec_, *packet_, sink, cannotEncode);
}

}
