// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/QuartzCore/CADisplay.h"
#include "platform/QuartzCore/LayerScene.h"
#include "platform/QuartzCore/PreviewPicture.h"
#include "platform/QuartzCore/Region.h"

#include <cstdint>
#include <map>
#include <memory>
#include <unordered_map>
#include <vector>

namespace velmora {

/// Puts layers together: lists what they show, finds what differs from the last time, leaves out what is covered, and
/// composites the rest. Main thread only.
class Compositor {
public:
    explicit Compositor(CADisplayCounters& counters);

    /// What must be drawn so that the target shows the tree: what changed since the last call, or everything.
    Region damage(const std::shared_ptr<CALayer>& root, const CGAffineTransform& toTarget, DisplayRect bounds,
        double scale, bool everything, bool marksSeen);
    /// Draws the tree of the last damage() inside `region`; elsewhere the target stays. Four bytes a pixel.
    void draw(const Region& region, std::uint8_t* pixels, std::size_t stride, DisplayRect bounds);
    bool isMoving() const { return moving_; } ///< something in the tree was under way

private:
    struct Target;
    struct Before {
        std::uint64_t state = 0;
        DisplayRect rect, full;
        std::size_t index = 0;
        std::shared_ptr<const LayerContent> tiles; // where not all of `rect` holds something
        std::shared_ptr<CVPixelBuffer> frame;
    };
    /// Part of a target that an item shows, and its place in the scene.
    struct Share {
        std::size_t index;
        Region region;
    };
    using Items = std::vector<SceneItem>;
    /// `limit`: where there is something to draw on.
    static std::vector<Share> visibleShares(
        const Items& items, std::size_t begin, std::size_t end, Region region, DisplayRect limit);
    void addReaches(Region& region, DisplayRect bounds) const;
    void tellPreviews(const std::vector<Share>& visible);
    Region changes(const std::vector<Share>& visible) const;
    void remember();
    void drawRange(const Target& target, const Items& items, std::size_t begin, std::size_t end, const Region& region);
    void drawItem(const Target& target, const Items& items, std::size_t index, const Region& region);
    void drawSolid(const Target& target, const SceneItem& item, const Region& region);
    void drawContent(const Target& target, const SceneItem& item, const Region& region);
    void drawPreview(const Target& target, const SceneItem& item, const Region& region);
    void drawTurnedPreview(const Target& target, const SceneItem& item, const Region& region);
    void drawBackdrop(const Target& target, const SceneItem& item, const Region& region);
    void drawGroup(const Target& target, const Items& items, std::size_t index, const Region& region);

    CADisplayCounters& counters_;
    RoundedMasks masks_;
    Items items_;
    std::unordered_map<std::uint64_t, Before> before_;
    std::map<std::uint64_t, PreviewPicture> previews_; // by item
    std::vector<std::weak_ptr<CALayer>> shownPreviews_; // by the last frame
    bool moving_ = false;
};

}
