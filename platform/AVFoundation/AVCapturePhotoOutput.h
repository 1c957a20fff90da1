// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/AVCaptureOutput.h"
#include "platform/AVFoundation/AVCapturePhotoCaptureDelegate.h"
#include "platform/AVFoundation/AVCapturePhotoSettings.h"
#include "platform/Foundation/DispatchQueue.h"

namespace velmora {

class LivePhotoFrames;
class PhotoRequest;

/// Takes photos and live photos. What it supports is what the session's camera and its active format support now.
class VELMORA_EXPORT AVCapturePhotoOutput : public AVCaptureOutput {
public:
    /// Empty when the driver cannot make one.
    static std::shared_ptr<AVCapturePhotoOutput> init();
    AVCapturePhotoOutput();
    ~AVCapturePhotoOutput() override;
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    bool isHighResolutionCaptureEnabled() const;
    void setHighResolutionCaptureEnabled(bool enabled);
    std::vector<AVCaptureFlashMode> supportedFlashModes() const;
    std::vector<std::uint32_t> availableRawPhotoPixelFormatTypes() const;

    /// The three flags have no effect without support, read NO without it, and drop when the camera changes.
    bool isDepthDataDeliverySupported() const;
    bool isDepthDataDeliveryEnabled() const;
    void setDepthDataDeliveryEnabled(bool enabled);
    bool isPortraitEffectsMatteDeliverySupported() const;
    bool isPortraitEffectsMatteDeliveryEnabled() const;
    void setPortraitEffectsMatteDeliveryEnabled(bool enabled);
    bool isLivePhotoCaptureSupported() const;
    /// While it is on, the output remembers the last 1.5 seconds of frames, at most 1440 by 1080 pixels each.
    bool isLivePhotoCaptureEnabled() const;
    void setLivePhotoCaptureEnabled(bool enabled);
    /// YES at first: a movie begins after the last pause of the camera that its frames show.
    bool isLivePhotoAutoTrimmingEnabled() const;
    void setLivePhotoAutoTrimmingEnabled(bool enabled);

    /// Returns at once. The delegate is held until its last call returned. Without a running session that call is the
    /// only one, with an error.
    void capturePhotoWithSettings(const std::shared_ptr<AVCapturePhotoSettings>& settings,
        const std::shared_ptr<AVCapturePhotoCaptureDelegate>& delegate);

    std::vector<std::string> connectionTypesFor(const std::string& mediaType) const override;
    bool hearsSound() const override;
    void cameraChanged() override;
    void cameraFailed(const NSError& error) override;
    void receive(
        const std::shared_ptr<CMSampleBuffer>& buffer, const std::shared_ptr<AVCaptureConnection>& connection) override;

private:
    friend class PhotoRequest;
    void finished(const PhotoRequest& request);

    const DispatchQueue queue_;
    const std::shared_ptr<LivePhotoFrames> frames_;
    mutable std::mutex mutex_;
    bool highResolution_ = false, depth_ = false, matte_ = false, autoTrimming_ = true;
    std::weak_ptr<AVCaptureDevice> lastCamera_;
    std::vector<std::shared_ptr<PhotoRequest>> requests_;
};

}
