// SPDX-License-Identifier: Apache-2.0
#include "platform/CoreGraphics/CGPath.h"

#include <cstddef>
#include <numbers>
#include <utility>

namespace velmora {

namespace {

// The control points of a quarter circle of radius 1 that strays least from it.
constexpr double quarterControl = 0.5522847498307936;

CGPoint mix(CGPoint a, CGPoint b, double t)
{
    return { a.x + (b.x - a.x) * t, a.y + (b.y - a.y) * t };
}

CGPoint onCubic(CGPoint a, CGPoint b, CGPoint c, CGPoint d, double t)
{
    const double u = 1 - t;
    const double wa = u * u * u, wb = 3 * u * u * t, wc = 3 * u * t * t, wd = t * t * t;
    return { wa * a.x + wb * b.x + wc * c.x + wd * d.x, wa * a.y + wb * b.y + wc * c.y + wd * d.y };
}

std::size_t pointCount(CGPathElementType type)
{
    constexpr std::size_t counts[] = { 1, 1, 2, 3, 0 };
    return counts[type];
}

/// The control points of the cubic curve that a quadratic one is.
std::pair<CGPoint, CGPoint> raised(CGPoint from, CGPoint control, CGPoint end)
{
    return { mix(from, control, 2.0 / 3), mix(end, control, 2.0 / 3) };
}

struct Extent {
    CGPoint least, greatest;
    bool any = false;

