// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/NSData.h"
#include "platform/Foundation/NSDate.h"
#include "platform/Foundation/NSObject.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace velmora {

class NSArray;
class NSDictionary;

/// What an archive holds under a key, and what metadata and user dictionaries hold; `std::monostate` is nil.
using ArchiveValue = std::variant<std::monostate, bool, std::int64_t, double, std::string, std::shared_ptr<NSData>,
    std::shared_ptr<NSDate>, std::shared_ptr<NSArray>, std::shared_ptr<NSDictionary>, std::shared_ptr<NSObject>>;
/// A dictionary from string to any such value, sorted by key.
using ArchiveDictionary = std::map<std::string, ArchiveValue>;

/// Values in order.
class VELMORA_EXPORT NSArray : public NSObject {
public:
    explicit NSArray(std::vector<ArchiveValue> values = {});
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    const std::vector<ArchiveValue>& values() const { return values_; }
    bool isEqual(const NSObject* other) const override;
    std::string description() const override; ///< "(a, b)"

private:
    std::vector<ArchiveValue> values_;
};

/// Values under string keys.
class VELMORA_EXPORT NSDictionary : public NSObject {
public:
    explicit NSDictionary(ArchiveDictionary values = {});
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    const ArchiveDictionary& values() const { return values_; }
    bool isEqual(const NSObject* other) const override;
    std::string description() const override; ///< "{a = 1; b = 2}"

private:
    ArchiveDictionary values_;
};

/// True for nil: nothing, and a pointer that is empty.
VELMORA_EXPORT bool isNilValue(const ArchiveValue& value);
/// Equal by type and content; objects by isEqual.
VELMORA_EXPORT bool isEqual(const ArchiveValue& a, const ArchiveValue& b);
VELMORA_EXPORT std::string description(const ArchiveValue& value);

/// The value under `key` as a T (bool, std::int64_t, double, std::string, a shared pointer); nothing when it is absent
/// or of another type. A whole number is read as a double too.
template <class T> std::optional<T> valueIn(const ArchiveDictionary& dictionary, const std::string& key)
{
    const auto found = dictionary.find(key);
    if (found == dictionary.end())
        return std::nullopt;
    if (const auto* exact = std::get_if<T>(&found->second))
        return *exact;
    if constexpr (std::is_same_v<T, double>)
        if (const auto* whole = std::get_if<std::int64_t>(&found->second))
            return static_cast<double>(*whole);
    return std::nullopt;
}

/// The object in `value`; empty when it holds none or one of another class.
template <class T> std::shared_ptr<T> objectIn(const ArchiveValue& value)
{
    return std::visit(
        [](const auto& held) -> std::shared_ptr<T> {
            if constexpr (detail::isShared<std::remove_cvref_t<decltype(held)>>)
                return std::dynamic_pointer_cast<T>(held);
            else
                return nullptr;
        },
        value);
}

/// The value as arguments and results travel when a method is called by name, and back; what an archive cannot hold is
/// nil.
VELMORA_EXPORT Value boxed(const ArchiveValue& value);
VELMORA_EXPORT ArchiveValue unboxed(const Value& value);

}
