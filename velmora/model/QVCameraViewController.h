// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "velmora/capture/QVCameraCaptureIntent.h"

#include "platform/Foundation/NSError.h"
#include "platform/UIKit/UIViewController.h"

#include <memory>
#include <optional>
#include <string>

namespace velmora {

class QVCameraController;
class QVCaptureButton;
class QVPhotoCaptureOutput;
class QVViewfinderView;

/// A camera screen: a live preview in a viewfinder that opens when the camera runs and closes when the screen goes, and
/// a button that takes photos. An application subclasses it for the photos. Its two views are outlets, set by an
/// interface file or in code before the view loads. Main thread only.
class VELMORA_EXPORT QVCameraViewController : public UIViewController {
public:
    explicit QVCameraViewController(
        const std::optional<std::string>& nibName = {}, const std::shared_ptr<NSBundle>& bundle = {});
    explicit QVCameraViewController(const NSCoder& coder);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    /// What the controller is made for; asked once, when the controller is first used.
    virtual QVCameraCaptureIntent captureIntent() const { return QVCameraCaptureIntentStillImage; }
    /// Made on first use, with a back camera.
    virtual std::shared_ptr<QVCameraController> hardwareCameraController();
    virtual void setHardwareCameraController(const std::shared_ptr<QVCameraController>& controller)
    {
        hardwareCameraController_ = controller;
    }

    virtual std::shared_ptr<QVViewfinderView> viewfinderView() const { return viewfinderView_; }
    virtual void setViewfinderView(const std::shared_ptr<QVViewfinderView>& view) { viewfinderView_ = view; }
    virtual std::shared_ptr<QVCaptureButton> captureButton() const { return captureButton_; }
    /// A button that comes after the view has loaded takes no photos.
    virtual void setCaptureButton(const std::shared_ptr<QVCaptureButton>& button) { captureButton_ = button; }

    /// Just before a photo is asked for.
    virtual void willCapturePhoto() { }
    /// On the main queue: the photo, or why there is none. A request that the controller refuses is not told of.
    virtual void didCapturePhoto(
        const std::shared_ptr<QVPhotoCaptureOutput>& /*output*/, const std::optional<NSError>& /*error*/)
    {
    }

    /// The button's action; each one takes a photo.
    void capturePhoto(const std::shared_ptr<NSObject>& sender);

    void viewDidLoad() override;
    void viewDidLayoutSubviews() override;
    void viewDidAppear(bool animated) override;
    void viewWillDisappear(bool animated) override;
    void viewDidDisappear(bool animated) override;

private:
    std::shared_ptr<QVCameraController> hardwareCameraController_;
    std::shared_ptr<QVViewfinderView> viewfinderView_;
    std::shared_ptr<QVCaptureButton> captureButton_;
};

}
