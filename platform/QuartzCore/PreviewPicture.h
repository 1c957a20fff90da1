// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/QuartzCore/CALayer.h"
#include "platform/QuartzCore/DisplayDriver.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace velmora {

/// A camera frame in the size, turn and mirroring in which a layer shows it, still in the camera's colours; these
/// become the display's only where somebody asks for them. Kept until the frame or its place is another one. Main
/// thread only.
class PreviewPicture {
public:
    /// Makes it of `preview`, whose whole picture covers `whole` of the target, of which `seen` can be shown. Answers
    /// whether something had to be done. `whole` and `seen` in pixels of the target.
    bool prepare(const LayerPreview& preview, DisplayRect whole, DisplayRect seen);
    /// Writes `rect`, which lies within what can be shown, as opaque pixels; `pixels` is where the target's (0, 0)
    /// lies.
    void convert(DisplayRect rect, std::uint8_t* pixels, std::size_t stride);
    bool holds(const CVPixelBuffer* frame) const { return frame_.get() == frame; }

private:
    struct Plane {
        const std::uint8_t* data = nullptr;
        int stride = 0, width = 0, height = 0;
    };
    struct Crop {
        int x = 0, y = 0, width = 0, height = 0;
    };
    Crop cropOf(const LayerPreview& preview, DisplayRect whole) const;
    void fitBiPlanar(Crop crop, int rotation, bool flipped);
    void fitPacked(Crop crop, int rotation, bool flipped);
    void turnBiPlanar(const std::uint8_t* y, int yStride, const std::uint8_t* uv, int uvStride, int width, int height,
        int rotation, bool flipped, std::vector<std::uint8_t>& store);
    void scaleTurned(); ///< to what can be seen, after turning
    void convertRows(int x, int y, int width, int height, std::uint8_t* to, std::size_t stride) const;

    std::shared_ptr<CVPixelBuffer> frame_; // by reference, as the camera gave it
    DisplayRect whole_, seen_;
    int rotation_ = 0;
    bool mirrored_ = false, packed_ = false, videoRange_ = false;
    Plane y_, u_, v_; // v is empty where u holds both in turn; packed pixels lie in y
    std::vector<std::uint8_t> scaled_, turned_, rows_;
};

}
