// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreGraphics/CGAffineTransform.h"
#include "platform/Foundation/Export.h"

namespace velmora {

/// A transform in space, row vectors from the left. Layers draw its share of the plane.
struct CATransform3D {
    double m11 = 1, m12 = 0, m13 = 0, m14 = 0;
    double m21 = 0, m22 = 1, m23 = 0, m24 = 0;
    double m31 = 0, m32 = 0, m33 = 1, m34 = 0;
    double m41 = 0, m42 = 0, m43 = 0, m44 = 1;
    bool operator==(const CATransform3D&) const = default;
};

inline constexpr CATransform3D CATransform3DIdentity {};

constexpr bool CATransform3DIsIdentity(const CATransform3D& t)
{
    return t == CATransform3DIdentity;
}
constexpr CATransform3D CATransform3DMakeScale(double x, double y, double z)
{
    CATransform3D t;
    t.m11 = x;
    t.m22 = y;
    t.m33 = z;
    return t;
}
constexpr CATransform3D CATransform3DMakeTranslation(double x, double y, double z)
{
    CATransform3D t;
    t.m41 = x;
    t.m42 = y;
    t.m43 = z;
    return t;
}
constexpr CATransform3D CATransform3DMakeAffineTransform(const CGAffineTransform& flat)
{
    CATransform3D t;
    t.m11 = flat.a;
    t.m12 = flat.b;
    t.m21 = flat.c;
    t.m22 = flat.d;
    t.m41 = flat.tx;
    t.m42 = flat.ty;
    return t;
}
/// What of it happens in the plane.
constexpr CGAffineTransform CATransform3DGetAffineTransform(const CATransform3D& t)
{
    return { t.m11, t.m12, t.m21, t.m22, t.m41, t.m42 };
}

}
