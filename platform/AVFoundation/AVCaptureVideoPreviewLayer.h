// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/AVCaptureConnection.h"
#include "platform/CoreMedia/CMSampleBuffer.h"
#include "platform/CoreMedia/CMTime.h"
#include "platform/QuartzCore/CALayer.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace velmora {

inline constexpr const char* AVLayerVideoGravityResizeAspect = "AVLayerVideoGravityResizeAspect";
inline constexpr const char* AVLayerVideoGravityResizeAspectFill = "AVLayerVideoGravityResizeAspectFill";
inline constexpr const char* AVLayerVideoGravityResize = "AVLayerVideoGravityResize";

/// Shows the picture of a session's camera while the session runs, and the last one afterwards. In the tree of a
/// display it shows the newest frame, by reference; nothing is done with frames that nobody sees.
class VELMORA_EXPORT AVCaptureVideoPreviewLayer : public CALayer {
public:
    /// Call it, like every initialiser, through make<AVCaptureVideoPreviewLayer>(session).
    explicit AVCaptureVideoPreviewLayer(std::shared_ptr<AVCaptureSession> session);
    static std::shared_ptr<AVCaptureVideoPreviewLayer> initWithSession(
        const std::shared_ptr<AVCaptureSession>& session);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    const std::shared_ptr<AVCaptureSession>& session() const { return session_; }
    /// Empty without a camera.
    std::shared_ptr<AVCaptureConnection> connection() const;

    /// How the picture fills the layer: AVLayerVideoGravityResizeAspect at first; other texts count as that.
    std::string videoGravity() const;
    void setVideoGravity(const std::string& gravity);

    /// `point` of the layer, in points, as a place in the sensor's picture, 0 to 1; outside the picture it lies outside
    /// that range. (0.5, 0.5) without a camera or without a size.
    CGPoint captureDevicePointOfInterestForPoint(CGPoint point) const;
    /// The way back: a place in the sensor's picture, 0 to 1, as a point of the layer. The middle of the layer without
    /// a camera or without a size.
    CGPoint pointForCaptureDevicePointOfInterest(CGPoint place) const;
    /// Where the upright picture lies in the layer's bounds, cropped edges included; empty without a camera.
    CGRect videoRect() const;

    // For the session.
    void setConnection(std::shared_ptr<AVCaptureConnection> connection);
    /// The newest frame, on the driver's thread.
    void receive(const std::shared_ptr<CMSampleBuffer>& buffer);

    std::optional<LayerPreview> preview(CGRect bounds) override;
    void setPreviewSeen(bool seen) override { seen_ = seen; }

protected:
    void didConstruct() override;

private:
    CGRect videoRectIn(CGRect bounds) const;

    const std::shared_ptr<AVCaptureSession> session_;
    std::atomic<bool> seen_ { false }; // a frame would be seen
    std::atomic<bool> announced_ { false }; // the display was told, and has not looked yet
    mutable std::mutex mutex_;
    std::shared_ptr<AVCaptureConnection> connection_;
    std::shared_ptr<CVPixelBuffer> frame_; // the newest
    std::string gravity_ = AVLayerVideoGravityResizeAspect;
};

}
