// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Export.h"

#include <memory>

namespace velmora {

class AVCaptureSession;

/// Told when a session's controls come and go, on the queue that was given with the delegate.
class VELMORA_EXPORT AVCaptureSessionControlsDelegate {
public:
    virtual ~AVCaptureSessionControlsDelegate() = default;
    /// A person touches the camera button: the controls are at hand.
    virtual void sessionControlsDidBecomeActive(const std::shared_ptr<AVCaptureSession>& session) = 0;
    /// A control takes the screen: the application should hide its own.
    virtual void sessionControlsWillEnterFullscreenAppearance(const std::shared_ptr<AVCaptureSession>& session) = 0;
    virtual void sessionControlsWillExitFullscreenAppearance(const std::shared_ptr<AVCaptureSession>& session) = 0;
    virtual void sessionControlsDidBecomeInactive(const std::shared_ptr<AVCaptureSession>& session) = 0;
};

}
