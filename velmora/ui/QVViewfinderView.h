// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "velmora/ui/QVViewfinderOverlayView.h"

#include "platform/UIKit/UIControl.h"

#include <cstdint>
#include <functional>
#include <memory>

namespace velmora {

class AVCaptureVideoPreviewLayer;
class UILabel;

/// How the shutter lies over the picture. Any other value: it is not seen.
enum QVViewfinderClosureStyle : std::uint8_t {
    QVViewfinderClosureStyleTopBottom = 0, ///< an upper and a lower half, which slide up and down to open
    QVViewfinderClosureStyleLeftRight = 1, ///< a left and a right half, which slide to the sides
};

/// The camera screen's picture: a live preview, a shutter that closes over it, a message in its place when the camera
/// may not be used, and a view of the application's over it all. Main thread only.
class VELMORA_EXPORT QVViewfinderView : public UIControl {
public:
    using ClosedCompletion = AnimationCompletion; ///< on the main queue, with the animation's finished flag

    explicit QVViewfinderView(CGRect frame = CGRectZero);
    explicit QVViewfinderView(const NSCoder& coder);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    bool isClosed() const { return closed_; } ///< open at first
    void setClosed(bool closed) { setClosed(closed, false); }
    /// Closing takes 0.15 s, opening 0.25 s.
    void setClosed(bool closed, bool animated) { _setClosed(closed, animated, nullptr); }
    /// Animated. The completion is not called when nothing changes.
    void setClosedAnimated(bool closed, ClosedCompletion completion)
    {
        _setClosed(closed, true, std::move(completion));
    }

    QVViewfinderClosureStyle closureStyle() const { return closureStyle_; }
    /// Seen at the next layout, which it does not ask for.
    void setClosureStyle(QVViewfinderClosureStyle style) { closureStyle_ = style; }

    /// Held weakly: it belongs to whoever runs the camera.
    std::shared_ptr<AVCaptureVideoPreviewLayer> videoPreviewLayer() const { return videoPreviewLayer_.lock(); }
    /// Puts it beneath everything else. Where the camera may not be used a message takes its place.
    void setVideoPreviewLayer(const std::shared_ptr<AVCaptureVideoPreviewLayer>& layer);

    /// Black when none is set.
    std::shared_ptr<UIColor> shutterColor() const;
    void setShutterColor(const std::shared_ptr<UIColor>& color);

    /// Framing marks; seen when `overlayView` is a QVViewfinderOverlayView. A view that is set later gets neither the
    /// marks nor the colour: set them again.
    QVViewfinderOverlays overlays() const { return overlays_; }
    void setOverlays(QVViewfinderOverlays overlays);
    const std::shared_ptr<UIColor>& overlayColor() const { return overlayColor_; }
    void setOverlayColor(const std::shared_ptr<UIColor>& color);
    const std::shared_ptr<UIView>& overlayView() const { return overlayView_; }
    void setOverlayView(const std::shared_ptr<UIView>& view);

    void layoutSubviews() override;
    void prepareForInterfaceBuilder() override;

    void _setClosed(bool closed, bool animated, ClosedCompletion completion);

private:
    void makeShutter();
    void layOutShutter();
    void hideShutter(bool hidden);
    void makeDeniedCameraLabel();

    std::shared_ptr<UIView> shutterLeadingView_, shutterTrailingView_, overlayView_;
    std::shared_ptr<UILabel> deniedCameraLabel_;
    bool closed_ = false;
    QVViewfinderClosureStyle closureStyle_ = QVViewfinderClosureStyleTopBottom;
    QVViewfinderOverlays overlays_ {};
    std::shared_ptr<UIColor> shutterColor_, overlayColor_;
    std::weak_ptr<AVCaptureVideoPreviewLayer> videoPreviewLayer_;
};

}
