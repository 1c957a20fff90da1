// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreLocation/CLLocation.h"
#include "platform/Foundation/Export.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace velmora {

/// What the beginning of a picture or movie tells of it, without decoding it. What is absent or damaged is not known.
struct ImageHeader {
    enum Kind : std::uint8_t { Unknown, JPEG, PNG, TIFF, Movie } kind = Unknown; ///< a DNG is a TIFF
    std::int64_t width = 0, height = 0; ///< pixels, as it is shown; 0: not known
    std::optional<double> date; ///< when it was taken, seconds since the reference date
    std::optional<CLLocationCoordinate2D> place;
    double duration = 0; ///< seconds, of a movie
    /// Where a small JPEG of the picture lies in the file; of size 0: nowhere.
    struct Range {
        std::uint64_t offset = 0, size = 0;
    } thumbnail;
    int orientation = 1; ///< EXIF's, of the file and of its thumbnail
};

/// Of a file that cannot be read, nothing is known.
VELMORA_EXPORT ImageHeader imageHeaderOfFile(const std::string& path);
VELMORA_EXPORT ImageHeader imageHeaderOfData(std::span<const std::uint8_t> data);
/// ".jpg", ".png", ".dng", ".mov", as the first bytes tell; empty for others.
VELMORA_EXPORT std::string fileEndingFor(std::span<const std::uint8_t> data);

}
