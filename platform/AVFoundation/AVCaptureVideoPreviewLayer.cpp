// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/AVCaptureVideoPreviewLayer.h"

#include "platform/AVFoundation/AVCaptureDevice.h"
#include "platform/AVFoundation/AVCaptureSession.h"
#include "platform/AVFoundation/CaptureOrientation.h"
#include "platform/QuartzCore/CADisplay.h"

#include <algorithm>
#include <utility>

namespace velmora {

AVCaptureVideoPreviewLayer::AVCaptureVideoPreviewLayer(std::shared_ptr<AVCaptureSession> session)
    : session_(std::move(session))
{
}

std::shared_ptr<AVCaptureVideoPreviewLayer> AVCaptureVideoPreviewLayer::initWithSession(
    const std::shared_ptr<AVCaptureSession>& session)
{
    return make<AVCaptureVideoPreviewLayer>(session);
}

void AVCaptureVideoPreviewLayer::didConstruct()
{
    CALayer::didConstruct();
    if (session_)
        session_->addPreviewLayer(sharedFromThis(*this));
}

const ClassInfo& AVCaptureVideoPreviewLayer::staticClass()
{
    using Self = AVCaptureVideoPreviewLayer;
    static constexpr auto methods
        = methodTable(method<&Self::session>("session"), method<&Self::connection>("connection"),
            method<&Self::videoGravity>("videoGravity"), method<&Self::setVideoGravity>("setVideoGravity:"),
            method<&Self::captureDevicePointOfInterestForPoint>("captureDevicePointOfInterestForPoint:"),
            method<&Self::pointForCaptureDevicePointOfInterest>("pointForCaptureDevicePointOfInterest:"));
    static constexpr auto classMethods = methodTable(classMethod<&Self::initWithSession>("initWithSession:"));
    static const ClassInfo info { "Velmora.AVCaptureVideoPreviewLayer", &CALayer::staticClass(), methods,
        classMethods };
    return info;
}

std::shared_ptr<AVCaptureConnection> AVCaptureVideoPreviewLayer::connection() const
{
    const std::lock_guard lock(mutex_);
    return connection_;
}

void AVCaptureVideoPreviewLayer::setConnection(std::shared_ptr<AVCaptureConnection> connection)
{
    {
        const std::lock_guard lock(mutex_);
        connection_.swap(connection);
        if (!connection_)
            frame_ = nullptr; // of a camera that is gone
    }
    requestFrame();
}

void AVCaptureVideoPreviewLayer::receive(const std::shared_ptr<CMSampleBuffer>& buffer)
{
    {
        const std::lock_guard lock(mutex_);
        if (!connection_ || !buffer->imageBuffer())
            return;
        frame_ = buffer->imageBuffer();
    }
    // One word to the display is enough, however many frames come before it looks.
    if (!seen_ || announced_.exchange(true))
        return;
    if (const auto shownOn = display())
        shownOn->frameArrived();
    else
        announced_ = false;
}

std::optional<LayerPreview> AVCaptureVideoPreviewLayer::preview(CGRect bounds)
{
    announced_ = false;
    const auto connection = this->connection();
    std::shared_ptr<CVPixelBuffer> frame;
    {
        const std::lock_guard lock(mutex_);
        frame = frame_;
    }
    if (!connection || !frame) {
        seen_ = true; // the first one is waited for
        return std::nullopt;
    }
    const auto orientation = pictureOrientation(*connection);
    return LayerPreview { frame, orientation.rotation, orientation.mirrored, videoRectIn(bounds) };
}

std::string AVCaptureVideoPreviewLayer::videoGravity() const
{
    const std::lock_guard lock(mutex_);
    return gravity_;
}

void AVCaptureVideoPreviewLayer::setVideoGravity(const std::string& gravity)
{
    {
        const std::lock_guard lock(mutex_);
        gravity_ = gravity;
    }
    requestFrame();
}

CGRect AVCaptureVideoPreviewLayer::videoRect() const
{
    return videoRectIn(bounds());
}

CGRect AVCaptureVideoPreviewLayer::videoRectIn(CGRect layer) const
{
    const auto connection = this->connection();
    const auto format = connection ? connection->device()->activeFormat() : nullptr;
    const auto sensor = format ? format->formatDescription()->dimensions() : CMVideoDimensions {};
    if (sensor.width <= 0 || sensor.height <= 0 || layer.size.width <= 0 || layer.size.height <= 0)
        return {};

    CGSize picture = CGSizeMake(sensor.width, sensor.height);
    if (pictureOrientation(*connection).isSideways())
        std::swap(picture.width, picture.height);
    double across = layer.size.width / picture.width, down = layer.size.height / picture.height;
    const std::string gravity = videoGravity();
    if (gravity == AVLayerVideoGravityResizeAspectFill)
        across = down = std::max(across, down);
    else if (gravity != AVLayerVideoGravityResize)
        across = down = std::min(across, down);
    const CGSize size = CGSizeMake(picture.width * across, picture.height * down);
    return CGRectMake(layer.origin.x + (layer.size.width - size.width) / 2,
        layer.origin.y + (layer.size.height - size.height) / 2, size.width, size.height);
}

CGPoint AVCaptureVideoPreviewLayer::captureDevicePointOfInterestForPoint(CGPoint point) const
{
    const CGRect picture = videoRect();
    const auto connection = this->connection();
    if (picture.size.width <= 0 || !connection)
        return { 0.5, 0.5 };

    const auto orientation = pictureOrientation(*connection);
    const double fromLeft = (point.x - picture.origin.x) / picture.size.width;
    const double u = orientation.mirrored ? 1 - fromLeft : fromLeft;
    const double v = (point.y - picture.origin.y) / picture.size.height;
    switch (orientation.rotation) {
    case 90:
        return { v, 1 - u };
    case 180:
        return { 1 - u, 1 - v };
    case 270:
        return { 1 - v, u };
    default:
        return { u, v };
    }
}

CGPoint AVCaptureVideoPreviewLayer::pointForCaptureDevicePointOfInterest(CGPoint place) const
{
    const CGRect picture = videoRect();
    const auto connection = this->connection();
    if (picture.size.width <= 0 || !connection)
        return { CGRectGetMidX(bounds()), CGRectGetMidY(bounds()) };

    const auto orientation = pictureOrientation(*connection);
    CGPoint upright = place;
    if (orientation.rotation == 90)
        upright = { 1 - place.y, place.x };
    else if (orientation.rotation == 180)
        upright = { 1 - place.x, 1 - place.y };
    else if (orientation.rotation == 270)
        upright = { place.y, 1 - place.x };
    if (orientation.mirrored)
        upright.x = 1 - upright.x;
    return { picture.origin.x + upright.x * picture.size.width, picture.origin.y + upright.y * picture.size.height };
}

}
