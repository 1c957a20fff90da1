// SPDX-License-Identifier: Apache-2.0
#include "platform/ImageIO/ImageHeader.h"

#include "platform/Foundation/Clock.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <utility>

namespace velmora {

namespace {

using Bytes = std::vector<std::uint8_t>;

/// Bytes that are read where somebody looks at them.
class Source {
public:
    explicit Source(std::span<const std::uint8_t> data)
        : data_(data)
        , size_(data.size())
    {
    }
    explicit Source(const std::string& path)
        : descriptor_(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK))
    {
        struct stat status { };
        if (descriptor_ >= 0 && ::fstat(descriptor_, &status) == 0 && S_ISREG(status.st_mode))
            size_ = static_cast<std::uint64_t>(status.st_size);
    }
    ~Source()
    {
        if (descriptor_ >= 0)
            ::close(descriptor_);
    }
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;

    std::uint64_t size() const { return size_; }

    /// Up to that many bytes; fewer at the end.
    Bytes read(std::uint64_t offset, std::uint64_t count) const
    {
        if (offset >= size_)
            return {};
        Bytes bytes(static_cast<std::size_t>(std::min(count, size_ - offset)));
        if (descriptor_ < 0) {
            std::copy_n(data_.begin() + static_cast<std::ptrdiff_t>(offset), bytes.size(), bytes.begin());
            return bytes;
        }
        const auto length = ::pread(descriptor_, bytes.data(), bytes.size(), static_cast<off_t>(offset));
        bytes.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
        return bytes;
    }

private:
    std::span<const std::uint8_t> data_;
    int descriptor_ = -1;
    std::uint64_t size_ = 0;
};

std::uint64_t bigEndian(std::span<const std::uint8_t> bytes, std::size_t at, std::size_t count)
{
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < count; ++i)
        value = value << 8 | (at + i < bytes.size() ? bytes[at + i] : 0U);
    return value;
}

bool hasText(std::span<const std::uint8_t> bytes, std::size_t at, std::string_view text)
{
    return at <= bytes.size() && bytes.size() - at >= text.size()
        && std::memcmp(bytes.data() + at, text.data(), text.size()) == 0;
}

/// "2026:01:02 03:04:05" in local time, or at "+05:45" from Greenwich; "12" is a fraction.
std::optional<double> dateOf(const std::string& text, const std::string& offset, const std::string& fraction)
{
    std::tm time {};
    if (std::sscanf(text.c_str(), "%4d:%2d:%2d %2d:%2d:%2d", &time.tm_year, &time.tm_mon, &time.tm_mday, &time.tm_hour,
            &time.tm_min, &time.tm_sec)
            != 6
        || time.tm_year < 1900 || time.tm_mon < 1 || time.tm_mon > 12)
        return std::nullopt;
    time.tm_year -= 1900;
    time.tm_mon -= 1;
    time.tm_isdst = -1;
    char sign = 0;
    int hours = 0, minutes = 0;
    double seconds = 0;
    if (std::sscanf(offset.c_str(), "%c%2d:%2d", &sign, &hours, &minutes) == 3 && (sign == '+' || sign == '-')) {
        const int behind = 60 * (60 * hours + minutes);
        seconds = static_cast<double>(::timegm(&time)) - (sign == '+' ? behind : -behind);
    } else
        seconds = static_cast<double>(std::mktime(&time));
    double part = 0;
    if (!fraction.empty() && fraction.size() < 10 && fraction.find_first_not_of("0123456789") == std::string::npos)
        std::sscanf(("0." + fraction).c_str(), "%lf", &part);
    return seconds + part - NSTimeIntervalSince1970;
}

/// The directories of tags in a DNG, and in the EXIF block of other pictures.
class Directories {
public:
    Directories(const Source& source, std::uint64_t start, std::uint64_t end)
        : source_(source)
        , start_(start)
        , end_(end)
    {
        const auto head = source.read(start, 8);
        little_ = head.size() == 8 && head[0] == 'I';
        if (head.size() == 8 && (head[0] == 'I' || head[0] == 'M') && head[1] == head[0] && number(head, 2, 2) == 42)
            first_ = number(head, 4, 4);
    }

