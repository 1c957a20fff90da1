// SPDX-License-Identifier: Apache-2.0
#include "drivers/pipewire/FrameStream.h"

#include "platform/Foundation/NSLog.h"

#include "drivers/pipewire/Pods.h"

#include <fcntl.h>
#include <spa/buffer/meta.h>
#include <spa/param/buffers.h>
#include <spa/param/param.h>
#include <spa/param/video/raw.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <mutex>
#include <set>
#include <utility>
#include <vector>

namespace velmora::drivers::pipewire {

namespace {

constexpr std::uint64_t mostUnreadable = 5; // frames, before the stream is made again
constexpr std::uint32_t buffersForCamera = 3; // the least with which it can go on
constexpr std::int32_t usualBuffers = 8, leastBuffers = 4, mostBuffers = 16;

/// Exactly this layout, size and rate; or, without an offer, whatever we can read.
const spa_pod* formatWish(PodBuilder& builder, const Offer* offer, Rate rate, std::uint32_t subtype)
{
    builder.begin(SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat);
    builder.id(SPA_FORMAT_mediaType, SPA_MEDIA_TYPE_video);
    builder.id(SPA_FORMAT_mediaSubtype, subtype);
    if (!offer) {
        if (subtype == SPA_MEDIA_SUBTYPE_raw)
            builder.anyOf(SPA_FORMAT_VIDEO_format, rawFormats());
        return builder.end();
    }
    if (const auto ids = idsOf(offer->layout); ids.video == SPA_VIDEO_FORMAT_BGRx)
        builder.anyOf(SPA_FORMAT_VIDEO_format, { SPA_VIDEO_FORMAT_BGRx, SPA_VIDEO_FORMAT_BGRA });
    else if (ids.video == SPA_VIDEO_FORMAT_RGBx)
        builder.anyOf(SPA_FORMAT_VIDEO_format, { SPA_VIDEO_FORMAT_RGBx, SPA_VIDEO_FORMAT_RGBA });
    else if (ids.video != 0)
        builder.id(SPA_FORMAT_VIDEO_format, ids.video);
    builder.size(SPA_FORMAT_VIDEO_size, static_cast<std::uint32_t>(offer->size.width),
        static_cast<std::uint32_t>(offer->size.height));
    builder.fraction(SPA_FORMAT_VIDEO_framerate, rate.num, rate.denom);
    return builder.end();
}

NSError refused()
{
    constexpr int refusedStream = 4;
    return { "org.velmora.pipewire", refusedStream, "the daemon refuses the stream" };
}

}

/// A buffer's memory, mapped by ourselves: it stays as long as anybody holds a frame in it, whatever the stream does.
struct FrameStream::Memory {
    struct Piece {
        void* base = nullptr; ///< as it was mapped
        std::size_t length = 0;
        const std::uint8_t* data = nullptr; ///< where the buffer's own begins
        int dmaBuf = -1; ///< its descriptor, when somebody must be told of our reading
    };
    std::vector<Piece> pieces;
    bool isOurs = true;

    Memory() = default;
    ~Memory()
    {
        for (const Piece& piece : pieces) {
            if (piece.base)
                munmap(piece.base, piece.length);
            if (piece.dmaBuf >= 0)
                close(piece.dmaBuf);
        }
    }
    Memory(const Memory&) = delete;
    Memory& operator=(const Memory&) = delete;

