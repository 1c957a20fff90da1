// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/QuartzCore/CALayer.h"

#include <memory>

namespace velmora {

/// Shows what lies beneath it, blurred; its own background and sublayers come over that. What changes beneath it, or
/// close beside it, makes it blur again. Main thread only.
class VELMORA_EXPORT CABackdropLayer : public CALayer {
public:
    static std::shared_ptr<CABackdropLayer> layer();
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    double blurRadius() const { return blurRadius_; } ///< the standard deviation, points; 0 does not blur
    void setBlurRadius(double radius);
    double backdropBlur() const override { return blurRadius_; }

protected:
    std::shared_ptr<CALayer> emptyCopy() const override;
    void copyValues(const CALayer& other) override;

private:
    double blurRadius_ = 0;
};

}
