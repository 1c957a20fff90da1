// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreMedia/CMTime.h"
#include "platform/Foundation/NSCoder.h"

#include <memory>
#include <optional>

namespace velmora {

class CIImage;
class NSURL;
class QVCaptureLocationInfo;
class QVLocationProvider;
class QVPhotoCapture;

/// What one photo request gave: image files in memory, metadata, date and place.
///
/// Not for two threads at once. Archives keep the image data, the metadata, date, place and user information.
class VELMORA_EXPORT QVPhotoCaptureOutput : public NSObject, public NSCoding {
public:
    /// Tells the two initialisers with image data apart.
    struct JpgImageData {
        std::shared_ptr<NSData> data;
    };
    struct RawImageData {
        std::shared_ptr<NSData> data;
    };

    QVPhotoCaptureOutput() = delete;
    /// The capture is not kept.
    QVPhotoCaptureOutput(const std::shared_ptr<QVPhotoCapture>& capture, JpgImageData jpgImageData);
    QVPhotoCaptureOutput(const std::shared_ptr<QVPhotoCapture>& capture, RawImageData rawImageData);
    /// Nil without metadata, and without any image data.
    static std::shared_ptr<QVPhotoCaptureOutput> initWithCoder(const NSCoder& coder);
    static void nameArchivableClasses(); ///< registerArchivableClasses(), for the unarchiver
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    /// Replaces the picture and drops the RAW data, which no longer shows the same; everything else stays.
    void modify(std::shared_ptr<NSData> jpgImageData);
    /// Stamps the record. Without a provider the place stays as it was; a provider without a location clears it.
    /// Neither image data nor metadata are rewritten.
    void finalize(std::shared_ptr<NSDate> date, const std::shared_ptr<QVLocationProvider>& locationProvider);
    /// Replaces the application's data.
    void set(ArchiveDictionary userInfo);

    /// The picture's file: JPEG, unless the application put another format here.
    const std::shared_ptr<NSData>& jpgImageData() const { return jpgImageData_; }
    void setJpgImageData(std::shared_ptr<NSData> data);
    /// The RAW picture's file, DNG (kQVUTTypeDNG).
    const std::shared_ptr<NSData>& dngImageData() const { return dngImageData_; }
    void setDngImageData(std::shared_ptr<NSData> data);
    const std::shared_ptr<CIImage>& previewImage() const { return previewImage_; }
    void setPreviewImage(std::shared_ptr<CIImage> image);
    /// All metadata of the photo by groups (EXIF, TIFF, GPS ...).
    const ArchiveDictionary& exifDictionary() const { return exifDictionary_; }
    void setExifDictionary(ArchiveDictionary dictionary);
    /// The live photo's movie. The file belongs to whoever receives the record.
    const std::shared_ptr<NSURL>& livePhotoMovieURL() const { return livePhotoMovieURL_; }
    void setLivePhotoMovieURL(std::shared_ptr<NSURL> url);
    /// The still's moment in the movie.
    const std::optional<CMTime>& livePhotoDisplayTime() const { return livePhotoDisplayTime_; }
    void setLivePhotoDisplayTime(std::optional<CMTime> time);
    /// When the capture completed.
    const std::shared_ptr<NSDate>& creationDate() const { return creationDate_; }
    void setCreationDate(std::shared_ptr<NSDate> date);
    const std::shared_ptr<QVCaptureLocationInfo>& locationInfo() const { return locationInfo_; }
    void setLocationInfo(std::shared_ptr<QVCaptureLocationInfo> info);
    bool flashFired() const { return flashFired_; }
    void setFlashFired(bool fired);
    /// The application's own data; archivable values only, or archiving fails with an error.
    const std::optional<ArchiveDictionary>& userInfo() const { return userInfo_; }
    void setUserInfo(std::optional<ArchiveDictionary> userInfo);

    void encodeWithCoder(NSCoder& coder) const override;

protected:
    void didConstruct() override;

private:
    std::shared_ptr<NSData> jpgImageData_, dngImageData_;
    std::shared_ptr<CIImage> previewImage_;
    ArchiveDictionary exifDictionary_;
    std::shared_ptr<NSURL> livePhotoMovieURL_;
    std::optional<CMTime> livePhotoDisplayTime_;
    std::shared_ptr<NSDate> creationDate_;
    std::shared_ptr<QVCaptureLocationInfo> locationInfo_;
    bool flashFired_ = false;
    std::optional<ArchiveDictionary> userInfo_;
};

}
