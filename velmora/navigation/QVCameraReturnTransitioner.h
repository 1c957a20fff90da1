// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/NSObject.h"
#include "platform/UIKit/UIViewControllerTransitioning.h"

#include <memory>

namespace velmora {

/// Moves a QVCameraReturnViewController over the camera screen, and away again, in half a second: one pushes the other
/// off the screen. The container makes one for each transition; applications have no use for it. Main thread only.
///
/// Presenting, the container rises from below. Dismissing, a picture of it goes down, or to the right where a wide
/// container is turned, and the camera screen comes in behind it. In an interactive context a dismissal places its
/// views and moves nothing.
class VELMORA_EXPORT QVCameraReturnTransitioner : public NSObject, public UIViewControllerAnimatedTransitioning {
public:
    QVCameraReturnTransitioner() = default;
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    bool isPresenting() const { return isPresenting_; } ///< false at first: it dismisses
    void setIsPresenting(bool presents) { isPresenting_ = presents; }
    /// What stands for the container during the transition: its view, or a picture of it.
    const std::shared_ptr<UIView>& photosView() const { return photosView_; }
    /// What stands for the camera screen: its view, or a picture of it in an interactive dismissal.
    const std::shared_ptr<UIView>& cameraView() const { return cameraView_; }

    double transitionDuration(const std::shared_ptr<UIViewControllerContextTransitioning>& context) override;
    /// The controller that comes, or goes, has to be a QVCameraReturnViewController: another one stops the process.
    void animateTransition(const std::shared_ptr<UIViewControllerContextTransitioning>& context) override;

private:
    void present(const std::shared_ptr<UIViewControllerContextTransitioning>& context);
    void dismiss(const std::shared_ptr<UIViewControllerContextTransitioning>& context);
    void finish(const std::shared_ptr<UIViewControllerContextTransitioning>& context, bool completed);

    bool isPresenting_ = false;
    std::shared_ptr<UIView> photosView_, cameraView_;
};

}
