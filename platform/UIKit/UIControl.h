// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Cancellable.h"
#include "platform/UIKit/UIView.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace velmora {

enum UIControlEvents : std::uint64_t {
    UIControlEventTouchDown = 1,
    UIControlEventTouchDownRepeat = 2, ///< a second tap, soon after the first
    UIControlEventTouchDragInside = 4,
    UIControlEventTouchDragOutside = 8,
    UIControlEventTouchDragEnter = 16,
    UIControlEventTouchDragExit = 32,
    UIControlEventTouchUpInside = 64,
    UIControlEventTouchUpOutside = 128,
    UIControlEventTouchCancel = 256,
    UIControlEventValueChanged = 4096,
    UIControlEventAllTouchEvents = 0xFFF,
    UIControlEventAllEvents = 0xFFFFFFFF,
};
template <> inline constexpr bool isOptionSet<UIControlEvents> = true;

enum UIControlState : std::uint64_t {
    UIControlStateNormal = 0,
    UIControlStateHighlighted = 1,
    UIControlStateDisabled = 2,
    UIControlStateSelected = 4,
};
template <> inline constexpr bool isOptionSet<UIControlState> = true;

/// A view that sends actions. A touch that begins on it is tracked until it ends: touch down at the begin, touch up
/// inside when it ends within the bounds and touch up outside when it ends elsewhere. A disabled control gets no touch.
class VELMORA_EXPORT UIControl : public UIView {
public:
    explicit UIControl(CGRect frame = CGRectZero);
    /// Reads "enabled", "selected" and "highlighted" besides what views read.
    explicit UIControl(const NSCoder& coder);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    /// Targets are held weakly and called in the order of adding; the same target and action a second time adds to
    /// its events. The action takes nothing, the control, or the control and the event (nil where no touch sent it). A
    /// null target is the first responder from the control on that knows the action.
    void addTarget(const std::weak_ptr<NSObject>& target, const std::string& action, UIControlEvents events);
    /// A null target stands for all, an empty action too.
    void removeTarget(const std::shared_ptr<NSObject>& target, const std::string& action, UIControlEvents events);
    /// The same for a function, until the token ends.
    [[nodiscard]] Cancellable addAction(UIControlEvents events, std::function<void()> action);
    std::vector<std::shared_ptr<NSObject>> allTargets() const;
    std::vector<std::string> actionsForTarget(const std::shared_ptr<NSObject>& target, UIControlEvents event) const;
    /// Sends the actions of all these events, each once. Also while it is disabled.
    void sendActionsForControlEvents(UIControlEvents events) { sendActions(events, nullptr); }
    /// How each action leaves; a subclass may watch or stop them.
    virtual void sendAction(
        const std::string& action, const std::shared_ptr<NSObject>& target, const std::shared_ptr<UIEvent>& event);

    bool isEnabled() const { return enabled_; }
    virtual void setEnabled(bool enabled);
    bool isSelected() const { return selected_; }
    virtual void setSelected(bool selected);
    bool isHighlighted() const { return highlighted_; } ///< while a touch is inside
    virtual void setHighlighted(bool highlighted);
    UIControlState state() const; ///< of the three
    bool isTracking() const { return tracking_; }
    bool isTouchInside() const { return touchInside_; }

    // False from the first two ends the tracking.
    virtual bool beginTracking(const std::shared_ptr<UITouch>&, const std::shared_ptr<UIEvent>&) { return true; }
    virtual bool continueTracking(const std::shared_ptr<UITouch>&, const std::shared_ptr<UIEvent>&) { return true; }
    virtual void endTracking(const std::shared_ptr<UITouch>&, const std::shared_ptr<UIEvent>&) { }
    virtual void cancelTracking(const std::shared_ptr<UIEvent>&) { }

    bool acceptsTouches() const override { return enabled_; }
    bool gestureRecognizerShouldBegin(UIGestureRecognizer& recognizer) override;
    void touchesBegan(const UITouches& touches, const std::shared_ptr<UIEvent>& event) override;
    void touchesMoved(const UITouches& touches, const std::shared_ptr<UIEvent>& event) override;
    void touchesEnded(const UITouches& touches, const std::shared_ptr<UIEvent>& event) override;
    void touchesCancelled(const UITouches& touches, const std::shared_ptr<UIEvent>& event) override;

protected:
    /// enabled, selected or highlighted has another value.
    virtual void stateDidChange() { }

private:
    struct Target {
        std::weak_ptr<NSObject> target;
        bool isFirstResponder = false; // none was named
        std::string action;
        std::function<void()> function; // in place of the three above
        UIControlEvents events {};
        std::uint64_t token = 0;
    };
    void sendActions(UIControlEvents events, const std::shared_ptr<UIEvent>& event);
    void removeFunction(std::uint64_t token);
    void stopTracking();
    void change(bool& member, bool value);

    bool enabled_ = true, selected_ = false, highlighted_ = false, tracking_ = false, touchInside_ = false;
    std::vector<Target> targets_;
    std::uint64_t lastToken_ = 0;
};

}
