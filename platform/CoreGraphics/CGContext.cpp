// SPDX-License-Identifier: Apache-2.0
#include "platform/CoreGraphics/CGContext.h"

#include "platform/CoreGraphics/CGContextSurface.h"
#include "platform/CoreGraphics/CGImage.h"
#include "platform/Foundation/NSException.h"

#include <cairo.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <utility>

namespace velmora {

namespace {

constexpr double largestSide = 16384; // pixels; more is a mistake, and cairo's own limit is near

int pixelsFor(double points, double scale)
{
    const double pixels = std::ceil(points * scale - 1e-6);
    if (!(pixels <= largestSide))
        throw NSException(NSInvalidArgumentException,
            "A drawing of " + std::to_string(points) + " points at scale " + std::to_string(scale)
                + " is larger than 16384 pixels: draw it in pieces");
    return std::max(1, static_cast<int>(pixels));
}

void setSource(cairo_t* cairo, CGColor color)
{
    cairo_set_source_rgba(cairo, color.red, color.green, color.blue, color.alpha);
}

void trace(cairo_t* cairo, const CGPath& path)
{
    cairo_new_path(cairo); // text and earlier figures leave a current point behind
    CGPoint at;
    for (const auto& [type, p] : path.elements()) {
        switch (type) {
        case kCGPathElementMoveToPoint:
            cairo_move_to(cairo, p[0].x, p[0].y);
            at = p[0];
            break;
        case kCGPathElementAddLineToPoint:
            cairo_line_to(cairo, p[0].x, p[0].y);
            at = p[0];
            break;
        case kCGPathElementAddQuadCurveToPoint: {
            const auto third = [&](double a, double b) { return a + (b - a) * 2 / 3; };
            cairo_curve_to(cairo, third(at.x, p[0].x), third(at.y, p[0].y), third(p[1].x, p[0].x),
                third(p[1].y, p[0].y), p[1].x, p[1].y);
            at = p[1];
            break;
        }
        case kCGPathElementAddCurveToPoint:
            cairo_curve_to(cairo, p[0].x, p[0].y, p[1].x, p[1].y, p[2].x, p[2].y);
            at = p[2];
            break;
        case kCGPathElementCloseSubpath:
            cairo_close_path(cairo);
            cairo_get_current_point(cairo, &at.x, &at.y);
            break;
        }
    }
}

cairo_fill_rule_t rule(bool evenOdd)
{
    return evenOdd ? CAIRO_FILL_RULE_EVEN_ODD : CAIRO_FILL_RULE_WINDING;
}

/// A cairo surface over the pixels of an image, for the time of one drawing.
class Borrowed {
public:
    explicit Borrowed(const CGImage& image)
        : surface_(cairo_image_surface_create_for_data(const_cast<std::uint8_t*>(image.pixels()), CAIRO_FORMAT_ARGB32,
            image.width(), image.height(), static_cast<int>(image.stride())))
    {
    }
    ~Borrowed() { cairo_surface_destroy(surface_); }
    Borrowed(const Borrowed&) = delete;
    Borrowed& operator=(const Borrowed&) = delete;
    cairo_surface_t* get() const { return surface_; }

private:
    cairo_surface_t* surface_;
};

void mapOnto(cairo_t* cairo, const CGImage& image, CGRect rect)
{
    cairo_translate(cairo, rect.origin.x, rect.origin.y);
    cairo_scale(cairo, rect.size.width / image.width(), rect.size.height / image.height());
}

}

CGContext::CGContext(CGSize sizeInPoints, double scale)
    : size_(sizeInPoints)
    , scale_(scale)
    , surface_(std::make_unique<Surface>())
{
    const int width = pixelsFor(sizeInPoints.width, scale), height = pixelsFor(sizeInPoints.height, scale);
    surface_->picture = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height);
    surface_->cairo = cairo_create(surface_->picture);
    if (cairo_status(surface_->cairo) != CAIRO_STATUS_SUCCESS)
        throw NSException(NSInvalidArgumentException,
            "There is no memory for a drawing of " + std::to_string(width) + "x" + std::to_string(height) + " pixels");
    cairo_set_antialias(surface_->cairo, CAIRO_ANTIALIAS_GRAY);
    cairo_scale(surface_->cairo, scale, scale);
}

CGContext::~CGContext() = default;

CGContext::Surface::~Surface()
{
    cairo_destroy(cairo);
    cairo_surface_destroy(picture);
}

int CGContext::pixelWidth() const
{
    return cairo_image_surface_get_width(surface_->picture);
}

int CGContext::pixelHeight() const
{
    return cairo_image_surface_get_height(surface_->picture);
}

void CGContext::saveGState()
{
    cairo_save(surface_->cairo);
    surface_->saved.push_back(surface_->state);
}

void CGContext::restoreGState()
{
    if (surface_->saved.empty())
        return;
    cairo_restore(surface_->cairo);
    surface_->state = std::move(surface_->saved.back());
    surface_->saved.pop_back();
}

void CGContext::concatCTM(const CGAffineTransform& transform)
{
    if (determinant(transform) == 0) { // cairo would refuse all that follows
        clipToRect(CGRectZero);
        return;
    }
    cairo_matrix_t matrix;
    cairo_matrix_init(&matrix, transform.a, transform.b, transform.c, transform.d, transform.tx, transform.ty);
    cairo_transform(surface_->cairo, &matrix);
}

void CGContext::clipToRect(CGRect rect)
{
    clipToPath(CGPath::withRect(rect));
}

void CGContext::clipToPath(const CGPath& path, bool evenOdd)
{
    trace(surface_->cairo, path);
    cairo_set_fill_rule(surface_->cairo, rule(evenOdd));
    cairo_clip(surface_->cairo);
}

