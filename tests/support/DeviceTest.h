// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/CaptureDriver.h"
#include "platform/Foundation/ProcessState.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/Collected.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace velmora::tests {

using Frame = std::shared_ptr<CMSampleBuffer>;

/// Cameras as a driver hands them over, and what came of them.
class DeviceTest : public testing::Test {
protected:
    void SetUp() override { ProcessState::reset(); }
    void TearDown() override
    {
        for (const auto& device : started)
            device->stop();
        started.clear();
        CaptureDriver::install(nullptr);
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
    void shoot(CaptureDeviceDriver& camera, const StillRequest& request = {})
    {
        StillEvents told;
        told.shutter = [events = eventsHeld](bool) { events->add("shutter"); };
        told.processed = [events = eventsHeld, stills = stillsHeld](
                             std::optional<CapturedStill> still, const std::optional<NSError>&) {
            if (!still)
                return; // `done` says why
            events->add("processed");
            stills->add(std::move(*still));
        };
        told.raw = [events = eventsHeld, stills = stillsHeld](
                       std::optional<CapturedStill> still, const std::optional<NSError>&) {
            if (!still)
                return; // `done` says why
            events->add("raw");
            stills->add(std::move(*still));
        };
        told.done = [events = eventsHeld, done = doneHeld](bool, const std::optional<NSError>& error) {
            events->add(error ? error->localizedDescription() : "done");
            done->add(0);
        };
        camera.captureStill(request, std::move(told));
    }

    CapturedLog log;
    std::vector<std::shared_ptr<CaptureDeviceDriver>> started;

    // Held by what is called, which may be later than the test.
    const std::shared_ptr<Collected<Frame>> framesHeld = std::make_shared<Collected<Frame>>();
    const std::shared_ptr<Collected<std::string>> eventsHeld = std::make_shared<Collected<std::string>>();
    const std::shared_ptr<Collected<CaptureReadings>> readingsHeld = std::make_shared<Collected<CaptureReadings>>();
    Collected<Frame>& frames = *framesHeld;
    Collected<std::string>& events = *eventsHeld;
    Collected<CaptureReadings>& readings = *readingsHeld;
    const std::shared_ptr<Collected<CapturedStill>> stillsHeld = std::make_shared<Collected<CapturedStill>>();
    const std::shared_ptr<Collected<int>> doneHeld = std::make_shared<Collected<int>>();
    Collected<CapturedStill>& stills = *stillsHeld;
    Collected<int>& done = *doneHeld;
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
