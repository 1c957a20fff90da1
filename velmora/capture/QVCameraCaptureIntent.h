// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/OptionSet.h"

#include <cstdint>

namespace velmora {

/// What a controller is made for.
enum QVCameraCaptureIntent : std::uint8_t {
    QVCameraCaptureIntentReserved = 1, ///< Accepted; it has no effect.
    QVCameraCaptureIntentStillImage = 2,
    QVCameraCaptureIntentAudio = 4,
    QVCameraCaptureIntentSampleBuffers = 8, ///< Video frames for a processor of the application.
    QVCameraCaptureIntentFaceDetection = 16,
    /// Prefers a camera that measures depth; delivers depth only together with QVCameraCaptureIntentStillImage.
    QVCameraCaptureIntentDepth = 32,
};
template <> inline constexpr bool isOptionSet<QVCameraCaptureIntent> = true;

}
