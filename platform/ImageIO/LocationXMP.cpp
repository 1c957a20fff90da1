// SPDX-License-Identifier: Apache-2.0
#include "platform/ImageIO/LocationXMP.h"

#include "platform/Foundation/NSError.h"

#include <exempi/xmp.h>
#include <exempi/xmpconsts.h>

#include <cmath>
#include <cstdio>
#include <ctime>
#include <memory>
#include <mutex>

namespace velmora {

namespace {

struct Free {
    void operator()(_Xmp* packet) const { xmp_free(packet); }
    void operator()(_XmpString* text) const { xmp_string_free(text); }
};

constexpr std::int64_t fileReadCorrupt = 259;

/// "35,0.696000N": degrees and minutes, to a ten-millionth of a minute.
std::string angle(double degrees, char positive, char negative)
{
    constexpr std::int64_t inMinute = 10'000'000;
    const std::int64_t whole = std::llround(std::abs(degrees) * 60 * inMinute);
    char text[40];
    std::snprintf(text, sizeof text, "%lld,%lld.%07lld%c", static_cast<long long>(whole / (60 * inMinute)),
        static_cast<long long>(whole / inMinute % 60), static_cast<long long>(whole % inMinute),
        degrees < 0 ? negative : positive);
    return text;
}

std::string thousandths(double value)
{
    return std::to_string(std::llround(value * 1000)) + "/1000";
}

std::string moment(double secondsSinceReferenceDate)
{
    const auto seconds = static_cast<std::time_t>(std::floor(secondsSinceReferenceDate + 978307200));
    std::tm parts {};
    gmtime_r(&seconds, &parts);
    char text[40];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
    return text;
}

/// Sets what is known, removes what is not.
class Writer {
public:
    explicit Writer(XmpPtr packet)
        : packet_(packet)
    {
    }
    void operator()(const char* space, const char* name, const std::optional<std::string>& value) const
    {
        xmp_delete_property(packet_, space, name);
        if (value && !value->empty())
            xmp_set_property(packet_, space, name, value->c_str(), 0);
    }

private:
    XmpPtr packet_;
};

void writePosition(const Writer& write, const CLLocation& location)
{
    const auto known = [](bool is, std::string text) { return is ? std::optional(std::move(text)) : std::nullopt; };
    const double altitude = location.altitude();
    const bool hasAltitude = location.verticalAccuracy() >= 0, moves = location.speed() >= 0,
               aims = location.course() >= 0;
    write(NS_EXIF, "GPSVersionID", "2.3.0.0");
    write(NS_EXIF, "GPSLatitude", angle(location.coordinate().latitude, 'N', 'S'));
    write(NS_EXIF, "GPSLongitude", angle(location.coordinate().longitude, 'E', 'W'));
    write(NS_EXIF, "GPSAltitude", known(hasAltitude, thousandths(std::abs(altitude))));
    write(NS_EXIF, "GPSAltitudeRef", known(hasAltitude, altitude < 0 ? "1" : "0"));
    write(NS_EXIF, "GPSTimeStamp", moment(location.timestamp()));
    write(NS_EXIF, "GPSSpeedRef", known(moves, "K"));
    write(NS_EXIF, "GPSSpeed", known(moves, thousandths(location.speed() * 3.6)));
    write(NS_EXIF, "GPSTrackRef", known(aims, "T"));
    write(NS_EXIF, "GPSTrack", known(aims, thousandths(location.course())));
    write(NS_EXIF, "GPSMapDatum", "WGS-84");
    write(NS_EXIF, "GPSHPositioningError",
        known(location.horizontalAccuracy() > 0, thousandths(location.horizontalAccuracy())));
}

void writeNames(const Writer& write, const CLPlacemark* placemark)
{
    const CLPlacemark::Names names = placemark ? placemark->names() : CLPlacemark::Names();
    write(NS_PHOTOSHOP, "City", names.locality);
    write(NS_PHOTOSHOP, "State", names.administrativeArea);
    write(NS_PHOTOSHOP, "Country", names.country);
    write(NS_IPTC4XMP, "Location", names.subLocality ? names.subLocality : names.name);
    write(NS_IPTC4XMP, "CountryCode", names.isoCountryCode);
}

}

std::vector<std::uint8_t> xmpWithLocation(
    std::span<const std::uint8_t> packet, const CLLocation& location, const CLPlacemark* placemark)
{
    // The toolkit keeps registries of its own; one user at a time.
    static std::mutex mutex;
    const std::lock_guard lock(mutex);
    static const bool ready = xmp_init();
    const std::unique_ptr<_Xmp, Free> document(ready ? xmp_new_empty() : nullptr);
    if (!document
        || (!packet.empty() && !xmp_parse(document.get(), reinterpret_cast<const char*>(packet.data()), packet.size())))
        throw NSError(NSCocoaErrorDomain, fileReadCorrupt,
            "The place cannot be added to the picture: its XMP metadata is damaged. Use another copy of the file.");
    const Writer write(document.get());
    writePosition(write, location);
    writeNames(write, placemark);
    const std::unique_ptr<_XmpString, Free> text(xmp_string_new());
    xmp_serialize(document.get(), text.get(), XMP_SERIAL_USECOMPACTFORMAT, 0);
    const char* first = xmp_string_cstr(text.get());
    return { first, first + xmp_string_len(text.get()) };
}

}