    void include(CGPoint point)
    {
        if (!std::exchange(any, true))
            least = greatest = point;
        least = { std::min(least.x, point.x), std::min(least.y, point.y) };
        greatest = { std::max(greatest.x, point.x), std::max(greatest.y, point.y) };
    }
};

/// Where one coordinate of a cubic turns round, strictly inside it.
template <class Use> void turnsOf(double a, double b, double c, double d, Use use)
{
    const double q2 = -a + 3 * b - 3 * c + d, q1 = 2 * (a - 2 * b + c), q0 = b - a;
    const auto inside = [&](double t) {
        if (t > 0 && t < 1)
            use(t);
    };
    if (q2 == 0) {
        if (q1 != 0)
            inside(-q0 / q1);
        return;
    }
    const double under = q1 * q1 - 4 * q2 * q0;
    if (under < 0)
        return;
    const double root = std::sqrt(under);
    inside((-q1 + root) / (2 * q2));
    inside((-q1 - root) / (2 * q2));
}

void includeCubic(Extent& extent, CGPoint a, CGPoint b, CGPoint c, CGPoint d)
{
    const auto include = [&](double t) { extent.include(onCubic(a, b, c, d, t)); };
    turnsOf(a.x, b.x, c.x, d.x, include);
    turnsOf(a.y, b.y, c.y, d.y, include);
    extent.include(d);
}

/// As many chords as keep the curve within the tolerance of them.
int chordsFor(CGPoint a, CGPoint b, CGPoint c, CGPoint d, double tolerance)
{
    const double bend = std::max(
        std::hypot(a.x - 2 * b.x + c.x, a.y - 2 * b.y + c.y), std::hypot(b.x - 2 * c.x + d.x, b.y - 2 * c.y + d.y));
    const double chords = std::ceil(std::sqrt(0.75 * bend / tolerance));
    return std::clamp(static_cast<int>(chords), 1, 1000);
}

}

void CGPath::add(CGPathElementType type, CGPoint a, CGPoint b, CGPoint c)
{
    elements_.push_back({ type, { a, b, c } });
}

CGPath CGPath::withRect(CGRect rect)
{
    CGPath path;
    path.addRect(rect);
    return path;
}

CGPath CGPath::withEllipseInRect(CGRect rect)
{
    CGPath path;
    path.addEllipseInRect(rect);
    return path;
}

CGPath CGPath::withRoundedRect(CGRect rect, double radius)
{
    CGPath path;
    path.addRoundedRect(rect, radius);
    return path;
}

void CGPath::moveToPoint(CGPoint point)
{
    add(kCGPathElementMoveToPoint, point);
    start_ = current_ = point;
}

void CGPath::addLineToPoint(CGPoint point)
{
    if (isEmpty()) {
        moveToPoint(point);
        return;
    }
    add(kCGPathElementAddLineToPoint, point);
    current_ = point;
}

void CGPath::addQuadCurveToPoint(CGPoint control, CGPoint end)
{
    if (isEmpty())
        moveToPoint(end);
    add(kCGPathElementAddQuadCurveToPoint, control, end);
    current_ = end;
}

void CGPath::addCurveToPoint(CGPoint control1, CGPoint control2, CGPoint end)
{
    if (isEmpty())
        moveToPoint(end);
    add(kCGPathElementAddCurveToPoint, control1, control2, end);
    current_ = end;
}

void CGPath::closeSubpath()
{
    if (isEmpty() || elements_.back().type == kCGPathElementCloseSubpath)
        return;
    add(kCGPathElementCloseSubpath);
    current_ = start_;
}

void CGPath::addRect(CGRect rect)
{
    moveToPoint(rect.origin);
    addLineToPoint({ CGRectGetMaxX(rect), rect.origin.y });
    addLineToPoint({ CGRectGetMaxX(rect), CGRectGetMaxY(rect) });
    addLineToPoint({ rect.origin.x, CGRectGetMaxY(rect) });
    closeSubpath();
}

void CGPath::addEllipseInRect(CGRect rect)
{
    const double x = CGRectGetMidX(rect), y = CGRectGetMidY(rect);
    const double rx = rect.size.width / 2, ry = rect.size.height / 2;
    const double kx = rx * quarterControl, ky = ry * quarterControl;
    moveToPoint({ x + rx, y });
    addCurveToPoint({ x + rx, y + ky }, { x + kx, y + ry }, { x, y + ry });
    addCurveToPoint({ x - kx, y + ry }, { x - rx, y + ky }, { x - rx, y });
    addCurveToPoint({ x - rx, y - ky }, { x - kx, y - ry }, { x, y - ry });
    addCurveToPoint({ x + kx, y - ry }, { x + rx, y - ky }, { x + rx, y });
    closeSubpath();
}

void CGPath::addRoundedRect(CGRect rect, double radius)
{
    const double r = std::min({ radius, rect.size.width / 2, rect.size.height / 2 });
    if (r <= 0) {
        addRect(rect);
        return;
    }
    const double left = rect.origin.x, top = rect.origin.y, right = CGRectGetMaxX(rect), bottom = CGRectGetMaxY(rect);
    const double k = r * (1 - quarterControl);
    moveToPoint({ left + r, top });
    addLineToPoint({ right - r, top });
    addCurveToPoint({ right - k, top }, { right, top + k }, { right, top + r });
    addLineToPoint({ right, bottom - r });
    addCurveToPoint({ right, bottom - k }, { right - k, bottom }, { right - r, bottom });
    addLineToPoint({ left + r, bottom });
    addCurveToPoint({ left + k, bottom }, { left, bottom - k }, { left, bottom - r });
    addLineToPoint({ left, top + r });
    addCurveToPoint({ left, top + k }, { left + k, top }, { left + r, top });
    closeSubpath();
}

void CGPath::addArc(CGPoint center, double radius, double startAngle, double endAngle, bool clockwise)
{
    constexpr double full = 2 * std::numbers::pi, quarter = std::numbers::pi / 2;
    double sweep = endAngle - startAngle;
    if (std::abs(sweep) < full) {
        if (clockwise && sweep < 0)
            sweep += full;
        if (!clockwise && sweep > 0)
            sweep -= full;
    } else {
        sweep = clockwise ? full : -full;
    }

    const auto at = [&](double angle) {
        return CGPoint { center.x + radius * std::cos(angle), center.y + radius * std::sin(angle) };
    };
    const CGPoint begin = at(startAngle);
    if (isEmpty())
        moveToPoint(begin);
    else if (current_ != begin)
        addLineToPoint(begin);
    const int pieces = std::max(1, static_cast<int>(std::ceil(std::abs(sweep) / quarter - 1e-9)));
    const double step = sweep / pieces, control = 4.0 / 3 * std::tan(step / 4) * radius;
    for (int i = 0; i < pieces; ++i) {
        const double a = startAngle + i * step, b = a + step;
        const CGPoint from = at(a), to = at(b);
        addCurveToPoint({ from.x - control * std::sin(a), from.y + control * std::cos(a) },
            { to.x + control * std::sin(b), to.y - control * std::cos(b) }, to);
    }
}

void CGPath::addPath(const CGPath& path)
{
    const auto added = path.elements_; // the path may be this one
    elements_.insert(elements_.end(), added.begin(), added.end());
    start_ = path.start_;
    current_ = path.current_;
}

void CGPath::applyTransform(const CGAffineTransform& transform)
{
    for (auto& element : elements_)
        for (std::size_t i = 0; i < pointCount(element.type); ++i)
            element.points[i] = CGPointApplyAffineTransform(element.points[i], transform);
    start_ = CGPointApplyAffineTransform(start_, transform);
    current_ = CGPointApplyAffineTransform(current_, transform);
}

CGPoint CGPath::currentPoint() const
{
    return current_;
}

CGRect CGPath::boundingBox() const
{
    Extent extent;
    CGPoint at, start;
    for (const auto& [type, points] : elements_) {
        switch (type) {
        case kCGPathElementMoveToPoint:
            start = points[0];
            [[fallthrough]];
        case kCGPathElementAddLineToPoint:
            extent.include(at = points[0]);
            break;
        case kCGPathElementAddQuadCurveToPoint: {
            const auto [control1, control2] = raised(at, points[0], points[1]);
            includeCubic(extent, at, control1, control2, points[1]);
            at = points[1];
            break;
        }
        case kCGPathElementAddCurveToPoint:
            includeCubic(extent, at, points[0], points[1], points[2]);
            at = points[2];
            break;
        case kCGPathElementCloseSubpath:
            at = start;
            break;
        }
    }
    return { extent.least, { extent.greatest.x - extent.least.x, extent.greatest.y - extent.least.y } };
}

CGPath CGPath::flattened(double tolerance) const
{
    CGPath flat;
    const auto curve = [&](CGPoint a, CGPoint b, CGPoint c, CGPoint d) {
        const int chords = chordsFor(a, b, c, d, tolerance);
        for (int i = 1; i < chords; ++i)
            flat.addLineToPoint(onCubic(a, b, c, d, static_cast<double>(i) / chords));
        flat.addLineToPoint(d);
    };
    for (const auto& [type, points] : elements_) {
        switch (type) {
        case kCGPathElementMoveToPoint:
            flat.moveToPoint(points[0]);
            break;
        case kCGPathElementAddLineToPoint:
            flat.addLineToPoint(points[0]);
            break;
        case kCGPathElementAddQuadCurveToPoint: {
            const auto [control1, control2] = raised(flat.current_, points[0], points[1]);
            curve(flat.current_, control1, control2, points[1]);
            break;
        }
        case kCGPathElementAddCurveToPoint:
            curve(flat.current_, points[0], points[1], points[2]);
            break;
        case kCGPathElementCloseSubpath:
            flat.closeSubpath();
            break;
        }
    }
    return flat;
}

namespace {

/// Calls use(from, to) for each line of a flattened path, the closing ones included where `closeOpen` says so.
template <class Use> void eachLine(const CGPath& flat, bool closeOpen, Use use)
{
    CGPoint at, start;
    const auto finish = [&] {
        if (closeOpen && at != start)
            use(at, start);
    };
    for (const auto& [type, points] : flat.elements()) {
        if (type == kCGPathElementMoveToPoint) {
            finish();
            at = start = points[0];
        } else if (type == kCGPathElementCloseSubpath) {
            if (at != start)
                use(at, start);
            at = start;
        } else {
            use(at, points[0]);
            at = points[0];
        }
    }
    finish();
}

}

bool CGPath::containsPoint(CGPoint point, bool evenOdd) const
{
    int winding = 0, crossings = 0;
    eachLine(flattened(), true, [&](CGPoint a, CGPoint b) {
        if ((a.y <= point.y) == (b.y <= point.y))
            return;
        const double x = a.x + (point.y - a.y) / (b.y - a.y) * (b.x - a.x);
        if (x <= point.x)
            return;
        ++crossings;
        winding += b.y > a.y ? 1 : -1;
    });
    return evenOdd ? crossings % 2 != 0 : winding != 0;
}

CGPath CGPath::trimmed(double start, double end) const
{
    if (start <= 0 && end >= 1)
        return *this;
    const CGPath flat = flattened();
    double length = 0;
    eachLine(flat, false, [&](CGPoint a, CGPoint b) { length += std::hypot(b.x - a.x, b.y - a.y); });

    const double from = std::max(0.0, start) * length, to = std::min(1.0, end) * length;
    CGPath result;
    double passed = 0;
    eachLine(flat, false, [&](CGPoint a, CGPoint b) {
        const double line = std::hypot(b.x - a.x, b.y - a.y), before = passed;
        passed += line;
        if (line == 0 || passed <= from || before >= to)
            return;
        const CGPoint begin = mix(a, b, std::max(0.0, (from - before) / line));
        const CGPoint finish = mix(a, b, std::min(1.0, (to - before) / line));
        if (result.isEmpty() || result.current_ != begin)
            result.moveToPoint(begin);
        result.addLineToPoint(finish);
    });
    return result;
}

CGPath CGPathBetween(const CGPath& from, const CGPath& to, double fraction)
{
    const auto &a = from.elements(), &b = to.elements();
    const auto sameType = [](const CGPathElement& x, const CGPathElement& y) { return x.type == y.type; };
    if (fraction == 1 || !std::equal(a.begin(), a.end(), b.begin(), b.end(), sameType))
        return to;
    CGPath result;
    for (std::size_t i = 0; i < a.size(); ++i) {
        const auto point = [&](std::size_t index) { return mix(a[i].points[index], b[i].points[index], fraction); };
        switch (a[i].type) {
        case kCGPathElementMoveToPoint:
            result.moveToPoint(point(0));
            break;
        case kCGPathElementAddLineToPoint:
            result.addLineToPoint(point(0));
            break;
        case kCGPathElementAddQuadCurveToPoint:
            result.addQuadCurveToPoint(point(0), point(1));
            break;
        case kCGPathElementAddCurveToPoint:
            result.addCurveToPoint(point(0), point(1), point(2));
            break;
        case kCGPathElementCloseSubpath:
            result.closeSubpath();
            break;
        }
    }
    return result;
}

}
