// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "drivers/pipewire/openPipeWire.h"

#include "tests/support/DeviceTest.h"
#include "tests/support/PipeWireDaemon.h"

#include <memory>
#include <string>
#include <vector>

namespace velmora::tests {

/// A daemon of its own, a driver for it, and cameras that the test publishes.
class PipeWireTest : public DeviceTest {
protected:
    void SetUp() override
    {
        if (!PipeWireDaemon::isHere())
            return;
        DeviceTest::SetUp();
        daemon = std::make_unique<PipeWireDaemon>();
    }

    drivers::pipewire::DaemonWish wish() const
    {
        drivers::pipewire::DaemonWish wish;
        wish.socket = daemon->socket();
        wish.answerWithin = 5;
        wish.deviceTree = daemon->folder().path();
        return wish;
    }
    void publish(const std::string& name, const std::vector<std::string>& options = {})
    {
        cameras.push_back(daemon->camera(name, options));
    }
    /// Opens the daemon and answers the camera of that name; null when there is none.
    std::shared_ptr<CaptureDeviceDriver> open(const std::string& name)
    {
        if (!capture)
            capture = drivers::pipewire::openPipeWire(wish());
        for (const auto& device : capture->devices())
            if (device->description().uniqueID == name)
                return device;
        return nullptr;
    }

    std::unique_ptr<PipeWireDaemon> daemon;
    std::shared_ptr<drivers::pipewire::DaemonCapture> capture;
    std::vector<std::unique_ptr<Child>> cameras;
};

}
