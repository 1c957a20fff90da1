// SPDX-License-Identifier: Apache-2.0
// A recording against libav alone with the same settings.
#include "platform/AVFoundation/MovieWriter.h"

#include "drivers/media/install.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/opt.h>
}

namespace velmora {

namespace {

constexpr int frameCount = 60;

/// Something that moves, so that the encoder has work.
std::vector<std::shared_ptr<CMSampleBuffer>> scene(int width)
{
    const int height = width * 9 / 16 / 2 * 2;
    std::vector<std::shared_ptr<CMSampleBuffer>> frames;
    for (int number = 0; number < frameCount; ++number) {
        const auto pixels = CVPixelBuffer::create(width, height, kCVPixelFormatType_420YpCbCr8BiPlanarFullRange);
        for (const auto& plane : pixels->planes())
            for (int y = 0; y < plane.height; ++y)
                for (std::size_t x = 0; x < plane.stride; ++x)
                    plane.data[static_cast<std::size_t>(y) * plane.stride + x] = static_cast<std::uint8_t>(
                        ((x + static_cast<std::size_t>(number) * 3) ^ static_cast<std::size_t>(y)) / 2);
        frames.push_back(make<CMSampleBuffer>(pixels, CMTimeMake(number, 30), static_cast<std::uint64_t>(number)));
    }
    return frames;
}

std::string path()
{
    return std::string(P_tmpdir) + "/velmora-bench.mov";
}

void recording(benchmark::State& state)
{
    drivers::media::install();
    const auto frames = scene(static_cast<int>(state.range(0)));
    MovieSettings settings;
    settings.dimensions = { frames[0]->imageBuffer()->width(), frames[0]->imageBuffer()->height() };
    for (auto _ : state) {
        const auto file = MovieWriter::installed()->open(path(), settings);
        for (const auto& frame : frames)
            file->append(*frame);
        file->finish(std::nullopt);
    }
    std::remove(path().c_str());
    state.SetItemsProcessed(state.iterations() * frameCount);
}

AVFrame* wrapped(const CVPixelBuffer& pixels, int number)
{
    AVFrame* frame = av_frame_alloc();
    frame->format = AV_PIX_FMT_NV12;
    frame->width = pixels.width();
    frame->height = pixels.height();
    frame->pts = number;
    for (std::size_t i = 0; i < 2; ++i) {
        const auto& plane = pixels.planes()[i];
        frame->data[i] = plane.data;
        frame->linesize[i] = static_cast<int>(plane.stride);
        frame->buf[i] = av_buffer_create(
            plane.data, plane.stride * static_cast<std::size_t>(plane.height), [](void*, std::uint8_t*) {}, nullptr, 0);
    }
    return frame;
}

void writePackets(AVCodecContext* codec, AVFormatContext* format, AVPacket* packet)
{
    while (avcodec_receive_packet(codec, packet) == 0) {
        av_packet_rescale_ts(packet, codec->time_base, format->streams[0]->time_base);
        packet->stream_index = 0;
        av_interleaved_write_frame(format, packet);
    }
}

void libavAlone(benchmark::State& state)
{
    const auto frames = scene(static_cast<int>(state.range(0)));
    const AVCodec* encoder = avcodec_find_encoder_by_name("libx264");
    if (!encoder) {
        state.SkipWithError("libavcodec has no libx264 here");
        return;
    }
    for (auto _ : state) {
        AVCodecContext* codec = avcodec_alloc_context3(encoder);
        codec->width = frames[0]->imageBuffer()->width();
        codec->height = frames[0]->imageBuffer()->height();
        codec->time_base = { 1, 30 };
        codec->framerate = { 30, 1 };
        codec->gop_size = 30;
        codec->max_b_frames = 0;
        codec->pix_fmt = AV_PIX_FMT_NV12;
        codec->color_range = AVCOL_RANGE_JPEG;
        codec->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
        av_opt_set(codec->priv_data, "preset", "superfast", 0);
        av_opt_set(codec->priv_data, "tune", "zerolatency", 0);
        av_opt_set(codec->priv_data, "crf", "21", 0);
        avcodec_open2(codec, encoder, nullptr);
        AVFormatContext* format = nullptr;
        avformat_alloc_output_context2(&format, nullptr, "mov", path().c_str());
        AVStream* stream = avformat_new_stream(format, nullptr);
        avcodec_parameters_from_context(stream->codecpar, codec);
        avio_open(&format->pb, path().c_str(), AVIO_FLAG_WRITE);
        static_cast<void>(avformat_write_header(format, nullptr));
        AVPacket* packet = av_packet_alloc();
        for (int number = 0; number < frameCount; ++number) {
            AVFrame* frame = wrapped(*frames[static_cast<std::size_t>(number)]->imageBuffer(), number);
            avcodec_send_frame(codec, frame);
            av_frame_free(&frame);
            writePackets(codec, format, packet);
        }
        avcodec_send_frame(codec, nullptr);
        writePackets(codec, format, packet);
        av_write_trailer(format);
        avio_closep(&format->pb);
        av_packet_free(&packet);
        avformat_free_context(format);
        avcodec_free_context(&codec);
    }
    std::remove(path().c_str());
    state.SetItemsProcessed(state.iterations() * frameCount);
}

BENCHMARK(recording)->Arg(640)->Arg(1920)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(libavAlone)->Arg(640)->Arg(1920)->UseRealTime()->Unit(benchmark::kMillisecond);

}

}
