// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/AVCaptureResolvedPhotoSettings.h"

namespace velmora {

AVCaptureResolvedPhotoSettings::AVCaptureResolvedPhotoSettings(std::int64_t uniqueID, bool flashEnabled)
    : uniqueID_(uniqueID)
    , flashEnabled_(flashEnabled)
{
}

const ClassInfo& AVCaptureResolvedPhotoSettings::staticClass()
{
    using Self = AVCaptureResolvedPhotoSettings;
    static constexpr auto methods
        = methodTable(method<&Self::uniqueID>("uniqueID"), method<&Self::isFlashEnabled>("isFlashEnabled"));
    static const ClassInfo info { "Velmora.AVCaptureResolvedPhotoSettings", &NSObject::staticClass(), methods };
    return info;
}

}
