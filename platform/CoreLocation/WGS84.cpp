// SPDX-License-Identifier: Apache-2.0
#include "platform/CoreLocation/WGS84.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <optional>

namespace velmora {

namespace {

constexpr double equatorialRadius = 6378137; // metres
constexpr double flattening = 1 / 298.257223563;
constexpr double polarRadius = equatorialRadius * (1 - flattening);
constexpr double radian = std::numbers::pi / 180;

/// Radians; the reduced latitude is the one on the sphere around the ellipsoid.
struct Point {
    double reducedLatitude = 0, longitude = 0;
};

double reduced(double latitude)
{
    return std::atan((1 - flattening) * std::tan(latitude));
}

double normalised(double longitude)
{
    return std::remainder(longitude, 2 * std::numbers::pi);
}

/// The arc between two points on the auxiliary sphere, for a difference of longitude there.
struct Arc {
    double sine = 0, cosine = 1, angle = 0;
    double sineOfAzimuth = 0, squaredCosineOfAzimuth = 1; // where the path crosses the equator
    double cosineOfMiddle = 0; // of twice the angle from the equator to the path's middle

    Arc(const Point& a, const Point& b, double longitude)
    {
        const double sinA = std::sin(a.reducedLatitude), cosA = std::cos(a.reducedLatitude);
        const double sinB = std::sin(b.reducedLatitude), cosB = std::cos(b.reducedLatitude);
        sine = std::hypot(cosB * std::sin(longitude), cosA * sinB - sinA * cosB * std::cos(longitude));
        cosine = sinA * sinB + cosA * cosB * std::cos(longitude);
        angle = std::atan2(sine, cosine);
        sineOfAzimuth = sine == 0 ? 0 : cosA * cosB * std::sin(longitude) / sine;
        squaredCosineOfAzimuth = 1 - sineOfAzimuth * sineOfAzimuth;
        // A path along the equator has no point nearest to a pole; any value serves, its factor is zero.
        cosineOfMiddle = squaredCosineOfAzimuth < 1e-15 ? 0 : cosine - 2 * sinA * sinB / squaredCosineOfAzimuth;
    }

    /// What Vincenty's inverse formula adds to the difference of longitude on the ellipsoid.
    double longitudeCorrection() const
    {
        const double c = flattening / 16 * squaredCosineOfAzimuth * (4 + flattening * (4 - 3 * squaredCosineOfAzimuth));
        const double middle = 2 * cosineOfMiddle * cosineOfMiddle - 1;
        return (1 - c) * flattening * sineOfAzimuth * (angle + c * sine * (cosineOfMiddle + c * cosine * middle));
    }

    double length() const
    {
        const double u
            = squaredCosineOfAzimuth * (equatorialRadius * equatorialRadius / (polarRadius * polarRadius) - 1);
        const double a = 1 + u / 16384 * (4096 + u * (-768 + u * (320 - 175 * u)));
        const double b = u / 1024 * (256 + u * (-128 + u * (74 - 47 * u)));
        const double m = cosineOfMiddle;
        const double correction
            = b * sine * (m + b / 4 * (cosine * (2 * m * m - 1) - b / 6 * m * (4 * sine * sine - 3) * (4 * m * m - 3)));
        return polarRadius * a * (angle - correction);
    }
};

/// Vincenty's inverse formula; nothing for points that lie so nearly opposite that it does not settle.
std::optional<double> settledDistance(const Point& a, const Point& b)
{
    const double difference = normalised(b.longitude - a.longitude);
    double longitude = difference;
    for (int i = 0; i < 100; ++i) {
        const Arc arc(a, b, longitude);
        const double next = difference + arc.longitudeCorrection();
        if (std::abs(next) > std::numbers::pi)
            return std::nullopt;
        if (std::abs(next - longitude) < 1e-13)
            return Arc(a, b, next).length();
        longitude = next;
    }
    return std::nullopt;
}

/// A point a quarter of the way around the globe from `start`, in the direction `azimuth`.
Point quarterAway(const Point& start, double azimuth)
{
    const double sinLatitude = std::cos(start.reducedLatitude) * std::cos(azimuth);
    const double longitude
        = std::atan2(std::sin(azimuth), -std::sin(start.reducedLatitude) * std::cos(azimuth)) + start.longitude;
    return { std::asin(std::clamp(sinLatitude, -1.0, 1.0)), normalised(longitude) };
}

/// Every path to the far side crosses the ring a quarter of the way around. Both halves settle, so the shortest of
/// all detours over the ring is the distance.
double distanceToTheFarSide(const Point& a, const Point& b)
{
    const auto detour = [&](double azimuth) {
        const Point middle = quarterAway(a, azimuth);
        const auto first = settledDistance(a, middle), second = settledDistance(middle, b);
        return first && second ? *first + *second : std::numeric_limits<double>::infinity();
    };

    constexpr int directions = 72;
    constexpr double step = 2 * std::numbers::pi / directions;
    double best = 0;
    for (int i = 1; i < directions; ++i)
        if (detour(i * step) < detour(best))
            best = i * step;

    double low = best - step, high = best + step;
    while (high - low > 1e-9) {
        const double third = (high - low) / 3;
        if (detour(low + third) < detour(high - third))
            high -= third;
        else
            low += third;
    }
    return detour((low + high) / 2);
}

}

double distanceOnWGS84(const CLLocationCoordinate2D& from, const CLLocationCoordinate2D& to)
{
    if (!std::isfinite(from.latitude) || !std::isfinite(from.longitude) || !std::isfinite(to.latitude)
        || !std::isfinite(to.longitude))
        return std::numeric_limits<double>::quiet_NaN();

    const Point a { reduced(from.latitude * radian), from.longitude * radian };
    const Point b { reduced(to.latitude * radian), to.longitude * radian };
    if (const auto distance = settledDistance(a, b))
        return *distance;
    return distanceToTheFarSide(a, b);
}

}
