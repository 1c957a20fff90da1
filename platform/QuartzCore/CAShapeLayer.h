// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreGraphics/CGPath.h"
#include "platform/QuartzCore/CALayer.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace velmora {

inline constexpr const char* kCAFillRuleNonZero = "non-zero";
inline constexpr const char* kCAFillRuleEvenOdd = "even-odd";
inline constexpr const char* kCALineCapButt = "butt";
inline constexpr const char* kCALineCapRound = "round";
inline constexpr const char* kCALineCapSquare = "square";
inline constexpr const char* kCALineJoinMiter = "miter";
inline constexpr const char* kCALineJoinRound = "round";
inline constexpr const char* kCALineJoinBevel = "bevel";

/// A path that is filled, then stroked, in the layer's own coordinates; it may leave the bounds. Colours are no part of
/// what is rasterised. Main thread only.
class VELMORA_EXPORT CAShapeLayer : public CALayer {
public:
    CAShapeLayer();
    ~CAShapeLayer() override;
    static std::shared_ptr<CAShapeLayer> layer();
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    /// Empty for none. A change is not animated by itself nor by a block, but by an animation of "path" that somebody
    /// adds.
    const std::optional<CGPath>& path() const { return shape_.path; }
    void setPath(const std::optional<CGPath>& path);
    const std::optional<CGColor>& fillColor() const { return shape_.fillColor; } ///< black at first
    void setFillColor(const std::optional<CGColor>& color);
    const std::optional<CGColor>& strokeColor() const { return shape_.strokeColor; }
    void setStrokeColor(const std::optional<CGColor>& color);
    const std::string& fillRule() const { return shape_.fillRule; } ///< kCAFillRuleNonZero at first
    void setFillRule(const std::string& rule);
    double lineWidth() const { return shape_.lineWidth; } ///< points
    void setLineWidth(double width);
    const std::string& lineCap() const { return shape_.lineCap; }
    void setLineCap(const std::string& cap);
    const std::string& lineJoin() const { return shape_.lineJoin; }
    void setLineJoin(const std::string& join);
    double miterLimit() const { return shape_.miterLimit; }
    void setMiterLimit(double limit);
    /// Points of line and of gap in turn; empty for a full line.
    const std::vector<double>& lineDashPattern() const { return shape_.lineDashPattern; }
    void setLineDashPattern(const std::vector<double>& lengths);
    double lineDashPhase() const { return shape_.lineDashPhase; }
    void setLineDashPhase(double points);
    /// The share of the path that is stroked, 0 to 1.
    double strokeStart() const { return shape_.strokeStart; }
    void setStrokeStart(double fraction);
    double strokeEnd() const { return shape_.strokeEnd; }
    void setStrokeEnd(double fraction);

    std::vector<LayerPiece> pieces(const LayerRasterising& rasterising) override;

protected:
    std::shared_ptr<CALayer> emptyCopy() const override;
    void copyValues(const CALayer& other) override;
    CAValue animatableValue(std::string_view key) const override;
    void setAnimatableValue(std::string_view key, const CAValue& value) override;

private:
    struct Shape {
        std::optional<CGPath> path;
        std::optional<CGColor> fillColor = CGColor { 0, 0, 0, 1 }, strokeColor;
        std::string fillRule = kCAFillRuleNonZero, lineCap = kCALineCapButt, lineJoin = kCALineJoinMiter;
        double lineWidth = 1, miterLimit = 10, lineDashPhase = 0, strokeStart = 0, strokeEnd = 1;
        std::vector<double> lineDashPattern;
    };
    struct Rasters;
    template <class T> void store(T& member, const T& value);
    std::shared_ptr<const LayerContent> rasterise(bool stroke, CGRect frame, double scale) const;
    CGRect extent() const;

    Shape shape_;
    std::shared_ptr<Rasters> rasters_; // copies share it
};

}
