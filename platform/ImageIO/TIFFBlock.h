// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <span>
#include <vector>

namespace velmora {

/// The directories of a TIFF, which DNG files and the EXIF blocks of JPEG files are. What is added goes to the end;
/// nothing that is there moves, so that notes whose makers count from the block's start stay whole.
class TIFFBlock {
public:
    enum Type : std::uint16_t { Byte = 1, Ascii = 2, Short = 3, Long = 4, Rational = 5, Undefined = 7 };

    /// A tag to write: whole numbers, or numerator and denominator in turn.
    struct Field {
        std::uint16_t tag = 0;
        Type type = Byte;
        std::vector<std::uint32_t> numbers;
    };

    static Field text(std::uint16_t tag, const char* ascii);

    /// An empty one, little-endian.
    TIFFBlock();
    /// Throws NSError for what is no TIFF, or damaged.
    explicit TIFFBlock(std::vector<std::uint8_t> bytes);

    bool hasTag(std::uint16_t tag) const { return entryOf(tag).has_value(); }
    /// The bytes of a tag of the first directory; empty when it has none.
    std::vector<std::uint8_t> valueOf(std::uint16_t tag) const;

    /// Puts these fields into the first directory; those that are there already are replaced.
    void setFields(const std::vector<Field>& fields);
    /// The first directory points to another directory of these fields, sorted by tag. One that was there goes.
    void setDirectory(std::uint16_t tag, const std::vector<Field>& fields);
    /// Frees the end of the block of such a directory, which must then be set again.
    void removeDirectory(std::uint16_t tag);
    /// Entries for values that are set next: a directory that must move moves before them.
    void addTags(std::initializer_list<std::uint16_t> tags);
    /// The first directory points to these bytes. Those that were there go.
    void setBytes(std::uint16_t tag, std::span<const std::uint8_t> bytes);

    std::vector<std::uint8_t> take() { return std::move(bytes_); }

private:
    struct Entry {
        std::uint16_t tag = 0, type = 0;
        std::uint32_t count = 0;
        std::uint32_t value = 0; ///< as a number or place, for those that are one
        std::size_t place = 0; ///< of the entry
    };

    std::uint32_t number(std::size_t place, int bytes) const;
    void put(std::vector<std::uint8_t>& to, std::uint32_t value, int bytes) const;
    void overwrite(std::size_t place, std::uint32_t value, int bytes);
    std::vector<Entry> entriesAt(std::size_t directory) const;
    std::optional<Entry> entryOf(std::uint16_t tag) const;
    std::size_t valuePlace(const Entry& entry) const;
    static std::size_t sizeOf(const Entry& entry);
    void even();
    void removeFromEnd(std::uint16_t tag, bool directory);
    void makeRoom(std::uint16_t tag);
    std::vector<std::uint8_t> encoded(const std::vector<Field>& fields, std::size_t place) const;
    void point(std::uint16_t tag, Type type, std::uint32_t count, std::size_t place);

    std::vector<std::uint8_t> bytes_;
    bool little_ = true;
};

}
