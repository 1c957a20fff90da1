// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstddef>
#include <mutex>
#include <optional>
#include <vector>

namespace velmora {
class CMSampleBuffer;
}

namespace velmora::camera {

class OpenCamera;

/// How old frames are in the hands of a processor, from its queue.
class FrameAges {
public:
    using Moment = std::chrono::steady_clock::time_point;

    explicit FrameAges(std::size_t wanted);
    /// Any frame that is more than wanted is passed over.
    void add(const CMSampleBuffer& frame);
    /// Turns the main run loop until all have come, or none came for 10 s, or the camera has failed.
    void waitForAll(const OpenCamera& camera) const;

    std::vector<double> sorted() const; ///< milliseconds
    std::optional<Moment> first() const; ///< when the first came

private:
    std::size_t count() const;

    const std::size_t wanted_;
    mutable std::mutex mutex_;
    std::vector<double> all_;
    std::optional<Moment> first_;
};

}
