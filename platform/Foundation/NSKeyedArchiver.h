// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/NSCoder.h"

#include <memory>
#include <span>
#include <string_view>

namespace velmora {

/// Writes an object and all that it holds in the platform's keyed-archive layout, as a binary property list.
class VELMORA_EXPORT NSKeyedArchiver {
public:
    /// Entries keep the order of encoding; an object that occurs twice is written once. Throws NSError
    /// (NSCocoaErrorDomain, NSCoderInvalidValueError), naming class and key path, when something in it cannot be
    /// archived: an object without NSCoding, objects that hold each other in a circle, text that is not UTF-8, or
    /// more than 200 levels. Nothing is left out in silence.
    static std::shared_ptr<NSData> archivedDataWithRootObject(const std::shared_ptr<NSObject>& root);
};

/// How a class is made from an archive: its name there, and a function that answers the object or nil.
struct ArchivableClass {
    const ClassInfo* info;
    std::shared_ptr<NSObject> (*initWithCoder)(const NSCoder& coder);
};
template <class T> ArchivableClass archivable()
{
    return { &T::staticClass(),
        [](const NSCoder& coder) -> std::shared_ptr<NSObject> { return T::initWithCoder(coder); } };
}

/// A class that names the classes which its archives may hold, once, when it is asked for.
template <class T>
concept NamesArchivableClasses = requires
{
    T::nameArchivableClasses();
};

/// Reads what such an archive holds. Makes only registered classes and Foundation's own values; bounds depth and sizes.
class VELMORA_EXPORT NSKeyedUnarchiver {
public:
    /// Nil when the root decodes as nil. Throws NSError (NSCocoaErrorDomain, NSCoderReadCorruptError), saying what is
    /// wrong where, for data that is no such archive or is damaged, and for a class that nobody registered.
    static ArchiveValue unarchiveTopLevelObject(std::span<const std::uint8_t> archive);
    /// The root as a T; empty when it is nil or another class. A T that names archivable classes does so first.
    template <class T> static std::shared_ptr<T> unarchiveObject(std::span<const std::uint8_t> archive)
    {
        if constexpr (NamesArchivableClasses<T>)
            T::nameArchivableClasses();
        return objectIn<T>(unarchiveTopLevelObject(archive));
    }

    /// Names the classes that archives may hold. A class that is named again keeps its place.
    static void registerClasses(std::span<const ArchivableClass> classes);
};

}
