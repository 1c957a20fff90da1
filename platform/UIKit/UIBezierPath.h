// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreGraphics/CGPath.h"
#include "platform/Foundation/NSObject.h"

#include <memory>
#include <vector>

namespace velmora {

/// A path together with the way its line is drawn. One thread at a time.
class VELMORA_EXPORT UIBezierPath : public NSObject {
public:
    UIBezierPath() = default;
    explicit UIBezierPath(CGPath path);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    static std::shared_ptr<UIBezierPath> bezierPath();
    static std::shared_ptr<UIBezierPath> bezierPathWithCGPath(const CGPath& path);
    static std::shared_ptr<UIBezierPath> bezierPathWithRect(CGRect rect);
    static std::shared_ptr<UIBezierPath> bezierPathWithOvalInRect(CGRect rect);
    static std::shared_ptr<UIBezierPath> bezierPathWithRoundedRect(CGRect rect, double cornerRadius);
    /// Radians from the x axis; clockwise as it is seen on the screen.
    static std::shared_ptr<UIBezierPath> bezierPathWithArcCenter(
        CGPoint center, double radius, double startAngle, double endAngle, bool clockwise);

    void moveToPoint(CGPoint point) { path_.moveToPoint(point); }
    void addLineToPoint(CGPoint point) { path_.addLineToPoint(point); }
    void addCurveToPoint(CGPoint end, CGPoint control1, CGPoint control2);
    void addQuadCurveToPoint(CGPoint end, CGPoint control);
    /// With a line from the current point, where there is one.
    void addArcWithCenter(CGPoint center, double radius, double startAngle, double endAngle, bool clockwise);
    void closePath() { path_.closeSubpath(); }
    void appendPath(const std::shared_ptr<UIBezierPath>& other);
    void removeAllPoints() { path_ = CGPath(); }
    void applyTransform(const CGAffineTransform& transform) { path_.applyTransform(transform); }

    /// A copy: the elements, to look at and for shape layers.
    const CGPath& cgPath() const { return path_; }
    void setCGPath(const CGPath& path) { path_ = path; }
    bool isEmpty() const { return path_.isEmpty(); }
    CGRect bounds() const { return path_.boundingBox(); }
    CGPoint currentPoint() const { return path_.currentPoint(); }
    /// Whether a fill covers it.
    bool containsPoint(CGPoint point) const { return path_.containsPoint(point, evenOdd_); }

    double lineWidth() const { return lineWidth_; } ///< points; 1 at first
    void setLineWidth(double width) { lineWidth_ = width; }
    CGLineCap lineCapStyle() const { return lineCap_; }
    void setLineCapStyle(CGLineCap cap) { lineCap_ = cap; }
    CGLineJoin lineJoinStyle() const { return lineJoin_; }
    void setLineJoinStyle(CGLineJoin join) { lineJoin_ = join; }
    double miterLimit() const { return miterLimit_; }
    void setMiterLimit(double limit) { miterLimit_ = limit; }
    bool usesEvenOddFillRule() const { return evenOdd_; }
    void setUsesEvenOddFillRule(bool evenOdd) { evenOdd_ = evenOdd; }
    /// Points of line and gap in turn; empty for a full line.
    void setLineDash(const std::vector<double>& pattern, double phase);

    // Into the current context, in its colours; nothing happens without one.
    void stroke() const;
    void fill() const;
    void addClip() const;

private:
    CGPath path_;
    double lineWidth_ = 1, miterLimit_ = 10, dashPhase_ = 0;
    CGLineCap lineCap_ = kCGLineCapButt;
    CGLineJoin lineJoin_ = kCGLineJoinMiter;
    bool evenOdd_ = false;
    std::vector<double> dashes_;
};

}
