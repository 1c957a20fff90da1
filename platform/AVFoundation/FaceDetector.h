// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreGraphics/CGGeometry.h"
#include "platform/Foundation/Export.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace velmora {

/// A picture in grey, row after row.
struct GreyPicture {
    std::vector<std::uint8_t> pixels;
    int width = 0, height = 0;
};

/// Finds faces for cameras that do not find them by themselves.
class VELMORA_EXPORT FaceDetector {
public:
    virtual ~FaceDetector() = default;
    /// False when a library or its data is missing.
    virtual bool isAvailable() const = 0;
    /// A square around each face that looks out of the picture, upright or turned a little; 0 to 1. May take tenths of
    /// a second; from one thread at a time.
    virtual std::vector<CGRect> facesIn(const GreyPicture& picture) = 0;

    static std::shared_ptr<FaceDetector> installed(); ///< Empty when there is none.
    static void install(std::shared_ptr<FaceDetector> detector);
};

}
