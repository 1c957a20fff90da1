// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreGraphics/CGGeometry.h"
#include "platform/Foundation/Export.h"

#include <cstdint>
#include <memory>
#include <string>

namespace velmora {

class UIView;
class UIViewController;

enum UIModalPresentationStyle : std::int64_t {
    UIModalPresentationFullScreen = 0, ///< the presenter's view leaves the window when the other one has come
    UIModalPresentationCurrentContext = 3, ///< like it, over the next controller outwards that defines a context
    UIModalPresentationOverFullScreen = 5, ///< the presenter's view stays below
};

inline constexpr const char* UITransitionContextFromViewControllerKey = "UITransitionContextFromViewController";
inline constexpr const char* UITransitionContextToViewControllerKey = "UITransitionContextToViewController";
inline constexpr const char* UITransitionContextFromViewKey = "UITransitionContextFromView";
inline constexpr const char* UITransitionContextToViewKey = "UITransitionContextToView";

/// What an animator knows of a transition. Main thread only.
class VELMORA_EXPORT UIViewControllerContextTransitioning {
public:
    virtual ~UIViewControllerContextTransitioning() = default;
    /// Where the transition happens; the animator adds the view that comes. The one that goes may lie elsewhere.
    virtual std::shared_ptr<UIView> containerView() const = 0;
    // Empty for other keys, and where there is none.
    virtual std::shared_ptr<UIViewController> viewControllerForKey(const std::string& key) const = 0;
    virtual std::shared_ptr<UIView> viewForKey(const std::string& key) const = 0;
    virtual bool isAnimated() const { return true; }
    /// A person's finger drives it, not time.
    virtual bool isInteractive() const { return false; }
    virtual bool transitionWasCancelled() const { return false; }
    virtual UIModalPresentationStyle presentationStyle() const { return UIModalPresentationFullScreen; }
    // In the container's coordinates; CGRectZero where the view is not there.
    virtual CGRect initialFrameForViewController(const std::shared_ptr<UIViewController>& controller) const = 0;
    virtual CGRect finalFrameForViewController(const std::shared_ptr<UIViewController>& controller) const = 0;
    /// The animator says when it has ended; once.
    virtual void completeTransition(bool didComplete) = 0;
};

/// Moves the views of one transition.
class VELMORA_EXPORT UIViewControllerAnimatedTransitioning {
public:
    virtual ~UIViewControllerAnimatedTransitioning() = default;
    virtual double transitionDuration(const std::shared_ptr<UIViewControllerContextTransitioning>& context)
        = 0; ///< seconds
    virtual void animateTransition(const std::shared_ptr<UIViewControllerContextTransitioning>& context) = 0;
    virtual void animationEnded(bool /*transitionCompleted*/) { }
};

/// Chooses animators: a new one is asked for once for each animated transition; empty is the default transition.
class VELMORA_EXPORT UIViewControllerTransitioningDelegate {
public:
    virtual ~UIViewControllerTransitioningDelegate() = default;
    virtual std::shared_ptr<UIViewControllerAnimatedTransitioning> animationControllerForPresentedController(
        const std::shared_ptr<UIViewController>& /*presented*/, const std::shared_ptr<UIViewController>& /*presenting*/,
        const std::shared_ptr<UIViewController>& /*source*/)
    {
        return nullptr;
    }
    virtual std::shared_ptr<UIViewControllerAnimatedTransitioning> animationControllerForDismissedController(
        const std::shared_ptr<UIViewController>& /*dismissed*/)
    {
        return nullptr;
    }
};

}
