// SPDX-License-Identifier: Apache-2.0
#include "platform/CoreImage/CIImage.h"

#include <utility>

namespace velmora {

std::shared_ptr<CIImage> CIImage::initWithCVPixelBuffer(const std::shared_ptr<CVPixelBuffer>& buffer)
{
    return buffer ? make<CIImage>(buffer) : nullptr;
}

CIImage::CIImage(std::shared_ptr<CVPixelBuffer> buffer)
    : buffer_(std::move(buffer))
{
}

const ClassInfo& CIImage::staticClass()
{
    static constexpr auto methods
        = methodTable(method<&CIImage::extent>("extent"), method<&CIImage::pixelBuffer>("pixelBuffer"));
    static constexpr auto classMethods
        = methodTable(classMethod<&CIImage::initWithCVPixelBuffer>("initWithCVPixelBuffer:"));
    static const ClassInfo info { "Velmora.CIImage", &NSObject::staticClass(), methods, classMethods };
    return info;
}

CGRect CIImage::extent() const
{
    return CGRectMake(0, 0, buffer_->width(), buffer_->height());
}

}
