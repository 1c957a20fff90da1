// SPDX-License-Identifier: Apache-2.0
#include "platform/CoreMotion/CMMotionManager.h"

#include <atomic>
#include <utility>

namespace velmora {

namespace {

constexpr double fastest = 0.01; // seconds between two readings: what accelerometers of phones deliver at most

}

/// What `start` began. Readings that wait on the queue ask the flag, for they may run after the stop.
struct CMMotionManager::Updates {
    std::shared_ptr<std::atomic<bool>> wanted = std::make_shared<std::atomic<bool>>(true);
    Cancellable readings;
};

CMMotionManager::CMMotionManager()
    : driver_(MotionDriver::installed())
{
}

CMMotionManager::~CMMotionManager()
{
    stopAccelerometerUpdates();
}

const ClassInfo& CMMotionManager::staticClass()
{
    static constexpr auto methods
        = methodTable(method<&CMMotionManager::accelerometerUpdateInterval>("accelerometerUpdateInterval"),
            method<&CMMotionManager::setAccelerometerUpdateInterval>("setAccelerometerUpdateInterval:"),
            method<&CMMotionManager::startAccelerometerUpdatesToQueue>("startAccelerometerUpdatesToQueue:withHandler:"),
            method<&CMMotionManager::stopAccelerometerUpdates>("stopAccelerometerUpdates"),
            method<&CMMotionManager::isAccelerometerActive>("isAccelerometerActive"));
    static constexpr auto classMethods = methodTable(initialiser<CMMotionManager>("init"));
    static const ClassInfo info { "Velmora.CMMotionManager", &NSObject::staticClass(), methods, classMethods };
    return info;
}

void CMMotionManager::startAccelerometerUpdatesToQueue(const std::shared_ptr<NSOperationQueue>& queue, Handler handler)
{
    if (!driver_ || !queue || !handler)
        return;

    stopAccelerometerUpdates();
    auto updates = std::make_shared<Updates>();
    updates->readings = driver_->start(interval_ >= fastest ? interval_ : fastest,
        [queue, handler = std::move(handler), wanted = updates->wanted](
            std::optional<CMAccelerometerData> data, std::optional<NSError> error) {
            queue->addOperation([handler, wanted, data, error = std::move(error)] {
                if (*wanted)
                    handler(data ? &*data : nullptr, error);
            });
        });
    replaceUpdates(std::move(updates));
}

void CMMotionManager::stopAccelerometerUpdates()
{
    replaceUpdates(nullptr);
}

void CMMotionManager::replaceUpdates(std::shared_ptr<Updates> updates)
{
    if (const auto before = updates_.exchange(std::move(updates)))
        *before->wanted = false;
}

}
