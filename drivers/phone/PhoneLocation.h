// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreLocation/LocationDriver.h"
#include "platform/Foundation/DispatchQueue.h"

#include "drivers/phone/PhoneState.h"

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

namespace velmora::drivers::phone {

/// The positioning device: the scripted track and what the test moves, to those who may know it.
class PhoneLocation final : public LocationDriver, public std::enable_shared_from_this<PhoneLocation> {
public:
    explicit PhoneLocation(std::shared_ptr<PhoneState> state);

    int authorizationStatus() const override;
    /// Nobody answers for the user: a change of the description's permission does.
    void requestWhenInUseAuthorization() override;
    [[nodiscard]] Cancellable attach(LocationEvents events) override;
    bool announcesAuthorizationAtCreation() const override;
    void start() override;
    void stop() override;

    void moveTo(std::vector<std::shared_ptr<CLLocation>> batch);
    void fail(const NSError& error);
    void authorizationChanged(int status);

private:
    void tell(const std::function<void(const LocationEvents&)>& what);
    void deliver(const std::vector<std::shared_ptr<CLLocation>>& batch);
    std::shared_ptr<CLLocation> current() const;
    void followTrack(std::uint64_t run);

    const std::shared_ptr<PhoneState> state_;
    const DispatchQueue queue_ { "org.velmora.phone.location" };
    mutable std::mutex mutex_;
    std::map<std::uint64_t, std::shared_ptr<const LocationEvents>> managers_;
    std::uint64_t lastManager_ = 0;
    int wanted_ = 0; // starts without their stop
    std::uint64_t run_ = 0; // counts the times that positions began to flow
    TimedLocation moved_;
};

}
