// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/AVCapturePhoto.h"

#include <utility>

namespace velmora {

AVCapturePhoto::AVCapturePhoto(Content content)
    : content_(std::move(content))
{
}

const ClassInfo& AVCapturePhoto::staticClass()
{
    using Self = AVCapturePhoto;
    static constexpr auto methods = methodTable(method<&Self::fileDataRepresentation>("fileDataRepresentation"),
        method<&Self::isRawPhoto>("isRawPhoto"), method<&Self::metadata>("metadata"),
        method<&Self::previewPixelBuffer>("previewPixelBuffer"), method<&Self::timestamp>("timestamp"),
        method<&Self::resolvedSettings>("resolvedSettings"));
    static const ClassInfo info { "Velmora.AVCapturePhoto", &NSObject::staticClass(), methods };
    return info;
}

}
