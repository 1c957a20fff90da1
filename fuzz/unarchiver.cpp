// SPDX-License-Identifier: Apache-2.0
// Archives come from disks and from other programs: whatever they hold, reading ends in a value or in an NSError. What
// was read is archived again, and reads as the same.
#include "platform/Foundation/NSError.h"
#include "platform/Foundation/NSKeyedArchiver.h"

#include <cstdlib>

namespace velmora {

namespace {

/// Reads every kind of field that a record may have.
class Record : public NSObject, public NSCoding {
public:
    static const ClassInfo& staticClass()
    {
        static const ClassInfo info { "Velmora.Record", &NSObject::staticClass() };
        return info;
    }
    const ClassInfo& classInfo() const override { return staticClass(); }
    void encodeWithCoder(NSCoder& coder) const override
    {
        coder.encodeObject(name_, "name");
        coder.encodeObject(other_, "other");
    }
    static std::shared_ptr<Record> initWithCoder(const NSCoder& coder)
    {
        auto record = make<Record>();
        record->name_ = decoded<std::string>(coder, "name");
        record->other_ = decodedObject<Record>(coder, "other");
        return record->name_ || record->other_ ? record : nullptr;
    }

private:
    std::optional<std::string> name_;
    std::shared_ptr<Record> other_;
};

bool registerRecord()
{
    const ArchivableClass record = archivable<Record>();
    NSKeyedUnarchiver::registerClasses({ &record, 1 });
    return true;
}

void readTwice(std::span<const std::uint8_t> bytes)
{
    ArchiveValue read;
    try {
        read = NSKeyedUnarchiver::unarchiveTopLevelObject(bytes);
    } catch (const NSError&) {
        return;
    }
    const auto root = objectIn<NSObject>(read);
    const auto once = NSKeyedArchiver::archivedDataWithRootObject(root);
    const auto again = objectIn<NSObject>(NSKeyedUnarchiver::unarchiveTopLevelObject(once->bytes()));
    if (!NSKeyedArchiver::archivedDataWithRootObject(again)->isEqual(once.get()))
        std::abort();
}

}

}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    [[maybe_unused]] static const bool registered = velmora::registerRecord();
    velmora::readTwice({ data, size });
    return 0;
}
