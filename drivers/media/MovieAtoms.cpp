// SPDX-License-Identifier: Apache-2.0
#include "drivers/media/MovieAtoms.h"

#include "drivers/media/MediaErrors.h"

namespace velmora::drivers::media {

void AtomReader::skip(std::size_t count)
{
    if (count > left())
        throw damaged("The movie is damaged: one of its tables ends too early. Use another copy of the file.");
    at_ += count;
}

std::uint32_t AtomReader::u32()
{
    const std::size_t from = at_;
    skip(4);
    return static_cast<std::uint32_t>(bytes_[from]) << 24 | static_cast<std::uint32_t>(bytes_[from + 1]) << 16
        | static_cast<std::uint32_t>(bytes_[from + 2]) << 8 | bytes_[from + 3];
}

std::uint64_t AtomReader::u64()
{
    const std::uint64_t high = u32();
    return high << 32 | u32();
}

std::vector<Atom> atomsIn(std::span<const std::uint8_t> content)
{
    std::vector<Atom> atoms;
    while (content.size() >= 8) {
        AtomReader reader(content);
        const std::size_t size = reader.u32();
        if (size < 8 || size > content.size())
            break;
        const auto all = content.first(size);
        atoms.push_back({ { reinterpret_cast<const char*>(all.data()) + 4, 4 }, all, all.subspan(8) });
        content = content.subspan(size);
    }
    return atoms;
}

std::optional<Atom> atomIn(std::span<const std::uint8_t> content, std::string_view type)
{
    for (const Atom& atom : atomsIn(content))
        if (atom.type == type)
            return atom;
    return std::nullopt;
}

void put16(Bytes& to, std::uint32_t value)
{
    to.push_back(static_cast<std::uint8_t>(value >> 8));
    to.push_back(static_cast<std::uint8_t>(value));
}

void put32(Bytes& to, std::uint64_t value)
{
    put16(to, static_cast<std::uint32_t>(value >> 16 & 0xFFFF));
    put16(to, static_cast<std::uint32_t>(value & 0xFFFF));
}

void put64(Bytes& to, std::uint64_t value)
{
    put32(to, value >> 32);
    put32(to, value & 0xFFFFFFFF);
}

void overwrite32(Bytes& in, std::size_t place, std::uint64_t value)
{
    Bytes number;
    put32(number, value);
    std::copy(number.begin(), number.end(), in.begin() + static_cast<std::ptrdiff_t>(place));
}

void putBytes(Bytes& to, std::span<const std::uint8_t> bytes)
{
    to.insert(to.end(), bytes.begin(), bytes.end());
}

namespace {

/// A size that is filled in later, and the type.
Bytes begun(std::string_view type)
{
    Bytes bytes;
    put32(bytes, 0);
    for (const char letter : type)
        bytes.push_back(static_cast<std::uint8_t>(letter));
    return bytes;
}

}

Bytes atom(std::string_view type, std::initializer_list<std::span<const std::uint8_t>> contents)
{
    Bytes bytes = begun(type);
    for (const auto& content : contents)
        putBytes(bytes, content);
    overwrite32(bytes, 0, bytes.size());
    return bytes;
}

Bytes fullAtom(std::string_view type, std::uint8_t version, std::uint32_t flags,
    std::initializer_list<std::span<const std::uint8_t>> contents)
{
    Bytes bytes = begun(type);
    put32(bytes, static_cast<std::uint32_t>(version) << 24 | flags);
    for (const auto& content : contents)
        putBytes(bytes, content);
    overwrite32(bytes, 0, bytes.size());
    return bytes;
}

}
