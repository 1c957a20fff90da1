// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreGraphics/CGGeometry.h"
#include "platform/Foundation/NSObject.h"
#include "platform/UIKit/UIEvent.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace velmora {

class UIGestureRecognizer;
class UIView;

enum UIGestureRecognizerState : std::int64_t {
    UIGestureRecognizerStatePossible = 0,
    UIGestureRecognizerStateBegan = 1,
    UIGestureRecognizerStateChanged = 2,
    UIGestureRecognizerStateEnded = 3, ///< of taps: recognised
    UIGestureRecognizerStateCancelled = 4,
    UIGestureRecognizerStateFailed = 5,
};

/// Has a say in what a recogniser does. Main thread only.
class VELMORA_EXPORT UIGestureRecognizerDelegate {
public:
    virtual ~UIGestureRecognizerDelegate() = default;
    /// False: it fails instead of beginning.
    virtual bool gestureRecognizerShouldBegin(const std::shared_ptr<UIGestureRecognizer>&) { return true; }
    /// False: it never hears of the touch.
    virtual bool shouldReceiveTouch(const std::shared_ptr<UIGestureRecognizer>&, const std::shared_ptr<UITouch>&)
    {
        return true;
    }
    /// True: both may recognise on one touch; one of the two delegates that says so is enough.
    /// `gestureRecognizer:shouldRecognizeSimultaneouslyWithGestureRecognizer:`
    virtual bool shouldRecognizeSimultaneously(
        const std::shared_ptr<UIGestureRecognizer>&, const std::shared_ptr<UIGestureRecognizer>& /*other*/)
    {
        return false;
    }
    /// True: it waits until `other` has failed.
    virtual bool shouldRequireFailure(
        const std::shared_ptr<UIGestureRecognizer>&, const std::shared_ptr<UIGestureRecognizer>& /*other*/)
    {
        return false;
    }
};

/// Watches the touches that begin in a view or in its subviews, and says when they mean something. Recognisers hear of
/// touches before views do, those of the deepest view first and of one view in the order of adding; the first to
/// recognise makes the others fail, unless a delegate lets both. Targets are sent their action at every change of state
/// but failing. Main thread only.
class VELMORA_EXPORT UIGestureRecognizer : public NSObject {
public:
    UIGestureRecognizer() = default;
    UIGestureRecognizer(const std::weak_ptr<NSObject>& target, const std::string& action);
    ~UIGestureRecognizer() override;
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    // Targets are held weakly. The action takes nothing, or the recogniser.
    void addTarget(const std::weak_ptr<NSObject>& target, const std::string& action);
    /// A null target stands for all, an empty action too.
    void removeTarget(const std::shared_ptr<NSObject>& target, const std::string& action);

    UIGestureRecognizerState state() const { return state_; }
    std::shared_ptr<UIView> view() const { return view_.lock(); }
    bool isEnabled() const { return enabled_; }
    /// Disabling cancels what is under way.
    void setEnabled(bool enabled);
    // Held weakly.
    std::shared_ptr<UIGestureRecognizerDelegate> delegate() const { return delegate_.lock(); }
    void setDelegate(const std::weak_ptr<UIGestureRecognizerDelegate>& delegate) { delegate_ = delegate; }
    /// True at first: the view hears no more of touches that were recognised.
    bool cancelsTouchesInView() const { return cancelsTouchesInView_; }
    void setCancelsTouchesInView(bool cancels) { cancelsTouchesInView_ = cancels; }
    /// It waits until `other` has failed, and fails when that one recognises.
    void requireGestureRecognizerToFail(const std::shared_ptr<UIGestureRecognizer>& other);

    /// The middle of the touches, in the coordinates of `view`; of the window when that is null. After the last touch,
    /// where it was.
    CGPoint locationInView(const std::shared_ptr<UIView>& view) const;
    std::size_t numberOfTouches() const { return live_.size(); }
    /// Throws NSException for a touch that there is not.
    CGPoint locationOfTouch(std::size_t index, const std::shared_ptr<UIView>& view) const;

    /// Takes state and location as if touches had led there, and sends the actions; for whoever replays gestures.
    /// `location` is in the coordinates of `in`.
    void drive(UIGestureRecognizerState state, CGPoint location, const std::shared_ptr<UIView>& in);

    // For windows and views.
    void setView(const std::weak_ptr<UIView>& view);
    bool wants(const std::shared_ptr<UITouch>& touch);
    void deliver(UITouchPhase phase, const UITouches& touches, const std::shared_ptr<UIEvent>& event);
    void touchIsOver(const UITouch& touch);

protected:
    // What a recogniser makes of its touches; these do nothing.
    virtual void touchesBegan(const UITouches&, const std::shared_ptr<UIEvent>&) { }
    virtual void touchesMoved(const UITouches&, const std::shared_ptr<UIEvent>&) { }
    virtual void touchesEnded(const UITouches&, const std::shared_ptr<UIEvent>&) { }
    virtual void touchesCancelled(const UITouches& touches, const std::shared_ptr<UIEvent>& event);
    /// Forgets everything: the touches are over, or the recogniser was disabled.
    virtual void reset() { }
    /// Something may still come of it although no finger is down.
    virtual bool expectsMoreTouches() const { return false; }
    virtual bool canPreventGestureRecognizer(UIGestureRecognizer&) { return true; }
    virtual bool canBePreventedByGestureRecognizer(UIGestureRecognizer&) { return true; }

    /// From possible to began or ended only when nobody objects; otherwise it fails or waits. Ignored when it is over.
    void setState(UIGestureRecognizerState next);
    const UITouches& touches() const { return live_; } ///< that are down, or end right now
    double now() const; ///< seconds, by the clock in force

private:
    struct Target {
        std::weak_ptr<NSObject> target;
        std::string action;
    };
    using Recognizers = std::vector<std::shared_ptr<UIGestureRecognizer>>;
    void begin(UIGestureRecognizerState next);
    void enter(UIGestureRecognizerState next);
    bool mustWait();
    bool mayBegin();
    bool isPrevented();
    void preventOthers();
    bool goesTogetherWith(const std::shared_ptr<UIGestureRecognizer>& other);
    Recognizers others() const;
    void takeTouches();
    void tellWaiters(bool failed);
    void startAgain();
    void sendActions();
    bool isOver() const { return state_ >= UIGestureRecognizerStateEnded; }

    UIGestureRecognizerState state_ = UIGestureRecognizerStatePossible;
    bool enabled_ = true, cancelsTouchesInView_ = true;
    std::weak_ptr<UIView> view_;
    std::weak_ptr<UIGestureRecognizerDelegate> delegate_;
    std::vector<Target> targets_;
    UITouches live_, sequence_; // down now; all since the last reset
    std::shared_ptr<UIEvent> event_; // the last one
    std::optional<UIGestureRecognizerState> waiting_; // recognised, but another must fail first
    std::vector<std::weak_ptr<UIGestureRecognizer>> required_, waiters_;
    CGPoint location_;
    std::weak_ptr<UIView> locationView_; // whose coordinates these are
};

}
