// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Cancellable.h"
#include "platform/UIKit/UIScrollView.h"
#include "platform/UIKit/UIViewController.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "apps/camera/PhotoPager.h"

namespace velmora {
class UIImageView;
class UILabel;
}

namespace velmora::camera {

class AlbumPhotos;

/// The photos of an album as small pictures, the newest first; a tap shows one large. Only those that are seen have
/// pictures. Main thread only.
class PhotoGrid final : public UIViewController, public UIScrollViewDelegate {
public:
    PhotoGrid(std::shared_ptr<AlbumPhotos> photos, PhotoPager::Share share);

    void loadView() override;
    void viewDidLoad() override;
    void viewDidLayoutSubviews() override;
    void scrollViewDidScroll(UIScrollView&) override { showCells(); }

private:
    class Cell;

    void photosChanged();
    void showCells();
    void open(const std::string& localIdentifier);

    const std::shared_ptr<AlbumPhotos> photos_;
    const PhotoPager::Share share_;
    std::shared_ptr<UIScrollView> scroll_;
    std::shared_ptr<UIView> empty_;
    std::shared_ptr<UILabel> emptyText_;
    std::shared_ptr<UIImageView> emptyPicture_;
    std::map<std::string, std::shared_ptr<Cell>> cells_; // by identifier
    Cancellable observation_;
};

}
