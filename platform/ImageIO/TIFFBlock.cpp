// SPDX-License-Identifier: Apache-2.0
#include "platform/ImageIO/TIFFBlock.h"

#include "platform/Foundation/NSError.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

namespace velmora {

namespace {

constexpr std::int64_t fileReadCorrupt = 259;

[[noreturn]] void damaged()
{
    throw NSError(NSCocoaErrorDomain, fileReadCorrupt,
        "The place cannot be added to the picture: its directory of tags is damaged. Use another copy of the file.");
}

std::size_t sizeOfType(std::uint16_t type)
{
    constexpr std::array<std::uint8_t, 14> sizes { 0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8, 4 };
    return type < sizes.size() ? sizes[type] : 0;
}

}

TIFFBlock::Field TIFFBlock::text(std::uint16_t tag, const char* ascii)
{
    return { tag, Ascii, { ascii, ascii + std::strlen(ascii) + 1 } };
}

TIFFBlock::TIFFBlock()
    : bytes_ { 'I', 'I', 42, 0, 8, 0, 0, 0, 0, 0, 0, 0, 0, 0 }
{
}

TIFFBlock::TIFFBlock(std::vector<std::uint8_t> bytes)
    : bytes_(std::move(bytes))
{
    if (bytes_.size() < 14 || bytes_[0] != bytes_[1] || (bytes_[0] != 'I' && bytes_[0] != 'M'))
        damaged();
    little_ = bytes_[0] == 'I';
    if (number(2, 2) != 42)
        damaged();
    (void)entriesAt(number(4, 4));
}

std::uint32_t TIFFBlock::number(std::size_t place, int bytes) const
{
    if (place > bytes_.size() || static_cast<std::size_t>(bytes) > bytes_.size() - place)
        damaged();
    std::uint32_t value = 0;
    for (int i = 0; i < bytes; ++i)
        value = value << 8 | bytes_[place + static_cast<std::size_t>(little_ ? bytes - 1 - i : i)];
    return value;
}

void TIFFBlock::put(std::vector<std::uint8_t>& to, std::uint32_t value, int bytes) const
{
    for (int i = 0; i < bytes; ++i)
        to.push_back(static_cast<std::uint8_t>(value >> 8 * (little_ ? i : bytes - 1 - i)));
}

void TIFFBlock::overwrite(std::size_t place, std::uint32_t value, int bytes)
{
    std::vector<std::uint8_t> encodedValue;
    put(encodedValue, value, bytes);
    std::copy(encodedValue.begin(), encodedValue.end(), bytes_.begin() + static_cast<std::ptrdiff_t>(place));
}

std::vector<TIFFBlock::Entry> TIFFBlock::entriesAt(std::size_t directory) const
{
    const std::uint32_t count = number(directory, 2);
    (void)number(directory + 2 + std::size_t { 12 } * count, 4);
    std::vector<Entry> entries;
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::size_t place = directory + 2 + std::size_t { 12 } * i;
        entries.push_back({ static_cast<std::uint16_t>(number(place, 2)),
            static_cast<std::uint16_t>(number(place + 2, 2)), number(place + 4, 4), number(place + 8, 4), place });
    }
    return entries;
}

std::optional<TIFFBlock::Entry> TIFFBlock::entryOf(std::uint16_t tag) const
{
    for (const Entry& entry : entriesAt(number(4, 4)))
        if (entry.tag == tag)
            return entry;
    return std::nullopt;
}

std::size_t TIFFBlock::sizeOf(const Entry& entry)
{
    return sizeOfType(entry.type) * entry.count;
}

std::size_t TIFFBlock::valuePlace(const Entry& entry) const
{
    return sizeOf(entry) > 4 ? entry.value : entry.place + 8;
}

std::vector<std::uint8_t> TIFFBlock::valueOf(std::uint16_t tag) const
{
    const auto entry = entryOf(tag);
    if (!entry)
        return {};
    const std::size_t place = valuePlace(*entry), size = sizeOf(*entry);
    if (place > bytes_.size() || size > bytes_.size() - place)
        damaged();
    const auto first = bytes_.begin() + static_cast<std::ptrdiff_t>(place);
    return { first, first + static_cast<std::ptrdiff_t>(size) };
}

void TIFFBlock::even()
{
    if (bytes_.size() % 2)
        bytes_.push_back(0);
}

/// An older value at the very end is cut off, so that a picture does not grow each time that its place is set.
void TIFFBlock::removeFromEnd(std::uint16_t tag, bool directory)
{
    const auto entry = entryOf(tag);
    if (!entry || (directory && entry->value == 0))
        return;
    std::size_t first = directory ? entry->value : valuePlace(*entry), end = first + sizeOf(*entry);
    if (directory) {
        const auto entries = entriesAt(first);
        end = first + 6 + 12 * entries.size();
        for (const Entry& each : entries) {
            if (sizeOf(each) <= 4)
                continue;
            if (each.value < first)
                return; // shared with what stands before
            end = std::max(end, each.value + sizeOf(each));
        }
    }
    if (first > entry->place && first > number(4, 4) && end + end % 2 == bytes_.size() + bytes_.size() % 2) {
        bytes_.resize(first);
        overwrite(entry->place + 8, 0, 4);
    }
}

