// SPDX-License-Identifier: Apache-2.0
#include "velmora/capture/QVImageOrientation.h"

#include "platform/Foundation/NSLog.h"

#include <array>

namespace velmora {

std::int32_t QVGetEXIFOrientationForUIImageOrientation(UIImageOrientation orientation)
{
    static constexpr std::array<std::int32_t, 8> exif { 1, 3, 8, 6, 2, 4, 7, 5 };
    if (orientation < 0 || orientation > 7) {
        NSLog("[QVCameraController] Unknown EXIF in for image orientation: %i", orientation);
        return 0;
    }
    return exif[static_cast<std::size_t>(orientation)];
}

UIImageOrientation QVGetImageOrientationForEXIFOrientation(std::int32_t orientation)
{
    static constexpr std::array image { UIImageOrientationUp, UIImageOrientationUpMirrored, UIImageOrientationDown,
        UIImageOrientationDownMirrored, UIImageOrientationRightMirrored, UIImageOrientationRight,
        UIImageOrientationLeftMirrored, UIImageOrientationLeft };
    if (orientation < 1 || orientation > 8) {
        NSLog("[QVCameraController] Unknown image orientation for EXIF: %i", orientation);
        return UIImageOrientationUp;
    }
    return image[static_cast<std::size_t>(orientation - 1)];
}

}
