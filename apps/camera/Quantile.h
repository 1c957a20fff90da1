// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

namespace velmora::camera {

/// The smallest value that so many of all do not exceed, by nearest rank; 0 of none.
inline double quantile(const std::vector<double>& sorted, double part)
{
    if (sorted.empty())
        return 0;
    const auto rank = static_cast<std::size_t>(std::ceil(part * static_cast<double>(sorted.size())));
    return sorted[std::clamp<std::size_t>(rank, 1, sorted.size()) - 1];
}

}
