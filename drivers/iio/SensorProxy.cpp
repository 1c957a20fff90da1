// SPDX-License-Identifier: Apache-2.0
#include "drivers/iio/SensorProxy.h"

#include "platform/Foundation/DispatchQueue.h"
#include "platform/Foundation/Scheduler.h"

#include "drivers/Bus.h"
#include "drivers/iio/Polling.h"

#include <array>
#include <atomic>
#include <string_view>
#include <utility>

namespace velmora::drivers::iio {

namespace {

constexpr const char* name = "net.hadess.SensorProxy";
const BusObject proxy { name, "/net/hadess/SensorProxy", name };

struct Hold {
    std::string_view word;
    CMAcceleration gravity;
};
constexpr std::array holds {
    Hold { "normal", { 0, -1, 0 } },
    Hold { "bottom-up", { 0, 1, 0 } },
    Hold { "left-up", { 1, 0, 0 } },
    Hold { "right-up", { -1, 0, 0 } },
};

/// Nothing while it lies flat, or while nobody knows yet.
std::optional<CMAccelerometerData> readingOf(Bus& bus)
{
    const auto properties = bus.properties(proxy);
    const auto told = properties.find("AccelerometerOrientation");
    for (const Hold& hold : holds)
        if (told != properties.end() && told->second.text() && *told->second.text() == hold.word)
            return CMAccelerometerData { hold.gravity, Scheduler::current().clock().now() };
    return std::nullopt;
}

}

std::shared_ptr<MotionDriver> SensorProxy::find()
{
    const auto bus = Bus::open(Bus::Kind::System);
    if (!bus || !bus->knows(name))
        return nullptr;
    try {
        const auto properties = bus->properties(proxy);
        const auto has = properties.find("HasAccelerometer");
        return has != properties.end() && has->second.isTrue() ? std::make_shared<SensorProxy>(bus) : nullptr;
    } catch (const NSError&) {
        return nullptr; // it could not be started
    }
}

SensorProxy::SensorProxy(std::shared_ptr<Bus> bus)
    : bus_(std::move(bus))
{
}

Cancellable SensorProxy::start(double interval, Reading reading)
{
    const auto polling = std::make_shared<Polling>(
        "org.velmora.iio.sensorProxy", interval, [bus = bus_] { return readingOf(*bus); }, std::move(reading));
    polling->queue().async([polling, bus = bus_] {
        try {
            bus->call(proxy, "ClaimAccelerometer");
        } catch (const NSError& error) {
            polling->fail(error);
        }
        polling->begin();
    });
    return Cancellable([polling, bus = bus_] {
        polling->end();
        polling->queue().async([bus] {
            try {
                bus->call(proxy, "ReleaseAccelerometer");
            } catch (const NSError&) {
                return; // the service has gone, and its claims with it
            }
        });
    });
}
}
