// SPDX-License-Identifier: Apache-2.0
#include "platform/QuartzCore/CAShapeLayer.h"

#include "platform/CoreGraphics/CGContext.h"
#include "platform/QuartzCore/LayerContent.h"

#include <algorithm>
#include <cmath>
#include <tuple>

namespace velmora {

namespace {

CAValue valueOf(const std::optional<CGColor>& color)
{
    return color.value_or(CGColor { 0, 0, 0, 0 });
}

CGLineCap capNamed(const std::string& name)
{
    return name == kCALineCapRound ? kCGLineCapRound : name == kCALineCapSquare ? kCGLineCapSquare : kCGLineCapButt;
}

CGLineJoin joinNamed(const std::string& name)
{
    return name == kCALineJoinRound ? kCGLineJoinRound : name == kCALineJoinBevel ? kCGLineJoinBevel : kCGLineJoinMiter;
}

}

/// Fill and stroke as they were rasterised last, and what of the shape went into them.
struct CAShapeLayer::Rasters {
    std::shared_ptr<const LayerContent> fill, stroke;
    Shape shape;
    CGRect frame;
    double scale = 0;

    bool fits(const Shape& other) const
    {
        const auto lines = [](const Shape& s) {
            return std::tie(s.path, s.fillRule, s.lineCap, s.lineJoin, s.lineWidth, s.miterLimit, s.lineDashPhase,
                s.strokeStart, s.strokeEnd, s.lineDashPattern);
        };
        return scale > 0 && lines(shape) == lines(other);
    }
};

CAShapeLayer::CAShapeLayer()
    : rasters_(std::make_shared<Rasters>())
{
}

CAShapeLayer::~CAShapeLayer() = default;

std::shared_ptr<CAShapeLayer> CAShapeLayer::layer()
{
    return make<CAShapeLayer>();
}

const ClassInfo& CAShapeLayer::staticClass()
{
    using Self = CAShapeLayer;
    static constexpr auto methods = methodTable(method<&Self::path>("path"), method<&Self::setPath>("setPath:"),
        method<&Self::fillColor>("fillColor"), method<&Self::setFillColor>("setFillColor:"),
        method<&Self::strokeColor>("strokeColor"), method<&Self::setStrokeColor>("setStrokeColor:"),
        method<&Self::fillRule>("fillRule"), method<&Self::setFillRule>("setFillRule:"),
        method<&Self::lineWidth>("lineWidth"), method<&Self::setLineWidth>("setLineWidth:"),
        method<&Self::strokeStart>("strokeStart"), method<&Self::setStrokeStart>("setStrokeStart:"),
        method<&Self::strokeEnd>("strokeEnd"), method<&Self::setStrokeEnd>("setStrokeEnd:"));
    static constexpr auto classMethods
        = methodTable(initialiser<CAShapeLayer>("init"), classMethod<&CAShapeLayer::layer>("layer"));
    static const ClassInfo info { "Velmora.CAShapeLayer", &CALayer::staticClass(), methods, classMethods };
    return info;
}

template <class T> void CAShapeLayer::store(T& member, const T& value)
{
    member = value;
    requestFrame();
}

void CAShapeLayer::setPath(const std::optional<CGPath>& path)
{
    store(shape_.path, path);
}

void CAShapeLayer::setFillColor(const std::optional<CGColor>& color)
{
    assign(shape_.fillColor, color, "fillColor");
}

void CAShapeLayer::setStrokeColor(const std::optional<CGColor>& color)
{
    assign(shape_.strokeColor, color, "strokeColor");
}

void CAShapeLayer::setFillRule(const std::string& rule)
{
    store(shape_.fillRule, rule);
}

void CAShapeLayer::setLineWidth(double width)
{
    assign(shape_.lineWidth, width, "lineWidth");
}

void CAShapeLayer::setLineCap(const std::string& cap)
{
    store(shape_.lineCap, cap);
}

void CAShapeLayer::setLineJoin(const std::string& join)
{
    store(shape_.lineJoin, join);
}

void CAShapeLayer::setMiterLimit(double limit)
{
    store(shape_.miterLimit, limit);
}

void CAShapeLayer::setLineDashPattern(const std::vector<double>& lengths)
{
    store(shape_.lineDashPattern, lengths);
}

void CAShapeLayer::setLineDashPhase(double points)
{
    store(shape_.lineDashPhase, points);
}

void CAShapeLayer::setStrokeStart(double fraction)
{
    assign(shape_.strokeStart, fraction, "strokeStart");
}

void CAShapeLayer::setStrokeEnd(double fraction)
{
    assign(shape_.strokeEnd, fraction, "strokeEnd");
}

/// All that a fill or a stroke can reach, on whole points.
CGRect CAShapeLayer::extent() const
{
    const double corner = shape_.lineJoin == kCALineJoinMiter ? std::max(1.0, shape_.miterLimit) : 1.5;
    const double reach = shape_.strokeColor ? shape_.lineWidth / 2 * corner : 0;
    CGRect box = CGRectInset(shape_.path->boundingBox(), -reach, -reach);
    return CGRectIntegral(CGRectInset(box, -1, -1));
}

std::shared_ptr<const LayerContent> CAShapeLayer::rasterise(bool stroke, CGRect frame, double scale) const
{
    CGContext context(frame.size, scale);
    context.concatCTM(CGAffineTransformMakeTranslation(-frame.origin.x, -frame.origin.y));
    if (!stroke) {
        context.fillPath(*shape_.path, shape_.fillRule == kCAFillRuleEvenOdd);
        return LayerContent::coverageOfDrawing(context);
    }
    context.setLineWidth(shape_.lineWidth);
    context.setLineCap(capNamed(shape_.lineCap));
    context.setLineJoin(joinNamed(shape_.lineJoin));
    context.setMiterLimit(shape_.miterLimit);
    context.setLineDash(shape_.lineDashPhase, shape_.lineDashPattern);
    context.strokePath(shape_.path->trimmed(shape_.strokeStart, shape_.strokeEnd));
    return LayerContent::coverageOfDrawing(context);
}

std::vector<LayerPiece> CAShapeLayer::pieces(const LayerRasterising& rasterising)
{
    auto pieces = CALayer::pieces(rasterising);
    if (!shape_.path || shape_.path->isEmpty())
        return pieces;

    Rasters& rasters = *rasters_;
    if (!rasters.fits(shape_) || (!rasterising.moving && rasters.scale != rasterising.scale)) {
        rasters = {};
        rasters.shape = shape_;
        rasters.frame = extent();
        rasters.scale = rasterising.scale;
    }
    const bool fills = shape_.fillColor && shape_.fillColor->alpha > 0;
    const bool strokes = shape_.strokeColor && shape_.strokeColor->alpha > 0 && shape_.lineWidth > 0
        && shape_.strokeStart < shape_.strokeEnd;
    if (strokes && !rasters.shape.strokeColor) { // the frame had no room for a line
        rasters.shape = shape_;
        rasters.frame = extent();
        rasters.fill = nullptr;
    }
    if (fills && !rasters.fill)
        rasters.fill = rasterise(false, rasters.frame, rasters.scale);
    if (strokes && !rasters.stroke)
        rasters.stroke = rasterise(true, rasters.frame, rasters.scale);
    // The picture is as many whole pixels as hold the frame.
    const auto add = [&](const std::shared_ptr<const LayerContent>& content, const std::optional<CGColor>& color) {
        const CGSize size { content->width() / rasters.scale, content->height() / rasters.scale };
        pieces.push_back({ content, { rasters.frame.origin, size }, color });
    };
    if (fills)
        add(rasters.fill, shape_.fillColor);
    if (strokes)
        add(rasters.stroke, shape_.strokeColor);
    return pieces;
}

std::shared_ptr<CALayer> CAShapeLayer::emptyCopy() const
{
    return make<CAShapeLayer>();
}

void CAShapeLayer::copyValues(const CALayer& other)
{
    CALayer::copyValues(other);
    const auto& shape = static_cast<const CAShapeLayer&>(other);
    shape_ = shape.shape_;
    rasters_ = shape.rasters_;
}

CAValue CAShapeLayer::animatableValue(std::string_view key) const
{
    if (key == "path")
        return shape_.path.value_or(CGPath());
    if (key == "fillColor")
        return valueOf(shape_.fillColor);
    if (key == "strokeColor")
        return valueOf(shape_.strokeColor);
    if (key == "lineWidth")
        return shape_.lineWidth;
    if (key == "strokeStart")
        return shape_.strokeStart;
    if (key == "strokeEnd")
        return shape_.strokeEnd;
    return CALayer::animatableValue(key);
}

void CAShapeLayer::setAnimatableValue(std::string_view key, const CAValue& value)
{
    const auto* color = std::get_if<CGColor>(&value);
    const auto* number = std::get_if<double>(&value);
    const auto* path = std::get_if<CGPath>(&value);
    if (key == "path" && path)
        shape_.path = *path;
    else if (key == "fillColor" && color)
        shape_.fillColor = *color;
    else if (key == "strokeColor" && color)
        shape_.strokeColor = *color;
    else if (key == "lineWidth" && number)
        shape_.lineWidth = *number;
    else if (key == "strokeStart" && number)
        shape_.strokeStart = *number;
    else if (key == "strokeEnd" && number)
        shape_.strokeEnd = *number;
    else
        CALayer::setAnimatableValue(key, value);
}

}
