// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace velmora::drivers::media {

using Bytes = std::vector<std::uint8_t>;

/// Big-endian numbers of an atom. Throws NSError beyond its end.
class AtomReader {
public:
    explicit AtomReader(std::span<const std::uint8_t> bytes)
        : bytes_(bytes)
    {
    }
    std::size_t left() const { return bytes_.size() - at_; }
    void skip(std::size_t count);
    std::uint32_t u32();
    std::uint64_t u64();

private:
    std::span<const std::uint8_t> bytes_;
    std::size_t at_ = 0;
};

/// One atom within another's content.
struct Atom {
    std::string_view type;
    std::span<const std::uint8_t> all, content;
};

/// The atoms of a content, in order; a damaged rest is left out.
std::vector<Atom> atomsIn(std::span<const std::uint8_t> content);
/// The first of a type; nothing when there is none.
std::optional<Atom> atomIn(std::span<const std::uint8_t> content, std::string_view type);

void put16(Bytes& to, std::uint32_t value);
void put32(Bytes& to, std::uint64_t value);
void put64(Bytes& to, std::uint64_t value);
void overwrite32(Bytes& in, std::size_t place, std::uint64_t value);
void putBytes(Bytes& to, std::span<const std::uint8_t> bytes);
Bytes atom(std::string_view type, std::initializer_list<std::span<const std::uint8_t>> contents);
/// With a version and flags in front.
Bytes fullAtom(std::string_view type, std::uint8_t version, std::uint32_t flags,
    std::initializer_list<std::span<const std::uint8_t>> contents);

}
