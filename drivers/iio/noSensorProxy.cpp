// SPDX-License-Identifier: Apache-2.0
// In place of SensorProxy.cpp, where libsystemd is missing.
#include "drivers/iio/SensorProxy.h"

namespace velmora::drivers::iio {

std::shared_ptr<MotionDriver> SensorProxy::find()
{
    return nullptr;
}

SensorProxy::SensorProxy(std::shared_ptr<Bus> /*bus*/) { }

Cancellable SensorProxy::start(double /*interval*/, Reading /*reading*/)
{
    return Cancellable();
}

}
