// SPDX-License-Identifier: Apache-2.0
#include "platform/UIKit/UIView.h"

#include "platform/Foundation/ProcessState.h"
#include "platform/QuartzCore/CATransaction.h"

#include <limits>
#include <utility>

namespace velmora {

namespace {

struct AnimationState {
    bool enabled = true;
    std::vector<UIViewAnimation> running; // blocks that run their changes, the innermost last
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

void animate(
    const UIViewAnimation& animation, const UIView::Animations& changes, UIView::AnimationCompletion completion)
{
    struct Running {
        explicit Running(const UIViewAnimation& what) { state().running.push_back(what); }
        ~Running() { state().running.pop_back(); }
        Running(const Running&) = delete;
        Running& operator=(const Running&) = delete;
    };
    const Running running(animation);
    CATransaction::animateBlock(blockOf(animation), changes, std::move(completion));
}

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
    return state().running.empty() ? std::nullopt : std::optional(state().running.back());
}

}
