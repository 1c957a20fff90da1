// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace velmora {

/// Which way a slider's value grows. Any other value: nothing is positioned.
enum QVSliderOrientation : std::uint8_t {
    QVSliderOrientationVertical = 0, ///< upwards
    QVSliderOrientationHorizontal = 1, ///< to the right
};

}
