// SPDX-License-Identifier: Apache-2.0
#include "platform/ImageIO/LocationIPTC.h"

#include "platform/Foundation/NSError.h"
#include "platform/ImageIO/CountryCodes.h"

#include <algorithm>
#include <string>

namespace velmora {

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint32_t iptcResource = 0x0404, digestResource = 0x0425;
constexpr std::uint8_t envelope = 1, application = 2, characterSet = 90, version = 0;
constexpr std::uint8_t city = 90, part = 92, state = 95, countryCode = 100, countryName = 101;

[[noreturn]] void damaged()
{
    constexpr std::int64_t fileReadCorrupt = 259;
    throw NSError(NSCocoaErrorDomain, fileReadCorrupt,
        "The place cannot be added to the picture: its IPTC metadata is damaged. Use another copy of the file.");
}

struct DataSet {
    std::uint8_t record = 0, number = 0;
    std::string value;
};

struct Resource {
    std::uint32_t number = 0;
    Bytes name, data; ///< the name with its length and padding
};

std::uint32_t number(std::span<const std::uint8_t> bytes, std::size_t place, std::size_t count)
{
    if (place > bytes.size() || count > bytes.size() - place)
        damaged();
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < count; ++i)
        value = value << 8 | bytes[place + i];
    return value;
}

void put(Bytes& to, std::uint32_t value, int bytes)
{
    for (int i = bytes - 1; i >= 0; --i)
        to.push_back(static_cast<std::uint8_t>(value >> 8 * i));
}

Bytes piece(std::span<const std::uint8_t> bytes, std::size_t place, std::size_t count)
{
    if (place > bytes.size() || count > bytes.size() - place)
        damaged();
    const auto found = bytes.subspan(place, count);
    return { found.begin(), found.end() };
}

std::vector<Resource> readResources(std::span<const std::uint8_t> bytes)
{
    constexpr std::uint32_t mark = 0x3842494D; // "8BIM"
    std::vector<Resource> resources;
    for (std::size_t at = 0; bytes.size() - std::min(at, bytes.size()) >= 12;) {
        if (number(bytes, at, 4) != mark)
            damaged();
        Resource resource;
        resource.number = number(bytes, at + 4, 2);
        std::size_t name = 1 + number(bytes, at + 6, 1);
        name += name % 2;
        resource.name = piece(bytes, at + 6, name);
        const std::size_t size = number(bytes, at + 6 + name, 4);
        resource.data = piece(bytes, at + 10 + name, size);
        at += 10 + name + size + size % 2;
        resources.push_back(std::move(resource));
    }
    return resources;
}

Bytes encoded(const std::vector<Resource>& resources)
{
    Bytes bytes;
    for (const Resource& resource : resources) {
        put(bytes, 0x3842494D, 4);
        put(bytes, resource.number, 2);
        bytes.insert(bytes.end(), resource.name.begin(), resource.name.end());
        put(bytes, static_cast<std::uint32_t>(resource.data.size()), 4);
        bytes.insert(bytes.end(), resource.data.begin(), resource.data.end());
        if (resource.data.size() % 2)
            bytes.push_back(0);
    }
    return bytes;
}

std::vector<DataSet> readDataSets(std::span<const std::uint8_t> bytes)
{
    std::vector<DataSet> sets;
    for (std::size_t at = 0; at + 5 <= bytes.size() && bytes[at] == 0x1C;) { // zeros may pad the end
        std::size_t size = number(bytes, at + 3, 2), header = 5;
        if (size & 0x8000) {
            const std::size_t more = size & 0x7FFF;
            if (more > 4)
                damaged();
            size = number(bytes, at + 5, more);
            header += more;
        }
        const Bytes value = piece(bytes, at + header, size);
        sets.push_back({ bytes[at + 1], bytes[at + 2], std::string(value.begin(), value.end()) });
        at += header + size;
    }
    return sets;
}

Bytes encoded(const std::vector<DataSet>& sets)
{
    Bytes bytes;
    for (const DataSet& set : sets) {
        bytes.insert(bytes.end(), { 0x1C, set.record, set.number });
        if (set.value.size() < 0x8000)
            put(bytes, static_cast<std::uint32_t>(set.value.size()), 2);
        else {
            put(bytes, 0x8004, 2);
            put(bytes, static_cast<std::uint32_t>(set.value.size()), 4);
        }
        bytes.insert(bytes.end(), set.value.begin(), set.value.end());
    }
    return bytes;
}

