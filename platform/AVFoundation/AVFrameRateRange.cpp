// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/AVFrameRateRange.h"

namespace velmora {

AVFrameRateRange::AVFrameRateRange(const CaptureFrameRateRange& range)
    : range_(range)
{
}

const ClassInfo& AVFrameRateRange::staticClass()
{
    static constexpr auto methods = methodTable(method<&AVFrameRateRange::minFrameRate>("minFrameRate"),
        method<&AVFrameRateRange::maxFrameRate>("maxFrameRate"),
        method<&AVFrameRateRange::minFrameDuration>("minFrameDuration"),
        method<&AVFrameRateRange::maxFrameDuration>("maxFrameDuration"));
    static const ClassInfo info { "Velmora.AVFrameRateRange", &NSObject::staticClass(), methods };
    return info;
}

}
