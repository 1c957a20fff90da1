// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/AVCaptureConnection.h"

#include "platform/AVFoundation/AVCaptureDevice.h"
#include "platform/AVFoundation/AVCaptureOutput.h"
#include "platform/AVFoundation/AVCaptureSession.h"

#include <algorithm>
#include <utility>

namespace velmora {

AVCaptureConnection::AVCaptureConnection(std::string mediaType, std::shared_ptr<AVCaptureDevice> device,
    std::weak_ptr<AVCaptureOutput> output, std::weak_ptr<AVCaptureSession> session)
    : mediaType_(std::move(mediaType))
    , device_(std::move(device))
    , output_(std::move(output))
    , session_(std::move(session))
{
    const auto description = device_ ? device_->deviceDescription() : CaptureDeviceDescription {};
    cameraPosition_ = description.position;
    sensorRotation_ = description.sensorRotation;
}

const ClassInfo& AVCaptureConnection::staticClass()
{
    using Self = AVCaptureConnection;
    static constexpr auto methods = methodTable(method<&Self::mediaType>("mediaType"), method<&Self::output>("output"),
        method<&Self::videoOrientation>("videoOrientation"), method<&Self::setVideoOrientation>("setVideoOrientation:"),
        method<&Self::isVideoMirrored>("isVideoMirrored"), method<&Self::setVideoMirrored>("setVideoMirrored:"),
        method<&Self::isVideoStabilizationSupported>("isVideoStabilizationSupported"),
        method<&Self::preferredVideoStabilizationMode>("preferredVideoStabilizationMode"),
        method<&Self::setPreferredVideoStabilizationMode>("setPreferredVideoStabilizationMode:"),
        method<&Self::activeVideoStabilizationMode>("activeVideoStabilizationMode"));
    static const ClassInfo info { "Velmora.AVCaptureConnection", &NSObject::staticClass(), methods };
    return info;
}

AVCaptureVideoOrientation AVCaptureConnection::videoOrientation() const
{
    const std::lock_guard lock(mutex_);
    return orientation_;
}

void AVCaptureConnection::setVideoOrientation(AVCaptureVideoOrientation orientation)
{
    if (orientation < AVCaptureVideoOrientationPortrait || orientation > AVCaptureVideoOrientationLandscapeLeft)
        return;
    {
        const std::lock_guard lock(mutex_);
        orientation_ = orientation;
    }
    note("videoOrientation " + std::to_string(orientation));
}

bool AVCaptureConnection::isVideoMirrored() const
{
    const std::lock_guard lock(mutex_);
    return mirrored_;
}

void AVCaptureConnection::setVideoMirrored(bool mirrored)
{
    {
        const std::lock_guard lock(mutex_);
        mirrored_ = mirrored;
    }
    note(mirrored ? "videoMirrored 1" : "videoMirrored 0");
}

bool AVCaptureConnection::isVideoStabilizationSupported() const
{
    const auto modes = device_->deviceDescription().stabilizationModes;
    return std::any_of(modes.begin(), modes.end(), [](int mode) { return mode != AVCaptureVideoStabilizationModeOff; });
}

AVCaptureVideoStabilizationMode AVCaptureConnection::preferredVideoStabilizationMode() const
{
    const std::lock_guard lock(mutex_);
    return preferredStabilization_;
}

void AVCaptureConnection::setPreferredVideoStabilizationMode(AVCaptureVideoStabilizationMode mode)
{
    {
        const std::lock_guard lock(mutex_);
        preferredStabilization_ = mode;
    }
    note("preferredVideoStabilizationMode " + std::to_string(mode));
    if (const auto session = session_.lock())
        session->streamRequestChanged();
}

AVCaptureVideoStabilizationMode AVCaptureConnection::activeVideoStabilizationMode() const
{
    const auto modes = device_->deviceDescription().stabilizationModes;
    const auto preferred = preferredVideoStabilizationMode();
    if (std::find(modes.begin(), modes.end(), preferred) != modes.end())
        return preferred;
    if (preferred != AVCaptureVideoStabilizationModeAuto)
        return AVCaptureVideoStabilizationModeOff;
    // Left to the device: the gentlest that it has.
    int chosen = AVCaptureVideoStabilizationModeOff;
    for (const int mode : modes)
        if (mode > 0 && (chosen == AVCaptureVideoStabilizationModeOff || mode < chosen))
            chosen = mode;
    return static_cast<AVCaptureVideoStabilizationMode>(chosen);
}

void AVCaptureConnection::note(const std::string& what) const
{
    if (const auto driver = CaptureDriver::installed())
        driver->note("connection " + what, device_->uniqueID());
}

}
