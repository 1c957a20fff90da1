// SPDX-License-Identifier: Apache-2.0
#include "platform/UIKit/UIViewControllerTransitionCoordinator.h"

#include "platform/UIKit/UIView.h"
#include "platform/UIKit/UIViewController.h"
#include "platform/UIKit/UIViewControllerTransitioning.h"

#include <utility>

namespace velmora {

UIViewControllerTransitionCoordinator::UIViewControllerTransitionCoordinator(double duration,
    std::shared_ptr<UIViewController> from, std::shared_ptr<UIViewController> to, std::shared_ptr<UIView> container,
    UIViewAnimationOptions options)
    : duration_(duration)
    , options_(options)
    , from_(std::move(from))
    , to_(std::move(to))
    , container_(std::move(container))
{
}

const ClassInfo& UIViewControllerTransitionCoordinator::staticClass()
{
    static constexpr auto methods
        = methodTable(method<&UIViewControllerTransitionCoordinator::animateAlongsideTransition>(
                          "animateAlongsideTransition:completion:"),
            method<&UIViewControllerTransitionCoordinator::isAnimated>("isAnimated"),
            method<&UIViewControllerTransitionCoordinator::isCancelled>("isCancelled"),
            method<&UIViewControllerTransitionCoordinator::transitionDuration>("transitionDuration"),
            method<&UIViewControllerTransitionCoordinator::containerView>("containerView"),
            method<&UIViewControllerTransitionCoordinator::viewControllerForKey>("viewControllerForKey:"));
    static const ClassInfo info { "Velmora.UIViewControllerTransitionCoordinator", &NSObject::staticClass(), methods };
    return info;
}

bool UIViewControllerTransitionCoordinator::animateAlongsideTransition(Block animation, Block completion)
{
    if (stage_ == Stage::Over)
        return false;
    if (completion)
        completions_.push_back(std::move(completion));
    if (stage_ == Stage::Running)
        run(animation);
    else
        animations_.push_back(std::move(animation));
    return true;
}

std::shared_ptr<UIViewController> UIViewControllerTransitionCoordinator::viewControllerForKey(
    const std::string& key) const
{
    return key == UITransitionContextFromViewControllerKey ? from_
        : key == UITransitionContextToViewControllerKey    ? to_
                                                           : nullptr;
}

void UIViewControllerTransitionCoordinator::begin()
{
    stage_ = Stage::Running;
    for (const Block& animation : std::exchange(animations_, {}))
        run(animation);
}

void UIViewControllerTransitionCoordinator::run(const Block& animation)
{
    if (!animation)
        return;
    if (isAnimated())
        UIView::animateWithDuration(duration_, 0, options_, [&] { animation(*this); });
    else
        animation(*this);
}

void UIViewControllerTransitionCoordinator::end(bool completed)
{
    stage_ = Stage::Over;
    cancelled_ = !completed;
    for (const Block& completion : std::exchange(completions_, {}))
        completion(*this);
}

}
