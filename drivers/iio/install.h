// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Export.h"

namespace velmora::drivers::iio {

/// Puts the kernel's accelerometer in force, else what iio-sensor-proxy tells. Answers whether there is one of them.
VELMORA_EXPORT bool install();

}
