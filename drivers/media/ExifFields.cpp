// SPDX-License-Identifier: Apache-2.0
#include "drivers/media/ExifFields.h"

#include "drivers/media/MediaErrors.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <tuple>
#include <utility>

namespace velmora::drivers::media {

namespace {

enum class Kind : std::uint8_t {
    Text,
    Moment, // "2026:01:02 03:04:05"
    Offset, // "+01:00"
    Digits, // fractions of a second
    Short,
    Long,
    Positive, // a fraction that is not negative
    Signed,
    Bytes,
    Version, // "0232", or its digits
    Comment, // text behind a character code
};

struct Tag {
    const char* key;
    std::uint16_t number;
    Kind kind;
    std::size_t least = 1, most = 1; // numbers or bytes; texts take any
};

constexpr std::size_t any = std::numeric_limits<std::uint16_t>::max();

constexpr std::array imageTags {
    Tag { "ImageDescription", 0x010E, Kind::Text },
    Tag { "Make", 0x010F, Kind::Text },
    Tag { "Model", 0x0110, Kind::Text },
    Tag { "XResolution", 0x011A, Kind::Positive },
    Tag { "YResolution", 0x011B, Kind::Positive },
    Tag { "ResolutionUnit", 0x0128, Kind::Short },
    Tag { "TransferFunction", 0x012D, Kind::Short, 768, 768 },
    Tag { "Software", 0x0131, Kind::Text },
    Tag { "DateTime", 0x0132, Kind::Moment },
    Tag { "Artist", 0x013B, Kind::Text },
    Tag { "HostComputer", 0x013C, Kind::Text },
    Tag { "WhitePoint", 0x013E, Kind::Positive, 2, 2 },
    Tag { "PrimaryChromaticities", 0x013F, Kind::Positive, 6, 6 },
    Tag { "Copyright", 0x8298, Kind::Text },
};

constexpr std::array photoTags {
    Tag { "ExposureTime", 0x829A, Kind::Positive },
    Tag { "FNumber", 0x829D, Kind::Positive },
    Tag { "ExposureProgram", 0x8822, Kind::Short },
    Tag { "SpectralSensitivity", 0x8824, Kind::Text },
    Tag { "ISOSpeedRatings", 0x8827, Kind::Short, 1, any },
    Tag { "OECF", 0x8828, Kind::Bytes, 1, any },
    Tag { "SensitivityType", 0x8830, Kind::Short },
    Tag { "StandardOutputSensitivity", 0x8831, Kind::Long },
    Tag { "RecommendedExposureIndex", 0x8832, Kind::Long },
    Tag { "ISOSpeed", 0x8833, Kind::Long },
    Tag { "ISOSpeedLatitudeyyy", 0x8834, Kind::Long },
    Tag { "ISOSpeedLatitudezzz", 0x8835, Kind::Long },
    Tag { "ExifVersion", 0x9000, Kind::Version },
    Tag { "DateTimeOriginal", 0x9003, Kind::Moment },
    Tag { "DateTimeDigitized", 0x9004, Kind::Moment },
    Tag { "OffsetTime", 0x9010, Kind::Offset },
    Tag { "OffsetTimeOriginal", 0x9011, Kind::Offset },
    Tag { "OffsetTimeDigitized", 0x9012, Kind::Offset },
    Tag { "ComponentsConfiguration", 0x9101, Kind::Bytes, 4, 4 },
    Tag { "CompressedBitsPerPixel", 0x9102, Kind::Positive },
    Tag { "ShutterSpeedValue", 0x9201, Kind::Signed },
    Tag { "ApertureValue", 0x9202, Kind::Positive },
    Tag { "BrightnessValue", 0x9203, Kind::Signed },
    Tag { "ExposureBiasValue", 0x9204, Kind::Signed },
    Tag { "MaxApertureValue", 0x9205, Kind::Positive },
    Tag { "SubjectDistance", 0x9206, Kind::Positive },
    Tag { "MeteringMode", 0x9207, Kind::Short },
    Tag { "LightSource", 0x9208, Kind::Short },
    Tag { "Flash", 0x9209, Kind::Short },
    Tag { "FocalLength", 0x920A, Kind::Positive },
    Tag { "SubjectArea", 0x9214, Kind::Short, 2, 4 },
    Tag { "MakerNote", 0x927C, Kind::Bytes, 1, any },
    Tag { "UserComment", 0x9286, Kind::Comment },
    Tag { "SubsecTime", 0x9290, Kind::Digits },
    Tag { "SubsecTimeOriginal", 0x9291, Kind::Digits },
    Tag { "SubsecTimeDigitized", 0x9292, Kind::Digits },
    Tag { "FlashPixVersion", 0xA000, Kind::Version },
    Tag { "ColorSpace", 0xA001, Kind::Short },
    Tag { "RelatedSoundFile", 0xA004, Kind::Text },
    Tag { "FlashEnergy", 0xA20B, Kind::Positive },
    Tag { "SpatialFrequencyResponse", 0xA20C, Kind::Bytes, 1, any },
    Tag { "FocalPlaneXResolution", 0xA20E, Kind::Positive },
    Tag { "FocalPlaneYResolution", 0xA20F, Kind::Positive },
    Tag { "FocalPlaneResolutionUnit", 0xA210, Kind::Short },
    Tag { "SubjectLocation", 0xA214, Kind::Short, 2, 2 },
    Tag { "ExposureIndex", 0xA215, Kind::Positive },
    Tag { "SensingMethod", 0xA217, Kind::Short },
    Tag { "FileSource", 0xA300, Kind::Bytes },
    Tag { "SceneType", 0xA301, Kind::Bytes },
    Tag { "CFAPattern", 0xA302, Kind::Bytes, 1, any },
    Tag { "CustomRendered", 0xA401, Kind::Short },
    Tag { "ExposureMode", 0xA402, Kind::Short },
    Tag { "WhiteBalance", 0xA403, Kind::Short },
    Tag { "DigitalZoomRatio", 0xA404, Kind::Positive },
    Tag { "FocalLenIn35mmFilm", 0xA405, Kind::Short },
    Tag { "SceneCaptureType", 0xA406, Kind::Short },
    Tag { "GainControl", 0xA407, Kind::Short },
    Tag { "Contrast", 0xA408, Kind::Short },
    Tag { "Saturation", 0xA409, Kind::Short },
    Tag { "Sharpness", 0xA40A, Kind::Short },
    Tag { "DeviceSettingDescription", 0xA40B, Kind::Bytes, 1, any },
    Tag { "SubjectDistRange", 0xA40C, Kind::Short },
    Tag { "ImageUniqueID", 0xA420, Kind::Text },
    Tag { "CameraOwnerName", 0xA430, Kind::Text },
    Tag { "BodySerialNumber", 0xA431, Kind::Text },
    Tag { "LensSpecification", 0xA432, Kind::Positive, 4, 4 },
    Tag { "LensMake", 0xA433, Kind::Text },
    Tag { "LensModel", 0xA434, Kind::Text },
    Tag { "LensSerialNumber", 0xA435, Kind::Text },
    Tag { "CompositeImage", 0xA460, Kind::Short },
    Tag { "SourceImageNumberOfCompositeImage", 0xA461, Kind::Short, 2, 2 },
    Tag { "SourceExposureTimesOfCompositeImage", 0xA462, Kind::Bytes, 1, any },
    Tag { "Gamma", 0xA500, Kind::Positive },
};

NSError unfit(const Tag& tag, const std::string& wanted)
{
    return cannotWrite("The picture's metadata cannot be written: " + std::string(tag.key) + " must be " + wanted
        + ". Correct the value or leave it out.");
}

/// A `9` in the pattern stands for any digit, a `+` for either sign.
bool matches(const std::string& text, std::string_view pattern)
{
    return std::equal(text.begin(), text.end(), pattern.begin(), pattern.end(), [](char given, char wanted) {
        if (wanted == '9')
            return given >= '0' && given <= '9';
        return wanted == '+' ? given == '+' || given == '-' : given == wanted;
    });
}

std::vector<double> numbersOf(const Tag& tag, const ArchiveValue& value)
{
    std::vector<ArchiveValue> values { value };
    if (const auto* array = std::get_if<std::shared_ptr<NSArray>>(&value); array && *array)
        values = (*array)->values();
    std::vector<double> numbers;
    for (const ArchiveValue& each : values) {
        if (const auto* whole = std::get_if<std::int64_t>(&each))
            numbers.push_back(static_cast<double>(*whole));
        else if (const auto* real = std::get_if<double>(&each); real && std::isfinite(*real))
            numbers.push_back(*real);
        else
            throw unfit(tag, "a number, or a list of numbers");
    }
    if (numbers.size() < tag.least || numbers.size() > tag.most)
        throw unfit(tag,
            tag.least == tag.most ? std::to_string(tag.least) + (tag.least == 1 ? " number" : " numbers")
                                  : "a list of at least " + std::to_string(tag.least));
    return numbers;
}

enum class Numbers : std::uint8_t { Whole, Any };

std::vector<Fraction> fractionsOf(
    const Tag& tag, const ArchiveValue& value, Numbers numbers, std::int64_t least, std::int64_t most)
{
    const bool whole = numbers == Numbers::Whole;
    std::vector<Fraction> fractions;
    for (const double number : numbersOf(tag, value)) {
        if (number < static_cast<double>(least) || number > static_cast<double>(most)
            || (whole && number != std::floor(number)))
            throw unfit(tag,
                (whole ? "a whole number from " : "a number from ") + std::to_string(least) + " to "
                    + std::to_string(most));
        fractions.push_back(whole ? Fraction { static_cast<std::int64_t>(number), 1 } : nearestFraction(number));
    }
    return fractions;
}

std::vector<Fraction> wholeNumbers(const Tag& tag, const ArchiveValue& value, std::int64_t most)
{
    return fractionsOf(tag, value, Numbers::Whole, 0, most);
}

std::string textOf(const Tag& tag, const ArchiveValue& value)
{
    const auto* text = std::get_if<std::string>(&value);
    if (!text || text->find('\0') != std::string::npos)
        throw unfit(tag, "a text");
    return *text;
}

std::string patternOf(const Tag& tag, const ArchiveValue& value, std::string_view pattern, const char* wanted)
{
    std::string text = textOf(tag, value);
    if (!matches(text, pattern))
        throw unfit(tag, wanted);
    return text;
}

std::string digitsOf(const Tag& tag, const ArchiveValue& value)
{
    std::string text = textOf(tag, value);
    if (text.empty() || text.find_first_not_of("0123456789") != std::string::npos)
        throw unfit(tag, "a text of digits");
    return text;
}

std::string bytesOf(const Tag& tag, const ArchiveValue& value)
{
    std::string bytes;
    if (const auto* data = std::get_if<std::shared_ptr<NSData>>(&value); data && *data) {
        const auto given = (*data)->bytes();
        bytes.assign(given.begin(), given.end());
        if (bytes.size() < tag.least || bytes.size() > tag.most)
            throw unfit(tag, "data of at least " + std::to_string(tag.least) + " bytes");
        return bytes;
    }
    for (const Fraction& byte : wholeNumbers(tag, value, 255))
        bytes.push_back(static_cast<char>(byte.numerator));
    return bytes;
}

/// [2, 3, 2] is "0232", [1, 0] is "0100"; a text is taken as it is.
std::string versionOf(const Tag& tag, const ArchiveValue& value)
{
    if (std::holds_alternative<std::string>(value))
        return patternOf(tag, value, "9999", "four digits, or a list of up to three");
    std::string version = "0";
    Tag digits = tag;
    digits.most = 3;
    for (const Fraction& digit : wholeNumbers(digits, value, 9))
        version += static_cast<char>('0' + digit.numerator);
    version.resize(4, '0');
    return version;
}

/// EXIF keeps texts beyond ASCII as UTF-16 in the byte order of the block, which is little-endian here.
std::string commentOf(const Tag& tag, const ArchiveValue& value)
{
    const std::string text = textOf(tag, value);
    const bool ascii = std::all_of(text.begin(), text.end(), [](char c) { return (c & 0x80) == 0; });
    if (ascii)
        return std::string("ASCII\0\0\0", 8) + text;
    std::string comment("UNICODE\0", 8);
    const auto add = [&comment](std::uint32_t unit) {
        comment.push_back(static_cast<char>(unit & 0xFF));
        comment.push_back(static_cast<char>(unit >> 8 & 0xFF));
    };
    for (std::size_t i = 0; i < text.size();) {
        const auto first = static_cast<std::uint8_t>(text[i++]);
        const int more = first < 0x80 ? 0 : first < 0xE0 ? 1 : first < 0xF0 ? 2 : 3;
        std::uint32_t code = more == 0 ? first : first & (0x3FU >> more);
        for (int k = 0; k < more && i < text.size(); ++k)
            code = code << 6 | (static_cast<std::uint8_t>(text[i++]) & 0x3FU);
        if (code < 0x10000) {
            add(code);
            continue;
        }
        add(0xD800 + ((code - 0x10000) >> 10 & 0x3FF));
        add(0xDC00 + (code & 0x3FF));
    }
    return comment;
}

ExifField field(ExifDirectory directory, const Tag& tag, const ArchiveValue& value)
{
    constexpr const char* momentForm = "a date and time in the form \"2026:01:02 03:04:05\"";
    constexpr const char* offsetForm = "a distance from UTC in the form \"+01:00\"";
    constexpr std::int64_t most = 2147483647; // of a fraction's parts
    const auto text = [&](ExifType type, std::string bytes) {
        return ExifField { directory, tag.number, type, std::move(bytes), {} };
    };
    const auto numbers = [&](ExifType type, std::vector<Fraction> fractions) {
        return ExifField { directory, tag.number, type, {}, std::move(fractions) };
    };
    switch (tag.kind) {
    case Kind::Text:
        return text(ExifType::Ascii, textOf(tag, value));
    case Kind::Moment:
        return text(ExifType::Ascii, patternOf(tag, value, "9999:99:99 99:99:99", momentForm));
    case Kind::Offset:
        return text(ExifType::Ascii, patternOf(tag, value, "+99:99", offsetForm));
    case Kind::Digits:
        return text(ExifType::Ascii, digitsOf(tag, value));
    case Kind::Short:
        return numbers(ExifType::Short, wholeNumbers(tag, value, 65535));
    case Kind::Long:
        return numbers(ExifType::Long, wholeNumbers(tag, value, 4294967295));
    case Kind::Positive:
        return numbers(ExifType::Rational, fractionsOf(tag, value, Numbers::Any, 0, most));
    case Kind::Signed:
        return numbers(ExifType::SignedRational, fractionsOf(tag, value, Numbers::Any, -most, most));
    case Kind::Bytes:
        return text(ExifType::Undefined, bytesOf(tag, value));
    case Kind::Version:
        return text(ExifType::Undefined, versionOf(tag, value));
    case Kind::Comment:
        return text(ExifType::Undefined, commentOf(tag, value));
    }
    return {};
}

/// Empty when the photo has no such group.
ArchiveDictionary group(const ArchiveDictionary& metadata, const char* name)
{
    const auto found = metadata.find(name);
    if (found == metadata.end() || std::holds_alternative<std::monostate>(found->second))
        return {};
    const auto* values = std::get_if<std::shared_ptr<NSDictionary>>(&found->second);
    if (!values || !*values)
        throw cannotWrite("The picture's metadata cannot be written: " + std::string(name)
            + " must be a dictionary. Correct the value or leave it out.");
    return (*values)->values();
}

template <std::size_t N>
void collect(ExifFields& into, ExifDirectory directory, const std::array<Tag, N>& tags, const ArchiveDictionary& values)
{
    for (const Tag& tag : tags) {
        const auto found = values.find(tag.key);
        if (found == values.end() || std::holds_alternative<std::monostate>(found->second))
            continue;
        into.fields.push_back(field(directory, tag, found->second));
    }
}

std::uint16_t orientationOf(const ArchiveDictionary& metadata, const ArchiveDictionary& image)
{
    constexpr Tag tag { "Orientation", 0x0112, Kind::Short };
    for (const ArchiveDictionary* values : { &metadata, &image }) {
        const auto found = values->find(tag.key);
        if (found == values->end())
            continue;
        const auto* orientation = std::get_if<std::int64_t>(&found->second);
        if (!orientation || *orientation < 1 || *orientation > 8)
            throw unfit(tag, "a whole number from 1 to 8");
        return static_cast<std::uint16_t>(*orientation);
    }
    return 1;
}

}

Fraction nearestFraction(double value)
{
    constexpr double accuracy = 1e-7;
    constexpr double most = 2147483647.0;
    const double size = std::abs(value);
    // The convergents of the continued fraction.
    double p0 = 0, q0 = 1, p1 = 1, q1 = 0;
    double rest = size;
    while (true) {
        const double whole = std::floor(rest);
        const double p2 = whole * p1 + p0, q2 = whole * q1 + q0;
        if (p2 > most || q2 > most)
            break;
        p0 = std::exchange(p1, p2);
        q0 = std::exchange(q1, q2);
        if (rest == whole || std::abs(p1 / q1 - size) <= accuracy * size)
            break;
        rest = 1 / (rest - whole);
    }
    if (q1 == 0)
        return { value < 0 ? -2147483647 : 2147483647, 1 };
    const auto numerator = static_cast<std::int64_t>(p1);
    return { value < 0 ? -numerator : numerator, static_cast<std::int64_t>(q1) };
}

const ExifField* ExifFields::find(ExifDirectory directory, std::uint16_t tag) const
{
    const auto found = std::find_if(fields.begin(), fields.end(),
        [&](const ExifField& field) { return field.directory == directory && field.tag == tag; });
    return found == fields.end() ? nullptr : &*found;
}

ExifFields exifFields(const ArchiveDictionary& metadata)
{
    const ArchiveDictionary image = group(metadata, "{TIFF}");
    ExifFields result;
    collect(result, ExifDirectory::Image, imageTags, image);
    collect(result, ExifDirectory::Photo, photoTags, group(metadata, "{Exif}"));
    result.orientation = orientationOf(metadata, image);
    return result;
}

}