    void add(const spa_data& data)
    {
        Piece piece;
        const bool shared = data.type == SPA_DATA_MemFd || data.type == SPA_DATA_DmaBuf;
        if (shared && data.fd >= 0) {
            const auto page = static_cast<std::uint32_t>(sysconf(_SC_PAGESIZE));
            const std::uint32_t into = data.mapoffset % page;
            piece.length = std::size_t { data.maxsize } + into;
            const auto fd = static_cast<int>(data.fd);
            const auto offset = static_cast<off_t>(data.mapoffset - into);
            piece.base = mmap(nullptr, piece.length, PROT_READ | PROT_WRITE, MAP_SHARED, fd, offset);
            if (piece.base == MAP_FAILED)
                piece.base = mmap(nullptr, piece.length, PROT_READ, MAP_SHARED, fd, offset);
            if (piece.base == MAP_FAILED)
                piece.base = nullptr;
            else
                piece.data = static_cast<const std::uint8_t*>(piece.base) + into;
            if (data.type == SPA_DATA_DmaBuf && piece.base)
                piece.dmaBuf = fcntl(fd, F_DUPFD_CLOEXEC, 0);
        } else if (data.data)
            mapAgain(piece, static_cast<std::uint8_t*>(data.data), data.maxsize);
        pieces.push_back(piece);
    }
    /// Memory that the daemon's library mapped, and unmaps with the stream: resizing from nothing maps the same pages
    /// once more where they are shared, and fails where they are not. Those must be copied.
    void mapAgain(Piece& piece, std::uint8_t* data, std::size_t size)
    {
        const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
        const std::uintptr_t into = reinterpret_cast<std::uintptr_t>(data) % page;
        piece.length = size + into;
        piece.base = mremap(data - into, 0, piece.length, MREMAP_MAYMOVE);
        if (piece.base != MAP_FAILED) {
            piece.data = static_cast<const std::uint8_t*>(piece.base) + into;
            return;
        }
        piece.base = nullptr;
        piece.data = data;
        isOurs = false;
    }
    /// Tells a device that shares the memory when we read; others need not know.
    void reading(bool begins) const
    {
        for (const Piece& piece : pieces)
            if (piece.dmaBuf >= 0)
                cameras::tellReading(piece.dmaBuf, begins);
    }
};

/// Where buffers come back to, from any thread; the daemon's thread gives them to the camera again.
struct FrameStream::Returns {
    std::mutex mutex;
    pw_loop* loop = nullptr;
    spa_source* event = nullptr; // null when the stream has ended
    std::set<pw_buffer*> leased;
    std::vector<pw_buffer*> back;
    std::size_t buffers = 0; // that the stream has
};

struct FrameStream::Lease {
    std::shared_ptr<Returns> returns;
    std::shared_ptr<Memory> memory;
    pw_buffer* buffer;

