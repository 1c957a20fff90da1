// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/UIKit/UIGestureRecognizer.h"

namespace velmora {

/// Two fingers that part or approach. Begins when their distance has changed by 8 points.
class VELMORA_EXPORT UIPinchGestureRecognizer : public UIGestureRecognizer {
public:
    using UIGestureRecognizer::UIGestureRecognizer;
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    /// The distance of the fingers in distances at the begin; above 1 is further apart.
    double scale() const { return scale_; }
    /// Counts on from here: most often set to 1.
    void setScale(double scale);
    double velocity() const { return velocity_; } ///< of the scale, a second

protected:
    void touchesBegan(const UITouches& touches, const std::shared_ptr<UIEvent>& event) override;
    void touchesMoved(const UITouches& touches, const std::shared_ptr<UIEvent>& event) override;
    void touchesEnded(const UITouches& touches, const std::shared_ptr<UIEvent>& event) override;
    void reset() override;

private:
    double distance() const; // points

    double start_ = 0, base_ = 0; // distances: at the begin, and what a scale of 1 stands for
    double scale_ = 1, velocity_ = 0, time_ = 0;
};

}
