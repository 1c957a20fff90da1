// SPDX-License-Identifier: Apache-2.0
#include "platform/CoreLocation/CLLocation.h"

#include "platform/CoreLocation/WGS84.h"
#include "platform/Foundation/Clock.h"
#include "platform/Foundation/NSDate.h"

#include <array>
#include <cstdio>
#include <limits>

namespace velmora {

namespace {

/// Other writers of archives may store a whole number of degrees as an integer.
std::optional<double> number(const NSCoder& coder, std::string_view key)
{
    const ArchiveValue value = coder.decodeObjectForKey(key);
    if (const auto* real = std::get_if<double>(&value))
        return *real;
    if (const auto* whole = std::get_if<std::int64_t>(&value))
        return static_cast<double>(*whole);
    return std::nullopt;
}

}

CLLocation::CLLocation(double latitude, double longitude)
    : reading_ { .coordinate = { latitude, longitude }, .timestamp = CFAbsoluteTimeGetCurrent() }
{
}

CLLocation::CLLocation(const Reading& reading)
    : reading_(reading)
{
}

const ClassInfo& CLLocation::staticClass()
{
    static constexpr auto methods = methodTable(method<&CLLocation::coordinate>("coordinate"),
        method<&CLLocation::altitude>("altitude"), method<&CLLocation::horizontalAccuracy>("horizontalAccuracy"),
        method<&CLLocation::verticalAccuracy>("verticalAccuracy"), method<&CLLocation::course>("course"),
        method<&CLLocation::speed>("speed"), method<&CLLocation::timestamp>("timestamp"),
        method<&CLLocation::distanceFromLocation>("distanceFromLocation:"),
        method<&CLLocation::encodeWithCoder>("encodeWithCoder:"));
    static constexpr auto classMethods
        = methodTable(initialiser<CLLocation, double, double>("initWithLatitude:longitude:"),
            classMethod<&CLLocation::initWithCoder>("initWithCoder:"));
    static const ClassInfo info { "Velmora.CLLocation", &NSObject::staticClass(), methods, classMethods };
    return info;
}

std::shared_ptr<CLLocation> CLLocation::initWithCoder(const NSCoder& coder)
{
    const auto latitude = number(coder, "latitude"), longitude = number(coder, "longitude");
    if (!latitude || !longitude)
        return nullptr;

    Reading reading;
    reading.coordinate = { *latitude, *longitude };
    reading.altitude = number(coder, "altitude").value_or(reading.altitude);
    reading.horizontalAccuracy = number(coder, "horizontalAccuracy").value_or(reading.horizontalAccuracy);
    reading.verticalAccuracy = number(coder, "verticalAccuracy").value_or(reading.verticalAccuracy);
    reading.course = number(coder, "course").value_or(reading.course);
    reading.speed = number(coder, "speed").value_or(reading.speed);
    reading.timestamp = number(coder, "timestamp").value_or(reading.timestamp);
    return make<CLLocation>(reading);
}

double CLLocation::distanceFromLocation(const std::shared_ptr<CLLocation>& other) const
{
    if (!other)
        return std::numeric_limits<double>::quiet_NaN();
    return distanceOnWGS84(coordinate(), other->coordinate());
}

void CLLocation::encodeWithCoder(NSCoder& coder) const
{
    coder.encodeObject(ArchiveValue(reading_.coordinate.latitude), "latitude");
    coder.encodeObject(ArchiveValue(reading_.coordinate.longitude), "longitude");
    coder.encodeObject(ArchiveValue(reading_.altitude), "altitude");
    coder.encodeObject(ArchiveValue(reading_.horizontalAccuracy), "horizontalAccuracy");
    coder.encodeObject(ArchiveValue(reading_.verticalAccuracy), "verticalAccuracy");
    coder.encodeObject(ArchiveValue(reading_.course), "course");
    coder.encodeObject(ArchiveValue(reading_.speed), "speed");
    coder.encodeObject(ArchiveValue(reading_.timestamp), "timestamp");
}

bool CLLocation::isEqual(const NSObject* other) const
{
    if (this == other)
        return true;
    const auto* location = dynamic_cast<const CLLocation*>(other);
    if (!location)
        return false;
    const Reading &a = reading_, &b = location->reading_;
    return a.coordinate.latitude == b.coordinate.latitude && a.coordinate.longitude == b.coordinate.longitude
        && a.altitude == b.altitude && a.horizontalAccuracy == b.horizontalAccuracy
        && a.verticalAccuracy == b.verticalAccuracy && a.course == b.course && a.speed == b.speed
        && a.timestamp == b.timestamp;
}

std::string CLLocation::description() const
{
    std::array<char, 160> text {};
    std::snprintf(text.data(), text.size(), "<%+.8f,%+.8f> +/- %.2fm (speed %.2f mps / course %.2f) @ ",
        reading_.coordinate.latitude, reading_.coordinate.longitude, reading_.horizontalAccuracy, reading_.speed,
        reading_.course);
    return text.data() + NSDate(reading_.timestamp).description();
}

}
