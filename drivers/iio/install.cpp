// SPDX-License-Identifier: Apache-2.0
#include "drivers/iio/install.h"

#include "drivers/iio/Accelerometer.h"
#include "drivers/iio/SensorProxy.h"

#include <utility>

namespace velmora::drivers::iio {

bool install()
{
    std::shared_ptr<MotionDriver> sensor = Accelerometer::find();
    if (!sensor)
        sensor = SensorProxy::find();
    if (!sensor)
        return false;
    MotionDriver::install(std::move(sensor));
    return true;
}

}