    void read(ImageHeader& header, bool isWholeFile)
    {
        const auto main = entriesAt(first_);
        header.orientation = static_cast<int>(wholeIn(main, 0x0112).value_or(1));
        if (header.orientation < 1 || header.orientation > 8)
            header.orientation = 1;
        if (isWholeFile)
            readSize(main, header);
        if (const auto exif = wholeIn(main, 0x8769))
            readExif(entriesAt(*exif), main, header);
        if (const auto position = wholeIn(main, 0x8825))
            header.place = placeIn(entriesAt(*position));
        if (!isWholeFile)
            readThumbnail(header);
    }

private:
    struct Entry {
        std::uint16_t tag = 0, type = 0;
        std::uint32_t count = 0;
        Bytes value; // the four bytes
    };
    using Entries = std::vector<Entry>;

    std::uint32_t number(std::span<const std::uint8_t> bytes, std::size_t at, std::size_t count) const
    {
        std::uint32_t value = 0;
        for (std::size_t i = 0; i < count; ++i) {
            const std::size_t place = at + (little_ ? count - 1 - i : i);
            value = value << 8 | (place < bytes.size() ? bytes[place] : 0U);
        }
        return value;
    }

    Bytes block(std::uint64_t offset, std::uint64_t count) const
    {
        if (offset > end_ - start_)
            return {};
        return source_.read(start_ + offset, std::min(count, end_ - start_ - offset));
    }

    Entries entriesAt(std::uint32_t offset, std::uint32_t* next = nullptr) const
    {
        constexpr std::uint32_t most = 512;
        if (offset < 8)
            return {};
        const std::uint32_t count = std::min(number(block(offset, 2), 0, 2), most);
        const auto table = block(offset + 2ULL, 12ULL * count + 4);
        Entries entries;
        for (std::size_t i = 0; i < count && 12 * (i + 1) <= table.size(); ++i) {
            const auto row = std::span(table).subspan(12 * i, 12);
            entries.push_back({ static_cast<std::uint16_t>(number(row, 0, 2)),
                static_cast<std::uint16_t>(number(row, 2, 2)), number(row, 4, 4), Bytes(row.begin() + 8, row.end()) });
        }
        if (next)
            *next = number(table, 12ULL * count, 4);
        return entries;
    }

    static const Entry* find(const Entries& entries, std::uint16_t tag)
    {
        const auto found
            = std::find_if(entries.begin(), entries.end(), [tag](const Entry& entry) { return entry.tag == tag; });
        return found == entries.end() ? nullptr : &*found;
    }

    std::optional<std::uint32_t> wholeIn(const Entries& entries, std::uint16_t tag) const
    {
        const auto* entry = find(entries, tag);
        if (!entry || entry->count != 1 || (entry->type != 3 && entry->type != 4))
            return std::nullopt;
        return number(entry->value, 0, entry->type == 3 ? 2 : 4);
    }

    std::string textIn(const Entries& entries, std::uint16_t tag) const
    {
        constexpr std::uint32_t longest = 64;
        const auto* entry = find(entries, tag);
        if (!entry || entry->type != 2 || entry->count > longest)
            return {};
        const auto bytes = entry->count <= 4 ? entry->value : block(number(entry->value, 0, 4), entry->count);
        std::string text(bytes.begin(), bytes.begin() + std::min<std::ptrdiff_t>(entry->count, std::ssize(bytes)));
        return text.substr(0, text.find('\0'));
    }

    std::vector<double> rationalsIn(const Entries& entries, std::uint16_t tag) const
    {
        const auto* entry = find(entries, tag);
        if (!entry || entry->type != 5 || entry->count == 0 || entry->count > 3)
            return {};
        const auto bytes = block(number(entry->value, 0, 4), 8ULL * entry->count);
        if (bytes.size() != 8ULL * entry->count)
            return {};
        std::vector<double> values;
        for (std::size_t i = 0; i < entry->count; ++i) {
            const auto divisor = number(bytes, 8 * i + 4, 4);
            values.push_back(divisor == 0 ? NAN : static_cast<double>(number(bytes, 8 * i, 4)) / divisor);
        }
        return values;
    }

