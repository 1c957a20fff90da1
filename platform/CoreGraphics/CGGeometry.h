// SPDX-License-Identifier: Apache-2.0
#pragma once

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

}
