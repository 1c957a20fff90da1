// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreGraphics/CGGeometry.h"
#include "platform/Foundation/Export.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>

namespace velmora {

/// Whole pixels.
struct DisplayRect {
    int x = 0, y = 0, width = 0, height = 0;
    bool operator==(const DisplayRect&) const = default;
};

struct DisplayMode {
    int width = 0, height = 0; ///< pixels
    double scale = 1; ///< pixels for a point
    bool operator==(const DisplayMode&) const = default;
};

/// Memory that a frame is drawn into: four bytes a pixel, blue, green, red, and one that nobody shows.
struct DisplayPixels {
    std::uint8_t* data = nullptr;
    std::size_t stride = 0; ///< bytes from row to row
    DisplayMode mode;
    /// Whether it holds the frame that was presented last; otherwise everything must be drawn.
    bool holdsLastFrame = false;
};

enum class DisplayTouchPhase { Began, Moved, Ended, Cancelled };

/// A finger, or the mouse while its main button is down.
struct DisplayTouch {
    std::int64_t id = 0; ///< of the finger, from its begin to its end; the mouse is 0
    DisplayTouchPhase phase = DisplayTouchPhase::Began;
    CGPoint point; ///< points, the display's top left is the origin
    double time = 0; ///< seconds, by the clock in force
    bool operator==(const DisplayTouch&) const = default;
};

enum class DisplayKeyPhase { Pressed, Released };

/// A key of a keyboard: "a", "Space", "Return", "Escape", "AudioVolumeUp" ..., by what is printed on it.
struct DisplayKey {
    std::string name;
    DisplayKeyPhase phase = DisplayKeyPhase::Pressed;
    double time = 0; ///< seconds, by the clock in force
    bool operator==(const DisplayKey&) const = default;
};

/// What a display tells. All of it on the main queue.
struct DisplayEvents {
    std::function<void(const DisplayTouch&)> touch;
    std::function<void(const DisplayKey&)> key;
    std::function<void(const DisplayMode&)> modeChanged; ///< the window has another size
    std::function<void()> exposed; ///< what was shown is lost, or wanted again
    std::function<void()> closed; ///< a person closed the window; it stays until the driver ends
};

/// A screen, a window or a piece of memory that shows frames. Main thread only.
class VELMORA_EXPORT DisplayDriver {
public:
    virtual ~DisplayDriver() = default;
    virtual DisplayMode mode() const = 0;
    /// An empty structure ends the events.
    virtual void setEvents(DisplayEvents events) = 0;
    /// Where the next frame is drawn; good until present().
    virtual DisplayPixels beginFrame() = 0;
    /// Shows these rectangles of what was drawn; they do not overlap, and lie within the mode's size.
    virtual void present(std::span<const DisplayRect> damage) = 0;

    /// Opens the display when it is first asked for; empty when there is none.
    static std::shared_ptr<DisplayDriver> installed();
    static void install(std::shared_ptr<DisplayDriver> driver);
    /// `open` is called once, on the first installed().
    static void installOpening(std::function<std::shared_ptr<DisplayDriver>()> open);
};

}