void CGContext::setFillColor(CGColor color)
{
    surface_->state.fill = color;
}

void CGContext::setStrokeColor(CGColor color)
{
    surface_->state.stroke = color;
}

CGColor CGContext::fillColor() const
{
    return surface_->state.fill;
}

void CGContext::setLineWidth(double points)
{
    cairo_set_line_width(surface_->cairo, std::max(0.0, points));
}

void CGContext::setLineCap(CGLineCap cap)
{
    cairo_set_line_cap(surface_->cairo,
        cap == kCGLineCapRound        ? CAIRO_LINE_CAP_ROUND
            : cap == kCGLineCapSquare ? CAIRO_LINE_CAP_SQUARE
                                      : CAIRO_LINE_CAP_BUTT);
}

void CGContext::setLineJoin(CGLineJoin join)
{
    cairo_set_line_join(surface_->cairo,
        join == kCGLineJoinRound       ? CAIRO_LINE_JOIN_ROUND
            : join == kCGLineJoinBevel ? CAIRO_LINE_JOIN_BEVEL
                                       : CAIRO_LINE_JOIN_MITER);
}

void CGContext::setMiterLimit(double limit)
{
    cairo_set_miter_limit(surface_->cairo, limit);
}

void CGContext::setLineDash(double phase, const std::vector<double>& lengths)
{
    // cairo refuses all that follows a dash of nothing but gaps.
    const bool usable = std::all_of(lengths.begin(), lengths.end(), [](double length) { return length >= 0; })
        && std::any_of(lengths.begin(), lengths.end(), [](double length) { return length > 0; });
    cairo_set_dash(surface_->cairo, lengths.data(), usable ? static_cast<int>(lengths.size()) : 0, phase);
}

void CGContext::fillPath(const CGPath& path, bool evenOdd)
{
    trace(surface_->cairo, path);
    cairo_set_fill_rule(surface_->cairo, rule(evenOdd));
    setSource(surface_->cairo, surface_->state.fill);
    note(surface_->state.fill);
    cairo_fill(surface_->cairo);
}

void CGContext::strokePath(const CGPath& path)
{
    trace(surface_->cairo, path);
    setSource(surface_->cairo, surface_->state.stroke);
    note(surface_->state.stroke);
    cairo_stroke(surface_->cairo);
}

void CGContext::fillRect(CGRect rect)
{
    fillPath(CGPath::withRect(rect));
}

void CGContext::strokeRect(CGRect rect)
{
    strokePath(CGPath::withRect(rect));
}

void CGContext::clearRect(CGRect rect)
{
    trace(surface_->cairo, CGPath::withRect(rect));
    cairo_set_operator(surface_->cairo, CAIRO_OPERATOR_CLEAR);
    cairo_fill(surface_->cairo);
    cairo_set_operator(surface_->cairo, CAIRO_OPERATOR_OVER);
}

void CGContext::drawImage(const CGImage& image, CGRect rect, double alpha)
{
    if (CGRectIsEmpty(rect))
        return;
    notePicture();
    const Borrowed source(image);
    cairo_save(surface_->cairo);
    mapOnto(surface_->cairo, image, rect);
    cairo_new_path(surface_->cairo);
    cairo_rectangle(surface_->cairo, 0, 0, image.width(), image.height());
    cairo_clip(surface_->cairo);
    cairo_set_source_surface(surface_->cairo, source.get(), 0, 0);
    cairo_pattern_set_extend(cairo_get_source(surface_->cairo), CAIRO_EXTEND_PAD); // or the edges fade when stretched
    cairo_pattern_set_filter(cairo_get_source(surface_->cairo), CAIRO_FILTER_GOOD);
    cairo_paint_with_alpha(surface_->cairo, alpha);
    cairo_restore(surface_->cairo);
}

void CGContext::drawImageMask(const CGImage& image, CGRect rect)
{
    if (CGRectIsEmpty(rect))
        return;
    note(surface_->state.fill);
    const Borrowed mask(image);
    cairo_save(surface_->cairo);
    mapOnto(surface_->cairo, image, rect);
    setSource(surface_->cairo, surface_->state.fill);
    cairo_mask_surface(surface_->cairo, mask.get(), 0, 0);
    cairo_restore(surface_->cairo);
}

void CGContext::note(CGColor color)
{
    Surface& surface = *surface_;
    const bool first = !std::exchange(surface.drawn, true);
    if (first)
        surface.sole = color;
    if (surface.sole != color || color.alpha != 1)
        surface.sole.reset();
}

void CGContext::notePicture()
{
    surface_->drawn = true;
    surface_->sole.reset();
}

std::optional<CGColor> CGContext::soleColor() const
{
    return surface_->sole;
}

bool CGContext::isEmpty() const
{
    return !surface_->drawn;
}

const std::uint8_t* CGContext::pixels(std::size_t& stride) const
{
    cairo_surface_flush(surface_->picture);
    stride = static_cast<std::size_t>(cairo_image_surface_get_stride(surface_->picture));
    return cairo_image_surface_get_data(surface_->picture);
}

std::shared_ptr<const CGImage> CGContext::makeImage() const
{
    std::size_t stride = 0;
    const std::uint8_t* from = pixels(stride);
    const std::size_t row = 4 * static_cast<std::size_t>(pixelWidth());
    std::vector<std::uint8_t> copy;
    copy.reserve(row * static_cast<std::size_t>(pixelHeight()));
    for (int y = 0; y < pixelHeight(); ++y, from += stride)
        copy.insert(copy.end(), from, from + row);
    return CGImage::withPixels(pixelWidth(), pixelHeight(), std::move(copy));
}

}
