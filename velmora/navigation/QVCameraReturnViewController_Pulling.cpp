// SPDX-License-Identifier: Apache-2.0
#include "velmora/navigation/QVCameraReturnViewController.h"

#include "velmora/navigation/QVCCameraReturnViewControllerChild.h"
#include "velmora/navigation/QVCameraReturnBarView.h"

#include "platform/UIKit/NSLayoutConstraint.h"
#include "platform/UIKit/UIButton.h"
#include "platform/UIKit/UIImageView.h"
#include "platform/UIKit/UINavigationBar.h"
#include "platform/UIKit/UIPanGestureRecognizer.h"
#include "platform/UIKit/UIScrollView.h"
#include "platform/UIKit/UITraitCollection.h"
#include "platform/UIKit/UIViewControllerTransitionCoordinator.h"

#include <cmath>
#include <utility>

namespace velmora {

namespace {

constexpr double compactThreshold = 60, regularThreshold = 80; // points of overscroll
constexpr double upwardLimit = -500; // points a second: a finger that moves up faster does not mean it
constexpr double fadeStart = 0.5, fadeEnd = 0.8, fadeLength = 0.3; // of the way to the threshold
constexpr double smallScale = 0.05, arrowDrop = 10; // the drop in points
constexpr double hideTime = 0.2, popTime = 0.3, popDamping = 0.5; // seconds

double titleAlpha(double progress, bool dragging)
{
    if (!dragging || progress <= fadeStart)
        return 1;
    return progress > fadeEnd ? 0 : 1 - (progress - fadeStart) / fadeLength;
}

}

void QVCameraReturnViewController::setObservedScrollView(const std::shared_ptr<UIScrollView>& scrollView)
{
    observation_.cancel();
    observedScrollView_ = scrollView;
    if (!scrollView)
        return;
    observation_ = scrollView->observe(
        "contentOffset", NSKeyValueObservingOptionNew, [weak = weakFromThis(*this)](const NSKeyValueChange&) {
            if (const auto self = weak.lock())
                self->contentOffsetDidChange();
        });
}

void QVCameraReturnViewController::contentOffsetDidChange()
{
    const auto scrollView = observedScrollView_;
    if (!scrollView || cameraReturnBarIsHidden() || navigationController()->transitionCoordinator())
        return;
    const auto child = std::dynamic_pointer_cast<QVCCameraReturnViewControllerChild>(currentlyVisibleViewController());
    if (child && !child->allowsDragToDismiss())
        return;
    if (shouldDismissAfterDragging_ && !scrollView->isDragging()) {
        shouldDismissAfterDragging_ = false;
        dismissViewControllerAnimated(true);
        return;
    }
    const double top = scrollView->adjustedContentInset().top, y = scrollView->contentOffset().y;
    if (y < -top) {
        pull(std::abs(y) - top);
        return;
    }
    barViewHeightConstraint()->setConstant(shownBarHeight); // an armed dismissal stays armed
    moveNavigationBar(0);
}

void QVCameraReturnViewController::pull(double overscroll)
{
    const bool compact = traitCollection()->verticalSizeClass() == UIUserInterfaceSizeClassCompact;
    const double threshold = compact ? compactThreshold : regularThreshold;
    const bool dragging = observedScrollView_->isDragging();
    double progress = overscroll / threshold; // beyond 1 where the finger is lifted
    shouldDismissAfterDragging_ = false;
    if (dragging && overscroll >= threshold) {
        progress = 1;
        shouldDismissAfterDragging_
            = observedScrollView_->panGestureRecognizer()->velocityInView(observedScrollView_).y > upwardLimit;
    }
    const double alpha = titleAlpha(progress, dragging);
    backToCameraButton()->setAlpha(alpha);
    backToCameraBackgroundView()->setAlpha(alpha);
    setBigCameraShown(progress == 1);
    barViewHeightConstraint()->setConstant(overscroll + shownBarHeight);
    moveNavigationBar(overscroll);
}

/// Nothing while it is between the two.
void QVCameraReturnViewController::setBigCameraShown(bool shown)
{
    const auto camera = bigCameraImageView(), arrow = pullDownImageView();
    if (!shown && camera->alpha() == 1) {
        UIView::animateWithDuration(
            hideTime, 0, UIViewAnimationOptionBeginFromCurrentState,
            [&] {
                camera->setTransform(CGAffineTransformMakeScale(smallScale, smallScale));
                camera->setAlpha(0);
                arrow->setAlpha(1);
            },
            [camera](bool) { camera->setTransform(CGAffineTransformIdentity); });
    } else if (shown && camera->alpha() == 0) {
        camera->setTransform(CGAffineTransformMakeScale(smallScale, smallScale));
        UIView::animateWithDuration(
            popTime, 0, popDamping, 0, UIViewAnimationOptionBeginFromCurrentState,
            [&] {
                camera->setAlpha(1);
                camera->setTransform(CGAffineTransformIdentity);
                arrow->setAlpha(0);
                arrow->setTransform(CGAffineTransformMakeTranslation(0, arrowDrop));
            },
            [arrow](bool) { arrow->setTransform(CGAffineTransformIdentity); });
    }
}

/// Down from its place, in points. A large title moves inside its bar, where the bar has one.
void QVCameraReturnViewController::moveNavigationBar(double distance) const
{
    const auto navigation = currentlyVisibleViewController()->navigationController();
    if (!navigation || navigation->isNavigationBarHidden())
        return;
    const auto& bar = navigation->navigationBar();
    if (!bar->prefersLargeTitles()) {
        const CGRect frame = bar->frame();
        bar->setFrame({ { frame.origin.x, distance }, frame.size });
        return;
    }
    if (bar->subviews().size() < 3)
        return;
    const auto title = bar->subviews()[2];
    const CGRect bounds = title->bounds();
    title->setBounds({ { bounds.origin.x, -distance }, bounds.size });
}

}
