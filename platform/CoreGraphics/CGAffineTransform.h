// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreGraphics/CGGeometry.h"
#include "platform/Foundation/Export.h"

namespace velmora {

/// x' = a x + c y + tx, y' = b x + d y + ty. Angles are in radians and turn clockwise on the screen.
struct CGAffineTransform {
    double a = 1, b = 0, c = 0, d = 1, tx = 0, ty = 0;
    bool operator==(const CGAffineTransform&) const = default;
};

inline constexpr CGAffineTransform CGAffineTransformIdentity {};

constexpr bool CGAffineTransformIsIdentity(const CGAffineTransform& t)
{
    return t == CGAffineTransformIdentity;
}
/// Exact: no tolerance.
constexpr bool CGAffineTransformEqualToTransform(const CGAffineTransform& a, const CGAffineTransform& b)
{
    return a == b;
}
constexpr CGAffineTransform CGAffineTransformMake(double a, double b, double c, double d, double tx, double ty)
{
    return { a, b, c, d, tx, ty };
}
constexpr CGAffineTransform CGAffineTransformMakeTranslation(double x, double y)
{
    return { 1, 0, 0, 1, x, y };
}
constexpr CGAffineTransform CGAffineTransformMakeScale(double x, double y)
{
    return { x, 0, 0, y, 0, 0 };
}
VELMORA_EXPORT CGAffineTransform CGAffineTransformMakeRotation(double radians);

/// First `first`, then `second`.
constexpr CGAffineTransform CGAffineTransformConcat(const CGAffineTransform& first, const CGAffineTransform& second)
{
    return { first.a * second.a + first.b * second.c, first.a * second.b + first.b * second.d,
        first.c * second.a + first.d * second.c, first.c * second.b + first.d * second.d,
        first.tx * second.a + first.ty * second.c + second.tx, first.tx * second.b + first.ty * second.d + second.ty };
}

// What is added happens first, in the coordinates that `t` is applied to.
constexpr CGAffineTransform CGAffineTransformTranslate(const CGAffineTransform& t, double x, double y)
{
    return CGAffineTransformConcat(CGAffineTransformMakeTranslation(x, y), t);
}
constexpr CGAffineTransform CGAffineTransformScale(const CGAffineTransform& t, double x, double y)
{
    return CGAffineTransformConcat(CGAffineTransformMakeScale(x, y), t);
}
VELMORA_EXPORT CGAffineTransform CGAffineTransformRotate(const CGAffineTransform& t, double radians);

constexpr double determinant(const CGAffineTransform& t)
{
    return t.a * t.d - t.b * t.c;
}
/// The transform itself where it has no inverse.
VELMORA_EXPORT CGAffineTransform CGAffineTransformInvert(const CGAffineTransform& t);

constexpr CGPoint CGPointApplyAffineTransform(CGPoint point, const CGAffineTransform& t)
{
    return { t.a * point.x + t.c * point.y + t.tx, t.b * point.x + t.d * point.y + t.ty };
}
constexpr CGSize CGSizeApplyAffineTransform(CGSize size, const CGAffineTransform& t)
{
    return { t.a * size.width + t.c * size.height, t.b * size.width + t.d * size.height };
}
/// The least upright rectangle around the four corners.
VELMORA_EXPORT CGRect CGRectApplyAffineTransform(CGRect rect, const CGAffineTransform& t);

/// The way from one transform to another at `fraction`: turn, scale, shear and shift each for itself, so that a half
/// turn does not pass through nothing.
VELMORA_EXPORT CGAffineTransform CGAffineTransformBetween(
    const CGAffineTransform& from, const CGAffineTransform& to, double fraction);

}
