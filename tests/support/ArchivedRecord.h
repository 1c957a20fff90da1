// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/NSKeyedArchiver.h"

#include <array>
#include <memory>
#include <utility>

namespace velmora::tests {

/// An archivable object with three fields, the first of which it cannot do without.
class Record : public NSObject, public NSCoding {
public:
    Record(ArchiveValue first, ArchiveValue second = {}, ArchiveValue last = {})
        : name(std::move(first))
        , other(std::move(second))
        , third(std::move(last))
    {
    }
    static const ClassInfo& staticClass()
    {
        static const ClassInfo info { "Velmora.Record", &NSObject::staticClass() };
        return info;
    }
    const ClassInfo& classInfo() const override { return staticClass(); }

    void encodeWithCoder(NSCoder& coder) const override
    {
        coder.encodeObject(name, "name");
        coder.encodeObject(other, "other");
        coder.encodeObject(third, "a third");
    }
    static std::shared_ptr<Record> initWithCoder(const NSCoder& coder)
    {
        ArchiveValue found = coder.decodeObjectForKey("name");
        if (std::holds_alternative<std::monostate>(found))
            return nullptr;
        return make<Record>(std::move(found), coder.decodeObjectForKey("other"), coder.decodeObjectForKey("a third"));
    }

    ArchiveValue name, other, third;
};

/// A record with its own name in archives.
class SpecialRecord : public Record {
public:
    using Record::Record;
    static const ClassInfo& staticClass()
    {
        static const ClassInfo info { "Velmora.SpecialRecord", &Record::staticClass() };
        return info;
    }
    const ClassInfo& classInfo() const override { return staticClass(); }
};

inline void registerRecords()
{
    static const std::array classes { archivable<Record>(), archivable<SpecialRecord>() };
    NSKeyedUnarchiver::registerClasses(classes);
}

}
