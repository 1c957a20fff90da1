// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "velmora/capture/QVCameraButtonControlsDelegate.h"

#include "platform/Foundation/NSObject.h"

#include <cstdint>
#include <functional>

namespace velmora {

/// What joins an application to the buttons of a phone.
struct VELMORA_EXPORT QVHardwareButtons {
    QVHardwareButtons() = delete;

    class CameraButtonDelegate;
};

/// Hands each callback of a capture control to a function; empty ones are skipped. Set the functions before the
/// delegate is installed.
class VELMORA_EXPORT QVHardwareButtons::CameraButtonDelegate : public NSObject, public QVCameraButtonControlsDelegate {
public:
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    std::function<void(std::int64_t index)> controlSelectedMenuIndex; ///< On the controller's session queue.
    std::function<void()> controlsBecameActive, controlsBecameInactive; ///< On the main queue, like those below.
    std::function<void()> controlsWillEnterFullscreen, controlsWillExitFullscreen;

    void controlDidSelectCaptureMenuIndex(std::int64_t index) override;
    void sessionControlsDidBecomeActive(const std::shared_ptr<AVCaptureSession>& session) override;
    void sessionControlsWillEnterFullscreenAppearance(const std::shared_ptr<AVCaptureSession>& session) override;
    void sessionControlsWillExitFullscreenAppearance(const std::shared_ptr<AVCaptureSession>& session) override;
    void sessionControlsDidBecomeInactive(const std::shared_ptr<AVCaptureSession>& session) override;
};

}
