// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreMedia/CMTime.h"
#include "platform/Foundation/NSError.h"

#include <memory>
#include <optional>

namespace velmora {

class AVCapturePhoto;
class AVCapturePhotoOutput;
class AVCaptureResolvedPhotoSettings;
class NSURL;

/// Follows one shot: the shutter, each photo, the movie where one was asked for, the end; one call at a time, on the
/// photo output's own queue. Override what you want to hear, and bring the others in by
/// `using AVCapturePhotoCaptureDelegate::captureOutput;`.
class VELMORA_EXPORT AVCapturePhotoCaptureDelegate {
public:
    virtual ~AVCapturePhotoCaptureDelegate() = default;

    /// captureOutput:didCapturePhotoForResolvedSettings: -- the shutter.
    virtual void captureOutput(const std::shared_ptr<AVCapturePhotoOutput>& /*output*/,
        const std::shared_ptr<AVCaptureResolvedPhotoSettings>& /*resolvedSettings*/)
    {
    }
    /// captureOutput:didFinishProcessingPhoto:error: -- the photo is there with an error too; it may have no data.
    virtual void captureOutput(const std::shared_ptr<AVCapturePhotoOutput>& /*output*/,
        const std::shared_ptr<AVCapturePhoto>& /*photo*/, const std::optional<NSError>& /*error*/)
    {
    }
    /// captureOutput:didFinishProcessingLivePhotoToMovieFileAtURL:duration:photoDisplayTime:resolvedSettings:error:
    virtual void captureOutput(const std::shared_ptr<AVCapturePhotoOutput>& /*output*/,
        const std::shared_ptr<NSURL>& /*movieFileURL*/, const CMTime& /*duration*/, const CMTime& /*photoDisplayTime*/,
        const std::shared_ptr<AVCaptureResolvedPhotoSettings>& /*resolvedSettings*/,
        const std::optional<NSError>& /*error*/)
    {
    }
    /// captureOutput:didFinishCaptureForResolvedSettings:error: -- always, and last.
    virtual void captureOutput(const std::shared_ptr<AVCapturePhotoOutput>& /*output*/,
        const std::shared_ptr<AVCaptureResolvedPhotoSettings>& /*resolvedSettings*/,
        const std::optional<NSError>& /*error*/)
    {
    }
};

}
