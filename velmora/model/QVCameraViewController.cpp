// SPDX-License-Identifier: Apache-2.0
#include "velmora/model/QVCameraViewController.h"

#include "velmora/capture/QVCameraController.h"
#include "velmora/results/QVPhotoCaptureOutput.h"
#include "velmora/ui/QVCaptureButton.h"
#include "velmora/ui/QVViewfinderView.h"

#include "platform/AVFoundation/AVCaptureConnection.h"
#include "platform/AVFoundation/AVCaptureVideoPreviewLayer.h"
#include "platform/Foundation/DispatchQueue.h"
#include "platform/Foundation/NSBundle.h"
#include "platform/Foundation/NSLog.h"

#include <cstdint>

namespace velmora {

namespace {

constexpr double appearingTime = 0.25; // seconds

}

QVCameraViewController::QVCameraViewController(
    const std::optional<std::string>& nibName, const std::shared_ptr<NSBundle>& bundle)
    : UIViewController(nibName, bundle)
{
}

QVCameraViewController::QVCameraViewController(const NSCoder& coder)
    : UIViewController(coder)
{
}

const ClassInfo& QVCameraViewController::staticClass()
{
    using Self = QVCameraViewController;
    static constexpr auto methods = methodTable(method<&Self::viewfinderView>("viewfinderView"),
        method<&Self::setViewfinderView>("setViewfinderView:"), method<&Self::captureButton>("captureButton"),
        method<&Self::setCaptureButton>("setCaptureButton:"), method<&Self::capturePhoto>("capturePhoto:"),
        method<&Self::viewDidLoad>("viewDidLoad"), method<&Self::viewDidLayoutSubviews>("viewDidLayoutSubviews"),
        method<&Self::viewDidAppear>("viewDidAppear:"), method<&Self::viewWillDisappear>("viewWillDisappear:"),
        method<&Self::viewDidDisappear>("viewDidDisappear:"));
    static constexpr auto classMethods
        = methodTable(initialiser<Self, const std::optional<std::string>&, const std::shared_ptr<NSBundle>&>(
                          "initWithNibName:bundle:"),
            initialiser<Self, const NSCoder&>("initWithCoder:"));
    static const ClassInfo info { "Velmora.QVCameraViewController", &UIViewController::staticClass(), methods,
        classMethods };
    return info;
}

std::shared_ptr<QVCameraController> QVCameraViewController::hardwareCameraController()
{
    if (!hardwareCameraController_) {
        const auto intent = static_cast<std::uint8_t>(captureIntent());
        hardwareCameraController_
            = make<QVCameraController>(AVCaptureDevicePositionBack, static_cast<QVCameraCaptureIntent>(intent));
        if (!hardwareCameraController_)
            fatalError("The camera screen has no controller: none could be made.");
    }
    return hardwareCameraController_;
}

void QVCameraViewController::viewDidLoad()
{
    UIViewController::viewDidLoad();
    const auto preview = hardwareCameraController()->previewLayer();
    if (preview) {
        if (const auto connection = preview->connection())
            connection->setVideoOrientation(AVCaptureVideoOrientationPortrait);
        preview->setVideoGravity(AVLayerVideoGravityResizeAspectFill);
    }
    if (const auto viewfinder = viewfinderView(); viewfinder && preview) {
        viewfinder->layer()->insertSublayer(preview, 0);
        preview->setFrame(viewfinder->bounds());
    }
    if (const auto button = captureButton())
        button->addTarget(weakFromThis(*this), "capturePhoto:", UIControlEventTouchUpInside);
}

void QVCameraViewController::viewDidLayoutSubviews()
{
    UIViewController::viewDidLayoutSubviews();
    const auto viewfinder = viewfinderView();
    const auto preview = hardwareCameraController()->previewLayer();
    if (viewfinder && preview)
        preview->setFrame(viewfinder->bounds());
}

void QVCameraViewController::viewDidAppear(bool animated)
{
    UIViewController::viewDidAppear(animated);
    if (const auto viewfinder = viewfinderView())
        viewfinder->setAlpha(0); // until there is something to see
    hardwareCameraController()->startSessionAsynchronously([self = sharedFromThis(*this)] {
        const auto viewfinder = self->viewfinderView();
        if (!viewfinder)
            return;
        UIView::animateWithDuration(
            appearingTime, [viewfinder] { viewfinder->setAlpha(1); },
            [viewfinder](bool) { viewfinder->setClosed(false); });
    });
}

void QVCameraViewController::viewWillDisappear(bool animated)
{
    UIViewController::viewWillDisappear(animated);
    // A viewfinder that is closed already calls nothing, and the session goes on.
    if (const auto viewfinder = viewfinderView())
        viewfinder->setClosedAnimated(
            true, [self = sharedFromThis(*this)](bool) { self->hardwareCameraController()->stopSession(); });
}

void QVCameraViewController::viewDidDisappear(bool animated)
{
    UIViewController::viewDidDisappear(animated);
    if (!viewfinderView())
        hardwareCameraController()->stopSession();
}

void QVCameraViewController::capturePhoto(const std::shared_ptr<NSObject>&)
{
    willCapturePhoto();
    hardwareCameraController()->captureStillImage(nullptr,
        [self = sharedFromThis(*this)](
            const std::shared_ptr<QVPhotoCaptureOutput>& output, const std::optional<NSError>& error) {
            DispatchQueue::main().async([self, output, error] { self->didCapturePhoto(output, error); });
        });
}

}
