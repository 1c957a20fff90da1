// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreGraphics/CGColor.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace velmora {

class CGContext;
class CGImage;

/// Something rasterised, ready to be composited: a premultiplied picture, or coverage (one byte a pixel) where one
/// colour says the rest. Empty tiles are neither kept nor composited. Immutable.
class LayerContent {
public:
    enum class Kind { Picture, Coverage };
    /// A rectangle of the content that holds something.
    struct Chunk {
        int x = 0, y = 0, width = 0, height = 0; // pixels
        std::size_t stride = 0; // bytes, a multiple of 4
        std::uint8_t* data = nullptr;
    };

    /// What was drawn: coverage when it had one opaque colour. Empty when nothing was drawn.
    static std::shared_ptr<const LayerContent> ofDrawing(const CGContext& drawing);
    /// What was drawn, without its colours.
    static std::shared_ptr<const LayerContent> coverageOfDrawing(const CGContext& drawing);
    /// By reference.
    static std::shared_ptr<const LayerContent> ofImage(std::shared_ptr<const CGImage> image);
    /// Contents made of drawings since the process began.
    static std::uint64_t rasterCount();

    Kind kind() const { return kind_; }
    int width() const { return width_; } // pixels
    int height() const { return height_; }
    bool isOpaque() const { return opaque_; }
    const std::optional<CGColor>& color() const { return color_; } // of coverage that was drawn in one
    const std::vector<Chunk>& chunks() const { return chunks_; }
    /// All of it as one chunk, for what stretches or turns it; made when it is first asked for. Main thread only.
    const Chunk& whole() const;
    /// Never used again for another content.
    std::uint64_t identity() const { return identity_; }
    std::size_t bytes() const { return store_.size(); }

private:
    LayerContent(Kind kind, int width, int height);
    static std::shared_ptr<const LayerContent> ofPixels(const CGContext& drawing, Kind kind);
    void keepTiles(const std::uint8_t* pixels, std::size_t stride);

    Kind kind_;
    int width_, height_;
    bool opaque_ = false;
    std::uint64_t identity_;
    std::optional<CGColor> color_;
    std::vector<Chunk> chunks_;
    std::vector<std::uint8_t> store_;
    std::shared_ptr<const CGImage> image_;
    mutable std::vector<std::uint8_t> wholeStore_;
    mutable Chunk whole_;
};

}
