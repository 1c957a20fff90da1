// SPDX-License-Identifier: Apache-2.0
#include "velmora/results/QVLocationProvider.h"

#include "platform/CoreLocation/CLGeocoder.h"
#include "platform/CoreLocation/CLLocation.h"
#include "platform/CoreLocation/CLPlacemark.h"
#include "platform/Foundation/DispatchQueue.h"
#include "platform/Foundation/NSBundle.h"
#include "platform/Foundation/NSLog.h"
#include "platform/Foundation/NSNotificationCenter.h"
#include "platform/UIKit/UIApplication.h"

#include <algorithm>
#include <utility>

namespace velmora {

namespace {

constexpr const char* usageDescriptionKey = "NSLocationWhenInUseUsageDescription";
constexpr double farAway = 1000.0; // metres between two updates after which the place is looked up again
constexpr std::int64_t toleratedLocationFailures = 4;
constexpr std::int64_t lastRetriedGeocodingFailure = 2; // as counted before it: the first three are retried

}

QVLocationProvider::~QVLocationProvider()
{
    NSNotificationCenter::defaultCenter().removeObserver(*this);
    if (const auto manager = locationManager())
        manager->setDelegate({});
}

const ClassInfo& QVLocationProvider::staticClass()
{
    using Provider = QVLocationProvider;
    static constexpr auto methods = methodTable(method<&Provider::start>("start"), method<&Provider::stop>("stop"),
        method<&Provider::locationManager>("locationManager"),
        method<&Provider::setLocationManager>("setLocationManager:"),
        method<&Provider::currentLocation>("currentLocation"),
        method<&Provider::setCurrentLocation>("setCurrentLocation:"),
        method<&Provider::currentPlacemark>("currentPlacemark"),
        method<&Provider::setCurrentPlacemark>("setCurrentPlacemark:"),
        method<&Provider::currentLocaleName>("currentLocaleName"),
        method<&Provider::currentLandmarkName>("currentLandmarkName"),
        method<&Provider::locationManagerDidChangeAuthorizationStatus>("locationManager:didChangeAuthorizationStatus:"),
        method<&Provider::locationManagerDidFailWithError>("locationManager:didFailWithError:"),
        method<&Provider::locationManagerDidUpdateLocations>("locationManager:didUpdateLocations:"),
        method<&Provider::_resetFailureConditions>("_resetFailureConditions"),
        method<&Provider::_failedGeocoding>("_failedGeocoding"),
        method<&Provider::_resetForSignificantTimeChange>("_resetForSignificantTimeChange"),
        method<&Provider::_pauseForApplicationResigningActive>("_pauseForApplicationResigningActive"),
        method<&Provider::_resumeForApplicationBecomingActive>("_resumeForApplicationBecomingActive"));
    static constexpr auto classMethods = methodTable(initialiser<Provider>("init"),
        classMethod<&Provider::fetchLandmarkName>("fetchLandmarkNameForLocation:completion:"),
        classMethod<&Provider::_mostDetailedNameFromPlacemarks>("_mostDetailedNameFromPlacemarks:"));
    static const ClassInfo info { "Velmora.QVLocationProvider", &NSObject::staticClass(), methods, classMethods };
    return info;
}

void QVLocationProvider::didConstruct()
{
    NSObject::didConstruct();
    auto& centre = NSNotificationCenter::defaultCenter();
    const auto self = weak_from_this();
    centre.addObserver(self, "_resetForSignificantTimeChange", UIApplicationSignificantTimeChangeNotification, nullptr);
    centre.addObserver(self, "_pauseForApplicationResigningActive", UIApplicationWillResignActiveNotification, nullptr);
    centre.addObserver(self, "_resumeForApplicationBecomingActive", UIApplicationDidBecomeActiveNotification, nullptr);
}

void QVLocationProvider::start()
{
    DispatchQueue::main().async([self = sharedFromThis(*this)] { self->startOnMain(); });
}

void QVLocationProvider::stop()
{
    DispatchQueue::main().async([self = sharedFromThis(*this)] { self->stopOnMain(); });
}

void QVLocationProvider::startOnMain()
{
    if (!locationManager()) {
        const auto manager = make<CLLocationManager>();
        manager->setDelegate(weakFromThis(*this));
        setLocationManager(manager);
    }
    _resetFailureConditions();
    locationTrackingIsActive_ = true;

    // Also when access is denied: the manager's failure then stops the provider.
    if (CLLocationManager::authorizationStatus() != kCLAuthorizationStatusNotDetermined) {
        locationManager()->startUpdatingLocation();
        return;
    }
    if (!NSBundle::mainBundle()->objectForInfoDictionaryKey(usageDescriptionKey))
        NSLog("[QVLocationProvider] Missing %@ key in Info.plist - location manager won't work.", usageDescriptionKey);
    locationManager()->requestWhenInUseAuthorization();
}

void QVLocationProvider::stopOnMain()
{
    locationTrackingIsActive_ = false;
    if (const auto manager = locationManager())
        manager->stopUpdatingLocation();
}

void QVLocationProvider::setLocationManager(std::shared_ptr<CLLocationManager> manager)
{
    locationManager_.set(std::move(manager));
}

void QVLocationProvider::setCurrentLocation(std::shared_ptr<CLLocation> location)
{
    const ChangeOfValue change(*this, "currentLocation");
    currentLocation_.set(std::move(location));
}

void QVLocationProvider::setCurrentPlacemark(std::shared_ptr<CLPlacemark> placemark)
{
    const ChangeOfValue change(*this, "currentPlacemark");
    currentPlacemark_.set(std::move(placemark));
}

std::optional<std::string> QVLocationProvider::currentLocaleName() const
{
    const auto placemark = currentPlacemark();
    return placemark ? placemark->locality() : std::nullopt;
}

std::optional<std::string> QVLocationProvider::currentLandmarkName() const
{
    const auto placemark = currentPlacemark();
    if (!placemark)
        return std::nullopt;
    return unbox<std::optional<std::string>>(
        classInfo().performSelector("_mostDetailedNameFromPlacemarks:", Placemarks({ placemark })));
}

void QVLocationProvider::fetchLandmarkNameForLocation(
    const std::shared_ptr<CLLocation>& location, LandmarkNameCompletion completion)
{
    fetchLandmarkName(staticClass(), location, std::move(completion));
}

void QVLocationProvider::fetchLandmarkName(
    const ClassInfo& receiver, const std::shared_ptr<CLLocation>& location, LandmarkNameCompletion completion)
{
    make<CLGeocoder>()->reverseGeocodeLocation(location,
        [&receiver, location, completion = std::move(completion)](
            const Placemarks& placemarks, const std::optional<NSError>& error) {
            if (error)
                NSLog("[QVLocationProvider] Unable to geocode location %@ (%@)", location, error);
            const Value name = receiver.performSelector("_mostDetailedNameFromPlacemarks:", placemarks);
            if (completion)
                completion(unbox<std::optional<std::string>>(name));
        });
}

std::optional<std::string> QVLocationProvider::_mostDetailedNameFromPlacemarks(const Placemarks& placemarks)
{
    if (!placemarks || placemarks->empty())
        return std::nullopt;

    const auto withAreas = std::find_if(placemarks->begin(), placemarks->end(),
        [](const auto& placemark) { return placemark->areasOfInterest() && !placemark->areasOfInterest()->empty(); });
    if (withAreas != placemarks->end()) // the only one that is asked, even when its first entry is nil
        if (const auto& area = (*withAreas)->areasOfInterest()->front())
            return area;

    const auto& first = placemarks->front();
    if (const auto part = first->subLocality())
        return part;
    if (const auto town = first->locality())
        return town;
    return first->administrativeArea();
}

void QVLocationProvider::locationManagerDidChangeAuthorizationStatus(CLLocationManager&, CLAuthorizationStatus status)
{
    if (status == kCLAuthorizationStatusNotDetermined)
        return;
    if (status != kCLAuthorizationStatusAuthorizedWhenInUse || !locationTrackingIsActive_) {
        stop(); // always-on access too: only access while the application is in use keeps tracking alive
        return;
    }
    if (const auto manager = locationManager())
        manager->startUpdatingLocation();
}

void QVLocationProvider::locationManagerDidFailWithError(CLLocationManager&, const NSError& error)
{
    if (error.code() == kCLErrorDenied) { // whatever its domain
        NSLog("[QVLocationProvider] Stopping. User denied location access.");
        stop();
        return;
    }
    NSLog("[QVLocationProvider] Failed to get location: %@", error);
    if (locationFailures_++ >= toleratedLocationFailures)
        stop();
}

void QVLocationProvider::locationManagerDidUpdateLocations(
    CLLocationManager&, const std::vector<std::shared_ptr<CLLocation>>& locations)
{
    const auto location = locations.empty() ? nullptr : locations.back();
    if (!location)
        return;
    const auto previous = currentLocation();
    setCurrentLocation(location);

    // From update to update, so that a slow drift is not looked up again; a distance that is no number counts as far.
    const bool near = previous && location->distanceFromLocation(previous) <= farAway;
    if (!pausedGeocoding_ || !near)
        geocode(location);
}

void QVLocationProvider::geocode(const std::shared_ptr<CLLocation>& location)
{
    make<CLGeocoder>()->reverseGeocodeLocation(
        location, [self = sharedFromThis(*this)](const Placemarks& placemarks, const std::optional<NSError>& error) {
            if (error)
                self->_failedGeocoding();
            else
                self->geocoded(placemarks);
        });
    pausedGeocoding_ = true; // after the request
}

void QVLocationProvider::geocoded(const Placemarks& placemarks)
{
    const auto placemark = placemarks && !placemarks->empty() ? placemarks->back() : nullptr;
    const auto current = currentPlacemark();
    if (current && current->isEqual(placemark.get()))
        return;
    setCurrentPlacemark(placemark);
    NSNotificationCenter::defaultCenter().postNotificationName(
        kQVLocationProviderCurrentPlacemarkDidUpdateNotification, placemark);
}

void QVLocationProvider::_resetFailureConditions()
{
    pausedGeocoding_ = false;
    locationFailures_ = 0;
    geocodingFailures_ = 0;
}

void QVLocationProvider::_failedGeocoding()
{
    if (geocodingFailures_++ <= lastRetriedGeocodingFailure)
        pausedGeocoding_ = false;
}

void QVLocationProvider::_resetForSignificantTimeChange()
{
    _resetFailureConditions();
    setCurrentLocation(nullptr);
    setCurrentPlacemark(nullptr);
}

void QVLocationProvider::_pauseForApplicationResigningActive()
{
    if (!locationTrackingIsActive_)
        return;
    pausedForApplicationResigningActive_ = true;
    if (const auto manager = locationManager())
        manager->stopUpdatingLocation();
}

void QVLocationProvider::_resumeForApplicationBecomingActive()
{
    if (!locationTrackingIsActive_ || !pausedForApplicationResigningActive_)
        return;
    pausedForApplicationResigningActive_ = false;
    if (const auto manager = locationManager())
        manager->startUpdatingLocation();
}

}
