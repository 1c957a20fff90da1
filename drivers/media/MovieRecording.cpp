// SPDX-License-Identifier: Apache-2.0
#include "drivers/media/MovieRecording.h"

#include "drivers/media/MovieIndex.h"

#include <sys/statvfs.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <utility>

extern "C" {
#include <libavutil/display.h>
}

namespace velmora::drivers::media {

namespace {

constexpr double referenceDate = 978307200; // 2001-01-01 in seconds since 1970
constexpr std::size_t mostEarlyPieces = 500;

std::string folderOf(const std::string& path)
{
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
}

std::string moment(double secondsSinceReferenceDate, const char* format)
{
    const auto seconds = static_cast<std::time_t>(std::floor(secondsSinceReferenceDate + referenceDate));
    std::tm parts {};
    gmtime_r(&seconds, &parts);
    char text[40];
    std::strftime(text, sizeof text, format, &parts);
    return text;
}

/// ISO 6709: "+48.858400+002.294500+35.000/"
std::string place(double latitude, double longitude, std::optional<double> altitude)
{
    char text[64];
    int length = std::snprintf(text, sizeof text, "%+010.6f%+011.6f", latitude, longitude);
    if (altitude)
        length += std::snprintf(text + length, sizeof text - static_cast<std::size_t>(length), "%+.3f", *altitude);
    return std::string(text, static_cast<std::size_t>(length)) + "/";
}

}

MovieRecording::MovieRecording(std::string path, const MovieSettings& settings)
    : path_(std::move(path))
    , bytesToKeepFree_(settings.bytesToKeepFree)
    , video_(settings)
{
    checkSpace();
    if (settings.audio)
        audio_.emplace(settings);
    AVFormatContext* format = nullptr;
    libav::check(avformat_alloc_output_context2(&format, nullptr, "mov", path_.c_str()), "The movie cannot be written");
    format_.reset(format);
    addPictures(settings);
    if (audio_)
        addSound();
    describe(settings);
    begin();
}

MovieRecording::~MovieRecording() = default;

/// The file system keeps what was asked for, so that the rest of the device can go on.
void MovieRecording::checkSpace() const
{
    struct statvfs status { };
    if (::statvfs(folderOf(path_).c_str(), &status) != 0)
        throw errorFromErrno(errno, "The movie " + path_ + " cannot be written");
    const std::uint64_t free = std::uint64_t { status.f_bavail } * status.f_frsize;
    if (free < bytesToKeepFree_)
        throw NSError(NSPOSIXErrorDomain, ENOSPC,
            "The movie " + path_ + " cannot go on: the disk has " + std::to_string(free / 1'000'000) + " MB left, and "
                + std::to_string(bytesToKeepFree_ / 1'000'000)
                + " MB are to stay free. Remove something, or record elsewhere.");
}

void MovieRecording::addPictures(const MovieSettings& settings)
{
    AVCodecContext& codec = video_.codec();
    pictures_ = avformat_new_stream(format_.get(), nullptr);
    pictures_->time_base = codec.time_base;
    pictures_->avg_frame_rate = codec.framerate;
    libav::check(avcodec_parameters_from_context(pictures_->codecpar, &codec), "The movie cannot be written");
    if (settings.rotation == 0 && !settings.mirrored)
        return;
    auto* matrix = reinterpret_cast<std::int32_t*>(
        av_stream_new_side_data(pictures_, AV_PKT_DATA_DISPLAYMATRIX, sizeof(std::int32_t) * 9));
    av_display_rotation_set(matrix, settings.rotation);
    av_display_matrix_flip(matrix, settings.mirrored, 0);
    // The turned picture's corner belongs at 0, 0: where the corners land tells how far it must move.
    for (int axis = 0; axis < 2; ++axis) {
        const std::int64_t ofWidth = std::int64_t { matrix[axis] } * codec.width;
        const std::int64_t ofHeight = std::int64_t { matrix[3 + axis] } * codec.height;
        matrix[6 + axis]
            = static_cast<std::int32_t>(-std::min({ std::int64_t { 0 }, ofWidth, ofHeight, ofWidth + ofHeight }));
    }
}

void MovieRecording::addSound()
{
    AVCodecContext& codec = audio_->codec();
    sound_ = avformat_new_stream(format_.get(), nullptr);
    sound_->time_base = codec.time_base;
    libav::check(avcodec_parameters_from_context(sound_->codecpar, &codec), "The movie cannot be written");
}

void MovieRecording::describe(const MovieSettings& settings)
{
    std::map<std::string, std::string> tags;
    tags["creation_time"] = moment(settings.creationDate, "%Y-%m-%dT%H:%M:%S.000000Z");
    tags["com.apple.quicktime.creationdate"] = moment(settings.creationDate, "%Y-%m-%dT%H:%M:%SZ");
    if (settings.latitude && settings.longitude)
        tags["com.apple.quicktime.location.ISO6709"]
            = place(*settings.latitude, *settings.longitude, settings.altitude);
    for (const auto& [name, value] : settings.metadata)
        tags[name] = value;
    for (const auto& [name, value] : tags)
        av_dict_set(&format_->metadata, name.c_str(), value.c_str(), 0);
}

void MovieRecording::begin()
{
    format_->flags |= AVFMT_FLAG_FLUSH_PACKETS;
    format_->max_interleave_delta = 500'000; // microseconds: a microphone that stalls must not hold the pictures back
    const int code = avio_open(&format_->pb, path_.c_str(), AVIO_FLAG_WRITE);
    if (code < 0)
        throw failure(code);
    lock_ = MovieLock(path_);
    std::string flags = "frag_keyframe+empty_moov+default_base_moof+use_metadata_tags";
    // Without its parameter sets an encoder's first packet must tell what the header has to say.
    if (video_.codec().extradata_size == 0)
        flags += "+delay_moov";
    AVDictionary* options = nullptr;
    av_dict_set(&options, "movflags", flags.c_str(), 0);
    av_dict_set(&options, "frag_duration", "1000000", 0); // microseconds
    av_dict_set_int(&options, "movie_timescale", VideoTrack::timescale, 0);
    const int began = avformat_write_header(format_.get(), &options);
    av_dict_free(&options);
    if (began < 0)
        throw failure(began);
    avio_flush(format_->pb);
}

void MovieRecording::append(const CMSampleBuffer& buffer)
{
    if (!format_)
        throw cannotWrite("The movie " + path_ + " is finished: nothing can be added to it.");
    checkSpace();
    if (buffer.imageBuffer())
        appendPicture(buffer);
    else if (audio_ && buffer.audio())
        appendSound(buffer);
    if (format_->pb->error < 0)
        throw failure(format_->pb->error);
}

void MovieRecording::appendPicture(const CMSampleBuffer& buffer)
{
    const double seconds = CMTimeGetSeconds(buffer.presentationTimeStamp());
    if (!std::isfinite(seconds))
        throw cannotWrite("A frame of the movie has no time. Give it one.");
    if (!start_) {
        start_ = seconds;
        for (const auto& [sound, time] : std::exchange(early_, {}))
            audio_->encode(*sound, time - *start_, sinkOf(sound_, audio_->codec()));
    }
    const std::int64_t time = std::llround((seconds - *start_) * VideoTrack::timescale);
    if (time <= last_)
        return; // one picture at a time: a clock that was set back would make the file unreadable
    last_ = time;
    video_.encode(*buffer.imageBuffer(), buffer.imageBuffer(), time, sinkOf(pictures_, video_.codec()));
}

void MovieRecording::appendSound(const CMSampleBuffer& buffer)
{
    const double seconds = CMTimeGetSeconds(buffer.presentationTimeStamp());
    if (!std::isfinite(seconds))
        throw cannotWrite("A piece of the movie's sound has no time. Give it one.");
    if (start_)
        return audio_->encode(*buffer.audio(), seconds - *start_, sinkOf(sound_, audio_->codec()));
    early_.emplace_back(buffer.audio(), seconds);
    if (early_.size() > mostEarlyPieces)
        early_.pop_front();
}

VideoTrack::Sink MovieRecording::sinkOf(AVStream* stream, AVCodecContext& codec)
{
    return [this, stream, &codec](AVPacket& packet) {
        const AVRational unit = codec.time_base;
        // An encoder of sound puts samples in front. No time may be below 0, and each track of a fragmented movie
        // begins at 0; the index moves the sound back.
        packet.pts += codec.initial_padding;
        packet.dts += codec.initial_padding;
        if (packet.duration == 0 && stream == pictures_)
            packet.duration = av_rescale_q(1, av_inv_q(codec.framerate), unit);
        av_packet_rescale_ts(&packet, unit, stream->time_base);
        packet.stream_index = stream->index;
        const int code = av_interleaved_write_frame(format_.get(), &packet);
        if (code < 0)
            throw failure(code);
    };
}

CMTime MovieRecording::finish(std::optional<CMTime> stillImageTime)
{
    if (!format_)
        throw cannotWrite("The movie " + path_ + " is finished already.");
    if (start_) {
        video_.finish(sinkOf(pictures_, video_.codec()));
        if (audio_)
            audio_->finish(sinkOf(sound_, audio_->codec()));
    }
    int code = av_write_trailer(format_.get());
    if (code >= 0)
        code = format_->pb->error;
    written_ = bytesWritten();
    format_.reset();
    if (code < 0)
        throw failure(code);
    const CMTime length = indexMovie(path_, stillImageTime);
    lock_ = {};
    return length;
}

std::uint64_t MovieRecording::bytesWritten() const
{
    return format_ ? static_cast<std::uint64_t>(std::max<std::int64_t>(0, avio_tell(format_->pb))) : written_;
}

std::string MovieRecording::encoder() const
{
    return audio_ ? video_.name() + ", " + audio_->name() : video_.name();
}

NSError MovieRecording::failure(int code) const
{
    return libav::error(code, "The movie " + path_ + " cannot be written");
}

}
