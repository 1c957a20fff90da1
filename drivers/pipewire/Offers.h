// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "drivers/CameraOffers.h"
#include "drivers/KnownPhones.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

struct spa_pod;

namespace velmora::drivers::pipewire {

using cameras::Negotiated;
using cameras::Offer;
using cameras::Properties;
using cameras::Rate;

/// What one enumerated format of a node offers; nothing that we cannot read. A Bayer format says nothing of its order:
/// the node's property "velmora.bayer" does ("RGGB", "BGGR10" ...), 8-bit BGGR without it.
std::vector<Offer> offersIn(const spa_pod* format, const Properties& properties);

/// What was negotiated in the end; nothing for a format that we cannot read. `videoRange` is as the format says, else
/// as such cameras are: a packed layout comes from a USB camera, which has the video range, the others from an image
/// processor, which has the full one.
std::optional<Negotiated> negotiatedIn(const spa_pod* format, const Properties& properties);

/// The ids of a layout in a format: subtype, and video format where the subtype is raw.
struct FormatIds {
    std::uint32_t subtype = 0, video = 0;
};
FormatIds idsOf(CameraLayout layout);
/// Video formats of the raw subtype that we can read, the cheapest first.
std::vector<std::uint32_t> rawFormats();

}
