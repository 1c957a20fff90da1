// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/CaptureDriver.h"
#include "platform/AVFoundation/CaptureOrientation.h"
#include "platform/Foundation/ArchiveValue.h"

namespace velmora {

/// All that is known of how a picture was taken.
struct PhotoCircumstances {
    CaptureDeviceDescription device;
    CaptureSettings settings; ///< when the picture was asked for
    ExposureInfo exposure;
    int flashMode = 0; ///< that was asked for
    PictureOrientation orientation;
    CMVideoDimensions dimensions; ///< pixels, as the sensor's picture lies
};

/// The groups "{TIFF}" and "{Exif}", and Orientation, PixelWidth and PixelHeight at the top. Dates are local time.
ArchiveDictionary photoMetadata(const PhotoCircumstances& circumstances);

}
