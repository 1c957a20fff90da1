// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>

namespace velmora {

/// Finds the frames that a camera lost, from the numbers of those that came.
class FrameSequence {
public:
    /// How many are missing before this one. A number that does not go on is a new count.
    std::uint64_t missingBefore(std::uint64_t number)
    {
        const auto last = last_;
        last_ = number;
        return last && number > *last ? number - *last - 1 : 0;
    }
    /// What comes next has nothing to do with what came: another camera, or another run.
    void restart() { last_.reset(); }

private:
    std::optional<std::uint64_t> last_;
};

}
