// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreMotion/MotionDriver.h"
#include "platform/Foundation/Guarded.h"
#include "platform/Foundation/NSError.h"
#include "platform/Foundation/NSObject.h"
#include "platform/Foundation/NSOperationQueue.h"

#include <functional>
#include <memory>
#include <optional>

namespace velmora {

/// Reads the device's motion sensors, by the installed motion driver. Starts and stops may come from any thread.
class VELMORA_EXPORT CMMotionManager : public NSObject {
public:
    /// Receives a reading, or null and the error.
    using Handler = std::function<void(const CMAccelerometerData*, const std::optional<NSError>&)>;

    CMMotionManager();
    ~CMMotionManager() override;
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    /// Seconds between two readings; a change counts from the next start. Readings come every 0.01 s at most.
    double accelerometerUpdateInterval() const { return interval_; }
    void setAccelerometerUpdateInterval(double seconds) { interval_ = seconds; }

    /// Calls `handler` on `queue` for each reading; a new handler replaces the old one. Does nothing on a device
    /// without an accelerometer.
    void startAccelerometerUpdatesToQueue(const std::shared_ptr<NSOperationQueue>& queue, Handler handler);
    /// No handler runs after it returned on the queue that the handler runs on; harmless when stopped.
    void stopAccelerometerUpdates();
    bool isAccelerometerActive() const { return updates_.get() != nullptr; }

private:
    struct Updates;
    void replaceUpdates(std::shared_ptr<Updates> updates);

    std::shared_ptr<MotionDriver> driver_;
    double interval_ = 0.01;
    Guarded<std::shared_ptr<Updates>> updates_;
};

}
