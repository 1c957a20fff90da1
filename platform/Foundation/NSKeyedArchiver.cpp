// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/NSKeyedArchiver.h"

#include "platform/Foundation/BinaryPropertyList.h"
#include "platform/Foundation/KeyedArchiveLayout.h"
#include "platform/Foundation/NSError.h"
#include "platform/Foundation/NSException.h"
#include "platform/Foundation/NSURL.h"
#include "platform/Foundation/UnicodeText.h"

#include <algorithm>
#include <initializer_list>
#include <map>
#include <unordered_map>
#include <utility>

namespace velmora {

namespace {

using keyedArchive::Path;
using Node = PropertyListNode;
using UID = PropertyListNode::UID;
using Entry = PropertyListNode::Entry;

/// Collects the objects of one archive.
class Archive {
public:
    std::shared_ptr<NSData> write(const std::shared_ptr<NSObject>& root)
    {
        objects_.push_back({ std::string(keyedArchive::null) });
        const UID top = add(ArchiveValue(root));
        Node::Dictionary archive;
        archive.push_back({ "$version", { keyedArchive::version } });
        archive.push_back({ "$archiver", { std::string(keyedArchive::archiver) } });
        archive.push_back({ "$top", { Node::Dictionary { Entry { "root", { top } } } } });
        archive.push_back({ "$objects", { std::move(objects_) } });
        return make<NSData>(binaryPropertyList({ std::move(archive) }));
    }

    UID add(const ArchiveValue& value)
    {
        if (path_.depth() > keyedArchive::deepest)
            refuse("The value", "there are more than 200 levels of values within values");
        return std::visit([this](const auto& held) { return addHeld(held); }, value);
    }
    UID add(const ArchiveValue& value, std::string name)
    {
        const Path::Step step(path_, std::move(name));
        return add(value);
    }

private:
    UID addHeld(std::monostate) { return { 0 }; }
    UID addHeld(bool value) { return addNode({ value }); }
    UID addHeld(std::int64_t value) { return addNode({ value }); }
    UID addHeld(double value) { return addNode({ value }); }
    UID addHeld(const std::string& text)
    {
        if (!isUTF8(text))
            refuse("The text", "it is not UTF-8");
        const auto [known, isNew] = texts_.try_emplace(text, objects_.size());
        return isNew ? addNode({ text }) : UID { known->second };
    }
    template <class T> UID addHeld(const std::shared_ptr<T>& object)
    {
        if (!object)
            return { 0 };
        const std::shared_ptr<NSObject> plain = object;
        const auto [known, isNew] = written_.try_emplace(plain.get(), Written { plain, objects_.size() });
        if (!isNew) {
            if (!known->second.isComplete)
                refuse(std::string(plain->classInfo().name), "it holds itself in a circle");
            return { known->second.uid };
        }
        Written& entry = known->second; // stays in place when others are added
        objects_.push_back({ false }); // its place comes before the places of what it holds
        objects_[entry.uid] = encoded(*plain, plain);
        entry.isComplete = true;
        return { entry.uid };
    }
    UID addNode(Node node)
    {
        objects_.push_back(std::move(node));
        return { objects_.size() - 1 };
    }

