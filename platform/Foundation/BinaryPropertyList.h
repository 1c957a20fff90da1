// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/NSData.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace velmora {

/// One object of a binary property list that is going to be written. Dictionaries keep their order, data is shared.
struct PropertyListNode {
    struct UID {
        std::uint64_t value;
    };
    using Array = std::vector<PropertyListNode>;
    struct Entry;
    using Dictionary = std::vector<Entry>;

    std::variant<bool, std::int64_t, double, std::string, UID, std::shared_ptr<NSData>, Array, Dictionary> value;
};
struct PropertyListNode::Entry {
    std::string key;
    PropertyListNode value;
};

/// The bytes of a list; equal texts, numbers and UIDs are written once. Texts must be UTF-8.
std::vector<std::uint8_t> binaryPropertyList(const PropertyListNode& root);

/// Reads a binary property list where it lies: objects are looked at when they are asked for, nothing is built in
/// advance, and no object is followed into another.
///
/// The bytes may come from anywhere. What does not hold together throws NSError (NSCocoaErrorDomain,
/// NSCoderReadCorruptError). Objects may share bytes, so that a small file unfolds into a large one: the memory that is
/// handed out is bounded by what an honest file of the same length needs, and 64 MB.
class BinaryPropertyList {
public:
    enum class Kind : std::uint8_t { Null, Boolean, Integer, Real, Date, Data, Text, UID, Array, Dictionary };
    /// The number of an object.
    using Reference = std::uint64_t;
    /// The keys are borrowed from the list.
    using Entries = std::vector<std::pair<std::string_view, Reference>>;

    /// Keeps to the bytes, which must outlive it.
    explicit BinaryPropertyList(std::span<const std::uint8_t> bytes);

    Reference root() const { return root_; }
    Kind kind(Reference object) const;

    /// Each for an object of its kind; `real` reads dates (seconds since 2001) as well.
    bool boolean(Reference object) const;
    std::int64_t integer(Reference object) const;
    double real(Reference object) const;
    std::string text(Reference object) const;
    std::span<const std::uint8_t> data(Reference object) const;
    std::uint64_t uid(Reference object) const;
    std::vector<Reference> array(Reference object) const;
    /// In the order of the file.
    Entries dictionary(Reference object) const;

    /// Counts memory that the reader of the list needs for what was handed out already; throws when it is too much.
    void spend(std::size_t bytes) const;

private:
    struct Content { // of one object
        std::size_t begin, count;
    };
    std::size_t offset(Reference object) const;
    Content content(Reference object, std::size_t unit, std::size_t memory) const;
    std::string_view key(Reference object) const;
    std::uint64_t number(std::size_t begin, std::size_t size) const;
    void expect(Reference object, Kind wanted) const;

    std::span<const std::uint8_t> bytes_;
    std::size_t table_ = 0, offsetSize_ = 0, referenceSize_ = 0;
    std::uint64_t count_ = 0;
    Reference root_ = 0;
    mutable std::size_t allowance_ = 0; // bytes of memory that may still be handed out
    mutable std::map<Reference, std::string> keys_; // read once: records of one class share theirs
};

}
