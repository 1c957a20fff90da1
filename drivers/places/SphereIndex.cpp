// SPDX-License-Identifier: Apache-2.0
#include "drivers/places/SphereIndex.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace velmora::drivers::places {

namespace {

constexpr double earthRadius = 6371.0; // kilometres
constexpr double radian = std::numbers::pi / 180;

int next(int axis)
{
    return axis == 2 ? 0 : axis + 1;
}

}

struct SphereIndex::Search {
    Vector centre;
    double chord;
    const std::function<void(std::uint32_t, double)>& found;
};

SphereIndex::SphereIndex(const std::vector<CLLocationCoordinate2D>& points)
{
    nodes_.reserve(points.size());
    for (const auto& point : points)
        nodes_.push_back({ unitVector(point), static_cast<std::uint32_t>(nodes_.size()) });
    arrange(0, nodes_.size(), 0);
}

SphereIndex::Vector SphereIndex::unitVector(const CLLocationCoordinate2D& point)
{
    const double latitude = point.latitude * radian, longitude = point.longitude * radian;
    return { std::cos(latitude) * std::cos(longitude), std::cos(latitude) * std::sin(longitude), std::sin(latitude) };
}

void SphereIndex::arrange(std::size_t begin, std::size_t end, int axis)
{
    if (end - begin < 2)
        return;
    const std::size_t middle = begin + (end - begin) / 2;
    const auto at = [this](std::size_t i) { return nodes_.begin() + static_cast<std::ptrdiff_t>(i); };
    std::nth_element(at(begin), at(middle), at(end), [axis](const Node& a, const Node& b) {
        return a.direction.at(static_cast<std::size_t>(axis)) < b.direction.at(static_cast<std::size_t>(axis));
    });
    arrange(begin, middle, next(axis));
    arrange(middle + 1, end, next(axis));
}

void SphereIndex::visitWithin(double kilometres, const CLLocationCoordinate2D& centre,
    const std::function<void(std::uint32_t, double)>& found) const
{
    const double chord = 2 * std::sin(std::min(kilometres / earthRadius, std::numbers::pi) / 2);
    visit(0, nodes_.size(), 0, { unitVector(centre), chord, found });
}

void SphereIndex::visit(std::size_t begin, std::size_t end, int axis, const Search& search) const
{
    if (begin >= end)
        return;
    const std::size_t middle = begin + (end - begin) / 2;
    const auto& [direction, number] = nodes_[middle];
    const auto& centre = search.centre;
    const double chord = std::hypot(direction[0] - centre[0], direction[1] - centre[1], direction[2] - centre[2]);
    if (chord <= search.chord)
        search.found(number, 2 * earthRadius * std::asin(std::min(chord / 2, 1.0)));

    const double side = centre.at(static_cast<std::size_t>(axis)) - direction.at(static_cast<std::size_t>(axis));
    if (side <= search.chord)
        visit(begin, middle, next(axis), search);
    if (side >= -search.chord)
        visit(middle + 1, end, next(axis), search);
}

}
