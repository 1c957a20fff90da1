// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreGraphics/CGGeometry.h"
#include "platform/Foundation/NSObject.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace velmora {

class UIGestureRecognizer;
class UIView;
class UIWindow;

enum UITouchPhase : std::int64_t {
    UITouchPhaseBegan = 0,
    UITouchPhaseMoved = 1,
    UITouchPhaseStationary = 2,
    UITouchPhaseEnded = 3,
    UITouchPhaseCancelled = 4,
};

/// A finger on the screen, from its begin to its end: one object all the way. Main thread only.
class VELMORA_EXPORT UITouch : public NSObject {
public:
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    UITouchPhase phase() const { return phase_; }
    double timestamp() const { return time_; } ///< seconds, by the clock in force; of the last change
    /// 1 for a first tap; a touch that begins soon and close after another counts on.
    std::int64_t tapCount() const { return tapCount_; }
    std::shared_ptr<UIWindow> window() const { return window_.lock(); }
    /// Where it began. Empty when that view has gone.
    std::shared_ptr<UIView> view() const { return view_.lock(); }
    /// Those that watch it and are still there.
    std::vector<std::shared_ptr<UIGestureRecognizer>> gestureRecognizers() const;

    /// In the coordinates of `view`; of the window when that is null.
    CGPoint locationInView(const UIView* view) const;
    CGPoint locationInView(const std::shared_ptr<UIView>& view) const { return locationInView(view.get()); }
    CGPoint previousLocationInView(const UIView* view) const;
    CGPoint previousLocationInView(const std::shared_ptr<UIView>& view) const
    {
        return previousLocationInView(view.get());
    }

private:
    friend class UIApplication;
    friend class UIGestureRecognizer;
    friend class UIWindow;
    CGPoint converted(CGPoint inWindow, const UIView* view) const;

    std::int64_t id_ = 0; // of the display
    UITouchPhase phase_ = UITouchPhaseBegan;
    double time_ = 0;
    std::int64_t tapCount_ = 1;
    CGPoint point_, previous_, beginning_; // in the window
    std::weak_ptr<UIWindow> window_;
    std::weak_ptr<UIView> view_;
    std::vector<std::weak_ptr<UIGestureRecognizer>> recognizers_;
    bool reachesView_ = false; // the view hears of it; until a recogniser takes it
};

/// The touches that change together; never empty where one is handed over.
using UITouches = std::vector<std::shared_ptr<UITouch>>;

}
