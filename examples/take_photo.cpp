// SPDX-License-Identifier: Apache-2.0
// Takes one photo with the virtual phone and writes photo.jpg: the whole way from a camera to a file.
#include "velmora/capture/QVCameraController.h"
#include "velmora/results/QVPhotoCaptureOutput.h"

#include "platform/Foundation/Clock.h"
#include "platform/Foundation/NSRunLoop.h"

#include "drivers/installDefaults.h"
#include "drivers/phone/VirtualPhone.h"

#include <fstream>

using namespace velmora;

int main()
{
    drivers::installDefaults();
    SteadyClock clock;
    drivers::phone::VirtualPhone phone(drivers::phone::triple(), clock); // without it, the machine's own cameras
    const auto controller = make<QVCameraController>();
    controller->startSession();
    controller->captureStillImage({}, [](auto photo, auto) {
        if (photo) {
            const auto bytes = photo->jpgImageData()->bytes();
            std::ofstream("photo.jpg").write(reinterpret_cast<const char*>(bytes.data()), std::ssize(bytes));
        }
        NSRunLoop::mainRunLoop().perform([] { NSRunLoop::mainRunLoop().stop(); });
    });
    NSRunLoop::mainRunLoop().run();
    controller->stopSession();
}
