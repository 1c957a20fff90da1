// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace velmora::drivers::cameras {

/// How the pictures of a family's cameras came to those who wanted them: where they lay, copied because too many were
/// held, or converted because they were of another format.
struct PictureCounts {
    std::uint64_t handedOn = 0, copied = 0, converted = 0;
};

}
