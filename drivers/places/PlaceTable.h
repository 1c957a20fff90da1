// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreLocation/CLPlacemark.h"

#include "drivers/places/SphereIndex.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace velmora::drivers::places {

/// The towns of the world with their regions and countries. Does not change.
class PlaceTable {
public:
    /// Reads cities15000.txt, admin1Codes.txt and countryInfo.txt, as GeoNames writes them, from `folder`. Lines that
    /// are damaged are left out. Throws NSError when a table is missing or names no town at all.
    explicit PlaceTable(const std::string& folder);

    std::size_t size() const { return towns_.size() + sections_.size(); }

    /// The town that a point belongs to, with its part of the town where one is known; null far from all of them.
    std::shared_ptr<CLPlacemark> nearest(const CLLocationCoordinate2D& point) const;

private:
    struct Place {
        std::string name, country, region; ///< ISO code; GeoNames' code of the region
        CLLocationCoordinate2D coordinate;
        double reach = 1; ///< how far a town draws the places around it; a bare number
    };

    void addPlace(std::string_view line);
    void addRegion(std::string_view line);
    void addCountry(std::string_view line);
    const Place* section(const CLLocationCoordinate2D& point) const;
    const Place* town(const CLLocationCoordinate2D& point, double withinKilometres) const;
    std::shared_ptr<CLPlacemark> placemark(const Place& town, const Place* section) const;

    std::vector<Place> towns_, sections_;
    std::unordered_map<std::string, std::string> regions_, countries_;
    std::optional<SphereIndex> townIndex_, sectionIndex_;
};

}
