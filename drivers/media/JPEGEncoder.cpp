// SPDX-License-Identifier: Apache-2.0
#include "drivers/media/JPEGEncoder.h"

#include "drivers/media/MediaErrors.h"

#include <sched.h>
#include <turbojpeg.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <future>
#include <memory>
#include <string>
#include <utility>

namespace velmora::drivers::media {

namespace {

constexpr std::int32_t block = 16; // pixels of one coded unit at 4:2:0, both ways
constexpr std::int32_t mostPixelsAcross = 65500;
constexpr std::int32_t mostUnitsBetweenRestarts = 65535;
constexpr std::int64_t worthAThread = 1'000'000; // pixels
constexpr int thumbnailQuality = 75;

struct DestroyHandle {
    void operator()(void* handle) const { tjDestroy(handle); }
};
struct FreeBuffer {
    void operator()(unsigned char* buffer) const { tjFree(buffer); }
};

/// A JPEG in the library's own memory.
struct Stream {
    std::unique_ptr<unsigned char, FreeBuffer> bytes;
    unsigned long size = 0;

    std::span<const std::uint8_t> all() const { return { bytes.get(), size }; }
};

/// Rows [top, bottom) of a picture, in three planes.
class Strip {
public:
    Strip(const CVPixelBuffer& pixels, std::int32_t top, std::int32_t bottom)
        : width_(pixels.width())
        , height_(bottom - top)
        , chromaWidth_((width_ + 1) / 2)
        , chromaHeight_((height_ + 1) / 2)
    {
        const CVPixelBuffer::Plane& luma = pixels.planes()[0];
        luma_ = luma.data + static_cast<std::size_t>(top) * luma.stride;
        lumaStride_ = static_cast<int>(luma.stride);
        if (width_ % 2 || height_ % 2)
            padLuma();
        separateChroma(pixels.planes()[1], top / 2);
    }

    Stream encode(int quality) const
    {
        const std::unique_ptr<void, DestroyHandle> handle(tjInitCompress());
        if (!handle)
            throw cannotWrite("The picture cannot be encoded: " + std::string(tjGetErrorStr2(nullptr)) + ".");
        const std::array<const unsigned char*, 3> planes { luma_, chroma_.get(), chroma_.get() + chromaSize() };
        const std::array strides { lumaStride_, chromaWidth_, chromaWidth_ };
        // Enough for nearly all pictures, so that the buffer need not move; untouched memory costs nothing.
        Stream stream { {}, static_cast<unsigned long>(width_) * static_cast<unsigned long>(height_) + 4096 };
        unsigned char* bytes = tjAlloc(static_cast<int>(std::min<unsigned long>(stream.size, 1UL << 30)));
        const int result = tjCompressFromYUVPlanes(handle.get(), const_cast<const unsigned char**>(planes.data()),
            width_, strides.data(), height_, TJSAMP_420, &bytes, &stream.size, quality, 0);
        stream.bytes.reset(bytes);
        if (result != 0)
            throw cannotWrite("The picture cannot be encoded: " + std::string(tjGetErrorStr2(handle.get())) + ".");
        return stream;
    }

private:
    std::size_t chromaSize() const
    {
        return static_cast<std::size_t>(chromaWidth_) * static_cast<std::size_t>(chromaHeight_);
    }

    /// The library reads whole pairs of rows and columns: the last ones are repeated.
    void padLuma()
    {
        const std::size_t across = static_cast<std::size_t>(chromaWidth_) * 2;
        const std::size_t down = static_cast<std::size_t>(chromaHeight_) * 2;
        padded_.resize(across * down);
        for (std::size_t y = 0; y < down; ++y) {
            const std::size_t from = std::min(y, static_cast<std::size_t>(height_) - 1);
            std::uint8_t* row = padded_.data() + y * across;
            std::memcpy(row, luma_ + from * static_cast<std::size_t>(lumaStride_), static_cast<std::size_t>(width_));
            row[across - 1] = row[width_ - 1];
        }
        luma_ = padded_.data();
        lumaStride_ = static_cast<int>(across);
    }

    void separateChroma(const CVPixelBuffer::Plane& plane, std::int32_t top)
    {
        chroma_.reset(new std::uint8_t[chromaSize() * 2]);
        const auto across = static_cast<std::size_t>(chromaWidth_);
        for (std::int32_t y = 0; y < chromaHeight_; ++y) {
            const std::uint8_t* pairs = plane.data + static_cast<std::size_t>(top + y) * plane.stride;
            std::uint8_t* blue = chroma_.get() + static_cast<std::size_t>(y) * across;
            std::uint8_t* red = blue + chromaSize();
            for (std::size_t x = 0; x < across; ++x) {
                blue[x] = pairs[2 * x];
                red[x] = pairs[2 * x + 1];
            }
        }
    }

