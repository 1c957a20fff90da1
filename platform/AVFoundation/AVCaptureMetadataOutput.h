// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/AVCaptureOutput.h"
#include "platform/AVFoundation/AVMetadataObject.h"
#include "platform/Foundation/DispatchQueue.h"

#include <optional>

namespace velmora {

class FaceFinder;

inline constexpr const char* AVMediaTypeMetadataObject = "mobj";

/// Receives what was found in the picture.
class VELMORA_EXPORT AVCaptureMetadataOutputObjectsDelegate {
public:
    using Objects = std::vector<std::shared_ptr<AVMetadataObject>>;

    virtual ~AVCaptureMetadataOutputObjectsDelegate() = default;
    /// `objects` may be empty: what was there has gone.
    virtual void captureOutput(const std::shared_ptr<AVCaptureOutput>& output, const Objects& objects,
        const std::shared_ptr<AVCaptureConnection>& connection)
        = 0;
};

/// Tells its delegate, on the delegate's queue, what the camera finds in its picture.
class VELMORA_EXPORT AVCaptureMetadataOutput : public AVCaptureOutput {
public:
    /// Empty when the driver cannot make one.
    static std::shared_ptr<AVCaptureMetadataOutput> init();
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    /// The camera's own, and faces where a detector is installed; empty before the output is in a session with a
    /// camera.
    std::vector<std::string> availableMetadataObjectTypes() const;
    /// Only these are delivered; none at first.
    std::vector<std::string> metadataObjectTypes() const;
    void setMetadataObjectTypes(const std::vector<std::string>& types);

    /// The delegate is held weakly; an empty one, or no queue, ends the delivery.
    void setMetadataObjectsDelegate(const std::weak_ptr<AVCaptureMetadataOutputObjectsDelegate>& delegate,
        const std::optional<DispatchQueue>& queue);
    std::shared_ptr<AVCaptureMetadataOutputObjectsDelegate> metadataObjectsDelegate() const;
    std::optional<DispatchQueue> metadataObjectsCallbackQueue() const;

    std::vector<std::string> connectionTypesFor(const std::string& mediaType) const override;
    void cameraChanged() override;
    void see(const CMSampleBuffer& frame, const std::shared_ptr<AVCaptureConnection>& connection) override;
    void receiveMetadata(const std::vector<CaptureMetadataObject>& objects,
        const std::shared_ptr<AVCaptureConnection>& connection) override;

private:
    void deliver(
        const std::vector<CaptureMetadataObject>& found, const std::shared_ptr<AVCaptureConnection>& connection);

    mutable std::mutex mutex_;
    std::shared_ptr<FaceFinder> finder_; // made with the first frame that needs it
    bool cameraFindsFaces_ = false; // it has told of something by itself
    std::vector<std::string> types_;
    std::weak_ptr<AVCaptureMetadataOutputObjectsDelegate> delegate_;
    std::optional<DispatchQueue> queue_;
};

}
