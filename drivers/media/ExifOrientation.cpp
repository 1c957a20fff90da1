// SPDX-License-Identifier: Apache-2.0
#include "drivers/media/ExifOrientation.h"

#include <cstddef>

namespace velmora::drivers::media {

int exifOrientation(std::span<const std::uint8_t> block)
{
    constexpr std::uint32_t orientationTag = 0x0112, shortType = 3;
    if (block.size() < 8)
        return 1;
    const bool little = block[0] == 'I';
    const auto number = [&](std::size_t at, int bytes) {
        std::uint32_t value = 0;
        for (int i = 0; i < bytes; ++i)
            value = value << 8 | block[at + static_cast<std::size_t>(little ? bytes - 1 - i : i)];
        return value;
    };
    const std::size_t directory = number(4, 4);
    if (directory > block.size() - 2)
        return 1;
    const std::size_t count = number(directory, 2);
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t entry = directory + 2 + i * 12;
        if (entry + 12 > block.size())
            return 1;
        if (number(entry, 2) != orientationTag || number(entry + 2, 2) != shortType)
            continue;
        const std::uint32_t value = number(entry + 8, 2);
        return value >= 1 && value <= 8 ? static_cast<int>(value) : 1;
    }
    return 1;
}

}