    Lease(std::shared_ptr<Returns> to, std::shared_ptr<Memory> of, pw_buffer* which)
        : returns(std::move(to))
        , memory(std::move(of))
        , buffer(which)
    {
    }
    ~Lease()
    {
        memory->reading(false);
        const std::lock_guard lock(returns->mutex);
        if (!returns->event || returns->leased.erase(buffer) == 0)
            return;
        returns->back.push_back(buffer);
        pw_loop_signal_event(returns->loop, returns->event);
    }
    Lease(const Lease&) = delete;
    Lease& operator=(const Lease&) = delete;
};

FrameStream::FrameStream(Daemon& daemon, const Node& node, const Offer& offer, Rate rate, Events events)
    : daemon_(daemon)
    , properties_(node.properties)
    , events_(std::move(events))
    , returns_(std::make_shared<Returns>())
{
    const std::string target = node.property(PW_KEY_OBJECT_SERIAL);
    pw_properties* properties = pw_properties_new(PW_KEY_MEDIA_TYPE, "Video", PW_KEY_MEDIA_CATEGORY, "Capture",
        PW_KEY_MEDIA_ROLE, "Camera", PW_KEY_TARGET_OBJECT, target.c_str(), "node.dont-reconnect", "true", nullptr);
    stream_ = daemon.core() ? pw_stream_new(daemon.core(), "velmora", properties) : nullptr;
    if (!stream_)
        throw refused();
    returns_->loop = daemon.loop();
    returns_->event = pw_loop_add_event(
        daemon.loop(), [](void* self, std::uint64_t) { static_cast<FrameStream*>(self)->takeBack(); }, this);
    static const pw_stream_events streamEvents {
        .version = PW_VERSION_STREAM_EVENTS,
        .state_changed =
            [](void* self, pw_stream_state, pw_stream_state state, const char* error) {
                const auto& told = static_cast<FrameStream*>(self)->events_;
                if (state == PW_STREAM_STATE_ERROR && told.broke)
                    told.broke(error ? error : "the daemon gave no reason");
            },
        .param_changed =
            [](void* self, std::uint32_t id, const spa_pod* param) {
                if (id == SPA_PARAM_Format && param)
                    static_cast<FrameStream*>(self)->chooseBuffers(param);
            },
        .add_buffer = [](void* self, pw_buffer* buffer) { static_cast<FrameStream*>(self)->addBuffer(buffer); },
        .remove_buffer =
            [](void* self, pw_buffer* buffer) {
                auto& stream = *static_cast<FrameStream*>(self);
                stream.memories_.erase(buffer);
                const std::lock_guard lock(stream.returns_->mutex);
                stream.returns_->leased.erase(buffer);
                std::erase(stream.returns_->back, buffer);
                stream.returns_->buffers = stream.memories_.size();
            },
        .process = [](void* self) { static_cast<FrameStream*>(self)->process(); },
    };
    pw_stream_add_listener(stream_, &hook_, &streamEvents, this);
    PodBuilder wanted, raw, compressed, bayer;
    std::array<const spa_pod*, 4> wishes { formatWish(wanted, &offer, rate, idsOf(offer.layout).subtype),
        formatWish(raw, nullptr, rate, SPA_MEDIA_SUBTYPE_raw),
        formatWish(compressed, nullptr, rate, SPA_MEDIA_SUBTYPE_mjpg),
        formatWish(bayer, nullptr, rate, SPA_MEDIA_SUBTYPE_bayer) };
    const auto flags = static_cast<pw_stream_flags>(PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_DONT_RECONNECT);
    if (pw_stream_connect(stream_, PW_DIRECTION_INPUT, PW_ID_ANY, flags, wishes.data(), wishes.size()) < 0) {
        spa_hook_remove(&hook_);
        pw_stream_destroy(stream_);
        pw_loop_destroy_source(returns_->loop, returns_->event);
        throw refused();
    }
}

std::string FrameStream::whatCame() const
{
    return !format_         ? "it agreed to no format"
        : memories_.empty() ? "it has no memory for them"
        : unreadable_ == 0  ? "none came"
                            : std::to_string(unreadable_) + " were broken, or smaller than their format";
}

FrameStream::~FrameStream()
{
    {
        const std::lock_guard lock(returns_->mutex);
        pw_loop_destroy_source(returns_->loop, std::exchange(returns_->event, nullptr));
    }
    spa_hook_remove(&hook_);
    daemon_.bury(stream_);
}

void FrameStream::chooseBuffers(const spa_pod* format)
{
    format_ = negotiatedIn(format, properties_);
    if (!format_) {
        if (events_.broke)
            events_.broke("it sends pictures in a format that nobody here can read");
        return;
    }
    if (events_.negotiated)
        events_.negotiated(*format_);
    PodBuilder buffers, header;
    buffers.begin(SPA_TYPE_OBJECT_ParamBuffers, SPA_PARAM_Buffers);
    buffers.range(SPA_PARAM_BUFFERS_buffers, usualBuffers, leastBuffers, mostBuffers);
    // Shared memory that can be mapped twice; plain memory, which must be copied, where the camera has nothing else.
    buffers.flags(SPA_PARAM_BUFFERS_dataType, (1 << SPA_DATA_MemFd) | (1 << SPA_DATA_DmaBuf) | (1 << SPA_DATA_MemPtr));
    header.begin(SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta);
    header.id(SPA_PARAM_META_type, SPA_META_Header);
    header.integer(SPA_PARAM_META_size, sizeof(spa_meta_header));
    std::array<const spa_pod*, 2> wishes { buffers.end(), header.end() };
    pw_stream_update_params(stream_, wishes.data(), wishes.size());
}

void FrameStream::addBuffer(pw_buffer* buffer)
{
    auto memory = std::make_shared<Memory>();
    for (std::uint32_t i = 0; i < buffer->buffer->n_datas; ++i)
        memory->add(buffer->buffer->datas[i]);
    memories_[buffer] = std::move(memory);
    const std::lock_guard lock(returns_->mutex);
    returns_->buffers = memories_.size();
}

void FrameStream::takeBack()
{
    std::vector<pw_buffer*> back;
    {
        const std::lock_guard lock(returns_->mutex);
        back.swap(returns_->back);
    }
    for (pw_buffer* buffer : back)
        pw_stream_queue_buffer(stream_, buffer);
}

void FrameStream::process()
{
    pw_buffer* newest = nullptr;
    while (pw_buffer* buffer = pw_stream_dequeue_buffer(stream_)) {
        if (newest)
            pw_stream_queue_buffer(stream_, newest); // nobody had time for it
        newest = buffer;
    }
    if (!newest)
        return;
    const auto found = memories_.find(newest);
    StreamFrame frame;
    const auto* header = static_cast<const spa_meta_header*>(
        spa_buffer_find_meta_data(newest->buffer, SPA_META_Header, sizeof(spa_meta_header)));
    const bool broken = header && (header->flags & SPA_META_HEADER_FLAG_CORRUPTED) != 0;
    if (broken || found == memories_.end() || !format_
        || !cameras::lay(frame.picture, *format_, piecesOf(*newest, *found->second))) {
        const bool hadContent = newest->buffer->n_datas > 0 && newest->buffer->datas[0].chunk->size > 0;
        pw_stream_queue_buffer(stream_, newest);
        if (hadContent && ++unreadable_ == mostUnreadable && events_.stale)
            events_.stale();
        return;
    }
    if (header) {
        frame.sequence = header->seq;
        if (header->pts > 0)
            frame.time = static_cast<double>(header->pts) * 1e-9;
    }
    const auto memory = found->second;
    memory->reading(true);
    // Only a buffer that is marked while somebody reads it is left alone by its camera; others are written again after
    // a few frames, returned or not.
    const bool isMarked = spa_buffer_find_meta_data(newest->buffer, SPA_META_Busy, sizeof(spa_meta_busy)) != nullptr;
    bool canBeKept = false;
    {
        const std::lock_guard lock(returns_->mutex);
        canBeKept = isMarked && memory->isOurs && returns_->leased.size() + buffersForCamera < returns_->buffers;
        if (canBeKept)
            returns_->leased.insert(newest);
    }
    if (canBeKept) {
        frame.lease = std::make_shared<Lease>(returns_, memory, newest);
        events_.frame(frame);
        return;
    }
    events_.frame(frame);
    memory->reading(false);
    pw_stream_queue_buffer(stream_, newest);
}

std::vector<cameras::FramePiece> FrameStream::piecesOf(const pw_buffer& buffer, const Memory& memory)
{
    std::vector<cameras::FramePiece> pieces;
    const spa_buffer& spa = *buffer.buffer;
    if (spa.n_datas == 0 || (spa.datas[0].chunk->flags & SPA_CHUNK_FLAG_CORRUPTED) != 0)
        return pieces;
    for (std::uint32_t i = 0; i < spa.n_datas; ++i) {
        const spa_data& data = spa.datas[i];
        const std::uint32_t begin = std::min(data.chunk->offset, data.maxsize);
        const std::size_t stride = data.chunk->stride > 0 ? static_cast<std::size_t>(data.chunk->stride) : 0;
        const std::uint8_t* const mapped = memory.pieces[i].data;
        pieces.push_back(
            { mapped ? mapped + begin : nullptr, std::min(data.chunk->size, data.maxsize - begin), stride });
    }
    return pieces;
}

}
