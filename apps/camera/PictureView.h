// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Photos/PHImageManager.h"
#include "platform/UIKit/UIView.h"

#include <memory>

namespace velmora {
class PHAsset;
class UIImageView;
class UILabel;
class UIPinchGestureRecognizer;
class UITapGestureRecognizer;
}

namespace velmora::camera {

/// One photo as large as it fits: two fingers enlarge it, and two taps enlarge it where they fall, or make it fit
/// again. What is shown is as sharp as the screen, and once it is enlarged as sharp as the photo. Main thread only.
class PictureView final : public UIView {
public:
    explicit PictureView(std::shared_ptr<PHAsset> photo);
    ~PictureView() override;
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    /// The photo was edited since.
    bool isOutOfDate(const PHAsset& photo) const;
    bool isEnlarged() const { return zoom_ > 1; }
    /// Shifts an enlarged picture, no further than to its edges.
    void moveBy(CGPoint distance);
    /// It fits again.
    void showWhole();

    void layoutSubviews() override;
    void didMoveToWindow() override;

protected:
    void didConstruct() override;

private:
    void handlePinch();
    void handleDoubleTap();
    void zoomTo(double zoom, CGPoint fixed);
    double largestZoom() const;
    void place();
    void requestForScreen();
    void requestWhole();
    void request(CGSize pixels, PHImageRequestID& active);

    const std::shared_ptr<PHAsset> photo_;
    CGSize picture_; // pixels, as it is shown
    std::shared_ptr<UIImageView> image_;
    std::shared_ptr<UILabel> unreadable_;
    std::shared_ptr<UIPinchGestureRecognizer> pinch_;
    std::shared_ptr<UITapGestureRecognizer> doubleTap_;
    double zoom_ = 1;
    CGPoint shift_, pinchedAt_; // points
    CGSize requestedFor_; // points of the view
    PHImageRequestID forScreen_ = PHInvalidImageRequestID, whole_ = PHInvalidImageRequestID;
};

}
