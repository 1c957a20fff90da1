// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/NSObject.h"
#include "platform/QuartzCore/DisplayDriver.h"

#include <cstdint>
#include <functional>
#include <memory>

namespace velmora {

class CALayer;
class Compositor;

/// What was done to show frames, since the display was made. Counts of one machine are those of every machine.
struct CADisplayCounters {
    std::uint64_t ticks = 0; ///< times that somebody looked whether a frame is due
    std::uint64_t frames = 0; ///< frames that were shown
    std::uint64_t rasterCount = 0; ///< contents that were drawn: layers, shapes, masks of rounded corners
    std::uint64_t compositedLayers = 0; ///< pieces of layers that were put together
    std::uint64_t compositedPixels = 0; ///< pixels written for them
    std::uint64_t presentedPixels = 0; ///< pixels of the damage that was shown
    std::uint64_t previewConversions = 0; ///< camera frames that were scaled and converted
    std::uint64_t previewCopies = 0; ///< camera frames that had to be copied on the way; none is
};

/// Shows a tree of layers on a display. A change of a layer in the tree asks for a frame by itself; the frame comes at
/// the next tick of 60 a second by the clock in force: layout, drawing of what needs it, and the damage alone. Nothing
/// changed: no tick, no frame, nobody wakes up. Main thread only.
class VELMORA_EXPORT CADisplay : public NSObject {
public:
    explicit CADisplay(std::shared_ptr<DisplayDriver> driver);
    ~CADisplay() override;
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    /// The origin and the size, in points.
    CGRect bounds() const;
    double scale() const; ///< pixels for a point
    const std::shared_ptr<DisplayDriver>& driver() const { return driver_; }
    /// As large as the display, black; windows' layers are its sublayers.
    const std::shared_ptr<CALayer>& rootLayer() const { return root_; }

    // Who gets the events. `modeChanged` comes when the root layer has its new size; `exposed` is answered here.
    void setEventHandlers(DisplayEvents handlers);

    /// Asks for a tick. Layers in the tree do it by themselves.
    void setNeedsFrame();
    /// Does now what the next tick would do. Answers whether a frame was shown.
    bool renderIfNeeded();
    /// The same, drawing and showing everything.
    void renderAll();
    CADisplayCounters counters() const;

    // For layers and preview layers.
    void frameArrived(); ///< from any thread: a camera frame for a layer that is seen

protected:
    void didConstruct() override;

private:
    void scheduleTick();
    void tick();
    bool render(bool everything);
    void modeChanged(const DisplayMode& mode);

    const std::shared_ptr<DisplayDriver> driver_;
    std::shared_ptr<CALayer> root_;
    std::unique_ptr<Compositor> compositor_;
    DisplayEvents handlers_;
    bool tickScheduled_ = false, needsFrame_ = false, everything_ = true;
    double lastTick_ = -1; // seconds
    CADisplayCounters counters_;
};

}
