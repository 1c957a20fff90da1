// SPDX-License-Identifier: Apache-2.0
#include "velmora/navigation/QVCameraReturnTransitioner.h"

#include "velmora/navigation/QVCameraReturnViewController.h"

#include "platform/Foundation/NSLog.h"
#include "platform/UIKit/UIView.h"

#include <functional>
#include <numbers>

namespace velmora {

namespace {

using Context = std::shared_ptr<UIViewControllerContextTransitioning>;

constexpr double duration = 0.5; // seconds
constexpr auto options = static_cast<UIViewAnimationOptions>(0x70000); // a curve without a name

std::shared_ptr<UIViewController> fromController(const Context& context)
{
    return context->viewControllerForKey(UITransitionContextFromViewControllerKey);
}

std::shared_ptr<UIViewController> toController(const Context& context)
{
    return context->viewControllerForKey(UITransitionContextToViewControllerKey);
}

std::shared_ptr<UIView> viewOf(const std::shared_ptr<UIViewController>& controller)
{
    return controller ? controller->view() : nullptr;
}

std::shared_ptr<UIView> containerViewOf(const std::shared_ptr<UIViewController>& controller)
{
    if (!std::dynamic_pointer_cast<QVCameraReturnViewController>(controller))
        fatalError("The camera return transition moves a QVCameraReturnViewController only.");
    return controller->view();
}

bool isHalfTurnBack(const CGAffineTransform& transform)
{
    return CGAffineTransformEqualToTransform(transform, CGAffineTransformMakeRotation(-std::numbers::pi));
}

}

const ClassInfo& QVCameraReturnTransitioner::staticClass()
{
    using Self = QVCameraReturnTransitioner;
    static constexpr auto methods = methodTable(method<&Self::isPresenting>("isPresenting"),
        method<&Self::setIsPresenting>("setIsPresenting:"), method<&Self::photosView>("photosView"),
        method<&Self::cameraView>("cameraView"), method<&Self::transitionDuration>("transitionDuration:"),
        method<&Self::animateTransition>("animateTransition:"), method<&Self::finish>("_finish:completed:"));
    static constexpr auto classMethods = methodTable(initialiser<Self>("init"));
    static const ClassInfo info { "Velmora.QVCameraReturnTransitioner", &NSObject::staticClass(), methods,
        classMethods };
    return info;
}

double QVCameraReturnTransitioner::transitionDuration(const Context&)
{
    return duration;
}

void QVCameraReturnTransitioner::animateTransition(const Context& context)
{
    if (isPresenting_)
        present(context);
    else
        dismiss(context);
}

void QVCameraReturnTransitioner::present(const Context& context)
{
    const auto container = context->containerView();
    const CGRect place = container->frame();
    photosView_ = containerViewOf(toController(context));
    cameraView_ = viewOf(fromController(context));
    container->addSubview(photosView_);
    photosView_->setFrame(CGRectOffset(place, 0, place.size.height));
    if (cameraView_)
        cameraView_->layoutIfNeeded();
    UIView::animateWithDuration(
        duration, 0, options,
        [&] {
            photosView_->setFrame(place);
            if (!cameraView_)
                return;
            const CGPoint center = cameraView_->center();
            cameraView_->setCenter({ center.x, center.y - container->bounds().size.height });
        },
        [self = sharedFromThis(*this), context](bool) { self->finish(context, true); });
}

void QVCameraReturnTransitioner::dismiss(const Context& context)
{
    const auto container = context->containerView();
    const auto photos = containerViewOf(fromController(context));
    const auto [x, y] = container->frame().origin;
    const auto [width, height] = container->frame().size;
    const CGRect place = container->frame();

    cameraView_ = viewOf(toController(context));
    if (cameraView_ && context->isInteractive())
        cameraView_ = cameraView_->snapshotViewAfterScreenUpdates(true);
    container->addSubview(cameraView_);

    const CGAffineTransform turn = photos->transform();
    photosView_ = photos->snapshotViewAfterScreenUpdates(false);
    if (!isHalfTurnBack(turn))
        photosView_->setTransform(turn);
    photosView_->setFrame(place);
    container->addSubview(photosView_);

    const bool sideways = width > height && !CGAffineTransformIsIdentity(turn) && !isHalfTurnBack(turn);
    if (cameraView_)
        cameraView_->setFrame(sideways ? CGRectMake(-width, y, width, height) : CGRectMake(x, -height, width, height));
    const CGRect end = sideways ? CGRectMake(width, y, width, height) : CGRectMake(x, height, width, height);
    if (context->isInteractive())
        return;
    UIView::animateWithDuration(
        duration, 0, options,
        [&] {
            if (cameraView_)
                cameraView_->setFrame(place);
            photosView_->setFrame(end);
        },
        [self = sharedFromThis(*this), context](bool) { self->finish(context, true); });
}

/// Leaves the pictures out, and the two screens where they belong.
void QVCameraReturnTransitioner::finish(const Context& context, bool completed)
{
    const auto from = fromController(context), to = toController(context);
    if (!from || !to)
        return;
    for (const auto& view : { cameraView_, photosView_ })
        if (view && view != to->view() && view != from->view())
            view->removeFromSuperview();
    const auto& stays = completed ? to : from;
    const auto& goes = completed ? from : to;
    stays->view()->setHidden(false);
    stays->view()->setFrame(context->finalFrameForViewController(stays));
    goes->view()->removeFromSuperview();
    context->completeTransition(completed);
}

}
