// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/AVCaptureSession.h"

#include "platform/AVFoundation/AVCaptureControl.h"
#include "platform/AVFoundation/AVCaptureSessionControlsDelegate.h"
#include "platform/AVFoundation/CaptureControlsDriver.h"

#include <algorithm>
#include <utility>

namespace velmora {

namespace {

bool holds(const std::vector<std::shared_ptr<AVCaptureControl>>& controls, const std::shared_ptr<AVCaptureControl>& one)
{
    return std::find(controls.begin(), controls.end(), one) != controls.end();
}

}

bool AVCaptureSession::supportsControls() const
{
    const auto driver = CaptureControlsDriver::installed();
    return driver && driver->supportsControls();
}

std::vector<std::shared_ptr<AVCaptureControl>> AVCaptureSession::controls() const
{
    const std::lock_guard lock(mutex_);
    return controls_;
}

bool AVCaptureSession::canAddControl(const std::shared_ptr<AVCaptureControl>& control) const
{
    const auto driver = CaptureControlsDriver::installed();
    return control && driver && driver->supportsControls() && !holds(controls(), control)
        && driver->canAddControl(*control);
}

void AVCaptureSession::addControl(const std::shared_ptr<AVCaptureControl>& control)
{
    if (!control || !supportsControls())
        return;
    {
        const std::lock_guard lock(mutex_);
        if (holds(controls_, control))
            return;
        controls_.push_back(control);
    }
    controlsChanged();
}

void AVCaptureSession::removeControl(const std::shared_ptr<AVCaptureControl>& control)
{
    {
        const std::lock_guard lock(mutex_);
        if (std::erase(controls_, control) == 0)
            return;
    }
    controlsChanged();
}

void AVCaptureSession::controlsChanged()
{
    if (const auto driver = CaptureControlsDriver::installed())
        driver->controlsChanged(sharedFromThis(*this));
}

void AVCaptureSession::setControlsDelegate(
    const std::weak_ptr<AVCaptureSessionControlsDelegate>& delegate, const std::optional<DispatchQueue>& queue)
{
    const std::lock_guard lock(mutex_);
    controlsDelegate_ = delegate;
    controlsQueue_ = queue;
}

std::shared_ptr<AVCaptureSessionControlsDelegate> AVCaptureSession::controlsDelegate() const
{
    const std::lock_guard lock(mutex_);
    return controlsDelegate_.lock();
}

void AVCaptureSession::tellControlsDelegate(ControlsEvent event)
{
    std::optional<DispatchQueue> queue;
    {
        const std::lock_guard lock(mutex_);
        queue = controlsQueue_;
    }
    if (!queue)
        return;
    queue->async([self = sharedFromThis(*this), event] {
        if (const auto delegate = self->controlsDelegate())
            (*delegate.*event)(self);
    });
}

void AVCaptureSession::controlsDidBecomeActive()
{
    tellControlsDelegate(&AVCaptureSessionControlsDelegate::sessionControlsDidBecomeActive);
}

void AVCaptureSession::controlsWillEnterFullscreenAppearance()
{
    tellControlsDelegate(&AVCaptureSessionControlsDelegate::sessionControlsWillEnterFullscreenAppearance);
}

void AVCaptureSession::controlsWillExitFullscreenAppearance()
{
    tellControlsDelegate(&AVCaptureSessionControlsDelegate::sessionControlsWillExitFullscreenAppearance);
}

void AVCaptureSession::controlsDidBecomeInactive()
{
    tellControlsDelegate(&AVCaptureSessionControlsDelegate::sessionControlsDidBecomeInactive);
}

}