/// An entry for the tag in the first directory, which for that moves to the end if it must grow.
void TIFFBlock::makeRoom(std::uint16_t tag)
{
    if (hasTag(tag))
        return;
    const std::size_t old = number(4, 4);
    const auto entries = entriesAt(old);
    even();
    std::vector<std::uint8_t> directory;
    put(directory, static_cast<std::uint32_t>(entries.size() + 1), 2);
    bool placed = false;
    const auto place = [&] {
        put(directory, tag, 2);
        directory.resize(directory.size() + 10);
        placed = true;
    };
    for (const Entry& entry : entries) {
        if (!placed && entry.tag > tag)
            place();
        const auto first = bytes_.begin() + static_cast<std::ptrdiff_t>(entry.place);
        directory.insert(directory.end(), first, first + 12);
    }
    if (!placed)
        place();
    put(directory, number(old + 2 + 12 * entries.size(), 4), 4);
    overwrite(4, static_cast<std::uint32_t>(bytes_.size()), 4);
    bytes_.insert(bytes_.end(), directory.begin(), directory.end());
}

void TIFFBlock::point(std::uint16_t tag, Type type, std::uint32_t count, std::size_t place)
{
    const std::size_t entry = entryOf(tag)->place;
    overwrite(entry + 2, type, 2);
    overwrite(entry + 4, count, 4);
    overwrite(entry + 8, static_cast<std::uint32_t>(place), 4);
}

/// A directory that stands at `place`, and behind it what does not fit into its entries.
std::vector<std::uint8_t> TIFFBlock::encoded(const std::vector<Field>& fields, std::size_t place) const
{
    std::vector<std::uint8_t> directory, rest;
    const std::size_t restPlace = place + 6 + 12 * fields.size();
    put(directory, static_cast<std::uint32_t>(fields.size()), 2);
    for (const Field& field : fields) {
        const std::size_t count = field.numbers.size() / (field.type == Rational ? 2 : 1);
        put(directory, field.tag, 2);
        put(directory, field.type, 2);
        put(directory, static_cast<std::uint32_t>(count), 4);
        const int bytes = field.type == Rational ? 4 : static_cast<int>(sizeOfType(field.type));
        std::vector<std::uint8_t> value;
        for (const std::uint32_t each : field.numbers)
            put(value, each, bytes);
        if (value.size() <= 4) {
            value.resize(4);
            directory.insert(directory.end(), value.begin(), value.end());
            continue;
        }
        put(directory, static_cast<std::uint32_t>(restPlace + rest.size()), 4);
        rest.insert(rest.end(), value.begin(), value.end());
        rest.resize(rest.size() + rest.size() % 2);
    }
    put(directory, 0, 4);
    directory.insert(directory.end(), rest.begin(), rest.end());
    return directory;
}

void TIFFBlock::setFields(const std::vector<Field>& fields)
{
    for (const Field& field : fields) {
        makeRoom(field.tag);
        even();
        // Encoded as a directory of one, from which the value is taken.
        const std::size_t place = bytes_.size();
        const auto alone = encoded({ field }, place - 18);
        const bool within = alone.size() == 18;
        point(field.tag, field.type,
            static_cast<std::uint32_t>(field.numbers.size() / (field.type == Rational ? 2 : 1)), place);
        if (within)
            std::copy(alone.begin() + 10, alone.begin() + 14,
                bytes_.begin() + static_cast<std::ptrdiff_t>(entryOf(field.tag)->place) + 8);
        else
            bytes_.insert(bytes_.end(), alone.begin() + 18, alone.end());
    }
}

void TIFFBlock::removeDirectory(std::uint16_t tag)
{
    removeFromEnd(tag, true);
}

void TIFFBlock::addTags(std::initializer_list<std::uint16_t> tags)
{
    for (const std::uint16_t tag : tags)
        makeRoom(tag);
}

void TIFFBlock::setDirectory(std::uint16_t tag, const std::vector<Field>& fields)
{
    removeFromEnd(tag, true);
    makeRoom(tag);
    even();
    const std::size_t place = bytes_.size();
    const auto directory = encoded(fields, place);
    bytes_.insert(bytes_.end(), directory.begin(), directory.end());
    point(tag, Long, 1, place);
}

void TIFFBlock::setBytes(std::uint16_t tag, std::span<const std::uint8_t> bytes)
{
    removeFromEnd(tag, false);
    makeRoom(tag);
    even();
    const std::size_t place = bytes_.size();
    bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
    point(tag, Byte, static_cast<std::uint32_t>(bytes.size()), place);
}

}
