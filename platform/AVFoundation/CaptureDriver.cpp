// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/CaptureDriver.h"

#include "platform/AVFoundation/AVCaptureDevice.h"
#include "platform/Foundation/DispatchQueue.h"
#include "platform/Foundation/InstalledDriver.h"
#include "platform/Foundation/NSNotificationCenter.h"

#include <utility>

namespace velmora {

std::shared_ptr<CaptureDriver> CaptureDriver::installed()
{
    return installedDriver<CaptureDriver>().get();
}

void CaptureDriver::install(std::shared_ptr<CaptureDriver> driver)
{
    auto& place = installedDriver<CaptureDriver>();
    if (const auto before = place.get())
        before->setDevicePresence(nullptr);
    place.set(driver);
    if (!driver)
        return;
    driver->setDevicePresence([](const std::shared_ptr<CaptureDeviceDriver>& device, bool isThere) {
        DispatchQueue::main().async([device, isThere] {
            NSNotificationCenter::defaultCenter().postNotificationName(
                isThere ? AVCaptureDeviceWasConnectedNotification : AVCaptureDeviceWasDisconnectedNotification,
                AVCaptureDevice::deviceForDriver(device));
        });
    });
}

}
