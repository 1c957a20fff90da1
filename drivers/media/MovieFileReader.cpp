// SPDX-License-Identifier: Apache-2.0
#include "drivers/media/MovieFileReader.h"

#include "drivers/media/LibAV.h"
#include "drivers/media/PictureLimits.h"
#include "drivers/media/PictureScaler.h"

extern "C" {
#include <libavutil/display.h>
}

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <utility>

namespace velmora::drivers::media {

namespace {

/// One stream of a file with its decoder.
class Decoding {
public:
    Decoding(std::string path, AVMediaType type)
        : path_(std::move(path))
    {
        AVFormatContext* format = nullptr;
        check(avformat_open_input(&format, path_.c_str(), nullptr, nullptr));
        format_.reset(format);
        check(avformat_find_stream_info(format, nullptr));
        const AVCodec* decoder = nullptr;
        const int index = av_find_best_stream(format, type, -1, -1, &decoder, 0);
        if (index < 0 || !decoder)
            return;
        stream_ = format->streams[index];
        codec_.reset(avcodec_alloc_context3(decoder));
        check(avcodec_parameters_to_context(codec_.get(), stream_->codecpar));
        codec_->pkt_timebase = stream_->time_base;
        codec_->thread_count = 0;
        check(avcodec_open2(codec_.get(), decoder, nullptr));
    }

    bool found() const { return stream_ != nullptr; }
    const AVFormatContext& format() const { return *format_; }
    const AVStream& stream() const { return *stream_; }
    const AVCodecContext& codec() const { return *codec_; }

    /// Null at the end.
    AVFrame* next()
    {
        while (true) {
            const int code = avcodec_receive_frame(codec_.get(), frame_.get());
            if (code == AVERROR_EOF)
                return nullptr;
            if (code != AVERROR(EAGAIN)) {
                check(code);
                return frame_.get();
            }
            feed();
        }
    }

    void rewind()
    {
        check(avformat_seek_file(format_.get(), -1, INT64_MIN, 0, 0, AVSEEK_FLAG_BACKWARD));
        avcodec_flush_buffers(codec_.get());
    }

    void check(int code) const { libav::check(code, "The movie " + path_ + " cannot be read"); }

private:
    void feed()
    {
        while (true) {
            const int code = av_read_frame(format_.get(), packet_.get());
            if (code == AVERROR_EOF)
                return check(avcodec_send_packet(codec_.get(), nullptr));
            check(code);
            const bool ours = packet_->stream_index == stream_->index;
            const int sent = ours ? avcodec_send_packet(codec_.get(), packet_.get()) : 0;
            av_packet_unref(packet_.get());
            check(sent);
            if (ours)
                return;
        }
    }

    std::string path_;
    libav::Input format_;
    AVStream* stream_ = nullptr;
    libav::Codec codec_;
    libav::Packet packet_ { av_packet_alloc() };
    libav::Frame frame_ { av_frame_alloc() };
};

class OpenMovie : public MovieSource {
public:
    explicit OpenMovie(const std::string& path)
        : path_(path)
        , pictures_(path, AVMEDIA_TYPE_VIDEO)
    {
        if (!pictures_.found())
            throw damaged("The file " + path + " has no moving pictures. Name a movie.");
        checkPictureSize(static_cast<std::uint64_t>(std::max(0, pictures_.codec().width)),
            static_cast<std::uint64_t>(std::max(0, pictures_.codec().height)));
    }