    std::int32_t width_, height_, chromaWidth_, chromaHeight_;
    const std::uint8_t* luma_ = nullptr;
    int lumaStride_ = 0;
    std::vector<std::uint8_t> padded_;
    std::unique_ptr<std::uint8_t[]> chroma_; // blue, then red; not zeroed first, a large picture would feel it
};

/// Where the parts of a JPEG that the library wrote begin.
struct Parts {
    std::size_t tables = 2; // behind the start marker and the JFIF segment
    std::size_t frame = 0; // SOF
    std::size_t scan = 0; // SOS
    std::size_t data = 0; // what the scan codes, up to the end marker
};

Parts partsOf(std::span<const std::uint8_t> jpeg)
{
    constexpr std::uint8_t app0 = 0xE0, sof0 = 0xC0, sos = 0xDA;
    Parts parts;
    for (std::size_t at = 2; at + 4 <= jpeg.size();) {
        const std::uint8_t marker = jpeg[at + 1];
        const std::size_t next = at + 2 + (static_cast<std::size_t>(jpeg[at + 2]) << 8 | jpeg[at + 3]);
        if (marker == app0)
            parts.tables = next;
        if (marker == sof0)
            parts.frame = at;
        if (marker == sos) {
            parts.scan = at;
            parts.data = next;
            break;
        }
        at = next;
    }
    return parts;
}

void append(std::vector<std::uint8_t>& to, std::span<const std::uint8_t> bytes)
{
    to.insert(to.end(), bytes.begin(), bytes.end());
}

void appendSegment(std::vector<std::uint8_t>& to, std::uint8_t marker, std::span<const std::uint8_t> content)
{
    const std::size_t length = content.size() + 2;
    to.insert(
        to.end(), { 0xFF, marker, static_cast<std::uint8_t>(length >> 8), static_cast<std::uint8_t>(length & 0xFF) });
    append(to, content);
}

/// One picture of strips that stand below each other. Each was coded from a fresh start, just as a decoder starts
/// again after a restart marker, and each but the last is one restart interval.
std::vector<std::uint8_t> joined(const std::vector<Stream>& strips, std::int32_t height, std::int32_t unitsPerStrip,
    std::span<const std::uint8_t> application1)
{
    constexpr std::uint8_t app1 = 0xE1, dri = 0xDD, rst0 = 0xD0, eoi = 0xD9;
    std::size_t size = application1.size() + 64;
    for (const Stream& strip : strips)
        size += strip.size;
    std::vector<std::uint8_t> jpeg;
    jpeg.reserve(size);
    const auto first = strips.front().all();
    const Parts parts = partsOf(first);
    jpeg.insert(jpeg.end(), { 0xFF, 0xD8 });
    if (!application1.empty())
        appendSegment(jpeg, app1, application1);
    const std::size_t frame = jpeg.size() + (parts.frame - parts.tables);
    append(jpeg, first.subspan(parts.tables, parts.scan - parts.tables));
    jpeg[frame + 5] = static_cast<std::uint8_t>(height >> 8);
    jpeg[frame + 6] = static_cast<std::uint8_t>(height & 0xFF);
    if (strips.size() > 1)
        appendSegment(jpeg, dri,
            std::array {
                static_cast<std::uint8_t>(unitsPerStrip >> 8), static_cast<std::uint8_t>(unitsPerStrip & 0xFF) });
    append(jpeg, first.subspan(parts.scan, parts.data - parts.scan));
    for (std::size_t i = 0; i < strips.size(); ++i) {
        const auto strip = strips[i].all();
        const std::size_t data = partsOf(strip).data;
        append(jpeg, strip.subspan(data, strip.size() - 2 - data));
        const bool last = i + 1 == strips.size();
        jpeg.insert(jpeg.end(), { 0xFF, last ? eoi : static_cast<std::uint8_t>(rst0 + i % 8) });
    }
    return jpeg;
}

/// Those that the process may run on, which can be fewer than the machine has.
int coresForThisProcess()
{
    cpu_set_t cores;
    CPU_ZERO(&cores);
    return ::sched_getaffinity(0, sizeof cores, &cores) == 0 ? CPU_COUNT(&cores) : 1;
}

void check(const CVPixelBuffer& pixels, int quality)
{
    if (pixels.pixelFormat() != kCVPixelFormatType_420YpCbCr8BiPlanarFullRange)
        throw cannotWrite("A JPEG is made of '420f' pixels and these are '" + fourCharacterCode(pixels.pixelFormat())
            + "'. Convert them first.");
    if (pixels.width() < 1 || pixels.height() < 1 || pixels.width() > mostPixelsAcross
        || pixels.height() > mostPixelsAcross)
        throw cannotWrite("A JPEG has 1 to 65500 pixels each way and this picture has " + std::to_string(pixels.width())
            + " x " + std::to_string(pixels.height()) + ". Make it smaller.");
    if (quality < 1 || quality > 100)
        throw cannotWrite("The quality of a JPEG goes from 1 to 100 and this is " + std::to_string(quality) + ".");
}

/// Where a plane is sampled along one axis: the same few places within each of the cells that it is reduced to.
struct Sampling {
    std::size_t perCell = 1;
    std::vector<std::size_t> places;

