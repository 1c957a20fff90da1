// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/NSCoder.h"

#include <memory>
#include <string>

namespace velmora {

/// Degrees: latitude -90 to 90, negative is south; longitude -180 to 180, negative is west.
struct CLLocationCoordinate2D {
    double latitude = 0, longitude = 0;
};

/// A place on the globe and what is known of the measurement. Does not change.
class VELMORA_EXPORT CLLocation : public NSObject, public NSCoding {
public:
    /// Everything that a receiver may know; negative accuracies, course and speed mean "not known".
    struct Reading {
        CLLocationCoordinate2D coordinate;
        double altitude = 0; ///< metres above the sea; known when verticalAccuracy is not negative
        double horizontalAccuracy = 0, verticalAccuracy = -1; ///< metres
        double course = -1; ///< degrees clockwise from true north, 0 to 360
        double speed = -1; ///< metres a second
        double timestamp = 0; ///< seconds since the reference date
    };

    CLLocation(double latitude, double longitude);
    explicit CLLocation(const Reading& reading);
    static std::shared_ptr<CLLocation> initWithCoder(const NSCoder& coder); ///< Nil without coordinates.
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    CLLocationCoordinate2D coordinate() const { return reading_.coordinate; }
    double altitude() const { return reading_.altitude; }
    double horizontalAccuracy() const { return reading_.horizontalAccuracy; }
    double verticalAccuracy() const { return reading_.verticalAccuracy; }
    double course() const { return reading_.course; }
    double speed() const { return reading_.speed; }
    double timestamp() const { return reading_.timestamp; }

    /// Metres along the WGS 84 ellipsoid; not a number when a coordinate is none, or when `other` is null.
    double distanceFromLocation(const std::shared_ptr<CLLocation>& other) const;

    void encodeWithCoder(NSCoder& coder) const override;
    bool isEqual(const NSObject* other) const override; ///< by all that was read
    std::string description() const override; ///< "<+48.85840000,+2.29450000> +/- 5.00m ..."

private:
    Reading reading_;
};

}
