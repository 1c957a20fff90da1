// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/NSObject.h"
#include "platform/UIKit/UIViewAnimation.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace velmora {

class UIView;
class UIViewController;

/// Lets others move along with a transition between controllers that is under way, or about to begin. Main thread only.
class VELMORA_EXPORT UIViewControllerTransitionCoordinator : public NSObject {
public:
    using Block = std::function<void(UIViewControllerTransitionCoordinator&)>;

    /// Seconds; 0 where nothing is animated. The controllers and the container may be empty. The options are those of
    /// the transition's own animation.
    UIViewControllerTransitionCoordinator(double duration, std::shared_ptr<UIViewController> from,
        std::shared_ptr<UIViewController> to, std::shared_ptr<UIView> container,
        UIViewAnimationOptions options = UIViewAnimationOptionNone);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    /// `animation` runs animated with the transition: when it begins, or at once when it has begun. `completion` runs
    /// at its end, cancelled or not. Either may be empty. False, and neither runs, when the transition is over.
    bool animateAlongsideTransition(Block animation, Block completion);

    bool isAnimated() const { return duration_ > 0; }
    bool isCancelled() const { return cancelled_; }
    double transitionDuration() const { return duration_; }
    const std::shared_ptr<UIView>& containerView() const { return container_; }
    /// By the keys of UIViewControllerTransitioning.h; empty for others.
    std::shared_ptr<UIViewController> viewControllerForKey(const std::string& key) const;

    // For whoever runs the transition.
    void begin();
    void end(bool completed);

private:
    enum class Stage { Waiting, Running, Over };
    void run(const Block& animation);

    const double duration_;
    const UIViewAnimationOptions options_;
    const std::shared_ptr<UIViewController> from_, to_;
    const std::shared_ptr<UIView> container_;
    Stage stage_ = Stage::Waiting;
    bool cancelled_ = false;
    std::vector<Block> animations_, completions_;
};

}
