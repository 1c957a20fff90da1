// SPDX-License-Identifier: Apache-2.0
#include "velmora/results/archivableClasses.h"

#include "velmora/results/QVCaptureLocationInfo.h"
#include "velmora/results/QVPhotoCaptureOutput.h"

#include "platform/CoreLocation/CLLocation.h"
#include "platform/CoreLocation/CLPlacemark.h"
#include "platform/Foundation/NSKeyedArchiver.h"

#include <array>

namespace velmora {

void registerArchivableClasses()
{
    static const std::array classes { archivable<CLLocation>(), archivable<CLPlacemark>(),
        archivable<QVCaptureLocationInfo>(), archivable<QVPhotoCaptureOutput>() };
    NSKeyedUnarchiver::registerClasses(classes);
}

namespace {

/// An archive may be the first thing that an application asks for. The library is shared, so that this object is there
/// whenever any of it is.
[[maybe_unused]] const bool registered = (registerArchivableClasses(), true);

}

}
