// SPDX-License-Identifier: Apache-2.0
#include "platform/CoreGraphics/CGAffineTransform.h"

#include <numbers>

namespace velmora {

CGAffineTransform CGAffineTransformMakeRotation(double radians)
{
    const double sine = std::sin(radians), cosine = std::cos(radians);
    return { cosine, sine, -sine, cosine, 0, 0 };
}

CGAffineTransform CGAffineTransformRotate(const CGAffineTransform& t, double radians)
{
    return CGAffineTransformConcat(CGAffineTransformMakeRotation(radians), t);
}

CGAffineTransform CGAffineTransformInvert(const CGAffineTransform& t)
{
    const double det = determinant(t);
    if (det == 0)
        return t;
    return { t.d / det, -t.b / det, -t.c / det, t.a / det, (t.c * t.ty - t.d * t.tx) / det,
        (t.b * t.tx - t.a * t.ty) / det };
}

CGRect CGRectApplyAffineTransform(CGRect rect, const CGAffineTransform& t)
{
    const CGPoint corners[] = { rect.origin, { CGRectGetMaxX(rect), rect.origin.y },
        { rect.origin.x, CGRectGetMaxY(rect) }, { CGRectGetMaxX(rect), CGRectGetMaxY(rect) } };
    CGPoint least = CGPointApplyAffineTransform(corners[0], t), greatest = least;
    for (const CGPoint corner : corners) {
        const CGPoint moved = CGPointApplyAffineTransform(corner, t);
        least = { std::min(least.x, moved.x), std::min(least.y, moved.y) };
        greatest = { std::max(greatest.x, moved.x), std::max(greatest.y, moved.y) };
    }
    return CGRectMake(least.x, least.y, greatest.x - least.x, greatest.y - least.y);
}

namespace {

struct Parts {
    double scaleX = 1, scaleY = 1, shear = 0, angle = 0;
};

Parts partsOf(const CGAffineTransform& t)
{
    Parts parts;
    parts.scaleX = std::hypot(t.a, t.b);
    if (parts.scaleX == 0) // nothing is left of x: y alone tells the turn
        return { 0, std::hypot(t.c, t.d), 0, t.c == 0 && t.d == 0 ? 0 : std::atan2(-t.c, t.d) };
    parts.angle = std::atan2(t.b, t.a);
    parts.scaleY = determinant(t) / parts.scaleX;
    parts.shear = (t.a * t.c + t.b * t.d) / (parts.scaleX * parts.scaleX);
    return parts;
}

double between(double from, double to, double fraction)
{
    return from + (to - from) * fraction;
}

}

CGAffineTransform CGAffineTransformBetween(const CGAffineTransform& from, const CGAffineTransform& to, double fraction)
{
    if (fraction == 0)
        return from;
    if (fraction == 1)
        return to;
    const double tx = between(from.tx, to.tx, fraction), ty = between(from.ty, to.ty, fraction);
    if (from.b == 0 && from.c == 0 && to.b == 0 && to.c == 0)
        return { between(from.a, to.a, fraction), 0, 0, between(from.d, to.d, fraction), tx, ty };

    Parts a = partsOf(from), b = partsOf(to);
    if (a.scaleX == 0 && a.scaleY == 0)
        a.angle = b.angle; // a point has no direction
    if (b.scaleX == 0 && b.scaleY == 0)
        b.angle = a.angle;
    const double turn = std::remainder(b.angle - a.angle, 2 * std::numbers::pi);
    const double scaleX = between(a.scaleX, b.scaleX, fraction), scaleY = between(a.scaleY, b.scaleY, fraction);
    const CGAffineTransform stretch { scaleX, 0, between(a.shear, b.shear, fraction) * scaleX, scaleY, 0, 0 };
    auto result = CGAffineTransformConcat(stretch, CGAffineTransformMakeRotation(a.angle + turn * fraction));
    result.tx = tx;
    result.ty = ty;
    return result;
}

}
