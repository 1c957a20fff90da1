// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreLocation/CLLocation.h"
#include "platform/CoreLocation/CLPlacemark.h"
#include "platform/Foundation/NSError.h"

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace velmora {

/// What a positioning device tells. Called on any thread; CLLocationManager hops to the main queue.
struct LocationEvents {
    std::function<void(std::vector<std::shared_ptr<CLLocation>>)> moved;
    std::function<void(NSError)> failed;
    std::function<void(int status)>
        authorizationChanged; ///< 0 not determined, 1 restricted, 2 denied, 3 always, 4 in use
};

/// A source of positions. One is installed for the process; several managers share it.
class VELMORA_EXPORT LocationDriver {
public:
    virtual ~LocationDriver() = default;
    /// Read afresh at every question.
    virtual int authorizationStatus() const = 0;
    /// Asks the user; the answer arrives as authorizationChanged.
    virtual void requestWhenInUseAuthorization() = 0;
    /// Registers a manager's events until the token ends. Whether a new manager is told its authorisation at once is
    /// the device's way.
    [[nodiscard]] virtual Cancellable attach(LocationEvents events) = 0;
    virtual bool announcesAuthorizationAtCreation() const { return true; }
    /// Calls balance: positions flow while at least one manager wants them.
    virtual void start() = 0;
    virtual void stop() = 0;

    static std::shared_ptr<LocationDriver> installed(); ///< Empty when there is none.
    static void install(std::shared_ptr<LocationDriver> driver);
};

/// A source of place names.
class VELMORA_EXPORT GeocodingDriver {
public:
    /// Place marks, or none at all; an error, or none; both are possible.
    using Answer
        = std::function<void(std::optional<std::vector<std::shared_ptr<CLPlacemark>>>, std::optional<NSError>)>;

    virtual ~GeocodingDriver() = default;
    /// Answers once, on any thread; CLGeocoder hops to the main queue.
    virtual void reverseGeocode(std::shared_ptr<CLLocation> location, Answer answer) = 0;

    static std::shared_ptr<GeocodingDriver> installed();
    static void install(std::shared_ptr<GeocodingDriver> driver);
};

}
