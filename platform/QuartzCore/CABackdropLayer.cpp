// SPDX-License-Identifier: Apache-2.0
#include "platform/QuartzCore/CABackdropLayer.h"

#include <algorithm>

namespace velmora {

std::shared_ptr<CABackdropLayer> CABackdropLayer::layer()
{
    return make<CABackdropLayer>();
}

const ClassInfo& CABackdropLayer::staticClass()
{
    static constexpr auto methods = methodTable(
        method<&CABackdropLayer::blurRadius>("blurRadius"), method<&CABackdropLayer::setBlurRadius>("setBlurRadius:"));
    static constexpr auto classMethods
        = methodTable(initialiser<CABackdropLayer>("init"), classMethod<&CABackdropLayer::layer>("layer"));
    static const ClassInfo info { "Velmora.CABackdropLayer", &CALayer::staticClass(), methods, classMethods };
    return info;
}

void CABackdropLayer::setBlurRadius(double radius)
{
    blurRadius_ = std::max(0.0, radius);
    requestFrame();
}

std::shared_ptr<CALayer> CABackdropLayer::emptyCopy() const
{
    return make<CABackdropLayer>();
}

void CABackdropLayer::copyValues(const CALayer& other)
{
    CALayer::copyValues(other);
    blurRadius_ = other.backdropBlur();
}

}
