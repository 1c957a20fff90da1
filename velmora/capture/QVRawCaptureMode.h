// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace velmora {

/// Which data a photo holds. Every value but 0 and 1 works as 2; a camera without RAW takes a processed photo.
enum QVRawCaptureMode : std::int64_t {
    QVRawCaptureModeNone = 0, ///< processed only
    QVRawCaptureModeRAWOnly = 1,
    QVRawCaptureModeRAWPlusJPEG = 2,
};

}
