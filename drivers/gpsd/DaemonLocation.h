// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreLocation/LocationDriver.h"

#include "drivers/gpsd/install.h"

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <thread>

namespace velmora::drivers::gpsd {

/// Positions of a satellite receiver that gpsd serves. Its thread lives while somebody wants positions; when the daemon
/// goes, it is looked for again.
class VELMORA_EXPORT DaemonLocation final : public LocationDriver, public std::enable_shared_from_this<DaemonLocation> {
public:
    /// `retry` is the time in seconds after which a daemon that is gone is looked for again.
    explicit DaemonLocation(DaemonAddress address, double retry = 1);
    ~DaemonLocation() override;

    /// Whether somebody listens there now.
    bool answers() const;

    /// Whoever reaches the daemon may know the place.
    int authorizationStatus() const override;
    void requestWhenInUseAuthorization() override;
    [[nodiscard]] Cancellable attach(LocationEvents events) override;
    void start() override;
    void stop() override;

private:
    struct Reader;
    struct Listeners {
        std::mutex mutex;
        std::map<std::uint64_t, std::shared_ptr<const LocationEvents>> all;
        std::uint64_t last = 0;
        void tell(const std::function<void(const LocationEvents&)>& what);
    };

    const DaemonAddress address_;
    const double retry_;
    const std::shared_ptr<Listeners> listeners_ = std::make_shared<Listeners>();
    std::mutex mutex_; // these three
    int wanted_ = 0; // starts without their stop
    std::shared_ptr<Reader> reader_;
    std::thread thread_;
};

}
