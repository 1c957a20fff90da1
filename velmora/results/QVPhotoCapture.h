// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "velmora/results/QVPhotoCaptureDelegate.h"

#include "platform/AVFoundation/AVCapturePhotoCaptureDelegate.h"
#include "platform/AVFoundation/AVMediaTypes.h"
#include "platform/Foundation/NSError.h"
#include "platform/UIKit/UIOrientation.h"

#include <functional>
#include <memory>
#include <optional>

namespace velmora {

class CMSampleBuffer;
class NSData;
class QVLocationProvider;
class QVPhotoCaptureOutput;

/// Gathers what the photo output says of one request into one record, and hands it over.
///
/// Set it up before the request begins; the callbacks arrive on the photo output's queue, one at a time.
class VELMORA_EXPORT QVPhotoCapture : public NSObject, public AVCapturePhotoCaptureDelegate {
public:
    using CaptureBeganHandler = std::function<void()>;
    using CaptureCompletedHandler = std::function<void(std::shared_ptr<CMSampleBuffer>, std::optional<NSError>)>;
    /// The record and no error, or no record and the last recorded error, which may be none.
    using CapturePhotoOutputHandler
        = std::function<void(std::shared_ptr<QVPhotoCaptureOutput>, std::optional<NSError>)>;

    QVPhotoCapture() = delete;
    /// The two orientations are not used: the controller decides on orientation at the output's connection.
    QVPhotoCapture(AVCaptureDevicePosition devicePosition, UIDeviceOrientation deviceOrientation,
        UIImageOrientation defaultImageOrientation);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    /// Held weakly. Told of success only.
    std::shared_ptr<QVPhotoCaptureDelegate> delegate() const { return delegate_.lock(); }
    void setDelegate(std::weak_ptr<QVPhotoCaptureDelegate> delegate);
    /// Called at the shutter moment, on the photo output's queue.
    const CaptureBeganHandler& captureBeganHandler() const { return captureBeganHandler_; }
    void setCaptureBeganHandler(CaptureBeganHandler handler);
    /// Kept, and never called.
    const CaptureCompletedHandler& captureCompletedHandler() const { return captureCompletedHandler_; }
    void setCaptureCompletedHandler(CaptureCompletedHandler handler);
    /// Called once at the end: on the photo output's queue after success, on the global queue after a failure.
    const CapturePhotoOutputHandler& capturePhotoOutputHandler() const { return capturePhotoOutputHandler_; }
    void setCapturePhotoOutputHandler(CapturePhotoOutputHandler handler);
    /// Carried for the owner; the output is not mirrored.
    bool mirrorOutput() const { return mirrorOutput_; }
    void setMirrorOutput(bool mirror);
    /// Held weakly. Source of the place.
    std::shared_ptr<QVLocationProvider> locationProvider() const { return locationProvider_.lock(); }
    void setLocationProvider(std::weak_ptr<QVLocationProvider> provider);

    // Called by the photo output.
    void captureOutput(const std::shared_ptr<AVCapturePhotoOutput>& output,
        const std::shared_ptr<AVCaptureResolvedPhotoSettings>& resolvedSettings) override;
    void captureOutput(const std::shared_ptr<AVCapturePhotoOutput>& output,
        const std::shared_ptr<AVCapturePhoto>& photo, const std::optional<NSError>& error) override;
    void captureOutput(const std::shared_ptr<AVCapturePhotoOutput>& output, const std::shared_ptr<NSURL>& movieFileURL,
        const CMTime& duration, const CMTime& photoDisplayTime,
        const std::shared_ptr<AVCaptureResolvedPhotoSettings>& resolvedSettings,
        const std::optional<NSError>& error) override;
    void captureOutput(const std::shared_ptr<AVCapturePhotoOutput>& output,
        const std::shared_ptr<AVCaptureResolvedPhotoSettings>& resolvedSettings,
        const std::optional<NSError>& error) override;

private:
    void keep(const std::shared_ptr<NSData>& data, bool raw);
    void succeed(const AVCaptureResolvedPhotoSettings& resolvedSettings);
    void fail();

    std::weak_ptr<QVPhotoCaptureDelegate> delegate_;
    CaptureBeganHandler captureBeganHandler_;
    CaptureCompletedHandler captureCompletedHandler_;
    CapturePhotoOutputHandler capturePhotoOutputHandler_;
    bool mirrorOutput_ = false;
    std::weak_ptr<QVLocationProvider> locationProvider_;
    [[maybe_unused]] AVCaptureDevicePosition devicePosition_; // nothing here depends on it
    std::shared_ptr<QVPhotoCaptureOutput> output_;
    std::optional<NSError> error_;
};

}
