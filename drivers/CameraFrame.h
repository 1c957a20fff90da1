// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "drivers/CameraOffers.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace velmora::drivers::cameras {

/// A piece of memory in which a frame lies, or one of its planes.
struct FramePiece {
    const std::uint8_t* data = nullptr;
    std::size_t size = 0; ///< bytes that the camera wrote
    std::size_t stride = 0; ///< bytes from row to row; 0: as many as a row has
};

/// Finds a frame's planes: one in each piece, or one after the other in the first. False for an empty frame, or one
/// that is smaller than its format.
VELMORA_EXPORT bool lay(CameraPicture& picture, const Negotiated& format, const std::vector<FramePiece>& pieces);

/// Tells a device that shares the memory of this descriptor when we read it.
VELMORA_EXPORT void tellReading(int dmaBuf, bool begins);

}
