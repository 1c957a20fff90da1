// SPDX-License-Identifier: Apache-2.0
#include "platform/UIKit/UITouch.h"

#include "platform/UIKit/UIGestureRecognizer.h"
#include "platform/UIKit/UIWindow.h"

#include <utility>

namespace velmora {

const ClassInfo& UITouch::staticClass()
{
    static constexpr auto methods = methodTable(method<&UITouch::phase>("phase"),
        method<&UITouch::timestamp>("timestamp"), method<&UITouch::tapCount>("tapCount"),
        method<&UITouch::window>("window"), method<&UITouch::view>("view"),
        method<overload<const std::shared_ptr<UIView>&>(&UITouch::locationInView)>("locationInView:"),
        method<overload<const std::shared_ptr<UIView>&>(&UITouch::previousLocationInView)>("previousLocationInView:"));
    static const ClassInfo info { "Velmora.UITouch", &NSObject::staticClass(), methods };
    return info;
}

std::vector<std::shared_ptr<UIGestureRecognizer>> UITouch::gestureRecognizers() const
{
    std::vector<std::shared_ptr<UIGestureRecognizer>> there;
    for (const auto& weak : recognizers_)
        if (auto recognizer = weak.lock())
            there.push_back(std::move(recognizer));
    return there;
}

CGPoint UITouch::locationInView(const UIView* view) const
{
    return converted(point_, view);
}

CGPoint UITouch::previousLocationInView(const UIView* view) const
{
    return converted(previous_, view);
}

CGPoint UITouch::converted(CGPoint inWindow, const UIView* view) const
{
    const auto window = window_.lock();
    return view && window ? view->convertPointFromView(inWindow, window) : inWindow;
}

}
