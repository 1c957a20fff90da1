// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/QuartzCore/DisplayDriver.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace velmora {

/// A set of pixels, kept as rectangles that do not overlap.
class Region {
public:
    Region();
    explicit Region(DisplayRect rect);
    Region(const Region& other);
    Region(Region&& other) noexcept;
    Region& operator=(Region other) noexcept;
    ~Region();

    void add(DisplayRect rect);
    void add(const Region& other);
    void cut(DisplayRect rect); ///< keeps what lies inside
    void subtract(DisplayRect rect);
    void subtract(const Region& other);
    bool isEmpty() const;
    bool intersects(DisplayRect rect) const;
    DisplayRect extent() const;
    std::vector<DisplayRect> rects() const;
    std::uint64_t area() const; ///< pixels
    /// The library's own structure, for the sources that draw.
    void* native() const { return native_.get(); }

private:
    struct Native;
    struct Deleter {
        void operator()(Native* native) const;
    };
    std::unique_ptr<Native, Deleter> native_;
};

DisplayRect intersection(DisplayRect a, DisplayRect b);
bool isEmpty(DisplayRect rect);

}
