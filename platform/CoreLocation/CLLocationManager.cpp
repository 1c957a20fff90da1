// SPDX-License-Identifier: Apache-2.0
#include "platform/CoreLocation/CLLocationManager.h"

#include "platform/Foundation/DispatchQueue.h"

#include <utility>

namespace velmora {

CLLocationManager::CLLocationManager()
    : driver_(LocationDriver::installed())
{
}

CLLocationManager::~CLLocationManager()
{
    stopUpdatingLocation();
}

const ClassInfo& CLLocationManager::staticClass()
{
    static constexpr auto methods = methodTable(method<&CLLocationManager::delegate>("delegate"),
        method<&CLLocationManager::setDelegate>("setDelegate:"),
        method<&CLLocationManager::startUpdatingLocation>("startUpdatingLocation"),
        method<&CLLocationManager::stopUpdatingLocation>("stopUpdatingLocation"),
        method<&CLLocationManager::requestWhenInUseAuthorization>("requestWhenInUseAuthorization"));
    static constexpr auto classMethods = methodTable(initialiser<CLLocationManager>("init"),
        classMethod<&CLLocationManager::authorizationStatus>("authorizationStatus"));
    static const ClassInfo info { "Velmora.CLLocationManager", &NSObject::staticClass(), methods, classMethods };
    return info;
}

CLAuthorizationStatus CLLocationManager::authorizationStatus()
{
    const auto driver = LocationDriver::installed();
    return driver ? static_cast<CLAuthorizationStatus>(driver->authorizationStatus())
                  : kCLAuthorizationStatusNotDetermined;
}

std::shared_ptr<CLLocationManagerDelegate> CLLocationManager::delegate() const
{
    const std::lock_guard lock(delegateMutex_);
    return delegate_.lock();
}

void CLLocationManager::setDelegate(const std::weak_ptr<CLLocationManagerDelegate>& delegate)
{
    const std::lock_guard lock(delegateMutex_);
    delegate_ = delegate;
}

void CLLocationManager::tellDelegate(std::function<void(CLLocationManager&, CLLocationManagerDelegate&)> tell)
{
    DispatchQueue::main().async([weak = weakFromThis(*this), tell = std::move(tell)] {
        const auto self = weak.lock();
        if (!self)
            return;
        if (const auto delegate = self->delegate())
            tell(*self, *delegate);
    });
}

void CLLocationManager::didConstruct()
{
    if (!driver_)
        return;

    const auto ifAlive = [weak = weakFromThis(*this)](auto tell) {
        if (const auto self = weak.lock())
            self->tellDelegate(std::move(tell));
    };
    LocationEvents events;
    events.moved = [ifAlive](std::vector<std::shared_ptr<CLLocation>> locations) {
        ifAlive([locations = std::move(locations)](CLLocationManager& manager, CLLocationManagerDelegate& delegate) {
            if (manager.updating_)
                delegate.locationManagerDidUpdateLocations(manager, locations);
        });
    };
    events.failed = [ifAlive](NSError error) {
        ifAlive([error = std::move(error)](CLLocationManager& manager, CLLocationManagerDelegate& delegate) {
            if (manager.updating_)
                delegate.locationManagerDidFailWithError(manager, error);
        });
    };
    events.authorizationChanged = [ifAlive](int status) {
        ifAlive([status](CLLocationManager& manager, CLLocationManagerDelegate& delegate) {
            delegate.locationManagerDidChangeAuthorizationStatus(manager, static_cast<CLAuthorizationStatus>(status));
        });
    };
    events_ = driver_->attach(std::move(events));

    if (driver_->announcesAuthorizationAtCreation())
        tellDelegate([](CLLocationManager& manager, CLLocationManagerDelegate& delegate) {
            delegate.locationManagerDidChangeAuthorizationStatus(
                manager, static_cast<CLAuthorizationStatus>(manager.driver_->authorizationStatus()));
        });
}

void CLLocationManager::startUpdatingLocation()
{
    if (!driver_)
        return tellDelegate([](CLLocationManager& manager, CLLocationManagerDelegate& delegate) {
            delegate.locationManagerDidFailWithError(manager,
                NSError(kCLErrorDomain, kCLErrorLocationUnknown,
                    "The place of the device is not known, because no location driver is installed; install one, or "
                    "call drivers::installDefaults()."));
        });

    const int status = driver_->authorizationStatus();
    if (status == kCLAuthorizationStatusDenied || status == kCLAuthorizationStatusRestricted)
        return tellDelegate([](CLLocationManager& manager, CLLocationManagerDelegate& delegate) {
            delegate.locationManagerDidFailWithError(manager,
                NSError(kCLErrorDomain, kCLErrorDenied,
                    "The place of the device may not be read; the user can allow it in the system's settings."));
        });

    if (std::exchange(updating_, true))
        return;
    driver_->start();
}

void CLLocationManager::stopUpdatingLocation()
{
    if (std::exchange(updating_, false))
        driver_->stop();
}

void CLLocationManager::requestWhenInUseAuthorization()
{
    if (driver_)
        driver_->requestWhenInUseAuthorization();
}

}
