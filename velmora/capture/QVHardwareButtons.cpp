// SPDX-License-Identifier: Apache-2.0
#include "velmora/capture/QVHardwareButtons.h"

#include "platform/AVFoundation/AVCaptureEventInteraction.h"
#include "platform/AVFoundation/AVCaptureSession.h"
#include "platform/Foundation/SystemVersion.h"
#include "platform/UIKit/UIColor.h"

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

std::shared_ptr<UIView> QVHardwareButtons::InteractionView::makeUIView() const
{
    const auto view = make<UIView>();
    view->setBackgroundColor(UIColor::clearColor());
    view->addInteraction(AVCaptureEventInteraction::initWithEventHandler(
        [action = action_](const std::shared_ptr<AVCaptureEvent>& event) {
            if (event->phase() == AVCaptureEventPhaseEnded && action)
                action();
        }));
    return view;
}

AnyView QVHardwareButtons::Modifier::body(const AnyView& content) const
{
    constexpr SystemVersion firstWithButtons { 17, 2 };
    const bool hasButtons = SystemVersion::current() >= firstWithButtons;
    return content.background(hasButtons ? AnyView(InteractionView(action_)) : AnyView(), Alignment::Center);
}

AnyView captureHardwareButtons(const AnyView& view, std::function<void()> action)
{
    return view.modifier(QVHardwareButtons::Modifier(std::move(action)));
}

}
