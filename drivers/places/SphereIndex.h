// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreLocation/CLLocation.h"

#include <array>
#include <cstdint>
#include <functional>
#include <vector>

namespace velmora::drivers::places {

/// Finds points on the globe near another one: a k-d tree of unit vectors, which know no date line and no poles.
class SphereIndex {
public:
    explicit SphereIndex(const std::vector<CLLocationCoordinate2D>& points);

    /// Calls `visit` for each point within `kilometres`, in no order, with its number and its distance along the
    /// sphere.
    void visitWithin(double kilometres, const CLLocationCoordinate2D& centre,
        const std::function<void(std::uint32_t number, double kilometres)>& visit) const;

private:
    using Vector = std::array<double, 3>;
    struct Node {
        Vector direction;
        std::uint32_t number;
    };
    struct Search;

    static Vector unitVector(const CLLocationCoordinate2D& point);
    void arrange(std::size_t begin, std::size_t end, int axis);
    void visit(std::size_t begin, std::size_t end, int axis, const Search& search) const;

    std::vector<Node> nodes_; // the middle of each range divides it along its axis
};

}
