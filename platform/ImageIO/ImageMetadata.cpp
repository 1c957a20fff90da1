// SPDX-License-Identifier: Apache-2.0
#include "platform/ImageIO/ImageMetadata.h"

#include "platform/Foundation/NSError.h"
#include "platform/ImageIO/LocationIPTC.h"
#include "platform/ImageIO/LocationXMP.h"
#include "platform/ImageIO/TIFFBlock.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <optional>
#include <string_view>

namespace velmora {

namespace {

using Bytes = std::vector<std::uint8_t>;
using Field = TIFFBlock::Field;

constexpr std::uint16_t gpsTag = 0x8825, xmpTag = 700, exifTag = 0x8769, dngVersionTag = 50706;
constexpr std::uint8_t app0 = 0xE0, app1 = 0xE1, app13 = 0xED, sos = 0xDA;
constexpr std::string_view exifName { "Exif\0\0", 6 }, xmpName { "http://ns.adobe.com/xap/1.0/\0", 29 },
    resourcesName { "Photoshop 3.0\0", 14 };

NSError cannotAdd(const std::string& reason)
{
    constexpr std::int64_t fileReadCorrupt = 259;
    return { NSCocoaErrorDomain, fileReadCorrupt, "The place cannot be added to the picture: " + reason };
}

/// Degrees, minutes, and seconds in ten-thousandths, which is 3 millimetres.
std::vector<std::uint32_t> angle(double degrees)
{
    constexpr std::int64_t inSecond = 10'000;
    const std::int64_t whole = std::llround(std::abs(degrees) * 3600 * inSecond);
    return { static_cast<std::uint32_t>(whole / (3600 * inSecond)), 1,
        static_cast<std::uint32_t>(whole / (60 * inSecond) % 60), 1,
        static_cast<std::uint32_t>(whole % (60 * inSecond)), static_cast<std::uint32_t>(inSecond) };
}

Field thousandths(std::uint16_t tag, double value)
{
    const double most = 4'000'000;
    return { tag, TIFFBlock::Rational,
        { static_cast<std::uint32_t>(std::llround(std::min(value, most) * 1000)), 1000 } };
}

/// The GPS directory, sorted by tag.
std::vector<Field> gpsFields(const CLLocation& location)
{
    constexpr double referenceDate = 978307200;
    const auto [latitude, longitude] = location.coordinate();
    const double unixTime = location.timestamp() + referenceDate;
    const auto seconds = static_cast<std::time_t>(std::floor(unixTime));
    const auto milliseconds = static_cast<std::uint32_t>((unixTime - std::floor(unixTime)) * 1000);
    std::tm utc {};
    gmtime_r(&seconds, &utc);
    char date[32];
    std::strftime(date, sizeof date, "%Y:%m:%d", &utc);

    std::vector<Field> fields { { 0, TIFFBlock::Byte, { 2, 3, 0, 0 } }, TIFFBlock::text(1, latitude < 0 ? "S" : "N"),
        { 2, TIFFBlock::Rational, angle(latitude) }, TIFFBlock::text(3, longitude < 0 ? "W" : "E"),
        { 4, TIFFBlock::Rational, angle(longitude) } };
    if (location.verticalAccuracy() >= 0) {
        fields.push_back({ 5, TIFFBlock::Byte, { location.altitude() < 0 ? 1U : 0U } });
        fields.push_back(thousandths(6, std::abs(location.altitude())));
    }
    fields.push_back({ 7, TIFFBlock::Rational,
        { static_cast<std::uint32_t>(utc.tm_hour), 1, static_cast<std::uint32_t>(utc.tm_min), 1,
            static_cast<std::uint32_t>(utc.tm_sec) * 1000 + milliseconds, 1000 } });
    if (location.speed() >= 0) {
        fields.push_back(TIFFBlock::text(12, "K"));
        fields.push_back(thousandths(13, location.speed() * 3.6));
    }
    if (location.course() >= 0) {
        fields.push_back(TIFFBlock::text(14, "T"));
        fields.push_back(thousandths(15, location.course()));
    }
    fields.push_back(TIFFBlock::text(18, "WGS-84"));
    fields.push_back(TIFFBlock::text(29, date));
    if (location.horizontalAccuracy() > 0)
        fields.push_back(thousandths(31, location.horizontalAccuracy()));
    return fields;
}

void checkLocation(const CLLocation& location)
{
    const auto [latitude, longitude] = location.coordinate();
    if (!(std::abs(latitude) <= 90) || !(std::abs(longitude) <= 180) || location.horizontalAccuracy() < 0)
        throw cannotAdd("the location is not a place on the globe. Wait for one that is known.");
    if (!std::isfinite(location.timestamp()) || std::abs(location.timestamp()) > 6e10
        || (location.verticalAccuracy() >= 0 && !std::isfinite(location.altitude())))
        throw cannotAdd("the location's time or altitude is not a number.");
}

struct Segment {
    std::uint8_t marker = 0;
    Bytes content;

