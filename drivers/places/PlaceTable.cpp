// SPDX-License-Identifier: Apache-2.0
#include "drivers/places/PlaceTable.h"

#include "platform/CoreLocation/CLLocation.h"
#include "platform/Foundation/NSError.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <utility>

namespace velmora::drivers::places {

namespace {

constexpr double townReaches = 50; // kilometres: farther out at sea or in the wild there is no town to name
constexpr double townOfASectionReaches = 100; // kilometres: outer suburbs of the largest cities
constexpr double sectionReaches = 4; // kilometres
constexpr std::int64_t corruptFile = 259; // of NSCocoaErrorDomain
constexpr double leastPopulation = 1000; // of a town whose population is not known

enum PlaceColumn : std::size_t {
    Name = 1,
    Latitude = 4,
    Longitude = 5,
    Feature = 7,
    Country = 8,
    Region = 10,
    Population = 14
};

std::string contentOf(const std::string& path)
{
    std::string content;
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"), &std::fclose);
    if (file) {
        std::array<char, 65536> piece {};
        while (const std::size_t count = std::fread(piece.data(), 1, piece.size(), file.get()))
            content.append(piece.data(), count);
    }
    if (!file || std::ferror(file.get()) != 0) {
        const int why = errno;
        throw NSError(NSPOSIXErrorDomain, why,
            "Places have no names here, because " + path + " cannot be read (" + std::strerror(why)
                + "); install the package libtimezonemap-data.");
    }
    return content;
}

template <class Use> void forEachLine(std::string_view text, Use use)
{
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        use(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

/// The columns up to the last one that a reader wants; fewer when the line is short.
template <std::size_t Count> std::size_t split(std::string_view line, std::array<std::string_view, Count>& columns)
{
    std::size_t found = 0;
    while (found < Count) {
        const std::size_t tab = line.find('\t');
        columns[found++] = line.substr(0, tab);
        if (tab == std::string_view::npos)
            break;
        line.remove_prefix(tab + 1);
    }
    return found;
}

std::optional<double> number(std::string_view text, double limit)
{
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || !(std::abs(value) <= limit))
        return std::nullopt;
    return value;
}

/// Sections belong to a town. The others are no more: abandoned, historical, destroyed.
bool isTown(std::string_view feature)
{
    return feature != "PPLX" && feature != "PPLQ" && feature != "PPLH" && feature != "PPLW";
}

std::optional<std::string> found(const std::unordered_map<std::string, std::string>& names, const std::string& code)
{
    const auto name = names.find(code);
    return name == names.end() ? std::nullopt : std::optional(name->second);
}

}

PlaceTable::PlaceTable(const std::string& folder)
{
    forEachLine(contentOf(folder + "/cities15000.txt"), [this](auto line) { addPlace(line); });
    forEachLine(contentOf(folder + "/admin1Codes.txt"), [this](auto line) { addRegion(line); });
    forEachLine(contentOf(folder + "/countryInfo.txt"), [this](auto line) { addCountry(line); });
    if (towns_.empty())
        throw NSError(NSCocoaErrorDomain, corruptFile,
            "Places have no names here, because " + folder
                + "/cities15000.txt names no town; install the package libtimezonemap-data again.");

    const auto index = [](const std::vector<Place>& places) {
        std::vector<CLLocationCoordinate2D> points;
        points.reserve(places.size());
        for (const auto& place : places)
            points.push_back(place.coordinate);
        return SphereIndex(points);
    };
    townIndex_ = index(towns_);
    sectionIndex_ = index(sections_);
}

void PlaceTable::addPlace(std::string_view line)
{
    std::array<std::string_view, Population + 1> columns;
    if (split(line, columns) <= Population || columns[Name].empty())
        return;
    const auto latitude = number(columns[Latitude], 90), longitude = number(columns[Longitude], 180);
    if (!latitude || !longitude)
        return;
    const bool section = columns[Feature] == "PPLX";
    if (!section && !isTown(columns[Feature]))
        return;

    const double population = number(columns[Population], std::numeric_limits<double>::max()).value_or(0);
    (section ? sections_ : towns_)
        .push_back({ std::string(columns[Name]), std::string(columns[Country]), std::string(columns[Region]),
            { *latitude, *longitude }, std::pow(std::max(population, leastPopulation), 0.25) });
}

void PlaceTable::addRegion(std::string_view line)
{
    std::array<std::string_view, 2> columns;
    if (split(line, columns) == 2 && !columns[1].empty())
        regions_.emplace(columns[0], columns[1]);
}

void PlaceTable::addCountry(std::string_view line)
{
    std::array<std::string_view, 5> columns;
    if (!line.starts_with('#') && split(line, columns) == 5 && !columns[4].empty())
        countries_.emplace(columns[0], columns[4]);
}

const PlaceTable::Place* PlaceTable::section(const CLLocationCoordinate2D& point) const
{
    const Place* nearest = nullptr;
    double shortest = std::numeric_limits<double>::infinity();
    sectionIndex_->visitWithin(sectionReaches, point, [&](std::uint32_t number, double kilometres) {
        if (kilometres < shortest)
            nearest = &sections_[number];
        shortest = std::min(shortest, kilometres);
    });
    return nearest;
}

const PlaceTable::Place* PlaceTable::town(const CLLocationCoordinate2D& point, double withinKilometres) const
{
    const Place* best = nullptr;
    double least = std::numeric_limits<double>::infinity();
    // A large city is large: it counts as nearer than the village at its edge.
    townIndex_->visitWithin(withinKilometres, point, [&](std::uint32_t number, double kilometres) {
        const double remoteness = kilometres / towns_[number].reach;
        if (remoteness < least)
            best = &towns_[number];
        least = std::min(least, remoteness);
    });
    return best;
}

std::shared_ptr<CLPlacemark> PlaceTable::nearest(const CLLocationCoordinate2D& point) const
{
    const Place* part = section(point);
    const Place* whole = town(point, part ? townOfASectionReaches : townReaches);
    if (!whole)
        return nullptr;
    const bool belongs = part && part->country == whole->country && part->region == whole->region;
    return placemark(*whole, belongs ? part : nullptr);
}

std::shared_ptr<CLPlacemark> PlaceTable::placemark(const Place& town, const Place* section) const
{
    CLPlacemark::Names names;
    const Place& named = section ? *section : town;
    names.name = named.name;
    if (section)
        names.subLocality = section->name;
    names.locality = town.name;
    names.administrativeArea = found(regions_, town.country + "." + town.region);
    names.country = found(countries_, town.country);
    if (!town.country.empty())
        names.isoCountryCode = town.country;
    // The place itself, not the question, and without a time: the same place is an equal place mark each time.
    return make<CLPlacemark>(
        std::move(names), make<CLLocation>(CLLocation::Reading { .coordinate = named.coordinate }));
}

}
