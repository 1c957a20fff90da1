// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/ProcessState.h"
#include "platform/QuartzCore/CADisplay.h"
#include "platform/UIKit/UIApplication.h"
#include "platform/UIKit/UIScreen.h"
#include "platform/UIKit/UIWindow.h"

#include "drivers/offscreen/OffscreenDisplay.h"

#include "tests/support/SteppedTest.h"

#include <array>
#include <memory>

namespace velmora::tests {

/// A window on a display in memory, 320 by 480 points at scale 1 unless a test says otherwise, and a finger on it.
/// Touches take the way of the display's own. Everything runs on the test's own thread, and time is moved by hand.
class WindowTest : public SteppedTest {
protected:
    explicit WindowTest(CGSize size = { 320, 480 }, double scale = 1)
        : screen(drivers::offscreen::OffscreenDisplay::withSize(size, scale))
    {
        DisplayDriver::install(screen);
        window = make<UIWindow>();
        window->makeKeyAndVisible();
    }
    ~WindowTest() override
    {
        window = nullptr;
        ProcessState::reset(); // while this test's time is in force
        DisplayDriver::install(nullptr);
    }

    template <class View = UIView, class... Args> std::shared_ptr<View> add(CGRect frame, Args&&... arguments)
    {
        auto view = make<View>(frame, std::forward<Args>(arguments)...);
        window->addSubview(view);
        return view;
    }

    void touchDown(CGPoint point, std::int64_t finger = 0) { screen->touch(DisplayTouchPhase::Began, point, finger); }
    void moveTo(CGPoint point, std::int64_t finger = 0) { screen->touch(DisplayTouchPhase::Moved, point, finger); }
    void lift(CGPoint point, std::int64_t finger = 0) { screen->touch(DisplayTouchPhase::Ended, point, finger); }
    void cancelTouch(CGPoint point, std::int64_t finger = 0)
    {
        screen->touch(DisplayTouchPhase::Cancelled, point, finger);
    }
    void tap(CGPoint point)
    {
        touchDown(point);
        lift(point);
    }

    /// Lays out, draws and shows what changed.
    void render() { UIScreen::mainScreen()->display()->renderIfNeeded(); }
    std::array<int, 3> colorAt(int x, int y) const { return screen->colorAt(x, y); }

    std::shared_ptr<drivers::offscreen::OffscreenDisplay> screen;
    std::shared_ptr<UIWindow> window;
};

}
