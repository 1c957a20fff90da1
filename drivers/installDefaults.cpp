// SPDX-License-Identifier: Apache-2.0
#include "drivers/installDefaults.h"

#include "drivers/faces/install.h"
#include "drivers/iio/install.h"
#include "drivers/media/install.h"
#include "drivers/openDisplay.h"
#include "drivers/places/install.h"

namespace velmora::drivers {

namespace {

std::vector<DriverStatus>& statuses()
{
    static std::vector<DriverStatus> all;
    return all;
}

}

void installDefaults()
{
    if (!statuses().empty())
        return;
    media::install();
    statuses().push_back({ "media", true, {} });
    statuses().push_back({ "places", places::install(), "libtimezonemap-data" });
    statuses().push_back({ "faces", faces::install(), "libopencv-objdetect-dev opencv-data, and build again" });
    statuses().push_back({ "iio", iio::install(), {} });
    installDisplay({});
}

const std::vector<DriverStatus>& installedDrivers()
{
    return statuses();
}

}
