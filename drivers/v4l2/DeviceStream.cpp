// SPDX-License-Identifier: Apache-2.0
#include "drivers/v4l2/DeviceStream.h"

#include "drivers/v4l2/Formats.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <mutex>
#include <set>
#include <utility>

namespace velmora::drivers::v4l2 {

using cameras::Negotiated;
using cameras::Offer;
using cameras::Rate;
using cameras::StreamFrame;

namespace {

constexpr std::uint32_t usualBuffers = 8, leastBuffers = 2;
constexpr std::size_t buffersForCamera = 3; // the least with which it can go on
constexpr int mostSpoilt = 30; // frames in a row that are marked as broken

NSError refusal(const char* what)
{
    return errorFromErrno(errno, errno == EBUSY ? std::string(what) + ", for another program uses it" : what);
}

struct Request : v4l2_buffer {
    std::array<v4l2_plane, VIDEO_MAX_PLANES> planesOfIt {};

    explicit Request(v4l2_buf_type of)
        : v4l2_buffer {}
    {
        type = of;
        memory = V4L2_MEMORY_MMAP;
        if (V4L2_TYPE_IS_MULTIPLANAR(of)) {
            m.planes = planesOfIt.data();
            length = VIDEO_MAX_PLANES;
        }
    }
};

}

/// One buffer's memory. It stays as long as anybody holds a frame in it, whatever the stream does.
struct DeviceStream::Memory {
    struct Piece {
        void* base = nullptr;
        std::size_t length = 0;
        int dmaBuf = -1; ///< its descriptor, when the device exports it: others must be told of our reading
    };
    std::vector<Piece> pieces;

    Memory() = default;
    ~Memory()
    {
        for (const Piece& piece : pieces) {
            munmap(piece.base, piece.length);
            if (piece.dmaBuf >= 0)
                close(piece.dmaBuf);
        }
    }
    Memory(const Memory&) = delete;
    Memory& operator=(const Memory&) = delete;

    void add(const Descriptor& device, v4l2_buf_type type, std::uint32_t index, std::uint32_t plane, std::size_t length,
        std::uint32_t offset)
    {
        Piece piece { MAP_FAILED, length, -1 };
        v4l2_exportbuffer wish {};
        wish.type = type;
        wish.index = index;
        wish.plane = plane;
        wish.flags = O_RDWR | O_CLOEXEC;
        if (device.call(VIDIOC_EXPBUF, &wish)) {
            piece.dmaBuf = wish.fd;
            piece.base = mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_SHARED, piece.dmaBuf, 0);
            if (piece.base == MAP_FAILED)
                close(std::exchange(piece.dmaBuf, -1));
        }
        if (piece.base == MAP_FAILED)
            piece.base = mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_SHARED, device.number(), offset);
        if (piece.base == MAP_FAILED)
            throw refusal("its buffers cannot be mapped");
        pieces.push_back(piece);
    }
    void reading(bool begins) const
    {
        for (const Piece& piece : pieces)
            if (piece.dmaBuf >= 0)
                cameras::tellReading(piece.dmaBuf, begins);
    }
};

/// The buffers of one stream, to which leases come back from any thread.
class DeviceStream::Buffers {
public:
    Buffers(std::shared_ptr<Descriptor> device, v4l2_buf_type type)
        : device_(std::move(device))
        , type_(type)
    {
        v4l2_requestbuffers wish {};
        wish.count = usualBuffers;
        wish.type = type_;
        wish.memory = V4L2_MEMORY_MMAP;
        if (!device_->call(VIDIOC_REQBUFS, &wish))
            throw refusal("it gives no buffers");
        outlive_ = (wish.capabilities & V4L2_BUF_CAP_SUPPORTS_ORPHANED_BUFS) != 0;
        try {
            if (wish.count < leastBuffers)
                throw NSError(NSPOSIXErrorDomain, ENOMEM, "it gives too few buffers");
            for (std::uint32_t i = 0; i < wish.count; ++i)
                add(i);
            int which = type_;
            if (!device_->call(VIDIOC_STREAMON, &which))
                throw refusal("it sends no frames");
        } catch (const NSError&) {
            end();
            throw;
        }
    }
    ~Buffers() { end(); }
    Buffers(const Buffers&) = delete;
    Buffers& operator=(const Buffers&) = delete;

