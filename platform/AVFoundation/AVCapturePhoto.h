// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/AVCaptureResolvedPhotoSettings.h"
#include "platform/CoreMedia/CMTime.h"
#include "platform/CoreMedia/CVPixelBuffer.h"
#include "platform/Foundation/ArchiveValue.h"

#include <memory>

namespace velmora {

/// One picture of a shot. Immutable.
class VELMORA_EXPORT AVCapturePhoto : public NSObject {
public:
    struct Content {
        std::shared_ptr<NSData> fileData;
        bool raw = false;
        ArchiveDictionary metadata;
        std::shared_ptr<CVPixelBuffer> preview;
        CMTime timestamp;
        std::shared_ptr<AVCaptureResolvedPhotoSettings> resolvedSettings;
    };
    explicit AVCapturePhoto(Content content);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    /// A JPEG file, or a DNG file of a RAW picture; empty when there is no picture or no encoder. It was made before
    /// the delegate heard of the photo: asking costs nothing.
    const std::shared_ptr<NSData>& fileDataRepresentation() const { return content_.fileData; }
    bool isRawPhoto() const { return content_.raw; }
    /// Grouped as picture files carry it: "{TIFF}", "{Exif}", and Orientation, PixelWidth, PixelHeight at the top.
    const ArchiveDictionary& metadata() const { return content_.metadata; }
    const std::shared_ptr<CVPixelBuffer>& previewPixelBuffer() const { return content_.preview; } ///< may be empty
    CMTime timestamp() const { return content_.timestamp; } ///< of the exposure, as frames carry it
    const std::shared_ptr<AVCaptureResolvedPhotoSettings>& resolvedSettings() const
    {
        return content_.resolvedSettings;
    }

private:
    Content content_;
};

}
