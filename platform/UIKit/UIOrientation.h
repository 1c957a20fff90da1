// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace velmora {

/// How a device is held; the names tell where its top points.
enum UIDeviceOrientation : std::int64_t {
    UIDeviceOrientationUnknown = 0,
    UIDeviceOrientationPortrait = 1,
    UIDeviceOrientationPortraitUpsideDown = 2,
    UIDeviceOrientationLandscapeLeft = 3,
    UIDeviceOrientationLandscapeRight = 4,
    UIDeviceOrientationFaceUp = 5,
    UIDeviceOrientationFaceDown = 6,
};

/// How the interface stands on the device; of the landscape ones, the name tells on which side the device's lower end
/// is.
enum UIInterfaceOrientation : std::int64_t {
    UIInterfaceOrientationUnknown = 0,
    UIInterfaceOrientationPortrait = 1,
    UIInterfaceOrientationPortraitUpsideDown = 2,
    UIInterfaceOrientationLandscapeRight = 3,
    UIInterfaceOrientationLandscapeLeft = 4,
};

/// How a picture is stored: where its top is.
enum UIImageOrientation : std::int64_t {
    UIImageOrientationUp = 0,
    UIImageOrientationDown = 1,
    UIImageOrientationLeft = 2,
    UIImageOrientationRight = 3,
    UIImageOrientationUpMirrored = 4,
    UIImageOrientationDownMirrored = 5,
    UIImageOrientationLeftMirrored = 6,
    UIImageOrientationRightMirrored = 7,
};

}