    /// A DNG begins with a small picture; the whole one lies in a directory beneath.
    void readSize(const Entries& main, ImageHeader& header) const
    {
        const auto take = [&](const Entries& entries) {
            const auto width = wholeIn(entries, 0x0100), height = wholeIn(entries, 0x0101);
            if (width && height && *width > header.width) {
                header.width = *width;
                header.height = *height;
            }
        };
        take(main);
        const auto* children = find(main, 0x014A);
        if (!children || children->count == 0 || children->count > 16)
            return;
        const auto places
            = children->count == 1 ? children->value : block(number(children->value, 0, 4), 4ULL * children->count);
        for (std::size_t i = 0; 4 * (i + 1) <= places.size(); ++i)
            take(entriesAt(number(places, 4 * i, 4)));
    }

    void readExif(const Entries& exif, const Entries& main, ImageHeader& header) const
    {
        auto date = textIn(exif, 0x9003);
        if (date.empty())
            date = textIn(main, 0x0132);
        auto offset = textIn(exif, 0x9011);
        if (offset.empty())
            offset = textIn(exif, 0x9010);
        header.date = dateOf(date, offset, textIn(exif, 0x9291));
    }

    std::optional<CLLocationCoordinate2D> placeIn(const Entries& position) const
    {
        const auto angle = [&](std::uint16_t tag) {
            const auto parts = rationalsIn(position, tag);
            return parts.size() == 3 ? parts[0] + parts[1] / 60 + parts[2] / 3600 : NAN;
        };
        const double latitude = angle(2), longitude = angle(4);
        if (!(latitude <= 90) || !(longitude <= 180))
            return std::nullopt;
        return CLLocationCoordinate2D { textIn(position, 1) == "S" ? -latitude : latitude,
            textIn(position, 3) == "W" ? -longitude : longitude };
    }

    void readThumbnail(ImageHeader& header) const
    {
        std::uint32_t second = 0;
        (void)entriesAt(first_, &second);
        const auto entries = entriesAt(second);
        const auto offset = wholeIn(entries, 0x0201), size = wholeIn(entries, 0x0202);
        if (offset && size && *offset <= end_ - start_ && *size <= end_ - start_ - *offset)
            header.thumbnail = { start_ + *offset, *size };
    }

    const Source& source_;
    std::uint64_t start_, end_;
    bool little_ = true;
    std::uint32_t first_ = 0;
};

void turnSize(ImageHeader& header)
{
    if (header.orientation >= 5)
        std::swap(header.width, header.height);
}

bool isFrameHeader(std::uint8_t marker)
{
    return marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
}

void readJPEG(const Source& source, ImageHeader& header)
{
    constexpr std::size_t exifName = 6; // "Exif" and two zeros
    for (std::uint64_t at = 2; at + 4 <= source.size();) {
        const auto head = source.read(at, 18);
        if (head.size() < 4 || head[0] != 0xFF || head[1] == 0xDA)
            break;
        if (head[1] == 0xFF) { // a marker may be preceded by any number of these
            ++at;
            continue;
        }
        const auto length = bigEndian(head, 2, 2);
        if (length < 2)
            break;
        if (head[1] == 0xE1 && hasText(head, 4, std::string_view("Exif\0\0", exifName)))
            Directories(source, at + 4 + exifName, std::min(at + 2 + length, source.size())).read(header, false);
        if (isFrameHeader(head[1])) {
            header.height = static_cast<std::int64_t>(bigEndian(head, 5, 2));
            header.width = static_cast<std::int64_t>(bigEndian(head, 7, 2));
            break;
        }
        at += 2 + length;
    }
    turnSize(header);
}

void readPNG(const Source& source, ImageHeader& header)
{
    const auto head = source.read(16, 8);
    header.width = static_cast<std::int64_t>(bigEndian(head, 0, 4));
    header.height = static_cast<std::int64_t>(bigEndian(head, 4, 4));
    for (std::uint64_t at = 8; at + 12 <= source.size();) {
        const auto chunk = source.read(at, 8);
        const auto length = bigEndian(chunk, 0, 4);
        if (length > source.size() - at - 12)
            break;
        if (hasText(chunk, 4, "eXIf")) {
            Directories(source, at + 8, at + 8 + length).read(header, false);
            break;
        }
        at += 12 + length;
    }
    turnSize(header);
}

