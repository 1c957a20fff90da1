// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/ArchiveValue.h"

#include <cstdint>
#include <string>
#include <vector>

namespace velmora::drivers::media {

/// A number as EXIF stores it.
struct Fraction {
    std::int64_t numerator = 0, denominator = 1;
    bool operator==(const Fraction&) const = default;
};

/// The simplest fraction that is `value` within the accuracy of a 32-bit float, and fits 31 bits.
Fraction nearestFraction(double value);

enum class ExifDirectory : std::uint8_t { Image, Photo };
/// The numbers of the TIFF field types.
enum class ExifType : std::uint16_t {
    Ascii = 2,
    Short = 3,
    Long = 4,
    Rational = 5,
    Undefined = 7,
    SignedRational = 10
};

/// One tag with its value: `bytes` for texts (without the closing zero) and undefined data, else `numbers`.
struct ExifField {
    ExifDirectory directory = ExifDirectory::Photo;
    std::uint16_t tag = 0;
    ExifType type = ExifType::Short;
    std::string bytes;
    std::vector<Fraction> numbers;
};

/// What a photo's metadata says in EXIF's terms. Orientation and the picture's size are not among the fields.
struct ExifFields {
    std::vector<ExifField> fields; ///< sorted by directory and tag, each once
    std::uint16_t orientation = 1; ///< 1 to 8

    /// Null when there is none.
    const ExifField* find(ExifDirectory directory, std::uint16_t tag) const;
};

/// Reads the groups "{TIFF}" and "{Exif}" and the top-level Orientation. Keys that are no EXIF tags are passed over;
/// throws NSError for a value that does not fit its tag.
ExifFields exifFields(const ArchiveDictionary& metadata);

}
