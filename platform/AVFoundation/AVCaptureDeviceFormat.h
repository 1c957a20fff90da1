// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/AVFrameRateRange.h"
#include "platform/CoreMedia/CMFormatDescription.h"

#include <memory>
#include <vector>

namespace velmora {

/// A size, with the rates and limits that a device has there. Immutable.
class VELMORA_EXPORT AVCaptureDeviceFormat : public NSObject {
public:
    explicit AVCaptureDeviceFormat(const CaptureFormat& format);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    const std::shared_ptr<CMFormatDescription>& formatDescription() const { return formatDescription_; }
    /// In the device's order.
    const std::vector<std::shared_ptr<AVFrameRateRange>>& videoSupportedFrameRateRanges() const { return ranges_; }
    /// Empty: no depth.
    const std::vector<std::shared_ptr<AVCaptureDeviceFormat>>& supportedDepthDataFormats() const { return depth_; }
    CMVideoDimensions highResolutionStillImageDimensions() const { return format_.highResolutionStill; }
    /// Limits are inclusive.
    CMTime minExposureDuration() const { return format_.minExposureDuration; }
    CMTime maxExposureDuration() const { return format_.maxExposureDuration; }
    float minISO() const { return format_.minISO; }
    float maxISO() const { return format_.maxISO; }
    double videoMaxZoomFactor() const { return format_.maxZoomFactor; }
    std::string description() const override;

private:
    CaptureFormat format_;
    std::shared_ptr<CMFormatDescription> formatDescription_;
    std::vector<std::shared_ptr<AVFrameRateRange>> ranges_;
    std::vector<std::shared_ptr<AVCaptureDeviceFormat>> depth_;
};

}