    /// The device may have other wishes from now on, whoever holds frames.
    void end()
    {
        const std::lock_guard lock(mutex_);
        if (std::exchange(ended_, true))
            return;
        int which = type_;
        device_->call(VIDIOC_STREAMOFF, &which);
        memories_.clear();
        v4l2_requestbuffers none {};
        none.type = type_;
        none.memory = V4L2_MEMORY_MMAP;
        device_->call(VIDIOC_REQBUFS, &none);
        device_.reset(); // a device that went is quite gone when nobody has it open any more
    }
    const std::shared_ptr<Memory>& memory(std::uint32_t index) const { return memories_[index]; }
    std::size_t count() const { return memories_.size(); }
    /// Whether a frame may be kept: enough are left, and its memory can outlive the stream.
    bool keep(std::uint32_t index)
    {
        const std::lock_guard lock(mutex_);
        if (!outlive_ || leased_.size() + buffersForCamera >= memories_.size())
            return false;
        leased_.insert(index);
        return true;
    }
    void giveBack(std::uint32_t index)
    {
        const std::lock_guard lock(mutex_);
        leased_.erase(index);
        if (!ended_)
            queue(index);
    }

private:
    void add(std::uint32_t index)
    {
        Request buffer(type_);
        buffer.index = index;
        if (!device_->call(VIDIOC_QUERYBUF, &buffer))
            throw refusal("its buffers cannot be used");
        auto memory = std::make_shared<Memory>();
        if (V4L2_TYPE_IS_MULTIPLANAR(type_))
            for (std::uint32_t plane = 0; plane < buffer.length; ++plane)
                memory->add(*device_, type_, index, plane, buffer.planesOfIt[plane].length,
                    buffer.planesOfIt[plane].m.mem_offset);
        else
            memory->add(*device_, type_, index, 0, buffer.length, buffer.m.offset);
        memories_.push_back(std::move(memory));
        if (!queue(index))
            throw refusal("its buffers cannot be used");
    }
    bool queue(std::uint32_t index)
    {
        Request buffer(type_);
        buffer.index = index;
        if (V4L2_TYPE_IS_MULTIPLANAR(type_))
            buffer.length = static_cast<std::uint32_t>(memories_[index]->pieces.size());
        return device_->call(VIDIOC_QBUF, &buffer);
    }

    std::shared_ptr<Descriptor> device_;
    const v4l2_buf_type type_;
    std::mutex mutex_;
    std::vector<std::shared_ptr<Memory>> memories_;
    std::set<std::uint32_t> leased_;
    bool outlive_ = false, ended_ = false;
};

struct DeviceStream::Lease {
    std::shared_ptr<Buffers> buffers;
    std::shared_ptr<Memory> memory;
    std::uint32_t index;

    Lease(std::shared_ptr<Buffers> to, std::shared_ptr<Memory> of, std::uint32_t which)
        : buffers(std::move(to))
        , memory(std::move(of))
        , index(which)
    {
    }
    ~Lease()
    {
        memory->reading(false);
        buffers->giveBack(index);
    }
    Lease(const Lease&) = delete;
    Lease& operator=(const Lease&) = delete;
};

DeviceStream::DeviceStream(Loop& loop, std::shared_ptr<Descriptor> device, v4l2_buf_type type, const Offer& offer,
    Rate rate, const std::vector<std::uint32_t>& controls, Events events)
    : device_(std::move(device))
    , type_(type)
    , events_(std::move(events))
{
    setFormat(offer);
    setRate(rate);
    buffers_ = std::make_shared<Buffers>(device_, type_);
    for (const std::uint32_t id : controls) {
        v4l2_event_subscription wish {};
        wish.type = V4L2_EVENT_CTRL;
        wish.id = id;
        device_->call(VIDIOC_SUBSCRIBE_EVENT, &wish); // one who tells nothing is looked at now and then
    }
    if (events_.stream.negotiated)
        events_.stream.negotiated(format_);
    watch_ = loop.watch(device_->number(), POLLIN | POLLPRI, [this](short what) { happened(what); });
}

DeviceStream::~DeviceStream()
{
    watch_.reset();
    buffers_->end();
}

