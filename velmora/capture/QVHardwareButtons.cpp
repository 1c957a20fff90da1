// SPDX-License-Identifier: Apache-2.0
#include "velmora/capture/QVHardwareButtons.h"

#include "platform/AVFoundation/AVCaptureSession.h"

namespace velmora {

namespace {

void call(const std::function<void()>& relay)
{
    if (relay)
        relay();
}

}

const ClassInfo& QVHardwareButtons::CameraButtonDelegate::staticClass()
{
    using Self = CameraButtonDelegate;
    static constexpr auto methods = methodTable(
        method<&Self::controlDidSelectCaptureMenuIndex>("controlDidSelectCaptureMenuIndex:"),
        method<&Self::sessionControlsDidBecomeActive>("sessionControlsDidBecomeActive:"),
        method<&Self::sessionControlsWillEnterFullscreenAppearance>("sessionControlsWillEnterFullscreenAppearance:"),
        method<&Self::sessionControlsWillExitFullscreenAppearance>("sessionControlsWillExitFullscreenAppearance:"),
        method<&Self::sessionControlsDidBecomeInactive>("sessionControlsDidBecomeInactive:"));
    static constexpr auto classMethods = methodTable(initialiser<CameraButtonDelegate>("init"));
    static const ClassInfo info { "Velmora.QVHardwareButtons.CameraButtonDelegate", &NSObject::staticClass(), methods,
        classMethods };
    return info;
}

void QVHardwareButtons::CameraButtonDelegate::controlDidSelectCaptureMenuIndex(std::int64_t index)
{
    if (controlSelectedMenuIndex)
        controlSelectedMenuIndex(index);
}

void QVHardwareButtons::CameraButtonDelegate::sessionControlsDidBecomeActive(const std::shared_ptr<AVCaptureSession>&)
{
    call(controlsBecameActive);
}

void QVHardwareButtons::CameraButtonDelegate::sessionControlsWillEnterFullscreenAppearance(
    const std::shared_ptr<AVCaptureSession>&)
{
    call(controlsWillEnterFullscreen);
}

void QVHardwareButtons::CameraButtonDelegate::sessionControlsWillExitFullscreenAppearance(
    const std::shared_ptr<AVCaptureSession>&)
{
    call(controlsWillExitFullscreen);
}

void QVHardwareButtons::CameraButtonDelegate::sessionControlsDidBecomeInactive(const std::shared_ptr<AVCaptureSession>&)
{
    call(controlsBecameInactive);
}

}
