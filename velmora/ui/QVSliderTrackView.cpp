// SPDX-License-Identifier: Apache-2.0
#include "velmora/ui/QVSliderTrackView.h"

#include "platform/UIKit/UIBezierPath.h"
#include "platform/UIKit/UIColor.h"

#include <numbers>
#include <utility>

namespace velmora {

namespace {

// Points.
constexpr double dotRadius = 3, endOfPlainLine = 2, lineWidth = 2;

CGPoint placeOf(double fraction, QVSliderOrientation orientation, CGSize size)
{
    const auto along = [](double part, double length) { return part * (length - 2 * dotRadius) + dotRadius; };
    switch (orientation) {
    case QVSliderOrientationHorizontal:
        return { along(fraction, size.width), size.height / 2 };
    case QVSliderOrientationVertical:
        return { size.width / 2, along(1 - fraction, size.height) };
    }
    return CGPointZero;
}

}

QVSliderTrackView::QVSliderTrackView(CGRect frame)
    : UIView(frame)
{
}

const ClassInfo& QVSliderTrackView::staticClass()
{
    using Self = QVSliderTrackView;
    static constexpr auto methods
        = methodTable(method<&Self::orientation>("orientation"), method<&Self::setOrientation>("setOrientation:"),
            method<&Self::pointPositions>("pointPositions"), method<&Self::setPointPositions>("setPointPositions:"),
            method<&Self::drawRect>("drawRect:"), method<&Self::tintColorDidChange>("tintColorDidChange"));
    static constexpr auto classMethods
        = methodTable(initialiser<Self>("init"), initialiser<Self, CGRect>("initWithFrame:"));
    static const ClassInfo info { "Velmora.QVSliderTrackView", &UIView::staticClass(), methods, classMethods };
    return info;
}

void QVSliderTrackView::setOrientation(QVSliderOrientation orientation)
{
    orientation_ = orientation;
    setNeedsDisplay();
}

void QVSliderTrackView::setPointPositions(std::vector<double> positions)
{
    pointPositions_ = std::move(positions);
    setNeedsDisplay();
}

void QVSliderTrackView::tintColorDidChange()
{
    UIView::tintColorDidChange();
    setNeedsDisplay();
}

void QVSliderTrackView::drawRect(CGRect)
{
    const CGSize size = bounds().size;
    if (const auto color = tintColor())
        color->set();
    for (const double fraction : pointPositions_)
        UIBezierPath::bezierPathWithArcCenter(
            placeOf(fraction, orientation_, size), dotRadius, 0, 2 * std::numbers::pi, true)
            ->fill();
    const double end = pointPositions_.empty() ? endOfPlainLine : dotRadius;
    UIBezierPath line;
    if (orientation_ == QVSliderOrientationHorizontal) {
        line.moveToPoint({ end, size.height / 2 });
        line.addLineToPoint({ size.width - end, size.height / 2 });
    } else if (orientation_ == QVSliderOrientationVertical) {
        line.moveToPoint({ size.width / 2, end });
        line.addLineToPoint({ size.width / 2, size.height - end });
    }
    line.setLineCapStyle(kCGLineCapRound);
    line.setLineWidth(lineWidth);
    line.stroke();
}

}
