// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreMotion/MotionDriver.h"

#include <memory>

namespace velmora::drivers {
class Bus;
}

namespace velmora::drivers::iio {

/// How the device is held, as iio-sensor-proxy tells: one of four ways, without anything between.
class VELMORA_EXPORT SensorProxy final : public MotionDriver {
public:
    /// Empty when there is no such service, or it has no accelerometer.
    static std::shared_ptr<MotionDriver> find();

    explicit SensorProxy(std::shared_ptr<Bus> bus);
    [[nodiscard]] Cancellable start(double interval, Reading reading) override;

private:
    const std::shared_ptr<Bus> bus_;
};

}
