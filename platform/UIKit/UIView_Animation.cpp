// SPDX-License-Identifier: Apache-2.0
#include "platform/UIKit/UIView.h"

#include "platform/Foundation/ProcessState.h"
#include "platform/QuartzCore/CATransaction.h"

#include <limits>
#include <utility>

namespace velmora {

namespace {

/// A block that runs its changes.
struct RunningBlock {
    UIViewAnimation animation;
    /// The views that it moves, where touches are to miss them meanwhile.
    std::shared_ptr<std::vector<std::weak_ptr<UIView>>> untouchable;
};

struct AnimationState {
    bool enabled = true;
    std::vector<RunningBlock> running; // the innermost last
};

AnimationState& state()
{
    static auto* made = [] {
        auto* fresh = new AnimationState;
        ProcessState::add([fresh] { *fresh = {}; });
        return fresh;
    }();
    return *made;
}

constexpr std::uint64_t curveShift = 16, curveMask = 7;

CACurve curveOf(const UIViewAnimation& animation)
{
    if (animation.springDamping > 0)
        return CASpringCurve { animation.springDamping, animation.springVelocity };
    switch (raw(animation.options) >> curveShift & curveMask) {
    case 1:
        return kCAMediaTimingFunctionEaseIn;
    case 2:
        return kCAMediaTimingFunctionEaseOut;
    case 3:
        return kCAMediaTimingFunctionLinear;
    case 7:
        return CACriticalCurve {};
    default:
        return kCAMediaTimingFunctionEaseInEaseOut;
    }
}

CABlockAnimation blockOf(const UIViewAnimation& animation)
{
    CABlockAnimation block;
    block.duration = animation.duration;
    block.delay = animation.delay;
    block.curve = curveOf(animation);
    block.beginFromCurrentState = contains(animation.options, UIViewAnimationOptionBeginFromCurrentState);
    if (contains(animation.options, UIViewAnimationOptionRepeat))
        block.repeatCount = std::numeric_limits<double>::infinity();
    block.autoreverses = contains(animation.options, UIViewAnimationOptionAutoreverse);
    if (const auto outer = CATransaction::currentBlockAnimation()) {
        if (!contains(animation.options, UIViewAnimationOptionOverrideInheritedDuration))
            block.duration = outer->duration;
        if (!contains(animation.options, UIViewAnimationOptionOverrideInheritedCurve))
            block.curve = outer->curve;
    }
    if (!state().enabled)
        block.duration = block.delay = 0;
    return block;
}

class Running {
public:
    explicit Running(RunningBlock block) { state().running.push_back(std::move(block)); }
    ~Running() { state().running.pop_back(); }
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;
};

}

void UIView::noteAnimatedChange()
{
    if (state().running.empty() || !state().running.back().untouchable)
        return;
    ++untouchable_;
    state().running.back().untouchable->push_back(weakFromThis(*this));
}

void UIView::animate(const UIViewAnimation& animation, const Animations& changes, AnimationCompletion completion)
{
    const auto block = blockOf(animation);
    RunningBlock running { animation, nullptr };
    if (block.duration > 0 && !contains(animation.options, UIViewAnimationOptionAllowUserInteraction))
        running.untouchable = std::make_shared<std::vector<std::weak_ptr<UIView>>>();
    auto ended = [views = running.untouchable, completion = std::move(completion)](bool finished) {
        if (views)
            for (const auto& weak : *views)
                if (const auto view = weak.lock())
                    --view->untouchable_;
        if (completion)
            completion(finished);
    };
    const Running scope(std::move(running));
    CATransaction::animateBlock(block, changes, std::move(ended));
}

void UIView::animateWithDuration(double duration, const Animations& animations, AnimationCompletion completion)
{
    animate({ duration, 0, UIViewAnimationOptionNone, 0, 0 }, animations, std::move(completion));
}

void UIView::animateWithDuration(double duration, double delay, UIViewAnimationOptions options,
    const Animations& animations, AnimationCompletion completion)
{
    animate({ duration, delay, options, 0, 0 }, animations, std::move(completion));
}

void UIView::animateWithDuration(double duration, double delay, double damping, double velocity,
    UIViewAnimationOptions options, const Animations& animations, AnimationCompletion completion)
{
    animate({ duration, delay, options, damping, velocity }, animations, std::move(completion));
}

void UIView::performWithoutAnimation(const Animations& changes)
{
    struct Still {
        Still()
        {
            CATransaction::begin();
            CATransaction::setDisableActions(true);
        }
        ~Still() { CATransaction::commit(); }
        Still(const Still&) = delete;
        Still& operator=(const Still&) = delete;
    };
    const Still still;
    if (changes)
        changes();
}

bool UIView::areAnimationsEnabled()
{
    return state().enabled;
}

void UIView::setAnimationsEnabled(bool enabled)
{
    state().enabled = enabled;
}

std::optional<UIViewAnimation> UIView::currentAnimation()
{
    if (state().running.empty())
        return std::nullopt;
    return state().running.back().animation;
}

}
