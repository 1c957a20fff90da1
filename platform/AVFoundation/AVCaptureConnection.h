// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/AVMediaTypes.h"
#include "platform/Foundation/NSObject.h"

#include <memory>
#include <mutex>
#include <string>

namespace velmora {

class AVCaptureDevice;
class AVCaptureOutput;
class AVCaptureSession;

/// From an input of a session to an output or a preview layer. The session makes it and drops it; what was set on it
/// goes with it. From any thread.
class VELMORA_EXPORT AVCaptureConnection : public NSObject {
public:
    AVCaptureConnection(std::string mediaType, std::shared_ptr<AVCaptureDevice> device,
        std::weak_ptr<AVCaptureOutput> output, std::weak_ptr<AVCaptureSession> session);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    const std::string& mediaType() const { return mediaType_; }
    const std::shared_ptr<AVCaptureDevice>& device() const { return device_; } ///< the input's
    std::shared_ptr<AVCaptureOutput> output() const { return output_.lock(); } ///< Empty for a preview layer's.

    /// How the camera's sensor is mounted, as its description said when the connection was made.
    AVCaptureDevicePosition cameraPosition() const { return cameraPosition_; }
    int sensorRotation() const { return sensorRotation_; } ///< degrees clockwise

    /// Frames are not turned: the orientation says how they are meant.
    AVCaptureVideoOrientation videoOrientation() const;
    /// A number outside 1 to 4 is ignored.
    void setVideoOrientation(AVCaptureVideoOrientation orientation);
    bool isVideoMirrored() const;
    void setVideoMirrored(bool mirrored);

    bool isVideoStabilizationSupported() const;
    AVCaptureVideoStabilizationMode preferredVideoStabilizationMode() const;
    void setPreferredVideoStabilizationMode(AVCaptureVideoStabilizationMode mode);
    /// Off where the device cannot do the preferred one; what the device chose where that is automatic.
    AVCaptureVideoStabilizationMode activeVideoStabilizationMode() const;

private:
    void note(const std::string& what) const;

    const std::string mediaType_;
    const std::shared_ptr<AVCaptureDevice> device_;
    AVCaptureDevicePosition cameraPosition_ = AVCaptureDevicePositionUnspecified;
    int sensorRotation_ = 0;
    const std::weak_ptr<AVCaptureOutput> output_;
    const std::weak_ptr<AVCaptureSession> session_;
    mutable std::mutex mutex_;
    AVCaptureVideoOrientation orientation_ = AVCaptureVideoOrientationPortrait;
    bool mirrored_ = false;
    AVCaptureVideoStabilizationMode preferredStabilization_ = AVCaptureVideoStabilizationModeOff;
};

}
