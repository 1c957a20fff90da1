// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Export.h"

namespace velmora::drivers::iio {

/// Puts the kernel's accelerometer in force, if there is one. Answers whether there is.
VELMORA_EXPORT bool install();

}
