// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreLocation/LocationDriver.h"
#include "platform/Foundation/NSObject.h"

#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace velmora {

class CLLocationManager;

enum CLAuthorizationStatus : std::int32_t {
    kCLAuthorizationStatusNotDetermined = 0,
    kCLAuthorizationStatusRestricted = 1,
    kCLAuthorizationStatusDenied = 2,
    kCLAuthorizationStatusAuthorizedAlways = 3,
    kCLAuthorizationStatusAuthorizedWhenInUse = 4,
};

inline constexpr const char* kCLErrorDomain = "kCLErrorDomain";
inline constexpr std::int64_t kCLErrorLocationUnknown = 0;
inline constexpr std::int64_t kCLErrorDenied = 1;
inline constexpr std::int64_t kCLErrorGeocodeFoundNoResult = 8;

/// Hears of positions. Called on the main queue.
class VELMORA_EXPORT CLLocationManagerDelegate {
public:
    virtual ~CLLocationManagerDelegate() = default;
    virtual void locationManagerDidChangeAuthorizationStatus(CLLocationManager&, CLAuthorizationStatus) { }
    virtual void locationManagerDidFailWithError(CLLocationManager&, const NSError&) { }
    virtual void locationManagerDidUpdateLocations(CLLocationManager&, const std::vector<std::shared_ptr<CLLocation>>&)
    {
    }
};

/// Tells where the device is, by the installed location driver. Main thread only.
class VELMORA_EXPORT CLLocationManager : public NSObject {
public:
    CLLocationManager();
    ~CLLocationManager() override;
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    /// Not determined without a driver.
    static CLAuthorizationStatus authorizationStatus();

    std::shared_ptr<CLLocationManagerDelegate> delegate() const;
    /// Held weakly. The manager announces its authorisation once after its creation, on the main queue. From any
    /// thread, for a delegate may go on any.
    void setDelegate(const std::weak_ptr<CLLocationManagerDelegate>& delegate);

    /// Harmless when it is updating. While access is denied or restricted the delegate hears a failure with code 1, and
    /// without a driver one with code 0; nothing is updated then.
    void startUpdatingLocation();
    void stopUpdatingLocation();
    void requestWhenInUseAuthorization();

protected:
    void didConstruct() override;

private:
    void tellDelegate(std::function<void(CLLocationManager&, CLLocationManagerDelegate&)> tell);

    std::shared_ptr<LocationDriver> driver_;
    mutable std::mutex delegateMutex_;
    std::weak_ptr<CLLocationManagerDelegate> delegate_;
    bool updating_ = false;
    Cancellable events_;
};

}
