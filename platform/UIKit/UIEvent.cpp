// SPDX-License-Identifier: Apache-2.0
#include "platform/UIKit/UIEvent.h"

#include "platform/UIKit/UIWindow.h"

#include <utility>

namespace velmora {

UIEvent::UIEvent(UIEventType type, double timestamp, UITouches touches)
    : type_(type)
    , timestamp_(timestamp)
    , touches_(std::move(touches))
{
}

const ClassInfo& UIEvent::staticClass()
{
    static constexpr auto methods = methodTable(method<&UIEvent::type>("type"),
        method<&UIEvent::timestamp>("timestamp"), method<&UIEvent::allTouches>("allTouches"));
    static const ClassInfo info { "Velmora.UIEvent", &NSObject::staticClass(), methods };
    return info;
}

UITouches UIEvent::touchesForWindow(const UIWindow& window) const
{
    UITouches found;
    for (const auto& touch : touches_)
        if (touch->window().get() == &window)
            found.push_back(touch);
    return found;
}

UITouches UIEvent::touchesForView(const UIView& view) const
{
    UITouches found;
    for (const auto& touch : touches_)
        if (touch->view().get() == &view)
            found.push_back(touch);
    return found;
}

}
