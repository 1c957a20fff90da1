// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreMotion/MotionDriver.h"
#include "platform/Foundation/DispatchQueue.h"

#include "drivers/phone/PhoneState.h"

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>

namespace velmora::drivers::phone {

/// How a phone is held, as far as its cameras are concerned; the names tell where its top points.
enum class Held : std::uint8_t { Upright, UpsideDown, TopLeft, TopRight };

/// The accelerometer: one reading for each tilt, and with scripted motion one for each interval too.
class PhoneMotion final : public MotionDriver, public std::enable_shared_from_this<PhoneMotion> {
public:
    explicit PhoneMotion(std::shared_ptr<PhoneState> state);

    [[nodiscard]] Cancellable start(double interval, Reading reading) override;

    /// The phone stays so until the script's next entry. An error takes the place of the one reading.
    void tilt(CMAcceleration acceleration, std::optional<NSError> error);
    CMAcceleration acceleration() const; ///< as of now
    /// Lying flat, it is held as it was before.
    Held held() const;

private:
    struct Listener {
        double interval;
        Reading reading;
    };

    void read(std::uint64_t listener);
    TimedAcceleration latest() const;

    const std::shared_ptr<PhoneState> state_;
    const DispatchQueue queue_ { "org.velmora.phone.accelerometer" };
    mutable std::mutex mutex_;
    std::map<std::uint64_t, Listener> listeners_;
    std::uint64_t lastListener_ = 0;
    std::optional<TimedAcceleration> tilted_;
    mutable Held held_ = Held::Upright;
};

}