/// The boxes of a movie, each with its size and its name.
class Movie {
public:
    Movie(const Source& source, ImageHeader& header)
        : source_(source)
        , header_(header)
    {
    }
    void read(std::uint64_t at, std::uint64_t end, int depth)
    {
        constexpr int deepest = 4, most = 1000;
        for (int i = 0; i < most && at + 8 <= end; ++i) {
            const auto head = source_.read(at, 16);
            if (head.size() < 8)
                return;
            std::uint64_t size = bigEndian(head, 0, 4), content = at + 8;
            if (size == 1) {
                size = bigEndian(head, 8, 8);
                content = at + 16;
            }
            if (size == 0) // to the end
                size = end - at;
            if (size < content - at || size > end - at)
                return;
            if (depth < deepest && (hasText(head, 4, "moov") || hasText(head, 4, "trak")))
                read(content, at + size, depth + 1);
            else if (hasText(head, 4, "mvhd"))
                readMovieHeader(source_.read(content, 32));
            else if (hasText(head, 4, "tkhd"))
                readTrackHeader(source_.read(content, 96));
            at += size;
        }
    }

private:
    void readMovieHeader(const Bytes& bytes)
    {
        constexpr double from1904To2001 = 3061152000;
        const bool isLong = !bytes.empty() && bytes[0] == 1;
        const auto created = bigEndian(bytes, 4, isLong ? 8 : 4);
        const auto timescale = bigEndian(bytes, isLong ? 20 : 12, 4);
        const auto duration = bigEndian(bytes, isLong ? 24 : 16, isLong ? 8 : 4);
        if (timescale != 0)
            header_.duration = static_cast<double>(duration) / static_cast<double>(timescale);
        if (created != 0)
            header_.date = static_cast<double>(created) - from1904To2001;
    }

    /// The matrix says whether the picture is shown turned.
    void readTrackHeader(const Bytes& bytes)
    {
        const std::size_t matrix = !bytes.empty() && bytes[0] == 1 ? 52 : 40;
        const auto width = static_cast<std::int64_t>(bigEndian(bytes, matrix + 36, 2)),
                   height = static_cast<std::int64_t>(bigEndian(bytes, matrix + 40, 2));
        if (width == 0 || height == 0)
            return; // sound
        const bool turned = bigEndian(bytes, matrix, 4) == 0;
        header_.width = turned ? height : width;
        header_.height = turned ? width : height;
    }

    const Source& source_;
    ImageHeader& header_;
};

ImageHeader::Kind kindOf(std::span<const std::uint8_t> begin)
{
    if (hasText(begin, 0, "\xFF\xD8\xFF"))
        return ImageHeader::JPEG;
    if (hasText(begin, 0, "\x89PNG\r\n\x1A\n"))
        return ImageHeader::PNG;
    if (hasText(begin, 0, std::string_view("II*\0", 4)) || hasText(begin, 0, std::string_view("MM\0*", 4)))
        return ImageHeader::TIFF;
    for (const auto* name : { "ftyp", "moov", "mdat", "wide", "free" })
        if (hasText(begin, 4, name))
            return ImageHeader::Movie;
    return ImageHeader::Unknown;
}

ImageHeader headerOf(const Source& source)
{
    ImageHeader header;
    header.kind = kindOf(source.read(0, 16));
    switch (header.kind) {
    case ImageHeader::JPEG:
        readJPEG(source, header);
        break;
    case ImageHeader::PNG:
        readPNG(source, header);
        break;
    case ImageHeader::TIFF:
        Directories(source, 0, source.size()).read(header, true);
        turnSize(header);
        break;
    case ImageHeader::Movie:
        Movie(source, header).read(0, source.size(), 0);
        break;
    case ImageHeader::Unknown:
        break;
    }
    return header;
}

}

ImageHeader imageHeaderOfFile(const std::string& path)
{
    return headerOf(Source(path));
}

ImageHeader imageHeaderOfData(std::span<const std::uint8_t> data)
{
    return headerOf(Source(data));
}

std::string fileEndingFor(std::span<const std::uint8_t> data)
{
    switch (kindOf(data)) {
    case ImageHeader::JPEG:
        return ".jpg";
    case ImageHeader::PNG:
        return ".png";
    case ImageHeader::TIFF:
        return ".dng";
    case ImageHeader::Movie:
        return ".mov";
    case ImageHeader::Unknown:
        break;
    }
    return {};
}

}
