// SPDX-License-Identifier: Apache-2.0
#include "drivers/iio/SensorProxy.h"

#include "tests/support/Collected.h"
#include "tests/support/DesktopBus.h"

#include <gtest/gtest.h>

namespace velmora::tests {

TEST(SensorProxy, TellsHowTheDeviceIsHeld)
{
    if (!DesktopBus::isHere())
        return;
    DesktopBus bus(DesktopBus::sensors);
    const auto sensor = drivers::iio::SensorProxy::find();
    ASSERT_TRUE(sensor);
    const auto seen = std::make_shared<Collected<CMAcceleration>>();
    auto updates
        = sensor->start(0.01, [seen](const std::optional<CMAccelerometerData>& data, const std::optional<NSError>&) {
              if (data)
                  seen->add(data->acceleration);
          });
    bus.heard("claimed");
    const auto isHeld = [&](double x, double y) {
        return seen->waitUntil([=](const auto& all) { return !all.empty() && all.back().x == x && all.back().y == y; });
    };
    EXPECT_TRUE(isHeld(0, -1));
    bus.tell("hold left-up");
    EXPECT_TRUE(isHeld(1, 0));
    bus.tell("hold right-up");
    EXPECT_TRUE(isHeld(-1, 0));
    bus.tell("hold bottom-up");
    EXPECT_TRUE(isHeld(0, 1));
    updates.cancel();
    EXPECT_EQ(bus.heard("released"), "released");
}

TEST(SensorProxy, IsNotThereOnABusWithoutIt)
{
    if (!DesktopBus::isHere())
        return;
    const DesktopBus bus("");
    EXPECT_FALSE(drivers::iio::SensorProxy::find());
}

}
