// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreMotion/MotionDriver.h"
#include "platform/Foundation/DispatchQueue.h"
#include "platform/Foundation/NSError.h"

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace velmora::drivers::iio {

/// Reads at each interval, on a queue of its own, until it is ended. It keeps itself by the block that waits.
class Polling : public std::enable_shared_from_this<Polling> {
public:
    /// Nothing: there is nothing to tell. Throws NSError, which is told.
    using Read = std::function<std::optional<CMAccelerometerData>()>;

    Polling(const std::string& queue, double interval, Read read, MotionDriver::Reading reading)
        : queue_(queue)
        , interval_(interval)
        , read_(std::move(read))
        , reading_(std::move(reading))
    {
    }

    const DispatchQueue& queue() const { return queue_; }
    void begin()
    {
        queue_.after(interval_, [self = shared_from_this()] {
            if (!self->wanted_)
                return;
            self->readNow();
            self->begin();
        });
    }
    void end() { wanted_ = false; }
    void fail(const NSError& error) const { reading_(std::nullopt, error); }

private:
    void readNow() const
    {
        try {
            if (auto data = read_())
                reading_(std::move(data), std::nullopt);
        } catch (const NSError& error) {
            fail(error);
        }
    }

    const DispatchQueue queue_;
    const double interval_; // seconds
    const Read read_;
    const MotionDriver::Reading reading_;
    std::atomic<bool> wanted_ { true };
};

}
