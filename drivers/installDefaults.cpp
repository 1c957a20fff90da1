// SPDX-License-Identifier: Apache-2.0
#include "drivers/installDefaults.h"

namespace velmora::drivers {

void installDefaults() { }

}
