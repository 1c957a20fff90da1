// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/CameraPicture.h"
#include "platform/CoreMedia/CMTime.h"

#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

namespace velmora::drivers::cameras {

/// Frames a second.
struct Rate {
    std::uint32_t num = 30, denom = 1;
    double value() const { return denom == 0 ? 0 : static_cast<double>(num) / denom; }
    bool operator==(const Rate&) const = default;
};

/// One layout and one size in which a camera gives pictures.
struct Offer {
    CameraLayout layout = CameraLayout::NV12;
    CMVideoDimensions size;
    std::vector<Rate> rates; ///< in the camera's order, its default first
    std::optional<std::pair<Rate, Rate>> between; ///< any rate between these two
    int bits = 8; ///< of a Bayer layout
    std::uint32_t code = 0; ///< of the layout, where a family has several names for one

    bool operator==(const Offer&) const = default;
};

/// What was negotiated in the end.
struct Negotiated {
    CameraLayout layout = CameraLayout::NV12;
    CMVideoDimensions size;
    Rate rate;
    bool videoRange = false;
    int bits = 8;
};

/// The rate that comes nearest among those of an offer.
VELMORA_EXPORT Rate nearestRate(const Offer& offer, double wanted);
/// How far that is off, frames a second.
VELMORA_EXPORT double distance(const Offer& offer, double wanted);
/// The offer of this size whose rate comes nearest to `wanted`, and of those the one that costs least to turn into
/// '420f'; Bayer ones only when there are no others. Null when there is none of this size.
VELMORA_EXPORT const Offer* bestOffer(const std::vector<Offer>& offers, CMVideoDimensions size, double wanted);

/// Whether a picture of this size can exist.
VELMORA_EXPORT bool isPicture(CMVideoDimensions size);
/// Of a range of sizes, those that people use, and the largest; `usual` first.
VELMORA_EXPORT std::vector<CMVideoDimensions> sizesBetween(
    CMVideoDimensions usual, CMVideoDimensions least, CMVideoDimensions most);

}
