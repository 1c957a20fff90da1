// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/AVMediaTypes.h"
#include "platform/Foundation/Export.h"

#include <cstdint>

namespace velmora {

class AVCaptureConnection;

/// How a sensor's picture is shown: turned clockwise by 0, 90, 180 or 270 degrees, then mirrored left to right.
struct PictureOrientation {
    int rotation = 0;
    bool mirrored = false;
    bool operator==(const PictureOrientation&) const = default;
    bool isSideways() const { return rotation == 90 || rotation == 270; }
};

/// `sensorRotation`: clockwise, for a device held upright. Held on its side, front and back cameras turn opposite ways.
PictureOrientation pictureOrientation(
    AVCaptureVideoOrientation orientation, bool mirrored, AVCaptureDevicePosition position, int sensorRotation);
PictureOrientation pictureOrientation(const AVCaptureConnection& connection);

/// 1 to 8.
VELMORA_EXPORT std::int64_t exifOrientation(const PictureOrientation& orientation);
/// Of EXIF's numbers; another number is taken for 1.
VELMORA_EXPORT PictureOrientation pictureOrientation(int exifOrientation);

}