    bool is(std::uint8_t wanted, std::string_view name) const
    {
        return marker == wanted && content.size() >= name.size()
            && std::equal(name.begin(), name.end(), content.begin());
    }
};

/// The segments in front of the first scan, and where that begins.
std::pair<std::vector<Segment>, std::size_t> segmentsOf(std::span<const std::uint8_t> jpeg)
{
    const auto damaged = [] { return cannotAdd("the JPEG is damaged. Use another copy of the file."); };
    std::vector<Segment> segments;
    std::size_t at = 2;
    while (true) {
        while (at + 1 < jpeg.size() && jpeg[at] == 0xFF && jpeg[at + 1] == 0xFF)
            ++at; // filling
        if (at + 4 > jpeg.size() || jpeg[at] != 0xFF)
            throw damaged();
        if (jpeg[at + 1] == sos)
            return { std::move(segments), at };
        const std::size_t length = static_cast<std::size_t>(jpeg[at + 2]) << 8 | jpeg[at + 3];
        if (length < 2 || length > jpeg.size() - at - 2)
            throw damaged();
        const auto content = jpeg.subspan(at + 4, length - 2);
        segments.push_back({ jpeg[at + 1], { content.begin(), content.end() } });
        at += 2 + length;
    }
}

/// What an EXIF block must state besides the place, for a JPEG that has none.
TIFFBlock newExif(const std::vector<Segment>& segments)
{
    std::uint32_t width = 0, height = 0;
    for (const Segment& segment : segments) {
        const bool frame = segment.marker >= 0xC0 && segment.marker <= 0xCF && segment.marker != 0xC4
            && segment.marker != 0xC8 && segment.marker != 0xCC;
        if (frame && segment.content.size() >= 5) {
            height = static_cast<std::uint32_t>(segment.content[1] << 8 | segment.content[2]);
            width = static_cast<std::uint32_t>(segment.content[3] << 8 | segment.content[4]);
        }
    }
    constexpr std::uint32_t inches = 2, centred = 1, sRGB = 1;
    TIFFBlock block;
    block.setFields({ { 0x011A, TIFFBlock::Rational, { 72, 1 } }, { 0x011B, TIFFBlock::Rational, { 72, 1 } },
        { 0x0128, TIFFBlock::Short, { inches } }, { 0x0213, TIFFBlock::Short, { centred } } });
    block.setDirectory(exifTag,
        { { 0x9000, TIFFBlock::Undefined, { '0', '2', '3', '2' } }, { 0x9101, TIFFBlock::Undefined, { 1, 2, 3, 0 } },
            { 0xA000, TIFFBlock::Undefined, { '0', '1', '0', '0' } }, { 0xA001, TIFFBlock::Short, { sRGB } },
            { 0xA002, TIFFBlock::Long, { width } }, { 0xA003, TIFFBlock::Long, { height } } });
    return block;
}

Bytes named(std::string_view name, const Bytes& content)
{
    Bytes bytes(name.begin(), name.end());
    bytes.insert(bytes.end(), content.begin(), content.end());
    return bytes;
}

/// Replaces a segment's content, adds the segment behind those of the beginning, or removes it when it is empty.
void store(std::vector<Segment>& segments, std::uint8_t marker, std::string_view name, const Bytes& content)
{
    constexpr std::size_t mostInSegment = 65533;
    if (content.size() + name.size() > mostInSegment)
        throw cannotAdd("its metadata would not fit into a JPEG any more. Remove its maker's notes or its thumbnail.");
    const auto found = std::find_if(
        segments.begin(), segments.end(), [&](const Segment& segment) { return segment.is(marker, name); });
    if (found != segments.end() && content.empty())
        segments.erase(found);
    else if (found != segments.end())
        found->content = named(name, content);
    else if (!content.empty())
        segments.insert(std::find_if(segments.begin(), segments.end(),
                            [](const Segment& segment) { return segment.marker != app0 && segment.marker != app1; }),
            { marker, named(name, content) });
}

/// The content behind the name of a segment; empty when there is none.
Bytes contentOf(const std::vector<Segment>& segments, std::uint8_t marker, std::string_view name)
{
    for (const Segment& segment : segments)
        if (segment.is(marker, name))
            return { segment.content.begin() + static_cast<std::ptrdiff_t>(name.size()), segment.content.end() };
    return {};
}

Bytes jpegWithLocation(std::span<const std::uint8_t> jpeg, const CLLocation& location, const CLPlacemark* placemark)
{
    auto [segments, scan] = segmentsOf(jpeg);
    const Bytes exif = contentOf(segments, app1, exifName);
    TIFFBlock block = exif.empty() ? newExif(segments) : TIFFBlock(exif);
    block.setDirectory(gpsTag, gpsFields(location));
    store(segments, app1, exifName, block.take());
    store(segments, app1, xmpName, xmpWithLocation(contentOf(segments, app1, xmpName), location, placemark));
    store(segments, app13, resourcesName, resourcesWithPlace(contentOf(segments, app13, resourcesName), placemark));

    Bytes result(jpeg.begin(), jpeg.begin() + 2);
    result.reserve(jpeg.size() + 16384);
    for (const Segment& segment : segments) {
        const std::size_t length = segment.content.size() + 2;
        result.insert(result.end(),
            { 0xFF, segment.marker, static_cast<std::uint8_t>(length >> 8), static_cast<std::uint8_t>(length) });
        result.insert(result.end(), segment.content.begin(), segment.content.end());
    }
    result.insert(result.end(), jpeg.begin() + static_cast<std::ptrdiff_t>(scan), jpeg.end());
    return result;
}

Bytes dngWithLocation(std::span<const std::uint8_t> dng, const CLLocation& location, const CLPlacemark* placemark)
{
    TIFFBlock block(Bytes(dng.begin(), dng.end()));
    if (!block.hasTag(dngVersionTag))
        throw cannotAdd("it is a TIFF and no DNG. Convert it to JPEG or DNG.");
    // Both lie at the end of a file that got them here: the directory goes first, for the packet to go too.
    const Bytes packet = xmpWithLocation(block.valueOf(xmpTag), location, placemark);
    block.removeDirectory(gpsTag);
    block.addTags({ xmpTag, gpsTag });
    block.setBytes(xmpTag, packet);
    block.setDirectory(gpsTag, gpsFields(location));
    return block.take();
}

}

std::shared_ptr<NSData> imageDataByAddingLocation(
    const NSData& image, const CLLocation& location, const CLPlacemark* placemark)
{
    checkLocation(location);
    const auto bytes = image.bytes();
    if (bytes.size() >= 4 && bytes[0] == 0xFF && bytes[1] == 0xD8)
        return std::make_shared<NSData>(jpegWithLocation(bytes, location, placemark));
    const bool tiff
        = bytes.size() >= 8 && ((bytes[0] == 'I' && bytes[1] == 'I') || (bytes[0] == 'M' && bytes[1] == 'M'));
    if (tiff)
        return std::make_shared<NSData>(dngWithLocation(bytes, location, placemark));
    throw cannotAdd("it is neither a JPEG nor a DNG. Convert it to one of the two.");
}

}
