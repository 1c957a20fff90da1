// SPDX-License-Identifier: Apache-2.0
#include "platform/UIKit/UIResponder.h"

#include "platform/UIKit/UIApplication.h"

namespace velmora {

const ClassInfo& UIResponder::staticClass()
{
    static constexpr auto methods = methodTable(method<&UIResponder::nextResponder>("nextResponder"),
        method<&UIResponder::canBecomeFirstResponder>("canBecomeFirstResponder"),
        method<&UIResponder::becomeFirstResponder>("becomeFirstResponder"),
        method<&UIResponder::resignFirstResponder>("resignFirstResponder"),
        method<&UIResponder::isFirstResponder>("isFirstResponder"),
        method<&UIResponder::touchesBegan>("touchesBegan:withEvent:"),
        method<&UIResponder::touchesMoved>("touchesMoved:withEvent:"),
        method<&UIResponder::touchesEnded>("touchesEnded:withEvent:"),
        method<&UIResponder::touchesCancelled>("touchesCancelled:withEvent:"));
    static const ClassInfo info { "Velmora.UIResponder", &NSObject::staticClass(), methods };
    return info;
}

bool UIResponder::becomeFirstResponder()
{
    if (isFirstResponder())
        return true;
    const auto application = UIApplication::sharedApplication();
    const auto before = application->firstResponder();
    if (!canBecomeFirstResponder() || (before && !before->resignFirstResponder()))
        return false;
    application->setFirstResponder(sharedFromThis(*this));
    return true;
}

bool UIResponder::resignFirstResponder()
{
    if (!canResignFirstResponder())
        return false;
    if (isFirstResponder())
        UIApplication::sharedApplication()->setFirstResponder(nullptr);
    return true;
}

bool UIResponder::isFirstResponder() const
{
    return UIApplication::sharedApplication()->firstResponder().get() == this;
}

void UIResponder::touchesBegan(const UITouches& touches, const std::shared_ptr<UIEvent>& event)
{
    if (const auto next = nextResponder())
        next->touchesBegan(touches, event);
}

void UIResponder::touchesMoved(const UITouches& touches, const std::shared_ptr<UIEvent>& event)
{
    if (const auto next = nextResponder())
        next->touchesMoved(touches, event);
}

void UIResponder::touchesEnded(const UITouches& touches, const std::shared_ptr<UIEvent>& event)
{
    if (const auto next = nextResponder())
        next->touchesEnded(touches, event);
}

void UIResponder::touchesCancelled(const UITouches& touches, const std::shared_ptr<UIEvent>& event)
{
    if (const auto next = nextResponder())
        next->touchesCancelled(touches, event);
}

void UIResponder::pressBegan(const UIPress& press)
{
    if (const auto next = nextResponder())
        next->pressBegan(press);
}

void UIResponder::pressEnded(const UIPress& press)
{
    if (const auto next = nextResponder())
        next->pressEnded(press);
}

}
