// SPDX-License-Identifier: Apache-2.0
#include "velmora/capture/QVCameraController.h"

#include "platform/AVFoundation/AVCaptureConnection.h"
#include "platform/AVFoundation/AVCaptureSession.h"
#include "platform/AVFoundation/AVCaptureVideoPreviewLayer.h"
#include "platform/CoreMotion/CMMotionManager.h"

namespace velmora {

namespace {

// Single-precision limits, compared in double precision, both ends excluded: 0.4 as a double is still below the first.
constexpr double level = 0.4F; // g, along an axis that lies flat
constexpr double uprightFrom = 0.6F; // g, along the axis that stands upright
constexpr double uprightTo = 1.4F;

bool isFlat(double acceleration)
{
    return -level < acceleration && acceleration < level;
}

bool isUpright(double acceleration)
{
    return uprightFrom < acceleration && acceleration < uprightTo;
}

UIDeviceOrientation orientationHeldBy(const CMAcceleration& gravity)
{
    if (isFlat(gravity.x) && isUpright(-gravity.y))
        return UIDeviceOrientationPortrait;
    if (isFlat(gravity.x) && isUpright(gravity.y))
        return UIDeviceOrientationPortraitUpsideDown;
    if (isUpright(gravity.x) && isFlat(gravity.y))
        return UIDeviceOrientationLandscapeRight;
    if (isUpright(-gravity.x) && isFlat(gravity.y))
        return UIDeviceOrientationLandscapeLeft;
    if (!isFlat(gravity.x) || !isFlat(gravity.y))
        return UIDeviceOrientationUnknown;
    if (isUpright(gravity.z))
        return UIDeviceOrientationFaceDown;
    return isUpright(-gravity.z) ? UIDeviceOrientationFaceUp : UIDeviceOrientationUnknown;
}

}

std::shared_ptr<CMMotionManager> QVCameraController::motionManager()
{
    constexpr double updateInterval = 0.2F; // seconds; the single-precision value is what the sensor is asked for
    return motionManager_.with([](std::shared_ptr<CMMotionManager>& manager) {
        if (!manager) {
            manager = make<CMMotionManager>();
            manager->setAccelerometerUpdateInterval(updateInterval);
        }
        return manager;
    });
}

void QVCameraController::acceptAcceleration(const CMAcceleration& acceleration)
{
    const CMAcceleration& recent = recentAcceleration_;
    setDeviceOrientation(orientationHeldBy(
        { (acceleration.x + recent.x) * 0.5, (acceleration.y + recent.y) * 0.5, (acceleration.z + recent.z) * 0.5 }));
    // The reading, not the average: each orientation is made of two readings only.
    recentAcceleration_ = acceleration;
}

void QVCameraController::setDeviceOrientation(UIDeviceOrientation orientation)
{
    const ChangeOfValue change(*this, "deviceOrientation");
    deviceOrientation_ = orientation;
}

void QVCameraController::setCaptureOrientation(AVCaptureVideoOrientation orientation)
{
    captureOrientation_ = orientation;
    setSampleBufferOrientation(orientation);
    DispatchQueue::main().async([self = sharedFromThis(*this)] {
        const auto connection = self->previewLayer_->connection();
        if (connection && connection->videoOrientation() != self->captureOrientation_)
            connection->setVideoOrientation(self->captureOrientation_);
    });
}

void QVCameraController::setSampleBufferOrientation(AVCaptureVideoOrientation orientation)
{
    sampleBufferOrientation_ = orientation;
    sessionQueue_.async([self = sharedFromThis(*this)] {
        if (const auto session = self->captureSession()) {
            session->beginConfiguration();
            self->_matchVideoOutputOrientationToSampleBufferOrientation();
            session->commitConfiguration();
        }
        self->fireCameraConfigurationCompletion();
    });
}

}