/// Whether every byte belongs to a well-formed character.
bool isUTF8(const std::string& text)
{
    for (std::size_t i = 0; i < text.size();) {
        const auto first = static_cast<std::uint8_t>(text[i++]);
        const int more = first < 0x80 ? 0 : first >> 5 == 6 ? 1 : first >> 4 == 14 ? 2 : first >> 3 == 30 ? 3 : -1;
        if (more < 0)
            return false;
        for (int k = 0; k < more; ++k)
            if (i == text.size() || (static_cast<std::uint8_t>(text[i++]) & 0xC0) != 0x80)
                return false;
    }
    return true;
}

std::string fromLatin(const std::string& text)
{
    std::string result;
    for (const char character : text) {
        const auto code = static_cast<std::uint8_t>(character);
        if (code < 0x80)
            result += character;
        else {
            result += static_cast<char>(0xC0 | code >> 6);
            result += static_cast<char>(0x80 | (code & 0x3F));
        }
    }
    return result;
}

/// At most so many bytes, cut between characters.
std::string shortened(const std::string& text, std::size_t most)
{
    std::size_t size = std::min(text.size(), most);
    while (size < text.size() && size > 0 && (static_cast<std::uint8_t>(text[size]) & 0xC0) == 0x80)
        --size;
    return text.substr(0, size);
}

/// From here on all texts are UTF-8, and the record says so.
void declareUTF8(std::vector<DataSet>& sets)
{
    const auto isSet = [](std::uint8_t record, std::uint8_t number) {
        return [=](const DataSet& set) { return set.record == record && set.number == number; };
    };
    if (std::none_of(sets.begin(), sets.end(), isSet(envelope, characterSet)))
        for (DataSet& set : sets)
            if (set.record == application && set.number != version && !isUTF8(set.value))
                set.value = fromLatin(set.value);
    std::erase_if(sets, isSet(envelope, characterSet));
    const auto behind = std::find_if(sets.begin(), sets.end(),
        [](const DataSet& set) { return set.record > envelope || set.number > characterSet; });
    sets.insert(behind, { envelope, characterSet, "\x1B%G" });
    if (std::none_of(sets.begin(), sets.end(), isSet(application, version)))
        sets.insert(
            std::find_if(sets.begin(), sets.end(), [](const DataSet& set) { return set.record >= application; }),
            { application, version, std::string("\0\4", 2) });
}

void addNames(std::vector<DataSet>& sets, const CLPlacemark::Names& names)
{
    declareUTF8(sets);
    auto behind = std::find_if(sets.begin(), sets.end(), [](const DataSet& set) { return set.record > application; });
    const auto add = [&](std::uint8_t number, const std::optional<std::string>& value, std::size_t most) {
        if (value && !value->empty())
            behind = sets.insert(behind, { application, number, shortened(*value, most) }) + 1;
    };
    add(city, names.locality, 32);
    add(part, names.subLocality ? names.subLocality : names.name, 32);
    add(state, names.administrativeArea, 32);
    add(countryCode, threeLetterCountryCode(names.isoCountryCode.value_or("")), 3);
    add(countryName, names.country, 64);
}

}

std::vector<std::uint8_t> resourcesWithPlace(std::span<const std::uint8_t> resources, const CLPlacemark* placemark)
{
    std::vector<Resource> all = readResources(resources);
    const auto found
        = std::find_if(all.begin(), all.end(), [](const Resource& each) { return each.number == iptcResource; });
    std::vector<DataSet> sets;
    if (found != all.end())
        sets = readDataSets(found->data);
    std::erase_if(sets, [](const DataSet& set) {
        return set.record == application
            && (set.number == city || set.number == part || set.number == state || set.number == countryCode
                || set.number == countryName);
    });
    if (placemark)
        addNames(sets, placemark->names());
    // The digest is of the record as it was: a wrong one makes readers distrust the record.
    std::erase_if(
        all, [](const Resource& each) { return each.number == iptcResource || each.number == digestResource; });
    if (!sets.empty())
        all.insert(all.begin(), { iptcResource, { 0, 0 }, encoded(sets) });
    return encoded(all);
}

}
