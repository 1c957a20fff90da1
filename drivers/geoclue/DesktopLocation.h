// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreLocation/LocationDriver.h"
#include "platform/Foundation/DispatchQueue.h"

#include "drivers/Bus.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>

namespace velmora::drivers::geoclue {

/// One of the desktop's services of positions.
class PositionService {
public:
    virtual ~PositionService() = default;
    /// Begins to call `moved`, on any thread, with the service's own words. Throws NSError; the user's refusal has the
    /// code kCLErrorDenied.
    virtual void begin(std::function<void(const BusDictionary&)> moved) = 0;
    virtual void end() = 0;
};

/// Positions of the desktop, for those whom the user allows to know them.
class DesktopLocation final : public LocationDriver, public std::enable_shared_from_this<DesktopLocation> {
public:
    explicit DesktopLocation(std::unique_ptr<PositionService> service);
    ~DesktopLocation() override;

    /// 0 until the service was asked for the first time, then 4 or 2.
    int authorizationStatus() const override;
    void requestWhenInUseAuthorization() override;
    [[nodiscard]] Cancellable attach(LocationEvents events) override;
    void start() override;
    void stop() override;

private:
    struct State;
    const std::shared_ptr<State> state_;
};

}
