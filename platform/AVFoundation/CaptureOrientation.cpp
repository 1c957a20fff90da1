// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/CaptureOrientation.h"

#include "platform/AVFoundation/AVCaptureConnection.h"
#include "platform/AVFoundation/AVCaptureDevice.h"

namespace velmora {

namespace {

int turnOf(AVCaptureVideoOrientation orientation, AVCaptureDevicePosition position)
{
    const bool front = position == AVCaptureDevicePositionFront;
    switch (orientation) {
    case AVCaptureVideoOrientationPortraitUpsideDown:
        return 180;
    case AVCaptureVideoOrientationLandscapeRight:
        return front ? 90 : 270;
    case AVCaptureVideoOrientationLandscapeLeft:
        return front ? 270 : 90;
    default:
        return 0;
    }
}

}

PictureOrientation pictureOrientation(
    AVCaptureVideoOrientation orientation, bool mirrored, AVCaptureDevicePosition position, int sensorRotation)
{
    return { (sensorRotation + turnOf(orientation, position)) % 360, mirrored };
}

PictureOrientation pictureOrientation(const AVCaptureConnection& connection)
{
    return pictureOrientation(connection.videoOrientation(), connection.isVideoMirrored(), connection.cameraPosition(),
        connection.sensorRotation());
}

PictureOrientation pictureOrientation(int exifOrientation)
{
    for (const int rotation : { 0, 90, 180, 270 })
        for (const bool mirrored : { false, true })
            if (const PictureOrientation each { rotation, mirrored }; velmora::exifOrientation(each) == exifOrientation)
                return each;
    return {};
}

std::int64_t exifOrientation(const PictureOrientation& orientation)
{
    switch (orientation.rotation) {
    case 90:
        return orientation.mirrored ? 5 : 6;
    case 180:
        return orientation.mirrored ? 4 : 3;
    case 270:
        return orientation.mirrored ? 7 : 8;
    default:
        return orientation.mirrored ? 2 : 1;
    }
}

}
