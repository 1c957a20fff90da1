// SPDX-License-Identifier: Apache-2.0
#include "drivers/media/VideoTrack.h"

#include <cmath>
#include <utility>

extern "C" {
#include <libavutil/hwcontext.h>
#include <libavutil/opt.h>
}

namespace velmora::drivers::media {

namespace {

constexpr const char* cannotEncode = "The movie's pictures cannot be encoded";

AVPixelFormat formatOf(const CVPixelBuffer& pixels)
{
    switch (pixels.pixelFormat()) {
    case kCVPixelFormatType_420YpCbCr8BiPlanarFullRange:
    case kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange:
        return AV_PIX_FMT_NV12;
    case kCVPixelFormatType_32BGRA:
        return AV_PIX_FMT_BGRA;
    default:
        throw cannotWrite("A movie is made of '420f', '420v' or 'BGRA' pixels and these are '"
            + fourCharacterCode(pixels.pixelFormat()) + "'. Convert them first.");
    }
}

}

/// An encoder that the library may know. `fullRange`: it tells the player that black is 0 and white 255.
struct VideoTrack::Choice {
    const char* name;
    AVPixelFormat input;
    bool fullRange;
    AVHWDeviceType device;
};

// What phones and boards have, then desktops, then software.
const VideoTrack::Choice VideoTrack::choices[] {
    { "h264_v4l2m2m", AV_PIX_FMT_NV12, false, AV_HWDEVICE_TYPE_NONE },
    { "h264_vaapi", AV_PIX_FMT_NV12, true, AV_HWDEVICE_TYPE_VAAPI },
    { "h264_nvenc", AV_PIX_FMT_NV12, true, AV_HWDEVICE_TYPE_NONE },
    { "libx264", AV_PIX_FMT_NV12, true, AV_HWDEVICE_TYPE_NONE },
    { "libopenh264", AV_PIX_FMT_YUV420P, false, AV_HWDEVICE_TYPE_NONE },
    { "mpeg4", AV_PIX_FMT_YUV420P, false, AV_HWDEVICE_TYPE_NONE },
};

VideoTrack::VideoTrack(const MovieSettings& settings)
{
    if (settings.dimensions.width < 2 || settings.dimensions.height < 2 || settings.dimensions.width > 16384
        || settings.dimensions.height > 16384)
        throw cannotWrite("A movie has 2 to 16384 pixels each way and this one would have "
            + std::to_string(settings.dimensions.width) + " x " + std::to_string(settings.dimensions.height) + ".");
    bool opened = false;
    for (const Choice& choice : choices)
        if (open(choice, settings)) {
            opened = true;
            break;
        }
    if (!opened)
        throw cannotWrite(std::string(cannotEncode)
            + " at this size: libavcodec has no encoder for H.264 or MPEG-4 that "
              "takes it. Install libx264.");
}

bool VideoTrack::open(const Choice& choice, const MovieSettings& settings)
{
    const AVCodec* encoder = avcodec_find_encoder_by_name(choice.name);
    if (!encoder)
        return false;
    codec_.reset(avcodec_alloc_context3(encoder));
    codec_->width = settings.dimensions.width & ~1; // chroma goes by pairs: an odd last column is left out
    codec_->height = settings.dimensions.height & ~1;
    codec_->time_base = { 1, timescale };
    const double rate = std::isfinite(settings.frameRate) && settings.frameRate > 0 ? settings.frameRate : 30;
    codec_->framerate = av_d2q(rate, 1000);
    codec_->gop_size = std::max(1, static_cast<int>(rate));
    codec_->max_b_frames = 0;
    codec_->pix_fmt = choice.input;
    codec_->color_range = choice.fullRange ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
    codec_->colorspace = AVCOL_SPC_SMPTE170M;
    codec_->color_primaries = AVCOL_PRI_BT709;
    codec_->color_trc = AVCOL_TRC_BT709;
    codec_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    constexpr double bitsPerPixel = 0.2;
    codec_->bit_rate = static_cast<std::int64_t>(bitsPerPixel * codec_->width * codec_->height * rate);
    if (std::string(choice.name) == "libx264") {
        codec_->bit_rate = 0;
        av_opt_set(codec_->priv_data, "preset", "superfast", 0);
        av_opt_set(codec_->priv_data, "tune", "zerolatency", 0);
        av_opt_set(codec_->priv_data, "crf", "21", 0);
    }
    if (choice.device != AV_HWDEVICE_TYPE_NONE) {
        AVBufferRef* device = nullptr;
        if (av_hwdevice_ctx_create(&device, choice.device, nullptr, nullptr, 0) < 0)
            return false;
        device_.reset(device);
        AVBufferRef* frames = av_hwframe_ctx_alloc(device);
        auto& description = *reinterpret_cast<AVHWFramesContext*>(frames->data);
        description.format = codec_->pix_fmt = AV_PIX_FMT_VAAPI;
        description.sw_format = choice.input;
        description.width = codec_->width;
        description.height = codec_->height;
        description.initial_pool_size = 16;
        codec_->hw_frames_ctx = frames; // freed with the codec
        if (av_hwframe_ctx_init(frames) < 0)
            return false;
    }
    av_opt_set_int(codec_->priv_data, "forced-idr", 1, 0); // not every encoder knows it; those that do need it
    if (avcodec_open2(codec_.get(), encoder, nullptr) < 0)
        return false;
    inputFormat_ = choice.input;
    fullRange_ = choice.fullRange;
    return true;
}

void VideoTrack::encode(
    const CVPixelBuffer& pixels, const std::shared_ptr<const NSObject>& owner, std::int64_t time, const Sink& sink)
{
    libav::Frame frame = wrapped(pixels, owner);
    const bool ready = frame->format == inputFormat_ && frame->width == codec_->width && frame->height == codec_->height
        && fullRange_ == (frame->color_range == AVCOL_RANGE_JPEG);
    if (!ready)
        frame = converted(*frame);
    if (codec_->hw_frames_ctx)
        frame = uploaded(*frame);
    frame->pts = time;
    // By time, not by count: a camera in the dark delivers fewer frames than were expected.
    frame->pict_type = AV_PICTURE_TYPE_NONE;
    if (time >= nextKey_) {
        frame->pict_type = AV_PICTURE_TYPE_I;
        const auto interval = static_cast<std::int64_t>(timescale / av_q2d(codec_->framerate));
        nextKey_ = time + timescale - interval / 2; // the frame nearest to the second's end is the next key
    }
    libav::check(avcodec_send_frame(codec_.get(), frame.get()), cannotEncode);
    libav::drain(*codec_, *packet_, sink, cannotEncode);
}

void VideoTrack::finish(const Sink& sink)
{
    libav::check(avcodec_send_frame(codec_.get(), nullptr), cannotEncode);
    libav::drain(*codec_, *packet_, sink, cannotEncode);
}

/// The picture's own memory, held until the encoder is done with it.
libav::Frame VideoTrack::wrapped(const CVPixelBuffer& pixels, const std::shared_ptr<const NSObject>& owner) const
{
    libav::Frame frame(av_frame_alloc());
    frame->format = formatOf(pixels);
    frame->width = pixels.width();
    frame->height = pixels.height();
    if (frame->width == codec_->width + 1) // the odd column
        --frame->width;
    if (frame->height == codec_->height + 1)
        --frame->height;
    frame->color_range
        = pixels.pixelFormat() == kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange ? AVCOL_RANGE_MPEG : AVCOL_RANGE_JPEG;
    for (std::size_t i = 0; i < pixels.planes().size(); ++i) {
        const CVPixelBuffer::Plane& plane = pixels.planes()[i];
        frame->data[i] = plane.data;
        frame->linesize[i] = static_cast<int>(plane.stride);
        auto* held = new std::shared_ptr<const NSObject>(owner);
        frame->buf[i] = av_buffer_create(
            plane.data, plane.stride * static_cast<std::size_t>(plane.height),
            [](void* keeper, std::uint8_t*) { delete static_cast<std::shared_ptr<const NSObject>*>(keeper); }, held,
            AV_BUFFER_FLAG_READONLY);
    }
    return frame;
}

libav::Frame VideoTrack::converted(const AVFrame& source)
{
    libav::Frame frame(av_frame_alloc());
    frame->format = inputFormat_;
    frame->width = codec_->width;
    frame->height = codec_->height;
    frame->color_range = codec_->color_range;
    libav::check(av_frame_get_buffer(frame.get(), 0), cannotEncode);
    const PictureScaler::Kind from { static_cast<AVPixelFormat>(source.format), source.width, source.height,
        source.color_range == AVCOL_RANGE_JPEG };
    const PictureScaler::Kind to { inputFormat_, codec_->width, codec_->height, fullRange_ };
    scaler_.convert(source, from, frame->data, frame->linesize, to);
    return frame;
}

libav::Frame VideoTrack::uploaded(const AVFrame& source) const
{
    libav::Frame frame(av_frame_alloc());
    libav::check(av_hwframe_get_buffer(codec_->hw_frames_ctx, frame.get(), 0), cannotEncode);
    libav::check(av_hwframe_transfer_data(frame.get(), &source, 0), cannotEncode);
    return frame;
}

}
