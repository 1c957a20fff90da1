// SPDX-License-Identifier: Apache-2.0
#include "drivers/phone/Picture.h"

#include <algorithm>

namespace velmora::drivers::phone {

namespace {

/// In tiles: both pictures stay in the cache.
template <class Place> Channel transposed(const Channel& channel, Place place)
{
    constexpr int tile = 64;
    Channel result(channel.height, channel.width);
    for (int top = 0; top < channel.height; top += tile)
        for (int left = 0; left < channel.width; left += tile)
            for (int x = left; x < std::min(left + tile, channel.width); ++x)
                for (int y = top; y < std::min(top + tile, channel.height); ++y)
                    place(result, x, y) = channel.row(y)[x];
    return result;
}

}

Channel turned(const Channel& channel, Turn turn)
{
    switch (turn) {
    case Turn::None:
        return channel;
    case Turn::Right:
        return transposed(
            channel, [&](Channel& to, int x, int y) -> std::uint8_t& { return to.row(x)[channel.height - 1 - y]; });
    case Turn::Left:
        return transposed(
            channel, [&](Channel& to, int x, int y) -> std::uint8_t& { return to.row(channel.width - 1 - x)[y]; });
    case Turn::Around:
        break;
    }
    Channel result = channel;
    std::reverse(result.samples.begin(), result.samples.end());
    return result;
}

}
