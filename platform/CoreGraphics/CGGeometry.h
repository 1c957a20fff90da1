// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cmath>

namespace velmora {

/// Places, sizes and rectangles, in points unless somebody says otherwise; y grows downwards.
struct CGPoint {
    double x = 0, y = 0;
    bool operator==(const CGPoint&) const = default;
};

struct CGSize {
    double width = 0, height = 0;
    bool operator==(const CGSize&) const = default;
};

struct CGRect {
    CGPoint origin;
    CGSize size;
    bool operator==(const CGRect&) const = default;
};

inline constexpr CGPoint CGPointZero {};
inline constexpr CGSize CGSizeZero {};
inline constexpr CGRect CGRectZero {};

constexpr CGPoint CGPointMake(double x, double y)
{
    return { x, y };
}
constexpr CGSize CGSizeMake(double width, double height)
{
    return { width, height };
}
constexpr CGRect CGRectMake(double x, double y, double width, double height)
{
    return { { x, y }, { width, height } };
}

// Sizes are taken as they are stored: whoever makes a rectangle gives it a width and a height of 0 or more.

constexpr double CGRectGetMinX(CGRect rect)
{
    return rect.origin.x;
}
constexpr double CGRectGetMidX(CGRect rect)
{
    return rect.origin.x + rect.size.width / 2;
}
constexpr double CGRectGetMaxX(CGRect rect)
{
    return rect.origin.x + rect.size.width;
}
constexpr double CGRectGetMinY(CGRect rect)
{
    return rect.origin.y;
}
constexpr double CGRectGetMidY(CGRect rect)
{
    return rect.origin.y + rect.size.height / 2;
}
constexpr double CGRectGetMaxY(CGRect rect)
{
    return rect.origin.y + rect.size.height;
}
constexpr bool CGRectIsEmpty(CGRect rect)
{
    return rect.size.width <= 0 || rect.size.height <= 0;
}

/// Moves each edge inwards; negative distances move them outwards. Insets that leave nothing answer an empty rectangle
/// in the middle.
constexpr CGRect CGRectInset(CGRect rect, double dx, double dy)
{
    const double width = std::max(0.0, rect.size.width - 2 * dx), height = std::max(0.0, rect.size.height - 2 * dy);
    return CGRectMake(CGRectGetMidX(rect) - width / 2, CGRectGetMidY(rect) - height / 2, width, height);
}
constexpr CGRect CGRectOffset(CGRect rect, double dx, double dy)
{
    return { { rect.origin.x + dx, rect.origin.y + dy }, rect.size };
}
/// The least edges are inside, the greatest outside: rectangles side by side share no point.
constexpr bool CGRectContainsPoint(CGRect rect, CGPoint point)
{
    return point.x >= CGRectGetMinX(rect) && point.x < CGRectGetMaxX(rect) && point.y >= CGRectGetMinY(rect)
        && point.y < CGRectGetMaxY(rect);
}
/// CGRectZero where they do not overlap.
constexpr CGRect CGRectIntersection(CGRect a, CGRect b)
{
    const double left = std::max(a.origin.x, b.origin.x), top = std::max(a.origin.y, b.origin.y);
    const double right = std::min(CGRectGetMaxX(a), CGRectGetMaxX(b));
    const double bottom = std::min(CGRectGetMaxY(a), CGRectGetMaxY(b));
    return right > left && bottom > top ? CGRectMake(left, top, right - left, bottom - top) : CGRectZero;
}
constexpr bool CGRectIntersectsRect(CGRect a, CGRect b)
{
    return !CGRectIsEmpty(CGRectIntersection(a, b));
}
/// The least rectangle that holds both; an empty one counts for nothing.
constexpr CGRect CGRectUnion(CGRect a, CGRect b)
{
    if (CGRectIsEmpty(a))
        return b;
    if (CGRectIsEmpty(b))
        return a;
    const double left = std::min(a.origin.x, b.origin.x), top = std::min(a.origin.y, b.origin.y);
    return CGRectMake(left, top, std::max(CGRectGetMaxX(a), CGRectGetMaxX(b)) - left,
        std::max(CGRectGetMaxY(a), CGRectGetMaxY(b)) - top);
}
/// The least rectangle on whole numbers that holds it.
inline CGRect CGRectIntegral(CGRect rect)
{
    const double left = std::floor(rect.origin.x), top = std::floor(rect.origin.y);
    return CGRectMake(left, top, std::ceil(CGRectGetMaxX(rect)) - left, std::ceil(CGRectGetMaxY(rect)) - top);
}

}
