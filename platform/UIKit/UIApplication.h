// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Cancellable.h"
#include "platform/QuartzCore/DisplayDriver.h"
#include "platform/UIKit/UIOrientation.h"
#include "platform/UIKit/UIResponder.h"
#include "platform/UIKit/UIViewController.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace velmora {

class CADisplay;
class UIWindow;

/// Posted on the main thread by whoever runs the application.
inline constexpr const char* UIApplicationWillResignActiveNotification = "UIApplicationWillResignActiveNotification";
inline constexpr const char* UIApplicationDidBecomeActiveNotification = "UIApplicationDidBecomeActiveNotification";
inline constexpr const char* UIApplicationDidEnterBackgroundNotification
    = "UIApplicationDidEnterBackgroundNotification";
inline constexpr const char* UIApplicationWillEnterForegroundNotification
    = "UIApplicationWillEnterForegroundNotification";
/// Midnight, another time zone, or a clock that was set.
inline constexpr const char* UIApplicationSignificantTimeChangeNotification
    = "UIApplicationSignificantTimeChangeNotification";

enum UIApplicationState : std::int64_t {
    UIApplicationStateActive = 0,
    UIApplicationStateInactive = 1,
    UIApplicationStateBackground = 2,
};

/// Joins the display with the windows: what a person does on the screen comes in here and goes to the window that it is
/// meant for. One in a process; a new virtual phone makes it fresh. Main thread only.
class VELMORA_EXPORT UIApplication : public UIResponder {
public:
    static std::shared_ptr<UIApplication> sharedApplication();
    UIApplication();
    ~UIApplication() override;
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    /// Active at first; follows the notifications above, whoever posts them.
    UIApplicationState applicationState() const { return state_; }
    // What posts them, with the application as the object. Each does nothing in the state that it leads to.
    void becomeActive();
    void resignActive();
    void enterBackground(); ///< resigns first
    void enterForeground(); ///< and then becomes active

    // Windows are held by those who made them.
    std::vector<std::shared_ptr<UIWindow>> windows() const; ///< those that are shown, from the back to the front
    std::shared_ptr<UIWindow> keyWindow() const { return keyWindow_.lock(); }

    /// How the interface stands.
    UIInterfaceOrientation statusBarOrientation() const { return orientation_; }
    /// The device was turned: the windows turn upon the display, animated, where the topmost controller of the key
    /// window supports it. Answers whether they stand so now.
    bool turnTo(UIInterfaceOrientation orientation);
    /// What the topmost controller of the key window wants. Nothing of ours draws a status bar.
    bool isStatusBarHidden() const { return statusBarHidden_; }
    UIStatusBarAnimation statusBarAnimation() const { return statusBarAnimation_; } ///< of the last change
    void updateStatusBar();

    /// A finger on the main screen; the display's own touches come here.
    void handleTouch(const DisplayTouch& touch);
    /// Goes to the first responder, else to the topmost controller of the key window, else to that window.
    void handleKey(const DisplayKey& key);
    /// Hears of keys that no responder has kept to itself.
    [[nodiscard]] Cancellable addPressHandler(std::function<void(const UIPress&)> handler);
    void pressBegan(const UIPress& press) override { tellPressHandlers(press); }
    void pressEnded(const UIPress& press) override { tellPressHandlers(press); }
    /// Hands an event to the windows of its touches.
    virtual void sendEvent(const std::shared_ptr<UIEvent>& event);
    /// Fingers that come down meanwhile are nobody's. In pairs.
    void beginIgnoringInteractionEvents() { ++ignoring_; }
    void endIgnoringInteractionEvents();
    bool isIgnoringInteractionEvents() const { return ignoring_ > 0; }

    /// Sends `action` with the sender and the event, as many of them as the selector takes. A null target is the first
    /// of the responders from `sender` on that knows the selector. Answers whether it was sent.
    bool sendAction(const std::string& action, const std::shared_ptr<NSObject>& target,
        const std::shared_ptr<NSObject>& sender, const std::shared_ptr<UIEvent>& event);

    /// Called when a person closes the display's window.
    void setCloseHandler(std::function<void()> handler) { closeHandler_ = std::move(handler); }

    // For responders and windows.
    std::shared_ptr<UIResponder> firstResponder() const { return firstResponder_.lock(); }
    void setFirstResponder(const std::shared_ptr<UIResponder>& responder) { firstResponder_ = responder; }
    void setKeyWindow(const std::shared_ptr<UIWindow>& window) { keyWindow_ = window; }
    void addWindow(const std::shared_ptr<UIWindow>& window);
    void removeWindow(const UIWindow& window);

protected:
    void didConstruct() override;

private:
    void tellPressHandlers(const UIPress& press);
    void joinDisplay();
    void displayChanged(const DisplayMode& mode);
    void beginTouch(const DisplayTouch& from);
    void resize(double angle, CGSize size, double duration);
    std::int64_t tapCountOf(const UITouch& touch) const;
    void send(const std::shared_ptr<UITouch>& changed);
    CGPoint inWindow(const UIWindow& window, CGPoint onDisplay) const;

    UIApplicationState state_ = UIApplicationStateActive;
    UIInterfaceOrientation orientation_ = UIInterfaceOrientationPortrait;
    std::vector<std::weak_ptr<UIWindow>> windows_; // in the order of being shown
    std::weak_ptr<UIWindow> keyWindow_;
    std::weak_ptr<UIResponder> firstResponder_;
    std::shared_ptr<CADisplay> display_;
    UITouches touches_; // those that are down
    std::shared_ptr<UITouch> lastTouch_; // the one that ended last, for counting taps
    bool statusBarHidden_ = false;
    UIStatusBarAnimation statusBarAnimation_ = UIStatusBarAnimationNone;
    int ignoring_ = 0;
    std::function<void()> closeHandler_;
    std::map<std::uint64_t, std::function<void(const UIPress&)>> pressHandlers_; // in the order of adding
    std::uint64_t lastPressHandler_ = 0;
    std::vector<Cancellable> observations_;
};

}
