// SPDX-License-Identifier: Apache-2.0
#include "velmora/ui/QVViewfinderOverlayView.h"

#include "platform/UIKit/InterfaceValues.h"
#include "platform/UIKit/UIBezierPath.h"

#include <algorithm>
#include <initializer_list>
#include <utility>

namespace velmora {

namespace {

// Points, and parts of the width.
constexpr double inset = 10, lineWidth = 1;
constexpr double armsOfCorners = 5, armsOfCross = 10;

void addPolyline(UIBezierPath& path, std::initializer_list<CGPoint> points)
{
    path.moveToPoint(*points.begin());
    for (const auto* point = points.begin() + 1; point != points.end(); ++point)
        path.addLineToPoint(*point);
}

void strokeCornerMarks(CGRect rect)
{
    const double width = rect.size.width, height = rect.size.height;
    // In single precision; and the rectangle's own origin does not count.
    const double side = std::min(static_cast<float>(width), static_cast<float>(height));
    const CGRect square
        = CGRectInset(CGRectMake((width - side) * 0.5, (height - side) * 0.5, side, side), inset, inset);
    const double left = CGRectGetMinX(square), right = CGRectGetMaxX(square);
    const double top = CGRectGetMinY(square), bottom = CGRectGetMaxY(square);
    const double arm = width / armsOfCorners;
    UIBezierPath path;
    addPolyline(path, { { left + arm, top }, { left, top }, { left, top + arm } });
    addPolyline(path, { { right - arm, top }, { right, top }, { right, top + arm } });
    addPolyline(path, { { right, bottom - arm }, { right, bottom }, { right - arm, bottom } });
    addPolyline(path, { { left + arm, bottom }, { left, bottom }, { left, bottom - arm } });
    path.setLineWidth(lineWidth);
    path.stroke();
}

void strokeCrosshair(CGRect rect)
{
    const double x = CGRectGetMidX(rect), y = CGRectGetMidY(rect), arm = rect.size.width / armsOfCross;
    UIBezierPath path;
    addPolyline(path, { { x, y - arm }, { x, y + arm } });
    addPolyline(path, { { x - arm, y }, { x + arm, y } });
    path.setLineWidth(lineWidth);
    path.stroke();
}

}

QVViewfinderOverlayView::QVViewfinderOverlayView(CGRect frame)
    : UIView(frame)
{
}

QVViewfinderOverlayView::QVViewfinderOverlayView(const NSCoder& coder)
    : UIView(coder)
    , color_(decodedColor(coder, "color"))
    , overlays_(
          static_cast<QVViewfinderOverlays>(static_cast<std::int64_t>(decodedNumber(coder, "overlays").value_or(0))))
{
}

const ClassInfo& QVViewfinderOverlayView::staticClass()
{
    using Self = QVViewfinderOverlayView;
    static constexpr auto methods = methodTable(method<&Self::color>("color"), method<&Self::setColor>("setColor:"),
        method<&Self::overlays>("overlays"), method<&Self::setOverlays>("setOverlays:"),
        method<&Self::drawRect>("drawRect:"));
    static constexpr auto classMethods = methodTable(initialiser<Self>("init"),
        initialiser<Self, CGRect>("initWithFrame:"), initialiser<Self, const NSCoder&>("initWithCoder:"));
    static const ClassInfo info { "Velmora.QVViewfinderOverlayView", &UIView::staticClass(), methods, classMethods };
    return info;
}

void QVViewfinderOverlayView::didConstruct()
{
    UIView::didConstruct();
    setOpaque(false);
    setContentMode(UIViewContentModeRedraw); // stretched marks are none
}

std::shared_ptr<UIColor> QVViewfinderOverlayView::color() const
{
    return color_ ? color_ : UIColor::whiteColor();
}

void QVViewfinderOverlayView::setColor(std::shared_ptr<UIColor> color)
{
    const auto old = std::exchange(color_, std::move(color));
    if (!old || !old->isEqual(color_.get()))
        setNeedsDisplay();
}

void QVViewfinderOverlayView::setOverlays(QVViewfinderOverlays overlays)
{
    if (std::exchange(overlays_, overlays) != overlays)
        setNeedsDisplay();
}

void QVViewfinderOverlayView::drawRect(CGRect rect)
{
    color()->setStroke();
    if (contains(overlays_, QVViewfinderOverlayCornerMarks))
        strokeCornerMarks(rect);
    if (contains(overlays_, QVViewfinderOverlayCrosshair))
        strokeCrosshair(rect);
}

}