    std::shared_ptr<CMSampleBuffer> nextFrame() override
    {
        const AVFrame* frame = pictures_.next();
        if (!frame)
            return nullptr;
        const AVRational unit = pictures_.stream().time_base;
        const std::int64_t shown = frame->best_effort_timestamp;
        if (shown != AV_NOPTS_VALUE && !start_)
            start_ = shown;
        const std::int64_t ticks = shown == AV_NOPTS_VALUE ? last_ + interval() : shown - *start_;
        last_ = ticks;
        const std::int64_t nanoseconds = av_rescale_q(ticks, unit, { 1, 1'000'000'000 });
        // In the file's own ticks where those are whole, so that no time is rounded.
        const CMTime time = unit.num == 1 ? CMTimeMake(ticks, unit.den) : CMTimeMake(nanoseconds, 1'000'000'000);
        return std::make_shared<CMSampleBuffer>(converted(*frame), time, sequence_++);
    }

    std::shared_ptr<CVPixelBuffer> firstPicture()
    {
        const AVFrame* frame = pictures_.next();
        if (!frame)
            throw damaged("The movie " + path_ + " has no picture that can be read. Use another copy of the file.");
        auto pixels = CVPixelBuffer::create(frame->width, frame->height, kCVPixelFormatType_32BGRA);
        std::uint8_t* planes[4] { pixels->planes()[0].data };
        const int strides[4] { static_cast<int>(pixels->planes()[0].stride) };
        scaler_.convert(*frame, kindOf(*frame), planes, strides, { AV_PIX_FMT_BGRA, frame->width, frame->height });
        return pixels;
    }

    /// As EXIF calls it.
    int orientation() const
    {
        const std::uint8_t* matrix = av_stream_get_side_data(&pictures_.stream(), AV_PKT_DATA_DISPLAYMATRIX, nullptr);
        if (!matrix)
            return 1;
        const double degrees
            = av_display_rotation_get(reinterpret_cast<const std::int32_t*>(matrix)); // against the clock
        switch (std::isfinite(degrees) ? (std::lround(degrees / 90) + 4) % 4 : 0) {
        case 1:
            return 8;
        case 2:
            return 3;
        case 3:
            return 6;
        default:
            return 1;
        }
    }

    void rewind() override
    {
        pictures_.rewind();
        sequence_ = 0;
        last_ = 0;
    }

    CMVideoDimensions dimensions() const override { return { pictures_.codec().width, pictures_.codec().height }; }

    double duration() const override
    {
        const AVStream& stream = pictures_.stream();
        if (stream.duration > 0)
            return static_cast<double>(stream.duration) * av_q2d(stream.time_base);
        return std::max(0.0, static_cast<double>(pictures_.format().duration) / AV_TIME_BASE);
    }

    std::shared_ptr<const CMAudioSamples> audio() override
    {
        if (!soundRead_)
            sound_ = readSound();
        soundRead_ = true;
        return sound_;
    }

private:
    std::int64_t interval() const
    {
        const AVRational rate = pictures_.stream().avg_frame_rate;
        return rate.num > 0 ? av_rescale_q(1, av_inv_q(rate), pictures_.stream().time_base) : 1;
    }

    static PictureScaler::Kind kindOf(const AVFrame& frame)
    {
        const auto format = static_cast<AVPixelFormat>(frame.format);
        const bool full = frame.color_range == AVCOL_RANGE_JPEG || format == AV_PIX_FMT_YUVJ420P
            || format == AV_PIX_FMT_YUVJ422P || format == AV_PIX_FMT_YUVJ444P;
        constexpr int highDefinition = 720; // where movies that do not say use the newer matrix
        const bool unsaid = frame.colorspace == AVCOL_SPC_UNSPECIFIED;
        const int space = unsaid ? (frame.height >= highDefinition ? SWS_CS_ITU709 : SWS_CS_ITU601) : frame.colorspace;
        return { format, frame.width, frame.height, full, space };
    }

    std::shared_ptr<CVPixelBuffer> converted(const AVFrame& frame)
    {
        auto pixels = CVPixelBuffer::create(frame.width, frame.height, kCVPixelFormatType_420YpCbCr8BiPlanarFullRange);
        std::uint8_t* planes[4] { pixels->planes()[0].data, pixels->planes()[1].data };
        const int strides[4] { static_cast<int>(pixels->planes()[0].stride),
            static_cast<int>(pixels->planes()[1].stride) };
        scaler_.convert(frame, kindOf(frame), planes, strides, { AV_PIX_FMT_NV12, frame.width, frame.height });
        return pixels;
    }

    std::shared_ptr<const CMAudioSamples> readSound() const
    {
        Decoding decoding(path_, AVMEDIA_TYPE_AUDIO);
        if (!decoding.found())
            return nullptr;
        auto sound = std::make_shared<CMAudioSamples>();
        libav::Resampler resampler;
        while (AVFrame* frame = decoding.next()) {
            if (!resampler) {
                sound->channels = frame->ch_layout.nb_channels;
                sound->sampleRate = frame->sample_rate;
                SwrContext* made = nullptr;
                decoding.check(swr_alloc_set_opts2(&made, &frame->ch_layout, AV_SAMPLE_FMT_FLT, frame->sample_rate,
                    &frame->ch_layout, static_cast<AVSampleFormat>(frame->format), frame->sample_rate, 0, nullptr));
                resampler.reset(made);
                decoding.check(swr_init(made));
            }
            if (frame->ch_layout.nb_channels != sound->channels || frame->sample_rate != std::lround(sound->sampleRate))
                break; // the track changes its form: what follows would be another sound
            const std::size_t before = sound->samples.size();
            sound->samples.resize(
                before + static_cast<std::size_t>(frame->nb_samples) * static_cast<std::size_t>(sound->channels));
            auto* to = reinterpret_cast<std::uint8_t*>(sound->samples.data() + before);
            const bool planar = av_sample_fmt_is_planar(static_cast<AVSampleFormat>(frame->format)) != 0;
            std::vector<const std::uint8_t*> from(
                frame->extended_data, frame->extended_data + (planar ? sound->channels : 1));
            decoding.check(swr_convert(resampler.get(), &to, frame->nb_samples, from.data(), frame->nb_samples));
        }
        return sound;
    }

    std::string path_;
    Decoding pictures_;
    PictureScaler scaler_;
    std::optional<std::int64_t> start_;
    std::int64_t last_ = 0;
    std::uint64_t sequence_ = 0;
    std::shared_ptr<const CMAudioSamples> sound_;
    bool soundRead_ = false;
};

}

std::shared_ptr<CVPixelBuffer> MovieFileReader::firstPicture(const std::string& path, int* orientation)
{
    libav::silence();
    OpenMovie movie(path);
    *orientation = movie.orientation();
    return movie.firstPicture();
}

std::unique_ptr<MovieSource> MovieFileReader::open(const std::string& path)
{
    libav::silence();
    return std::make_unique<OpenMovie>(path);
}

}
