// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/ProcessState.h"

#include "drivers/pipewire/openPipeWire.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/Collected.h"
#include "tests/support/PipeWireDaemon.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace velmora::tests {

using Frame = std::shared_ptr<CMSampleBuffer>;

/// A daemon of its own, a driver for it, and cameras that the test publishes.
class PipeWireTest : public testing::Test {
protected:
    void SetUp() override
    {
        if (!PipeWireDaemon::isHere())
            return;
        ProcessState::reset();
        daemon = std::make_unique<PipeWireDaemon>();
    }
    void TearDown() override
    {
        for (const auto& device : started)
            device->stop();
        started.clear();
        CaptureDriver::install(nullptr);
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
    std::optional<NSError> start(const std::shared_ptr<CaptureDeviceDriver>& device,
        std::uint32_t format = kCVPixelFormatType_420YpCbCr8BiPlanarFullRange)
    {
        started.push_back(device);
        return device->start({ format, 0 }, [to = framesHeld](Frame frame) { to->add(std::move(frame)); });
    }
    /// Its events, by name: "interrupted", "ended", "failed: ...".
    void listen(CaptureDeviceDriver& device)
    {
        CaptureDeviceEvents told;
        told.interrupted = [to = eventsHeld](const std::optional<NSError>&) { to->add("interrupted"); };
        told.interruptionEnded = [to = eventsHeld] { to->add("ended"); };
        told.failed = [to = eventsHeld](const NSError& error) { to->add("failed: " + error.localizedDescription()); };
        told.readingsChanged = [to = readingsHeld](const CaptureReadings& now) { to->add(now); };
        device.setEvents(std::move(told));
    }

    CapturedLog log;
    std::unique_ptr<PipeWireDaemon> daemon;
    std::shared_ptr<drivers::pipewire::DaemonCapture> capture;
    std::vector<std::unique_ptr<Child>> cameras;
    std::vector<std::shared_ptr<CaptureDeviceDriver>> started;

    // Held by what is called, which may be later than the test.
    const std::shared_ptr<Collected<Frame>> framesHeld = std::make_shared<Collected<Frame>>();
    const std::shared_ptr<Collected<std::string>> eventsHeld = std::make_shared<Collected<std::string>>();
    const std::shared_ptr<Collected<CaptureReadings>> readingsHeld = std::make_shared<Collected<CaptureReadings>>();
    Collected<Frame>& frames = *framesHeld;
    Collected<std::string>& events = *eventsHeld;
    Collected<CaptureReadings>& readings = *readingsHeld;
};

inline int lumaOf(const CVPixelBuffer& pixels)
{
    const auto& plane = pixels.planes()[0];
    return plane.data[plane.stride * 20 + 20];
}

inline std::pair<int, int> chromaOf(const CVPixelBuffer& pixels)
{
    const auto& plane = pixels.planes()[1];
    return { plane.data[plane.stride * 10 + 20], plane.data[plane.stride * 10 + 21] };
}

}
