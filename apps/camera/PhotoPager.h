// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "velmora/navigation/QVCCameraReturnViewControllerChild.h"

#include "platform/Foundation/Cancellable.h"
#include "platform/Foundation/NSError.h"
#include "platform/UIKit/UIViewController.h"

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace velmora {
class PHAsset;
class UIButton;
class UIPanGestureRecognizer;
}

namespace velmora::camera {

class AlbumPhotos;
class PictureView;

/// One photo of an album over the whole screen. A swipe leads to the next or the one before, two fingers or two taps
/// enlarge it, and below it are buttons to share and to delete it. When the last photo goes, so does this. Main thread
/// only.
class PhotoPager final : public UIViewController, public QVCCameraReturnViewControllerChild {
public:
    /// Told the full paths of a photo's files.
    using Share = std::function<void(const std::vector<std::string>& files)>;

    PhotoPager(std::shared_ptr<AlbumPhotos> photos, std::size_t index, Share share);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    void loadView() override;
    void viewDidLoad() override;
    void viewDidLayoutSubviews() override;
    void viewSafeAreaInsetsDidChange() override;

    bool prefersCameraReturnBarHidden() override { return true; }
    bool prefersFullScreenWhenCameraReturnBarHidden() override { return true; }
    bool allowsDragToDismiss() override { return false; }

private:
    std::shared_ptr<PHAsset> current() const;
    CGRect pageArea();
    void placeStrip(double x);
    void photosChanged();
    void show();
    std::shared_ptr<PictureView> pageFor(std::size_t index);
    void handlePan();
    void beginPan();
    void pan();
    void endPan();
    void settle(std::ptrdiff_t pages);
    std::shared_ptr<UIButton> addButton(const std::string& symbol, std::function<void()> action);
    void share();
    void askToDelete();
    void tell(const NSError& error);

    const std::shared_ptr<AlbumPhotos> photos_;
    const Share share_;
    std::size_t index_;
    std::string shown_; // identifier of the photo at the index
    std::shared_ptr<UIView> strip_, bar_; // the pages side by side
    std::map<std::string, std::shared_ptr<PictureView>> pages_; // the photo that is seen and its neighbours
    std::shared_ptr<UIPanGestureRecognizer> pan_;
    std::shared_ptr<UIButton> shareButton_, deleteButton_;
    double stripBefore_ = 0; // points: where the strip was when the finger came
    bool movesPicture_ = false;
    std::vector<Cancellable> observations_;
};

}
