// SPDX-License-Identifier: Apache-2.0
#include "drivers/iio/SensorProxy.h"

#include "platform/Foundation/DispatchQueue.h"
#include "platform/Foundation/Scheduler.h"

#include "drivers/Bus.h"

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

/// Reads at each interval until it is ended. It keeps itself by the block that waits.
struct Polling : std::enable_shared_from_this<Polling> {
    void next()
    {
        queue.after(interval, [self = shared_from_this()] {
            if (!self->wanted)
                return;
            self->tell();
            self->next();
        });
    }
    void tell() const
    {
        std::optional<CMAccelerometerData> data;
        std::optional<NSError> error;
        try {
            const auto properties = bus->properties(proxy);
            const auto told = properties.find("AccelerometerOrientation");
            for (const Hold& hold : holds)
                if (told != properties.end() && told->second.text() && *told->second.text() == hold.word)
                    data = CMAccelerometerData { hold.gravity, Scheduler::current().clock().now() };
        } catch (const NSError& failure) {
            error = failure;
        }
        if (data || error) // it lies flat, or nobody knows yet
            reading(data, std::move(error));
    }

    double interval = 0;
    MotionDriver::Reading reading;
    std::shared_ptr<Bus> bus;
    std::atomic<bool> wanted { true };
    const DispatchQueue queue { "org.velmora.iio.sensorProxy" };
};

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
    const auto polling = std::make_shared<Polling>();
    polling->interval = interval;
    polling->reading = std::move(reading);
    polling->bus = bus_;
    polling->queue.async([polling] {
        try {
            polling->bus->call(proxy, "ClaimAccelerometer");
        } catch (const NSError& error) {
            polling->reading(std::nullopt, error);
        }
        polling->next();
    });
    return Cancellable([polling] {
        polling->wanted = false;
        polling->queue.async([polling] {
            try {
                polling->bus->call(proxy, "ReleaseAccelerometer");
            } catch (const NSError&) {
                return; // the service has gone, and its claims with it
            }
        });
    });
}

}