    Node encoded(const NSObject& object, const std::shared_ptr<NSObject>& shared)
    {
        if (auto data = std::dynamic_pointer_cast<NSData>(shared))
            return { std::move(data) };
        if (const auto* date = dynamic_cast<const NSDate*>(&object))
            return record("NSDate", { { "NS.time", { date->timeIntervalSinceReferenceDate() } } });
        if (const auto* array = dynamic_cast<const NSArray*>(&object))
            return encodedArray(array->values());
        if (const auto* dictionary = dynamic_cast<const NSDictionary*>(&object))
            return encodedDictionary(dictionary->values());
        if (const auto* url = dynamic_cast<const NSURL*>(&object))
            return record(
                "NSURL", { { "NS.base", { UID { 0 } } }, { "NS.relative", { addHeld(url->absoluteString()) } } });
        return encodedByItself(object);
    }
    Node encodedArray(const std::vector<ArchiveValue>& values)
    {
        Node::Array uids;
        uids.reserve(values.size());
        for (std::size_t i = 0; i < values.size(); ++i)
            uids.push_back({ addElement(values[i], "[" + std::to_string(i) + "]") });
        return record("NSArray", { { "NS.objects", { std::move(uids) } } });
    }
    Node encodedDictionary(const ArchiveDictionary& values)
    {
        Node::Array keys;
        Node::Array uids;
        for (const auto& [key, value] : values) {
            const Path::Step step(path_, key);
            keys.push_back({ addHeld(key) });
            uids.push_back({ addElement(value, {}) });
        }
        return record("NSDictionary", { { "NS.keys", { std::move(keys) } }, { "NS.objects", { std::move(uids) } } });
    }
    /// Collections cannot hold nil; the layout has an object for it.
    UID addElement(const ArchiveValue& value, std::string name)
    {
        const UID uid = name.empty() ? add(value) : add(value, std::move(name));
        return uid.value == 0 ? theNull() : uid;
    }
    UID theNull()
    {
        if (null_.value == 0)
            null_ = addNode(record("NSNull", {}));
        return null_;
    }
    Node encodedByItself(const NSObject& object);

    static Node finish(Node::Dictionary fields, UID classUID)
    {
        fields.push_back({ "$class", { classUID } });
        return { std::move(fields) };
    }
    Node record(const std::string& className, Node::Dictionary fields)
    {
        return finish(std::move(fields), classUID({ className, "NSObject" }));
    }
    UID classUID(std::vector<std::string> names)
    {
        const auto [known, isNew] = classes_.try_emplace(names.front(), objects_.size());
        if (!isNew)
            return { known->second };
        Node::Array chain;
        for (const std::string& name : names)
            chain.push_back({ name });
        return addNode({ Node::Dictionary {
            Entry { "$classname", { names.front() } }, Entry { "$classes", { std::move(chain) } } } });
    }

    [[noreturn]] void refuse(const std::string& what, const std::string& why) const
    {
        throw NSError(NSCocoaErrorDomain, NSCoderInvalidValueError,
            what + " at \"" + path_.text() + "\" cannot be archived: " + why + ".");
    }

    struct Written {
        std::shared_ptr<NSObject> object; // held: another one at the same address would pass for it
        std::uint64_t uid;
        bool isComplete = false;
    };
    Node::Array objects_;
    std::unordered_map<const NSObject*, Written> written_;
    std::unordered_map<std::string, std::uint64_t> texts_;
    std::map<std::string, std::uint64_t> classes_;
    UID null_ { 0 };
    Path path_;
};

/// Takes the fields of one object.
class RecordWriter final : public NSCoder {
public:
    explicit RecordWriter(Archive& archive)
        : archive_(archive)
    {
    }

    using NSCoder::encodeObject;
    void encodeObject(ArchiveValue value, std::string_view key) override
    {
        const UID uid = archive_.add(value, std::string(key));
        std::string name = keyedArchive::fieldKey(key);
        const auto before
            = std::find_if(fields.begin(), fields.end(), [&name](const Entry& entry) { return entry.key == name; });
        if (before != fields.end())
            before->value = { uid };
        else
            fields.push_back({ std::move(name), { uid } });
    }
    ArchiveValue decodeObjectForKey(std::string_view) const override
    {
        throw NSException(
            NSInvalidArgumentException, "NSKeyedArchiver writes an archive; nothing can be decoded from it");
    }

    Node::Dictionary fields;

private:
    Archive& archive_;
};

Node Archive::encodedByItself(const NSObject& object)
{
    const ClassInfo& info = object.classInfo();
    const auto* coding = dynamic_cast<const NSCoding*>(&object);
    if (!coding)
        refuse(std::string(info.name), "the class does not adopt NSCoding. Leave it out or store what describes it");

    RecordWriter coder(*this);
    coding->encodeWithCoder(coder);
    std::vector<std::string> names;
    for (const ClassInfo* each = &info; each; each = each->superclass)
        names.emplace_back(keyedArchive::className(*each));
    return finish(std::move(coder.fields), classUID(std::move(names)));
}

}

std::shared_ptr<NSData> NSKeyedArchiver::archivedDataWithRootObject(const std::shared_ptr<NSObject>& root)
{
    return Archive().write(root);
}

}
