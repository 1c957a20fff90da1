// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "velmora/capture/QVCameraButtonControlsDelegate.h"

#include "platform/Foundation/NSObject.h"
#include "platform/SwiftUI/View.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <utility>

namespace velmora {

/// What joins an application to the buttons of a phone.
struct VELMORA_EXPORT QVHardwareButtons {
    QVHardwareButtons() = delete;

    class CameraButtonDelegate;
    class InteractionView;
    class Modifier;
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

/// A clear view that calls its action on the main thread each time a button that takes pictures is released.
class VELMORA_EXPORT QVHardwareButtons::InteractionView {
public:
    explicit InteractionView(std::function<void()> action)
        : action_(std::move(action))
    {
    }
    std::shared_ptr<UIView> makeUIView() const;
    void updateUIView(const std::shared_ptr<UIView>&) const { }

private:
    std::function<void()> action_;
};

/// Puts an InteractionView behind a view, from system version 17.2 on; before, nothing.
class VELMORA_EXPORT QVHardwareButtons::Modifier {
public:
    explicit Modifier(std::function<void()> action)
        : action_(std::move(action))
    {
    }
    AnyView body(const AnyView& content) const;

private:
    std::function<void()> action_;
};

/// The view with an action for the buttons that take pictures, while it is on the screen.
VELMORA_EXPORT AnyView captureHardwareButtons(const AnyView& view, std::function<void()> action);

}