    Sampling(std::int32_t size, std::int32_t cells)
        : perCell(static_cast<std::size_t>(std::clamp(size / cells, 1, 6)))
    {
        const std::size_t count = perCell * static_cast<std::size_t>(cells);
        for (std::size_t i = 0; i < count; ++i)
            places.push_back(i * static_cast<std::size_t>(size) / count);
    }
};

/// Each value is the mean of a few samples spread over its cell, as good as all of them in a picture of this size.
/// `channels` are interleaved.
void reduce(const CVPixelBuffer::Plane& from, const CVPixelBuffer::Plane& to, std::size_t channels)
{
    const Sampling columns(from.width, to.width), rows(from.height, to.height);
    const auto samples = static_cast<unsigned>(columns.perCell * rows.perCell);
    const std::size_t across = static_cast<std::size_t>(to.width) * channels;
    std::vector<unsigned> sums(across);
    for (std::size_t y = 0; y < static_cast<std::size_t>(to.height); ++y) {
        std::fill(sums.begin(), sums.end(), samples / 2);
        for (std::size_t row = 0; row < rows.perCell; ++row) {
            const std::uint8_t* line = from.data + rows.places[y * rows.perCell + row] * from.stride;
            const std::size_t* place = columns.places.data();
            for (std::size_t cell = 0; cell < across; cell += channels)
                for (std::size_t i = 0; i < columns.perCell; ++i, ++place)
                    for (std::size_t channel = 0; channel < channels; ++channel)
                        sums[cell + channel] += line[*place * channels + channel];
        }
        std::transform(sums.begin(), sums.end(), to.data + y * to.stride,
            [samples](unsigned sum) { return static_cast<std::uint8_t>(sum / samples); });
    }
}

std::shared_ptr<CVPixelBuffer> reduced(const CVPixelBuffer& pixels, std::int32_t width, std::int32_t height)
{
    auto small = CVPixelBuffer::create(width, height, kCVPixelFormatType_420YpCbCr8BiPlanarFullRange);
    reduce(pixels.planes()[0], small->planes()[0], 1);
    reduce(pixels.planes()[1], small->planes()[1], 2);
    return small;
}

}

JPEGEncoder::JPEGEncoder(int threads)
    : threads_(threads)
{
}

std::vector<std::uint8_t> JPEGEncoder::encode(
    const CVPixelBuffer& pixels, int quality, std::span<const std::uint8_t> application1) const
{
    check(pixels, quality);
    const bool large = static_cast<std::int64_t>(pixels.width()) * pixels.height() >= worthAThread;
    const std::int32_t unitsAcross = (pixels.width() + block - 1) / block;
    const std::int32_t rows = (pixels.height() + block - 1) / block;
    const std::int32_t parts = large ? std::max(1, threads_ > 0 ? threads_ : std::min(2, coresForThisProcess())) : 1;
    std::int32_t rowsPerStrip = (rows + parts - 1) / parts;
    if (parts > 1)
        rowsPerStrip = std::min(rowsPerStrip, mostUnitsBetweenRestarts / unitsAcross);
    const std::int32_t count = (rows + rowsPerStrip - 1) / rowsPerStrip;

    std::vector<Stream> strips(static_cast<std::size_t>(count));
    const auto encodeEvery = [&](std::int32_t first) {
        for (std::int32_t i = first; i < count; i += parts) {
            const std::int32_t top = i * rowsPerStrip * block;
            const std::int32_t bottom = std::min(pixels.height(), top + rowsPerStrip * block);
            strips[static_cast<std::size_t>(i)] = Strip(pixels, top, bottom).encode(quality);
        }
    };
    std::vector<std::future<void>> others;
    for (std::int32_t first = 1; first < std::min(parts, count); ++first)
        others.push_back(std::async(std::launch::async, encodeEvery, first));
    encodeEvery(0);
    for (std::future<void>& other : others)
        other.get();
    return joined(strips, pixels.height(), rowsPerStrip * unitsAcross, application1);
}

std::vector<std::uint8_t> JPEGEncoder::encodeThumbnail(const CVPixelBuffer& pixels, std::int32_t width)
{
    check(pixels, thumbnailQuality);
    const std::int32_t across = std::min(width, pixels.width());
    const std::int64_t down
        = (static_cast<std::int64_t>(pixels.height()) * across + pixels.width() / 2) / pixels.width();
    const auto small
        = reduced(pixels, across, static_cast<std::int32_t>(std::clamp<std::int64_t>(down, 1, pixels.height())));
    return JPEGEncoder(1).encode(*small, thumbnailQuality, {});
}

}
