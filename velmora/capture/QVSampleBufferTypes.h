// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/OptionSet.h"

#include <cstdint>

namespace velmora {

/// Which sample buffers are delivered. Bits without a name are kept and have no output.
enum QVSampleBufferTypes : std::uint8_t {
    QVSampleBufferTypeVideo = 2,
    QVSampleBufferTypeAudio = 4,
};
template <> inline constexpr bool isOptionSet<QVSampleBufferTypes> = true;

}
