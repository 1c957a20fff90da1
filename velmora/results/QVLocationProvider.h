// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreLocation/CLLocationManager.h"
#include "platform/Foundation/Guarded.h"
#include "platform/Foundation/NSObject.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace velmora {

/// Posted on the default centre, on the main queue, with the new place mark as its object, nil when it was cleared.
inline constexpr const char* kQVLocationProviderCurrentPlacemarkDidUpdateNotification
    = "QVLocationProviderCurrentPlacemarkDidUpdateNotification";

/// Knows where the device is and what the place is called, while it is started.
///
/// A photo is tagged with what it knows. Reads are safe from any thread; everything else happens on the main queue.
class VELMORA_EXPORT QVLocationProvider : public NSObject, public CLLocationManagerDelegate {
public:
    /// Receives a name, or nothing where no name is known.
    using LandmarkNameCompletion = std::function<void(std::optional<std::string>)>;

    /// What geocoding found, possibly nothing at all.
    using Placemarks = std::optional<std::vector<std::shared_ptr<CLPlacemark>>>;

    QVLocationProvider() = default;
    ~QVLocationProvider() override;
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    /// From any thread; the work follows on the main queue. A second start forgets the failures so far.
    void start();
    /// From any thread; the work follows on the main queue. Location and place mark stay.
    void stop();

    /// Empty before the first start.
    std::shared_ptr<CLLocationManager> locationManager() const { return locationManager_.get(); }
    void setLocationManager(std::shared_ptr<CLLocationManager> manager);
    /// The last one that was delivered; empty before.
    std::shared_ptr<CLLocation> currentLocation() const { return currentLocation_.get(); }
    void setCurrentLocation(std::shared_ptr<CLLocation> location);
    /// The last one that was found; it may belong to an earlier location.
    std::shared_ptr<CLPlacemark> currentPlacemark() const { return currentPlacemark_.get(); }
    void setCurrentPlacemark(std::shared_ptr<CLPlacemark> placemark);

    /// The town.
    std::optional<std::string> currentLocaleName() const;
    /// The most detailed name: a landmark, a part of a town, a town or a region.
    std::optional<std::string> currentLandmarkName() const;

    /// Finds the most detailed name of any location. Calls `completion` once, on the main queue; a failure is logged.
    static void fetchLandmarkNameForLocation(
        const std::shared_ptr<CLLocation>& location, LandmarkNameCompletion completion);

    void locationManagerDidChangeAuthorizationStatus(CLLocationManager& manager, CLAuthorizationStatus status) override;
    void locationManagerDidFailWithError(CLLocationManager& manager, const NSError& error) override;
    void locationManagerDidUpdateLocations(
        CLLocationManager& manager, const std::vector<std::shared_ptr<CLLocation>>& locations) override;

protected:
    void didConstruct() override;

private:
    static void fetchLandmarkName(
        const ClassInfo& receiver, const std::shared_ptr<CLLocation>& location, LandmarkNameCompletion completion);
    /// A class operation: a subclass refines it by listing the selector among its own class methods.
    static std::optional<std::string> _mostDetailedNameFromPlacemarks(const Placemarks& placemarks);

    void startOnMain();
    void stopOnMain();
    void geocode(const std::shared_ptr<CLLocation>& location);
    void geocoded(const Placemarks& placemarks);
    void _resetFailureConditions();
    void _failedGeocoding();
    void _resetForSignificantTimeChange();
    void _pauseForApplicationResigningActive();
    void _resumeForApplicationBecomingActive();

    bool pausedGeocoding_ = false;
    bool pausedForApplicationResigningActive_ = false;
    bool locationTrackingIsActive_ = false;
    std::int64_t locationFailures_ = 0;
    std::int64_t geocodingFailures_ = 0;
    Guarded<std::shared_ptr<CLLocationManager>> locationManager_;
    Guarded<std::shared_ptr<CLLocation>> currentLocation_;
    Guarded<std::shared_ptr<CLPlacemark>> currentPlacemark_;
};

}
