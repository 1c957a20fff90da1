// SPDX-License-Identifier: Apache-2.0
#include "platform/QuartzCore/Region.h"

#include <pixman.h>

#include <algorithm>
#include <utility>

namespace velmora {

struct Region::Native : pixman_region32_t { };

void Region::Deleter::operator()(Native* native) const
{
    pixman_region32_fini(native);
    delete native;
}

Region::Region()
    : native_(new Native)
{
    pixman_region32_init(native_.get());
}

Region::Region(DisplayRect rect)
    : Region()
{
    add(rect);
}

Region::Region(const Region& other)
    : Region()
{
    pixman_region32_copy(native_.get(), other.native_.get());
}

Region::Region(Region&& other) noexcept = default;
Region::~Region() = default;

Region& Region::operator=(Region other) noexcept
{
    native_.swap(other.native_);
    return *this;
}

void Region::add(DisplayRect rect)
{
    if (!velmora::isEmpty(rect))
        pixman_region32_union_rect(native_.get(), native_.get(), rect.x, rect.y, static_cast<unsigned>(rect.width),
            static_cast<unsigned>(rect.height));
}

void Region::add(const Region& other)
{
    pixman_region32_union(native_.get(), native_.get(), other.native_.get());
}

void Region::cut(DisplayRect rect)
{
    pixman_region32_intersect_rect(native_.get(), native_.get(), rect.x, rect.y,
        static_cast<unsigned>(std::max(0, rect.width)), static_cast<unsigned>(std::max(0, rect.height)));
}

void Region::subtract(DisplayRect rect)
{
    subtract(Region(rect));
}

void Region::subtract(const Region& other)
{
    pixman_region32_subtract(native_.get(), native_.get(), other.native_.get());
}

bool Region::isEmpty() const
{
    return pixman_region32_not_empty(native_.get()) == 0;
}

bool Region::intersects(DisplayRect rect) const
{
    Region common(*this);
    common.cut(rect);
    return !common.isEmpty();
}

DisplayRect Region::extent() const
{
    const pixman_box32_t* box = pixman_region32_extents(native_.get());
    return { box->x1, box->y1, box->x2 - box->x1, box->y2 - box->y1 };
}

std::vector<DisplayRect> Region::rects() const
{
    int count = 0;
    const pixman_box32_t* boxes = pixman_region32_rectangles(native_.get(), &count);
    std::vector<DisplayRect> result;
    for (int i = 0; i < count; ++i)
        result.push_back({ boxes[i].x1, boxes[i].y1, boxes[i].x2 - boxes[i].x1, boxes[i].y2 - boxes[i].y1 });
    return result;
}

std::uint64_t Region::area() const
{
    std::uint64_t sum = 0;
    for (const DisplayRect& rect : rects())
        sum += static_cast<std::uint64_t>(rect.width) * static_cast<std::uint64_t>(rect.height);
    return sum;
}

DisplayRect intersection(DisplayRect a, DisplayRect b)
{
    const int left = std::max(a.x, b.x), top = std::max(a.y, b.y);
    const int right = std::min(a.x + a.width, b.x + b.width), bottom = std::min(a.y + a.height, b.y + b.height);
    return { left, top, std::max(0, right - left), std::max(0, bottom - top) };
}

bool isEmpty(DisplayRect rect)
{
    return rect.width <= 0 || rect.height <= 0;
}

}
