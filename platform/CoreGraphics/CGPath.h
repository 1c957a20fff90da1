// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreGraphics/CGAffineTransform.h"
#include "platform/Foundation/Export.h"

#include <array>
#include <cstdint>
#include <vector>

namespace velmora {

enum CGPathElementType : std::int32_t {
    kCGPathElementMoveToPoint = 0,
    kCGPathElementAddLineToPoint = 1,
    kCGPathElementAddQuadCurveToPoint = 2,
    kCGPathElementAddCurveToPoint = 3,
    kCGPathElementCloseSubpath = 4,
};

/// `points`: control points first, the end last; 1, 1, 2, 3 and 0 of them count.
struct CGPathElement {
    CGPathElementType type = kCGPathElementMoveToPoint;
    std::array<CGPoint, 3> points {};
    bool operator==(const CGPathElement&) const = default;
};

enum CGLineCap : std::int32_t { kCGLineCapButt = 0, kCGLineCapRound = 1, kCGLineCapSquare = 2 };
enum CGLineJoin : std::int32_t { kCGLineJoinMiter = 0, kCGLineJoinRound = 1, kCGLineJoinBevel = 2 };

/// Lines and curves. A value: a copy is another path.
class VELMORA_EXPORT CGPath {
public:
    CGPath() = default;
    static CGPath withRect(CGRect rect);
    static CGPath withEllipseInRect(CGRect rect);
    /// A radius beyond half of a side counts as that half.
    static CGPath withRoundedRect(CGRect rect, double radius);

    void moveToPoint(CGPoint point);
    /// Without a current point, this and the curves begin at their end.
    void addLineToPoint(CGPoint point);
    void addQuadCurveToPoint(CGPoint control, CGPoint end);
    void addCurveToPoint(CGPoint control1, CGPoint control2, CGPoint end);
    void closeSubpath();
    void addRect(CGRect rect);
    void addEllipseInRect(CGRect rect);
    void addRoundedRect(CGRect rect, double radius);
    /// A line from the current point to the arc's begin, where there is one, then the arc, in radians from the x axis;
    /// clockwise as it is seen on the screen.
    void addArc(CGPoint center, double radius, double startAngle, double endAngle, bool clockwise);
    void addPath(const CGPath& path);
    void applyTransform(const CGAffineTransform& transform);

    bool isEmpty() const { return elements_.empty(); }
    const std::vector<CGPathElement>& elements() const { return elements_; }
    /// Of the subpath that is open; the origin without one.
    CGPoint currentPoint() const;
    /// Around the curves themselves, not around their control points; CGRectZero for nothing.
    CGRect boundingBox() const;
    /// Whether a fill would cover the point; open subpaths count as closed.
    bool containsPoint(CGPoint point, bool evenOdd = false) const;
    /// Only lines, each curve cut so finely that it strays from itself by less than `tolerance` points.
    CGPath flattened(double tolerance = 0.05) const;
    /// The share of its length between two fractions, 0 to 1; curves become lines.
    CGPath trimmed(double start, double end) const;
    bool operator==(const CGPath& other) const { return elements_ == other.elements_; }

private:
    void add(CGPathElementType type, CGPoint a = {}, CGPoint b = {}, CGPoint c = {});

    std::vector<CGPathElement> elements_;
    CGPoint start_, current_;
};

/// On the way from one path to another; `to` where their elements do not match.
VELMORA_EXPORT CGPath CGPathBetween(const CGPath& from, const CGPath& to, double fraction);

}
