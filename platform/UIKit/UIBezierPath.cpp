// SPDX-License-Identifier: Apache-2.0
#include "platform/UIKit/UIBezierPath.h"

#include "platform/CoreGraphics/CGContext.h"
#include "platform/UIKit/UIGraphics.h"

namespace velmora {

UIBezierPath::UIBezierPath(CGPath path)
    : path_(std::move(path))
{
}

const ClassInfo& UIBezierPath::staticClass()
{
    static constexpr auto methods = methodTable(method<&UIBezierPath::moveToPoint>("moveToPoint:"),
        method<&UIBezierPath::addLineToPoint>("addLineToPoint:"),
        method<&UIBezierPath::addCurveToPoint>("addCurveToPoint:controlPoint1:controlPoint2:"),
        method<&UIBezierPath::addQuadCurveToPoint>("addQuadCurveToPoint:controlPoint:"),
        method<&UIBezierPath::addArcWithCenter>("addArcWithCenter:radius:startAngle:endAngle:clockwise:"),
        method<&UIBezierPath::closePath>("closePath"), method<&UIBezierPath::appendPath>("appendPath:"),
        method<&UIBezierPath::removeAllPoints>("removeAllPoints"),
        method<&UIBezierPath::applyTransform>("applyTransform:"), method<&UIBezierPath::cgPath>("CGPath"),
        method<&UIBezierPath::setCGPath>("setCGPath:"), method<&UIBezierPath::isEmpty>("isEmpty"),
        method<&UIBezierPath::bounds>("bounds"), method<&UIBezierPath::currentPoint>("currentPoint"),
        method<&UIBezierPath::containsPoint>("containsPoint:"), method<&UIBezierPath::lineWidth>("lineWidth"),
        method<&UIBezierPath::setLineWidth>("setLineWidth:"), method<&UIBezierPath::lineCapStyle>("lineCapStyle"),
        method<&UIBezierPath::setLineCapStyle>("setLineCapStyle:"),
        method<&UIBezierPath::usesEvenOddFillRule>("usesEvenOddFillRule"),
        method<&UIBezierPath::setUsesEvenOddFillRule>("setUsesEvenOddFillRule:"),
        method<&UIBezierPath::stroke>("stroke"), method<&UIBezierPath::fill>("fill"),
        method<&UIBezierPath::addClip>("addClip"));
    static constexpr auto classMethods
        = methodTable(initialiser<UIBezierPath>("init"), classMethod<&UIBezierPath::bezierPath>("bezierPath"),
            classMethod<&UIBezierPath::bezierPathWithCGPath>("bezierPathWithCGPath:"),
            classMethod<&UIBezierPath::bezierPathWithRect>("bezierPathWithRect:"),
            classMethod<&UIBezierPath::bezierPathWithOvalInRect>("bezierPathWithOvalInRect:"),
            classMethod<&UIBezierPath::bezierPathWithRoundedRect>("bezierPathWithRoundedRect:cornerRadius:"),
            classMethod<&UIBezierPath::bezierPathWithArcCenter>(
                "bezierPathWithArcCenter:radius:startAngle:endAngle:clockwise:"));
    static const ClassInfo info { "Velmora.UIBezierPath", &NSObject::staticClass(), methods, classMethods };
    return info;
}

std::shared_ptr<UIBezierPath> UIBezierPath::bezierPath()
{
    return make<UIBezierPath>();
}

std::shared_ptr<UIBezierPath> UIBezierPath::bezierPathWithCGPath(const CGPath& path)
{
    return make<UIBezierPath>(path);
}

std::shared_ptr<UIBezierPath> UIBezierPath::bezierPathWithRect(CGRect rect)
{
    return make<UIBezierPath>(CGPath::withRect(rect));
}

std::shared_ptr<UIBezierPath> UIBezierPath::bezierPathWithOvalInRect(CGRect rect)
{
    return make<UIBezierPath>(CGPath::withEllipseInRect(rect));
}

std::shared_ptr<UIBezierPath> UIBezierPath::bezierPathWithRoundedRect(CGRect rect, double cornerRadius)
{
    return make<UIBezierPath>(CGPath::withRoundedRect(rect, cornerRadius));
}

std::shared_ptr<UIBezierPath> UIBezierPath::bezierPathWithArcCenter(
    CGPoint center, double radius, double startAngle, double endAngle, bool clockwise)
{
    auto path = make<UIBezierPath>();
    path->addArcWithCenter(center, radius, startAngle, endAngle, clockwise);
    return path;
}

void UIBezierPath::addCurveToPoint(CGPoint end, CGPoint control1, CGPoint control2)
{
    path_.addCurveToPoint(control1, control2, end);
}

void UIBezierPath::addQuadCurveToPoint(CGPoint end, CGPoint control)
{
    path_.addQuadCurveToPoint(control, end);
}

void UIBezierPath::addArcWithCenter(CGPoint center, double radius, double startAngle, double endAngle, bool clockwise)
{
    path_.addArc(center, radius, startAngle, endAngle, clockwise);
}

void UIBezierPath::appendPath(const std::shared_ptr<UIBezierPath>& other)
{
    if (other)
        path_.addPath(CGPath(other->path_)); // a copy: it may be this path
}

void UIBezierPath::setLineDash(const std::vector<double>& pattern, double phase)
{
    dashes_ = pattern;
    dashPhase_ = phase;
}

void UIBezierPath::stroke() const
{
    auto* context = UIGraphicsGetCurrentContext();
    if (!context)
        return;
    context->saveGState();
    context->setLineWidth(lineWidth_);
    context->setLineCap(lineCap_);
    context->setLineJoin(lineJoin_);
    context->setMiterLimit(miterLimit_);
    context->setLineDash(dashPhase_, dashes_);
    context->strokePath(path_);
    context->restoreGState();
}

void UIBezierPath::fill() const
{
    if (auto* context = UIGraphicsGetCurrentContext())
        context->fillPath(path_, evenOdd_);
}

void UIBezierPath::addClip() const
{
    if (auto* context = UIGraphicsGetCurrentContext())
        context->clipToPath(path_, evenOdd_);
}

}
