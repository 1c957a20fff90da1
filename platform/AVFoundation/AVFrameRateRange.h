// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/CaptureDriver.h"
#include "platform/Foundation/NSObject.h"

namespace velmora {

/// Frame rates that a format can do.
class VELMORA_EXPORT AVFrameRateRange : public NSObject {
public:
    explicit AVFrameRateRange(const CaptureFrameRateRange& range);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    double minFrameRate() const { return range_.minFrameRate; } ///< frames a second
    double maxFrameRate() const { return range_.maxFrameRate; }
    /// The shortest and the longest time from frame to frame, as the device counts it: the timescale need not be the
    /// rate.
    CMTime minFrameDuration() const { return range_.minFrameDuration; }
    CMTime maxFrameDuration() const { return range_.maxFrameDuration; }

private:
    CaptureFrameRateRange range_;
};

}
