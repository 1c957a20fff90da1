// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "velmora/ui/QVSliderOrientation.h"

#include "platform/UIKit/UIView.h"

#include <vector>

namespace velmora {

/// The line along which a slider's knob moves, with dots at chosen places, all in the tint. Main thread only.
class VELMORA_EXPORT QVSliderTrackView : public UIView {
public:
    explicit QVSliderTrackView(CGRect frame = CGRectZero);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    QVSliderOrientation orientation() const { return orientation_; } ///< vertical at first
    void setOrientation(QVSliderOrientation orientation);
    /// Fractions of the track, 0 to 1 in the direction in which the value grows.
    const std::vector<double>& pointPositions() const { return pointPositions_; }
    void setPointPositions(std::vector<double> positions);

    void tintColorDidChange() override;
    void drawRect(CGRect rect) override;

private:
    QVSliderOrientation orientation_ = QVSliderOrientationVertical;
    std::vector<double> pointPositions_;
};

}
