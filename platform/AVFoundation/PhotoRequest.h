// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/AVCapturePhoto.h"
#include "platform/AVFoundation/AVCapturePhotoOutput.h"
#include "platform/AVFoundation/MovieWriter.h"
#include "platform/AVFoundation/PhotoMetadata.h"

#include <memory>
#include <optional>

namespace velmora {

class LivePhotoFrames;
class LivePhotoMovie;

/// One shot on its way from the driver to the delegate. Keeps the delegate and the output until the last call returned.
///
/// What the driver tells is taken up in order on a queue of the request's own, where files are made too; the delegate
/// is called on the output's. So pictures of several shots are encoded at once, and every delegate still hears one
/// thing at a time.
class PhotoRequest : public std::enable_shared_from_this<PhotoRequest> {
public:
    struct Surroundings {
        std::shared_ptr<AVCapturePhotoOutput> output;
        std::shared_ptr<AVCapturePhotoCaptureDelegate> delegate;
        std::shared_ptr<AVCaptureConnection> connection; ///< empty without one
        std::shared_ptr<LivePhotoFrames> frames; ///< empty for an ordinary photo
        bool trimsMovie = true;
    };
    PhotoRequest(const AVCapturePhotoSettings& settings, Surroundings surroundings);

    void start();
    /// The camera will not answer any more: ends with this error unless it has ended.
    void fail(const NSError& error);

private:
    void shutter(bool flash);
    void take(std::optional<CapturedStill> still, const std::optional<NSError>& error, bool raw);
    AVCapturePhoto::Content content(const CapturedStill& still, bool raw);
    std::shared_ptr<NSData> file(const CapturedStill& still, const ArchiveDictionary& metadata, bool raw) const;
    void finishMovie(const std::optional<NSError>& error);
    void finish(bool flash, const std::optional<NSError>& error);
    void dropMovie();
    StillRequest stillRequest() const;
    StillEvents events();
    MovieSettings movieSettings() const;
    std::shared_ptr<AVCaptureResolvedPhotoSettings> resolved(bool flash) const;
    void later(std::function<void(PhotoRequest&)> step);
    void tell(std::function<void(AVCapturePhotoCaptureDelegate&, const std::shared_ptr<AVCapturePhotoOutput>&)> call);

    const AVCapturePhotoSettings settings_;
    Surroundings surroundings_;
    std::optional<CaptureDeviceDescription> device_;
    CaptureSettings deviceSettings_;
    PictureOrientation orientation_;
    double frameRate_ = 30;

    const DispatchQueue steps_; // owns what follows
    std::shared_ptr<LivePhotoMovie> movie_;
    std::shared_ptr<CVPixelBuffer> movieStill_;
    CMTime stillTime_;
    bool flash_ = false;
    bool ended_ = false;
};

}
