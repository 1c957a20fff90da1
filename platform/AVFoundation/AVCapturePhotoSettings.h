// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/AVMediaTypes.h"
#include "platform/Foundation/ArchiveValue.h"
#include "platform/Foundation/NSURL.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace velmora {

/// What one shot is to be. The photo output copies it when the shot is asked for. For one thread at a time.
class VELMORA_EXPORT AVCapturePhotoSettings : public NSObject {
public:
    /// A JPEG.
    static std::shared_ptr<AVCapturePhotoSettings> photoSettings();
    /// A RAW picture alone, or with a picture of `processedFormat` (AVVideoCodecKey: AVVideoCodecTypeJPEG).
    static std::shared_ptr<AVCapturePhotoSettings> photoSettingsWithRawPixelFormatType(std::uint32_t pixelFormat);
    static std::shared_ptr<AVCapturePhotoSettings> photoSettingsWithRawPixelFormatType(
        std::uint32_t pixelFormat, const std::optional<ArchiveDictionary>& processedFormat);

    AVCapturePhotoSettings(
        std::optional<std::uint32_t> rawPixelFormat, std::optional<ArchiveDictionary> processedFormat);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    /// Another one for each object that is made; a copy of the settings keeps it.
    std::int64_t uniqueID() const { return uniqueID_; }
    std::uint32_t rawPhotoPixelFormatType() const { return rawPixelFormat_.value_or(0); } ///< 0: no RAW picture
    const std::optional<ArchiveDictionary>& processedFormat() const { return processedFormat_; }
    bool wantsProcessedPhoto() const { return !rawPixelFormat_ || processedFormat_; }

    AVCaptureFlashMode flashMode() const { return flashMode_; }
    void setFlashMode(AVCaptureFlashMode mode) { flashMode_ = mode; }
    bool isDepthDataDeliveryEnabled() const { return depth_; }
    void setDepthDataDeliveryEnabled(bool enabled) { depth_ = enabled; }
    bool isPortraitEffectsMatteDeliveryEnabled() const { return matte_; }
    void setPortraitEffectsMatteDeliveryEnabled(bool enabled) { matte_ = enabled; }

    /// What the camera in use offers, the preferred first; empty when it makes no previews.
    std::vector<std::uint32_t> availablePreviewPhotoPixelFormatTypes() const;
    /// kCVPixelBufferPixelFormatTypeKey, kCVPixelBufferWidthKey; the height follows the picture's shape.
    const std::optional<ArchiveDictionary>& previewPhotoFormat() const { return previewFormat_; }
    void setPreviewPhotoFormat(const std::optional<ArchiveDictionary>& format) { previewFormat_ = format; }

    /// Where the movie of a live photo goes; empty: an ordinary photo.
    const std::shared_ptr<NSURL>& livePhotoMovieFileURL() const { return movieURL_; }
    void setLivePhotoMovieFileURL(const std::shared_ptr<NSURL>& url) { movieURL_ = url; }

private:
    std::int64_t uniqueID_;
    std::optional<std::uint32_t> rawPixelFormat_;
    std::optional<ArchiveDictionary> processedFormat_, previewFormat_;
    AVCaptureFlashMode flashMode_ = AVCaptureFlashModeOff;
    bool depth_ = false, matte_ = false;
    std::shared_ptr<NSURL> movieURL_;
};

}
