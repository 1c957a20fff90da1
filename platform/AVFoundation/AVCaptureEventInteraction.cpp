// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/AVCaptureEventInteraction.h"

#include "platform/AVFoundation/CaptureButtons.h"
#include "platform/UIKit/UIView.h"
#include "platform/UIKit/UIWindow.h"

#include <utility>

namespace velmora {

const ClassInfo& AVCaptureEvent::staticClass()
{
    static constexpr auto methods = methodTable(method<&AVCaptureEvent::phase>("phase"));
    static const ClassInfo info { "Velmora.AVCaptureEvent", &NSObject::staticClass(), methods };
    return info;
}

AVCaptureEventInteraction::AVCaptureEventInteraction(Handler handler)
    : handler_(std::move(handler))
{
}

AVCaptureEventInteraction::~AVCaptureEventInteraction() = default;

std::shared_ptr<AVCaptureEventInteraction> AVCaptureEventInteraction::initWithEventHandler(Handler handler)
{
    return make<AVCaptureEventInteraction>(std::move(handler));
}

const ClassInfo& AVCaptureEventInteraction::staticClass()
{
    using Self = AVCaptureEventInteraction;
    static constexpr auto methods
        = methodTable(method<&Self::isEnabled>("isEnabled"), method<&Self::setEnabled>("setEnabled:"));
    static constexpr auto classMethods = methodTable(classMethod<&Self::initWithEventHandler>("initWithEventHandler:"));
    static const ClassInfo info { "Velmora.AVCaptureEventInteraction", &NSObject::staticClass(), methods,
        classMethods };
    return info;
}

void AVCaptureEventInteraction::willMoveToView(const std::shared_ptr<UIView>&)
{
    if (!view_.expired())
        CaptureButtons::shared()->remove(this);
}

void AVCaptureEventInteraction::didMoveToView(const std::shared_ptr<UIView>& view)
{
    view_ = view;
    if (view)
        CaptureButtons::shared()->add(sharedFromThis(*this));
}

bool AVCaptureEventInteraction::canHear() const
{
    const auto view = view_.lock();
    return enabled_ && view && view->window();
}

void AVCaptureEventInteraction::hear(AVCaptureEventPhase phase) const
{
    if (handler_)
        handler_(make<AVCaptureEvent>(phase));
}

}
