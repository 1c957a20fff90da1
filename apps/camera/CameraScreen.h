// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "velmora/capture/QVHardwareButtons.h"
#include "velmora/model/QVCameraHardware.h"
#include "velmora/model/QVCameraViewController.h"

#include "platform/Foundation/Cancellable.h"

#include <functional>
#include <memory>
#include <vector>

#include "apps/camera/PhotoPager.h"

namespace velmora {
class QVSlider;
class UIHostingView;
class PHAssetCollection;
class QVLastShotImageView;
class UILabel;
}

namespace velmora::camera {

/// The program's camera screen: the viewfinder with its marks, the shutter button, sliders for zoom and exposure bias,
/// what the camera's ISO and shutter are, the newest photo of an album, and the buttons of housing and keyboard. On the
/// main thread.
class CameraScreen : public QVCameraViewController {
public:
    /// On the main thread.
    using Taken = std::function<void(const std::shared_ptr<QVPhotoCaptureOutput>& photo)>;

    /// The album's photos are shown: the newest beside the button, all when that one is tapped. `share` is told the
    /// files of a photo that a person shares.
    CameraScreen(std::shared_ptr<QVCameraHardware> model, std::shared_ptr<PHAssetCollection> album, Taken taken,
        PhotoPager::Share share);

    std::shared_ptr<QVCameraController> hardwareCameraController() override { return model_->controller(); }
    void loadView() override;
    void viewDidLoad() override;
    void viewDidLayoutSubviews() override;
    void willCapturePhoto() override;
    void didCapturePhoto(
        const std::shared_ptr<QVPhotoCaptureOutput>& output, const std::optional<NSError>& error) override;

    /// A line at the screen's edge, such as what went wrong; it stays until the next photo.
    void showMessage(const std::string& text);

private:
    void makeSliders();
    void makeLensMenu();
    void makeLastShot();
    void showPhotos();
    void followCamera();
    void layOutPortrait(CGSize size);
    void layOutLandscape(CGSize size);

    const std::shared_ptr<QVCameraHardware> model_;
    const std::shared_ptr<PHAssetCollection> album_;
    const Taken taken_;
    const PhotoPager::Share share_;
    std::shared_ptr<QVSlider> zoom_, bias_;
    std::shared_ptr<UILabel> iso_, shutter_, message_;
    std::shared_ptr<QVLastShotImageView> lastShot_;
    std::shared_ptr<UIHostingView> buttons_;
    std::shared_ptr<QVHardwareButtons::CameraButtonDelegate> lensMenu_;
    std::vector<Cancellable> observations_;
};

}
