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
    static const bool once = [] {
        const std::array classes { archivable<CLLocation>(), archivable<CLPlacemark>(),
            archivable<QVCaptureLocationInfo>(), archivable<QVPhotoCaptureOutput>() };
        NSKeyedUnarchiver::registerClasses(classes);
        return true;
    }();
    static_cast<void>(once);
}

}
