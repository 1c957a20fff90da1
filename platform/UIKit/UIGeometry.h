// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreGraphics/CGGeometry.h"

#include <cstdint>

namespace velmora {

/// Distances from the edges of a rectangle inwards, in points.
struct UIEdgeInsets {
    double top = 0, left = 0, bottom = 0, right = 0;
    bool operator==(const UIEdgeInsets&) const = default;
};

inline constexpr UIEdgeInsets UIEdgeInsetsZero {};

constexpr UIEdgeInsets UIEdgeInsetsMake(double top, double left, double bottom, double right)
{
    return { top, left, bottom, right };
}
/// What is left of `rect`; it may have a negative size where the insets overlap.
constexpr CGRect UIEdgeInsetsInsetRect(CGRect rect, UIEdgeInsets insets)
{
    return CGRectMake(rect.origin.x + insets.left, rect.origin.y + insets.top,
        rect.size.width - insets.left - insets.right, rect.size.height - insets.top - insets.bottom);
}

}
