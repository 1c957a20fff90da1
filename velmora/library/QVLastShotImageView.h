// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Photos/PHImageManager.h"
#include "platform/Photos/PHPhotoLibraryChangeObserver.h"
#include "platform/UIKit/UIControl.h"

#include <memory>

namespace velmora {

class PHAssetCollection;
class PHFetchResult;
class UIImage;
class UIImageView;

/// Shows the newest photo of the library or of one album in a small square, lets each new one slide in from above, and
/// acts as a button: it sends touch up inside. Main thread only.
class VELMORA_EXPORT QVLastShotImageView : public UIControl, public PHPhotoLibraryChangeObserver {
public:
    explicit QVLastShotImageView(CGRect frame = CGRectZero);
    explicit QVLastShotImageView(const NSCoder& coder);
    ~QVLastShotImageView() override;
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    /// The album that is watched; at first the whole library is. Nil watches nothing and shows nothing.
    const std::shared_ptr<PHAssetCollection>& monitoredAssetCollection() const { return monitoredAssetCollection_; }
    void setMonitoredAssetCollection(const std::shared_ptr<PHAssetCollection>& album);
    /// The newest photo, as a result of one; its changes are followed. Nil ends that.
    const std::shared_ptr<PHFetchResult>& latestPhotoFetchResult() const { return latestPhotoFetchResult_; }
    void setLatestPhotoFetchResult(const std::shared_ptr<PHFetchResult>& result);
    /// Whether the pictures keep 2 points off the edges; said to be so at first, when they overhang by 2 points
    /// instead, until it is set.
    bool insetToHidePhotoBorder() const { return insetToHidePhotoBorder_; }
    void setInsetToHidePhotoBorder(bool inset);

    /// Animated, it slides in from above in half a second, after a quarter of one.
    void setImage(const std::shared_ptr<UIImage>& image, bool animated);
    void clearImageView(const std::shared_ptr<NSObject>& sender);

    void touchesEnded(const UITouches& touches, const std::shared_ptr<UIEvent>& event) override;
    void photoLibraryDidChange(const std::shared_ptr<PHChange>& change) override;

    /// Of the thumbnail to ask for, in pixels.
    CGSize _pointSize() const;

protected:
    void didConstruct() override;

private:
    void _initialize();
    void showNewest();
    PHImageRequestID request(const std::shared_ptr<PHAsset>& photo, PHImageManager::ResultHandler handler) const;

    std::shared_ptr<UIImageView> currentImageView_, incomingImageView_;
    PHImageRequestID activeImageRequestID_ = 0;
    bool insetToHidePhotoBorder_ = false;
    std::shared_ptr<PHAssetCollection> monitoredAssetCollection_;
    std::shared_ptr<PHFetchResult> latestPhotoFetchResult_;
};

}
