// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/QuartzCore/CALayer.h"
#include "platform/QuartzCore/DisplayDriver.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <tuple>
#include <vector>

namespace velmora {

class LayerContent;

/// One step of compositing, in pixels of the target. A group's steps follow it, up to its `end`.
struct SceneItem {
    enum class Kind { Solid, Content, Preview, Group, Backdrop };
    Kind kind = Kind::Solid;
    std::uint64_t key = 0; ///< of the layer and the part of it; the same in the next frame
    DisplayRect rect; ///< what it may touch, cut by the masks around it
    DisplayRect full; ///< the same, uncut
    double opacity = 1;
    bool opaque = false; ///< covers all of `rect`
    std::optional<CGColor> color; ///< of a solid, of coverage, of a tinted picture
    std::shared_ptr<const LayerContent> content; ///< of a group and a backdrop: the mask that rounds it
    CGAffineTransform toTarget; ///< from the content's pixels
    bool isMove = false; ///< `toTarget` only moves, by whole pixels
    bool isUpright = true; ///< it keeps rectangles upright
    std::shared_ptr<CALayer> layer; ///< of a preview
    std::optional<LayerPreview> preview;
    std::size_t end = 0; ///< of a group: the index behind its last step
    std::shared_ptr<const std::vector<SceneItem>> mask; ///< of a group: what a mask layer shows
    bool screens = false; ///< of a group: it brightens what lies beneath
    double blur = 0; ///< of a backdrop: the standard deviation
    DisplayRect reach; ///< of a backdrop and groups with one: what lies beneath here is looked at
    std::uint64_t state = 0; ///< differs when anything but a preview's frame does
};

/// The masks that round backgrounds, borders and groups, kept from frame to frame.
class RoundedMasks {
public:
    /// Pixels. `border` is the thickness of a ring; 0 fills.
    std::shared_ptr<const LayerContent> get(int width, int height, double radius, double border);
    void frameEnded(); ///< forgets what this frame did not use

private:
    struct Entry {
        std::shared_ptr<const LayerContent> content;
        bool used = true;
    };
    std::map<std::tuple<int, int, double, double>, Entry> entries_;
};

/// Lists what a tree of layers shows at this moment, from the back to the front.
class SceneBuilder {
public:
    /// `scale`: pixels for a point of the target. `marksSeen`: a display shows it.
    SceneBuilder(RoundedMasks& masks, double scale, bool marksSeen);
    /// `toTarget`: from the coordinates around the layer to pixels. `clip`: pixels.
    std::vector<SceneItem> build(
        const std::shared_ptr<CALayer>& layer, const CGAffineTransform& toTarget, DisplayRect clip);
    bool isMoving() const { return anyMoving_; } ///< something in the tree is under way

private:
    struct Surroundings {
        CGAffineTransform toTarget;
        DisplayRect clip;
        bool moving = false;
        std::uint64_t state = 0;
    };
    struct Place;
    void add(const std::shared_ptr<CALayer>& layer, const Surroundings& around);
    void addInside(const std::shared_ptr<CALayer>& layer, CALayer& shown, const Place& place);
    void addBackground(const CALayer& shown, const Place& place);
    void addBackdrop(const CALayer& shown, const Place& place);
    void addPreview(const std::shared_ptr<CALayer>& layer, const Place& place);
    void addPieces(CALayer& shown, const Place& place);
    void addBorder(const CALayer& shown, const Place& place);
    void addSolid(const Place& place, CGRect rect, CGColor color, int part);
    void addContent(const Place& place, const LayerPiece& piece, int part);
    void addRounded(const Place& place, CGColor color, double border, int part);
    bool needsGroup(const std::shared_ptr<CALayer>& layer, CALayer& shown, const Place& place) const;
    std::size_t openGroup(const CALayer& shown, const Place& place);
    void roundOff(SceneItem& item, const Place& place);
    void push(SceneItem item, std::uint64_t around);

    RoundedMasks& masks_;
    double scale_;
    bool marksSeen_, anyMoving_ = false;
    std::vector<SceneItem> items_;
};

}
