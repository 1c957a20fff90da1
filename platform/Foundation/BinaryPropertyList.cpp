// SPDX-License-Identifier: Apache-2.0
// Not libplist: it unfolds shared objects while it reads, so that 150 bytes become gigabytes, and copies image data
// several times; a keyed archive needs neither.
#include "platform/Foundation/BinaryPropertyList.h"

#include "platform/Foundation/NSCoder.h"
#include "platform/Foundation/NSError.h"
#include "platform/Foundation/UnicodeText.h"

#include <algorithm>
#include <bit>
#include <map>
#include <optional>

namespace velmora {

namespace {

constexpr std::string_view header = "bplist00";
constexpr std::size_t trailerSize = 32;
/// The memory that an honest list needs for each of its bytes: a value in an array is one byte in the file.
constexpr std::size_t memoryForReference = 48;
constexpr std::size_t leastAllowance = 64UL << 20;

// The upper four bits of an object's first byte.
constexpr unsigned simpleType = 0x0, integerType = 0x1, realType = 0x2, dateType = 0x3, dataType = 0x4, asciiType = 0x5,
                   utf16Type = 0x6, uidType = 0x8, arrayType = 0xA, dictionaryType = 0xD;
constexpr std::uint8_t nullByte = 0x00, falseByte = 0x08, trueByte = 0x09;

[[noreturn]] void throwDamaged(const std::string& why)
{
    throw NSError(NSCocoaErrorDomain, NSCoderReadCorruptError, "The property list is damaged: " + why + ".");
}

[[noreturn]] void throwDamaged(std::uint64_t object, const std::string& why)
{
    throwDamaged("object " + std::to_string(object) + " " + why);
}

std::size_t bytesFor(std::uint64_t number)
{
    if (number <= 0xFF)
        return 1;
    if (number <= 0xFFFF)
        return 2;
    return number <= 0xFFFFFFFF ? 4 : 8;
}

bool isASCII(std::string_view text)
{
    return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

/// Numbers the objects of a list, then writes them.
class Writer {
public:
    std::vector<std::uint8_t> write(const PropertyListNode& root)
    {
        number(root);
        bytes_.reserve(dataSize_ + 64 * objects_.size() + 256);
        bytes_.assign(header.begin(), header.end());
        referenceSize_ = bytesFor(objects_.size());

        std::vector<std::uint64_t> offsets;
        offsets.reserve(objects_.size());
        for (const Object& object : objects_) {
            offsets.push_back(bytes_.size());
            std::visit([&](const auto* value) { write(*value, object.children); }, object.value);
        }
        writeTable(offsets);
        return std::move(bytes_);
    }

private:
    using UID = PropertyListNode::UID;
    using Pointer = std::variant<const bool*, const std::int64_t*, const double*, const std::string*, const UID*,
        const std::shared_ptr<NSData>*, const PropertyListNode::Array*, const PropertyListNode::Dictionary*>;
    struct Object {
        Pointer value;
        std::vector<std::uint64_t> children {};
    };

    std::uint64_t add(Pointer value)
    {
        objects_.push_back({ value });
        return objects_.size() - 1;
    }
    template <class Key, class T>
    std::uint64_t once(std::map<Key, std::uint64_t>& known, const Key& key, const T& value)
    {
        const auto [place, isNew] = known.try_emplace(key, objects_.size());
        if (isNew)
            add(&value);
        return place->second;
    }

    std::uint64_t number(const PropertyListNode& node)
    {
        return std::visit([this](const auto& value) { return number(value); }, node.value);
    }
    std::uint64_t number(const bool& value) { return once(flags_, value, value); }
    std::uint64_t number(const std::int64_t& value) { return once(integers_, value, value); }
    std::uint64_t number(const double& value) { return once(reals_, std::bit_cast<std::uint64_t>(value), value); }
    std::uint64_t number(const UID& value) { return once(uids_, value.value, value); }
    std::uint64_t number(const std::string& value) { return once(texts_, std::string_view(value), value); }
    std::uint64_t number(const std::shared_ptr<NSData>& value)
    {
        dataSize_ += value->length();
        return add(&value);
    }
    std::uint64_t number(const PropertyListNode::Array& values)
    {
        const std::uint64_t own = add(&values);
        std::vector<std::uint64_t> children;
        children.reserve(values.size());
        for (const PropertyListNode& value : values)
            children.push_back(number(value));
        objects_[own].children = std::move(children);
        return own;
    }
    std::uint64_t number(const PropertyListNode::Dictionary& entries)
    {
        const std::uint64_t own = add(&entries);
        std::vector<std::uint64_t> children;
        children.reserve(2 * entries.size());
        for (const auto& entry : entries)
            children.push_back(number(entry.key));
        for (const auto& entry : entries)
            children.push_back(number(entry.value));
        objects_[own].children = std::move(children);
        return own;
    }

    using Children = std::vector<std::uint64_t>;
    void write(const bool& value, const Children&) { bytes_.push_back(value ? trueByte : falseByte); }
    void write(const std::int64_t& value, const Children&) { writeInteger(value); }
    void write(const double& value, const Children&)
    {
        bytes_.push_back(realType << 4 | 3);
        writeNumber(std::bit_cast<std::uint64_t>(value), 8);
    }
    void write(const UID& uid, const Children&)
    {
        const std::size_t size = bytesFor(uid.value);
        bytes_.push_back(static_cast<std::uint8_t>(uidType << 4 | (size - 1)));
        writeNumber(uid.value, size);
    }
    void write(const std::string& text, const Children&)
    {
        if (isASCII(text)) {
            writeMarker(asciiType, text.size());
            bytes_.insert(bytes_.end(), text.begin(), text.end());
            return;
        }
        const std::u16string units = utf16(text);
        writeMarker(utf16Type, units.size());
        for (const char16_t unit : units)
            writeNumber(unit, 2);
    }
    void write(const std::shared_ptr<NSData>& data, const Children&)
    {
        writeMarker(dataType, data->length());
        bytes_.insert(bytes_.end(), data->bytes().begin(), data->bytes().end());
    }
    void write(const PropertyListNode::Array&, const Children& children)
    {
        writeMarker(arrayType, children.size());
        writeReferences(children);
    }
    void write(const PropertyListNode::Dictionary& entries, const Children& children)
    {
        writeMarker(dictionaryType, entries.size());
        writeReferences(children);
    }

    void writeMarker(unsigned type, std::size_t count)
    {
        bytes_.push_back(static_cast<std::uint8_t>(type << 4 | std::min<std::size_t>(count, 15)));
        if (count >= 15)
            writeInteger(static_cast<std::int64_t>(count));
    }
    void writeInteger(std::int64_t value)
    {
        // Fewer than eight bytes are read as unsigned.
        const std::size_t size = value < 0 ? 8 : bytesFor(static_cast<std::uint64_t>(value));
        bytes_.push_back(static_cast<std::uint8_t>(integerType << 4 | std::countr_zero(size)));
        writeNumber(static_cast<std::uint64_t>(value), size);
    }
    void writeReferences(const Children& children)
    {
        for (const std::uint64_t child : children)
            writeNumber(child, referenceSize_);
    }
    void writeNumber(std::uint64_t value, std::size_t size)
    {
        while (size-- > 0)
            bytes_.push_back(static_cast<std::uint8_t>(value >> (8 * size)));
    }
    void writeTable(const std::vector<std::uint64_t>& offsets)
    {
        const std::uint64_t table = bytes_.size();
        const std::size_t offsetSize = bytesFor(table);
        for (const std::uint64_t offset : offsets)
            writeNumber(offset, offsetSize);
        writeNumber(0, 6);
        bytes_.push_back(static_cast<std::uint8_t>(offsetSize));
        bytes_.push_back(static_cast<std::uint8_t>(referenceSize_));
        writeNumber(offsets.size(), 8);
        writeNumber(0, 8); // the root was numbered first
        writeNumber(table, 8);
    }

    std::vector<Object> objects_;
    std::map<bool, std::uint64_t> flags_;
    std::map<std::int64_t, std::uint64_t> integers_;
    std::map<std::uint64_t, std::uint64_t> reals_, uids_;
    std::map<std::string_view, std::uint64_t> texts_;
    std::size_t dataSize_ = 0, referenceSize_ = 1;
    std::vector<std::uint8_t> bytes_;
};

std::optional<BinaryPropertyList::Kind> kindOf(std::uint8_t first)
{
    using Kind = BinaryPropertyList::Kind;
    switch (first >> 4) {
    case simpleType:
        if (first == nullByte)
            return Kind::Null;
        return first == falseByte || first == trueByte ? std::optional(Kind::Boolean) : std::nullopt;
    case integerType:
        return Kind::Integer;
    case realType:
        return Kind::Real;
    case dateType:
        return Kind::Date;
    case dataType:
        return Kind::Data;
    case asciiType:
    case utf16Type:
        return Kind::Text;
    case uidType:
        return Kind::UID;
    case arrayType:
        return Kind::Array;
    case dictionaryType:
        return Kind::Dictionary;
    default:
        return std::nullopt;
    }
}

}

std::vector<std::uint8_t> binaryPropertyList(const PropertyListNode& root)
{
    return Writer().write(root);
}

BinaryPropertyList::BinaryPropertyList(std::span<const std::uint8_t> bytes)
    : bytes_(bytes)
    , allowance_(memoryForReference * bytes.size() + leastAllowance)
{
    if (bytes.size() < header.size() + trailerSize || !std::equal(header.begin(), header.end(), bytes.begin()))
        throw NSError(NSCocoaErrorDomain, NSCoderReadCorruptError,
            "The data is no binary property list: it does not begin with \"bplist00\" or is too short.");

    const std::size_t trailer = bytes.size() - trailerSize;
    offsetSize_ = bytes[trailer + 6];
    referenceSize_ = bytes[trailer + 7];
    count_ = number(trailer + 8, 8);
    root_ = number(trailer + 16, 8);
    const std::uint64_t table = number(trailer + 24, 8);
    if (offsetSize_ < 1 || offsetSize_ > 8 || referenceSize_ < 1 || referenceSize_ > 8)
        throwDamaged("offsets or references have an impossible size");
    if (table < header.size() || table > trailer || count_ > (trailer - table) / offsetSize_)
        throwDamaged("the table of offsets does not fit into it");
    if (root_ >= count_)
        throwDamaged("it has no object " + std::to_string(root_) + ", which should be the root");
    table_ = table;
}

std::uint64_t BinaryPropertyList::number(std::size_t begin, std::size_t size) const
{
    std::uint64_t value = 0;
    for (const std::uint8_t byte : bytes_.subspan(begin, size))
        value = value << 8 | byte;
    return value;
}

std::size_t BinaryPropertyList::offset(Reference object) const
{
    if (object >= count_)
        throwDamaged("it refers to an object " + std::to_string(object) + ", but has only " + std::to_string(count_));
    const std::uint64_t place = number(table_ + object * offsetSize_, offsetSize_);
    if (place < header.size() || place >= table_)
        throwDamaged(object, "lies outside");
    return place;
}

BinaryPropertyList::Kind BinaryPropertyList::kind(Reference object) const
{
    const std::uint8_t first = bytes_[offset(object)];
    const auto known = kindOf(first);
    if (!known)
        throwDamaged(object, "has an unknown type (" + std::to_string(first) + ")");
    return *known;
}

void BinaryPropertyList::expect(Reference object, Kind wanted) const
{
    static constexpr const char* names[] = { "nothing", "a boolean", "an integer", "a real", "a date", "data", "a text",
        "a UID", "an array", "a dictionary" };
    if (const Kind found = kind(object); found != wanted)
        throwDamaged(
            object, std::string("is ") + names[static_cast<int>(found)] + ", not " + names[static_cast<int>(wanted)]);
}

void BinaryPropertyList::spend(std::size_t bytes) const
{
    if (bytes > allowance_)
        throwDamaged("its objects share bytes, so that it would unfold into far more than it holds");
    allowance_ -= bytes;
}

/// Where the content of an object with a count begins, when all of it, `unit` bytes each, lies inside.
BinaryPropertyList::Content BinaryPropertyList::content(Reference object, std::size_t unit, std::size_t memory) const
{
    std::size_t at = offset(object);
    std::uint64_t count = bytes_[at++] & 15;
    if (count == 15) {
        if (at >= table_ || bytes_[at] >> 4 != integerType || (bytes_[at] & 15) > 3)
            throwDamaged(object, "has no count");
        const std::size_t size = std::size_t { 1 } << (bytes_[at++] & 15);
        if (size > table_ - at)
            throwDamaged(object, "is cut off");
        count = number(at, size);
        at += size;
    }
    if (count > (table_ - at) / unit)
        throwDamaged(object, "is longer than the list");
    spend(count * memory);
    return { at, static_cast<std::size_t>(count) };
}

bool BinaryPropertyList::boolean(Reference object) const
{
    expect(object, Kind::Boolean);
    return bytes_[offset(object)] == trueByte;
}

std::int64_t BinaryPropertyList::integer(Reference object) const
{
    expect(object, Kind::Integer);
    const std::size_t at = offset(object);
    const std::size_t size = std::size_t { 1 } << (bytes_[at] & 15);
    if (size > 16 || size > table_ - at - 1)
        throwDamaged(object, "is an integer of an impossible size");
    if (size <= 8)
        return static_cast<std::int64_t>(number(at + 1, size));

    const std::uint64_t high = number(at + 1, 8);
    const auto low = static_cast<std::int64_t>(number(at + 9, 8));
    if (high != (low < 0 ? ~std::uint64_t { 0 } : 0))
        throwDamaged(object, "is an integer that 64 bits do not hold");
    return low;
}

double BinaryPropertyList::real(Reference object) const
{
    if (kind(object) != Kind::Date)
        expect(object, Kind::Real);
    const std::size_t at = offset(object);
    const unsigned power = bytes_[at] & 15;
    if ((power != 2 && power != 3) || (std::size_t { 1 } << power) > table_ - at - 1)
        throwDamaged(object, "is a real of an impossible size");
    if (power == 2)
        return std::bit_cast<float>(static_cast<std::uint32_t>(number(at + 1, 4)));
    return std::bit_cast<double>(number(at + 1, 8));
}

std::string BinaryPropertyList::text(Reference object) const
{
    expect(object, Kind::Text);
    if (bytes_[offset(object)] >> 4 == asciiType) {
        const Content ascii = content(object, 1, 1);
        const auto found = bytes_.subspan(ascii.begin, ascii.count);
        std::string text(found.begin(), found.end());
        if (!isASCII(text))
            throwDamaged(object, "is an ASCII text with other characters in it");
        return text;
    }

    const Content wide = content(object, 2, 3);
    std::u16string units;
    units.reserve(wide.count);
    for (std::size_t i = 0; i < wide.count; ++i)
        units += static_cast<char16_t>(number(wide.begin + 2 * i, 2));
    return utf8(units);
}

std::span<const std::uint8_t> BinaryPropertyList::data(Reference object) const
{
    expect(object, Kind::Data);
    const Content found = content(object, 1, 1);
    return bytes_.subspan(found.begin, found.count);
}

std::uint64_t BinaryPropertyList::uid(Reference object) const
{
    expect(object, Kind::UID);
    const std::size_t at = offset(object);
    const std::size_t size = (bytes_[at] & 15U) + 1;
    if (size > 8 || size > table_ - at - 1)
        throwDamaged(object, "is a UID of an impossible size");
    return number(at + 1, size);
}

std::vector<BinaryPropertyList::Reference> BinaryPropertyList::array(Reference object) const
{
    expect(object, Kind::Array);
    const Content found = content(object, referenceSize_, memoryForReference);
    std::vector<Reference> values;
    values.reserve(found.count);
    for (std::size_t i = 0; i < found.count; ++i)
        values.push_back(number(found.begin + i * referenceSize_, referenceSize_));
    return values;
}

std::string_view BinaryPropertyList::key(Reference object) const
{
    const auto known = keys_.find(object);
    return known != keys_.end() ? known->second : keys_.emplace(object, text(object)).first->second;
}

BinaryPropertyList::Entries BinaryPropertyList::dictionary(Reference object) const
{
    expect(object, Kind::Dictionary);
    const Content found = content(object, 2 * referenceSize_, memoryForReference);
    const std::size_t values = found.begin + found.count * referenceSize_;
    Entries entries;
    entries.reserve(found.count);
    for (std::size_t i = 0; i < found.count; ++i)
        entries.emplace_back(key(number(found.begin + i * referenceSize_, referenceSize_)),
            number(values + i * referenceSize_, referenceSize_));
    return entries;
}

}
