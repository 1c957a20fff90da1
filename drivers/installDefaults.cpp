// SPDX-License-Identifier: Apache-2.0
#include "drivers/installDefaults.h"

#include "platform/AVFoundation/CaptureDriver.h"

#include "drivers/evdev/install.h"
#include "drivers/faces/install.h"
#include "drivers/geoclue/install.h"
#include "drivers/gpsd/install.h"
#include "drivers/iio/install.h"
#include "drivers/media/install.h"
#include "drivers/openCapture.h"
#include "drivers/openDisplay.h"
#include "drivers/photos/install.h"
#include "drivers/places/install.h"

#include <utility>

namespace velmora::drivers {

namespace {

std::vector<DriverStatus>& statuses()
{
    static std::vector<DriverStatus> all;
    return all;
}

/// The first family of cameras that has one, unless the application chose its own before.
void installCapture()
{
    for (const auto& name : captureNames()) {
        DriverStatus status { name, false, missingForCapture(name) };
        if (status.install.empty()) {
            try {
                auto capture = openCapture(name);
                status.works = true;
                // Of a portal nobody knows what it has before the user was asked.
                const bool isUnknown
                    = capture->authorizationStatus(AVMediaTypeVideo) == AVAuthorizationStatusNotDetermined;
                if (!CaptureDriver::installed() && (isUnknown || capture->defaultDevice(AVMediaTypeVideo)))
                    CaptureDriver::install(std::move(capture));
            } catch (const NSError&) {
                status.install = name == "pipewire" ? "pipewire wireplumber" : "";
            }
        }
        statuses().push_back(std::move(status));
    }
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
    statuses().push_back({ "iio", iio::install(), {} }); // no package makes a sensor
    statuses().push_back({ "evdev", evdev::install(), {} }); // no package makes a button, or gives the right to it
    statuses().push_back({ "photos", photos::install(), {} });
    installCapture();
    const bool satellites = gpsd::install();
    statuses().push_back({ "gpsd", satellites, gpsd::isBuilt() ? "gpsd" : "libgps-dev, and build again" });
    if (!satellites)
        statuses().push_back(
            { "geoclue", geoclue::install(), geoclue::isBuilt() ? "geoclue-2.0" : "libsystemd-dev, and build again" });
    installDisplay({});
}

const std::vector<DriverStatus>& installedDrivers()
{
    return statuses();
}

}
