// SPDX-License-Identifier: Apache-2.0
#include "platform/UIKit/SystemSymbols.h"

#include "platform/CoreGraphics/CGContext.h"

#include <array>
#include <initializer_list>
#include <string_view>

namespace velmora {

namespace {

constexpr double lineWidth = 2; // points

CGPath lines(std::initializer_list<CGPoint> points, bool closed = false)
{
    CGPath path;
    for (const CGPoint point : points)
        path.isEmpty() ? path.moveToPoint(point) : path.addLineToPoint(point);
    if (closed)
        path.closeSubpath();
    return path;
}

CGPath disc(CGPoint center, double radius)
{
    return CGPath::withEllipseInRect(CGRectMake(center.x - radius, center.y - radius, 2 * radius, 2 * radius));
}

CGPath cameraBody()
{
    CGPath path = CGPath::withRoundedRect(CGRectMake(2, 6, 20, 14), 3);
    path.addPath(lines({ { 7, 7 }, { 8.5, 3.5 }, { 15.5, 3.5 }, { 17, 7 } }, true));
    return path;
}

void camera(CGContext& context)
{
    context.strokePath(CGPath::withRoundedRect(CGRectMake(2, 6, 20, 14), 3));
    context.strokePath(lines({ { 7, 6 }, { 8.5, 3.5 }, { 15.5, 3.5 }, { 17, 6 } }));
    context.strokePath(disc({ 12, 13 }, 4));
}

void filledCamera(CGContext& context)
{
    context.fillPath(cameraBody());
    context.saveGState();
    context.clipToPath(disc({ 12, 13 }, 5));
    context.clearRect(CGRectMake(0, 0, 24, 24));
    context.restoreGState();
    context.fillPath(disc({ 12, 13 }, 3.5));
}

CGPath bolt()
{
    return lines({ { 13.5, 2 }, { 5, 13.5 }, { 11, 13.5 }, { 10, 22 }, { 19, 10 }, { 12.5, 10 } }, true);
}

void slashedBolt(CGContext& context)
{
    context.fillPath(bolt());
    context.strokePath(lines({ { 4, 4 }, { 20, 20 } }));
}

void timer(CGContext& context)
{
    context.strokePath(disc({ 12, 13 }, 8));
    context.strokePath(lines({ { 10, 2 }, { 14, 2 } }));
    context.strokePath(lines({ { 12, 13 }, { 12, 8 } }));
}

void photo(CGContext& context)
{
    context.strokePath(CGPath::withRoundedRect(CGRectMake(2, 4, 20, 16), 2));
    context.fillPath(disc({ 8, 9 }, 1.75));
    context.strokePath(lines({ { 3, 18 }, { 9, 13 }, { 12, 16 }, { 16, 11 }, { 21, 17 } }));
}

void share(CGContext& context)
{
    context.strokePath(lines({ { 8, 9 }, { 4, 9 }, { 4, 21 }, { 20, 21 }, { 20, 9 }, { 16, 9 } }));
    context.strokePath(lines({ { 12, 15 }, { 12, 2.5 } }));
    context.strokePath(lines({ { 8, 6 }, { 12, 2 }, { 16, 6 } }));
}

void trash(CGContext& context)
{
    context.strokePath(lines({ { 3, 6 }, { 21, 6 } }));
    context.strokePath(lines({ { 9, 6 }, { 9, 2.5 }, { 15, 2.5 }, { 15, 6 } }));
    context.strokePath(lines({ { 5, 6 }, { 6, 21.5 }, { 18, 21.5 }, { 19, 6 } }));
    context.strokePath(lines({ { 10, 10 }, { 10, 17.5 } }));
    context.strokePath(lines({ { 14, 10 }, { 14, 17.5 } }));
}

struct Symbol {
    std::string_view name;
    void (*draw)(CGContext&);
};

constexpr std::array symbols {
    Symbol { "bolt.fill", [](CGContext& context) { context.fillPath(bolt()); } },
    Symbol { "bolt.slash.fill", &slashedBolt },
    Symbol { "camera", &camera },
    Symbol { "camera.fill", &filledCamera },
    Symbol { "chevron.compact.down",
        [](CGContext& context) {
            context.strokePath(lines({ { 3, 9.5 }, { 12, 14.5 }, { 21, 9.5 } }));
        } },
    Symbol { "chevron.down",
        [](CGContext& context) {
            context.strokePath(lines({ { 4, 8 }, { 12, 16 }, { 20, 8 } }));
        } },
    Symbol { "chevron.left",
        [](CGContext& context) {
            context.strokePath(lines({ { 16, 4 }, { 8, 12 }, { 16, 20 } }));
        } },
    Symbol { "minus",
        [](CGContext& context) {
            context.strokePath(lines({ { 4, 12 }, { 20, 12 } }));
        } },
    Symbol { "photo", &photo },
    Symbol { "plus",
        [](CGContext& context) {
            context.strokePath(lines({ { 4, 12 }, { 20, 12 } }));
            context.strokePath(lines({ { 12, 4 }, { 12, 20 } }));
        } },
    Symbol { "square.and.arrow.up", &share },
    Symbol { "timer", &timer },
    Symbol { "trash", &trash },
    Symbol { "xmark",
        [](CGContext& context) {
            context.strokePath(lines({ { 5, 5 }, { 19, 19 } }));
            context.strokePath(lines({ { 19, 5 }, { 5, 19 } }));
        } },
};

}

bool drawSystemSymbol(const std::string& name, CGContext& context)
{
    for (const Symbol& symbol : symbols) {
        if (symbol.name != name)
            continue;
        context.setLineWidth(lineWidth);
        context.setLineCap(kCGLineCapRound);
        context.setLineJoin(kCGLineJoinRound);
        symbol.draw(context);
        return true;
    }
    return false;
}

}
