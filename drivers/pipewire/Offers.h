// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/CameraPicture.h"
#include "platform/CoreMedia/CMTime.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

struct spa_pod;

namespace velmora::drivers::pipewire {

using Properties = std::map<std::string, std::string>;

/// Frames a second.
struct Rate {
    std::uint32_t num = 30, denom = 1;
    double value() const { return denom == 0 ? 0 : static_cast<double>(num) / denom; }
    bool operator==(const Rate&) const = default;
};

/// One layout and one size in which a node gives pictures.
struct Offer {
    CameraLayout layout = CameraLayout::NV12;
    CMVideoDimensions size;
    std::vector<Rate> rates; ///< in the node's order, its default first
    std::optional<std::pair<Rate, Rate>> between; ///< any rate between these two
    int bits = 8; ///< of a Bayer layout

    bool operator==(const Offer&) const = default;
};

/// What one enumerated format of a node offers; nothing that we cannot read. A Bayer format says nothing of its order:
/// the node's property "velmora.bayer" does ("RGGB", "BGGR10" ...), 8-bit BGGR without it.
std::vector<Offer> offersIn(const spa_pod* format, const Properties& properties);

/// What was negotiated in the end; nothing for a format that we cannot read. `videoRange` is as the format says, else
/// as such cameras are: a packed layout comes from a USB camera, which has the video range, the others from an image
/// processor, which has the full one.
struct Negotiated {
    CameraLayout layout = CameraLayout::NV12;
    CMVideoDimensions size;
    Rate rate;
    bool videoRange = false;
    int bits = 8;
};
std::optional<Negotiated> negotiatedIn(const spa_pod* format, const Properties& properties);

/// The rate that comes nearest among those of an offer.
Rate nearestRate(const Offer& offer, double wanted);
/// How far that is off, frames a second.
double distance(const Offer& offer, double wanted);
/// The offer of this size whose rate comes nearest to `wanted`, and of those the one that costs least to turn into
/// '420f'; Bayer ones only when there are no others. Null when there is none of this size.
const Offer* bestOffer(const std::vector<Offer>& offers, CMVideoDimensions size, double wanted);

/// The ids of a layout in a format: subtype, and video format where the subtype is raw.
struct FormatIds {
    std::uint32_t subtype = 0, video = 0;
};
FormatIds idsOf(CameraLayout layout);
/// Video formats of the raw subtype that we can read, the cheapest first.
std::vector<std::uint32_t> rawFormats();

}
