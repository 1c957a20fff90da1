// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreGraphics/CGGeometry.h"
#include "platform/CoreMedia/CVPixelBuffer.h"
#include "platform/Foundation/NSObject.h"

#include <memory>

namespace velmora {

/// A picture that is made of a pixel buffer and holds it. It cannot be archived.
class VELMORA_EXPORT CIImage : public NSObject {
public:
    /// Empty for a null buffer.
    static std::shared_ptr<CIImage> initWithCVPixelBuffer(const std::shared_ptr<CVPixelBuffer>& buffer);
    explicit CIImage(std::shared_ptr<CVPixelBuffer> buffer);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    /// At the origin; the size in pixels.
    CGRect extent() const;
    const std::shared_ptr<CVPixelBuffer>& pixelBuffer() const { return buffer_; }

private:
    std::shared_ptr<CVPixelBuffer> buffer_;
};

}
