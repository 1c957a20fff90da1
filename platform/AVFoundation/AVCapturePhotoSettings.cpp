// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/AVCapturePhotoSettings.h"

#include "platform/AVFoundation/StillCamera.h"

#include <atomic>
#include <utility>

namespace velmora {

namespace {

std::int64_t nextUniqueID()
{
    static std::atomic<std::int64_t> last { 0 };
    return ++last;
}

}

std::shared_ptr<AVCapturePhotoSettings> AVCapturePhotoSettings::photoSettings()
{
    return make<AVCapturePhotoSettings>(std::nullopt, std::nullopt);
}

std::shared_ptr<AVCapturePhotoSettings> AVCapturePhotoSettings::photoSettingsWithRawPixelFormatType(
    std::uint32_t pixelFormat)
{
    return make<AVCapturePhotoSettings>(pixelFormat, std::nullopt);
}

std::shared_ptr<AVCapturePhotoSettings> AVCapturePhotoSettings::photoSettingsWithRawPixelFormatType(
    std::uint32_t pixelFormat, const std::optional<ArchiveDictionary>& processedFormat)
{
    return make<AVCapturePhotoSettings>(pixelFormat, processedFormat);
}

AVCapturePhotoSettings::AVCapturePhotoSettings(
    std::optional<std::uint32_t> rawPixelFormat, std::optional<ArchiveDictionary> processedFormat)
    : uniqueID_(nextUniqueID())
    , rawPixelFormat_(rawPixelFormat)
    , processedFormat_(std::move(processedFormat))
{
}

const ClassInfo& AVCapturePhotoSettings::staticClass()
{
    using Self = AVCapturePhotoSettings;
    using Dictionary = const std::optional<ArchiveDictionary>&;
    static constexpr auto methods = methodTable(method<&Self::uniqueID>("uniqueID"),
        method<&Self::rawPhotoPixelFormatType>("rawPhotoPixelFormatType"),
        method<&Self::processedFormat>("processedFormat"), method<&Self::flashMode>("flashMode"),
        method<&Self::setFlashMode>("setFlashMode:"),
        method<&Self::isDepthDataDeliveryEnabled>("isDepthDataDeliveryEnabled"),
        method<&Self::setDepthDataDeliveryEnabled>("setDepthDataDeliveryEnabled:"),
        method<&Self::isPortraitEffectsMatteDeliveryEnabled>("isPortraitEffectsMatteDeliveryEnabled"),
        method<&Self::setPortraitEffectsMatteDeliveryEnabled>("setPortraitEffectsMatteDeliveryEnabled:"),
        method<&Self::availablePreviewPhotoPixelFormatTypes>("availablePreviewPhotoPixelFormatTypes"),
        method<&Self::previewPhotoFormat>("previewPhotoFormat"),
        method<&Self::setPreviewPhotoFormat>("setPreviewPhotoFormat:"),
        method<&Self::livePhotoMovieFileURL>("livePhotoMovieFileURL"),
        method<&Self::setLivePhotoMovieFileURL>("setLivePhotoMovieFileURL:"));
    static constexpr auto classMethods = methodTable(classMethod<&Self::photoSettings>("photoSettings"),
        classMethod<overload<std::uint32_t>(&Self::photoSettingsWithRawPixelFormatType)>(
            "photoSettingsWithRawPixelFormatType:"),
        classMethod<overload<std::uint32_t, Dictionary>(&Self::photoSettingsWithRawPixelFormatType)>(
            "photoSettingsWithRawPixelFormatType:processedFormat:"));
    static const ClassInfo info { "Velmora.AVCapturePhotoSettings", &NSObject::staticClass(), methods, classMethods };
    return info;
}

std::vector<std::uint32_t> AVCapturePhotoSettings::availablePreviewPhotoPixelFormatTypes() const
{
    const auto camera = StillCamera::inUse();
    return camera ? camera->deviceDescription().previewFormats : std::vector<std::uint32_t> {};
}

}
