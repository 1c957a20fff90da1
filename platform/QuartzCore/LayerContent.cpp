// SPDX-License-Identifier: Apache-2.0
#include "platform/QuartzCore/LayerContent.h"

#include "platform/CoreGraphics/CGContext.h"
#include "platform/CoreGraphics/CGImage.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <utility>

namespace velmora {

namespace {

constexpr int tile = 32; // pixels a side

std::atomic<std::uint64_t> nextIdentity { 1 };
std::atomic<std::uint64_t> rasterised { 0 };

std::size_t bytesPerPixel(LayerContent::Kind kind)
{
    return kind == LayerContent::Kind::Picture ? 4 : 1;
}

/// Rows of coverage begin at whole words, as pixman wants them.
std::size_t strideFor(LayerContent::Kind kind, int width)
{
    return (static_cast<std::size_t>(width) * bytesPerPixel(kind) + 3) / 4 * 4;
}

bool holdsSomething(const std::uint8_t* pixels, std::size_t stride, int x, int y, int width, int height)
{
    for (int row = y; row < y + height; ++row) {
        const std::uint8_t* at = pixels + static_cast<std::size_t>(row) * stride + 4 * static_cast<std::size_t>(x);
        for (int i = 0; i < width; ++i)
            if (at[4 * i + 3] != 0)
                return true;
    }
    return false;
}

}

LayerContent::LayerContent(Kind kind, int width, int height)
    : kind_(kind)
    , width_(width)
    , height_(height)
    , identity_(nextIdentity++)
{
}

std::uint64_t LayerContent::rasterCount()
{
    return rasterised;
}

std::shared_ptr<const LayerContent> LayerContent::ofDrawing(const CGContext& drawing)
{
    if (drawing.isEmpty())
        return nullptr;
    return ofPixels(drawing, drawing.soleColor() ? Kind::Coverage : Kind::Picture);
}

std::shared_ptr<const LayerContent> LayerContent::coverageOfDrawing(const CGContext& drawing)
{
    return ofPixels(drawing, Kind::Coverage);
}

std::shared_ptr<const LayerContent> LayerContent::ofPixels(const CGContext& drawing, Kind kind)
{
    ++rasterised;
    const std::shared_ptr<LayerContent> content(new LayerContent(kind, drawing.pixelWidth(), drawing.pixelHeight()));
    if (kind == Kind::Coverage)
        content->color_ = drawing.soleColor();
    std::size_t stride = 0;
    const std::uint8_t* pixels = drawing.pixels(stride);
    content->keepTiles(pixels, stride);
    return content;
}

std::shared_ptr<const LayerContent> LayerContent::ofImage(std::shared_ptr<const CGImage> image)
{
    const std::shared_ptr<LayerContent> content(new LayerContent(Kind::Picture, image->width(), image->height()));
    content->opaque_ = image->isOpaque();
    content->whole_
        = { 0, 0, image->width(), image->height(), image->stride(), const_cast<std::uint8_t*>(image->pixels()) };
    content->chunks_ = { content->whole_ };
    content->image_ = std::move(image);
    return content;
}

/// Neighbouring tiles of one row of tiles become one chunk.
void LayerContent::keepTiles(const std::uint8_t* pixels, std::size_t stride)
{
    for (int y = 0; y < height_; y += tile) {
        const int height = std::min(tile, height_ - y);
        int begin = -1;
        for (int x = 0; x < width_ + tile; x += tile) {
            const bool full = x < width_ && holdsSomething(pixels, stride, x, y, std::min(tile, width_ - x), height);
            if (full && begin < 0)
                begin = x;
            if (full || begin < 0)
                continue;
            const int end = std::min(x, width_);
            chunks_.push_back({ begin, y, end - begin, height, strideFor(kind_, end - begin), nullptr });
            begin = -1;
        }
    }

    std::size_t size = 0;
    for (const Chunk& chunk : chunks_)
        size += chunk.stride * static_cast<std::size_t>(chunk.height);
    store_.resize(size);
    std::uint8_t* to = store_.data();
    for (Chunk& chunk : chunks_) {
        chunk.data = to;
        for (int row = 0; row < chunk.height; ++row, to += chunk.stride) {
            const std::uint8_t* from
                = pixels + static_cast<std::size_t>(chunk.y + row) * stride + 4 * static_cast<std::size_t>(chunk.x);
            if (kind_ == Kind::Picture) {
                std::memcpy(to, from, 4 * static_cast<std::size_t>(chunk.width));
                continue;
            }
            for (int i = 0; i < chunk.width; ++i)
                to[i] = from[4 * i + 3];
        }
    }
}

const LayerContent::Chunk& LayerContent::whole() const
{
    if (whole_.data)
        return whole_;
    const std::size_t stride = strideFor(kind_, width_);
    wholeStore_.assign(stride * static_cast<std::size_t>(height_), 0);
    for (const Chunk& chunk : chunks_)
        for (int row = 0; row < chunk.height; ++row)
            std::memcpy(wholeStore_.data() + static_cast<std::size_t>(chunk.y + row) * stride
                    + static_cast<std::size_t>(chunk.x) * bytesPerPixel(kind_),
                chunk.data + static_cast<std::size_t>(row) * chunk.stride,
                static_cast<std::size_t>(chunk.width) * bytesPerPixel(kind_));
    whole_ = { 0, 0, width_, height_, stride, wholeStore_.data() };
    return whole_;
}

}
