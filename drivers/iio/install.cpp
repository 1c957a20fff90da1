// SPDX-License-Identifier: Apache-2.0
#include "drivers/iio/install.h"

#include "drivers/iio/Accelerometer.h"

#include <utility>

namespace velmora::drivers::iio {

bool install()
{
    auto accelerometer = Accelerometer::find();
    if (!accelerometer)
        return false;
    MotionDriver::install(std::move(accelerometer));
    return true;
}

}
