// SPDX-License-Identifier: Apache-2.0
#include "platform/UIKit/UIScreen.h"

#include "platform/Foundation/ProcessState.h"
#include "platform/QuartzCore/CADisplay.h"

#include <utility>

namespace velmora {

namespace {

std::shared_ptr<UIScreen>& current()
{
    static auto* screen = [] {
        auto* made = new std::shared_ptr<UIScreen>;
        ProcessState::add([made] { std::exchange(*made, nullptr); });
        return made;
    }();
    return *screen;
}

}

UIScreen::UIScreen(std::shared_ptr<CADisplay> display)
    : display_(std::move(display))
{
}

const ClassInfo& UIScreen::staticClass()
{
    static constexpr auto methods = methodTable(method<&UIScreen::bounds>("bounds"), method<&UIScreen::scale>("scale"));
    static constexpr auto classMethods = methodTable(classMethod<&UIScreen::mainScreen>("mainScreen"));
    static const ClassInfo info { "Velmora.UIScreen", &NSObject::staticClass(), methods, classMethods };
    return info;
}

std::shared_ptr<UIScreen> UIScreen::mainScreen()
{
    auto& screen = current();
    if (screen && screen->display_)
        return screen;
    if (const auto driver = DisplayDriver::installed())
        screen = make<UIScreen>(make<CADisplay>(driver));
    else if (!screen)
        screen = make<UIScreen>(nullptr);
    return screen;
}

void UIScreen::setMainScreen(const std::shared_ptr<UIScreen>& screen)
{
    current() = screen;
}

CGRect UIScreen::bounds() const
{
    return display_ ? display_->bounds() : CGRectZero;
}

double UIScreen::scale() const
{
    return display_ ? display_->scale() : 1;
}

}
