// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "drivers/media/MediaErrors.h"

#include <cstdint>
#include <string>

namespace velmora::drivers::media {

/// 1 GiB of pixels, and several cameras' worth: beyond it a file is more likely damaged than large.
inline constexpr std::uint64_t mostPixels = 268'435'456;

/// Throws NSError for a size that no camera's picture has.
inline void checkPictureSize(std::uint64_t width, std::uint64_t height)
{
    if (width == 0 || height == 0)
        throw damaged("The picture is damaged: it says that it has no pixels. Use another copy of the file.");
    if (width > mostPixels || height > mostPixels || width * height > mostPixels)
        throw tooLarge("The picture says that it has " + std::to_string(width) + " x " + std::to_string(height)
            + " pixels, more than the 268 million that can be opened. Make it smaller, or use another copy of the "
              "file.");
}

}
