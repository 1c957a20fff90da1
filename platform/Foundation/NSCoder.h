// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/ArchiveValue.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace velmora {

/// Codes in NSCocoaErrorDomain: data that is no archive or is damaged; a value that cannot be archived.
inline constexpr std::int64_t NSCoderReadCorruptError = 4864, NSCoderInvalidValueError = 4866;

/// One object's share of an archive: what `encodeWithCoder` writes, in order, and what `initWithCoder` reads.
class VELMORA_EXPORT NSCoder {
public:
    virtual ~NSCoder();

    /// Nil is written, not skipped. A key that was written already is written again in its old place.
    virtual void encodeObject(ArchiveValue value, std::string_view key) = 0;
    template <class T> void encodeObject(const std::optional<T>& value, std::string_view key)
    {
        encodeObject(value ? ArchiveValue(*value) : ArchiveValue(), key);
    }
    template <class T>
    requires std::derived_from<T, NSObject>
    void encodeObject(const std::shared_ptr<T>& value, std::string_view key)
    {
        if (!value)
            encodeObject(ArchiveValue(), key);
        else if constexpr (std::is_constructible_v<ArchiveValue, std::in_place_type_t<std::shared_ptr<T>>,
                               const std::shared_ptr<T>&>)
            encodeObject(ArchiveValue(value), key);
        else
            encodeObject(ArchiveValue(std::shared_ptr<NSObject>(value)), key);
    }

    /// Nil for an absent key and for an object that could not be decoded, otherwise whatever is there.
    virtual ArchiveValue decodeObjectForKey(std::string_view key) const = 0;
};

/// An object that archives itself. Its class is listed with NSKeyedUnarchiver::registerClasses.
class VELMORA_EXPORT NSCoding {
public:
    virtual ~NSCoding() = default;
    virtual void encodeWithCoder(NSCoder& coder) const = 0;
};

/// The value under `key`; nothing when it is absent or holds a value of another type.
template <class T> std::optional<T> decoded(const NSCoder& coder, std::string_view key)
{
    const ArchiveValue value = coder.decodeObjectForKey(key);
    if (const auto* exact = std::get_if<T>(&value))
        return *exact;
    return std::nullopt;
}

/// The object under `key`; empty when it is absent or of another class.
template <class T> std::shared_ptr<T> decodedObject(const NSCoder& coder, std::string_view key)
{
    return objectIn<T>(coder.decodeObjectForKey(key));
}

}
