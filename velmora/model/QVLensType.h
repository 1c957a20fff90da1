// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace velmora {

/// The kinds of lenses. Any 8-bit value may arrive; 4 to 6 are known to systems from 13.0 on.
enum QVLensType : std::int8_t {
    QVLensTypeWideAngle = 0,
    QVLensTypeTelephoto = 1,
    QVLensTypeDual = 2,
    QVLensTypeTrueDepth = 3,
    QVLensTypeDualWide = 4,
    QVLensTypeTriple = 5,
    QVLensTypeUltraWide = 6,
};

}
