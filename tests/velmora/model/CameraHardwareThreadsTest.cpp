// SPDX-License-Identifier: Apache-2.0
#include "velmora/capture/QVCameraController.h"
#include "velmora/model/QVCameraHardware.h"

#include "platform/Foundation/Clock.h"
#include "platform/Foundation/NSRunLoop.h"
#include "platform/Foundation/Scheduler.h"

#include "tests/support/PhoneTest.h"

#include <atomic>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace velmora::tests {

using namespace drivers::phone;

/// Three threads change what the camera reads while the main run loop turns, on the machine's own time.
TEST(CameraHardwareThreads, EveryChangeIsPublishedOnTheMainThread)
{
    constexpr int readings = 200;
    static SteadyClock time;
    VirtualPhone phone(smallPhone(), time);
    // Models live until the process ends.
    static const auto& model = *new auto(make<QVCameraHardware>(
        AVCaptureDevicePositionBack, QVCameraCaptureIntentStillImage, std::optional<std::string>()));

    // The first turns subscribe to the camera and bring its first readings.
    while (NSRunLoop::mainRunLoop().turn()) { }

    std::set<std::thread::id> threads;
    int changes = 0;
    const auto object = model->objectWillChange().sink([&] {
        threads.insert(std::this_thread::get_id());
        ++changes;
    });

    std::atomic<int> finished { 0 };
    std::vector<std::thread> devices;
    for (const char* key : { "ISO", "lensPosition", "exposureTargetOffset" })
        devices.emplace_back([&, key] {
            for (int i = 1; i <= readings; ++i)
                phone.setReading("back", key, static_cast<double>(i) / readings);
            ++finished;
        });
    const auto last = [&] {
        const auto& stats = model->stats();
        return finished == 3 && stats.preciseISO == 1.0F && stats.focussedDistance == 1.0F
            && stats.exposureOffset == 1.0F;
    };
    Scheduler::current().runUntil(last);
    for (auto& device : devices)
        device.join();

    EXPECT_EQ(threads, std::set { std::this_thread::get_id() });
    EXPECT_EQ(changes, 3 * readings);
}

}
