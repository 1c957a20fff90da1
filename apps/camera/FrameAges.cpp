// SPDX-License-Identifier: Apache-2.0
#include "apps/camera/FrameAges.h"

#include "platform/CoreMedia/CMSampleBuffer.h"
#include "platform/Foundation/DispatchQueue.h"
#include "platform/Foundation/Scheduler.h"

#include <algorithm>

#include "apps/camera/OpenCamera.h"

namespace velmora::camera {

namespace {

constexpr double longestSilence = 10; // seconds
constexpr double toMilliseconds = 1000;
constexpr std::size_t untilLook = 30; // frames after which the main run loop looks whether any came

}

FrameAges::FrameAges(std::size_t wanted)
    : wanted_(wanted)
{
}

void FrameAges::add(const CMSampleBuffer& frame)
{
    const double age = Scheduler::current().clock().now() - CMTimeGetSeconds(frame.presentationTimeStamp());
    const std::lock_guard lock(mutex_);
    if (all_.size() >= wanted_)
        return;
    if (!first_)
        first_ = std::chrono::steady_clock::now();
    all_.push_back(age * toMilliseconds);
    if (all_.size() == wanted_ || all_.size() % untilLook == 1)
        DispatchQueue::main().async([] {});
}

void FrameAges::waitForAll(const OpenCamera& camera) const
{
    for (std::size_t before = 0; count() < wanted_; before = count()) {
        const auto more = [&] { return count() >= wanted_ || count() > before + untilLook || camera.hasFailed(); };
        camera.turnUntil(more, longestSilence);
        if (count() <= before)
            return;
    }
}

std::vector<double> FrameAges::sorted() const
{
    const std::lock_guard lock(mutex_);
    auto result = all_;
    std::sort(result.begin(), result.end());
    return result;
}

std::optional<FrameAges::Moment> FrameAges::first() const
{
    const std::lock_guard lock(mutex_);
    return first_;
}

std::size_t FrameAges::count() const
{
    const std::lock_guard lock(mutex_);
    return all_.size();
}

}
