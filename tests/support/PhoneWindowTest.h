// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/ProcessState.h"
#include "platform/QuartzCore/CADisplay.h"
#include "platform/UIKit/UIScreen.h"
#include "platform/UIKit/UIWindow.h"

#include "drivers/offscreen/OffscreenDisplay.h"

#include "tests/support/PhoneTest.h"

#include <array>
#include <memory>
#include <utility>

namespace velmora::tests {

/// A phone with its screen in memory, 360 by 720 points at scale 1 unless a test says otherwise, and a finger on it.
class PhoneWindowTest : public PhoneTest {
protected:
    explicit PhoneWindowTest(drivers::phone::PhoneDescription description = smallPhone(), CGSize size = { 360, 720 })
        : PhoneTest(std::move(description))
        , screen(drivers::offscreen::OffscreenDisplay::withSize(size, 1))
    {
        DisplayDriver::install(screen);
        window = make<UIWindow>();
        window->makeKeyAndVisible();
    }
    ~PhoneWindowTest() override
    {
        window = nullptr;
        clock.advance(0);
        ProcessState::reset();
        DisplayDriver::install(nullptr);
    }

    template <class View = UIView, class... Args> std::shared_ptr<View> add(CGRect frame, Args&&... arguments)
    {
        auto view = make<View>(frame, std::forward<Args>(arguments)...);
        window->addSubview(view);
        return view;
    }

    void touchDown(CGPoint point) { screen->touch(DisplayTouchPhase::Began, point, 0); }
    void moveTo(CGPoint point) { screen->touch(DisplayTouchPhase::Moved, point, 0); }
    void lift(CGPoint point) { screen->touch(DisplayTouchPhase::Ended, point, 0); }
    void cancelTouch(CGPoint point) { screen->touch(DisplayTouchPhase::Cancelled, point, 0); }
    void tap(CGPoint point)
    {
        touchDown(point);
        lift(point);
    }
    void render() { UIScreen::mainScreen()->display()->renderIfNeeded(); }
    std::array<int, 3> colorAt(int x, int y) const { return screen->colorAt(x, y); }

    std::shared_ptr<drivers::offscreen::OffscreenDisplay> screen;
    std::shared_ptr<UIWindow> window;
};

}
