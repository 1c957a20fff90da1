// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreMotion/MotionDriver.h"

#include <array>
#include <memory>
#include <string>

namespace velmora::drivers::iio {

/// An accelerometer that the kernel offers as files: a folder with in_accel_x_raw and its neighbours. It is read at
/// each reading's time, on a queue of its own; nothing is read between start and stop of nobody.
class VELMORA_EXPORT Accelerometer final : public MotionDriver {
public:
    /// The one beside the screen among the devices in a folder, by number; those of a keyboard's half are left alone.
    /// Empty when there is none that can be read, and a line of the log says why for each that cannot.
    static std::shared_ptr<Accelerometer> find(const std::string& devices = "/sys/bus/iio/devices");

    /// A reading that fails comes as an error that names the file; the next one is tried all the same.
    [[nodiscard]] Cancellable start(double interval, Reading reading) override;

    /// How readings along the chip's axes become those along the device's: rows are x, y, z of the device.
    using Matrix = std::array<std::array<double, 3>, 3>;

    struct Axis;
    struct Chip;
    explicit Accelerometer(std::shared_ptr<const Chip> chip);

private:
    const std::shared_ptr<const Chip> chip_;
};

}
