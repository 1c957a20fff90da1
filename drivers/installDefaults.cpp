// SPDX-License-Identifier: Apache-2.0
#include "drivers/installDefaults.h"

#include "drivers/iio/install.h"
#include "drivers/media/install.h"
#include "drivers/places/install.h"

namespace velmora::drivers {

void installDefaults()
{
    iio::install();
    media::install();
    places::install();
}

}
