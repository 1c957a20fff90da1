// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/NSRunLoop.h"
#include "platform/Foundation/Scheduler.h"

#include <future>
#include <thread>

#include "tests/drivers/phone/CameraFixture.h"

namespace velmora::tests {

using namespace velmora::drivers::phone;

namespace {

PhoneDescription tinyPhone()
{
    PhoneDescription description = smallPhone();
    for (auto& camera : description.cameras)
        camera.formats[0].size = camera.formats[0].highResolutionStill = { 64, 48 };
    return description;
}

class PhoneThreads : public testing::Test {
protected:
    SteadyClock clock;
    VirtualPhone phone { tinyPhone(), clock };
    std::shared_ptr<CaptureDeviceDriver> camera = CaptureDriver::installed()->devices()[0];
};

TEST_F(PhoneThreads, FramesComeFromTheDevicesQueueAndEndWithTheStop)
{
    std::promise<std::string> label;
    std::atomic<int> count = 0;
    camera->start({}, [&](const auto&) {
        if (++count == 3)
            label.set_value(DispatchQueue::currentLabel());
    });
    EXPECT_EQ(label.get_future().get(), "org.velmora.phone.back");
    camera->stop();
    const int after = count;
    std::promise<void> later;
    DispatchQueue("org.velmora.test").after(0.1, [&] { later.set_value(); });
    later.get_future().wait();
    EXPECT_EQ(count, after);
}

TEST_F(PhoneThreads, EverythingMayChangeWhileFramesCome)
{
    std::promise<void> enough;
    std::atomic<int> count = 0;
    camera->setEvents({ .readingsChanged = [](const CaptureReadings&) {},
        .failed = {},
        .metadata = {},
        .interrupted = {},
        .interruptionEnded = {} });
    camera->start({}, [&](const auto&) {
        if (++count == 10)
            enough.set_value();
    });
    std::thread other([&] {
        for (int i = 0; i < 100; ++i) {
            phone.change([i](PhoneDescription& description) { description.sceneDistance = 1 + i; });
            CaptureSettings settings;
            settings.exposureMode = 3;
            settings.ISO = static_cast<float>(100 + i);
            camera->apply(settings, "ISO", [](CMTime) {});
            phone.tilt(i % 2, -1, 0);
            phone.setReading("back", "ISO", i);
        }
    });
    StillEvents events;
    std::promise<void> taken;
    events.done = [&](bool, const auto&) { taken.set_value(); };
    camera->captureStill({ .rawFormat = 1650943796 }, std::move(events));
    taken.get_future().wait();
    enough.get_future().wait();
    other.join();
    camera->stop();
    EXPECT_GE(count, 10);
    EXPECT_FALSE(phone.journal().empty());
}

TEST_F(PhoneThreads, AMomentOfSoundAndPicturesGoesOnAtOnce)
{
    std::promise<void> heard, seen;
    std::atomic<int> sounds = 0, frames = 0;
    const auto microphone = CaptureDriver::installed()->defaultDevice(AVMediaTypeAudio);
    microphone->start({}, [&](const auto&) {
        if (++sounds == 5)
            heard.set_value();
    });
    camera->start({}, [&](const auto&) {
        if (++frames == 5)
            seen.set_value();
    });
    phone.sendFrame();
    phone.sendAudio();
    heard.get_future().wait();
    seen.get_future().wait();
    camera->stop();
    microphone->stop();
    EXPECT_GE(sounds, 5);
    EXPECT_GE(frames, 5);
}

}
}
