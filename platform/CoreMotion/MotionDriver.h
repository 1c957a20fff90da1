// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Cancellable.h"
#include "platform/Foundation/NSError.h"

#include <functional>
#include <memory>
#include <optional>

namespace velmora {

/// In g (9.81 m/s²), along the device's axes: x to the right, y up, z out of the screen. A phone that is held upright
/// and still reads (0, -1, 0).
struct CMAcceleration {
    double x = 0, y = 0, z = 0;
};

struct CMAccelerometerData {
    CMAcceleration acceleration;
    double timestamp = 0; ///< seconds, by the clock in force
};

/// An accelerometer.
class VELMORA_EXPORT MotionDriver {
public:
    using Reading = std::function<void(std::optional<CMAccelerometerData>, std::optional<NSError>)>;

    virtual ~MotionDriver() = default;
    /// Calls `reading` on any thread every `interval` seconds until the token ends.
    [[nodiscard]] virtual Cancellable start(double interval, Reading reading) = 0;

    static std::shared_ptr<MotionDriver> installed(); ///< Empty when there is none.
    static void install(std::shared_ptr<MotionDriver> driver);
};

}
