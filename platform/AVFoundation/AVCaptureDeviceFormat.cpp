// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/AVCaptureDeviceFormat.h"

#include <utility>

namespace velmora {

AVCaptureDeviceFormat::AVCaptureDeviceFormat(const CaptureFormat& format)
    : format_(format)
    , formatDescription_(make<CMFormatDescription>(format.dimensions))
{
    for (const auto& range : format.frameRates)
        ranges_.push_back(make<AVFrameRateRange>(range));
    for (const auto& dimensions : format.depth) {
        CaptureFormat depth;
        depth.dimensions = depth.highResolutionStill = dimensions;
        depth_.push_back(make<AVCaptureDeviceFormat>(depth));
    }
}

const ClassInfo& AVCaptureDeviceFormat::staticClass()
{
    using Self = AVCaptureDeviceFormat;
    static constexpr auto methods = methodTable(method<&Self::formatDescription>("formatDescription"),
        method<&Self::videoSupportedFrameRateRanges>("videoSupportedFrameRateRanges"),
        method<&Self::supportedDepthDataFormats>("supportedDepthDataFormats"),
        method<&Self::highResolutionStillImageDimensions>("highResolutionStillImageDimensions"),
        method<&Self::minExposureDuration>("minExposureDuration"),
        method<&Self::maxExposureDuration>("maxExposureDuration"), method<&Self::minISO>("minISO"),
        method<&Self::maxISO>("maxISO"), method<&Self::videoMaxZoomFactor>("videoMaxZoomFactor"));
    static const ClassInfo info { "Velmora.AVCaptureDeviceFormat", &NSObject::staticClass(), methods };
    return info;
}

std::string AVCaptureDeviceFormat::description() const
{
    const CMVideoDimensions size = format_.dimensions;
    return "<" + std::string(classInfo().name) + ": " + std::to_string(size.width) + "x" + std::to_string(size.height)
        + (depth_.empty() ? ">" : ", depth>");
}

}
