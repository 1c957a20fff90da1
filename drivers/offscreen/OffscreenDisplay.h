// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Export.h"
#include "platform/QuartzCore/DisplayDriver.h"

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace velmora::drivers::offscreen {

/// A display without a screen: frames lie in memory, and touches come from whoever calls. Main thread only.
class VELMORA_EXPORT OffscreenDisplay final : public DisplayDriver {
public:
    /// Throws NSException for a size of nothing or beyond 16384 pixels a side, and for a scale of 0 or less.
    static std::shared_ptr<OffscreenDisplay> withSize(CGSize points, double scale);

    DisplayMode mode() const override { return mode_; }
    void setEvents(DisplayEvents events) override { events_ = std::move(events); }
    DisplayPixels beginFrame() override;
    void present(std::span<const DisplayRect> damage) override;

    /// Like a window that is resized.
    void setSize(CGSize points, double scale);
    /// Like a window that was covered.
    void expose();
    /// At this moment of the clock in force.
    void touch(DisplayTouchPhase phase, CGPoint point, std::int64_t id = 0);
    void key(const std::string& name, DisplayKeyPhase phase);

    /// Red, green and blue, 0 to 255, of what was presented last. Throws NSException outside the display.
    std::array<int, 3> colorAt(int x, int y) const;
    /// Rows of blue, green, red, 255 without gaps, as they were presented last.
    const std::vector<std::uint8_t>& pixels() const { return pixels_; }
    /// The frame as an RGB picture; the same frame makes the same bytes. Throws NSError when the file cannot be
    /// written.
    void writePNG(const std::string& path) const;
    std::uint64_t presentedFrames() const { return frames_; }
    /// Of the last frame.
    const std::vector<DisplayRect>& lastDamage() const { return damage_; }

private:
    explicit OffscreenDisplay(DisplayMode mode);

    DisplayMode mode_;
    DisplayEvents events_;
    std::vector<std::uint8_t> pixels_;
    std::vector<DisplayRect> damage_;
    std::uint64_t frames_ = 0;
};

/// Opens a display of this size when one is first asked for, in force of any other.
VELMORA_EXPORT void install(CGSize points, double scale);

}