void DeviceStream::setFormat(const Offer& offer)
{
    v4l2_format wish {};
    wish.type = type_;
    const auto width = static_cast<std::uint32_t>(offer.size.width);
    const auto height = static_cast<std::uint32_t>(offer.size.height);
    const bool apart = V4L2_TYPE_IS_MULTIPLANAR(type_);
    if (apart) {
        wish.fmt.pix_mp.width = width;
        wish.fmt.pix_mp.height = height;
        wish.fmt.pix_mp.pixelformat = offer.code;
        wish.fmt.pix_mp.field = V4L2_FIELD_NONE;
    } else {
        wish.fmt.pix.width = width;
        wish.fmt.pix.height = height;
        wish.fmt.pix.pixelformat = offer.code;
        wish.fmt.pix.field = V4L2_FIELD_NONE;
    }
    if (!device_->call(VIDIOC_S_FMT, &wish))
        throw refusal("it does not take the format");
    const auto& one = wish.fmt.pix;
    const auto& several = wish.fmt.pix_mp;
    const std::uint32_t got = apart ? several.pixelformat : one.pixelformat;
    const auto layout = layoutOf(got);
    if (!layout)
        throw NSError(NSPOSIXErrorDomain, EINVAL, "it sends pictures in a format that nobody here can read");
    format_.layout = layout->layout;
    format_.bits = layout->bits;
    format_.size = apart
        ? CMVideoDimensions { static_cast<std::int32_t>(several.width), static_cast<std::int32_t>(several.height) }
        : CMVideoDimensions { static_cast<std::int32_t>(one.width), static_cast<std::int32_t>(one.height) };
    format_.videoRange = apart ? hasVideoRange(got, several.colorspace, several.quantization)
                               : hasVideoRange(got, one.colorspace, one.quantization);
    if (apart)
        for (std::uint8_t i = 0; i < several.num_planes; ++i)
            strides_.push_back(several.plane_fmt[i].bytesperline);
    else
        strides_ = { one.bytesperline };
}

void DeviceStream::setRate(Rate rate)
{
    v4l2_streamparm wish {};
    wish.type = type_;
    wish.parm.capture.timeperframe = { rate.denom, rate.num };
    device_->call(VIDIOC_S_PARM, &wish); // one who cannot has one rate only
    const auto& got = wish.parm.capture.timeperframe;
    format_.rate = got.numerator > 0 && got.denominator > 0 ? Rate { got.denominator, got.numerator } : rate;
}

void DeviceStream::happened(short what)
{
    if ((what & POLLPRI) != 0) {
        v4l2_event event {};
        bool any = false;
        while (device_->call(VIDIOC_DQEVENT, &event))
            any = true;
        if (any && events_.controlsChanged)
            events_.controlsChanged();
    }
    if ((what & (POLLIN | POLLERR | POLLHUP | POLLNVAL)) != 0)
        frame((what & POLLERR) != 0);
}

void DeviceStream::frame(bool failed)
{
    Request buffer(type_);
    if (!device_->call(VIDIOC_DQBUF, &buffer)) {
        if (errno == EAGAIN || (errno == EIO && !failed)) // this frame was lost, the next may come
            return;
        const int reason = errno;
        watch_.reset();
        if (reason == ENODEV) {
            if (events_.unplugged)
                events_.unplugged();
        } else if (events_.stream.broke)
            events_.stream.broke(errorFromErrno(reason, "it gives no frames").localizedDescription());
        return;
    }
    const auto memory = buffers_->memory(buffer.index);
    StreamFrame frame;
    memory->reading(true);
    if ((buffer.flags & V4L2_BUF_FLAG_ERROR) != 0
        || !cameras::lay(frame.picture, format_, piecesOf(buffer, buffer.planesOfIt.data()))) {
        memory->reading(false);
        buffers_->giveBack(buffer.index);
        if (++spoilt_ == mostSpoilt && events_.stream.broke)
            events_.stream.broke("its frames are broken");
        return;
    }
    spoilt_ = 0;
    frame.sequence = buffer.sequence;
    if ((buffer.flags & V4L2_BUF_FLAG_TIMESTAMP_MASK) == V4L2_BUF_FLAG_TIMESTAMP_MONOTONIC)
        frame.time
            = static_cast<double>(buffer.timestamp.tv_sec) + static_cast<double>(buffer.timestamp.tv_usec) * 1e-6;
    const bool canBeKept = buffers_->keep(buffer.index);
    if (canBeKept)
        frame.lease = std::make_shared<Lease>(buffers_, memory, buffer.index);
    events_.stream.frame(frame);
    if (canBeKept)
        return;
    memory->reading(false);
    buffers_->giveBack(buffer.index);
}

std::vector<cameras::FramePiece> DeviceStream::piecesOf(const v4l2_buffer& buffer, const v4l2_plane* planes) const
{
    std::vector<cameras::FramePiece> pieces;
    const auto& mapped = buffers_->memory(buffer.index)->pieces;
    const bool apart = V4L2_TYPE_IS_MULTIPLANAR(type_);
    for (std::size_t i = 0; i < mapped.size(); ++i) {
        const std::size_t end = std::min<std::size_t>(apart ? planes[i].bytesused : buffer.bytesused, mapped[i].length);
        const std::size_t begin = std::min<std::size_t>(apart ? planes[i].data_offset : 0, end);
        pieces.push_back({ static_cast<const std::uint8_t*>(mapped[i].base) + begin, end - begin,
            i < strides_.size() ? strides_[i] : 0 });
    }
    return pieces;
}

}
